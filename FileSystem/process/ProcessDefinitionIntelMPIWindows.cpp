#include <FileSystem/process/ProcessDefinitionIntelMPIWindows.h>

#include <FileSystem/files/Directory.h>
#include <FileSystem/process/detail/MPIHelpers.h>

namespace FileSystem {

namespace {

const std::string kWindowsListSeparator = ";";

} // namespace

// ---- Intel MPI on Windows ------------------------------------------------------------------

ProcessDefinitionIntelMPIWindows::ProcessDefinitionIntelMPIWindows(
    std::unique_ptr<ProcessDefinitionAbstract> child, const std::string& workingDirectory,
    std::uint64_t numberOfProcesses, const std::string& machineFile,
    const ProcessDefinitionAdditionalMPIArguments& additional, bool reportErrors)
    : ProcessDefinitionMPIGeneric(std::move(child), workingDirectory, numberOfProcesses, machineFile, definition(),
                                  additional, reportErrors) {}

MPIDefinition ProcessDefinitionIntelMPIWindows::definition() {
    MPIDefinition definition;
    definition.name = "Intel MPI";
    definition.program = "mpiexec.exe";
    definition.library = "impi.dll";
    definition.shortName = "IMPI";
    definition.minimumVersion = MPIDefinition::Version{2019};
    for (const std::string& root : detail::intelMPIRoots()) {
        for (const char* bin : {"/bin", "/bin/release", "/../opt/mpi/libfabric/bin", "/../libfabric/bin",
                                "/../libfabric/bin/utils", "/bin/utils"})
            definition.binaryDirectories.push_back(root + bin);
        for (const char* lib : {"/bin", "/bin/release"})
            definition.libraryDirectories.push_back(root + lib);
    }
    definition.isLibraryMatch = &ProcessDefinitionIntelMPIWindows::isLibraryMatch;
    definition.configureEnvironment = &ProcessDefinitionIntelMPIWindows::configureEnvironment;
    return definition;
}

bool ProcessDefinitionIntelMPIWindows::isLibraryMatch(const std::string& path) {
    return detail::isBelowAny(path, detail::intelMPIRoots());
}

void ProcessDefinitionIntelMPIWindows::configureEnvironment(ProcessDefinitionMPIBase& definition) {
    const std::string library = definition.getLibrary();
    if (library.empty() ||
        !MPILocaterFunctions::shouldConfigureEnvironment(library, detail::rootsOf("IMPIDIR", {"KV_TESSEL_IMPI_ROOT"})))
        return;
    const std::string root = detail::installationRoot(library, {"release", "bin", "intel64"});
    std::string libfabric = root + "/opt/mpi/libfabric";
    if (!Directory::exists(libfabric))
        libfabric = root + "/libfabric";
    EnvironmentVariableModel& environment = definition.environment();
    // The launch uses the libfabric that came with the installation, unless
    // the user chose otherwise.
    if (!SystemEnvironmentVariables::instance().hasEnvironmentVariable("I_MPI_OFI_LIBRARY_INTERNAL"))
        environment.setEnvironmentVariable("I_MPI_OFI_LIBRARY_INTERNAL", Directory::exists(libfabric) ? "1" : "0");
    std::vector<std::string> entries;
    for (const std::string& folder : {root + "/bin/release", libfabric + "/bin/release", root + "/bin",
                                      libfabric + "/bin", libfabric + "/bin/utils"})
        if (Directory::exists(folder))
            entries.push_back(folder);
    detail::prependToList(environment, "PATH", entries, kWindowsListSeparator);
}

std::string ProcessDefinitionIntelMPIWindows::generateMachineFileContent(
    const std::map<std::string, std::uint64_t>& machines) {
    return detail::machineFileLines(machines, ":");
}

std::vector<std::string> ProcessDefinitionIntelMPIWindows::generateMPIArguments(
    const ProcessDefinitionAdditionalMPIArguments& additional, std::uint64_t numberOfProcesses,
    const std::string& machineFile) const {
    return detail::mpichArguments(getChildProcess(), additional, numberOfProcesses, machineFile, m_printAllExitCodes);
}

} // namespace FileSystem
