// Signals through the manager: the probe program installs handlers and reports
// what ran; the tests send it real signals and read its lines and its end.

#include <FileSystem/runtime/OSSignalManager.h>

#include <gtest/gtest.h>

#include <chrono>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <optional>
#include <poll.h>
#include <spawn.h>
#include <string>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

extern char** environ;

using namespace FileSystem;

namespace {

// The probe in a process group of its own, with the signals at their defaults
// and unblocked (a shell's background job ignores INT and QUIT), and with
// KV_TESSEL_CANCELSIGNALS as given (null: no name that could stand for it).
// Commands go through a socket, so that writing to a dead probe raises no SIGPIPE.
struct Probe {
    pid_t pid = -1;
    int input = -1, output = -1;
    std::string pending;

    explicit Probe(std::vector<std::string> arguments, const char* cancelSignals = nullptr) {
        std::vector<std::string> environment;
        for (char** entry = environ; *entry != nullptr; ++entry)
            if (std::string(*entry).find("CANCELSIGNALS") == std::string::npos)
                environment.emplace_back(*entry);
        if (cancelSignals != nullptr)
            environment.push_back(std::string("KV_TESSEL_CANCELSIGNALS=") + cancelSignals);
        arguments.insert(arguments.begin(), FS_TEST_SIGNAL_PROBE);
        std::vector<char*> argv, envp;
        for (std::string& text : arguments)
            argv.push_back(text.data());
        for (std::string& text : environment)
            envp.push_back(text.data());
        argv.push_back(nullptr);
        envp.push_back(nullptr);
        int in[2], out[2];
        EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, in) | ::pipe2(out, O_CLOEXEC), 0);
        sigset_t none, defaults;
        sigemptyset(&none);
        sigfillset(&defaults);
        posix_spawnattr_t attributes;
        posix_spawnattr_init(&attributes);
        posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
        posix_spawnattr_setsigdefault(&attributes, &defaults);
        posix_spawnattr_setsigmask(&attributes, &none);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, in[1], 0);
        posix_spawn_file_actions_adddup2(&actions, out[1], 1);
        EXPECT_EQ(::posix_spawn(&pid, argv[0], &actions, &attributes, argv.data(), envp.data()), 0);
        posix_spawn_file_actions_destroy(&actions);
        posix_spawnattr_destroy(&attributes);
        ::close(in[1]);
        ::close(out[1]);
        input = in[0];
        output = out[0];
    }
    ~Probe() {
        if (pid > 0)
            ::kill(pid, SIGKILL);
        status();
        ::close(input);
        ::close(output);
    }
    // The next line; "<end>" at the end of the output or after ten seconds.
    std::string line() {
        for (std::size_t end; (end = pending.find('\n')) == std::string::npos;) {
            pollfd ready{output, POLLIN, 0};
            char buffer[512];
            const ssize_t got = ::poll(&ready, 1, 10000) == 1 ? ::read(output, buffer, sizeof buffer) : 0;
            if (got <= 0)
                return "<end>";
            pending.append(buffer, static_cast<std::size_t>(got));
        }
        std::string text = pending.substr(0, pending.find('\n'));
        pending.erase(0, text.size() + 1);
        return text;
    }
    std::string ask(const std::string& command) {
        const std::string text = command + "\n";
        ::send(input, text.data(), text.size(), MSG_NOSIGNAL);
        return line();
    }
    // What the probe reports between now and its answer to a ping, joined by ','.
    std::string reports() {
        std::string joined;
        for (std::string text = ask("ping"); text != "pong"; text = line()) {
            joined += (joined.empty() ? "" : ",") + text;
            if (text == "<end>")
                break;
        }
        return joined;
    }
    std::string signal(OSSignalId id) {
        EXPECT_TRUE(OSSignalManager::sendSignalToProcess(pid, id)) << id;
        return reports();
    }
    // How it ended; killed when it still runs after ten seconds.
    int status() {
        int result = -1;
        for (int i = 0; pid > 0 && ::waitpid(pid, &result, WNOHANG) == 0; ++i) {
            if (i == 1000)
                ::kill(pid, SIGKILL);
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        pid = -1;
        return result;
    }
    bool endedBy(int signal) {
        const int result = status();
        return WIFSIGNALED(result) && WTERMSIG(result) == signal;
    }
};

