// A process that takes signals through the signal manager and reports what ran,
// one line each, on standard output. Every line is one write(), which is
// async-signal-safe; a signal to the process reaches the handlers before the
// probe reads the command that the test sends after it.
//
//   serve MASK [previous]  MASK: "default", "all" or a number for install().
//       Registers "a" (throws after reporting) and "b", prints "mask <default
//       mask> installed <0|1>" and "ready". With "previous", a handler that
//       prints "previous <signal>" is in place for each signal before install.
//       Commands on standard input: ping, uninstall, install N, setenv VALUE
//       (KV_TESSEL_CANCELSIGNALS, then prints the default mask again), scope
//       (a registar of "c" and a copy), drop1, drop2, unregister (b),
//       disposition N. Exits 0 at the end of standard input.
//   chain KIND  SIGTERM's handler before install is KIND (info, plain,
//       default, ignore). The handler of "INT" sends TERM to the process,
//       which only a second thread takes; once that thread waits for the
//       manager, the handler uninstalls. So the manager declines TERM and
//       passes it on to the previous handler. Prints "ready <thread id>".

#include <FileSystem/environment/EnvironmentVariableModel.h>
#include <FileSystem/runtime/OSSignalManager.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <optional>
#include <pthread.h>
#include <stdexcept>
#include <string>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>

using namespace FileSystem;

namespace {

std::atomic<long> g_chainThread{0};

// One line to standard output; no allocation (signal context).
void report(const char* word, long first, long second = -1, long third = -1) {
    char line[96];
    std::size_t size = 0;
    const auto put = [&](long value) {
        char digits[24];
        int count = 0;
        for (unsigned long rest = static_cast<unsigned long>(value); count == 0 || rest != 0; rest /= 10)
            digits[count++] = static_cast<char>('0' + rest % 10);
        line[size++] = ' ';
        while (count > 0)
            line[size++] = digits[--count];
    };
    for (; *word != '\0'; ++word)
        line[size++] = *word;
    for (const long value : {first, second, third})
        if (value >= 0)
            put(value);
    line[size++] = '\n';
    if (::write(1, line, size) < 0)
        std::_Exit(3);
}

struct Reporter : OSSignalHandler {
    const char* name;
    bool throws;
    Reporter(const char* name, bool throws = false) : name(name), throws(throws) {}
    void operator()(OSSignalId id) override {
        report(name, static_cast<long>(id));
        if (throws)
            throw std::runtime_error("handler failed");
    }
};

void previousHandler(int signal) { report("previous", signal); }

void previousWithInfo(int signal, siginfo_t* info, void*) {
    sigset_t blocked;
    ::pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
    report("previous-info", signal,
           info != nullptr && info->si_pid == ::getpid() && static_cast<long>(::gettid()) == g_chainThread.load(),
           sigismember(&blocked, SIGUSR1));
}

void setDisposition(int signal, const std::string& kind) {
    struct sigaction action {};
    sigemptyset(&action.sa_mask);
    if (kind == "info") {
        action.sa_sigaction = &previousWithInfo;
        action.sa_flags = SA_SIGINFO;
        sigaddset(&action.sa_mask, SIGUSR1);
    } else {
        action.sa_handler = kind == "plain" ? &previousHandler : kind == "ignore" ? SIG_IGN : SIG_DFL;
    }
    ::sigaction(signal, &action, nullptr);
}

const char* disposition(int signal) {
    struct sigaction action {};
    ::sigaction(signal, nullptr, &action);
    if ((action.sa_flags & SA_SIGINFO) != 0)
        return "library";
    return action.sa_handler == SIG_DFL ? "default"
           : action.sa_handler == SIG_IGN ? "ignore"
           : action.sa_handler == &previousHandler ? "previous" : "other";
}

void blockOnThisThread(int signal) {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, signal);
    ::pthread_sigmask(SIG_BLOCK, &set, nullptr);
}

// Whether the thread waits on a futex (the manager's mutex): /proc names its system call.
bool waitsOnFutex(long thread) {
    char path[64];
    std::snprintf(path, sizeof path, "/proc/self/task/%ld/syscall", thread);
    char text[32] = {};
    const int file = ::open(path, O_RDONLY);
    const bool read = file >= 0 && ::read(file, text, sizeof text - 1) > 0;
    if (file >= 0)
        ::close(file);
    return read && std::atoi(text) == SYS_futex && text[0] != '-';
}

