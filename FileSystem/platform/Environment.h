#pragma once

// The live environment of the process and the machine-wide store of variables.

#include <optional>
#include <string>
#include <vector>

namespace FileSystem::sys {

/// The value of a variable; empty when it is not set (or the name cannot be one).
std::optional<std::string> environmentVariable(const std::string& name);

/// Sets a variable; 0, or the system's error number.
int setEnvironmentVariable(const std::string& name, const std::string& value);

/// Removes a variable; 0, or the system's error number.
int unsetEnvironmentVariable(const std::string& name);

/// Every "name=value" string of the environment, in its order.
std::vector<std::string> environmentStrings();

/// The file in which the machine keeps variables for every login.
std::string persistentEnvironmentFile();

/// Replaces, adds or (for an empty value) removes the line of a variable in an
/// environment file of "NAME=value" lines. The file is rewritten under a
/// temporary name and renamed into place. False when it cannot be done.
bool updateEnvironmentFile(const std::string& file, const std::string& name, const std::string& value);

// Where this system keeps the special folders when nothing overrides them.
std::string defaultTemporaryFolder();
std::string defaultAllUsersAppFolder();
std::string defaultCurrentUserAppFolder();
/// The user's documents folder, else the home folder; with `create` a
/// documents folder that is named but missing is made.
std::string defaultUserDocumentsFolder(bool create);

} // namespace FileSystem::sys
