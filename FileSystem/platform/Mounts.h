#pragma once

#include <optional>
#include <string>
#include <vector>

namespace FileSystem::sys {

/// One mounted file system.
struct MountEntry {
    std::string source;     ///< what is mounted (a device, a server's export, ...)
    std::string mountPoint; ///< where it is mounted
    std::string type;       ///< the file system type
    std::string options;    ///< the mount's options, then the file system's own, separated by ','
};

/// The file systems mounted in this process's view, in mount order.
std::vector<MountEntry> mountTable();

/// The mounted file system that holds an absolute path (for a path that does
/// not exist, that of its nearest existing parent); empty on failure.
std::optional<MountEntry> mountHolding(const std::string& nativePath);

/// An absolute path with links resolved: the real path of its nearest existing
/// part, with the part that does not exist appended as written.
std::string resolvedPath(const std::string& nativePath);

} // namespace FileSystem::sys
