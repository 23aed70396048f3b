#pragma once

// A scratch folder for fuzz targets that go through files.

#include <FileSystem/files/TemporaryFile.h>

#include <cstdlib>
#include <filesystem>
#include <string>

namespace Fuzz {

/// A folder of the fuzz program's own, made at the first call with `tag` in
/// its name and removed at exit with std::filesystem: the library's own
/// removal is not used from exit handlers, which run after the thread's
/// storage of the platform layer is gone.
inline const std::string& scratch(const char* tag) {
    // Never destroyed, so the exit handler can still read it.
    static const std::string* const path = [tag] {
        FileSystem::TemporaryDirectory folder(tag);
        folder.setDeleteOnDestruction(false);
        std::atexit([] {
            std::error_code ignored;
            std::filesystem::remove_all(Fuzz::scratch(""), ignored);
        });
        return new std::string(folder.getPath());
    }();
    return *path;
}

} // namespace Fuzz
