#include <FileSystem/platform/ChildWatch.h>
#include <FileSystem/platform/posix/Native.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <limits>
#include <mutex>
#include <poll.h>
#include <pthread.h>
#include <string>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

// The watcher is a grandchild of the application, forked at the first
// registration. The two are joined by a SOCK_SEQPACKET socket pair: the
// application hands over a process descriptor (SCM_RIGHTS) per process and
// waits for the answer. When every copy of the application's end is closed,
// which happens however the application ends, the watcher's recvmsg returns 0
// and it kills whatever it holds.
//
// The application may have other threads, some of which may hold locks
// (malloc's among them) at the moment of the fork. So after the fork the
// intermediate process and the watcher call only async-signal-safe functions:
// system calls, no allocation, no locks, no C++ library.

namespace FileSystem::sys {

namespace {

// The messages. Every request is answered with its sequence number, so that
// the late answer to a request that timed out is not taken for the next one.
enum : std::uint32_t { kPing = 0, kByDescriptor = 1, kByStartTime = 2 };
enum : std::int32_t { kHeld = 0, kGone = 1, kRefused = 2 };

struct Request {
    std::uint64_t sequence;
    std::int64_t processId;
    std::uint64_t startTime; ///< for kByStartTime
    std::uint32_t kind;
    std::uint32_t reserved;
};

struct Reply {
    std::uint64_t sequence;
    std::int32_t status;
    std::int32_t reserved;
};

// The watcher answers at once; this only ends the wait for one that was stopped.
constexpr int kAnswerMilliseconds = 10000;

// The application's end of the socket, -1 without a watcher. Atomic because
// the fork handler reads it on whichever thread forks.
std::atomic<int> g_socket{-1};
std::uint64_t g_sequence = 0;

void forgetWatcher() noexcept {
    const int socket = g_socket.exchange(-1);
    if (socket >= 0)
        ::close(socket);
}

// ---- Shared by both sides; async-signal-safe --------------------------------

int pidfdOpen(pid_t processId) {
#ifdef SYS_pidfd_open
    return static_cast<int>(::syscall(SYS_pidfd_open, processId, 0));
#else
    (void)processId;
    errno = ENOSYS;
    return -1;
#endif
}

int pidfdSignal(int descriptor, int signal) {
#ifdef SYS_pidfd_send_signal
    return static_cast<int>(::syscall(SYS_pidfd_send_signal, descriptor, signal, nullptr, 0));
#else
    (void)descriptor;
    (void)signal;
    errno = ENOSYS;
    return -1;
#endif
}

int closeRange(unsigned first, unsigned last) {
#ifdef SYS_close_range
    return first > last ? 0 : static_cast<int>(::syscall(SYS_close_range, first, last, 0));
#else
    (void)first;
    (void)last;
    errno = ENOSYS;
    return -1;
#endif
}

// When the process started, in clock ticks after boot: field 22 of
// /proc/<pid>/stat. With the id it names one process for good. False when
// there is no such process.
bool readStartTime(pid_t processId, std::uint64_t& startTime) {
    char path[32] = "/proc/";
    char digits[12];
    int count = 0;
    for (unsigned value = static_cast<unsigned>(processId); count == 0 || value != 0; value /= 10)
        digits[count++] = static_cast<char>('0' + value % 10);
    std::size_t length = 6;
    while (count > 0)
        path[length++] = digits[--count];
    for (const char* tail = "/stat"; *tail != '\0'; ++tail)
        path[length++] = *tail;
    path[length] = '\0';

    const int file = ::open(path, O_RDONLY | O_CLOEXEC);
    if (file < 0)
        return false;
    char text[1024];
    std::size_t size = 0;
    while (size < sizeof text) {
        const ssize_t got = ::read(file, text + size, sizeof text - size);
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            break;
        size += static_cast<std::size_t>(got);
    }
    ::close(file);
    // The name (field 2) stands in parentheses and may hold any byte: the
    // fields are counted from the last ')'.
    const char* const end = text + size;
    const char* at = nullptr;
    for (const char* c = text; c < end; ++c)
        if (*c == ')')
            at = c;
    if (at == nullptr)
        return false;
    ++at;
    for (int field = 3;; ++field) {
        if (at >= end || *at != ' ')
            return false;
        ++at;
        if (field == 22)
            break;
        while (at < end && *at != ' ')
            ++at;
    }
    std::uint64_t value = 0;
    const char* const first = at;
    for (; at < end && *at >= '0' && *at <= '9'; ++at)
        value = value * 10 + static_cast<std::uint64_t>(*at - '0');
    if (at == first || at == end)
        return false;
    startTime = value;
    return true;
}

// ---- The watcher: async-signal-safe only --------------------------------------

// A process the watcher holds: by descriptor, or (descriptor -1) by id and start time.
struct Entry {
    int descriptor;
    pid_t processId;
    std::uint64_t startTime;
};

// In memory of its own (mmap): the watcher must not use the allocator.
struct Table {
    Entry* entries = nullptr;
    std::size_t count = 0;
    std::size_t capacity = 0;
};

bool hasEnded(const Entry& entry) {
    if (entry.descriptor >= 0) {
        // A process descriptor becomes readable when its process has ended.
        pollfd ready{entry.descriptor, POLLIN, 0};
        return ::poll(&ready, 1, 0) == 1;
    }
    std::uint64_t startTime = 0;
    return !readStartTime(entry.processId, startTime) || startTime != entry.startTime;
}

// Drops the processes that have ended, so that a long-running application
// that starts many short children does not fill the table.
void sweep(Table& table) {
    std::size_t kept = 0;
    for (std::size_t i = 0; i < table.count; ++i) {
        if (hasEnded(table.entries[i])) {
            if (table.entries[i].descriptor >= 0)
                ::close(table.entries[i].descriptor);
        } else {
            table.entries[kept++] = table.entries[i];
        }
    }
    table.count = kept;
}

bool add(Table& table, const Entry& entry) {
    if (table.count == table.capacity)
        sweep(table);
    if (table.count == table.capacity) {
        const std::size_t capacity = table.capacity == 0 ? 256 : table.capacity * 2;
        void* memory = table.entries == nullptr
                           ? ::mmap(nullptr, capacity * sizeof(Entry), PROT_READ | PROT_WRITE,
                                    MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)
                           : ::mremap(table.entries, table.capacity * sizeof(Entry), capacity * sizeof(Entry),
                                      MREMAP_MAYMOVE);
        if (memory == MAP_FAILED)
            return false;
        table.entries = static_cast<Entry*>(memory);
        table.capacity = capacity;
    }
    table.entries[table.count++] = entry;
    return true;
}

void killAll(const Table& table) {
    for (std::size_t i = 0; i < table.count; ++i) {
        const Entry& entry = table.entries[i];
        if (entry.descriptor >= 0) {
            // A descriptor names its process only: a recycled id is never hit.
            pidfdSignal(entry.descriptor, SIGKILL);
        } else {
            std::uint64_t startTime = 0;
            if (readStartTime(entry.processId, startTime) && startTime == entry.startTime)
                ::kill(entry.processId, SIGKILL);
        }
    }
}

// The first descriptor that came with a message; any more are closed.
int receivedDescriptor(msghdr& message) {
    int descriptor = -1;
    for (cmsghdr* header = CMSG_FIRSTHDR(&message); header != nullptr; header = CMSG_NXTHDR(&message, header)) {
        if (header->cmsg_level != SOL_SOCKET || header->cmsg_type != SCM_RIGHTS)
            continue;
        const std::size_t count = (header->cmsg_len - CMSG_LEN(0)) / sizeof(int);
        for (std::size_t i = 0; i < count; ++i) {
            int received = -1;
            std::memcpy(&received, CMSG_DATA(header) + i * sizeof(int), sizeof received);
            if (descriptor < 0)
                descriptor = received;
            else
                ::close(received);
        }
    }
    return descriptor;
}

std::int32_t take(Table& table, const Request& request, int descriptor) {
    Entry entry{-1, static_cast<pid_t>(request.processId), 0};
    if (request.kind == kByDescriptor && descriptor >= 0) {
        // Signal 0 asks whether the process is there and ours to kill.
        if (pidfdSignal(descriptor, 0) != 0) {
            ::close(descriptor);
            return kGone;
        }
        entry.descriptor = descriptor;
    } else {
        if (descriptor >= 0)
            ::close(descriptor);
        if (request.kind == kPing)
            return kHeld;
        if (request.kind != kByStartTime || request.processId <= 0 ||
            request.processId > std::numeric_limits<pid_t>::max())
            return kRefused;
        std::uint64_t startTime = 0;
        if (!readStartTime(entry.processId, startTime) || startTime != request.startTime ||
            ::kill(entry.processId, 0) != 0)
            return kGone;
        entry.startTime = startTime;
    }
    if (!add(table, entry)) {
        if (entry.descriptor >= 0)
            ::close(entry.descriptor);
        return kRefused;
    }
    return kHeld;
}

// Leaves nothing of the application open but the socket: a descriptor kept
// here would keep a pipe of the application's callers from reaching its end.
void closeAllBut(int keep) {
    if (closeRange(0, static_cast<unsigned>(keep) - 1) == 0 &&
        closeRange(static_cast<unsigned>(keep) + 1, ~0U) == 0)
        return;
    rlimit limit{};
    const rlim_t top = ::getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY ? limit.rlim_cur : 65536;
    for (rlim_t fd = 0; fd < top; ++fd)
        if (fd != static_cast<rlim_t>(keep))
            ::close(static_cast<int>(fd));
}

[[noreturn]] void runWatcher(int socket) {
    if (socket < 3) {
        const int moved = ::fcntl(socket, F_DUPFD_CLOEXEC, 3);
        if (moved < 0)
            ::_exit(1);
        socket = moved;
    }
    closeAllBut(socket);
    for (int fd = 0; fd < 3; ++fd)
        if (::open("/dev/null", O_RDWR) < 0)
            break;
    // A session and process group of its own: Ctrl-C in a terminal, or a kill
    // of the application's process group, must not end the watcher before it
    // has done its work.
    ::setsid();
    ::prctl(PR_SET_NAME, "fs-childwatch", 0, 0, 0);
    if (::chdir("/") != 0) {
        // The folder is only kept from being held busy; staying is harmless.
    }
    // Handlers belong to the application's code and must not run here; the
    // signals stay blocked, as the fork left them, until they are reset.
    struct sigaction standard {};
    standard.sa_handler = SIG_DFL;
    sigemptyset(&standard.sa_mask);
    for (int number = 1; number < NSIG; ++number)
        ::sigaction(number, &standard, nullptr);
    struct sigaction ignore = standard;
    ignore.sa_handler = SIG_IGN;
    for (const int number : {SIGINT, SIGHUP, SIGQUIT, SIGPIPE, SIGTSTP, SIGTTIN, SIGTTOU})
        ::sigaction(number, &ignore, nullptr);
    sigset_t none;
    sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
    // One descriptor per process held: allow as many as the system lets us.
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur < limit.rlim_max) {
        limit.rlim_cur = limit.rlim_max;
        ::setrlimit(RLIMIT_NOFILE, &limit);
    }

