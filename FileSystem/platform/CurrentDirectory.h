#pragma once

#include <string>

namespace FileSystem::sys {

/// The process's current directory as the system spells it; empty on failure.
std::string currentDirectory();

/// Changes the process's current directory; false on failure.
bool setCurrentDirectory(const std::string& nativePath);

} // namespace FileSystem::sys
