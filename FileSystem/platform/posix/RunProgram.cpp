#include <FileSystem/platform/Process.h>
#include <FileSystem/platform/posix/Native.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

extern char** environ;

namespace FileSystem::sys {

namespace {

/// Both ends of a pipe, closed at the end of the scope.
struct Pipe {
    int read = -1;
    int write = -1;
    Pipe() {
        int fds[2];
        if (::pipe2(fds, O_CLOEXEC) == 0) {
            read = fds[0];
            write = fds[1];
        }
    }
    ~Pipe() {
        closeRead();
        closeWrite();
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;
    bool valid() const { return read >= 0; }
    void closeRead() {
        if (read >= 0)
            ::close(read);
        read = -1;
    }
    void closeWrite() {
        if (write >= 0)
            ::close(write);
        write = -1;
    }
};

/// The process's environment with the overrides put in place of the entries of the same name.
std::vector<std::string> environmentWith(const std::vector<std::string>& overrides) {
    std::vector<std::string> result;
    auto nameOf = [](const std::string& entry) { return entry.substr(0, entry.find('=')); };
    for (char** entry = environ; entry && *entry; ++entry) {
        const std::string text = *entry;
        bool replaced = false;
        for (const std::string& override : overrides)
            replaced = replaced || nameOf(override) == nameOf(text);
        if (!replaced)
            result.push_back(text);
    }
    result.insert(result.end(), overrides.begin(), overrides.end());
    return result;
}

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (std::string& text : texts)
        pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

} // namespace

std::optional<ProgramResult> runProgram(const std::vector<std::string>& arguments,
                                        const std::vector<std::string>& environmentOverrides,
                                        std::size_t outputLimit, std::chrono::milliseconds timeout) {
    if (arguments.empty() || !posix::isUsablePath(arguments.front()))
        return std::nullopt;
    // A NUL byte would cut an argument short and hand the program another one.
    for (const std::string& argument : arguments)
        if (argument.find('\0') != std::string::npos)
            return std::nullopt;
    for (const std::string& entry : environmentOverrides)
        if (entry.find('\0') != std::string::npos || entry.find('=') == std::string::npos)
            return std::nullopt;

    std::vector<std::string> argumentTexts = arguments;
    std::vector<std::string> environmentTexts = environmentWith(environmentOverrides);
    std::vector<char*> argv = pointersTo(argumentTexts);
    std::vector<char*> envp = pointersTo(environmentTexts);

    Pipe out, err;
    if (!out.valid() || !err.valid())
        return std::nullopt;

    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
    if (posix_spawn_file_actions_init(&actions) != 0)
        return std::nullopt;
    if (posix_spawnattr_init(&attributes) != 0) {
        posix_spawn_file_actions_destroy(&actions);
        return std::nullopt;
    }
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, out.write, 1);
    posix_spawn_file_actions_adddup2(&actions, err.write, 2);
    // The child starts with no blocked signals and the default action for a
    // broken pipe, whatever this process has set for itself.
    sigset_t none, defaults;
    sigemptyset(&none);
    sigemptyset(&defaults);
    sigaddset(&defaults, SIGPIPE);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setsigdefault(&attributes, &defaults);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);

    pid_t child = -1;
    const int started = ::posix_spawnp(&child, argv[0], &actions, &attributes, argv.data(), envp.data());
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    out.closeWrite();
    err.closeWrite();
    if (started != 0)
        return std::nullopt;

    using Clock = std::chrono::steady_clock;
    const auto deadline = Clock::now() + timeout;
    auto remainingMs = [&] {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
        return left > 0 ? static_cast<int>(std::min<long long>(left, 1000)) : 0;
    };

    ProgramResult result;
    bool timedOut = false;
    char buffer[4096];
    while (out.valid() || err.valid()) {
        pollfd fds[2] = {{out.read, POLLIN, 0}, {err.read, POLLIN, 0}};
        const int waitMs = remainingMs();
        if (waitMs == 0) {
            timedOut = true;
            break;
        }
        const int ready = ::poll(fds, 2, waitMs);
        if (ready < 0 && errno != EINTR)
            break;
        if (ready <= 0)
            continue;
        Pipe* pipes[2] = {&out, &err};
        std::string* texts[2] = {&result.output, &result.errors};
        for (int i = 0; i < 2; ++i) {
            if (fds[i].fd < 0 || fds[i].revents == 0)
                continue;
            const ssize_t n = posix::retryOnInterrupt([&] { return ::read(pipes[i]->read, buffer, sizeof buffer); });
            if (n <= 0) {
                pipes[i]->closeRead();
                continue;
            }
            const std::size_t room = outputLimit > texts[i]->size() ? outputLimit - texts[i]->size() : 0;
            texts[i]->append(buffer, std::min(room, static_cast<std::size_t>(n)));
        }
    }

    // Output closed: the program is ending, or it handed its pipes on. Either
    // way it gets until the deadline.
    int status = 0;
    for (;;) {
        const pid_t done = posix::retryOnInterrupt([&] { return ::waitpid(child, &status, WNOHANG); });
        if (done == child)
            break;
        if (done < 0)
            return std::nullopt;
        if (timedOut || remainingMs() == 0) {
            ::kill(child, SIGKILL);
            posix::retryOnInterrupt([&] { return ::waitpid(child, &status, 0); });
            return std::nullopt;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    if (!WIFEXITED(status))
        return std::nullopt;
    result.exitCode = WEXITSTATUS(status);
    return result;
}

} // namespace FileSystem::sys
