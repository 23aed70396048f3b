#include <FileSystem/zip/detail/EntryEncoder.h>

#include <FileSystem/zip/detail/ThreadSpare.h>

#include <openssl/crypto.h>
#include <openssl/rand.h>

#include <algorithm>
#include <cstring>
#include <new>

namespace FileSystem::detail {

namespace {

constexpr std::size_t kKeyLength = 32; // AES-256
constexpr std::size_t kOutputStep = 1 << 16;
// Plain bytes go to the deflater in pieces of at least this size (but the
// last): ISA-L decides per piece between coded and stored blocks, and data
// that does not compress, given in small pieces, comes out coded, a little
// larger than stored and several times slower to inflate.
constexpr std::size_t kDeflatePiece = 1 << 20;

} // namespace

namespace {

/// The buffers of the last encoder of a thread, for the next one: an archive of
/// many entries would otherwise allocate and return a few MiB for each.
struct Buffers {
    std::vector<unsigned char> staged;
    std::vector<unsigned char> output;
};

// Larger buffers (from a caller that never took its output) are not kept.
constexpr std::size_t kKeptCapacity = 4 * kDeflatePiece;

} // namespace

EntryEncoder::EntryEncoder() {
    if (const auto spare = ThreadSpare<Buffers>::take()) {
        m_staged = std::move(spare->staged);
        m_output = std::move(spare->output);
    }
}

EntryEncoder::~EntryEncoder() {
    if (m_encrypt) {
        // The plain bytes of an encrypted entry do not stay behind in memory.
        m_staged.resize(m_staged.capacity());
        OPENSSL_cleanse(m_staged.data(), m_staged.size());
    }
    if (m_staged.capacity() > kKeptCapacity || m_output.capacity() > kKeptCapacity)
        return;
    std::unique_ptr<Buffers> spare(new (std::nothrow) Buffers);
    if (!spare)
        return;
    m_staged.clear();
    spare->staged = std::move(m_staged);
    spare->output = std::move(m_output);
    ThreadSpare<Buffers>::give(std::move(spare));
}

bool EntryEncoder::start(const std::string& password, int level) {
    if (m_started)
        return false;
    m_started = true;
    m_encrypt = !password.empty();
    m_deflate = level != 0;
    if (m_encrypt) {
        unsigned char header[kKeyLength / 2 + kAesVerifierLength];
        if (RAND_bytes(header, kKeyLength / 2) != 1 ||
            !m_aes.start(password, header, kKeyLength, header + kKeyLength / 2))
            return false;
        append(header, sizeof header, false);
    }
    return !m_deflate || m_deflater.start(level);
}

bool EntryEncoder::put(const unsigned char* data, std::size_t size) {
    if (!m_started || m_finished)
        return false;
    m_checksum = entryCrc32(m_checksum, data, size);
    m_plainSize += size;
    if (!m_deflate)
        return append(data, size, m_encrypt);
    if (m_staged.empty() && size >= kDeflatePiece)
        return deflateInto(data, size, false);
    while (size > 0) {
        const std::size_t n = std::min(size, kDeflatePiece - m_staged.size());
        m_staged.insert(m_staged.end(), data, data + n);
        data += n;
        size -= n;
        if (m_staged.size() == kDeflatePiece) {
            if (!deflateInto(m_staged.data(), m_staged.size(), false))
                return false;
            m_staged.clear();
        }
    }
    return true;
}

bool EntryEncoder::finish() {
    if (!m_started || m_finished || (m_deflate && !deflateInto(m_staged.data(), m_staged.size(), true)))
        return false;
    m_staged.clear();
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

bool EntryEncoder::deflateInto(const unsigned char* data, std::size_t size, bool finish) {
    for (;;) {
        // Room for the whole piece stored: ISA-L falls back to stored blocks for
        // data that does not compress only when the stored form fits the room.
        makeRoom(std::max(kOutputStep, size + size / 16 + 4096));
        std::size_t room = m_output.size() - m_end;
        unsigned char* out = m_output.data() + m_end;
        const CodecStatus status = m_deflater.step(data, size, out, room, finish);
        const std::size_t produced = static_cast<std::size_t>(out - (m_output.data() + m_end));
        if (status == CodecStatus::Failed || (m_encrypt && !m_aes.encrypt(m_output.data() + m_end, produced)))
            return false;
        m_end += produced;
        m_storedSize += produced;
        // Done when all input went in and the deflater did not fill the room
        // (it holds nothing more back), or when the finished stream is out.
        if (finish ? status == CodecStatus::End : size == 0 && room != 0)
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
