#include <FileSystem/platform/DirectoryEntries.h>
#include <FileSystem/platform/posix/Native.h>

#include <cstring>
#include <dirent.h>

namespace FileSystem::sys {

std::optional<std::vector<std::string>> directoryEntryNames(const std::string& nativePath) {
    if (!posix::isUsablePath(nativePath))
        return std::nullopt;
    DIR* dir = ::opendir(nativePath.c_str());
    if (dir == nullptr)
        return std::nullopt;
    std::vector<std::string> names;
    while (const dirent* entry = ::readdir(dir)) {
        if (std::strcmp(entry->d_name, ".") == 0 || std::strcmp(entry->d_name, "..") == 0)
            continue;
        names.emplace_back(entry->d_name);
    }
    ::closedir(dir);
    return names;
}

} // namespace FileSystem::sys
