#include <FileSystem/process/ProcessDefinitionMicrosoftMPIWindows.h>

#include <FileSystem/files/Directory.h>
#include <FileSystem/paths/Path.h>
#include <FileSystem/paths/PathConverterBase.h>
#include <FileSystem/process/detail/MPIHelpers.h>

#include <cctype>

namespace FileSystem {

namespace {

const std::string kWindowsListSeparator = ";";

std::vector<std::string> microsoftRoots() {
    return detail::rootsOf("MSMPIDIR", {"KV_TESSEL_MSMPI_ROOT", "MSMPI_BIN"});
}

} // namespace

// ---- Microsoft MPI ---------------------------------------------------------------------

ProcessDefinitionMicrosoftMPIWindows::ProcessDefinitionMicrosoftMPIWindows(
    std::unique_ptr<ProcessDefinitionAbstract> child, const std::string& workingDirectory,
    std::uint64_t numberOfProcesses, const std::string& machineFile,
    const ProcessDefinitionAdditionalMPIArguments& additional, bool reportErrors)
    : ProcessDefinitionMPIGeneric(std::move(child), workingDirectory, numberOfProcesses, machineFile, definition(),
                                  additional, reportErrors) {}

MPIDefinition ProcessDefinitionMicrosoftMPIWindows::definition() {
    MPIDefinition definition;
    definition.name = "Microsoft MPI";
    definition.program = "mpiexec.exe";
    definition.library = "msmpi.dll";
    definition.shortName = "MSMPI";
    // Microsoft MPI 10 is the release that all current Windows builds ship with.
    definition.minimumVersion = MPIDefinition::Version{10};
    for (const std::string& root : microsoftRoots()) {
        definition.binaryDirectories.push_back(root + "/Bin");
        definition.libraryDirectories.push_back(root + "/Bin/System32");
        definition.libraryDirectories.push_back(root + "/System32");
    }
    definition.isLibraryMatch = &ProcessDefinitionMicrosoftMPIWindows::isLibraryMatch;
    definition.configureEnvironment = &ProcessDefinitionMicrosoftMPIWindows::configureEnvironment;
    return definition;
}

bool ProcessDefinitionMicrosoftMPIWindows::isLibraryMatch(const std::string& path) {
    return detail::isBelowAny(path, microsoftRoots());
}

void ProcessDefinitionMicrosoftMPIWindows::configureEnvironment(ProcessDefinitionMPIBase& definition) {
    const std::string library = definition.getLibrary();
    if (library.empty() || !MPILocaterFunctions::shouldConfigureEnvironment(
                               library, detail::rootsOf("MSMPIDIR", {"KV_TESSEL_MSMPI_ROOT"})))
        return;
    const std::string libraryFolder = Path::stripLastToken(Path::makeForwardSlashes(library));
    const std::string root = detail::installationRoot(library, {"System32", "Bin"});
    std::vector<std::string> entries;
    for (const std::string& folder : {root + "/Bin", libraryFolder})
        if (Directory::exists(folder) && std::find(entries.begin(), entries.end(), folder) == entries.end())
            entries.push_back(folder);
    detail::prependToList(definition.environment(), "PATH", entries, kWindowsListSeparator);
}

std::string ProcessDefinitionMicrosoftMPIWindows::generateMachineFileContent(
    const std::map<std::string, std::uint64_t>& machines) {
    return detail::machineFileLines(machines, " ");
}

namespace {

// The truth of a switch variable: empty when unset or neither true nor false.
std::optional<bool> switchValue(const std::string& name) {
    const std::optional<std::string> value = detail::liveValue(name);
    if (!value)
        return std::nullopt;
    const std::string text = detail::lowered(*value);
    if (text == "1" || text == "true" || text == "yes" || text == "on")
        return true;
    if (text == "0" || text == "false" || text == "no" || text == "off")
        return false;
    return std::nullopt;
}

} // namespace

std::string ProcessDefinitionMicrosoftMPIWindows::affinityLayout() {
    if (auto layout = detail::liveValue("KV_TESSEL_MPI_MICROSOFT_AFFINITY_LAYOUT"); layout && !layout->empty())
        return *layout;
    return switchValue("KV_TESSEL_MPI_MICROSOFT_AUTO_AFFINITY") == false ? std::string() : std::string("3:P:L");
}

bool ProcessDefinitionMicrosoftMPIWindows::autoAffinity() {
    return switchValue("KV_TESSEL_MPI_MICROSOFT_AUTO_AFFINITY") == true;
}

std::vector<std::string> ProcessDefinitionMicrosoftMPIWindows::generateMPIArguments(
    const ProcessDefinitionAdditionalMPIArguments& additional, std::uint64_t numberOfProcesses,
    const std::string& machineFile) const {
    std::vector<std::string> arguments;
    if (numberOfProcesses != 0 && !detail::holdsAny(additional, {"/np", "/n", "-np", "-n"})) {
        arguments.push_back("/np");
        arguments.push_back(std::to_string(numberOfProcesses));
    }
    if (!machineFile.empty() && !detail::holdsAny(additional, {"/machinefile", "-machinefile"})) {
        arguments.push_back("/machinefile");
        arguments.push_back(machineFile);
    }
    const std::string layout = affinityLayout();
    if (!layout.empty() &&
        !detail::holdsAny(additional, {"/affinity", "-affinity", "/affinity_layout", "-affinity_layout"})) {
        arguments.push_back("/affinity_layout");
        arguments.push_back(layout);
    }
    if (autoAffinity() && !detail::holdsAny(additional, {"/aa", "/affinity_auto", "-aa", "-affinity_auto"}))
        arguments.push_back("/affinity_auto");
    const ProcessDefinitionAbstract* child = getChildProcess();
    if (child != nullptr) {
        const std::string directory = child->getWorkingDirectory();
        if (!directory.empty() && !detail::holdsAny(additional, {"/wdir", "-wdir"})) {
            arguments.push_back("/wdir");
            arguments.push_back(WindowsPathConverter::fromKVLPath(directory, true));
        }
    }
    detail::appendAdditionalAndChild(arguments, additional, child);
    return arguments;
}

} // namespace FileSystem