    Table table;
    for (;;) {
        Request request{};
        iovec part{&request, sizeof request};
        alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))];
        msghdr message{};
        message.msg_iov = &part;
        message.msg_iovlen = 1;
        message.msg_control = control;
        message.msg_controllen = sizeof control;
        const ssize_t got = ::recvmsg(socket, &message, MSG_CMSG_CLOEXEC);
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0) {
            // Every copy of the application's end is closed: it has ended.
            killAll(table);
            ::_exit(0);
        }
        const int descriptor = receivedDescriptor(message);
        Reply reply{request.sequence, kRefused, 0};
        if (static_cast<std::size_t>(got) == sizeof request && (message.msg_flags & (MSG_TRUNC | MSG_CTRUNC)) == 0)
            reply.status = take(table, request, descriptor);
        else if (descriptor >= 0)
            ::close(descriptor);
        ::send(socket, &reply, sizeof reply, MSG_NOSIGNAL | MSG_DONTWAIT);
    }
}

// ---- The application's side ------------------------------------------------

// Runs in the child of every fork of the application. The copy does not keep
// the application's end: otherwise the watcher would wait for the copy too,
// and the application's children would outlive the application as long as
// the copy runs. The copy starts its own watcher when it registers.
void dropInheritedWatcher() { forgetWatcher(); }

