#pragma once

// Facts of the running process.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace FileSystem::sys {

/// The arguments exactly as the process received them; empty when they cannot be read.
std::optional<std::vector<std::string>> commandLineArguments();
/// The running executable's path; empty when it cannot be read.
std::string executablePath();
std::int64_t processId();
std::int64_t parentProcessId();
std::optional<std::int64_t> sessionId();
/// Whether the process runs as a service (no terminal, started by the init
/// system); true also when that cannot be told.
bool runsAsService();
/// Whether the desktop asks for dark colours, where that can be read cheaply.
bool desktopPrefersDarkMode();

} // namespace FileSystem::sys
