#pragma once

// The rules by which a local path gets the name that other machines reach it
// by, as pure functions of the mount table and the list of local shares, so
// that they can be tried with any table.

#include <FileSystem/platform/Mounts.h>
#include <FileSystem/platform/Shares.h>

#include <optional>
#include <string>
#include <vector>

namespace FileSystem::detail {

/// File system types of SMB (Windows) network mounts: "cifs", "smb3", "smbfs".
bool isSMBMountType(const std::string& type);
/// File system types of NFS mounts: "nfs", "nfs4".
bool isNFSMountType(const std::string& type);

/// The server's name for an absolute path (forward slashes, normalised) when
/// the mount that holds it is a network mount: `//server/share/rest` for SMB,
/// `host:/export/rest` for NFS. Of the mounts that hold the path the longest
/// mount point counts, and of equal ones the later. Empty otherwise.
std::optional<std::string> universalNameOnMount(const std::string& path, const std::vector<sys::MountEntry>& mounts);

/// `//computer/share/rest` for an absolute path at or below a shared folder;
/// the share with the longest folder wins, then the first. Names holding '$'
/// (hidden, administrative shares) are never chosen. Empty when no share holds
/// the path or the computer's name is unknown.
std::optional<std::string> universalNameOnShare(const std::string& path, const std::vector<sys::ShareEntry>& shares,
                                                const std::string& computer);

/// The mount rule, else the share rule.
std::optional<std::string> universalName(const std::string& path, const std::vector<sys::MountEntry>& mounts,
                                         const std::vector<sys::ShareEntry>& shares, const std::string& computer);

} // namespace FileSystem::detail
