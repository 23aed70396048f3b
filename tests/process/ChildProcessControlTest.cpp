// Children that die with the application: real processes, real signals. The
// probe program plays the application; the test kills it or lets it end.

#include <FileSystem/environment/EnvironmentVariableModel.h>
#include <FileSystem/platform/ChildWatch.h>
#include <FileSystem/process/ChildProcessControl.h>

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <dirent.h>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <linux/sched.h>
#include <poll.h>
#include <sched.h>
#include <spawn.h>
#include <sstream>
#include <sys/mount.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace {

constexpr const char* kSwitchOff = "TESSELRM_NO_AUTO_SUBPROCESS_TERMINATE";

// Processes watched through descriptors, so that neither the checks nor the
// cleanup can hit a recycled process id. Whatever still runs at the end is killed.
struct Watched {
    std::vector<int> descriptors;
    ~Watched() {
        for (int descriptor : descriptors) {
            ::syscall(SYS_pidfd_send_signal, descriptor, SIGKILL, nullptr, 0);
            ::close(descriptor);
        }
    }
    std::size_t add(pid_t pid) {
        descriptors.push_back(static_cast<int>(::syscall(SYS_pidfd_open, pid, 0)));
        EXPECT_GE(descriptors.back(), 0) << "no process " << pid;
        return descriptors.size() - 1;
    }
    // Whether process `index` ends (or has ended: a zombie counts) within the time.
    bool endsWithin(std::size_t index, std::chrono::milliseconds limit) const {
        pollfd ended{descriptors[index], POLLIN, 0};
        return ::poll(&ended, 1, static_cast<int>(limit.count())) == 1;
    }
};

// The probe, in a process group of its own, with standard input and output
// on pipes; killed and reaped at the end if still running.
struct Probe {
    pid_t pid = -1;
    int input = -1;
    int output = -1;
    std::string pending;

    explicit Probe(std::vector<std::string> arguments, bool switchedOff = false, int descriptor3 = -1) {
        FileSystem::TemporaryEnvironmentVariable variable(kSwitchOff, switchedOff ? "1" : "");
        int in[2], out[2];
        EXPECT_EQ(::pipe2(in, O_CLOEXEC) | ::pipe2(out, O_CLOEXEC), 0);
        arguments.insert(arguments.begin(), FS_TEST_CHILD_CONTROL_PROBE);
        std::vector<char*> argv;
        for (std::string& argument : arguments)
            argv.push_back(argument.data());
        argv.push_back(nullptr);
        posix_spawnattr_t attributes;
        posix_spawnattr_init(&attributes);
        posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, in[0], 0);
        posix_spawn_file_actions_adddup2(&actions, out[1], 1);
        if (descriptor3 >= 0)
            posix_spawn_file_actions_adddup2(&actions, descriptor3, 3);
        EXPECT_EQ(::posix_spawn(&pid, argv[0], &actions, &attributes, argv.data(), environ), 0);
        posix_spawn_file_actions_destroy(&actions);
        posix_spawnattr_destroy(&attributes);
        ::close(in[0]);
        ::close(out[1]);
        input = in[1];
        output = out[0];
    }
    ~Probe() {
        if (pid > 0)
            ::kill(pid, SIGKILL);
        wait();
        ::close(input);
        ::close(output);
    }
    // The next line it prints; empty at its end or after ten seconds.
    std::string line() {
        for (;;) {
            const std::size_t end = pending.find('\n');
            if (end != std::string::npos) {
                std::string text = pending.substr(0, end);
                pending.erase(0, end + 1);
                return text;
            }
            pollfd ready{output, POLLIN, 0};
            char buffer[512];
            const ssize_t got = ::poll(&ready, 1, 10000) == 1 ? ::read(output, buffer, sizeof buffer) : 0;
            if (got <= 0)
                return {};
            pending.append(buffer, static_cast<std::size_t>(got));
        }
    }
    // Reads `count` lines "child <pid> <registered>", checks the result and watches the children.
    void children(Watched& watched, int count, int registered) {
        for (int i = 0; i < count; ++i) {
            std::istringstream words(line());
            std::string word;
            pid_t child = 0;
            int result = -1;
            words >> word >> child >> result;
            ASSERT_EQ(word, "child");
            watched.add(child);
            EXPECT_EQ(result, registered) << "child " << child;
        }
    }
    int wait() {
        int status = -1;
        if (pid > 0)
            ::waitpid(pid, &status, 0);
        pid = -1;
        return status;
    }
};

