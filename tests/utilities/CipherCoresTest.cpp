// The cipher cores against published known answers and, as an independent
// peer, against libgcrypt on random keys and blocks.

#include <FileSystem/utilities/detail/Blowfish.h>
#include <FileSystem/utilities/detail/Twofish.h>

#include <gcrypt.h>
#include <gtest/gtest.h>

#include <random>
#include <string>

using Utilities::detail::Blowfish;
using Utilities::detail::Twofish;

namespace {

using Bytes = std::vector<std::byte>;

Bytes fromHex(const std::string& hex) {
    Bytes bytes;
    for (std::size_t i = 0; i + 1 < hex.size(); i += 2)
        bytes.push_back(std::byte(std::stoi(hex.substr(i, 2), nullptr, 16)));
    return bytes;
}

std::string toHex(const Bytes& bytes) {
    std::string hex;
    for (std::byte b : bytes)
        hex += {"0123456789ABCDEF"[unsigned(b) >> 4], "0123456789ABCDEF"[unsigned(b) & 15]};
    return hex;
}

Bytes randomBytes(std::mt19937& random, std::size_t size) {
    Bytes bytes(size);
    for (auto& b : bytes)
        b = std::byte(random());
    return bytes;
}

// Reverses the bytes of every 4-byte word: the standard (big-endian) Blowfish
// block layout against the library's little-endian one.
Bytes swapWords(Bytes bytes) {
    for (std::size_t i = 0; i + 4 <= bytes.size(); i += 4) {
        std::swap(bytes[i], bytes[i + 3]);
        std::swap(bytes[i + 1], bytes[i + 2]);
    }
    return bytes;
}

// libgcrypt in ECB mode; empty when it refuses the key.
Bytes gcrypt(int algorithm, const Bytes& key, const Bytes& data, bool encrypt) {
    static const bool ready = [] {
        gcry_check_version(nullptr);
        gcry_control(GCRYCTL_DISABLE_SECMEM, 0);
        return gcry_control(GCRYCTL_INITIALIZATION_FINISHED, 0) == 0;
    }();
    gcry_cipher_hd_t handle = nullptr;
    EXPECT_TRUE(ready && gcry_cipher_open(&handle, algorithm, GCRY_CIPHER_MODE_ECB, 0) == 0);
    Bytes out(data.size());
    bool ok = gcry_cipher_setkey(handle, key.data(), key.size()) == 0;
    if (ok)
        ok = (encrypt ? gcry_cipher_encrypt(handle, out.data(), out.size(), data.data(), data.size())
                      : gcry_cipher_decrypt(handle, out.data(), out.size(), data.data(), data.size())) == 0;
    gcry_cipher_close(handle);
    return ok ? out : Bytes();
}

// The library's Blowfish on blocks in the standard layout.
Bytes blowfish(const Bytes& key, const Bytes& data, bool encrypt) {
    const Blowfish cipher(key);
    Bytes out = swapWords(data);
    if (encrypt)
        cipher.encryptLittleEndian(out.data(), out.size() / 8);
    else
        cipher.decryptLittleEndian(out.data(), out.size() / 8);
    return swapWords(out);
}

Bytes twofish(const Bytes& key, const Bytes& data, bool encrypt) {
    const Twofish cipher(Twofish::Direction::Encrypt, Twofish::keyWordsFromBytes(key));
    Bytes out(data.size());
    const std::uint64_t bits = data.size() * 8;
    EXPECT_EQ(encrypt ? cipher.blockEncrypt(data, bits, out) : cipher.blockDecrypt(data, bits, out), bits);
    return out;
}

} // namespace

TEST(CipherCores, BlowfishKnownAnswersAndLibgcrypt) {
    const char* vectors[][3] = {// key, plaintext, ciphertext, in the standard layout
                                {"0000000000000000", "0000000000000000", "4EF997456198DD78"},
                                {"FFFFFFFFFFFFFFFF", "FFFFFFFFFFFFFFFF", "51866FD5B85ECB8A"},
                                {"3000000000000000", "1000000000000001", "7D856F9A613063F2"},
                                {"0123456789ABCDEF", "1111111111111111", "61F9C3802281B096"},
                                {"FEDCBA9876543210", "0123456789ABCDEF", "0ACEAB0FC6A0A28D"},
                                {"7CA110454A1A6E57", "01A1D6D039776742", "59C68245EB05282B"}};
    for (const auto& v : vectors) {
        SCOPED_TRACE(v[0]);
        const Bytes key = fromHex(v[0]), plain = fromHex(v[1]);
        EXPECT_EQ(toHex(gcrypt(GCRY_CIPHER_BLOWFISH, key, plain, true)), v[2]); // so no wrong vector passes
        EXPECT_EQ(toHex(blowfish(key, plain, true)), v[2]);
        EXPECT_EQ(toHex(blowfish(key, fromHex(v[2]), false)), v[1]);
    }

    // Every key length libgcrypt takes, the library's 51 bytes among them, on random blocks.
    std::mt19937 random(20250101);
    for (std::size_t keyLength = 1; keyLength <= 72; ++keyLength) {
        const Bytes key = randomBytes(random, keyLength), plain = randomBytes(random, 40);
        const Bytes expected = gcrypt(GCRY_CIPHER_BLOWFISH, key, plain, true);
        ASSERT_EQ(expected.size(), plain.size()) << keyLength;
        EXPECT_EQ(blowfish(key, plain, true), expected) << keyLength;
        EXPECT_EQ(blowfish(key, expected, false), plain) << keyLength;
    }
}

