#pragma once

// Loading shared libraries and finding what they hold.

#include <string>

namespace FileSystem::sys {

struct LibraryOpenMode {
    bool lazy = false;   ///< bind functions when first called instead of at load
    bool global = false; ///< make the library's symbols available to later loads
};

/// A handle of the loaded library; null on failure.
void* openLibrary(const std::string& path, LibraryOpenMode mode);
bool closeLibrary(void* handle);
void* findSymbol(void* handle, const std::string& name);
/// The path from which a library was loaded (the running executable for the
/// main program); empty for an unknown handle.
std::string libraryPath(void* handle);
/// The handle of the main program; it is never unloaded.
void* mainProgramHandle();
/// The handle of the loaded object that holds an address, without a new
/// reference; null when no object holds it.
void* libraryHandleFromAddress(const void* address);
/// Unloads a loaded library by its path, whoever loaded it.
bool forceUnload(const std::string& path);

} // namespace FileSystem::sys
