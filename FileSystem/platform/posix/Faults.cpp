#include <FileSystem/platform/Faults.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cxxabi.h>
#include <elfutils/libdwfl.h>
#include <exception>
#include <execinfo.h>
#include <memory>
#include <mutex>
#include <pthread.h>
#include <sys/mman.h>
#include <ucontext.h>
#include <unistd.h>

// The processor's faults arrive as synchronous signals on the thread that
// faulted. One handler per signal serves the whole process; what it does
// depends on a mark of the faulting thread. In translate mode it throws out of
// the handler: the library and its users are compiled with
// -fnon-call-exceptions, so the unwinder goes through the signal frame into
// the faulting code. Everything before the throw is async-signal-safe.

namespace FileSystem::sys {

namespace {

constexpr int kFaultSignals[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL};
constexpr std::size_t kSignalCount = std::size(kFaultSignals);

std::atomic<FaultTranslator> g_translator{nullptr};
std::atomic<FaultReporter> g_reporter{nullptr};
std::mutex g_installMutex;
bool g_installed = false;
// The dispositions that were in place before ours; written once, before our
// handlers are in place, and only read afterwards.
struct sigaction g_previous[kSignalCount];

// Plain values, so that reading them in the handler neither constructs
// anything nor registers a destructor.
constinit thread_local FaultMode t_mode = FaultMode::None;
constinit thread_local PureCallHandler t_pureCall = nullptr;

// The alternate signal stack of a thread in report mode, so that a stack
// overflow can still be reported. The stack that was there before comes back
// when the mode changes or the thread ends.
class AlternateStack {
public:
    AlternateStack() = default;
    AlternateStack(const AlternateStack&) = delete;
    AlternateStack& operator=(const AlternateStack&) = delete;
    ~AlternateStack() { release(); }

