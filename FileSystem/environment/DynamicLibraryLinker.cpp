#include <FileSystem/environment/DynamicLibraryLinker.h>

#include <FileSystem/paths/OSPaths.h>
#include <FileSystem/paths/Path.h>
#include <FileSystem/paths/PathConverterBase.h>
#include <FileSystem/platform/DynamicLibraries.h>

#include <algorithm>

namespace FileSystem {

std::vector<std::string> DynamicLibraryLinker::s_SearchPaths;

namespace {

sys::LibraryOpenMode toPlatform(DynamicLibraryLinker::OpenMode mode) {
    using Mode = DynamicLibraryLinker::OpenMode;
    return {mode == Mode::Lazy || mode == Mode::LazyGlobal, mode == Mode::NowGlobal || mode == Mode::LazyGlobal};
}

void* loadFrom(const std::string& path, DynamicLibraryLinker::OpenMode mode) {
    return sys::openLibrary(PathConverter::fromKVLPath(path, false), toPlatform(mode));
}

/// A library by name: an absolute path directly; otherwise each search folder
/// in turn, and last the system's own search with the bare name.
void* openLibrary(const std::string& name, const std::vector<std::string>& preferred,
                  DynamicLibraryLinker::OpenMode mode) {
    if (name.empty())
        return nullptr;
    if (Path::isAbsolutePath(name))
        return loadFrom(name, mode);
    std::vector<std::string> folders;
    if (const std::string dllFolder = OSPaths::getDLLDirectory(); !dllFolder.empty())
        folders.push_back(dllFolder);
    folders.insert(folders.end(), preferred.begin(), preferred.end());
    folders.insert(folders.end(), DynamicLibraryLinker::s_SearchPaths.begin(), DynamicLibraryLinker::s_SearchPaths.end());
    for (const std::string& folder : folders) {
        if (folder.empty())
            continue;
        if (void* handle = loadFrom(Path::stripTrailingSlash(folder) + "/" + name, mode))
            return handle;
    }
    return sys::openLibrary(name, toPlatform(mode));
}

void addTo(std::vector<std::string>& list, const std::string& path, bool front) {
    list.insert(front ? list.begin() : list.end(), path);
}

void removeFrom(std::vector<std::string>& list, const std::string& path) {
    list.erase(std::remove(list.begin(), list.end(), path), list.end());
}

} // namespace

bool DynamicLibraryLinker::open(const std::string& path, OpenMode mode) {
    close(true);
    void* handle = openLibrary(path, m_preferredSearchPaths, mode);
    if (handle == nullptr)
        return false;
    m_owner = Owner(handle, [](void* h) { sys::closeLibrary(h); });
    m_openedByMe = true;
    return true;
}

bool DynamicLibraryLinker::close(bool unload) {
    if (!m_owner)
        return false;
    if (!unload || !m_openedByMe)
        m_owner.release(); // let go without closing
    else
        m_owner.reset();
    m_openedByMe = false;
    return true;
}

std::string DynamicLibraryLinker::getPath() const { return getPathFromHandle(getHandle()); }

void* DynamicLibraryLinker::getFunctionPointer(const std::string& name) const {
    return getFunctionPointer(getHandle(), name);
}

bool DynamicLibraryLinker::close(Handle handle, bool unload) {
    if (handle == nullptr)
        return false;
    return !unload || sys::closeLibrary(handle);
}

bool DynamicLibraryLinker::forceClose(const std::string& path) {
    return sys::forceUnload(PathConverter::fromKVLPath(path, false));
}

DynamicLibraryLinker DynamicLibraryLinker::fromApplication() { return fromHandle(getApplicationHandle()); }

DynamicLibraryLinker DynamicLibraryLinker::fromHandle(Handle handle) {
    DynamicLibraryLinker linker;
    if (handle != nullptr)
        linker.m_owner = Owner(handle, [](void*) {});
    return linker;
}

DynamicLibraryLinker DynamicLibraryLinker::fromHandle(Owner&& owner) {
    DynamicLibraryLinker linker;
    linker.m_owner = std::move(owner);
    linker.m_openedByMe = linker.m_owner != nullptr;
    return linker;
}

DynamicLibraryLinker DynamicLibraryLinker::fromFile(const std::string& path, OpenMode mode) {
    DynamicLibraryLinker linker;
    linker.open(path, mode);
    return linker;
}

DynamicLibraryLinker::Handle DynamicLibraryLinker::getApplicationHandle() { return sys::mainProgramHandle(); }

std::string DynamicLibraryLinker::getPathFromHandle(Handle handle) {
    return PathConverter::toKVLPath(sys::libraryPath(handle));
}

void* DynamicLibraryLinker::getFunctionPointer(Handle handle, const std::string& name) {
    return sys::findSymbol(handle, name);
}

void* DynamicLibraryLinker::getApplicationFunctionPointer(const std::string& name) {
    return getFunctionPointer(getApplicationHandle(), name);
}

DynamicLibraryLinker::Handle DynamicLibraryLinker::getHandleFromAddress(const void* address) {
    return sys::libraryHandleFromAddress(address);
}

std::string DynamicLibraryLinker::getPathFromAddress(const void* address) {
    return getPathFromHandle(getHandleFromAddress(address));
}

void DynamicLibraryLinker::addPreferedSearchPath(const std::string& path, bool front) {
    addTo(m_preferredSearchPaths, path, front);
}

void DynamicLibraryLinker::removePreferedSearchPath(const std::string& path) { removeFrom(m_preferredSearchPaths, path); }

void DynamicLibraryLinker::addSearchPath(const std::string& path, bool front) { addTo(s_SearchPaths, path, front); }

void DynamicLibraryLinker::removeSearchPath(const std::string& path) { removeFrom(s_SearchPaths, path); }

void DynamicLibraryLinker::setSearchPaths(const std::vector<std::string>& paths) { s_SearchPaths = paths; }

std::vector<std::string> DynamicLibraryLinker::getSearchPaths() { return s_SearchPaths; }

OverrideSearchPaths::OverrideSearchPaths(const std::vector<std::string>& searchPaths)
    : m_searchPaths(DynamicLibraryLinker::getSearchPaths()) {
    DynamicLibraryLinker::setSearchPaths(searchPaths);
}

OverrideSearchPaths::OverrideSearchPaths(DynamicLibraryLinker& linker, const std::vector<std::string>& preferredSearchPaths)
    : m_searchPaths(DynamicLibraryLinker::getSearchPaths()), m_linker(&linker),
      m_preferredSearchPaths(linker.getPreferedSearchPaths()) {
    linker.setPreferedSearchPaths(preferredSearchPaths);
}

OverrideSearchPaths::~OverrideSearchPaths() {
    DynamicLibraryLinker::setSearchPaths(m_searchPaths);
    if (m_linker != nullptr)
        m_linker->setPreferedSearchPaths(m_preferredSearchPaths);
}

} // namespace FileSystem
