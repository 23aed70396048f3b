#pragma once

// The record of the last failing system call on this thread, kept by the
// platform layer for FileSystem::lastError().

#include <string>

namespace FileSystem::sys {

struct ErrorRecord {
    std::string operation; ///< the system call, e.g. "openat"
    std::string path;      ///< the path or name it was given; empty when it takes none
    int code = 0;          ///< the system's error number; 0 when nothing failed
};

/// Records that `operation` on `path` failed with the system's current error
/// number; that number is left as it was.
void recordError(const char* operation, const std::string& path);
/// Records a failure with a given error number.
void recordError(const char* operation, const std::string& path, int code);

const ErrorRecord& lastErrorRecord() noexcept;
void clearErrorRecord() noexcept;

/// Whether a failure with this error number may pass when tried again a
/// little later (the thing is busy, or a folder is still being emptied),
/// rather than being a refusal that waiting does not change.
bool mayPassWithTime(int code) noexcept;

/// The system's text for an error number.
std::string errorText(int code);

} // namespace FileSystem::sys
