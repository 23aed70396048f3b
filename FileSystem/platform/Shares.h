#pragma once

#include <optional>
#include <string>

namespace FileSystem::sys {

/// The local folder that this computer shares under a name; empty when there
/// is no such share.
std::optional<std::string> localSharePath(const std::string& shareName);

/// The share's name as the server spells it; empty when it cannot be asked.
std::optional<std::string> shareNameSpelling(const std::string& server, const std::string& shareName);

} // namespace FileSystem::sys
