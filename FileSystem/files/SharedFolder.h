#pragma once

#include <FileSystem/Export.h>
#include <FileSystem/files/Directory.h>

#include <string>

namespace FileSystem {

/// A folder published as a network share under a name, so that other
/// machines reach it as `//computer/share`. The object stores the path and the
/// name; the share lives until it is deleted (the destructor leaves it).
///
/// On Linux shares are Samba's user shares; without Samba's tools no folder can
/// be shared and none is found shared through a share (one on a network mount
/// still counts as shared).
class FILESYSTEM_EXPORT SharedFolder : public Directory {
public:
    /// An object without a path or a share name.
    SharedFolder() = default;
    /// An object for the folder at `path`, to be shared as `shareName`.
    SharedFolder(const std::string& path, const std::string& shareName)
        : Directory(path), m_shareName(shareName) {}

    /// The share name given to the object.
    virtual std::string getShareName() const { return m_shareName; }
    /// The static createShare() with the object's path and share name.
    virtual bool createShare(std::string& error) const { return createShare(getPath(), m_shareName, error); }
    /// The static deleteShare() with the object's path and share name.
    virtual bool deleteShare() const { return deleteShare(getPath(), m_shareName); }
    /// The static isShared() with the object's path and share name.
    virtual bool isShared() const { return isShared(getPath(), m_shareName); }

    /// Shares the folder at `path` as `shareName`, with full access for
    /// everyone at the share's level (the folder's own permissions stay as
    /// they are). True at once when the folder already counts as shared. On
    /// failure `error` gets one of "Error with the share name" (empty, too
    /// long, or with characters such as `/`, `\`, `:`, `%` or control
    /// characters), "The share name is already in use on this machine.",
    /// "The user does not have permissions to perform this operation." or
    /// "Failed to share folder."; on success it stays untouched. A trailing
    /// slash of the path does not reach the share.
    static bool createShare(const std::string& path, const std::string& shareName, std::string& error);
    /// Removes the share named `shareName` (the path plays no part); false when
    /// there is no such share or it cannot be removed.
    static bool deleteShare(const std::string& path, const std::string& shareName);
    /// Whether the folder is reachable by a network name: shared from this
    /// computer (under any name) or on a network mount. The name is not looked at.
    static bool isShared(const std::string& path, const std::string& shareName);

private:
    std::string m_shareName;
};

} // namespace FileSystem