TEST(CipherCores, TwofishKnownAnswersAndLibgcrypt) {
    // Zero plaintext under the keys of the algorithm's description.
    const char* vectors[][2] = {
        {"00000000000000000000000000000000", "9F589F5CF6122C32B6BFEC2F2AE8C35A"},
        {"0123456789ABCDEFFEDCBA98765432100011223344556677", "CFD1D2E5A9BE9CDF501F13B892BD2248"},
        {"0123456789ABCDEFFEDCBA987654321000112233445566778899AABBCCDDEEFF", "37527BE0052334B89F0CFCCAE87CFA20"}};
    const Bytes zero(16);
    for (const auto& v : vectors) {
        const Bytes key = fromHex(v[0]);
        EXPECT_EQ(toHex(twofish(key, zero, true)), v[1]);
        EXPECT_EQ(twofish(key, fromHex(v[1]), false), zero);
        if (key.size() != 24) { // libgcrypt takes no 192-bit Twofish keys
            EXPECT_EQ(toHex(gcrypt(GCRY_CIPHER_TWOFISH, key, zero, true)), v[1]);
        }
    }

    // The chained tables: each plaintext is the last ciphertext, each key the
    // last plaintext followed by the start of the last key.
    const struct {
        std::size_t keyBytes;
        int step;
        const char *atStep, *last;
    } chains[] = {{16, 2, "D491DB16E7B1C39E86CB086B789F5419", "5D9D4EEFFA9151575524F115815A12E0"},
                  {24, 2, "88B2B2706B105E36B446BB6D731A1E88", "E75449212BEEF9F4A390BD860A640941"},
                  {32, 1, "57FF739D4DC92C1BD7FC01700CC8216F", "37FE26FF1CF66175F5DDF4C33B97A205"}};
    for (const auto& chain : chains) {
        Bytes key(chain.keyBytes), plain(16), cipher;
        for (int i = 1; i <= 49; ++i) {
            cipher = twofish(key, plain, true);
            if (chain.keyBytes != 24) {
                ASSERT_EQ(cipher, gcrypt(GCRY_CIPHER_TWOFISH, key, plain, true)) << "step " << i;
            }
            if (i == chain.step) {
                EXPECT_EQ(toHex(cipher), chain.atStep);
            }
            plain.insert(plain.end(), key.begin(), key.end());
            plain.resize(chain.keyBytes);
            key = std::exchange(plain, cipher);
        }
        EXPECT_EQ(toHex(cipher), chain.last) << chain.keyBytes;
    }

    std::mt19937 random(4711);
    for (int round = 0; round < 40; ++round) {
        const Bytes key = randomBytes(random, round % 2 ? 32 : 16);
        const Bytes plain = randomBytes(random, 16 * (1 + round % 5));
        const Bytes expected = gcrypt(GCRY_CIPHER_TWOFISH, key, plain, true);
        ASSERT_EQ(expected.size(), plain.size());
        EXPECT_EQ(twofish(key, plain, true), expected);
        EXPECT_EQ(twofish(key, expected, false), plain);
    }
}

TEST(CipherCores, TwofishLengthsOffTheBlockStayInsideTheBuffers) {
    std::mt19937 random(99);
    const Bytes key = randomBytes(random, 32);
    const Twofish cipher(Twofish::Direction::Decrypt, Twofish::keyWordsFromBytes(key));
    EXPECT_EQ(cipher.keyLength(), 256);
    EXPECT_THROW(Twofish(Twofish::Direction::Encrypt, Twofish::keyWordsFromBytes(Bytes(20))), std::invalid_argument);

    // Exact-size buffers, so that a memory checker sees any access beyond them.
    for (std::size_t size : {1u, 8u, 15u, 17u, 24u, 40u}) {
        SCOPED_TRACE(size);
        const Bytes input = randomBytes(random, size);
        Bytes padded = input;
        padded.resize((size + 15) / 16 * 16);
        const Bytes full = gcrypt(GCRY_CIPHER_TWOFISH, key, padded, true);
        // The input's last block is read zero-padded; output beyond the buffer is dropped.
        Bytes out(size);
        EXPECT_EQ(cipher.blockEncrypt(input, size * 8, out), size * 8);
        EXPECT_EQ(out, Bytes(full.begin(), full.begin() + std::ptrdiff_t(size)));
        // Bits beyond the input decrypt zeros into what the output has room for.
        Bytes wide(padded.size() + 16);
        cipher.blockDecrypt(full, (full.size() + 32) * 8, wide);
        EXPECT_EQ(Bytes(wide.begin(), wide.begin() + std::ptrdiff_t(padded.size())), padded);
        EXPECT_EQ(Bytes(wide.end() - 16, wide.end()), twofish(key, Bytes(16), false));
    }
}
