#include <FileSystem/platform/Mounts.h>
#include <FileSystem/platform/posix/Native.h>

#include <climits>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <sstream>

namespace FileSystem::sys {

namespace {

/// Undoes the octal escapes (\040 for a space, ...) of the kernel's mount lists.
std::string decodeMountField(const std::string& field) {
    std::string out;
    out.reserve(field.size());
    for (std::size_t i = 0; i < field.size(); ++i) {
        if (field[i] == '\\' && i + 3 < field.size()) {
            const char a = field[i + 1], b = field[i + 2], c = field[i + 3];
            if (a >= '0' && a <= '3' && b >= '0' && b <= '7' && c >= '0' && c <= '7') {
                out += char((a - '0') * 64 + (b - '0') * 8 + (c - '0'));
                i += 3;
                continue;
            }
        }
        out += field[i];
    }
    return out;
}

/// /proc/self/mountinfo: "id parent major:minor root mountpoint options
/// [optional fields] - type source superoptions".
std::vector<MountEntry> readMountInfo(std::istream& in) {
    std::vector<MountEntry> table;
    std::string line;
    while (std::getline(in, line)) {
        std::istringstream fields(line);
        std::string id, parent, device, root, mountPoint, options, word;
        if (!(fields >> id >> parent >> device >> root >> mountPoint >> options))
            continue;
        while (fields >> word && word != "-") {
        }
        MountEntry entry;
        if (word != "-" || !(fields >> entry.type >> entry.source))
            continue;
        std::string superOptions;
        fields >> superOptions;
        entry.options = decodeMountField(superOptions.empty() ? options : options + ',' + superOptions);
        entry.mountPoint = decodeMountField(mountPoint);
        entry.source = decodeMountField(entry.source);
        entry.type = decodeMountField(entry.type);
        table.push_back(std::move(entry));
    }
    return table;
}

/// /proc/self/mounts and /etc/mtab: "source mountpoint type options dump pass".
std::vector<MountEntry> readMounts(std::istream& in) {
    std::vector<MountEntry> table;
    std::string line;
    while (std::getline(in, line)) {
        std::istringstream fields(line);
        MountEntry entry;
        if (!(fields >> entry.source >> entry.mountPoint >> entry.type))
            continue;
        fields >> entry.options;
        entry.options = decodeMountField(entry.options);
        entry.source = decodeMountField(entry.source);
        entry.mountPoint = decodeMountField(entry.mountPoint);
        table.push_back(std::move(entry));
    }
    return table;
}

/// Whether `path` (absolute, normalised) lies at or below `mountPoint`.
bool holds(const std::string& mountPoint, const std::string& path) {
    if (mountPoint == "/")
        return true;
    return path.compare(0, mountPoint.size(), mountPoint) == 0 &&
           (path.size() == mountPoint.size() || path[mountPoint.size()] == '/');
}

/// The real path of the nearest existing part of `path`, with the part that
/// does not exist appended as written.
std::string resolveExisting(const std::string& path) {
    std::string head = path;
    std::string tail;
    for (;;) {
        std::unique_ptr<char, decltype(&std::free)> real(::realpath(head.c_str(), nullptr), &std::free);
        if (real) {
            const std::string resolved = real.get();
            return resolved == "/" && !tail.empty() ? tail : resolved + tail;
        }
        const std::size_t slash = head.find_last_of('/');
        if (slash == std::string::npos || head == "/")
            return path;
        tail = head.substr(slash) + tail;
        head = slash == 0 ? "/" : head.substr(0, slash);
    }
}

} // namespace

std::vector<MountEntry> mountTable() {
    {
        std::ifstream info("/proc/self/mountinfo");
        if (info) {
            auto table = readMountInfo(info);
            if (!table.empty())
                return table;
        }
    }
    for (const char* file : {"/proc/self/mounts", "/etc/mtab"}) {
        std::ifstream mounts(file);
        if (mounts) {
            auto table = readMounts(mounts);
            if (!table.empty())
                return table;
        }
    }
    return {};
}

std::optional<MountEntry> mountHolding(const std::string& nativePath) {
    if (!posix::isUsablePath(nativePath) || nativePath.front() != '/')
        return std::nullopt;
    const std::string path = resolveExisting(nativePath);
    std::optional<MountEntry> best;
    // Later mounts cover earlier ones at the same place, so the last longest match wins.
    for (auto& entry : mountTable()) {
        if (!holds(entry.mountPoint, path))
            continue;
        if (!best || entry.mountPoint.size() >= best->mountPoint.size())
            best = std::move(entry);
    }
    return best;
}

std::string resolvedPath(const std::string& nativePath) {
    if (!posix::isUsablePath(nativePath) || nativePath.front() != '/')
        return nativePath;
    return resolveExisting(nativePath);
}

} // namespace FileSystem::sys