struct ChainHandler : OSSignalHandler {
    void operator()(OSSignalId id) override {
        report("ran h", static_cast<long>(id));
        OSSignalManager::sendSignalToProcess(::getpid(), OSSignalIdTerminate);
        const timespec pause{0, 1000000};
        for (int i = 0; i < 10000 && !waitsOnFutex(g_chainThread.load()); ++i)
            ::nanosleep(&pause, nullptr);
        report("waiting", waitsOnFutex(g_chainThread.load()));
        OSSignalManager::instance().uninstall(); // test only: frees memory in signal context
        report("uninstalled", OSSignalManager::instance().isInstalled());
    }
};

void say(const std::string& line) {
    const std::string text = line + "\n";
    if (::write(1, text.data(), text.size()) < 0)
        std::_Exit(3);
}

// Answers each command line; ends with standard input.
int serve(OSSignalHandler* b) {
    std::optional<SignalHandlerRegistar> first, second;
    std::string pending;
    for (;;) {
        char buffer[512];
        ssize_t got;
        while ((got = ::read(0, buffer, sizeof buffer)) < 0 && errno == EINTR) {
        }
        if (got <= 0)
            return 0;
        pending.append(buffer, static_cast<std::size_t>(got));
        for (std::size_t end; (end = pending.find('\n')) != std::string::npos; pending.erase(0, end + 1)) {
            const std::string command = pending.substr(0, end);
            const std::string argument = command.substr(command.find(' ') + 1);
            OSSignalManager& manager = OSSignalManager::instance();
            std::string answer = command == "ping" ? "pong" : "done";
            if (command == "uninstall" || command.rfind("install ", 0) == 0) {
                command == "uninstall" ? manager.uninstall() : manager.install(static_cast<unsigned>(std::stoul(argument)));
                answer = "installed " + std::to_string(manager.isInstalled());
            } else if (command.rfind("setenv ", 0) == 0) {
                SystemEnvironmentVariables::instance().setEnvironmentVariable("KV_TESSEL_CANCELSIGNALS", argument);
                answer = "mask " + std::to_string(defaultCancelSignalMask());
            } else if (command == "scope") {
                first.emplace(std::make_unique<Reporter>("ran c"));
                second.emplace(*first);
            } else if (command == "drop1" || command == "drop2") {
                (command == "drop1" ? first : second).reset();
            } else if (command == "unregister") {
                answer = "unregistered " + std::to_string(manager.unregisterSignalHandlerFunctor(b));
            } else if (command.rfind("disposition ", 0) == 0) {
                answer = std::string("disposition ") + disposition(std::stoi(argument));
            }
            say(answer);
        }
    }
}

} // namespace

int main(int argc, char** argv) {
    const std::string mode = argc > 2 ? argv[1] : "", argument = argc > 2 ? argv[2] : "";
    const rlimit noCore{0, 0}; // the default action of "BREAK" would dump core
    ::setrlimit(RLIMIT_CORE, &noCore);
    OSSignalManager& manager = OSSignalManager::instance();
    if (mode == "serve") {
        if (argc > 3)
            for (const int signal : {SIGINT, SIGTERM, SIGQUIT, SIGHUP})
                setDisposition(signal, "plain");
        if (argument == "default" || argument == "all")
            manager.install(argument == "default");
        else
            manager.install(static_cast<unsigned>(std::stoul(argument)));
        manager.registerSignalHandler(std::make_unique<Reporter>("ran a", true));
        OSSignalHandler* const b = manager.registerSignalHandler(std::make_unique<Reporter>("ran b"));
        say("mask " + std::to_string(defaultCancelSignalMask()) + " installed " + std::to_string(manager.isInstalled()));
        say("ready");
        return serve(b);
    }
    if (mode == "chain") {
        setDisposition(SIGTERM, argument);
        manager.install(OSSignalIdInterrupt | OSSignalIdTerminate);
        manager.registerSignalHandler(std::make_unique<ChainHandler>());
        // TERM reaches only the second thread, INT only this one.
        std::thread([] {
            blockOnThisThread(SIGINT);
            g_chainThread = static_cast<long>(::gettid());
            for (;;)
                ::pause();
        }).detach();
        blockOnThisThread(SIGTERM);
        while (g_chainThread.load() == 0)
            std::this_thread::yield();
        say("ready " + std::to_string(g_chainThread.load()));
        return serve(nullptr);
    }
    std::fprintf(stderr, "usage: signal_probe serve MASK [previous] | chain KIND\n");
    return 2;
}
