#include <FileSystem/platform/Errors.h>

#include <cerrno>
#include <cstring>

namespace FileSystem::sys {

namespace {

ErrorRecord& record() noexcept {
    thread_local ErrorRecord last;
    return last;
}

} // namespace

void recordError(const char* operation, const std::string& path) {
    const int code = errno;
    recordError(operation, path, code);
    errno = code;
}

void recordError(const char* operation, const std::string& path, int code) {
    ErrorRecord& last = record();
    last.operation = operation;
    last.path = path;
    last.code = code;
}

const ErrorRecord& lastErrorRecord() noexcept { return record(); }

void clearErrorRecord() noexcept { record() = ErrorRecord{}; }

std::string errorText(int code) {
    char buffer[256];
    // The GNU form returns the text, which may or may not be in the buffer.
    return ::strerror_r(code, buffer, sizeof buffer);
}

} // namespace FileSystem::sys
