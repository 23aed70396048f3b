#pragma once

#include <FileSystem/Export.h>

#include <optional>
#include <string>
#include <vector>

/// Where things are on this machine: the current directory, the volumes and the
/// special folders.
///
/// Paths come back in the KVL form unless a function says otherwise. Nothing
/// here throws: a query that fails gives the empty string (or the input, where
/// told), and a setter that fails says nothing.
namespace FileSystem::OSPaths {

/// The process's current directory as the system spells it; empty on failure.
FILESYSTEM_EXPORT std::string getCurrentDirectory();
/// Changes the process's current directory; nothing happens when the system refuses.
FILESYSTEM_EXPORT void setCurrentDirectory(const std::string& path);

/// A process-wide folder that an application may keep as its default working
/// folder, stored in the system's form (absolute and normalised); empty until
/// set. Setting an empty optional clears it. Safe to use from several threads.
///@{
FILESYSTEM_EXPORT std::optional<std::string> getDefaultCurrentDirectory();
FILESYSTEM_EXPORT void setDefaultCurrentDirectory(const std::optional<std::string>& path);
///@}

/// The full spelling of an existing path, absolute and normalised; the input
/// unchanged when it does not exist or is empty.
FILESYSTEM_EXPORT std::string getLongPathName(const std::string& path);

/// The mount points of the machine, each once, in the order of the mount table.
FILESYSTEM_EXPORT std::vector<std::string> getRootPaths();
/// The mount point that holds a path; empty for an empty path or on failure.
///@{
FILESYSTEM_EXPORT std::string getRootPath(const std::string& path);
FILESYSTEM_EXPORT std::string getVolumeRootFromPath(const std::string& path);
///@}
/// The name of the volume (the mounted source, such as "/dev/sda1") that holds
/// an absolute path; empty for a relative or network path and on failure.
FILESYSTEM_EXPORT std::string getVolumeNameFromPath(const std::string& path);
/// The mount points of one volume, each once; empty for an unknown or empty name.
FILESYSTEM_EXPORT std::vector<std::string> getVolumePathNames(const std::string& volume);
/// All volumes (mounted sources), each once.
FILESYSTEM_EXPORT std::vector<std::string> getVolumeNames();

// ---- System and special folders ------------------------------------------------
//
// Each special folder can be moved by a variable, read once per process:
// KV_TESSEL_TEMP_DIR, KV_TESSEL_ALLUSERS_HOME_DIR, KV_TESSEL_CURRENT_USER_APP_DIR
// and KV_TESSEL_USER_HOME_DIR.

/// Windows' own folder and its system folder; always empty on this system,
/// which has none.
///@{
FILESYSTEM_EXPORT std::string getWindowsDirectory();
FILESYSTEM_EXPORT std::string getSystemDirectory();
///@}

/// A folder that DynamicLibraryLinker searches first for a library given by a
/// name that is not absolute; empty when none is set. Setting an empty path or
/// resetting clears it. Safe to use from several threads.
///@{
FILESYSTEM_EXPORT std::string getDLLDirectory();
FILESYSTEM_EXPORT void setDLLDirectory(const std::string& path);
FILESYSTEM_EXPORT void resetDLLDirectory();
///@}

/// The extensions of `PATHEXT` (split at ';'): the text after each item's last
/// dot, lower case, in order; items without an extension are skipped. Empty
/// when the variable is not set, as it normally is not on this system.
FILESYSTEM_EXPORT std::vector<std::string> getExecutableExtensions();

/// Application data of all users: KV_TESSEL_ALLUSERS_HOME_DIR, else the first
/// folder of `XDG_DATA_DIRS`, else "/usr/local/share".
FILESYSTEM_EXPORT std::string getAppFolderAllUsers();
/// Application data of the current user: KV_TESSEL_CURRENT_USER_APP_DIR, else
/// `XDG_DATA_HOME`, else "~/.local/share"; empty when no home folder is known.
FILESYSTEM_EXPORT std::string getAppFolderCurrentUser();
/// The user's documents folder: KV_TESSEL_USER_HOME_DIR, else the documents
/// folder that the user's folder settings name, else the home folder. With
/// `create`, a documents folder that is named but missing is made.
FILESYSTEM_EXPORT std::string getHomeFolderUser(bool create);
/// The folder for temporary files: KV_TESSEL_TEMP_DIR, else `TMPDIR`, else "/tmp".
FILESYSTEM_EXPORT std::string getTemporaryFolderPath();

} // namespace FileSystem::OSPaths
