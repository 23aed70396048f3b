#pragma once

#include <FileSystem/Export.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace FileSystem {

/// Opens shared libraries and finds functions in them. A name that is not
/// absolute is looked for in the folder of `OSPaths::setDLLDirectory`, then in
/// the object's preferred search paths, then in the process's search paths,
/// and last by the system's own search. Nothing here throws: failures give
/// false or null.
class FILESYSTEM_EXPORT DynamicLibraryLinker {
public:
    /// The system's handle of a loaded library (null for none).
    using Handle = void*;
    /// Owns a handle; its deleter closes the library or, for a handle the
    /// object did not open, does nothing.
    using Owner = std::unique_ptr<void, std::function<void(void*)>>;

    /// When the functions of a library are resolved and who sees its symbols.
    enum class OpenMode {
        Now,        ///< resolve every function at load, symbols private to the library
        Lazy,       ///< resolve functions when first called
        NowGlobal,  ///< as Now, symbols available to libraries loaded later
        LazyGlobal, ///< as Lazy, symbols available to libraries loaded later
    };

    /// An object with no library.
    DynamicLibraryLinker() = default;
    /// Moves the library and its ownership; the object moved from holds none.
    ///@{
    DynamicLibraryLinker(DynamicLibraryLinker&&) = default;
    DynamicLibraryLinker& operator=(DynamicLibraryLinker&&) = default;
    ///@}

    /// The handle of the library; null when none is open.
    Handle getHandle() const noexcept { return m_owner.get(); }
    /// True while the object holds a library.
    bool isOpen() const noexcept { return m_owner != nullptr; }
    /// True when this object opened the library and so closes it.
    bool isOpenedByMe() const noexcept { return m_openedByMe; }

    /// Opens a library (an open one is closed first); false when it cannot be
    /// loaded or the name is empty.
    bool open(const std::string& path, OpenMode mode = OpenMode::Now);
    /// Lets go of the library; with `unload` one that this object opened is
    /// also closed. False when nothing was open.
    bool close(bool unload = true);
    /// The path of the open library; empty when none is open.
    std::string getPath() const;
    /// The address of an exported function or variable of the library; null
    /// when there is none or no library is open.
    void* getFunctionPointer(const std::string& name) const;

    /// Closes a handle with `unload` (without it nothing happens and the result
    /// is true); false for a null handle or a failure.
    static bool close(Handle handle, bool unload);
    /// Unloads a loaded library by its path, whoever loaded it.
    static bool forceClose(const std::string& path);

    /// The running program itself; it is never closed.
    static DynamicLibraryLinker fromApplication();
    /// A handle that somebody else owns; it is not closed by this object.
    static DynamicLibraryLinker fromHandle(Handle handle);
    /// Takes over an owner and its way of closing.
    static DynamicLibraryLinker fromHandle(Owner&& owner);
    /// An object that opened `path` (see open()); check isOpen().
    static DynamicLibraryLinker fromFile(const std::string& path, OpenMode mode = OpenMode::Now);

    /// The handle of the running program.
    static Handle getApplicationHandle();
    /// The path a handle was loaded from, in the library's path form; empty for none.
    static std::string getPathFromHandle(Handle handle);
    /// The address of an exported name in the library of `handle`, or in the
    /// running program; null when there is none.
    ///@{
    static void* getFunctionPointer(Handle handle, const std::string& name);
    static void* getApplicationFunctionPointer(const std::string& name);
    ///@}
    /// The loaded module that holds an address (its reference count unchanged);
    /// null for an address in none.
    static Handle getHandleFromAddress(const void* address);
    /// The path of the loaded module that holds an address; empty for none.
    static std::string getPathFromAddress(const void* address);

    /// The object's preferred search paths: `front` puts a path ahead of the
    /// others instead of behind them; removing takes out every copy.
    ///@{
    void addPreferedSearchPath(const std::string& path, bool front = false);
    void removePreferedSearchPath(const std::string& path);
    void setPreferedSearchPaths(const std::vector<std::string>& paths) { m_preferredSearchPaths = paths; }
    const std::vector<std::string>& getPreferedSearchPaths() const noexcept { return m_preferredSearchPaths; }
    ///@}

    /// The process's search paths (s_SearchPaths), used by every object:
    /// `front` puts a path ahead of the others; removing takes out every copy.
    /// Not guarded against use from several threads at once.
    ///@{
    static void addSearchPath(const std::string& path, bool front = false);
    static void removeSearchPath(const std::string& path);
    static void setSearchPaths(const std::vector<std::string>& paths);
    static std::vector<std::string> getSearchPaths();
    ///@}

    /// The search paths of the process, set up before libraries are loaded.
    static std::vector<std::string> s_SearchPaths;

private:
    Owner m_owner;
    bool m_openedByMe = false;
    std::vector<std::string> m_preferredSearchPaths;
};

/// Replaces search paths for the length of a scope and puts the old ones back.
class FILESYSTEM_EXPORT OverrideSearchPaths {
public:
    /// The process's search paths.
    explicit OverrideSearchPaths(const std::vector<std::string>& searchPaths);
    /// A linker's preferred search paths (the process's paths are kept too);
    /// the linker must outlive this object.
    OverrideSearchPaths(DynamicLibraryLinker& linker, const std::vector<std::string>& preferredSearchPaths);
    /// Puts back the paths as they were.
    ~OverrideSearchPaths();
    OverrideSearchPaths(const OverrideSearchPaths&) = delete;
    OverrideSearchPaths& operator=(const OverrideSearchPaths&) = delete;

private:
    std::vector<std::string> m_searchPaths;
    DynamicLibraryLinker* m_linker = nullptr;
    std::vector<std::string> m_preferredSearchPaths;
};

} // namespace FileSystem