// Sends a request (with a descriptor, when one is given) and waits for its answer.
ChildWatchResult exchange(const Request& request, int descriptor) {
    const int socket = g_socket.load();
    if (socket < 0)
        return ChildWatchResult::WatcherGone;
    iovec part{const_cast<Request*>(&request), sizeof request};
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
    msghdr message{};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    if (descriptor >= 0) {
        message.msg_control = control;
        message.msg_controllen = sizeof control;
        cmsghdr* header = CMSG_FIRSTHDR(&message);
        header->cmsg_level = SOL_SOCKET;
        header->cmsg_type = SCM_RIGHTS;
        header->cmsg_len = CMSG_LEN(sizeof(int));
        std::memcpy(CMSG_DATA(header), &descriptor, sizeof descriptor);
    }
    if (posix::recorded("sendmsg", "", [&] { return ::sendmsg(socket, &message, MSG_NOSIGNAL); }) < 0) {
        if (errno != EPIPE && errno != ECONNRESET && errno != ENOTCONN)
            return ChildWatchResult::Failed;
        forgetWatcher();
        return ChildWatchResult::WatcherGone;
    }
    using Clock = std::chrono::steady_clock;
    const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(kAnswerMilliseconds);
    for (;;) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
        if (left <= 0) {
            recordError("recv", "", ETIMEDOUT);
            return ChildWatchResult::Failed;
        }
        pollfd ready{socket, POLLIN, 0};
        const int events = ::poll(&ready, 1, static_cast<int>(left));
        if (events < 0 && errno != EINTR) {
            recordError("poll", "");
            return ChildWatchResult::Failed;
        }
        if (events <= 0)
            continue;
        Reply reply{};
        const ssize_t got = ::recv(socket, &reply, sizeof reply, MSG_DONTWAIT);
        if (got < 0 && (errno == EINTR || errno == EAGAIN))
            continue;
        if (got == 0 || (got < 0 && errno == ECONNRESET)) {
            // The watcher ended before it answered: it does not hold the process.
            forgetWatcher();
            return ChildWatchResult::WatcherGone;
        }
        if (got < 0) {
            recordError("recv", "");
            return ChildWatchResult::Failed;
        }
        if (static_cast<std::size_t>(got) != sizeof reply || reply.sequence != request.sequence)
            continue;
        return reply.status == kHeld   ? ChildWatchResult::Registered
               : reply.status == kGone ? ChildWatchResult::NoSuchProcess
                                       : ChildWatchResult::Failed;
    }
}

