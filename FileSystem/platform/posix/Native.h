#pragma once

#include <FileSystem/platform/Errors.h>

#include <FileSystem/platform/Files.h>

#include <cerrno>
#include <cstdint>
#include <ctime>
#include <fcntl.h>
#include <optional>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

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

/// The text of the link `name` in `folder` (AT_FDCWD: a path); empty when it is no link or cannot be read.
inline std::optional<std::string> readLinkAt(int folder, const std::string& name) {
    std::string buffer(256, '\0');
    for (;;) {
        const ssize_t n =
            recorded("readlinkat", name, [&] { return ::readlinkat(folder, name.c_str(), buffer.data(), buffer.size()); });
        if (n < 0)
            return std::nullopt;
        if (static_cast<std::size_t>(n) < buffer.size()) {
            buffer.resize(static_cast<std::size_t>(n));
            return buffer;
        }
        buffer.resize(buffer.size() * 2);
    }
}

/// A time for utimensat and futimens; no time leaves the file's own as it is.
inline struct timespec toTimespec(const std::optional<TimeStamp>& t) {
    struct timespec out {};
    if (!t) {
        out.tv_nsec = UTIME_OMIT;
        return out;
    }
    // A value outside 0..999999999 would be refused: carry it into the seconds.
    std::int64_t seconds = t->seconds + t->nanoseconds / 1000000000;
    std::int64_t nanoseconds = t->nanoseconds % 1000000000;
    if (nanoseconds < 0) {
        nanoseconds += 1000000000;
        --seconds;
    }
    out.tv_sec = static_cast<time_t>(seconds);
    out.tv_nsec = static_cast<long>(nanoseconds);
    return out;
}

} // namespace FileSystem::sys::posix