// The watchers started by a probe run whose command line carries `token`.
std::vector<pid_t> watchersOf(const std::string& token) {
    std::vector<pid_t> found;
    DIR* proc = ::opendir("/proc");
    while (dirent* entry = proc ? ::readdir(proc) : nullptr) {
        const std::string folder = std::string("/proc/") + entry->d_name;
        std::ifstream comm(folder + "/comm"), cmdline(folder + "/cmdline");
        std::string name, arguments((std::istreambuf_iterator<char>(cmdline)), std::istreambuf_iterator<char>());
        std::getline(comm, name);
        if (name == "fs-childwatch" && arguments.find(token) != std::string::npos)
            found.push_back(std::atoi(entry->d_name));
    }
    if (proc)
        ::closedir(proc);
    return found;
}

std::string token(const char* test) { return std::string(test) + "-" + std::to_string(::getpid()); }

} // namespace

TEST(ChildProcessControl, ChildrenDieWhenTheApplicationIsKilled) {
    int extra[2];
    ASSERT_EQ(::pipe2(extra, O_CLOEXEC), 0);
    Watched watched;
    Probe probe({"hold", "4", token("killed")}, false, extra[1]);
    ::close(extra[1]);
    probe.children(watched, 4, 1); // registered from four threads at once
    ASSERT_EQ(probe.line(), "ready");
    // The probe has closed its copy of the pipe: a watcher that kept the
    // application's descriptors would keep it open.
    pollfd ended{extra[0], POLLIN, 0};
    char byte = 0;
    EXPECT_TRUE(::poll(&ended, 1, 5000) == 1 && ::read(extra[0], &byte, 1) == 0);
    ::close(extra[0]);
    const std::vector<pid_t> watchers = watchersOf(token("killed"));
    ASSERT_EQ(watchers.size(), 1u);
    const std::size_t watcher = watched.add(watchers[0]);
    // The whole process group, as job control would: the watcher is not in it.
    ASSERT_EQ(::kill(-probe.pid, SIGKILL), 0);
    probe.wait();
    for (std::size_t i = 0; i < 4; ++i)
        EXPECT_TRUE(watched.endsWithin(i, std::chrono::seconds(1))) << "child " << i;
    EXPECT_TRUE(watched.endsWithin(watcher, std::chrono::seconds(1)));
}

TEST(ChildProcessControl, TheVariableSwitchesItOffWhileNoWatcherRuns) {
    {
        Watched watched;
        Probe probe({"hold", "1", token("off")}, true);
        probe.children(watched, 1, 0);
        ASSERT_EQ(probe.line(), "ready");
        EXPECT_TRUE(watchersOf(token("off")).empty());
        ::kill(probe.pid, SIGKILL);
        probe.wait();
        EXPECT_FALSE(watched.endsWithin(0, std::chrono::seconds(1)));
    }
    // Off, then on after removing the variable; setting it again changes
    // nothing once the watcher runs. Then the probe ends normally.
    Watched watched;
    Probe probe({"switch"});
    probe.children(watched, 2, 1);
    EXPECT_EQ(probe.line(), "switch 0 1 1");
    const int status = probe.wait();
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    EXPECT_TRUE(watched.endsWithin(0, std::chrono::seconds(1)));
    EXPECT_TRUE(watched.endsWithin(1, std::chrono::seconds(1)));
}

