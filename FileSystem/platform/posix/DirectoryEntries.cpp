#include <FileSystem/platform/DirectoryEntries.h>
#include <FileSystem/platform/posix/Native.h>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace FileSystem::sys {

std::optional<std::vector<DirectoryEntry>> readDirectory(const std::string& path) {
    if (!posix::isUsablePath(path))
        return std::nullopt;
    DIR* dir = ::opendir(path.c_str());
    if (dir == nullptr)
        recordError("opendir", path);
    if (dir == nullptr)
        return std::nullopt;
    std::vector<DirectoryEntry> entries;
    while (const dirent* entry = ::readdir(dir)) {
        DirectoryEntry::Kind kind = DirectoryEntry::Kind::Other;
        switch (entry->d_type) {
        case DT_DIR:
            kind = DirectoryEntry::Kind::Directory;
            break;
        case DT_LNK:
            kind = DirectoryEntry::Kind::SymbolicLink;
            break;
        case DT_UNKNOWN:
            kind = DirectoryEntry::Kind::Unknown;
            break;
        default:
            break;
        }
        entries.push_back({entry->d_name, kind});
    }
    ::closedir(dir);
    return entries;
}

bool removeDirectory(const std::string& path) {
    return posix::isUsablePath(path) && posix::recorded("rmdir", path, [&] { return ::rmdir(path.c_str()); }) == 0;
}

bool createSymbolicLink(const std::string& target, const std::string& link) {
    return posix::isUsablePath(link) && target.find('\0') == std::string::npos && !target.empty() &&
           posix::recorded("symlink", link, [&] { return ::symlink(target.c_str(), link.c_str()); }) == 0;
}

bool isExecutableFile(const std::string& path) {
    struct stat st {};
    return posix::isUsablePath(path) && ::stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode) &&
           ::faccessat(AT_FDCWD, path.c_str(), X_OK, AT_EACCESS) == 0;
}

} // namespace FileSystem::sys
