#pragma once

#include <FileSystem/platform/Errors.h>

#include <cerrno>
#include <string>

namespace FileSystem::sys::posix {

/// A path can reach the system only when it is not empty and has no NUL byte:
/// the system would stop at the NUL and act on another, shorter path.
inline bool isUsablePath(const std::string& path) noexcept {
    return !path.empty() && path.find('\0') == std::string::npos;
}

/// Retries a system call that an arriving signal interrupted.
template <class Call>
auto retryOnInterrupt(Call call) -> decltype(call()) {
    decltype(call()) result;
    do {
        result = call();
    } while (result == -1 && errno == EINTR);
    return result;
}

/// Runs a system call (again when a signal interrupted it); a failure (-1) is
/// recorded for lastError() with the call's name and the path it was given.
template <class Call>
auto recorded(const char* operation, const std::string& path, Call call) -> decltype(call()) {
    const auto result = retryOnInterrupt(call);
    if (result == -1)
        recordError(operation, path);
    return result;
}

} // namespace FileSystem::sys::posix
