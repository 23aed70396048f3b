#pragma once

// The zip engine (libzip) as the archive classes use it (internal).

#include <zip.h>

#include <cstdint>
#include <string>

namespace FileSystem::detail {

/// Opens an archive of the system's path form; null on failure.
zip_t* openArchive(const std::string& nativePath, int flags);

/// Sets what every entry written here carries: the compression (level 0
/// stores), the Unix host with the rights, the comment, the time.
bool describeEntry(zip_t* archive, zip_uint64_t index, bool directory, int level, std::uint32_t attributes,
                   std::int64_t modified, const std::string& comment);

/// Writes an archive without entries (its end record alone).
bool writeEmptyArchive(const std::string& nativePath);

} // namespace FileSystem::detail