bool isProcessId(std::int64_t processId) {
    return processId > 0 && processId <= std::numeric_limits<pid_t>::max();
}

} // namespace

bool childWatcherRunning() { return g_socket.load() >= 0; }

bool startChildWatcher() {
    static std::once_flag handlerOnce;
    std::call_once(handlerOnce, [] { ::pthread_atfork(nullptr, nullptr, &dropInheritedWatcher); });
    forgetWatcher();

    int ends[2];
    if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) {
        recordError("socketpair", "");
        return false;
    }
    // Published before the fork, so that a fork on another thread drops it
    // in its copy from now on.
    g_socket.store(ends[0]);
    // Signals wait until the watcher has put its own handlers in place: the
    // application's handlers must not run there.
    sigset_t all, previous;
    sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &previous);
    const pid_t middle = ::fork();
    if (middle == 0) {
        // The fork handler has closed the application's end here. The watcher
        // is a grandchild, no child of the application: a wait there for all
        // children never waits for it, and the init process reaps it.
        const pid_t watcher = ::_Fork();
        if (watcher == 0)
            runWatcher(ends[1]);
        ::_exit(watcher < 0 ? 1 : 0);
    }
    const int forkError = errno;
    ::pthread_sigmask(SIG_SETMASK, &previous, nullptr);
    ::close(ends[1]);
    if (middle < 0) {
        recordError("fork", "", forkError);
        forgetWatcher();
        return false;
    }
    int status = 0;
    posix::retryOnInterrupt([&] { return ::waitpid(middle, &status, 0); });
    // It runs once it answers.
    const Request ping{++g_sequence, 0, 0, kPing, 0};
    if (exchange(ping, -1) == ChildWatchResult::Registered)
        return true;
    forgetWatcher();
    return false;
}

ChildWatchResult watchChild(std::int64_t processId) {
    if (!isProcessId(processId))
        return ChildWatchResult::NoSuchProcess;
    const int descriptor = pidfdOpen(static_cast<pid_t>(processId));
    if (descriptor < 0) {
        const int code = errno;
        if (code == ENOSYS)
            return watchChildByStartTime(processId);
        recordError("pidfd_open", std::to_string(processId), code);
        // EINVAL: the id of a thread that does not lead its process.
        return code == ESRCH || code == EINVAL ? ChildWatchResult::NoSuchProcess : ChildWatchResult::Failed;
    }
    const Request request{++g_sequence, processId, 0, kByDescriptor, 0};
    const ChildWatchResult result = exchange(request, descriptor);
    ::close(descriptor);
    return result;
}

ChildWatchResult watchChildByStartTime(std::int64_t processId) {
    if (!isProcessId(processId))
        return ChildWatchResult::NoSuchProcess;
    std::uint64_t startTime = 0;
    if (!readStartTime(static_cast<pid_t>(processId), startTime)) {
        recordError("open", "/proc/" + std::to_string(processId) + "/stat", ESRCH);
        return ChildWatchResult::NoSuchProcess;
    }
    const Request request{++g_sequence, processId, startTime, kByStartTime, 0};
    return exchange(request, -1);
}

} // namespace FileSystem::sys
