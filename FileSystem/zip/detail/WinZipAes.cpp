// The key derivation works on SHA-1 states directly: OpenSSL's own PBKDF2 and
// its digest-context copies allocate for each of the 2000 HMACs per output
// block, which made the key derivation the largest cost of small encrypted
// entries. Those state-level calls are deprecated in OpenSSL 3 but remain part
// of its interface.
#define OPENSSL_SUPPRESS_DEPRECATED

#include <FileSystem/zip/detail/WinZipAes.h>

#include <openssl/core_names.h>
#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/sha.h>

#include <zip.h>

#include <algorithm>
#include <bit>
#include <cstring>

namespace FileSystem::detail {

namespace {

constexpr std::size_t kKeystreamBytes = 1 << 14;
constexpr std::size_t kDigestLength = SHA_DIGEST_LENGTH;

const EVP_CIPHER* ecbCipher(std::size_t key) {
    return key == 16 ? EVP_aes_128_ecb() : key == 24 ? EVP_aes_192_ecb() : EVP_aes_256_ecb();
}

/// The digest held in a SHA-1 state, as the final step would write it.
void digestOf(const SHA_CTX& state, unsigned char* out) {
    const SHA_LONG words[5] = {state.h0, state.h1, state.h2, state.h3, state.h4};
    for (int i = 0; i < 5; ++i)
        for (int b = 0; b < 4; ++b)
            out[4 * i + b] = static_cast<unsigned char>(words[i] >> (24 - 8 * b));
}

} // namespace

std::size_t aesKeyLength(std::uint16_t method) {
    switch (method) {
    case ZIP_EM_AES_128:
        return 16;
    case ZIP_EM_AES_192:
        return 24;
    case ZIP_EM_AES_256:
        return 32;
    default:
        return 0;
    }
}

bool pbkdf2HmacSha1(const std::string& password, const unsigned char* salt, std::size_t saltLength,
                    unsigned iterations, unsigned char* out, std::size_t length) {
    // The HMAC key: the password, or its digest when it is longer than a block.
    unsigned char key[SHA_CBLOCK] = {};
    if (password.size() > SHA_CBLOCK)
        SHA1(reinterpret_cast<const unsigned char*>(password.data()), password.size(), key);
    else
        std::memcpy(key, password.data(), password.size());
    unsigned char pad[SHA_CBLOCK];
    SHA_CTX inner, outer, work;
    for (std::size_t i = 0; i < SHA_CBLOCK; ++i)
        pad[i] = key[i] ^ 0x36;
    SHA1_Init(&inner);
    SHA1_Update(&inner, pad, sizeof pad);
    for (std::size_t i = 0; i < SHA_CBLOCK; ++i)
        pad[i] = key[i] ^ 0x5c;
    SHA1_Init(&outer);
    SHA1_Update(&outer, pad, sizeof pad);

    // After a pad block each HMAC step hashes one digest: a single block of the
    // digest and the SHA-1 padding for 64 + 20 bytes in all.
    unsigned char block[SHA_CBLOCK] = {};
    block[kDigestLength] = 0x80;
    const unsigned bits = (SHA_CBLOCK + kDigestLength) * 8;
    block[SHA_CBLOCK - 2] = static_cast<unsigned char>(bits >> 8);
    block[SHA_CBLOCK - 1] = static_cast<unsigned char>(bits);

    for (std::uint32_t index = 1; length > 0; ++index) {
        unsigned char u[kDigestLength], sum[kDigestLength];
        const unsigned char counter[4] = {static_cast<unsigned char>(index >> 24), static_cast<unsigned char>(index >> 16),
                                          static_cast<unsigned char>(index >> 8), static_cast<unsigned char>(index)};
        work = inner;
        SHA1_Update(&work, salt, saltLength);
        SHA1_Update(&work, counter, sizeof counter);
        SHA1_Final(u, &work);
        work = outer;
        SHA1_Update(&work, u, sizeof u);
        SHA1_Final(u, &work);
        std::memcpy(sum, u, sizeof sum);
        for (unsigned round = 1; round < iterations; ++round) {
            std::memcpy(block, u, sizeof u);
            work = inner;
            SHA1_Transform(&work, block);
            digestOf(work, block);
            work = outer;
            SHA1_Transform(&work, block);
            digestOf(work, u);
            for (std::size_t i = 0; i < sizeof sum; ++i)
                sum[i] ^= u[i];
        }
        const std::size_t n = std::min(length, sizeof sum);
        std::memcpy(out, sum, n);
        out += n;
        length -= n;
        OPENSSL_cleanse(u, sizeof u);
        OPENSSL_cleanse(sum, sizeof sum);
    }
    OPENSSL_cleanse(key, sizeof key);
    OPENSSL_cleanse(pad, sizeof pad);
    OPENSSL_cleanse(block, sizeof block);
    OPENSSL_cleanse(&inner, sizeof inner);
    OPENSSL_cleanse(&outer, sizeof outer);
    OPENSSL_cleanse(&work, sizeof work);
    return true;
}

WinZipAes::~WinZipAes() {
    EVP_CIPHER_CTX_free(m_cipher);
    EVP_MAC_CTX_free(m_mac);
    if (!m_keystream.empty())
        OPENSSL_cleanse(m_keystream.data(), m_keystream.size());
}

bool WinZipAes::start(const std::string& password, const unsigned char* salt, std::size_t keyLength,
                      unsigned char* verifier) {
    if (keyLength != 16 && keyLength != 24 && keyLength != 32)
        return false;
    unsigned char keys[2 * 32 + kAesVerifierLength];
    const std::size_t derived = 2 * keyLength + kAesVerifierLength;
    if (!pbkdf2HmacSha1(password, salt, keyLength / 2, 1000, keys, derived))
        return false;
    std::memcpy(verifier, keys + 2 * keyLength, kAesVerifierLength);
    m_cipher = EVP_CIPHER_CTX_new();
    // Fetched once: a fetch looks the algorithm up among the providers.
    static EVP_MAC* const hmac = EVP_MAC_fetch(nullptr, "HMAC", nullptr);
    m_mac = hmac ? EVP_MAC_CTX_new(hmac) : nullptr;
    char digest[] = "SHA1";
    const OSSL_PARAM parameters[] = {OSSL_PARAM_construct_utf8_string(OSSL_MAC_PARAM_DIGEST, digest, 0),
                                     OSSL_PARAM_construct_end()};
    const bool ready = m_cipher != nullptr && m_mac != nullptr &&
                       EVP_EncryptInit_ex(m_cipher, ecbCipher(keyLength), nullptr, keys, nullptr) == 1 &&
                       EVP_CIPHER_CTX_set_padding(m_cipher, 0) == 1 &&
                       EVP_MAC_init(m_mac, keys + keyLength, keyLength, parameters) == 1;
    OPENSSL_cleanse(keys, sizeof keys);
    if (!ready)
        return false;
    m_blocks.resize(kKeystreamBytes);
    m_keystream.resize(kKeystreamBytes);
    m_keystreamUsed = kKeystreamBytes;
    return true;
}

bool WinZipAes::encrypt(unsigned char* data, std::size_t size) {
    return applyKeystream(data, size) && EVP_MAC_update(m_mac, data, size) == 1;
}

bool WinZipAes::decrypt(unsigned char* data, std::size_t size) {
    return EVP_MAC_update(m_mac, data, size) == 1 && applyKeystream(data, size);
}

bool WinZipAes::authenticationCode(unsigned char* code) {
    unsigned char digest[EVP_MAX_MD_SIZE];
    std::size_t length = 0;
    if (m_mac == nullptr || EVP_MAC_final(m_mac, digest, &length, sizeof digest) != 1 ||
        length < kAesAuthenticationLength)
        return false;
    std::memcpy(code, digest, kAesAuthenticationLength);
    return true;
}

bool WinZipAes::applyKeystream(unsigned char* data, std::size_t size) {
    if (m_cipher == nullptr)
        return false;
    while (size > 0) {
        if (m_keystreamUsed == kKeystreamBytes && !refill())
            return false;
        const std::size_t n = std::min(size, kKeystreamBytes - m_keystreamUsed);
        const unsigned char* key = m_keystream.data() + m_keystreamUsed;
        std::size_t i = 0;
        for (; i + 8 <= n; i += 8) {
            std::uint64_t a, b;
            std::memcpy(&a, data + i, 8);
            std::memcpy(&b, key + i, 8);
            a ^= b;
            std::memcpy(data + i, &a, 8);
        }
        for (; i < n; ++i)
            data[i] ^= key[i];
        data += n;
        size -= n;
        m_keystreamUsed += n;
    }
    return true;
}

bool WinZipAes::refill() {
    // The key stream is AES of the counter blocks that follow, made many at a time.
    for (std::size_t b = 0; b < kKeystreamBytes / 16; ++b) {
        if (++m_counterLow == 0)
            ++m_counterHigh;
        unsigned char* block = m_blocks.data() + 16 * b;
        if constexpr (std::endian::native == std::endian::little) {
            std::memcpy(block, &m_counterLow, 8);
            std::memcpy(block + 8, &m_counterHigh, 8);
        } else {
            for (int i = 0; i < 8; ++i) { // the counter is little-endian on any host
                block[i] = static_cast<unsigned char>(m_counterLow >> (8 * i));
                block[8 + i] = static_cast<unsigned char>(m_counterHigh >> (8 * i));
            }
        }
    }
    int produced = 0;
    if (EVP_EncryptUpdate(m_cipher, m_keystream.data(), &produced, m_blocks.data(), static_cast<int>(kKeystreamBytes)) !=
        1)
        return false;
    m_keystreamUsed = 0;
    return true;
}

} // namespace FileSystem::detail
