#pragma once

#include <optional>
#include <string>
#include <vector>

namespace FileSystem::sys {

/// One name of a folder, with its kind as the folder itself records it.
struct DirectoryEntry {
    enum class Kind {
        Unknown,      ///< the file system does not say: ask the path
        Directory,
        SymbolicLink, ///< a link: what it points to must be asked
        Other,        ///< a file, a device, a pipe, ...
    };
    std::string name;
    Kind kind = Kind::Unknown;
};

/// The entries of a folder as the system reads them, "." and ".." included;
/// empty when it cannot be read. An error in the middle ends the reading;
/// what was read stays.
std::optional<std::vector<DirectoryEntry>> readDirectory(const std::string& path);

/// Removes an empty folder (or, as the system does, fails).
bool removeDirectory(const std::string& path);

/// Creates a link at `link` whose text is `target`, as given.
bool createSymbolicLink(const std::string& target, const std::string& link);

/// A regular file (links followed) that the caller may execute.
bool isExecutableFile(const std::string& path);

} // namespace FileSystem::sys
