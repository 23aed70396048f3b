// The Blowfish and Twofish cores against libgcrypt's implementations of the
// same ciphers in ECB mode, encrypting and decrypting 64 MiB in memory; and
// the Twofish crypter, which adds its header and copies, for the record.

#include <FileSystem/utilities/BinaryCrypter.h>
#include <FileSystem/utilities/detail/Blowfish.h>
#include <FileSystem/utilities/detail/Twofish.h>

#include "RatioReporter.h"

#include <gcrypt.h>

#include <cstring>
#include <random>
#include <vector>

using Utilities::detail::Blowfish;
using Utilities::detail::Twofish;

namespace {

constexpr std::size_t kBytes = 64u << 20;

struct Data {
    std::vector<std::byte> key, plain, out;
    Data() : key(32), plain(kBytes), out(kBytes) {
        std::mt19937_64 random(11);
        for (auto& b : key)
            b = std::byte(random());
        for (auto& b : plain)
            b = std::byte(random());
    }
};

Data& data() {
    static Data instance;
    return instance;
}

void finish(benchmark::State& state) {
    state.SetBytesProcessed(std::int64_t(state.iterations()) * std::int64_t(kBytes));
    benchmark::DoNotOptimize(data().out.data());
}

template <bool Encrypt>
void LibraryTwofish(benchmark::State& state) {
    const Twofish cipher(Twofish::Direction::Encrypt, Twofish::keyWordsFromBytes(data().key));
    for (auto _ : state) {
        if constexpr (Encrypt)
            cipher.blockEncrypt(data().plain, kBytes * 8, data().out);
        else
            cipher.blockDecrypt(data().plain, kBytes * 8, data().out);
    }
    finish(state);
}

template <bool Encrypt>
void LibraryBlowfish(benchmark::State& state) {
    const Blowfish cipher(std::span(data().key.data(), 16));
    for (auto _ : state) {
        std::memcpy(data().out.data(), data().plain.data(), kBytes); // the core works in place
        if constexpr (Encrypt)
            cipher.encryptLittleEndian(data().out.data(), kBytes / 8);
        else
            cipher.decryptLittleEndian(data().out.data(), kBytes / 8);
    }
    finish(state);
}

template <int Algorithm, bool Encrypt>
void Gcrypt(benchmark::State& state) {
    gcry_cipher_hd_t handle = nullptr;
    gcry_cipher_open(&handle, Algorithm, GCRY_CIPHER_MODE_ECB, 0);
    if (gcry_cipher_setkey(handle, data().key.data(), Algorithm == GCRY_CIPHER_TWOFISH ? 32 : 16) != 0)
        state.SkipWithError("gcry_cipher_setkey failed");
    for (auto _ : state) {
        const auto result = Encrypt ? gcry_cipher_encrypt(handle, data().out.data(), kBytes, data().plain.data(), kBytes)
                                    : gcry_cipher_decrypt(handle, data().out.data(), kBytes, data().plain.data(), kBytes);
        if (result != 0)
            state.SkipWithError("libgcrypt failed");
    }
    gcry_cipher_close(handle);
    finish(state);
}

void LibraryTwofishCrypterEncrypt(benchmark::State& state) {
    const Utilities::BinaryCrypterTwoFish crypter;
    for (auto _ : state)
        benchmark::DoNotOptimize(crypter.encrypt(data().plain));
    finish(state);
}

} // namespace

#define TIMED(...) BENCHMARK(__VA_ARGS__)->Iterations(4)->UseRealTime()->Unit(benchmark::kMillisecond)
TIMED(LibraryTwofish<true>)->Name("LibraryTwofishEncrypt");
TIMED(Gcrypt<GCRY_CIPHER_TWOFISH, true>)->Name("GcryptTwofishEncrypt");
TIMED(LibraryTwofish<false>)->Name("LibraryTwofishDecrypt");
TIMED(Gcrypt<GCRY_CIPHER_TWOFISH, false>)->Name("GcryptTwofishDecrypt");
TIMED(LibraryBlowfish<true>)->Name("LibraryBlowfishEncrypt");
TIMED(Gcrypt<GCRY_CIPHER_BLOWFISH, true>)->Name("GcryptBlowfishEncrypt");
TIMED(LibraryBlowfish<false>)->Name("LibraryBlowfishDecrypt");
TIMED(Gcrypt<GCRY_CIPHER_BLOWFISH, false>)->Name("GcryptBlowfishDecrypt");
TIMED(LibraryTwofishCrypterEncrypt);

int main(int argc, char** argv) {
    gcry_check_version(nullptr);
    gcry_control(GCRYCTL_DISABLE_SECMEM, 0);
    gcry_control(GCRYCTL_INITIALIZATION_FINISHED, 0);
    data();
    return runWithRatios(argc, argv,
                         {{"LibraryTwofishEncrypt", "GcryptTwofishEncrypt"},
                          {"LibraryTwofishDecrypt", "GcryptTwofishDecrypt"},
                          {"LibraryBlowfishEncrypt", "GcryptBlowfishEncrypt"},
                          {"LibraryBlowfishDecrypt", "GcryptBlowfishDecrypt"},
                          {"LibraryTwofishCrypterEncrypt", "GcryptTwofishEncrypt"}});
}
