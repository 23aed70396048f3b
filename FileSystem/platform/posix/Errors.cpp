#include <FileSystem/platform/Errors.h>

#include <cerrno>
#include <cstring>

namespace FileSystem::sys {

namespace {

// The record of a thread ends with the thread's other objects; a static object
// destroyed later at exit (a temporary folder that removes itself) may still
// fail a call. This flag has no destructor, so it outlives the record and
// turns recording off once the record is gone.
thread_local bool t_recordGone = false;

struct Holder {
    ErrorRecord record;
    ~Holder() { t_recordGone = true; }
};

ErrorRecord* record() noexcept {
    if (t_recordGone)
        return nullptr;
    thread_local Holder holder;
    return &holder.record;
}

} // namespace

void recordError(const char* operation, const std::string& path) {
    const int code = errno;
    recordError(operation, path, code);
    errno = code;
}

void recordError(const char* operation, const std::string& path, int code) {
    ErrorRecord* last = record();
    if (last == nullptr)
        return;
    last->operation = operation;
    last->path = path;
    last->code = code;
}

const ErrorRecord& lastErrorRecord() noexcept {
    static const ErrorRecord none{};
    const ErrorRecord* last = record();
    return last != nullptr ? *last : none;
}

void clearErrorRecord() noexcept {
    if (ErrorRecord* last = record())
        *last = ErrorRecord{};
}

bool mayPassWithTime(int code) noexcept {
    switch (code) {
    case EBUSY:
    case ENOTEMPTY:
    case EEXIST: // what some systems give for a folder that is not empty
    case EAGAIN:
    case EINTR:
    case ETXTBSY:
        return true;
    default:
        return false;
    }
}

std::string errorText(int code) {
    char buffer[256];
    // The GNU form returns the text, which may or may not be in the buffer.
    return ::strerror_r(code, buffer, sizeof buffer);
}

} // namespace FileSystem::sys
