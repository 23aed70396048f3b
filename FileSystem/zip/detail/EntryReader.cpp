#include <FileSystem/zip/detail/EntryReader.h>

#include <openssl/core_names.h>
#include <openssl/crypto.h>
#include <openssl/evp.h>

#include <algorithm>
#include <cstring>

namespace FileSystem::detail {

namespace {

constexpr std::size_t kVerifierLength = 2;
constexpr std::size_t kKeystreamBytes = 1 << 16;
constexpr std::size_t kAuthenticationLength = 10;

std::size_t keyLength(std::uint16_t method) {
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

const EVP_CIPHER* ecbCipher(std::size_t key) {
    return key == 16 ? EVP_aes_128_ecb() : key == 24 ? EVP_aes_192_ecb() : EVP_aes_256_ecb();
}

} // namespace

/// WinZip AES: a salt and a password verifier, the data encrypted with AES in
/// counter mode (a little-endian counter from 1), and the first 10 bytes of an
/// HMAC-SHA1 over the encrypted data; keys from PBKDF2-HMAC-SHA1 (1000 rounds).
struct EntryReader::Aes {
    EVP_CIPHER_CTX* cipher = nullptr;
    EVP_MAC* macType = nullptr;
    EVP_MAC_CTX* mac = nullptr;
    unsigned char counter[16] = {};
    std::vector<unsigned char> blocks = std::vector<unsigned char>(kKeystreamBytes);
    std::vector<unsigned char> keystream = std::vector<unsigned char>(kKeystreamBytes);
    std::size_t keystreamUsed = kKeystreamBytes;
    std::uint64_t remaining = 0; ///< encrypted bytes still to read

    ~Aes() {
        EVP_CIPHER_CTX_free(cipher);
        EVP_MAC_CTX_free(mac);
        EVP_MAC_free(macType);
    }

    bool start(const std::string& password, const unsigned char* salt, std::size_t saltLength,
               const unsigned char* verifier, std::size_t key) {
        std::vector<unsigned char> keys(2 * key + kVerifierLength);
        if (PKCS5_PBKDF2_HMAC_SHA1(password.data(), static_cast<int>(password.size()), salt,
                                   static_cast<int>(saltLength), 1000, static_cast<int>(keys.size()), keys.data()) != 1)
            return false;
        if (std::memcmp(keys.data() + 2 * key, verifier, kVerifierLength) != 0)
            return false; // the wrong password
        cipher = EVP_CIPHER_CTX_new();
        macType = EVP_MAC_fetch(nullptr, "HMAC", nullptr);
        mac = macType ? EVP_MAC_CTX_new(macType) : nullptr;
        if (cipher == nullptr || mac == nullptr ||
            EVP_EncryptInit_ex(cipher, ecbCipher(key), nullptr, keys.data(), nullptr) != 1)
            return false;
        EVP_CIPHER_CTX_set_padding(cipher, 0);
        char digest[] = "SHA1";
        const OSSL_PARAM parameters[] = {OSSL_PARAM_construct_utf8_string(OSSL_MAC_PARAM_DIGEST, digest, 0),
                                         OSSL_PARAM_construct_end()};
        return EVP_MAC_init(mac, keys.data() + key, key, parameters) == 1;
    }

    /// Decrypts in place, feeding the encrypted bytes to the HMAC first.
    bool decrypt(unsigned char* data, std::size_t size) {
        if (EVP_MAC_update(mac, data, size) != 1)
            return false;
        while (size > 0) {
            if (keystreamUsed == kKeystreamBytes && !refill())
                return false;
            const std::size_t n = std::min(size, kKeystreamBytes - keystreamUsed);
            const unsigned char* key = keystream.data() + keystreamUsed;
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
            keystreamUsed += n;
        }
        return true;
    }

    /// The next stretch of key stream: AES of the counter blocks that follow.
    bool refill() {
        for (std::size_t b = 0; b < kKeystreamBytes / 16; ++b) {
            for (unsigned char& byte : counter) // a little-endian increment
                if (++byte != 0)
                    break;
            std::memcpy(blocks.data() + 16 * b, counter, 16);
        }
        int produced = 0;
        if (EVP_EncryptUpdate(cipher, keystream.data(), &produced, blocks.data(), static_cast<int>(kKeystreamBytes)) != 1)
            return false;
        keystreamUsed = 0;
        return true;
    }

