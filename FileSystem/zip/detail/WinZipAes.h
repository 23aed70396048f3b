#pragma once

// WinZip AES encryption of entry data (internal).
//
// An encrypted entry's data is a salt (half the key length), a 2-byte password
// verifier, the data encrypted with AES in counter mode (a little-endian block
// counter from 1), and the first 10 bytes of an HMAC-SHA1 over the encrypted
// data. The AES key, the HMAC key and the verifier come from
// PBKDF2-HMAC-SHA1 of the password and the salt, 1000 rounds.

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

typedef struct evp_cipher_ctx_st EVP_CIPHER_CTX;
typedef struct evp_mac_st EVP_MAC;
typedef struct evp_mac_ctx_st EVP_MAC_CTX;

namespace FileSystem::detail {

inline constexpr std::size_t kAesVerifierLength = 2;
inline constexpr std::size_t kAesAuthenticationLength = 10;

/// Key length in bytes of an engine encryption method; 0 for one that is not WinZip AES.
std::size_t aesKeyLength(std::uint16_t method);

/// PBKDF2 with HMAC-SHA1: `length` bytes of key material into `out`.
bool pbkdf2HmacSha1(const std::string& password, const unsigned char* salt, std::size_t saltLength,
                    unsigned iterations, unsigned char* out, std::size_t length);

/// One entry's cipher and authentication, in either direction.
class WinZipAes {
public:
    WinZipAes() = default;
    ~WinZipAes();
    WinZipAes(const WinZipAes&) = delete;
    WinZipAes& operator=(const WinZipAes&) = delete;

    /// Derives the keys for `keyLength` (16, 24 or 32) from the password and a
    /// salt of half that length; the password verifier goes to `verifier`.
    bool start(const std::string& password, const unsigned char* salt, std::size_t keyLength,
               unsigned char* verifier);
    /// Encrypts in place and authenticates the result.
    bool encrypt(unsigned char* data, std::size_t size);
    /// Authenticates the encrypted bytes, then decrypts them in place.
    bool decrypt(unsigned char* data, std::size_t size);
    /// The authentication code of everything encrypted or decrypted so far.
    bool authenticationCode(unsigned char* code);

private:
    bool applyKeystream(unsigned char* data, std::size_t size);
    bool refill();

    EVP_CIPHER_CTX* m_cipher = nullptr;
    EVP_MAC_CTX* m_mac = nullptr;
    std::uint64_t m_counterLow = 0; ///< the 128-bit block counter
    std::uint64_t m_counterHigh = 0;
    std::vector<unsigned char> m_blocks;
    std::vector<unsigned char> m_keystream;
    std::size_t m_keystreamUsed = 0;
};

} // namespace FileSystem::detail
