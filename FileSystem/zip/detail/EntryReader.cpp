#include <FileSystem/zip/detail/EntryReader.h>

#include <FileSystem/zip/detail/WinZipAes.h>

#include <openssl/crypto.h>

#include <algorithm>
#include <cstring>

namespace FileSystem::detail {

namespace {

constexpr std::size_t kPieceBytes = 1 << 18;

} // namespace

EntryReader::EntryReader(zip_t* archive, zip_uint64_t index, const std::string& password) {
    zip_stat_t stat;
    zip_stat_init(&stat);
    if (zip_stat_index(archive, index, 0, &stat) != 0)
        return;
    const std::size_t key = (stat.valid & ZIP_STAT_ENCRYPTION_METHOD) ? aesKeyLength(stat.encryption_method) : 0;
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
    if (password.empty() || stat.comp_size < saltLength + kAesVerifierLength + kAesAuthenticationLength)
        return;
    m_file = zip_fopen_index(archive, index, ZIP_FL_ENCRYPTED);
    if (m_file == nullptr)
        return;
    unsigned char header[16 + kAesVerifierLength];
    unsigned char verifier[kAesVerifierLength];
    auto aes = std::make_unique<WinZipAes>();
    if (!readExactly(header, saltLength + kAesVerifierLength) || !aes->start(password, header, key, verifier) ||
        std::memcmp(verifier, header + saltLength, kAesVerifierLength) != 0) { // the wrong password
        zip_fclose(m_file);
        m_file = nullptr;
        return;
    }
    m_remaining = stat.comp_size - saltLength - kAesVerifierLength - kAesAuthenticationLength;
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
    const std::size_t want = static_cast<std::size_t>(std::min<std::uint64_t>(size, m_remaining));
    if (want == 0) {
        if (!m_verified) {
            // The engine checks a checksum that such entries do not have: its
            // error after the last byte is no error. The HMAC decides.
            unsigned char stored[kAesAuthenticationLength], computed[kAesAuthenticationLength];
            if (!readExactly(stored, sizeof stored) || !m_aes->authenticationCode(computed) ||
                CRYPTO_memcmp(stored, computed, sizeof stored) != 0)
                return -1;
            m_verified = true;
        }
        return 0;
    }
    if (!readExactly(data, want) || !m_aes->decrypt(data, want))
        return -1;
    m_remaining -= want;
    return static_cast<std::int64_t>(want);
}

std::int64_t EntryReader::read(void* data, std::uint64_t size) {
    if (m_file == nullptr)
        return -1;
    if (!m_aes)
        return zip_fread(m_file, data, size);
    // In pieces that stay in the cache while they are read, authenticated,
    // decrypted, inflated and checked.
    auto* out = static_cast<unsigned char*>(data);
    std::uint64_t total = 0;
    while (total < size) {
        const std::int64_t got = readPlain(out + total, std::min<std::uint64_t>(size - total, kPieceBytes));
        if (got < 0)
            return -1;
        if (got == 0) {
            if (total == 0 && m_expectedChecksum != 0 && m_checksum != m_expectedChecksum)
                return -1;
            break;
        }
        if (m_expectedChecksum != 0)
            m_checksum = crc32(m_checksum, out + total, static_cast<uInt>(got));
        total += static_cast<std::uint64_t>(got);
    }
    return static_cast<std::int64_t>(total);
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
