#include <FileSystem/utilities/LastError.h>

#include <FileSystem/platform/Errors.h>

namespace FileSystem {

std::string SystemError::toString() const {
    if (code == 0)
        return "no failure recorded";
    std::string line = operation;
    if (!path.empty())
        line += " '" + path + "'";
    return line + ": " + message + " (errno " + std::to_string(code) + ")";
}

SystemError lastError() {
    const sys::ErrorRecord& record = sys::lastErrorRecord();
    SystemError error;
    error.operation = record.operation;
    error.path = record.path;
    error.code = record.code;
    if (record.code != 0)
        error.message = sys::errorText(record.code);
    return error;
}

void clearLastError() noexcept { sys::clearErrorRecord(); }

} // namespace FileSystem