std::string ran(OSSignalId id, const std::string& handlers = "ab") {
    std::string joined;
    for (char name : handlers)
        joined += (joined.empty() ? "ran " : ",ran ") + std::string(1, name) + " " + std::to_string(id);
    return joined;
}

} // namespace

TEST(OSSignalManager, TheDefaultMaskComesFromTheVariableOnce) {
    struct Case {
        const char* value;
        unsigned mask;
        OSSignalId handled, unhandled;
    };
    for (const Case& c : {Case{nullptr, 4097, OSSignalIdBreak, OSSignalIdTerminate},
                          Case{"TERM;INT", 3, OSSignalIdTerminate, OSSignalIdLogoff},
                          Case{"TERM|LOGOFF,BREAK", 12290, OSSignalIdLogoff, OSSignalIdInterrupt},
                          Case{"int", 0, 0, OSSignalIdInterrupt}}) {
        SCOPED_TRACE(c.value ? c.value : "unset");
        Probe probe({"serve", "default"}, c.value);
        ASSERT_EQ(probe.line(), "mask " + std::to_string(c.mask) + " installed 1");
        ASSERT_EQ(probe.line(), "ready");
        if (c.handled != 0) { // the interrupt that is sent is "BREAK"; "a" throws, "b" runs all the same
            EXPECT_TRUE(c.handled == OSSignalIdBreak ? OSSignalManager::sendInterruptToProcess(probe.pid)
                                                     : OSSignalManager::sendSignalToProcess(probe.pid, c.handled));
            EXPECT_EQ(probe.reports(), ran(c.handled));
        }
        EXPECT_EQ(probe.ask("setenv INT"), "mask " + std::to_string(c.mask));
        EXPECT_EQ(probe.signal(c.unhandled), "<end>");
        EXPECT_TRUE(probe.endedBy(*osSignalIdToCSignal(c.unhandled)));
    }
}

TEST(OSSignalManager, RegistrationsAndASecondInstall) {
    Probe probe({"serve", "1"});
    ASSERT_EQ(probe.line(), "mask 4097 installed 1");
    ASSERT_EQ(probe.line(), "ready");
    EXPECT_EQ(probe.signal(OSSignalIdInterrupt), ran(1));
    EXPECT_EQ(probe.ask("install 2"), "installed 1");
    EXPECT_EQ(probe.ask("disposition 15"), "disposition default");
    // A registar and its copy share one registration: it ends with the last.
    EXPECT_EQ(probe.ask("scope"), "done");
    EXPECT_EQ(probe.signal(OSSignalIdInterrupt), ran(1, "abc"));
    EXPECT_EQ(probe.ask("drop1"), "done");
    EXPECT_EQ(probe.signal(OSSignalIdInterrupt), ran(1, "abc"));
    EXPECT_EQ(probe.ask("drop2"), "done");
    EXPECT_EQ(probe.signal(OSSignalIdInterrupt), ran(1));
    EXPECT_EQ(probe.ask("unregister"), "unregistered 1");
    EXPECT_EQ(probe.signal(OSSignalIdInterrupt), ran(1, "a"));
    EXPECT_EQ(probe.ask("unregister"), "unregistered 0");
    EXPECT_EQ(probe.signal(OSSignalIdTerminate), "<end>");
    EXPECT_TRUE(probe.endedBy(SIGTERM));
}