TEST(ChildProcessControl, AForkedCopyHasAWatcherOfItsOwn) {
    Watched watched;
    Probe probe({"fork", token("fork")});
    std::string lines[2] = {probe.line(), probe.line()};
    if (lines[0].rfind("copy", 0) == 0)
        std::swap(lines[0], lines[1]);
    pid_t child = 0, copy = 0, copyChild = 0;
    int registered = 0, copyRegistered = 0;
    ASSERT_EQ(std::sscanf(lines[0].c_str(), "child %d %d", &child, &registered), 2) << lines[0];
    ASSERT_EQ(std::sscanf(lines[1].c_str(), "copy %d %d %d", &copy, &copyChild, &copyRegistered), 3) << lines[1];
    EXPECT_EQ(registered + copyRegistered, 2);
    watched.add(child);
    watched.add(copy);
    watched.add(copyChild);
    // The application dies while its copy runs on: its child goes all the same.
    ::kill(probe.pid, SIGKILL);
    probe.wait();
    EXPECT_TRUE(watched.endsWithin(0, std::chrono::seconds(1)));
    EXPECT_FALSE(watched.endsWithin(2, std::chrono::milliseconds(300)));
    // The copy ends normally: its own child goes with it.
    ::close(probe.input);
    probe.input = -1;
    EXPECT_TRUE(watched.endsWithin(1, std::chrono::seconds(2)));
    EXPECT_TRUE(watched.endsWithin(2, std::chrono::seconds(1)));
}

TEST(ChildProcessControl, AKilledWatcherIsReplaced) {
    Watched watched;
    Probe probe({"hold", "1", token("replaced")});
    probe.children(watched, 1, 1);
    ASSERT_EQ(probe.line(), "ready");
    std::vector<pid_t> watchers = watchersOf(token("replaced"));
    ASSERT_EQ(watchers.size(), 1u);
    const std::size_t first = watched.add(watchers[0]);
    ::kill(watchers[0], SIGKILL);
    ASSERT_TRUE(watched.endsWithin(first, std::chrono::seconds(1)));
    ASSERT_EQ(::write(probe.input, "again\n", 6), 6);
    probe.children(watched, 1, 1);
    watchers = watchersOf(token("replaced"));
    ASSERT_EQ(watchers.size(), 1u);
    ::kill(probe.pid, SIGKILL);
    probe.wait();
    EXPECT_TRUE(watched.endsWithin(first + 1, std::chrono::seconds(1)));
}

TEST(ChildProcessControl, HoldsOnlyProcessesThatRun) {
    FileSystem::TemporaryEnvironmentVariable on(kSwitchOff, "");
    const pid_t child = ::fork();
    if (child == 0)
        ::_exit(::pause());
    EXPECT_TRUE(FileSystem::clientProcessDestroysOnTerminate(reinterpret_cast<void*>(static_cast<std::intptr_t>(child))));
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
    EXPECT_FALSE(FileSystem::clientProcessDestroysOnTerminate(std::int64_t{child}));
    EXPECT_FALSE(FileSystem::clientProcessDestroysOnTerminate(std::int64_t{0}));
    EXPECT_FALSE(FileSystem::clientProcessDestroysOnTerminate(std::int64_t{1} << 40)); // no cut to a 32-bit id
}

