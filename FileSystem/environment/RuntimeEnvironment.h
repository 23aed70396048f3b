#pragma once

// Who the running application is: its command line, its executable and
// folder, its process, and whether it runs from a development tree. The
// application registers its command line once at start.

#include <FileSystem/Export.h>
#include <FileSystem/environment/EnvironmentVariableModel.h>

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace FileSystem {

/// Stores the application's arguments, the current directory and `argc`/`argv`;
/// the first call wins (later calls change nothing and give the stored
/// arguments). The arguments are taken from the process's own command line as
/// the system recorded it (so they come back exactly as received), else from
/// `argv`. Call it on the main thread before anything asks for the application.
FILESYSTEM_EXPORT const std::vector<std::string>& initApplicationArguments(int argc, char** argv);
/// Replaces the stored arguments (an empty vector makes the application
/// uninitialised again); the raw arguments and the start directory stay.
FILESYSTEM_EXPORT const std::vector<std::string>& initApplicationArguments(const std::vector<std::string>& arguments);
/// True when arguments are stored.
FILESYSTEM_EXPORT bool initApplicationReady();

/// The running executable, in the library's path form (else the first stored
/// argument; empty when neither is known).
FILESYSTEM_EXPORT std::string getApplication();
/// The executable's file name, with and without extension.
///@{
FILESYSTEM_EXPORT std::string getApplicationFile();
FILESYSTEM_EXPORT std::string getApplicationName();
///@}
/// The executable's folder (absolute against the start directory). When the
/// executable is known by a bare name only, it is looked for in the start
/// directory and along `PATH`, and the start directory is the answer when it is
/// found nowhere. Throws std::logic_error("initApplicationArguments not
/// invoked") when it must be searched and no arguments are stored.
FILESYSTEM_EXPORT std::string getApplicationDirectory();
/// The stored arguments, the program first; empty before initApplicationArguments.
FILESYSTEM_EXPORT const std::vector<std::string>& getApplicationArguments();
/// What was passed to `initApplicationArguments(argc, argv)`; 0 and null before.
FILESYSTEM_EXPORT std::pair<int, char**> getAppicationRawArguments();
/// The process's id and its parent's.
///@{
FILESYSTEM_EXPORT std::int64_t getApplicationPid();
FILESYSTEM_EXPORT std::int64_t getParentApplicationPid();
///@}
/// The process's session id; empty when it cannot be read.
FILESYSTEM_EXPORT std::optional<std::int64_t> getSessionId();
/// True when the process has no terminal and was started by the init system or
/// a service manager.
FILESYSTEM_EXPORT bool isRunningAsService();

/// Nothing to undo on this system: these change nothing and return false.
///@{
FILESYSTEM_EXPORT bool stripWrapperAddedPathsFromEnvironment();
FILESYSTEM_EXPORT bool stripWrapperAddedPathsFromEnvironment(EnvironmentVariableModelAbstract& environment);
FILESYSTEM_EXPORT bool stripWrapperAddedPathsFromVariableValues(std::string& value);
///@}
/// Nothing to configure on this system.
FILESYSTEM_EXPORT void configureDefaultFilePermissions();

/// Whether INDEVSTUDIO is set, whether DEVROOT is set, and DEVROOT's value in
/// the library's path form. Each is read once per process.
///@{
FILESYSTEM_EXPORT bool inDevStudio();
FILESYSTEM_EXPORT bool inDevEnvironment();
FILESYSTEM_EXPORT std::string devRoot();
///@}

} // namespace FileSystem

/// Static access to the application's environment and installation.
class FILESYSTEM_EXPORT RuntimeEnvironment {
public:
    /// The one object (all operations are static).
    static RuntimeEnvironment& get();

    /// The live environment's operations (SystemEnvironmentVariables);
    /// setting throws std::runtime_error when the system refuses.
    ///@{
    static bool hasEnvironmentVariable(const std::string& name);
    static std::string getEnvironmentVariable(const std::string& name, const std::string& defaultValue);
    static void setEnvironmentVariable(const std::string& name, const std::string& value, bool persistent);
    ///@}

    /// The facts of MachineInfo of the same names.
    ///@{
    static std::string username();
    static std::string computername();
    static std::string userdomain();
    static unsigned int numberOfProcessors();
    ///@}

    /// The answers of FileSystem::devRoot, FileSystem::inDevStudio and
    /// FileSystem::inDevEnvironment.
    ///@{
    static std::string devRoot();
    static bool inDevStudio();
    static bool inDevEnvironment();
    ///@}
    /// Whether the desktop asks for dark colours (a dark GTK theme).
    static bool isOSDarkMode();

    /// Where the application is installed: the executable's folder, or with
    /// INDEVSTUDIO set DEVROOT + "/source/Application". Throws
    /// std::logic_error("init application has to be invoked first") before
    /// initApplicationArguments.
    static std::string installPath();
    /// The executable's folder; the same error before initialisation.
    ///@{
    static std::string pluginPath();
    static std::string servicePath();
    ///@}

private:
    RuntimeEnvironment() = default;
};
