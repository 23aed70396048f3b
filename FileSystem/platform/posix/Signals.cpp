#include <FileSystem/platform/Signals.h>
#include <FileSystem/platform/Errors.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <limits>
#include <pthread.h>
#include <string>
#include <sys/types.h>
#include <unistd.h>

// Everything that the handler reaches runs in signal context: system calls
// and plain reads of the table, no allocation, no locks. The callers (the
// signal manager, under its mutex) serialise installSignalHandler,
// restoreSignalHandler and callPreviousSignalHandler, so the kept actions
// are not written while a handler reads them.

namespace FileSystem::sys {

namespace {

// "BREAK" is the terminal's quit key (Ctrl-\) on Unix; "LOGOFF" the hang-up of
// the terminal; "SHUTDOWN" has no signal; "KILL" cannot be caught, only sent.
constexpr CSignalEntry kCSignals[] = {
    {1, SIGINT, true}, {2, SIGTERM, true}, {4, SIGKILL, false}, {4096, SIGQUIT, true}, {8192, SIGHUP, true},
};

struct Slot {
    std::atomic<SignalCallback> callback{nullptr};
    struct sigaction previous {};
    bool kept = false;
};

Slot g_slots[NSIG];

bool isSignal(int signal) { return signal > 0 && signal < NSIG; }

sigset_t handleableSignals() {
    sigset_t set;
    sigemptyset(&set);
    for (const CSignalEntry& entry : kCSignals)
        if (entry.canBeHandled)
            sigaddset(&set, entry.native);
    return set;
}

void handle(int signal, siginfo_t* info, void* context) {
    // The interrupted code may look at errno right after the handler returns.
    const int savedErrno = errno;
    const SignalCallback callback = isSignal(signal) ? g_slots[signal].callback.load(std::memory_order_acquire) : nullptr;
    if (callback != nullptr)
        callback(signal, info, context);
    else
        callPreviousSignalHandler(signal, info, context);
    errno = savedErrno;
}

bool isOurs(const struct sigaction& action) {
    return (action.sa_flags & SA_SIGINFO) != 0 && action.sa_sigaction == &handle;
}

// The default action: with the default disposition in place the signal is
// raised again (it stays pending, as it is blocked while a handler runs) and
// unblocked, so that it is delivered at once. A signal whose default is to end
// the process ends it here, by that signal; otherwise the disposition and the
// mask are put back.
void runDefaultAction(int signal) {
    struct sigaction standard {};
    standard.sa_handler = SIG_DFL;
    sigemptyset(&standard.sa_mask);
    struct sigaction current {};
    if (::sigaction(signal, &standard, &current) != 0)
        return;
    ::raise(signal);
    sigset_t only, before;
    sigemptyset(&only);
    sigaddset(&only, signal);
    ::pthread_sigmask(SIG_UNBLOCK, &only, &before);
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
    ::sigaction(signal, &current, nullptr);
}

} // namespace

std::span<const CSignalEntry> cSignalTable() noexcept { return kCSignals; }

// Console control events belong to Windows consoles.
std::span<const ConsoleEventEntry> consoleEventTable() noexcept { return {}; }

bool installSignalHandler(int signal, SignalCallback callback) {
    if (!isSignal(signal) || callback == nullptr) {
        recordError("sigaction", std::to_string(signal), EINVAL);
        return false;
    }
    Slot& slot = g_slots[signal];
    slot.callback.store(callback, std::memory_order_release);
    struct sigaction action {};
    action.sa_sigaction = &handle;
    // Interrupted calls go on, as a console event on Windows interrupts none.
    action.sa_flags = SA_SIGINFO | SA_RESTART;
    // The handlers of the other signals do not nest into this one on a thread.
    action.sa_mask = handleableSignals();
    struct sigaction previous {};
    if (::sigaction(signal, &action, &previous) != 0) {
        recordError("sigaction", std::to_string(signal));
        return false;
    }
    // A second install keeps the handler from before the first: passing a
    // signal on to ourselves would never end.
    if (!isOurs(previous)) {
        slot.previous = previous;
        slot.kept = true;
    }
    return slot.kept;
}

bool restoreSignalHandler(int signal) {
    if (!isSignal(signal) || !g_slots[signal].kept)
        return false;
    if (::sigaction(signal, &g_slots[signal].previous, nullptr) != 0) {
        recordError("sigaction", std::to_string(signal));
        return false;
    }
    return true;
}

void callPreviousSignalHandler(int signal, void* info, void* context) noexcept {
    if (!isSignal(signal) || !g_slots[signal].kept)
        return;
    struct sigaction& previous = g_slots[signal].previous;
    if (isOurs(previous))
        return;
    const bool withInfo = (previous.sa_flags & SA_SIGINFO) != 0;
    if (!withInfo && previous.sa_handler == SIG_IGN)
        return;
    if (!withInfo && previous.sa_handler == SIG_DFL) {
        runDefaultAction(signal);
        return;
    }
    // The handler runs with the signals blocked that it asked for.
    sigset_t before;
    ::pthread_sigmask(SIG_BLOCK, &previous.sa_mask, &before);
    if (withInfo)
        previous.sa_sigaction(signal, static_cast<siginfo_t*>(info), context);
    else
        previous.sa_handler(signal);
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
    // A one-shot handler would have given way to the default after this call.
    if ((previous.sa_flags & SA_RESETHAND) != 0) {
        previous.sa_flags = 0;
        previous.sa_handler = SIG_DFL;
    }
}

BlockedSignals::BlockedSignals() noexcept {
    const sigset_t set = handleableSignals();
    sigset_t before;
    if (::pthread_sigmask(SIG_BLOCK, &set, &before) != 0)
        return;
    for (const CSignalEntry& entry : kCSignals)
        if (entry.canBeHandled && sigismember(&before, entry.native) == 0)
            m_unblock |= std::uint64_t{1} << (entry.native - 1);
}

BlockedSignals::~BlockedSignals() {
    if (m_unblock == 0)
        return;
    sigset_t set;
    sigemptyset(&set);
    for (int signal = 1; signal <= 64 && signal < NSIG; ++signal)
        if ((m_unblock & (std::uint64_t{1} << (signal - 1))) != 0)
            sigaddset(&set, signal);
    ::pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
}

bool sendSignal(std::int64_t processId, int signal) noexcept {
    // 0 and negative ids name process groups (0: our own): never those.
    if (processId <= 0 || processId > std::numeric_limits<pid_t>::max() || signal < 0 || signal >= NSIG)
        return false;
    return ::kill(static_cast<pid_t>(processId), signal) == 0;
}

} // namespace FileSystem::sys
