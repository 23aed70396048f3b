#pragma once

// The zip engine (libzip) as the archive classes use it (internal).

#include <zip.h>

#include <cstdint>
#include <string>

namespace FileSystem::detail {

enum class ArchiveAccess {
    Read,    ///< an existing archive, read only
    Add,     ///< an existing archive or none yet; written at the commit
    Replace, ///< a new archive that replaces what stands there at the commit
    Modify,  ///< an existing archive only (none there: the open fails); written at the commit
};

/// Opens an archive of the system's path form; null on failure. The engine
/// reaches the file only through the platform layer: it reads the archive
/// through a descriptor, and writes a new one under a temporary name beside
/// it (".<name>.fs-partial-<hex>"), renamed over the archive only when it is
/// complete, so a killed process never damages what the archive held.
zip_t* openArchive(const std::string& nativePath, ArchiveAccess access);

/// Sets what every entry written here carries: the compression (level 0
/// stores), the Unix host with the rights, the comment, the time.
bool describeEntry(zip_t* archive, zip_uint64_t index, bool directory, int level, std::uint32_t attributes,
                   std::int64_t modified, const std::string& comment);

/// Writes an archive without entries (its end record alone), atomically.
bool writeEmptyArchive(const std::string& nativePath);

} // namespace FileSystem::detail
