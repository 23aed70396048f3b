#pragma once

// Facts of the running process.

#include <chrono>
#include <cstddef>
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

/// What a program left when it ran to its end.
struct ProgramResult {
    int exitCode = -1;  ///< its exit status (0 to 255)
    std::string output; ///< standard output, cut at the limit
    std::string errors; ///< standard error, cut at the limit
};

/// Runs a program with these arguments (`arguments[0]` is the program, searched
/// in PATH) and waits for it: no shell is involved, standard input is
/// /dev/null, and `environmentOverrides` ("NAME=value") replace or add to the
/// process's environment. At most `outputLimit` bytes of each output stream are
/// kept (the rest is read and dropped). A program still running after
/// `timeout` is killed. Empty when the program cannot be started, was killed
/// or ended by a signal.
std::optional<ProgramResult> runProgram(const std::vector<std::string>& arguments,
                                        const std::vector<std::string>& environmentOverrides,
                                        std::size_t outputLimit, std::chrono::milliseconds timeout);

} // namespace FileSystem::sys