    void acquire() {
        if (m_memory != nullptr)
            return;
        void* memory = ::mmap(nullptr, kSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (memory == MAP_FAILED)
            return;
        stack_t stack{};
        stack.ss_sp = memory;
        stack.ss_size = kSize;
        if (::sigaltstack(&stack, &m_before) != 0) {
            ::munmap(memory, kSize);
            return;
        }
        m_memory = memory;
    }

    void release() {
        if (m_memory == nullptr)
            return;
        // A stack that was disabled before is given back disabled.
        if ((m_before.ss_flags & SS_DISABLE) != 0) {
            stack_t off{};
            off.ss_flags = SS_DISABLE;
            ::sigaltstack(&off, nullptr);
        } else {
            ::sigaltstack(&m_before, nullptr);
        }
        ::munmap(m_memory, kSize);
        m_memory = nullptr;
    }

private:
    // Room for the symbol look-up of the report as well.
    static constexpr std::size_t kSize = 256 * 1024;
    void* m_memory = nullptr;
    stack_t m_before{};
};

thread_local AlternateStack t_alternateStack;

int slotOf(int signal) {
    for (std::size_t i = 0; i < kSignalCount; ++i)
        if (kFaultSignals[i] == signal)
            return static_cast<int>(i);
    return -1;
}

FaultKind kindOf(int signal, int code) {
    switch (signal) {
    case SIGSEGV:
    case SIGBUS:
        return FaultKind::AccessViolation;
    case SIGFPE:
        return code == FPE_INTDIV || code == FPE_FLTDIV ? FaultKind::DivideByZero : FaultKind::Other;
    case SIGILL:
        return FaultKind::IllegalInstruction;
    default:
        return FaultKind::Other;
    }
}

const void* instructionOf(const void* context) {
    if (context == nullptr)
        return nullptr;
    const auto* machine = &static_cast<const ucontext_t*>(context)->uc_mcontext;
#if defined(__x86_64__)
    return reinterpret_cast<const void*>(machine->gregs[REG_RIP]);
#elif defined(__i386__)
    return reinterpret_cast<const void*>(machine->gregs[REG_EIP]);
#elif defined(__aarch64__)
    return reinterpret_cast<const void*>(machine->pc);
#else
    (void)machine;
    return nullptr;
#endif
}

// Ends the process by `signal` with its default action: the signal is raised
// again with the default in place; it is blocked while the handler runs, so it
// is delivered as the handler returns, with the faulting code's state.
void endBySignal(int signal) {
    struct sigaction standard {};
    standard.sa_handler = SIG_DFL;
    sigemptyset(&standard.sa_mask);
    ::sigaction(signal, &standard, nullptr);
    ::raise(signal);
}

// What would have happened without the library.
void passOn(int signal, siginfo_t* info, void* context, bool fromKernel) {
    const int slot = slotOf(signal);
    if (slot < 0)
        return;
    const struct sigaction& previous = g_previous[slot];
    const bool withInfo = (previous.sa_flags & SA_SIGINFO) != 0;
    if (!withInfo && (previous.sa_handler == SIG_DFL || previous.sa_handler == SIG_IGN)) {
        // The system does not let a fault be ignored: it ends the process.
        if (previous.sa_handler == SIG_DFL || fromKernel)
            endBySignal(signal);
        return;
    }
    sigset_t before;
    ::pthread_sigmask(SIG_BLOCK, &previous.sa_mask, &before);
    if (withInfo)
        previous.sa_sigaction(signal, info, context);
    else
        previous.sa_handler(signal);
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

void onFault(int signal, siginfo_t* info, void* context) {
    const int savedErrno = errno;
    // Only faults count; the same signal sent by a process (kill, raise) has a
    // code of 0 or below and goes on as without the library.
    const bool fromKernel = info != nullptr && info->si_code > 0;
    const FaultMode mode = fromKernel ? t_mode : FaultMode::None;
    if (mode != FaultMode::None) {
        FaultRecord record;
        record.signal = signal;
        record.kind = kindOf(signal, info->si_code);
        record.address = info->si_addr;
        record.instruction = instructionOf(context);
        if (mode == FaultMode::Translate) {
            if (const FaultTranslator translator = g_translator.load(std::memory_order_acquire)) {
                // Throwing skips the return from the handler, which would have
                // put back the interrupted code's mask; do that now, or the
                // next fault of this kind would find its signal blocked.
                ::pthread_sigmask(SIG_SETMASK, &static_cast<ucontext_t*>(context)->uc_sigmask, nullptr);
                translator(record);
            }
        } else if (const FaultReporter reporter = g_reporter.load(std::memory_order_acquire)) {
            reporter(record);
            endBySignal(signal);
            errno = savedErrno;
            return;
        }
    }
    passOn(signal, info, context, fromKernel);
    errno = savedErrno;
}

bool isOurs(const struct sigaction& action) {
    return (action.sa_flags & SA_SIGINFO) != 0 && action.sa_sigaction == &onFault;
}

// The symbols come from the binaries themselves (symbol tables and embedded
// debugging information). Separate debug files are not searched: that could
// mean network look-ups, which have no place in a crash report.
int noSeparateDebugInfo(Dwfl_Module*, void**, const char*, Dwarf_Addr, const char*, const char*, GElf_Word, char**) {
    return -1;
}

struct DwflCloser {
    void operator()(Dwfl* dwfl) const { dwfl_end(dwfl); }
};

std::string hex(std::uintptr_t value) {
    char text[2 + 2 * sizeof value + 1];
    std::snprintf(text, sizeof text, "0x%0*jx", static_cast<int>(2 * sizeof value), static_cast<std::uintmax_t>(value));
    return text;
}

std::string demangled(const char* name) {
    int status = 0;
    std::unique_ptr<char, decltype(&std::free)> text(abi::__cxa_demangle(name, nullptr, nullptr, &status), &std::free);
    return status == 0 && text ? std::string(text.get()) : std::string(name);
}

} // namespace

bool installFaultHandlers(FaultTranslator translator, FaultReporter reporter) {
    const std::lock_guard<std::mutex> lock(g_installMutex);
    g_translator.store(translator, std::memory_order_release);
    g_reporter.store(reporter, std::memory_order_release);
    if (g_installed)
        return true;
    // The first capture of a stack loads the unwinder; do it here, not in a
    // handler.
    void* frame[2];
    ::backtrace(frame, 2);
    struct sigaction action {};
    action.sa_sigaction = &onFault;
    // On the thread's alternate stack when it has one; a second fault while
    // the handler runs finds its signal blocked and ends the process at once.
    action.sa_flags = SA_SIGINFO | SA_ONSTACK;
    sigemptyset(&action.sa_mask);
    for (const int signal : kFaultSignals)
        sigaddset(&action.sa_mask, signal);
    bool all = true;
    for (std::size_t i = 0; i < kSignalCount; ++i) {
        struct sigaction previous {};
        if (::sigaction(kFaultSignals[i], nullptr, &previous) != 0 || isOurs(previous)) {
            all = false;
            continue;
        }
        g_previous[i] = previous;
        if (::sigaction(kFaultSignals[i], &action, nullptr) != 0)
            all = false;
    }
    g_installed = true;
    return all;
}

void setThreadFaultMode(FaultMode mode) {
    if (mode == FaultMode::Report)
        t_alternateStack.acquire();
    else
        t_alternateStack.release();
    t_mode = mode;
}

FaultMode threadFaultMode() noexcept { return t_mode; }

void writeStandardError(const char* text, std::size_t size) noexcept {
    while (size > 0) {
        const ssize_t written = ::write(STDERR_FILENO, text, size);
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return;
        text += written;
        size -= static_cast<std::size_t>(written);
    }
}

std::size_t captureStack(std::span<void*> frames) noexcept {
    const int count = ::backtrace(frames.data(), static_cast<int>(std::min<std::size_t>(frames.size(), 1 << 30)));
    return count > 0 ? static_cast<std::size_t>(count) : 0;
}

std::vector<std::string> describeStack(std::span<void* const> frames, bool firstIsExact) {
    static const Dwfl_Callbacks callbacks = {dwfl_linux_proc_find_elf, noSeparateDebugInfo, nullptr, nullptr};
    const std::unique_ptr<Dwfl, DwflCloser> dwfl(dwfl_begin(&callbacks));
    bool reported = false;
    if (dwfl) {
        dwfl_report_begin(dwfl.get());
        reported = dwfl_linux_proc_report(dwfl.get(), ::getpid()) == 0 &&
                   dwfl_report_end(dwfl.get(), nullptr, nullptr) == 0;
    }
    std::vector<std::string> lines;
    lines.reserve(frames.size());
    for (std::size_t i = 0; i < frames.size(); ++i) {
        const auto address = reinterpret_cast<std::uintptr_t>(frames[i]);
        // A return address points after the call; the call is what ran.
        const Dwarf_Addr lookup = (i == 0 && firstIsExact) || address == 0 ? address : address - 1;
        std::string line = "#" + std::to_string(i) + " " + hex(address);
        Dwfl_Module* module = reported ? dwfl_addrmodule(dwfl.get(), lookup) : nullptr;
        if (module != nullptr) {
            GElf_Off offset = 0;
            GElf_Sym symbol;
            if (const char* name = dwfl_module_addrinfo(module, lookup, &offset, &symbol, nullptr, nullptr, nullptr))
                line += " in " + demangled(name);
            if (Dwfl_Line* source = dwfl_module_getsrc(module, lookup)) {
                int number = 0;
                if (const char* file = dwfl_lineinfo(source, nullptr, &number, nullptr, nullptr, nullptr))
                    line += " at " + std::string(file) + ":" + std::to_string(number);
            }
            Dwarf_Addr start = 0;
            if (const char* name = dwfl_module_info(module, nullptr, &start, nullptr, nullptr, nullptr, nullptr, nullptr))
                line += " (" + std::string(name) + ")";
        }
        lines.push_back(std::move(line));
    }
    return lines;
}

void setThreadPureCallHandler(PureCallHandler handler) noexcept { t_pureCall = handler; }

} // namespace FileSystem::sys

// The C++ runtime calls this for a pure virtual function (from a constructor
// or destructor of an abstract class). Defined here, it takes the place of
// the runtime's own for the whole process; a thread without a handler of its
// own gets what the runtime does: the message and std::terminate.
extern "C" __attribute__((visibility("default"))) void __cxa_pure_virtual() {
    if (const FileSystem::sys::PureCallHandler handler = FileSystem::sys::t_pureCall)
        handler();
    static constexpr char message[] = "pure virtual method called\n";
    FileSystem::sys::writeStandardError(message, sizeof message - 1);
    std::terminate();
}
