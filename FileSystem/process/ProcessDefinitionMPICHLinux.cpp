#include <FileSystem/process/ProcessDefinitionMPICHLinux.h>

#include <FileSystem/files/Directory.h>
#include <FileSystem/paths/Path.h>
#include <FileSystem/process/detail/MPIHelpers.h>

namespace FileSystem {

namespace {

const std::string kListSeparator = ":";

const std::vector<std::string> kMPICHRootVariables{"KV_TESSEL_MPICH_ROOT", "MPI_HOME"};
const std::vector<std::string> kMVAPICH2RootVariables{"KV_TESSEL_MVAPICH2_ROOT", "MPI_HOME"};

MPIDefinition intelDefinition(MPIDefinition definition) {
    for (const std::string& root : detail::intelMPIRoots()) {
        for (const char* bin : {"/bin", "/intel64/bin"})
            definition.binaryDirectories.push_back(root + bin);
        for (const char* lib : {"/lib/release", "/lib", "/intel64/lib/release", "/intel64/lib"})
            definition.libraryDirectories.push_back(root + lib);
    }
    return definition;
}

MPIDefinition familyRecord(const char* name, const char* shortName) {
    MPIDefinition definition = ProcessDefinitionMPICHDerivedBaseLinux::definition();
    definition.name = name;
    definition.shortName = shortName;
    return definition;
}

} // namespace

// ---- The shared dialect ----------------------------------------------------------

MPIDefinition ProcessDefinitionMPICHDerivedBaseLinux::definition() {
    MPIDefinition definition;
    definition.name = "MPICH Derived MPI";
    definition.program = "mpiexec.hydra";
    definition.library = "libmpi.so.12";
    definition.libraryAlternatives = {"libmpich.so.12"};
    definition.minimumVersion = MPIDefinition::Version{3, 1};
    return definition;
}

std::string ProcessDefinitionMPICHDerivedBaseLinux::generateMachineFileContent(
    const std::map<std::string, std::uint64_t>& machines) {
    return detail::machineFileLines(machines, ":");
}

std::vector<std::string> ProcessDefinitionMPICHDerivedBaseLinux::generateMPIArguments(
    const ProcessDefinitionAdditionalMPIArguments& additional, std::uint64_t numberOfProcesses,
    const std::string& machineFile) const {
    return detail::mpichArguments(getChildProcess(), additional, numberOfProcesses, machineFile, m_printAllExitCodes);
}

void ProcessDefinitionMPICHDerivedBaseLinux::configureMPICHEnvironment(ProcessDefinitionMPIBase& definition,
                                                                       const std::vector<std::string>& roots) {
    const std::string library = definition.getLibrary();
    if (library.empty() || !MPILocaterFunctions::shouldConfigureEnvironment(library, roots))
        return;
    const std::string root = detail::installationRoot(library);
    EnvironmentVariableModel& environment = definition.environment();
    environment.setEnvironmentVariable("MPI_HOME", root);
    environment.setEnvironmentVariable("MPI_BIN", root + "/bin");
    environment.setEnvironmentVariable("MPI_LIB", root + "/lib");
    detail::prependToList(environment, "PATH", {root + "/bin"}, kListSeparator);
    detail::prependToList(environment, "LD_LIBRARY_PATH", {root + "/lib"}, kListSeparator);
}

MPIDefinition ProcessDefinitionMPICHDerivedBaseLinux::definitionWithRoots(MPIDefinition definition,
                                                                          const std::string& devFolder,
                                                                          const std::vector<std::string>& rootVariables) {
    for (const std::string& root : detail::rootsOf(devFolder, rootVariables)) {
        definition.binaryDirectories.push_back(root + "/bin");
        definition.libraryDirectories.push_back(root + "/lib");
    }
    return definition;
}

// ---- MPICH ---------------------------------------------------------------------------

ProcessDefinitionMPICHLinux::ProcessDefinitionMPICHLinux(std::unique_ptr<ProcessDefinitionAbstract> child,
                                                         const std::string& workingDirectory,
                                                         std::uint64_t numberOfProcesses,
                                                         const std::string& machineFile,
                                                         const ProcessDefinitionAdditionalMPIArguments& additional,
                                                         bool reportErrors)
    : ProcessDefinitionMPICHDerivedGenericLinux(std::move(child), workingDirectory, numberOfProcesses, machineFile,
                                                definition(), additional, reportErrors) {}

MPIDefinition ProcessDefinitionMPICHLinux::definition() {
    MPIDefinition definition = definitionWithRoots(familyRecord("MPICH MPI", "MPICH"), "MPICHDIR", kMPICHRootVariables);
    definition.isLibraryMatch = &ProcessDefinitionMPICHLinux::isLibraryMatch;
    definition.configureEnvironment = &ProcessDefinitionMPICHLinux::configureEnvironment;
    return definition;
}

bool ProcessDefinitionMPICHLinux::isLibraryMatch(const std::string& path) {
    return detail::isBelowAny(path, detail::rootsOf("MPICHDIR", kMPICHRootVariables));
}

void ProcessDefinitionMPICHLinux::configureEnvironment(ProcessDefinitionMPIBase& definition) {
    configureMPICHEnvironment(definition, detail::rootsOf("MPICHDIR", {"KV_TESSEL_MPICH_ROOT"}));
}

// ---- MVAPICH2 -----------------------------------------------------------------------

ProcessDefinitionMVAPICH2Linux::ProcessDefinitionMVAPICH2Linux(
    std::unique_ptr<ProcessDefinitionAbstract> child, const std::string& workingDirectory,
    std::uint64_t numberOfProcesses, const std::string& machineFile,
    const ProcessDefinitionAdditionalMPIArguments& additional, bool reportErrors)
    : ProcessDefinitionMPICHDerivedGenericLinux(std::move(child), workingDirectory, numberOfProcesses, machineFile,
                                                definition(), additional, reportErrors) {}

MPIDefinition ProcessDefinitionMVAPICH2Linux::definition() {
    MPIDefinition definition =
        definitionWithRoots(familyRecord("MVAPICH2 MPI", "MVAPICH2"), "MVAPICH2DIR", kMVAPICH2RootVariables);
    definition.isLibraryMatch = &ProcessDefinitionMVAPICH2Linux::isLibraryMatch;
    definition.configureEnvironment = &ProcessDefinitionMVAPICH2Linux::configureEnvironment;
    return definition;
}

bool ProcessDefinitionMVAPICH2Linux::isLibraryMatch(const std::string& path) {
    return detail::isBelowAny(path, detail::rootsOf("MVAPICH2DIR", kMVAPICH2RootVariables));
}

void ProcessDefinitionMVAPICH2Linux::configureEnvironment(ProcessDefinitionMPIBase& definition) {
    configureMPICHEnvironment(definition, detail::rootsOf("MVAPICH2DIR", {"KV_TESSEL_MVAPICH2_ROOT"}));
}

// ---- Intel MPI ------------------------------------------------------------------------

ProcessDefinitionIntelMPILinux::ProcessDefinitionIntelMPILinux(
    std::unique_ptr<ProcessDefinitionAbstract> child, const std::string& workingDirectory,
    std::uint64_t numberOfProcesses, const std::string& machineFile,
    const ProcessDefinitionAdditionalMPIArguments& additional, bool reportErrors)
    : ProcessDefinitionMPICHDerivedGenericLinux(std::move(child), workingDirectory, numberOfProcesses, machineFile,
                                                definition(), additional, reportErrors) {}

MPIDefinition ProcessDefinitionIntelMPILinux::definition() {
    MPIDefinition definition = intelDefinition(familyRecord("Intel MPI", "IMPI"));
    // Intel's library answers with its year ("Intel(R) MPI Library 2021.6"):
    // 2019 is the first release with libfabric, which the environment sets up.
    definition.minimumVersion = MPIDefinition::Version{2019};
    definition.libraryAlternatives.clear();
    definition.isLibraryMatch = &ProcessDefinitionIntelMPILinux::isLibraryMatch;
    definition.configureEnvironment = &ProcessDefinitionIntelMPILinux::configureEnvironment;
    return definition;
}

bool ProcessDefinitionIntelMPILinux::isLibraryMatch(const std::string& path) {
    return detail::isBelowAny(path, detail::intelMPIRoots());
}

void ProcessDefinitionIntelMPILinux::configureEnvironment(ProcessDefinitionMPIBase& definition) {
    const std::string library = definition.getLibrary();
    if (library.empty() ||
        !MPILocaterFunctions::shouldConfigureEnvironment(library, detail::rootsOf("IMPIDIR", {"KV_TESSEL_IMPI_ROOT"})))
        return;
    const std::string root = detail::installationRoot(library, {"release", "intel64"});
    std::string libfabric = root + "/opt/mpi/libfabric";
    if (!Directory::exists(libfabric))
        libfabric = root + "/libfabric";
    EnvironmentVariableModel& environment = definition.environment();
    environment.setEnvironmentVariable("FI_PROVIDER_PATH", libfabric + "/lib/prov");
    detail::prependToList(environment, "CLASSPATH", {root + "/mpi.jar"}, kListSeparator);
    detail::prependToList(environment, "PATH", {root + "/bin", libfabric + "/bin"}, kListSeparator);
    const std::vector<std::string> libraries{root + "/lib/release", root + "/lib", libfabric + "/lib"};
    detail::prependToList(environment, "LD_LIBRARY_PATH", libraries, kListSeparator);
    detail::prependToList(environment, "LIBRARY_PATH", libraries, kListSeparator);
}

// ---- The common binary interface ------------------------------------------------------

ProcessDefinitionMPICHCommonABILinux::ProcessDefinitionMPICHCommonABILinux(
    std::unique_ptr<ProcessDefinitionAbstract> child, const std::string& workingDirectory,
    std::uint64_t numberOfProcesses, const std::string& machineFile,
    const ProcessDefinitionAdditionalMPIArguments& additional, bool reportErrors)
    : ProcessDefinitionMPICHDerivedGenericLinux(std::move(child), workingDirectory, numberOfProcesses, machineFile,
                                                definition(), additional, reportErrors) {}

ProcessDefinitionMPICHCommonABILinux::MpichType ProcessDefinitionMPICHCommonABILinux::mpichTypeFromString(
    const std::string& value) {
    if (value == "MPICH" || value == "MPICH3")
        return MpichType::MPICH;
    if (value == "MVAPICH" || value == "MVAPICH2")
        return MpichType::MVAPICH2;
    if (value == "IMPI" || value == "INTEL MPI")
        return MpichType::IntelMPI;
    return MpichType::Generic;
}

ProcessDefinitionMPICHCommonABILinux::MpichType ProcessDefinitionMPICHCommonABILinux::requestedMpichType() {
    static const MpichType type = mpichTypeFromString(detail::liveValue("KV_TESSEL_MPICH_MPI").value_or(""));
    return type;
}

MPIDefinition ProcessDefinitionMPICHCommonABILinux::definition() {
    MPIDefinition definition = familyRecord("MPICH Generic MPI", "MPICHCommonABI");
    switch (requestedMpichType()) {
    case MpichType::MPICH:
        definition = definitionWithRoots(definition, "MPICHDIR", kMPICHRootVariables);
        break;
    case MpichType::MVAPICH2:
        definition = definitionWithRoots(definition, "MVAPICH2DIR", kMVAPICH2RootVariables);
        break;
    case MpichType::IntelMPI:
        definition = intelDefinition(definition);
        break;
    case MpichType::Generic:
        // The development trees of each family, then the usual variables.
        for (const char* folder : {"MPICHDIR", "MVAPICHDIR", "MPIROOT"})
            definition = definitionWithRoots(definition, folder, {});
        definition = definitionWithRoots(definition, "",
                                         {"KV_TESSEL_MPICH_ROOT", "KV_TESSEL_MVAPICH2_ROOT", "MPI_HOME"});
        definition = intelDefinition(definition);
        break;
    }
    definition.isLibraryMatch = &ProcessDefinitionMPICHCommonABILinux::isLibraryMatch;
    definition.configureEnvironment = &ProcessDefinitionMPICHCommonABILinux::configureEnvironment;
    return definition;
}

bool ProcessDefinitionMPICHCommonABILinux::isLibraryMatch(const std::string& path) {
    switch (requestedMpichType()) {
    case MpichType::MPICH:
        return ProcessDefinitionMPICHLinux::isLibraryMatch(path);
    case MpichType::MVAPICH2:
        return ProcessDefinitionMVAPICH2Linux::isLibraryMatch(path);
    case MpichType::IntelMPI:
        return ProcessDefinitionIntelMPILinux::isLibraryMatch(path);
    case MpichType::Generic:
        break;
    }
    return ProcessDefinitionMPICHLinux::isLibraryMatch(path) || ProcessDefinitionMVAPICH2Linux::isLibraryMatch(path) ||
           ProcessDefinitionIntelMPILinux::isLibraryMatch(path);
}

void ProcessDefinitionMPICHCommonABILinux::configureEnvironment(ProcessDefinitionMPIBase& definition) {
    const std::string library = definition.getLibrary();
    const MpichType type = requestedMpichType();
    if (type == MpichType::IntelMPI ||
        (type == MpichType::Generic && ProcessDefinitionIntelMPILinux::isLibraryMatch(library)))
        ProcessDefinitionIntelMPILinux::configureEnvironment(definition);
    else if (type == MpichType::MVAPICH2 ||
             (type == MpichType::Generic && ProcessDefinitionMVAPICH2Linux::isLibraryMatch(library)))
        ProcessDefinitionMVAPICH2Linux::configureEnvironment(definition);
    else
        ProcessDefinitionMPICHLinux::configureEnvironment(definition);
}

} // namespace FileSystem
