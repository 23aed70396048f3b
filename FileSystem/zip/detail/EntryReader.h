#pragma once

// Reading the data of one entry (internal).

#include <FileSystem/zip/detail/Deflate.h>

#include <zip.h>

#include <cstdint>
#include <memory>
#include <string>

namespace FileSystem::detail {

class Spool;
struct SpooledEntry;
class WinZipAes;

/// The data of an entry, decrypted and inflated.
///
/// Stored and deflated entries, plain or WinZip AES, are read raw from the
/// engine and decrypted, verified, inflated and checked here: the inflater and
/// checksum of this build are faster than the engine's, and WinZip AES entries
/// of the AE-2 kind store no checksum (their HMAC stands for it), which the
/// engine of this build checks from 20 bytes on and so fails every one that
/// 7-Zip writes. Traditionally encrypted entries and other methods are left to
/// the engine. Entries that a writer added and has not written yet are read
/// from its spool in the same way.
class EntryReader {
public:
    /// Opens entry `index` with a password (empty: none, or the engine's default).
    EntryReader(zip_t* archive, zip_uint64_t index, const std::string& password);
    /// Opens an entry that waits in a writer's spool.
    EntryReader(const std::shared_ptr<Spool>& spool, const SpooledEntry& entry, const std::string& password);
    ~EntryReader();
    EntryReader(const EntryReader&) = delete;
    EntryReader& operator=(const EntryReader&) = delete;

    bool isOpen() const noexcept { return m_open; }
    /// Up to `size` bytes; 0 at the end, -1 on an error (damaged data, wrong password, bad HMAC,
    /// wrong checksum, more or fewer bytes than the entry declares). The read that hands out the
    /// last declared byte first checks the whole entry: no caller that stops at the declared size
    /// ever gets data that was not verified.
    std::int64_t read(void* data, std::uint64_t size);

    /// Why the entry could not be opened or read, in words ("wrong password",
    /// "no password given", "damaged entry: ..."); empty while nothing failed.
    const std::string& problem() const noexcept { return m_problem; }

private:
    /// Notes why reading failed (the first reason counts) and gives -1.
    std::int64_t failWith(const std::string& problem);
    /// The engine's reason for the failure of an open or a read.
    void noteEngineProblem(zip_error_t* error);

    /// Starts reading the stored bytes here: the AES header when there is a
    /// key, then a raw inflater unless the data is stored.
    bool startOwn(const std::string& password, std::size_t key, bool stored, std::uint64_t storedSize);
    std::int64_t readRaw(unsigned char* data, std::size_t size);
    bool readExactly(unsigned char* data, std::size_t size);
    std::int64_t readStored(unsigned char* data, std::uint64_t size);
    std::int64_t readPlain(void* data, std::uint64_t size);
    std::int64_t readPiece(void* data, std::uint64_t size);
    /// Reads past the last byte, which makes the engine check the checksum and this reader
    /// check the HMAC; true when the entry ends there and every check passed.
    bool verifyEnd();

    zip_file_t* m_file = nullptr;    ///< the engine's entry (raw bytes when read here)
    std::shared_ptr<Spool> m_spool;  ///< or the spool that holds the entry
    std::uint64_t m_spoolOffset = 0; ///< where the entry's stored bytes are in the spool
    bool m_open = false;
    bool m_own = false;               ///< decoded here, not by the engine
    std::unique_ptr<WinZipAes> m_aes; ///< set for an entry decrypted here
    std::uint64_t m_remaining = 0;    ///< stored data bytes still to read
    bool m_verified = false;
    std::uint32_t m_checksum = 0; ///< CRC-32 of the data handed out
    std::uint32_t m_expectedChecksum = 0;
    bool m_checkChecksum = false;
    bool m_stored = false;
    RawInflater m_inflater;
    bool m_inflaterOpen = false;
    bool m_inflated = false; ///< the deflate stream ended
    unsigned char* m_input = nullptr; ///< the inflater's input buffer
    std::size_t m_inputTaken = 0; ///< [m_inputTaken, m_inputEnd) waits to be inflated
    std::size_t m_inputEnd = 0;
    bool m_inputEnded = false;
    std::uint64_t m_declared = 0;  ///< the size the entry declares
    bool m_sizeKnown = false;
    std::uint64_t m_delivered = 0; ///< bytes handed out so far
    bool m_failed = false;
    bool m_ended = false;          ///< the end was reached and verified
    std::string m_problem;
};

} // namespace FileSystem::detail
