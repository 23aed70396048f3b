#pragma once

// Where a writer keeps the entries it was given until the archive is written
// (internal). Each add compresses, encrypts and checks its data into the spool
// at once; the commit lets the engine copy the stored bytes as they are, so an
// archive costs what is written to it, however many calls add to it.

#include <FileSystem/platform/Folders.h>

#include <zip.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace FileSystem::detail {

/// An entry's data as it lies in the spool.
struct SpooledEntry {
    std::uint64_t offset = 0;
    std::uint64_t storedSize = 0;
    std::uint64_t plainSize = 0;
    std::uint32_t checksum = 0;
    bool deflated = false;
    bool encrypted = false; ///< WinZip AES-256 around the data
    std::int64_t modified = 0;
};

/// A file without a name beside the archive: nothing of it stays behind, even
/// when the process is killed.
class Spool {
public:
    /// Opens a spool in the folder of the archive (a path in the system's form);
    /// false when that folder does not exist or cannot be written.
    bool open(const std::string& nativeArchivePath);
    bool isOpen() const noexcept { return static_cast<bool>(m_file); }

    /// Appends stored bytes; false when they could not all be written.
    bool append(const void* data, std::size_t size);
    std::uint64_t size() const noexcept { return m_size; }
    /// Reads stored bytes back; the count, -1 on failure.
    std::int64_t readAt(void* data, std::size_t size, std::uint64_t offset);
    /// Forgets everything (after the archive was written).
    bool clear();

private:
    static constexpr std::size_t kReadAhead = std::size_t{1} << 20;

    sys::OpenFile m_file;
    std::uint64_t m_size = 0;
    std::vector<unsigned char> m_ahead; ///< spool bytes from m_aheadOffset on, read ahead
    std::uint64_t m_aheadOffset = 0;
    std::size_t m_aheadSize = 0;
};

/// A source for the engine that hands out a spooled entry's stored bytes with
/// their sizes, checksum and methods, so that the engine copies them unchanged.
/// Null on failure.
zip_source_t* spooledEntrySource(zip_t* archive, const std::shared_ptr<Spool>& spool, const SpooledEntry& entry);

} // namespace FileSystem::detail
