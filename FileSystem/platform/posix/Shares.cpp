#include <FileSystem/platform/Machine.h>
#include <FileSystem/platform/Process.h>
#include <FileSystem/platform/Shares.h>
#include <FileSystem/platform/posix/Native.h>

#include <algorithm>
#include <dirent.h>
#include <fstream>
#include <memory>
#include <sstream>

// Shares of this computer are Samba's user shares: one small record file per
// share in Samba's user-share folder, written and removed by `net usershare`.
// Look-ups read the records directly (they are asked often, and starting a
// program each time would cost a tenth of a second); changes go through `net`
// so that Samba checks and writes its own records.

namespace FileSystem::sys {

namespace {

constexpr const char* kDefaultUserShareFolder = "/var/lib/samba/usershares";
constexpr const char* kSambaConfig = "/etc/samba/smb.conf";
constexpr std::size_t kMaxRecordSize = 16 * 1024;
constexpr std::size_t kMaxShareNameLength = 80;
constexpr std::size_t kMaxShares = 4096;

char lowerAscii(char c) { return c >= 'A' && c <= 'Z' ? char(c - 'A' + 'a') : c; }

bool equalsIgnoreAsciiCase(const std::string& a, const std::string& b) {
    return a.size() == b.size() &&
           std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) { return lowerAscii(x) == lowerAscii(y); });
}

bool hasControlCharacter(const std::string& text) {
    return std::any_of(text.begin(), text.end(),
                       [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; });
}

std::string trimmed(const std::string& text) {
    const std::size_t first = text.find_first_not_of(" \t\r");
    if (first == std::string::npos)
        return {};
    return text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

/// The "usershare path" of Samba's [global] section, else Samba's default.
std::string userShareFolder() {
    std::ifstream config(kSambaConfig);
    std::string line, section;
    while (config && std::getline(config, line)) {
        line = trimmed(line);
        if (line.empty() || line[0] == '#' || line[0] == ';')
            continue;
        if (line[0] == '[') {
            section.clear();
            for (char c : line.substr(1, line.find(']') - 1))
                section += lowerAscii(c);
            continue;
        }
        const std::size_t equals = line.find('=');
        if (section != "global" || equals == std::string::npos)
            continue;
        // Samba ignores blanks and case in parameter names.
        std::string key;
        for (char c : line.substr(0, equals))
            if (c != ' ' && c != '\t')
                key += lowerAscii(c);
        const std::string value = trimmed(line.substr(equals + 1));
        if (key == "usersharepath" && !value.empty() && value[0] == '/')
            return value;
    }
    return kDefaultUserShareFolder;
}

/// One record: "path=" and "sharename=" lines (older records have no name:
/// the file's name is the share's name then).
std::optional<ShareEntry> readRecord(const std::string& file, const std::string& fileName) {
    std::ifstream in(file, std::ios::binary);
    if (!in)
        return std::nullopt;
    std::string text(kMaxRecordSize + 1, '\0');
    in.read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<std::size_t>(in.gcount()));
    if (text.size() > kMaxRecordSize || text.compare(0, 9, "#VERSION ") != 0)
        return std::nullopt;
    ShareEntry entry;
    entry.name = fileName;
    std::istringstream lines(text);
    std::string line;
    bool hasPath = false;
    while (std::getline(lines, line)) {
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        if (line.compare(0, 5, "path=") == 0) {
            entry.path = line.substr(5);
            hasPath = true;
        } else if (line.compare(0, 10, "sharename=") == 0 && line.size() > 10) {
            entry.name = line.substr(10);
        }
    }
    // Samba stores names in lower case as file names: the record's own name
    // must be that one, spelled otherwise at most.
    if (!hasPath || entry.path.empty() || entry.path[0] != '/' || hasControlCharacter(entry.path) ||
        hasControlCharacter(entry.name) || !equalsIgnoreAsciiCase(entry.name, fileName))
        return std::nullopt;
    while (entry.path.size() > 1 && entry.path.back() == '/')
        entry.path.pop_back();
    return entry;
}

/// Whether Samba takes the name as it is: it refuses these characters, and a
/// leading '-' would reach `net` as an option.
bool isUsableShareName(const std::string& name) {
    return !name.empty() && name.size() <= kMaxShareNameLength && name[0] != '-' && !hasControlCharacter(name) &&
           name.find_first_of("%<>*?|/\\+=;:\",") == std::string::npos;
}

