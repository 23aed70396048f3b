#include <FileSystem/paths/OSPaths.h>

#include <FileSystem/paths/Path.h>
#include <FileSystem/paths/PathConverterBase.h>
#include <FileSystem/environment/EnvironmentVariableModel.h>
#include <FileSystem/platform/CurrentDirectory.h>
#include <FileSystem/platform/Environment.h>
#include <FileSystem/platform/Mounts.h>
#include <FileSystem/platform/Status.h>

#include <FileSystem/utilities/Unicode.h>

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

std::mutex& dllDirectoryMutex() {
    static std::mutex mutex;
    return mutex;
}

std::string& dllDirectory() {
    static std::string value;
    return value;
}

/// The override of a special folder, read once per process, or else the
/// system's folder; in the KVL form.
template <class Fallback>
std::string specialFolder(const std::optional<std::string>& override, Fallback fallback) {
    return PathConverter::toKVLPath(override && !override->empty() ? *override : fallback());
}

std::optional<std::string> readOverride(const char* name) {
    return SystemEnvironmentVariables::instance().getOptionalEnvironmentVariable(name);
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

namespace FileSystem::OSPaths {

std::string getWindowsDirectory() { return {}; }

std::string getSystemDirectory() { return {}; }

std::string getDLLDirectory() {
    std::lock_guard lock(dllDirectoryMutex());
    return PathConverter::toKVLPath(dllDirectory());
}

void setDLLDirectory(const std::string& path) {
    const std::string native = path.empty() ? std::string() : PathConverter::fromKVLPath(path, false);
    std::lock_guard lock(dllDirectoryMutex());
    dllDirectory() = native;
}

void resetDLLDirectory() {
    std::lock_guard lock(dllDirectoryMutex());
    dllDirectory().clear();
}

std::vector<std::string> getExecutableExtensions() {
    std::vector<std::string> extensions;
    const std::string value = SystemEnvironmentVariables::instance().getEnvironmentVariable("PATHEXT", "");
    for (const std::string& item : splitListEnvironmentVariableValue(value, ";")) {
        const std::size_t dot = item.rfind('.');
        // An item without a dot names no extension, and an empty extension no file kind.
        if (dot == std::string::npos || dot + 1 == item.size())
            continue;
        extensions.push_back(Utilities::toLowerUtf8(item.substr(dot + 1)));
    }
    return extensions;
}

std::string getAppFolderAllUsers() {
    static const std::optional<std::string> override = readOverride("KV_TESSEL_ALLUSERS_HOME_DIR");
    return specialFolder(override, sys::defaultAllUsersAppFolder);
}

std::string getAppFolderCurrentUser() {
    static const std::optional<std::string> override = readOverride("KV_TESSEL_CURRENT_USER_APP_DIR");
    return specialFolder(override, sys::defaultCurrentUserAppFolder);
}

std::string getHomeFolderUser(bool create) {
    static const std::optional<std::string> override = readOverride("KV_TESSEL_USER_HOME_DIR");
    return specialFolder(override, [create] { return sys::defaultUserDocumentsFolder(create); });
}

std::string getTemporaryFolderPath() {
    static const std::optional<std::string> override = readOverride("KV_TESSEL_TEMP_DIR");
    return specialFolder(override, sys::defaultTemporaryFolder);
}

} // namespace FileSystem::OSPaths