TEST(OSSignalManager, UninstallPutsThePreviousHandlersBack) {
    {
        Probe probe({"serve", "all", "previous"});
        ASSERT_EQ(probe.line(), "mask 4097 installed 1");
        ASSERT_EQ(probe.line(), "ready");
        EXPECT_EQ(probe.ask("disposition 2"), "disposition library");
        EXPECT_TRUE(OSSignalManager::sendNativeSignalToProcess(probe.pid, SIGHUP));
        EXPECT_EQ(probe.reports(), ran(OSSignalIdLogoff)); // handled: the previous handler is not called
        EXPECT_EQ(probe.ask("uninstall"), "installed 0");
        EXPECT_EQ(probe.ask("disposition 2"), "disposition previous");
        EXPECT_EQ(probe.signal(OSSignalIdInterrupt), "previous 2");
        EXPECT_EQ(probe.ask("install 1"), "installed 1");
        EXPECT_EQ(probe.signal(OSSignalIdInterrupt), ran(1));
    }
    Probe probe({"serve", "default"});
    ASSERT_EQ(probe.line(), "mask 4097 installed 1");
    ASSERT_EQ(probe.line(), "ready");
    EXPECT_EQ(probe.ask("uninstall"), "installed 0");
    EXPECT_EQ(probe.signal(OSSignalIdInterrupt), "<end>");
    EXPECT_TRUE(probe.endedBy(SIGINT));
}

// TERM arrives while the manager is being uninstalled (the probe makes sure that
// it waits for the manager's mutex first): the manager declines it and passes
// it on to the handler that was in place before install, whatever its kind.
TEST(OSSignalManager, DeclinedSignalsGoToThePreviousHandler) {
    for (const std::string kind : {"info", "plain", "ignore", "default"}) {
        SCOPED_TRACE(kind);
        Probe probe({"chain", kind});
        const std::string ready = probe.line();
        ASSERT_EQ(ready.rfind("ready ", 0), 0u);
        const std::string thread = "/proc/" + std::to_string(probe.pid) + "/task/" + ready.substr(6) + "/syscall";
        EXPECT_TRUE(OSSignalManager::sendSignalToProcess(probe.pid, OSSignalIdInterrupt));
        EXPECT_EQ(probe.line(), "ran h 1");
        EXPECT_EQ(probe.line(), "waiting 1");
        EXPECT_EQ(probe.line(), "uninstalled 0");
        // The thread that took TERM is done once it is back in pause() (or the probe has ended).
        for (int i = 0; i < 1000; ++i) {
            std::ifstream file(thread);
            std::string call;
            if (!(file >> call) || call == std::to_string(SYS_pause))
                break;
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        if (kind == "default") {
            EXPECT_EQ(probe.reports(), "<end>");
            EXPECT_TRUE(probe.endedBy(SIGTERM));
        } else {
            // info: the delivery's record, the thread it came to, the handler's own mask.
            EXPECT_EQ(probe.reports(), kind == "info" ? "previous-info 15 1 1" : kind == "plain" ? "previous 15" : "");
        }
    }
}

TEST(OSSignalManager, SendingNeedsOneProcessThatMayBeSignalled) {
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
    char sleep[] = "sleep", seconds[] = "60";
    char* argv[] = {sleep, seconds, nullptr};
    pid_t child = -1;
    ASSERT_EQ(::posix_spawnp(&child, "sleep", nullptr, &attributes, argv, environ), 0);
    posix_spawnattr_destroy(&attributes);
    // Signal 0 only asks: harmless if a wrong id reached a process group.
    EXPECT_TRUE(OSSignalManager::sendNativeSignalToProcess(child, 0));
    for (const std::int64_t id : {std::int64_t{0}, std::int64_t{-1}, -std::int64_t{::getpgrp()}, -std::int64_t{child},
                                  (std::int64_t{1} << 32) + child, INT64_MIN, INT64_MAX})
        EXPECT_FALSE(OSSignalManager::sendNativeSignalToProcess(id, 0)) << id;
    EXPECT_FALSE(OSSignalManager::sendSignalToProcess((std::int64_t{1} << 32) + child, OSSignalIdTerminate));
    for (const OSSignalId id : {0u, 3u, OSSignalIdShutdown})
        EXPECT_FALSE(OSSignalManager::sendSignalToProcess(child, id)) << id;
    EXPECT_FALSE(OSSignalManager::sendNativeSignalToProcess(child, 0x80000000u | SIGTERM));
    EXPECT_FALSE(OSSignalManager::sendNativeSignalToProcess(child, 65));
    int status = 0;
    EXPECT_EQ(::waitpid(child, &status, WNOHANG), 0) << "the child was hit";
    EXPECT_TRUE(OSSignalManager::sendKillToProcess(child));
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
    EXPECT_FALSE(OSSignalManager::sendKillToProcess(child));
}
