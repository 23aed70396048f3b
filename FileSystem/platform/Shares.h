#pragma once

#include <optional>
#include <string>
#include <vector>

namespace FileSystem::sys {

/// The local folder that this computer shares under a name; empty when there
/// is no such share.
std::optional<std::string> localSharePath(const std::string& shareName);

/// The share's name as the server spells it; empty when it cannot be asked.
std::optional<std::string> shareNameSpelling(const std::string& server, const std::string& shareName);

/// One folder that this computer shares.
struct ShareEntry {
    std::string name; ///< the share's name as it was given
    std::string path; ///< the shared folder, absolute
};

/// The folders that this computer shares, ordered by name; empty when there
/// are none or they cannot be read.
std::vector<ShareEntry> localShares();

/// The outcome of publishing a folder.
enum class ShareResult {
    Shared,       ///< the folder is shared under the name
    NameInUse,    ///< another folder is shared under the name
    BadName,      ///< the name cannot be a share's name
    AccessDenied, ///< the user may not share folders
    Failed,       ///< no sharing service, or it failed for another reason
};

/// Shares an existing folder (absolute, without a trailing slash) under a
/// name, with full access for everyone at the share's level.
ShareResult addShare(const std::string& shareName, const std::string& path);

/// Removes the share of that name; false when there is none or it cannot be removed.
bool removeShare(const std::string& shareName);

} // namespace FileSystem::sys
