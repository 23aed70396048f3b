#include <FileSystem/files/Directory.h>

#include <FileSystem/files/File.h>
#include <FileSystem/paths/Path.h>
#include <FileSystem/paths/PathConverterBase.h>
#include <FileSystem/platform/Files.h>
#include <FileSystem/platform/Folders.h>


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
    // Level by level in the platform, in time linear in the path's length.
    switch (sys::createFolders(toSystemPath(path))) {
    case sys::FolderCreation::Created:
        return true;
    case sys::FolderCreation::Existed:
        return !failIfExists;
    default:
        return false;
    }
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
