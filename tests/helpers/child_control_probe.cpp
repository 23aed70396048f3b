// An application that starts children (`sleep`, each in a process group of
// its own, so that only the library can end them) and hands them to
// clientProcessDestroysOnTerminate. Used by tests, which then end it.
//
//   hold N TOKEN   registers N children from N threads at once, prints
//                  "child <pid> <0|1>" for each, closes descriptor 3 (when
//                  given) and prints "ready"; then registers one more child
//                  for each line "again" on standard input, and exits 0 at
//                  its end.
//                  TOKEN marks the command line, which the watcher (a fork)
//                  shares, so that tests can find this probe's watcher.
//   fork TOKEN     registers a child, forks a copy that registers a child of
//                  its own ("copy <pid> <child> <0|1>"); both exit 0 at the end
//                  of standard input.
//   switch         "switch <r1> <r2> <r3>": the results of registering with the
//                  variable set, after removing it, and after setting it again.

#include <FileSystem/environment/EnvironmentVariableModel.h>
#include <FileSystem/process/ChildProcessControl.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <latch>
#include <spawn.h>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

extern char** environ;

namespace {

pid_t startChild() {
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
    posix_spawnattr_setpgroup(&attributes, 0);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    char sleep[] = "sleep", seconds[] = "120";
    char* argv[] = {sleep, seconds, nullptr};
    pid_t child = -1;
    if (posix_spawnp(&child, "sleep", &actions, &attributes, argv, environ) != 0)
        std::exit(2);
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    return child;
}

int registered(pid_t child) {
    return FileSystem::clientProcessDestroysOnTerminate(reinterpret_cast<void*>(static_cast<std::intptr_t>(child))) ? 1 : 0;
}

void say(const std::string& line) {
    std::printf("%s\n", line.c_str());
    std::fflush(stdout);
}

void startAndRegister() {
    const pid_t child = startChild();
    say("child " + std::to_string(child) + " " + std::to_string(registered(child)));
}

bool readLine(std::string& line) {
    char buffer[256];
    if (std::fgets(buffer, sizeof buffer, stdin) == nullptr)
        return false;
    line = buffer;
    return true;
}

int hold(int count) {
    // Descriptor 3, when the test passes one, stays with this process: the children get none of it.
    const bool given = ::fcntl(3, F_SETFD, FD_CLOEXEC) == 0;
    std::vector<pid_t> children(static_cast<std::size_t>(count));
    std::vector<int> results(children.size());
    std::latch start(count);
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < children.size(); ++i)
        threads.emplace_back([&, i] {
            children[i] = startChild();
            start.arrive_and_wait();
            results[i] = registered(children[i]);
        });
    for (std::thread& thread : threads)
        thread.join();
    for (std::size_t i = 0; i < children.size(); ++i)
        say("child " + std::to_string(children[i]) + " " + std::to_string(results[i]));
    if (given)
        ::close(3);
    say("ready");
    for (std::string line; readLine(line);)
        if (line == "again\n")
            startAndRegister();
    return 0;
}

int forkCopy() {
    startAndRegister();
    const pid_t copy = ::fork();
    if (copy == 0) {
        const pid_t child = startChild();
        say("copy " + std::to_string(::getpid()) + " " + std::to_string(child) + " " + std::to_string(registered(child)));
    }
    for (std::string line; readLine(line);) {
    }
    return 0;
}

int switchOnAndOff() {
    auto& environment = FileSystem::SystemEnvironmentVariables::instance();
    environment.setEnvironmentVariable("TESSELRM_NO_AUTO_SUBPROCESS_TERMINATE", "1");
    const pid_t first = startChild();
    const int off = registered(first);
    environment.setEnvironmentVariable("TESSELRM_NO_AUTO_SUBPROCESS_TERMINATE", "");
    const int on = registered(first);
    environment.setEnvironmentVariable("TESSELRM_NO_AUTO_SUBPROCESS_TERMINATE", "1");
    const pid_t second = startChild();
    const int stillOn = registered(second);
    say("child " + std::to_string(first) + " " + std::to_string(on));
    say("child " + std::to_string(second) + " " + std::to_string(stillOn));
    say("switch " + std::to_string(off) + " " + std::to_string(on) + " " + std::to_string(stillOn));
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    const std::string mode = argc > 1 ? argv[1] : "";
    if (mode == "hold" && argc > 2)
        return hold(std::atoi(argv[2]));
    if (mode == "fork")
        return forkCopy();
    if (mode == "switch")
        return switchOnAndOff();
    std::fprintf(stderr, "usage: child_control_probe hold N TOKEN | fork TOKEN | switch\n");
    return 2;
}