/// Samba's `net` tool, from the system's folders before the search path.
std::string netProgram() {
    for (const char* candidate : {"/usr/bin/net", "/bin/net", "/usr/local/bin/net"})
        if (::access(candidate, X_OK) == 0)
            return candidate;
    return "net";
}

std::optional<ProgramResult> runNet(const std::vector<std::string>& arguments) {
    std::vector<std::string> command{netProgram(), "usershare"};
    command.insert(command.end(), arguments.begin(), arguments.end());
    // Untranslated messages, so that the failures can be told apart.
    return runProgram(command, {"LC_ALL=C"}, 64 * 1024, std::chrono::seconds(30));
}

bool contains(const std::string& text, const char* part) { return text.find(part) != std::string::npos; }

std::string lowerAscii(std::string text) {
    for (char& c : text)
        c = lowerAscii(c);
    return text;
}

} // namespace

std::vector<ShareEntry> localShares() {
    const std::string folder = userShareFolder();
    std::unique_ptr<DIR, int (*)(DIR*)> dir(::opendir(folder.c_str()), &::closedir);
    if (!dir)
        return {};
    std::vector<ShareEntry> shares;
    while (const dirent* item = ::readdir(dir.get())) {
        const std::string name = item->d_name;
        // Samba's temporary files start with ':'; dot files are no records.
        if (name.empty() || name[0] == '.' || name[0] == ':' || !isUsableShareName(name))
            continue;
        const std::string file = folder + '/' + name;
        struct stat status {};
        if (::lstat(file.c_str(), &status) != 0 || !S_ISREG(status.st_mode))
            continue;
        if (auto entry = readRecord(file, name))
            shares.push_back(std::move(*entry));
        if (shares.size() >= kMaxShares)
            break;
    }
    std::sort(shares.begin(), shares.end(),
              [](const ShareEntry& a, const ShareEntry& b) { return lowerAscii(a.name) < lowerAscii(b.name); });
    return shares;
}

std::optional<std::string> localSharePath(const std::string& shareName) {
    for (const ShareEntry& share : localShares())
        if (equalsIgnoreAsciiCase(share.name, shareName))
            return share.path;
    return std::nullopt;
}

std::optional<std::string> shareNameSpelling(const std::string& server, const std::string& shareName) {
    // Only this computer's shares can be asked without a client for the protocol.
    const bool local = equalsIgnoreAsciiCase(server, hostName()) || equalsIgnoreAsciiCase(server, "localhost") ||
                       equalsIgnoreAsciiCase(server, fullyQualifiedHostName()) || server == "127.0.0.1";
    if (!local || server.empty())
        return std::nullopt;
    for (const ShareEntry& share : localShares())
        if (equalsIgnoreAsciiCase(share.name, shareName))
            return share.name;
    return std::nullopt;
}

ShareResult addShare(const std::string& shareName, const std::string& path) {
    if (!isUsableShareName(shareName))
        return ShareResult::BadName;
    // The record is line-based: a line break in the path would add lines to it.
    if (!posix::isUsablePath(path) || path[0] != '/' || hasControlCharacter(path) ||
        (path.size() > 1 && path.back() == '/'))
        return ShareResult::Failed;
    // `net usershare add` silently points a name in use at the new folder.
    for (const ShareEntry& share : localShares())
        if (equalsIgnoreAsciiCase(share.name, shareName))
            return share.path == path ? ShareResult::Shared : ShareResult::NameInUse;

    // S-1-1-0 is Everyone; the name "Everyone" would need a running server to resolve.
    const auto result = runNet({"add", shareName, path, "", "S-1-1-0:F"});
    if (!result)
        return ShareResult::Failed;
    if (result->exitCode == 0)
        return ShareResult::Shared;
    const std::string message = lowerAscii(result->errors + result->output);
    if (contains(message, "invalid character") || contains(message, "share name"))
        return ShareResult::BadName;
    if (contains(message, "permission") || contains(message, "not allowed") || contains(message, "access denied"))
        return ShareResult::AccessDenied;
    return ShareResult::Failed;
}

bool removeShare(const std::string& shareName) {
    if (!isUsableShareName(shareName) || !localSharePath(shareName))
        return false;
    const auto result = runNet({"delete", shareName});
    return result && result->exitCode == 0;
}

} // namespace FileSystem::sys
