#include <FileSystem/files/Directory.h>

#include <FileSystem/files/File.h>
#include <FileSystem/paths/Path.h>
#include <FileSystem/paths/PathConverterBase.h>
#include <FileSystem/platform/Files.h>

#include <vector>

namespace FileSystem {

bool Directory::exists(const std::string& path) {
    const auto attributes = sys::attributes(toSystemPath(path));
    return attributes && attributes->directory;
}

bool Directory::isDirectory(const std::string& path, bool) { return exists(path); }

bool Directory::canRead(const std::string& path) {
    if (!File::isDirectory(path, true))
        return File::canRead(path);
    const std::string native = toSystemPath(path);
    const auto attributes = sys::attributes(native);
    return sys::canAccessDirectory(native, false) && attributes && !attributes->readOnly;
}

bool Directory::canWrite(const std::string& path) {
    if (!File::isDirectory(path, true))
        return File::canWrite(path);
    const std::string native = toSystemPath(path);
    const auto attributes = sys::attributes(native);
    return sys::canAccessDirectory(native, true) && attributes && !attributes->readOnly;
}

bool Directory::create(const std::string& path, bool failIfExists, bool recursive) {
    if (!recursive)
        return sys::createDirectory(toSystemPath(path));
    const std::string target = Path::stripTrailingSlash(path);
    if (exists(target))
        return !failIfExists;
    // The target and every missing folder above it, from the bottom up.
    std::vector<std::string> missing;
    for (std::string level = target; !level.empty() && !File::exists(level); level = Path::stripLastToken(level))
        missing.push_back(level);
    bool result = false;
    for (auto it = missing.rbegin(); it != missing.rend(); ++it)
        result = sys::createDirectory(toSystemPath(*it));
    return result;
}

bool Directory::create(const char* path, bool failIfExists, bool recursive) {
    return create(std::string(path ? path : ""), failIfExists, recursive);
}

bool Directory::rename(const std::string& oldPath, const std::string& newPath) {
    return !oldPath.empty() && !newPath.empty() &&
           sys::renameNoReplace(toSystemPath(oldPath), toSystemPath(newPath)) == sys::RenameResult::Done;
}

bool Directory::getData(const std::string& path, FileTime& created, FileTime& modified, FileTime& accessed) {
    const auto data = sys::fileData(toSystemPath(path));
    if (!data) {
        created = modified = accessed = FileTime{};
        return false;
    }
    created = {data->created.seconds, data->created.nanoseconds};
    modified = {data->modified.seconds, data->modified.nanoseconds};
    accessed = {data->accessed.seconds, data->accessed.nanoseconds};
    return true;
}

bool Directory::getData(const std::string& path, FileTime& created) {
    FileTime modified, accessed;
    return getData(path, created, modified, accessed);
}

bool Directory::getData(const std::string& path, FileTime& created, FileTime& modified) {
    FileTime accessed;
    return getData(path, created, modified, accessed);
}

bool Directory::getData(const std::string& path, std::int64_t& created, std::int64_t& modified,
                        std::int64_t& accessed) {
    FileTime c, m, a;
    const bool result = getData(path, c, m, a);
    created = c.seconds;
    modified = m.seconds;
    accessed = a.seconds;
    return result;
}

bool Directory::getData(const std::string& path, std::int64_t& created) {
    std::int64_t modified = 0, accessed = 0;
    return getData(path, created, modified, accessed);
}

bool Directory::getData(const std::string& path, std::int64_t& created, std::int64_t& modified) {
    std::int64_t accessed = 0;
    return getData(path, created, modified, accessed);
}

bool Directory::setData(const std::string& path, const std::optional<FileTime>& modified,
                        const std::optional<FileTime>& accessed) {
    return File::setData(path, modified, accessed);
}

bool Directory::isSymbolicLink(const std::string& path) { return File::isSymbolicLink(path); }

std::string Directory::getSymbolicLinkTarget(const std::string& path) { return File::getSymbolicLinkTarget(path); }

} // namespace FileSystem
