#include <FileSystem/platform/DynamicLibraries.h>
#include <FileSystem/platform/Process.h>
#include <FileSystem/platform/posix/Native.h>

#include <dlfcn.h>
#include <link.h>

namespace FileSystem::sys {

void* openLibrary(const std::string& path, LibraryOpenMode mode) {
    if (!posix::isUsablePath(path))
        return nullptr;
    return ::dlopen(path.c_str(), (mode.lazy ? RTLD_LAZY : RTLD_NOW) | (mode.global ? RTLD_GLOBAL : RTLD_LOCAL));
}

bool closeLibrary(void* handle) { return handle != nullptr && ::dlclose(handle) == 0; }

void* findSymbol(void* handle, const std::string& name) {
    if (handle == nullptr || name.find('\0') != std::string::npos)
        return nullptr;
    return ::dlsym(handle, name.c_str());
}

std::string libraryPath(void* handle) {
    if (handle == nullptr)
        return {};
    struct link_map* map = nullptr;
    if (::dlinfo(handle, RTLD_DI_LINKMAP, &map) != 0 || map == nullptr)
        return {};
    // The main program's entry has no name of its own.
    if (map->l_name == nullptr || map->l_name[0] == '\0')
        return executablePath();
    return map->l_name;
}

void* mainProgramHandle() {
    static void* const handle = ::dlopen(nullptr, RTLD_NOW);
    return handle;
}

void* libraryHandleFromAddress(const void* address) {
    Dl_info info{};
    struct link_map* map = nullptr;
    if (address == nullptr ||
        ::dladdr1(address, &info, reinterpret_cast<void**>(&map), RTLD_DL_LINKMAP) == 0 || map == nullptr)
        return nullptr;
    return map; // glibc's handles are its link maps
}

bool forceUnload(const std::string& path) {
    if (!posix::isUsablePath(path))
        return false;
    void* handle = ::dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD);
    if (handle == nullptr)
        return false;
    ::dlclose(handle); // the reference just taken
    return ::dlclose(handle) == 0;
}

} // namespace FileSystem::sys
