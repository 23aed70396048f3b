#include <FileSystem/platform/ProcessMemory.h>

#include <atomic>
#include <cerrno>
#include <charconv>
#include <fcntl.h>
#include <mutex>
#include <pthread.h>
#include <unistd.h>

namespace FileSystem::sys {

namespace {

// /proc/self/statm stays open and is read again from its start with one pread
// per call: opening it each time would cost two more system calls. The
// descriptor names the process that opened it, so a forked child drops the
// inherited one and opens its own at its first read.
std::atomic<int> g_statm{-1};

void forgetInheritedStatm() noexcept {
    const int fd = g_statm.exchange(-1);
    if (fd >= 0)
        ::close(fd);
}

int statmDescriptor() noexcept {
    int fd = g_statm.load(std::memory_order_acquire);
    if (fd >= 0)
        return fd;
    static std::once_flag atforkOnce;
    try {
        std::call_once(atforkOnce, [] { ::pthread_atfork(nullptr, nullptr, &forgetInheritedStatm); });
    } catch (...) {
        return -1;
    }
    const int opened = ::open("/proc/self/statm", O_RDONLY | O_CLOEXEC);
    if (opened < 0)
        return -1;
    int expected = -1;
    if (g_statm.compare_exchange_strong(expected, opened, std::memory_order_acq_rel))
        return opened;
    ::close(opened); // another thread was first
    return expected;
}

} // namespace

std::uint64_t residentSetSize() noexcept {
    static const long pageSize = ::sysconf(_SC_PAGESIZE);
    const int fd = statmDescriptor();
    if (fd < 0 || pageSize <= 0)
        return 0;
    // "size resident shared text lib data dt", in pages.
    char text[128];
    ssize_t n;
    do {
        n = ::pread(fd, text, sizeof text - 1, 0);
    } while (n < 0 && errno == EINTR);
    if (n <= 0)
        return 0;
    const char* end = text + n;
    const char* p = text;
    std::uint64_t size = 0, resident = 0;
    auto r = std::from_chars(p, end, size);
    if (r.ec != std::errc() || r.ptr == end || *r.ptr != ' ')
        return 0;
    r = std::from_chars(r.ptr + 1, end, resident);
    if (r.ec != std::errc())
        return 0;
    return resident * static_cast<std::uint64_t>(pageSize);
}

} // namespace FileSystem::sys
