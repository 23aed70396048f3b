#include <FileSystem/platform/Environment.h>
#include <FileSystem/platform/posix/Native.h>

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <mutex>
#include <pwd.h>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

extern char** environ;

namespace FileSystem::sys {

namespace {

// getenv and setenv are not safe against each other; the library's own calls
// at least take turns.
std::mutex& environmentMutex() {
    static std::mutex mutex;
    return mutex;
}

bool isUsableName(const std::string& name) {
    return !name.empty() && name.find('\0') == std::string::npos && name.find('=') == std::string::npos;
}

std::string variableOrEmpty(const char* name) {
    const auto value = environmentVariable(name);
    return value ? *value : std::string();
}

std::string homeFolder() {
    std::string home = variableOrEmpty("HOME");
    if (!home.empty())
        return home;
    struct passwd entry {};
    struct passwd* found = nullptr;
    std::string buffer(16384, '\0');
    if (::getpwuid_r(::geteuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found && found->pw_dir)
        return found->pw_dir;
    return {};
}

/// The name that a line of an environment file defines ("NAME=..." or
/// "export NAME=..."); empty for other lines.
std::string definedName(const std::string& line) {
    std::size_t start = line.find_first_not_of(" \t");
    if (start == std::string::npos || line[start] == '#')
        return {};
    if (line.compare(start, 7, "export ") == 0)
        start = line.find_first_not_of(" \t", start + 7);
    const std::size_t equals = line.find('=', start);
    if (start == std::string::npos || equals == std::string::npos)
        return {};
    return line.substr(start, equals - start);
}

} // namespace

std::optional<std::string> environmentVariable(const std::string& name) {
    if (!isUsableName(name))
        return std::nullopt;
    std::lock_guard lock(environmentMutex());
    const char* value = std::getenv(name.c_str());
    if (value == nullptr)
        return std::nullopt;
    return std::string(value);
}

int setEnvironmentVariable(const std::string& name, const std::string& value) {
    if (!isUsableName(name) || value.find('\0') != std::string::npos)
        return EINVAL;
    std::lock_guard lock(environmentMutex());
    return ::setenv(name.c_str(), value.c_str(), 1) == 0 ? 0 : errno;
}

int unsetEnvironmentVariable(const std::string& name) {
    if (!isUsableName(name))
        return EINVAL;
    std::lock_guard lock(environmentMutex());
    return ::unsetenv(name.c_str()) == 0 ? 0 : errno;
}

std::vector<std::string> environmentStrings() {
    std::lock_guard lock(environmentMutex());
    std::vector<std::string> strings;
    for (char** entry = environ; entry && *entry; ++entry)
        strings.emplace_back(*entry);
    return strings;
}

std::string persistentEnvironmentFile() { return "/etc/environment"; }

bool updateEnvironmentFile(const std::string& file, const std::string& name, const std::string& value) {
    if (!isUsableName(name) || !posix::isUsablePath(file) || value.find_first_of("\"\n\r", 0) != std::string::npos ||
        name.find_first_of(" \t\n#\"") != std::string::npos)
        return false; // such text cannot be written as a line of this file
    std::vector<std::string> lines;
    {
        std::ifstream in(file);
        for (std::string line; std::getline(in, line);)
            lines.push_back(line);
    }
    const bool quote = value.find_first_of(" \t#$\\'") != std::string::npos;
    const std::string newLine = name + "=" + (quote ? "\"" + value + "\"" : value);

    std::vector<std::string> updated;
    bool placed = value.empty();
    for (const std::string& line : lines) {
        if (definedName(line) != name) {
            updated.push_back(line);
        } else if (!placed) {
            updated.push_back(newLine);
            placed = true;
        }
    }
    if (!placed)
        updated.push_back(newLine);
    if (updated == lines)
        return true;

    struct stat st {};
    const mode_t mode = ::stat(file.c_str(), &st) == 0 ? (st.st_mode & 07777) : 0644;
    const std::string temporary = file + ".fs-" + std::to_string(::getpid()) + ".new";
    {
        std::ofstream out(temporary, std::ios::trunc);
        for (const std::string& line : updated)
            out << line << '\n';
        out.close();
        if (!out) {
            ::unlink(temporary.c_str());
            return false;
        }
    }
    if (::chmod(temporary.c_str(), mode) != 0 || ::rename(temporary.c_str(), file.c_str()) != 0) {
        ::unlink(temporary.c_str());
        return false;
    }
    return true;
}

std::string defaultTemporaryFolder() {
    const std::string tmpdir = variableOrEmpty("TMPDIR");
    return tmpdir.empty() ? "/tmp" : tmpdir;
}

std::string defaultAllUsersAppFolder() {
    const std::string dirs = variableOrEmpty("XDG_DATA_DIRS");
    const std::string first = dirs.substr(0, dirs.find(':'));
    return first.empty() ? "/usr/local/share" : first;
}

std::string defaultCurrentUserAppFolder() {
    const std::string dataHome = variableOrEmpty("XDG_DATA_HOME");
    if (!dataHome.empty())
        return dataHome;
    const std::string home = homeFolder();
    return home.empty() ? std::string() : home + "/.local/share";
}

std::string defaultUserDocumentsFolder(bool create) {
    const std::string home = homeFolder();
    std::string config = variableOrEmpty("XDG_CONFIG_HOME");
    if (config.empty() && !home.empty())
        config = home + "/.config";
    std::ifstream dirs(config + "/user-dirs.dirs");
    // Lines such as: XDG_DOCUMENTS_DIR="$HOME/Documents"
    for (std::string line; std::getline(dirs, line);) {
        const std::string key = "XDG_DOCUMENTS_DIR=";
        const std::size_t start = line.find_first_not_of(" \t");
        if (start == std::string::npos || line.compare(start, key.size(), key) != 0)
            continue;
        std::string value = line.substr(start + key.size());
        if (value.size() >= 2 && value.front() == '"' && value.back() == '"')
            value = value.substr(1, value.size() - 2);
        if (value.compare(0, 5, "$HOME") == 0)
            value = home + value.substr(5);
        else if (!value.empty() && value.front() != '/')
            value = home + "/" + value;
        if (value.empty() || home.empty())
            break;
        if (create)
            ::mkdir(value.c_str(), 0755);
        return value;
    }
    return home;
}

} // namespace FileSystem::sys
