#include <FileSystem/process/ProcessDefinitionMPIOpenMPILinux.h>

#include <FileSystem/process/detail/MPIHelpers.h>

namespace FileSystem {

namespace {

const std::vector<std::string> kRootVariables{"KV_TESSEL_OMPI_ROOT", "MPI_HOME"};

} // namespace

ProcessDefinitionMPIOpenMPILinux::ProcessDefinitionMPIOpenMPILinux(
    std::unique_ptr<ProcessDefinitionAbstract> child, const std::string& workingDirectory,
    std::uint64_t numberOfProcesses, const std::string& machineFile,
    const ProcessDefinitionAdditionalMPIArguments& additional, bool reportErrors)
    : ProcessDefinitionMPIGeneric(std::move(child), workingDirectory, numberOfProcesses, machineFile, definition(),
                                  additional, reportErrors) {}

MPIDefinition ProcessDefinitionMPIOpenMPILinux::definition() {
    MPIDefinition definition;
    definition.name = "OpenMPI MPI";
    definition.program = "mpirun";
    definition.library = "libmpi.so.40";
    definition.shortName = "OMPI";
    definition.minimumVersion = MPIDefinition::Version{2};
    for (const std::string& root : detail::rootsOf("OMPIDIR", kRootVariables)) {
        definition.binaryDirectories.push_back(root + "/bin");
        definition.libraryDirectories.push_back(root + "/lib");
    }
    definition.isLibraryMatch = &ProcessDefinitionMPIOpenMPILinux::isLibraryMatch;
    definition.configureEnvironment = &ProcessDefinitionMPIOpenMPILinux::configureEnvironment;
    return definition;
}

bool ProcessDefinitionMPIOpenMPILinux::isLibraryMatch(const std::string& path) {
    return detail::isBelowAny(path, detail::rootsOf("OMPIDIR", kRootVariables));
}

void ProcessDefinitionMPIOpenMPILinux::configureEnvironment(ProcessDefinitionMPIBase& definition) {
    const std::string library = definition.getLibrary();
    if (library.empty() ||
        !MPILocaterFunctions::shouldConfigureEnvironment(library, detail::rootsOf("OMPIDIR", {"KV_TESSEL_OMPI_ROOT"})))
        return;
    const std::string root = detail::installationRoot(library);
    EnvironmentVariableModel& environment = definition.environment();
    environment.setEnvironmentVariable("MPI_HOME", root);
    environment.setEnvironmentVariable("MPI_BIN", root + "/bin");
    environment.setEnvironmentVariable("MPI_LIB", root + "/lib");
    detail::prependToList(environment, "PATH", {root + "/bin"}, ":");
    detail::prependToList(environment, "LD_LIBRARY_PATH", {root + "/lib"}, ":");
}

std::string ProcessDefinitionMPIOpenMPILinux::generateMachineFileContent(
    const std::map<std::string, std::uint64_t>& machines) {
    return detail::machineFileLines(machines, " slots=");
}

std::vector<std::string> ProcessDefinitionMPIOpenMPILinux::generateMPIArguments(
    const ProcessDefinitionAdditionalMPIArguments& additional, std::uint64_t numberOfProcesses,
    const std::string& machineFile) const {
    std::vector<std::string> arguments;
    if (numberOfProcesses != 0 && !detail::holdsAny(additional, {"-np", "-n", "--np", "--n", "-c"})) {
        arguments.push_back("-np");
        arguments.push_back(std::to_string(numberOfProcesses));
    }
    if (!machineFile.empty() &&
        !detail::holdsAny(additional, {"-machinefile", "-hostfile", "--machinefile", "--hostfile"})) {
        arguments.push_back("-machinefile");
        arguments.push_back(machineFile);
    }
    const ProcessDefinitionAbstract* child = getChildProcess();
    if (child != nullptr) {
        const std::string directory = child->getWorkingDirectory();
        if (!directory.empty() && !detail::holdsAny(additional, {"-wdir", "--wdir", "-wd", "--wd"})) {
            arguments.push_back("-wdir");
            arguments.push_back(directory);
        }
    }
    detail::appendAdditionalAndChild(arguments, additional, child);
    return arguments;
}

} // namespace FileSystem