namespace {

[[noreturn]] void idle() {
    ::syscall(SYS_close_range, 3, ~0U, 0); // holds nothing of the application's
    for (;;)
        ::pause();
}

// The application of the reuse check: registers A and C, lets A end and gives
// its id to a new process B (clone3 with set_tid), then ends. Sends B, C and
// the two registration results to `report`.
[[noreturn]] void reuseApplication(int report, bool byStartTime) {
    using FileSystem::sys::ChildWatchResult;
    const auto watch = [&](pid_t pid) {
        return (byStartTime ? FileSystem::sys::watchChildByStartTime(pid) : FileSystem::sys::watchChild(pid)) ==
               ChildWatchResult::Registered;
    };
    const pid_t a = ::fork();
    if (a == 0)
        idle();
    const bool started = FileSystem::sys::startChildWatcher();
    const int registeredA = started && watch(a);
    const pid_t c = ::fork();
    if (c == 0)
        idle();
    const int registeredC = started && watch(c);
    ::kill(a, SIGKILL);
    ::waitpid(a, nullptr, 0);
    ::usleep(30000); // a later clock tick: B's start time differs from A's
    pid_t wanted = a;
    clone_args arguments{};
    arguments.exit_signal = SIGCHLD;
    arguments.set_tid = reinterpret_cast<std::uintptr_t>(&wanted);
    arguments.set_tid_size = 1;
    const long b = ::syscall(SYS_clone3, &arguments, sizeof arguments);
    if (b == 0)
        idle();
    const int values[4] = {static_cast<int>(b), c, registeredA, registeredC};
    ::_exit(::write(report, values, sizeof values) == sizeof values ? 0 : 1);
}

[[noreturn]] void reportAndEnd(int report, const std::string& text) {
    if (::write(report, text.data(), text.size()) < 0)
        ::_exit(1);
    ::_exit(0);
}

// The first process of a new process id namespace: starts the application,
// reaps what ends after it and reports "<C's signal> <B alive> <A and C registered> <watcher ended>".
[[noreturn]] void reuseInit(int report, bool byStartTime) {
    // The start time is read from /proc, which must show this namespace's ids.
    if (byStartTime && (::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
                        ::mount("proc", "/proc", "proc", MS_NOSUID | MS_NODEV | MS_NOEXEC, nullptr) != 0))
        reportAndEnd(report, "skip: no /proc of our own");
    int ids[2];
    if (::pipe(ids) != 0)
        reportAndEnd(report, "pipe");
    const pid_t application = ::fork();
    if (application == 0)
        reuseApplication(ids[1], byStartTime);
    ::close(ids[1]);
    int values[4] = {};
    if (::read(ids[0], values, sizeof values) != sizeof values || values[0] < 0)
        reportAndEnd(report, "skip: no process with a chosen id");
    const pid_t b = values[0], c = values[1];
    int signalOfC = 0;
    bool watcherEnded = false;
    for (int round = 0; round < 500 && (signalOfC == 0 || !watcherEnded); ++round) {
        int status = 0;
        const pid_t ended = ::waitpid(-1, &status, WNOHANG);
        if (ended == c)
            signalOfC = WIFSIGNALED(status) ? WTERMSIG(status) : -1;
        else if (ended > 0 && ended != application && ended != b)
            watcherEnded = true;
        else if (ended <= 0)
            ::usleep(10000);
    }
    ::usleep(100000);
    const bool bAlive = ::waitpid(b, nullptr, WNOHANG) == 0;
    ::kill(b, SIGKILL);
    reportAndEnd(report, std::to_string(signalOfC) + " " + std::to_string(bAlive) + " " +
                             std::to_string(values[2] + values[3]) + " " + std::to_string(watcherEnded));
}

std::string reuseCheck(bool byStartTime) {
    int report[2];
    if (::pipe2(report, O_CLOEXEC) != 0)
        return "pipe";
    const pid_t outer = ::fork();
    if (outer == 0) {
        if (::unshare(CLONE_NEWUSER | CLONE_NEWPID | CLONE_NEWNS) != 0)
            reportAndEnd(report[1], "skip: no namespaces");
        const pid_t init = ::fork();
        if (init == 0)
            reuseInit(report[1], byStartTime);
        ::waitpid(init, nullptr, 0);
        ::_exit(0);
    }
    ::close(report[1]);
    std::string text;
    char buffer[256];
    pollfd ready{report[0], POLLIN, 0};
    for (ssize_t got = 1; got > 0 && ::poll(&ready, 1, 20000) == 1;)
        if ((got = ::read(report[0], buffer, sizeof buffer)) > 0)
            text.append(buffer, static_cast<std::size_t>(got));
    ::close(report[0]);
    ::waitpid(outer, nullptr, 0);
    return text;
}

} // namespace

TEST(ChildProcessControl, ARecycledProcessIdIsNotKilled) {
    for (const bool byStartTime : {false, true}) {
        const std::string result = reuseCheck(byStartTime);
        if (result.rfind("skip", 0) == 0)
            GTEST_SKIP() << result;
        // C killed, B (with A's old id) alive, both registered, the watcher done.
        EXPECT_EQ(result, "9 1 2 1") << (byStartTime ? "by start time" : "by descriptor");
    }
}
