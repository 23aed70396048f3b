#pragma once

#include <optional>
#include <string>
#include <vector>

/// Where things are on this machine: the current directory and the volumes.
/// Paths come back in the KVL form unless a function says otherwise; a query
/// that fails gives the empty string (or the input, where told), a setter that
/// fails says nothing.
namespace FileSystem::OSPaths {

/// The process's current directory as the system spells it; empty on failure.
std::string getCurrentDirectory();
void setCurrentDirectory(const std::string& path);

/// A process-wide folder that an application may keep as its default working
/// folder; an empty optional clears it.
std::optional<std::string> getDefaultCurrentDirectory();
void setDefaultCurrentDirectory(const std::optional<std::string>& path);

/// The full spelling of an existing path, absolute and normalised; the input
/// unchanged when it does not exist.
std::string getLongPathName(const std::string& path);

/// The mount points of the machine.
std::vector<std::string> getRootPaths();
/// The mount point that holds a path; empty on failure.
std::string getRootPath(const std::string& path);
std::string getVolumeRootFromPath(const std::string& path);
/// The name of the volume (the mounted source) that holds an absolute path.
std::string getVolumeNameFromPath(const std::string& path);
/// The mount points of one volume.
std::vector<std::string> getVolumePathNames(const std::string& volume);
/// All volumes, each once.
std::vector<std::string> getVolumeNames();

// ---- System and special folders ------------------------------------------------
//
// Each special folder can be moved by a variable, read once per process:
// KV_TESSEL_TEMP_DIR, KV_TESSEL_ALLUSERS_HOME_DIR, KV_TESSEL_CURRENT_USER_APP_DIR
// and KV_TESSEL_USER_HOME_DIR.

/// Windows' own folders; empty on systems that have none.
std::string getWindowsDirectory();
std::string getSystemDirectory();

/// A folder that the loading of dynamic libraries searches first; empty when none is set.
std::string getDLLDirectory();
void setDLLDirectory(const std::string& path);
void resetDLLDirectory();

/// The extensions of `PATHEXT` (split at ';'), without dot, lower case, in order.
std::vector<std::string> getExecutableExtensions();

/// Application data of all users: the override, else the system's shared data folder.
std::string getAppFolderAllUsers();
/// Application data of the current user: the override, else the user's data folder.
std::string getAppFolderCurrentUser();
/// The user's documents folder (the override, else the documents folder, else
/// the home folder). With `create`, a documents folder that is named but
/// missing is made.
std::string getHomeFolderUser(bool create);
/// The folder for temporary files: the override, else the system's.
std::string getTemporaryFolderPath();

} // namespace FileSystem::OSPaths