    bool authentic(const unsigned char* code) {
        unsigned char digest[EVP_MAX_MD_SIZE];
        std::size_t length = 0;
        return EVP_MAC_final(mac, digest, &length, sizeof digest) == 1 && length >= kAuthenticationLength &&
               CRYPTO_memcmp(digest, code, kAuthenticationLength) == 0;
    }
};

EntryReader::EntryReader(zip_t* archive, zip_uint64_t index, const std::string& password) {
    zip_stat_t stat;
    zip_stat_init(&stat);
    if (zip_stat_index(archive, index, 0, &stat) != 0)
        return;
    const std::size_t key = (stat.valid & ZIP_STAT_ENCRYPTION_METHOD) ? keyLength(stat.encryption_method) : 0;
    const bool readable = (stat.valid & ZIP_STAT_COMP_METHOD) && (stat.valid & ZIP_STAT_COMP_SIZE) &&
                          (stat.valid & ZIP_STAT_CRC) &&
                          (stat.comp_method == ZIP_CM_STORE || stat.comp_method == ZIP_CM_DEFLATE);
    if (key == 0 || !readable) {
        m_file = password.empty() ? zip_fopen_index(archive, index, 0)
                                  : zip_fopen_index_encrypted(archive, index, 0, password.c_str());
        return;
    }

    // AES entries are decrypted, verified and inflated here. Those of the AE-1
    // kind also carry a checksum; AE-2 entries (checksum 0) rely on the HMAC alone.
    m_expectedChecksum = stat.crc;
    const std::size_t saltLength = key / 2;
    if (password.empty() || stat.comp_size < saltLength + kVerifierLength + kAuthenticationLength)
        return;
    m_file = zip_fopen_index(archive, index, ZIP_FL_ENCRYPTED);
    if (m_file == nullptr)
        return;
    unsigned char header[16 + kVerifierLength];
    auto aes = std::make_unique<Aes>();
    if (!readExactly(header, saltLength + kVerifierLength) ||
        !aes->start(password, header, saltLength, header + saltLength, key)) {
        zip_fclose(m_file);
        m_file = nullptr;
        return;
    }
    aes->remaining = stat.comp_size - saltLength - kVerifierLength - kAuthenticationLength;
    m_aes = std::move(aes);
    m_stored = stat.comp_method == ZIP_CM_STORE;
    if (!m_stored) {
        m_zlibOpen = inflateInit2(&m_zlib, -MAX_WBITS) == Z_OK; // raw deflate, as in zip entries
        m_input.resize(1 << 16);
    }
}

EntryReader::~EntryReader() {
    if (m_zlibOpen)
        inflateEnd(&m_zlib);
    if (m_file != nullptr)
        zip_fclose(m_file);
}

bool EntryReader::readExactly(unsigned char* data, std::size_t size) {
    for (std::size_t done = 0; done < size;) {
        const zip_int64_t got = zip_fread(m_file, data + done, size - done);
        if (got <= 0)
            return false;
        done += static_cast<std::size_t>(got);
    }
    return true;
}

std::int64_t EntryReader::readDecrypted(unsigned char* data, std::uint64_t size) {
    const std::size_t want = static_cast<std::size_t>(std::min<std::uint64_t>(size, m_aes->remaining));
    if (want == 0) {
        if (!m_verified) {
            // The engine checks a checksum that such entries do not have: its
            // error after the last byte is no error. The HMAC decides.
            unsigned char code[kAuthenticationLength];
            if (!readExactly(code, sizeof code) || !m_aes->authentic(code))
                return -1;
            m_verified = true;
        }
        return 0;
    }
    if (!readExactly(data, want) || !m_aes->decrypt(data, want))
        return -1;
    m_aes->remaining -= want;
    return static_cast<std::int64_t>(want);
}

std::int64_t EntryReader::read(void* data, std::uint64_t size) {
    if (m_file == nullptr)
        return -1;
    if (!m_aes)
        return zip_fread(m_file, data, size);
    const std::int64_t got = readPlain(data, size);
    if (got > 0) {
        m_checksum = crc32(m_checksum, static_cast<const Bytef*>(data), static_cast<uInt>(got));
    } else if (got == 0 && m_expectedChecksum != 0 && m_checksum != m_expectedChecksum) {
        return -1;
    }
    return got;
}

std::int64_t EntryReader::readPlain(void* data, std::uint64_t size) {
    if (m_stored)
        return readDecrypted(static_cast<unsigned char*>(data), size);
    if (!m_zlibOpen)
        return -1;
    if (m_zlibDone || size == 0)
        return 0;
    m_zlib.next_out = static_cast<Bytef*>(data);
    m_zlib.avail_out = static_cast<uInt>(std::min<std::uint64_t>(size, 1u << 30));
    while (m_zlib.avail_out > 0) {
        if (m_zlib.avail_in == 0 && !m_inputEnded) {
            const std::int64_t got = readDecrypted(m_input.data(), m_input.size());
            if (got < 0)
                return -1;
            if (got == 0)
                m_inputEnded = true;
            m_zlib.next_in = m_input.data();
            m_zlib.avail_in = static_cast<uInt>(got);
        }
        const int status = inflate(&m_zlib, Z_NO_FLUSH);
        if (status == Z_STREAM_END) {
            m_zlibDone = true;
            // Read to the end, so that the HMAC is verified before the last bytes count.
            unsigned char rest[512];
            for (std::int64_t got; (got = readDecrypted(rest, sizeof rest)) != 0;)
                if (got < 0)
                    return -1;
            break;
        }
        if (status == Z_BUF_ERROR) {
            if (m_inputEnded && m_zlib.avail_in == 0)
                return -1; // the data ends before the deflate stream does
            continue;
        }
        if (status != Z_OK)
            return -1;
    }
    return static_cast<std::int64_t>(m_zlib.next_out - static_cast<Bytef*>(data));
}

} // namespace FileSystem::detail
