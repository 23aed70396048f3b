#pragma once

// Who the running application is: its command line, its executable and
// folder, its process, and whether it runs from a development tree. The
// application registers its command line once at start.

#include <FileSystem/environment/EnvironmentVariableModel.h>

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace FileSystem {

/// Stores the application's arguments, the current directory and `argc`/`argv`;
/// the first call wins. The arguments are taken from the process's own command
/// line as the system recorded it (so they come back exactly as received).
const std::vector<std::string>& initApplicationArguments(int argc, char** argv);
/// Replaces the stored arguments (an empty vector makes the application
/// uninitialised again); the raw arguments and the start directory stay.
const std::vector<std::string>& initApplicationArguments(const std::vector<std::string>& arguments);
bool initApplicationReady();

/// The running executable, in the library's path form.
std::string getApplication();
/// Its file name, with and without extension.
std::string getApplicationFile();
std::string getApplicationName();
/// The executable's folder. Throws std::logic_error("initApplicationArguments
/// not invoked") when it must be searched and no arguments are stored.
std::string getApplicationDirectory();
const std::vector<std::string>& getApplicationArguments();
/// What was passed to `initApplicationArguments(argc, argv)`.
std::pair<int, char**> getAppicationRawArguments();
std::int64_t getApplicationPid();
std::int64_t getParentApplicationPid();
std::optional<std::int64_t> getSessionId();
bool isRunningAsService();

/// Nothing to undo on this system: these change nothing and return false.
bool stripWrapperAddedPathsFromEnvironment();
bool stripWrapperAddedPathsFromEnvironment(EnvironmentVariableModelAbstract& environment);
bool stripWrapperAddedPathsFromVariableValues(std::string& value);
/// Nothing to configure on this system.
void configureDefaultFilePermissions();

/// Whether INDEVSTUDIO (resp. DEVROOT) is set; DEVROOT's value. Read once per process.
bool inDevStudio();
bool inDevEnvironment();
std::string devRoot();

} // namespace FileSystem

/// Static access to the application's environment and installation.
class RuntimeEnvironment {
public:
    static RuntimeEnvironment& get();

    static bool hasEnvironmentVariable(const std::string& name);
    static std::string getEnvironmentVariable(const std::string& name, const std::string& defaultValue);
    static void setEnvironmentVariable(const std::string& name, const std::string& value, bool persistent);

    static std::string username();
    static std::string computername();
    static std::string userdomain();
    static unsigned int numberOfProcessors();

    static std::string devRoot();
    static bool inDevStudio();
    static bool inDevEnvironment();
    /// Whether the desktop asks for dark colours.
    static bool isOSDarkMode();

    /// Where the application is installed (in a development tree DEVROOT +
    /// "/source/Application"). Throws std::logic_error("init application has to
    /// be invoked first") before initApplicationArguments.
    static std::string installPath();
    /// The executable's folder; the same error before initialisation.
    static std::string pluginPath();
    static std::string servicePath();

private:
    RuntimeEnvironment() = default;
};
