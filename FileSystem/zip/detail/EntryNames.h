#pragma once

// Rules on entry names that decide where an entry would land on extraction
// (internal): shared by extraction, which refuses such names, and renaming,
// which must not make them.

#include <FileSystem/paths/Path.h>

#include <string>
#include <vector>

namespace FileSystem::detail {

/// Whether a relative path climbs above its start through "..".
inline bool leavesItsFolder(const std::string& relative) {
    std::vector<std::string> parts;
    Path::getTokens(Path::makeForwardSlashes(relative), parts);
    int depth = 0;
    for (const std::string& part : parts) {
        if (part == "..") {
            if (--depth < 0)
                return true;
        } else if (part != ".") {
            ++depth;
        }
    }
    return false;
}

/// Whether a name starts at the root or names a drive.
inline bool isRootedOrDrive(const std::string& name) {
    return (!name.empty() && (name[0] == '/' || name[0] == '\\')) || (name.size() >= 2 && name[1] == ':');
}

/// Whether a name given for a new entry would land outside the target of an
/// extraction: leading slashes are dropped (as adds drop them), then a drive
/// or a ".." that climbs out remains.
inline bool escapesOnExtraction(const std::string& name) {
    const std::string relative = Path::stripLeadingSlash(name);
    return isRootedOrDrive(relative) || leavesItsFolder(relative);
}

} // namespace FileSystem::detail
