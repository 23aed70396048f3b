#include <FileSystem/paths/OSPaths.h>

#include <FileSystem/paths/Path.h>
#include <FileSystem/paths/PathConverterBase.h>
#include <FileSystem/platform/CurrentDirectory.h>
#include <FileSystem/platform/Mounts.h>
#include <FileSystem/platform/Status.h>

#include <algorithm>
#include <mutex>

namespace FileSystem::OSPaths {

namespace {

std::mutex& defaultDirectoryMutex() {
    static std::mutex mutex;
    return mutex;
}

std::optional<std::string>& defaultDirectory() {
    static std::optional<std::string> value;
    return value;
}

} // namespace

std::string getCurrentDirectory() { return sys::currentDirectory(); }

void setCurrentDirectory(const std::string& path) { sys::setCurrentDirectory(PathConverter::fromKVLPath(path, false)); }

std::optional<std::string> getDefaultCurrentDirectory() {
    std::lock_guard lock(defaultDirectoryMutex());
    return defaultDirectory();
}

void setDefaultCurrentDirectory(const std::optional<std::string>& path) {
    std::lock_guard lock(defaultDirectoryMutex());
    if (path)
        defaultDirectory() = PathConverter::fromKVLPath(*path, false);
    else
        defaultDirectory().reset();
}

std::string getLongPathName(const std::string& path) {
    if (path.empty())
        return path;
    const std::string native = LongPathConverter::fromKVLPath(path, false);
    if (!sys::pathExists(native))
        return path;
    return LongPathConverter::toKVLPath(native);
}

std::vector<std::string> getRootPaths() {
    std::vector<std::string> roots;
    for (const sys::MountEntry& entry : sys::mountTable()) {
        std::string root = PathConverter::toKVLPath(entry.mountPoint);
        if (std::find(roots.begin(), roots.end(), root) == roots.end())
            roots.push_back(std::move(root));
    }
    return roots;
}

std::string getRootPath(const std::string& path) {
    if (path.empty())
        return {};
    const auto mount = sys::mountHolding(PathConverter::fromKVLPath(path, false));
    return mount ? PathConverter::toKVLPath(mount->mountPoint) : std::string();
}

std::string getVolumeRootFromPath(const std::string& path) { return getRootPath(path); }

std::string getVolumeNameFromPath(const std::string& path) {
    if (!Path::isAbsolutePath(path) || Path::UNCPrefixLength(path) >= 2)
        return {};
    const auto mount = sys::mountHolding(PathConverter::fromKVLPath(path, false));
    return mount ? mount->source : std::string();
}

std::vector<std::string> getVolumePathNames(const std::string& volume) {
    std::vector<std::string> paths;
    if (volume.empty())
        return paths;
    for (const sys::MountEntry& entry : sys::mountTable()) {
        if (entry.source != volume)
            continue;
        std::string mountPoint = PathConverter::toKVLPath(entry.mountPoint);
        if (std::find(paths.begin(), paths.end(), mountPoint) == paths.end())
            paths.push_back(std::move(mountPoint));
    }
    return paths;
}

std::vector<std::string> getVolumeNames() {
    std::vector<std::string> names;
    for (const sys::MountEntry& entry : sys::mountTable())
        if (std::find(names.begin(), names.end(), entry.source) == names.end())
            names.push_back(entry.source);
    return names;
}

} // namespace FileSystem::OSPaths
