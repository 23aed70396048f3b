#include <FileSystem/platform/Threads.h>

#include <mutex>
#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace FileSystem::sys {

namespace {

// Linux keeps 16 bytes with the closing NUL (TASK_COMM_LEN).
constexpr std::size_t kNameBuffer = 16;

} // namespace

namespace {

// The id is a system call away; each thread keeps its own after the first
// call. The thread that forks becomes the child's only thread with a new id,
// so the child forgets the kept one.
thread_local std::uint32_t t_threadId = 0;

void forgetThreadIdInChild() noexcept { t_threadId = 0; }

} // namespace

std::uint32_t osThreadId() noexcept {
    if (t_threadId != 0)
        return t_threadId;
    static std::once_flag atforkOnce;
    try {
        std::call_once(atforkOnce, [] { ::pthread_atfork(nullptr, nullptr, &forgetThreadIdInChild); });
    } catch (...) {
        return static_cast<std::uint32_t>(::syscall(SYS_gettid)); // not kept: a fork could not correct it
    }
    t_threadId = static_cast<std::uint32_t>(::syscall(SYS_gettid));
    return t_threadId;
}

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
