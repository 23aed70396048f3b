#include <FileSystem/platform/Process.h>
#include <FileSystem/platform/posix/Native.h>

#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <unistd.h>

namespace FileSystem::sys {

namespace {

std::string lowerAscii(std::string text) {
    for (char& c : text)
        if (c >= 'A' && c <= 'Z')
            c = char(c - 'A' + 'a');
    return text;
}

std::string variable(const char* name) {
    const char* value = std::getenv(name);
    return value ? value : "";
}

} // namespace

std::optional<std::vector<std::string>> commandLineArguments() {
    std::ifstream file("/proc/self/cmdline", std::ios::binary);
    if (!file)
        return std::nullopt;
    const std::string all((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    if (all.empty())
        return std::nullopt;
    std::vector<std::string> arguments;
    std::size_t start = 0;
    while (start < all.size()) {
        const std::size_t end = all.find('\0', start);
        arguments.push_back(all.substr(start, end == std::string::npos ? std::string::npos : end - start));
        if (end == std::string::npos)
            break;
        start = end + 1;
    }
    return arguments;
}

std::string executablePath() {
    std::string buffer(512, '\0');
    for (;;) {
        const ssize_t n = ::readlink("/proc/self/exe", buffer.data(), buffer.size());
        if (n < 0)
            return {};
        if (static_cast<std::size_t>(n) < buffer.size()) {
            buffer.resize(static_cast<std::size_t>(n));
            return buffer;
        }
        buffer.resize(buffer.size() * 2);
    }
}

std::int64_t processId() { return ::getpid(); }

std::int64_t parentProcessId() { return ::getppid(); }

std::optional<std::int64_t> sessionId() {
    const pid_t session = ::getsid(0);
    if (session < 0)
        return std::nullopt;
    return session;
}

bool runsAsService() {
    // A terminal of its own means somebody started it by hand.
    const int terminal = ::open("/dev/tty", O_RDONLY | O_NOCTTY | O_CLOEXEC);
    if (terminal >= 0) {
        ::close(terminal);
        return false;
    }
    // Started by the init system, or marked by the service manager.
    return ::getppid() == 1 || !variable("INVOCATION_ID").empty();
}

bool desktopPrefersDarkMode() {
    // A theme variable that names a dark variant ("Adwaita:dark", "Yaru-dark").
    if (lowerAscii(variable("GTK_THEME")).find("dark") != std::string::npos)
        return true;
    // The toolkit's own settings file of the user.
    std::string config = variable("XDG_CONFIG_HOME");
    if (config.empty() && !variable("HOME").empty())
        config = variable("HOME") + "/.config";
    std::ifstream settings(config + "/gtk-3.0/settings.ini");
    for (std::string line; std::getline(settings, line);) {
        const std::string lower = lowerAscii(line);
        const std::size_t equals = lower.find('=');
        if (equals == std::string::npos)
            continue;
        const auto trim = [](std::string text) {
            const std::size_t first = text.find_first_not_of(" \t\r");
            const std::size_t last = text.find_last_not_of(" \t\r");
            return first == std::string::npos ? std::string() : text.substr(first, last - first + 1);
        };
        const std::string key = trim(lower.substr(0, equals));
        const std::string value = trim(lower.substr(equals + 1));
        if ((key == "gtk-application-prefer-dark-theme" && (value == "1" || value == "true")) ||
            (key == "gtk-theme-name" && value.find("dark") != std::string::npos))
            return true;
    }
    return false;
}

} // namespace FileSystem::sys
