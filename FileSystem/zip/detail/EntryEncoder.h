#pragma once

// Entry data in the form the archive stores it: stored or deflated, and
// encrypted with WinZip AES-256 when there is a password (internal).

#include <FileSystem/zip/detail/Deflate.h>
#include <FileSystem/zip/detail/WinZipAes.h>

#include <cstdint>
#include <string>
#include <vector>

namespace FileSystem::detail {

/// Turns an entry's plain bytes into its stored form: the raw deflate stream
/// (or the bytes as they are, at level 0), and with a password a WinZip AES-256
/// entry around it: salt and password verifier, the data encrypted, then the
/// authentication code. Bytes go in with put and finish, and come out with take.
class EntryEncoder {
public:
    EntryEncoder();
    ~EntryEncoder();
    EntryEncoder(const EntryEncoder&) = delete;
    EntryEncoder& operator=(const EntryEncoder&) = delete;

    /// Starts an entry at `level` (0 stores, 1 to 9 deflate, below 0 is the
    /// default, 6); a non-empty password encrypts it (a fresh random salt).
    bool start(const std::string& password, int level);
    /// Compresses and encrypts plain bytes.
    bool put(const unsigned char* data, std::size_t size);
    /// Ends the data and appends the authentication code.
    bool finish();
    /// Moves up to `size` stored bytes to `out`; how many.
    std::size_t take(unsigned char* out, std::size_t size);

    std::size_t pending() const noexcept { return m_end - m_taken; }
    bool isFinished() const noexcept { return m_finished; }
    std::uint32_t checksum() const noexcept { return m_checksum; }
    std::uint64_t plainSize() const noexcept { return m_plainSize; }
    std::uint64_t storedSize() const noexcept { return m_storedSize; }
    bool isDeflated() const noexcept { return m_deflate; }
    bool isEncrypted() const noexcept { return m_encrypt; }

private:
    bool deflateInto(const unsigned char* data, std::size_t size, bool finish);
    void makeRoom(std::size_t size);
    bool append(const unsigned char* data, std::size_t size, bool encrypt);

    WinZipAes m_aes;
    RawDeflater m_deflater;
    bool m_started = false;
    bool m_deflate = false;
    bool m_encrypt = false;
    bool m_finished = false;
    std::uint32_t m_checksum = 0;
    std::uint64_t m_plainSize = 0;
    std::uint64_t m_storedSize = 0;
    std::vector<unsigned char> m_staged; ///< plain bytes that wait for a piece to fill
    std::vector<unsigned char> m_output; ///< [m_taken, m_end) waits to be taken
    std::size_t m_taken = 0;
    std::size_t m_end = 0;
};

} // namespace FileSystem::detail
