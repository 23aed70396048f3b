#include <FileSystem/platform/Threads.h>

#include <pthread.h>
#include <unistd.h>

namespace FileSystem::sys {

namespace {

// Linux keeps 16 bytes with the closing NUL (TASK_COMM_LEN).
constexpr std::size_t kNameBuffer = 16;

} // namespace

std::uint32_t currentThreadId() noexcept { return static_cast<std::uint32_t>(::gettid()); }

std::size_t maxThreadNameLength() noexcept { return kNameBuffer - 1; }

std::optional<std::string> currentThreadName() {
    char name[kNameBuffer] = {};
    if (::pthread_getname_np(::pthread_self(), name, sizeof name) != 0)
        return std::nullopt;
    return std::string(name);
}

bool setCurrentThreadName(const std::string& name) {
    if (name.size() > maxThreadNameLength() || name.find('\0') != std::string::npos)
        return false;
    return ::pthread_setname_np(::pthread_self(), name.c_str()) == 0;
}

} // namespace FileSystem::sys
