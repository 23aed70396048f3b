#pragma once

// Open files as the zip engine's archive and spool files need them: random
// access, files without a name, and reading a path. Paths are in the system's form.

#include <FileSystem/platform/Folders.h>

#include <cstdint>
#include <optional>
#include <string>

namespace FileSystem::sys {

enum class SeekFrom { Start, Current, End };

/// Opens an existing regular file for reading (links followed: reading through
/// a link changes nothing); an empty result when it cannot be opened.
OpenFile openForReading(const std::string& path);

/// Reads up to `size` bytes at `offset` without moving the file's position;
/// the count, 0 at the end, -1 on failure.
std::int64_t readAt(OpenFile& file, void* data, std::size_t size, std::uint64_t offset);

/// Moves the file's position; the new position, empty on failure.
std::optional<std::uint64_t> seek(OpenFile& file, std::int64_t offset, SeekFrom from);

/// Cuts or extends the file to `size` bytes.
bool resize(OpenFile& file, std::uint64_t size);

/// A path in the system's form: `folder`, then `name` below it (`name` alone
/// when `folder` is empty).
std::string joinPath(const std::string& folder, const std::string& name);

/// A new file for reading and writing in `folder` that has no name: it is gone
/// when it is closed or the process ends, however it ends.
OpenFile createAnonymousFile(Folder& folder);

} // namespace FileSystem::sys
