#pragma once

#include <optional>
#include <string>
#include <vector>

namespace FileSystem::sys {

/// The names in a folder, without "." and ".."; empty when it cannot be read.
std::optional<std::vector<std::string>> directoryEntryNames(const std::string& nativePath);

} // namespace FileSystem::sys
