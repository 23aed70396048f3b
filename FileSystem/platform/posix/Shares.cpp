#include <FileSystem/platform/Shares.h>

namespace FileSystem::sys {

// This build does not look up shares yet: every lookup finds none, and callers
// keep the path as it was.

std::optional<std::string> localSharePath(const std::string&) { return std::nullopt; }

std::optional<std::string> shareNameSpelling(const std::string&, const std::string&) { return std::nullopt; }

} // namespace FileSystem::sys
