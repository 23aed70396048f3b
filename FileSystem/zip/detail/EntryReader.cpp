#include <FileSystem/zip/detail/EntryReader.h>

#include <FileSystem/zip/detail/Spool.h>
#include <FileSystem/zip/detail/WinZipAes.h>

#include <openssl/crypto.h>

#include <algorithm>
#include <cstring>

namespace FileSystem::detail {

namespace {

constexpr std::size_t kPieceBytes = 1 << 18;
constexpr std::size_t kInputLow = 1 << 12;

} // namespace

std::int64_t EntryReader::failWith(const std::string& problem) {
    if (m_problem.empty())
        m_problem = problem;
    return -1;
}

void EntryReader::noteEngineProblem(zip_error_t* error) {
    switch (error == nullptr ? ZIP_ER_OK : zip_error_code_zip(error)) {
    case ZIP_ER_WRONGPASSWD:
        failWith("wrong password");
        break;
    case ZIP_ER_NOPASSWD:
        failWith("no password given");
        break;
    case ZIP_ER_CRC:
        failWith("damaged entry: checksum mismatch");
        break;
    case ZIP_ER_ENCRNOTSUPP:
    case ZIP_ER_COMPNOTSUPP:
        failWith("method not supported");
        break;
    case ZIP_ER_OK:
        failWith("damaged entry");
        break;
    default:
        failWith(std::string("damaged entry: ") + zip_error_strerror(error));
        break;
    }
}

EntryReader::EntryReader(zip_t* archive, zip_uint64_t index, const std::string& password) {
    zip_stat_t stat;
    zip_stat_init(&stat);
    if (zip_stat_index(archive, index, 0, &stat) != 0)
        return;
    m_sizeKnown = (stat.valid & ZIP_STAT_SIZE) != 0;
    m_declared = m_sizeKnown ? stat.size : 0;
    const std::size_t key = (stat.valid & ZIP_STAT_ENCRYPTION_METHOD) ? aesKeyLength(stat.encryption_method) : 0;
    const bool plain = (stat.valid & ZIP_STAT_ENCRYPTION_METHOD) && stat.encryption_method == ZIP_EM_NONE;
    const bool readable = (stat.valid & ZIP_STAT_COMP_METHOD) && (stat.valid & ZIP_STAT_COMP_SIZE) &&
                          (stat.valid & ZIP_STAT_CRC) &&
                          (stat.comp_method == ZIP_CM_STORE || stat.comp_method == ZIP_CM_DEFLATE);
    if (!readable || (key == 0 && !plain)) {
        // Methods the engine cannot handle are refused here: its failing open
        // of such an entry loses memory.
        if (((stat.valid & ZIP_STAT_COMP_METHOD) && !zip_compression_method_supported(stat.comp_method, 0)) ||
            ((stat.valid & ZIP_STAT_ENCRYPTION_METHOD) && !zip_encryption_method_supported(stat.encryption_method, 0))) {
            failWith("method not supported");
            return;
        }
        m_file = password.empty() ? zip_fopen_index(archive, index, 0)
                                  : zip_fopen_index_encrypted(archive, index, 0, password.c_str());
        m_open = m_file != nullptr;
        if (!m_open)
            noteEngineProblem(zip_get_error(archive));
        return;
    }

    // Decrypted, verified, inflated and checked here. AES entries of the AE-1
    // kind also carry a checksum; AE-2 entries (checksum 0) rely on the HMAC alone.
    m_expectedChecksum = stat.crc;
    m_checkChecksum = key == 0 || stat.crc != 0;
    if (key != 0 && password.empty()) {
        failWith("no password given");
        return;
    }
    m_file = zip_fopen_index(archive, index, key != 0 ? ZIP_FL_ENCRYPTED : ZIP_FL_COMPRESSED);
    if (m_file == nullptr)
        noteEngineProblem(zip_get_error(archive));
    else
        m_open = startOwn(key != 0 ? password : std::string(), key, stat.comp_method == ZIP_CM_STORE, stat.comp_size);
}

EntryReader::EntryReader(const std::shared_ptr<Spool>& spool, const SpooledEntry& entry, const std::string& password)
    : m_spool(spool), m_spoolOffset(entry.offset) {
    m_sizeKnown = true;
    m_declared = entry.plainSize;
    m_expectedChecksum = entry.checksum;
    m_checkChecksum = true;
    if (entry.encrypted && password.empty()) {
        failWith("no password given");
        return;
    }
    m_open = startOwn(entry.encrypted ? password : std::string(), entry.encrypted ? 32 : 0, !entry.deflated,
                      entry.storedSize);
}

bool EntryReader::startOwn(const std::string& password, std::size_t key, bool stored, std::uint64_t storedSize) {
    m_own = true;
    m_stored = stored;
    m_remaining = storedSize;
    if (key != 0) {
        const std::size_t saltLength = key / 2;
        if (storedSize < saltLength + kAesVerifierLength + kAesAuthenticationLength) {
            failWith("damaged entry: too short for its encryption");
            return false;
        }
        unsigned char header[16 + kAesVerifierLength];
        unsigned char verifier[kAesVerifierLength];
        auto aes = std::make_unique<WinZipAes>();
        if (!readExactly(header, saltLength + kAesVerifierLength) || !aes->start(password, header, key, verifier)) {
            failWith("damaged entry: no encryption header");
            return false;
        }
        if (std::memcmp(verifier, header + saltLength, kAesVerifierLength) != 0) {
            failWith("wrong password");
            return false;
        }
        m_remaining = storedSize - saltLength - kAesVerifierLength - kAesAuthenticationLength;
        m_aes = std::move(aes);
    }
    if (!m_stored) {
        m_inflaterOpen = m_inflater.start();
        m_input = m_inflater.input();
        return m_inflaterOpen;
    }
    return true;
}

EntryReader::~EntryReader() {
    if (m_file != nullptr)
        zip_fclose(m_file);
}

std::int64_t EntryReader::readRaw(unsigned char* data, std::size_t size) {
    if (m_file != nullptr)
        return zip_fread(m_file, data, size);
    const std::int64_t got = m_spool->readAt(data, size, m_spoolOffset);
    if (got > 0)
        m_spoolOffset += static_cast<std::uint64_t>(got);
    return got;
}

bool EntryReader::readExactly(unsigned char* data, std::size_t size) {
    for (std::size_t done = 0; done < size;) {
        const std::int64_t got = readRaw(data + done, size - done);
        if (got <= 0)
            return false;
        done += static_cast<std::size_t>(got);
    }
    return true;
}

std::int64_t EntryReader::readStored(unsigned char* data, std::uint64_t size) {
    const std::size_t want = static_cast<std::size_t>(std::min<std::uint64_t>(size, m_remaining));
    if (want == 0) {
        if (!m_verified) {
            // The engine checks a checksum that AES entries may not have: its
            // error after the last byte is no error. The HMAC decides.
            if (m_aes) {
                unsigned char stored[kAesAuthenticationLength], computed[kAesAuthenticationLength];
                if (!readExactly(stored, sizeof stored) || !m_aes->authenticationCode(computed) ||
                    CRYPTO_memcmp(stored, computed, sizeof stored) != 0)
                    return failWith("damaged entry: authentication failed");
            }
            m_verified = true;
        }
        return 0;
    }
    if (!readExactly(data, want) || (m_aes && !m_aes->decrypt(data, want)))
        return failWith("damaged entry: the data ends early");
    m_remaining -= want;
    return static_cast<std::int64_t>(want);
}

std::int64_t EntryReader::read(void* data, std::uint64_t size) {
    if (!m_open || m_failed)
        return -1;
    if (m_ended || size == 0)
        return 0;
    if (m_sizeKnown)
        size = std::min(size, m_declared - m_delivered);
    const std::int64_t got = size == 0 ? 0 : readPiece(data, size);
    if (got < 0 || (got == 0 && m_sizeKnown && m_delivered != m_declared)) {
        m_failed = true; // damaged, or shorter than declared
        if (!m_own && got < 0)
            noteEngineProblem(zip_file_get_error(m_file));
        return failWith(got == 0 ? "damaged entry: shorter than it declares" : "damaged entry");
    }
    m_delivered += static_cast<std::uint64_t>(got);
    if (got == 0 || (m_sizeKnown && m_delivered == m_declared)) {
        // The last byte goes out only when the whole entry has been checked.
        if (!verifyEnd()) {
            m_failed = true;
            return failWith("damaged entry");
        }
        m_ended = true;
    }
    return got;
}

bool EntryReader::verifyEnd() {
    unsigned char extra[64];
    if (!m_own) {
        // The engine checks the checksum when it meets the end of the data.
        const zip_int64_t got = zip_fread(m_file, extra, sizeof extra);
        if (got < 0)
            noteEngineProblem(zip_file_get_error(m_file));
        else if (got > 0)
            failWith("damaged entry: longer than it declares");
        return got == 0;
    }
    if (readPiece(extra, sizeof extra) != 0) {
        failWith("damaged entry: longer than it declares");
        return false;
    }
    if (m_verified && m_checkChecksum && m_checksum != m_expectedChecksum)
        failWith("damaged entry: checksum mismatch");
    return m_verified && (!m_checkChecksum || m_checksum == m_expectedChecksum);
}

std::int64_t EntryReader::readPiece(void* data, std::uint64_t size) {
    if (!m_own)
        return zip_fread(m_file, data, size);
    // In pieces that stay in the cache while they are read, authenticated,
    // decrypted, inflated and checked.
    auto* out = static_cast<unsigned char*>(data);
    std::uint64_t total = 0;
    while (total < size) {
        const std::int64_t got = readPlain(out + total, std::min<std::uint64_t>(size - total, kPieceBytes));
        if (got < 0)
            return -1;
        if (got == 0)
            break;
        m_checksum = entryCrc32(m_checksum, out + total, static_cast<std::size_t>(got));
        total += static_cast<std::uint64_t>(got);
    }
    return static_cast<std::int64_t>(total);
}

std::int64_t EntryReader::readPlain(void* data, std::uint64_t size) {
    if (m_stored)
        return readStored(static_cast<unsigned char*>(data), size);
    if (!m_inflaterOpen)
        return -1;
    if (m_inflated || size == 0)
        return 0;
    unsigned char* const begin = static_cast<unsigned char*>(data);
    unsigned char* out = begin;
    std::size_t room = static_cast<std::size_t>(std::min<std::uint64_t>(size, 1u << 30));
    while (room > 0) {
        if (m_inputEnd - m_inputTaken < kInputLow && !m_inputEnded) {
            // The inflater runs much faster with input ahead of it than on the
            // last few bytes of a piece, so what is left moves to the front and
            // more is read behind it.
            const std::size_t left = m_inputEnd - m_inputTaken;
            std::memmove(m_input, m_input + m_inputTaken, left);
            const std::int64_t got = readStored(m_input + left, RawInflater::s_inputSize - left);
            if (got < 0)
                return -1;
            m_inputEnded = got == 0;
            m_inputTaken = 0;
            m_inputEnd = left + static_cast<std::size_t>(got);
        }
        const unsigned char* in = m_input + m_inputTaken;
        std::size_t inSize = m_inputEnd - m_inputTaken;
        const std::size_t roomBefore = room;
        const CodecStatus status = m_inflater.step(in, inSize, out, room);
        const bool moved = m_inputTaken != m_inputEnd - inSize || room != roomBefore;
        m_inputTaken = m_inputEnd - inSize;
        if (status == CodecStatus::Failed)
            return failWith("damaged entry: bad compressed data");
        if (status == CodecStatus::End) {
            m_inflated = true;
            // Read to the end, so that the HMAC is verified before the last bytes count.
            unsigned char rest[512];
            for (std::int64_t got; (got = readStored(rest, sizeof rest)) != 0;)
                if (got < 0)
                    return -1;
            break;
        }
        if (!moved) {
            // Nothing more comes of this stream: its input ended, or it cannot go on.
            return failWith(m_inputEnded && m_inputTaken == m_inputEnd ? "damaged entry: the data ends early"
                                                                       : "damaged entry: bad compressed data");
        }
    }
    return static_cast<std::int64_t>(out - begin);
}

} // namespace FileSystem::detail
