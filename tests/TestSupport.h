#pragma once

// Helpers shared by the tests: a private scratch folder, a guard that puts
// the current directory back, and a way to run a program and read its output.

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <system_error>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

extern char** environ;

namespace TestSupport {

/// A fresh folder under the system's temporary folder, removed with all its
/// contents at the end of the scope.
class TempDir {
public:
    TempDir() {
        std::string pattern = (std::filesystem::temp_directory_path() / "fstest-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr)
            throw std::runtime_error("mkdtemp failed");
        m_path = pattern;
    }
    ~TempDir() {
        std::error_code ec;
        // Make everything writable again so that read-only test files go too.
        for (auto it = std::filesystem::recursive_directory_iterator(m_path, ec);
             !ec && it != std::filesystem::recursive_directory_iterator(); it.increment(ec))
            std::filesystem::permissions(it->path(), std::filesystem::perms::owner_all,
                                         std::filesystem::perm_options::add | std::filesystem::perm_options::nofollow, ec);
        std::filesystem::remove_all(m_path, ec);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::string& path() const { return m_path; }
    std::string operator/(const std::string& name) const { return m_path + "/" + name; }

    /// Writes a file below the folder (parents are created) and returns its path.
    std::string write(const std::string& name, const std::string& content = "x") const {
        const std::string full = *this / name;
        std::filesystem::create_directories(std::filesystem::path(full).parent_path());
        std::ofstream(full, std::ios::binary) << content;
        return full;
    }
    std::string mkdir(const std::string& name) const {
        const std::string full = *this / name;
        std::filesystem::create_directories(full);
        return full;
    }

private:
    std::string m_path;
};

/// Restores the process's current directory at the end of the scope.
class CurrentDirectoryGuard {
public:
    CurrentDirectoryGuard() : m_saved(std::filesystem::current_path()) {}
    ~CurrentDirectoryGuard() {
        std::error_code ec;
        std::filesystem::current_path(m_saved, ec);
    }
    CurrentDirectoryGuard(const CurrentDirectoryGuard&) = delete;
    CurrentDirectoryGuard& operator=(const CurrentDirectoryGuard&) = delete;

private:
    std::filesystem::path m_saved;
};

/// What a finished program left: its exit status as waitpid gives it, and all
/// it wrote to standard output.
struct RunResult {
    int status = -1;
    std::string output;
    bool exitedWith(int code) const { return WIFEXITED(status) && WEXITSTATUS(status) == code; }
};

/// Runs `argv[0]` (searched in PATH) with these arguments, standard input from
/// /dev/null, and collects its standard output. `environment` replaces the
/// environment when given.
inline RunResult run(const std::vector<std::string>& argv, const std::vector<std::string>* environment = nullptr) {
    RunResult result;
    int fds[2];
    if (::pipe(fds) != 0)
        throw std::runtime_error("pipe failed");
    std::vector<char*> args;
    for (const std::string& a : argv)
        args.push_back(const_cast<char*>(a.c_str()));
    args.push_back(nullptr);
    std::vector<char*> env;
    if (environment) {
        for (const std::string& e : *environment)
            env.push_back(const_cast<char*>(e.c_str()));
        env.push_back(nullptr);
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, fds[1], 1);
    posix_spawn_file_actions_addclose(&actions, fds[0]);
    posix_spawn_file_actions_addclose(&actions, fds[1]);
    pid_t child = -1;
    const int rc = ::posix_spawnp(&child, args[0], &actions, nullptr, args.data(), environment ? env.data() : environ);
    posix_spawn_file_actions_destroy(&actions);
    ::close(fds[1]);
    if (rc != 0) {
        ::close(fds[0]);
        throw std::runtime_error("cannot start " + argv[0]);
    }
    char buffer[4096];
    for (;;) {
        const ssize_t n = ::read(fds[0], buffer, sizeof buffer);
        if (n > 0)
            result.output.append(buffer, static_cast<std::size_t>(n));
        else if (n == 0 || errno != EINTR)
            break;
    }
    ::close(fds[0]);
    while (::waitpid(child, &result.status, 0) < 0 && errno == EINTR) {
    }
    return result;
}

} // namespace TestSupport
