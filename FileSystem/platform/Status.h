#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace FileSystem::sys {

/// What makes a file the same file: where it lives and what it is now.
struct FileIdentity {
    std::uint64_t device = 0;
    std::uint64_t index = 0;
    std::uint64_t size = 0;
    std::int64_t modifiedSeconds = 0;
    std::int64_t modifiedNanoseconds = 0;

    friend bool operator==(const FileIdentity&, const FileIdentity&) = default;
};

/// The identity of the file or folder a path names, links followed; empty when
/// it cannot be read.
std::optional<FileIdentity> fileIdentity(const std::string& nativePath);

/// True when something (a dangling link included) exists at the path.
bool pathExists(const std::string& nativePath);

/// True when the path, or else its nearest existing parent, lies on a network
/// file system.
bool isOnNetworkFileSystem(const std::string& nativePath);

} // namespace FileSystem::sys
