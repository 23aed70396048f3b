#include <FileSystem/zip/detail/EntryEncoder.h>

#include <openssl/rand.h>

#include <algorithm>
#include <cstring>

namespace FileSystem::detail {

namespace {

constexpr std::size_t kKeyLength = 32; // AES-256
constexpr std::size_t kOutputStep = 1 << 16;

} // namespace

EntryEncoder::~EntryEncoder() {
    if (m_zlibOpen)
        deflateEnd(&m_zlib);
}

bool EntryEncoder::start(const std::string& password, int level) {
    if (m_started)
        return false;
    m_started = true;
    m_encrypt = !password.empty();
    m_deflate = level != 0;
    m_checksum = crc32(0, nullptr, 0);
    if (m_encrypt) {
        unsigned char header[kKeyLength / 2 + kAesVerifierLength];
        if (RAND_bytes(header, kKeyLength / 2) != 1 ||
            !m_aes.start(password, header, kKeyLength, header + kKeyLength / 2))
            return false;
        append(header, sizeof header, false);
    }
    if (m_deflate) {
        // Raw deflate, as zip entries hold it.
        m_zlibOpen = deflateInit2(&m_zlib, level < 0 ? Z_DEFAULT_COMPRESSION : std::min(level, 9), Z_DEFLATED,
                                  -MAX_WBITS, 8, Z_DEFAULT_STRATEGY) == Z_OK;
        return m_zlibOpen;
    }
    return true;
}

bool EntryEncoder::put(const unsigned char* data, std::size_t size) {
    if (!m_started || m_finished || (m_deflate && !m_zlibOpen))
        return false;
    m_checksum = crc32_z(m_checksum, data, size);
    m_plainSize += size;
    if (!m_deflate)
        return append(data, size, m_encrypt);
    m_zlib.next_in = const_cast<Bytef*>(data);
    m_zlib.avail_in = static_cast<uInt>(size);
    return deflateInto(Z_NO_FLUSH);
}

bool EntryEncoder::finish() {
    if (!m_started || m_finished || (m_deflate && !m_zlibOpen))
        return false;
    if (m_deflate) {
        m_zlib.next_in = nullptr;
        m_zlib.avail_in = 0;
        if (!deflateInto(Z_FINISH))
            return false;
    }
    if (m_encrypt) {
        unsigned char code[kAesAuthenticationLength];
        if (!m_aes.authenticationCode(code))
            return false;
        append(code, sizeof code, false);
    }
    m_finished = true;
    return true;
}

void EntryEncoder::makeRoom(std::size_t size) {
    // Taken output makes room first, so the buffer stays at a few blocks.
    if (m_output.size() - m_end < size && m_taken > 0) {
        std::memmove(m_output.data(), m_output.data() + m_taken, m_end - m_taken);
        m_end -= m_taken;
        m_taken = 0;
    }
    if (m_output.size() - m_end < size)
        m_output.resize(m_end + size);
}

bool EntryEncoder::deflateInto(int flush) {
    for (;;) {
        makeRoom(kOutputStep);
        const std::size_t room = m_output.size() - m_end;
        m_zlib.next_out = m_output.data() + m_end;
        m_zlib.avail_out = static_cast<uInt>(room);
        const int status = deflate(&m_zlib, flush);
        const std::size_t produced = room - m_zlib.avail_out;
        if (status == Z_STREAM_ERROR || (m_encrypt && !m_aes.encrypt(m_output.data() + m_end, produced)))
            return false;
        m_end += produced;
        m_storedSize += produced;
        if (flush == Z_FINISH ? status == Z_STREAM_END : m_zlib.avail_in == 0 && m_zlib.avail_out != 0)
            return true;
    }
}

bool EntryEncoder::append(const unsigned char* data, std::size_t size, bool encrypt) {
    makeRoom(size);
    std::memcpy(m_output.data() + m_end, data, size);
    if (encrypt && !m_aes.encrypt(m_output.data() + m_end, size))
        return false;
    m_end += size;
    m_storedSize += size;
    return true;
}

std::size_t EntryEncoder::take(unsigned char* out, std::size_t size) {
    const std::size_t n = std::min(size, pending());
    if (n > 0)
        std::memcpy(out, m_output.data() + m_taken, n);
    m_taken += n;
    return n;
}

} // namespace FileSystem::detail
