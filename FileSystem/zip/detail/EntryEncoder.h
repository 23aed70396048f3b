#pragma once

// Entry data deflated and encrypted as the archive stores it (internal).

#include <FileSystem/zip/detail/WinZipAes.h>

#include <zlib.h>

#include <cstdint>
#include <string>
#include <vector>

namespace FileSystem::detail {

/// Turns an entry's plain bytes into the stored form of a deflated WinZip
/// AES-256 entry: salt and password verifier, the deflate stream encrypted,
/// then the authentication code. Bytes go in with put and finish, and come
/// out with take.
class EncryptedDeflater {
public:
    EncryptedDeflater() = default;
    ~EncryptedDeflater();
    EncryptedDeflater(const EncryptedDeflater&) = delete;
    EncryptedDeflater& operator=(const EncryptedDeflater&) = delete;

    /// A fresh random salt, the keys of the password, a deflater at `level`
    /// (1 to 9; below 0 for zlib's default).
    bool start(const std::string& password, int level);
    /// Deflates and encrypts plain bytes.
    bool put(const unsigned char* data, std::size_t size);
    /// Ends the deflate stream and appends the authentication code.
    bool finish();
    /// Moves up to `size` stored bytes to `out`; how many.
    std::size_t take(unsigned char* out, std::size_t size);

    std::size_t pending() const noexcept { return m_end - m_taken; }
    bool isFinished() const noexcept { return m_finished; }
    std::uint32_t checksum() const noexcept { return static_cast<std::uint32_t>(m_checksum); }
    std::uint64_t plainSize() const noexcept { return m_plainSize; }
    std::uint64_t storedSize() const noexcept { return m_storedSize; }

private:
    bool deflateInto(int flush);
    void append(const unsigned char* data, std::size_t size);

    WinZipAes m_aes;
    z_stream m_zlib{};
    bool m_zlibOpen = false;
    bool m_finished = false;
    uLong m_checksum = 0;
    std::uint64_t m_plainSize = 0;
    std::uint64_t m_storedSize = 0;
    std::vector<unsigned char> m_output; ///< [m_taken, m_end) waits to be taken
    std::size_t m_taken = 0;
    std::size_t m_end = 0;
};

} // namespace FileSystem::detail
