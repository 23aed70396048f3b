#include <FileSystem/environment/RuntimeEnvironment.h>

#include <FileSystem/environment/DynamicLibraryLinker.h>
#include <FileSystem/environment/MachineInfo.h>
#include <FileSystem/files/File.h>
#include <FileSystem/paths/OSPaths.h>
#include <FileSystem/paths/Path.h>
#include <FileSystem/paths/PathConverterBase.h>
#include <FileSystem/platform/Process.h>
#include <FileSystem/utilities/BuildInfo.h>

#include <stdexcept>

namespace FileSystem {

namespace {

/// What the application registered; written once at start, on the main thread.
struct ApplicationState {
    std::vector<std::string> arguments;
    int argc = 0;
    char** argv = nullptr;
    std::string startDirectory;
};

ApplicationState& state() {
    static ApplicationState application;
    return application;
}

} // namespace

const std::vector<std::string>& initApplicationArguments(int argc, char** argv) {
    ApplicationState& application = state();
    if (!application.arguments.empty())
        return application.arguments;
    application.argc = argc;
    application.argv = argv;
    application.startDirectory = OSPaths::getCurrentDirectory();
    if (auto recorded = sys::commandLineArguments()) {
        application.arguments = std::move(*recorded);
    } else {
        for (int i = 0; i < argc && argv != nullptr && argv[i] != nullptr; ++i)
            application.arguments.emplace_back(argv[i]);
    }
    return application.arguments;
}

const std::vector<std::string>& initApplicationArguments(const std::vector<std::string>& arguments) {
    ApplicationState& application = state();
    if (&arguments != &application.arguments)
        application.arguments = arguments;
    return application.arguments;
}

bool initApplicationReady() { return !state().arguments.empty(); }

std::string getApplication() {
    const std::string path = DynamicLibraryLinker::getPathFromHandle(DynamicLibraryLinker::getApplicationHandle());
    if (!path.empty())
        return path;
    const auto& arguments = state().arguments;
    return arguments.empty() ? std::string() : PathConverter::toKVLPath(arguments.front());
}

std::string getApplicationFile() { return Path::getLastToken(getApplication()); }

std::string getApplicationName() { return Path::stripExtension(getApplicationFile()); }

std::string getApplicationDirectory() {
    const std::string application = getApplication();
    const ApplicationState& current = state();
    const std::string folder = Path::stripLastToken(application);
    if (!folder.empty())
        return Path::makePathAbsolute(folder, current.startDirectory);
    if (current.arguments.empty())
        throw std::logic_error("initApplicationArguments not invoked");
    if (File::exists(current.startDirectory + "/" + application))
        return current.startDirectory;
    const std::string path = SystemEnvironmentVariables::instance().getEnvironmentVariable("PATH", "");
    if (path.empty())
        return current.startDirectory;
    for (const std::string& entry : splitListEnvironmentVariableValue(path, Utilities::buildOperatingSystem()))
        if (!entry.empty() && File::exists(entry + "/" + application))
            return entry;
    return current.startDirectory;
}

const std::vector<std::string>& getApplicationArguments() { return state().arguments; }

std::pair<int, char**> getAppicationRawArguments() { return {state().argc, state().argv}; }

std::int64_t getApplicationPid() { return sys::processId(); }

std::int64_t getParentApplicationPid() { return sys::parentProcessId(); }

std::optional<std::int64_t> getSessionId() { return sys::sessionId(); }

bool isRunningAsService() { return sys::runsAsService(); }

bool stripWrapperAddedPathsFromEnvironment() { return false; }

bool stripWrapperAddedPathsFromEnvironment(EnvironmentVariableModelAbstract&) { return false; }

bool stripWrapperAddedPathsFromVariableValues(std::string&) { return false; }

void configureDefaultFilePermissions() {}

bool inDevStudio() {
    static const bool answer = SystemEnvironmentVariables::instance().hasEnvironmentVariable("INDEVSTUDIO");
    return answer;
}

bool inDevEnvironment() {
    static const bool answer = SystemEnvironmentVariables::instance().hasEnvironmentVariable("DEVROOT");
    return answer;
}

std::string devRoot() {
    static const std::string root =
        PathConverter::toKVLPath(SystemEnvironmentVariables::instance().getEnvironmentVariable("DEVROOT", ""));
    return root;
}

} // namespace FileSystem

// ---- RuntimeEnvironment -------------------------------------------------------------

namespace {

void requireInitialised() {
    if (!FileSystem::initApplicationReady())
        throw std::logic_error("init application has to be invoked first");
}

} // namespace

RuntimeEnvironment& RuntimeEnvironment::get() {
    static RuntimeEnvironment instance;
    return instance;
}

bool RuntimeEnvironment::hasEnvironmentVariable(const std::string& name) {
    return FileSystem::SystemEnvironmentVariables::instance().hasEnvironmentVariable(name);
}

std::string RuntimeEnvironment::getEnvironmentVariable(const std::string& name, const std::string& defaultValue) {
    return FileSystem::SystemEnvironmentVariables::instance().getEnvironmentVariable(name, defaultValue);
}

void RuntimeEnvironment::setEnvironmentVariable(const std::string& name, const std::string& value, bool persistent) {
    FileSystem::SystemEnvironmentVariables::instance().setEnvironmentVariable(name, value, persistent);
}

std::string RuntimeEnvironment::username() { return FileSystem::MachineInfo::username(); }
std::string RuntimeEnvironment::computername() { return FileSystem::MachineInfo::computername(); }
std::string RuntimeEnvironment::userdomain() { return FileSystem::MachineInfo::userdomain(); }
unsigned int RuntimeEnvironment::numberOfProcessors() { return FileSystem::MachineInfo::numberOfProcessors(); }

std::string RuntimeEnvironment::devRoot() { return FileSystem::devRoot(); }
bool RuntimeEnvironment::inDevStudio() { return FileSystem::inDevStudio(); }
bool RuntimeEnvironment::inDevEnvironment() { return FileSystem::inDevEnvironment(); }
bool RuntimeEnvironment::isOSDarkMode() { return FileSystem::sys::desktopPrefersDarkMode(); }

std::string RuntimeEnvironment::installPath() {
    requireInitialised();
    if (FileSystem::inDevStudio())
        return FileSystem::devRoot() + "/source/Application";
    return FileSystem::PathConverter::toKVLPath(FileSystem::getApplicationDirectory());
}

std::string RuntimeEnvironment::pluginPath() {
    requireInitialised();
    return FileSystem::PathConverter::toKVLPath(FileSystem::getApplicationDirectory());
}

std::string RuntimeEnvironment::servicePath() { return pluginPath(); }
