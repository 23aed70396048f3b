#pragma once

#include <FileSystem/Export.h>
#include <FileSystem/process/ProcessDefinitionMPIBase.h>

#include <cstdint>
#include <map>
#include <memory>
#include <string>

namespace FileSystem {

/// Open MPI on Linux ("OpenMPI MPI", "OMPI"): the launcher "mpirun", the
/// library "libmpi.so.40", version 2 or newer. Roots: DEVROOT/OMPIDIR,
/// KV_TESSEL_OMPI_ROOT, MPI_HOME, each giving root/bin and root/lib. This
/// build's default MPI.
class FILESYSTEM_EXPORT ProcessDefinitionMPIOpenMPILinux
    : public ProcessDefinitionMPIGeneric<ProcessDefinitionMPIType::OpenMPI, ProcessDefinitionMPIType::OpenMPI> {
public:
    /// A launch of `child`; see ProcessDefinitionMPIBase.
    ProcessDefinitionMPIOpenMPILinux(std::unique_ptr<ProcessDefinitionAbstract> child,
                                     const std::string& workingDirectory, std::uint64_t numberOfProcesses,
                                     const std::string& machineFile,
                                     const ProcessDefinitionAdditionalMPIArguments& additional,
                                     bool reportErrors = true);

    /// The record, with the roots the environment has now.
    static MPIDefinition definition();
    /// True when the library lies below one of the roots.
    static bool isLibraryMatch(const std::string& path);
    /// Sets MPI_HOME, MPI_BIN and MPI_LIB to the installation of the library
    /// found and puts its bin and lib folders first in PATH and
    /// LD_LIBRARY_PATH; only for an installation below DEVROOT/OMPIDIR or
    /// KV_TESSEL_OMPI_ROOT, or always with KV_TESSEL_MPI_ENV_CONFIG.
    static void configureEnvironment(ProcessDefinitionMPIBase& definition);
    /// One line "host slots=count" for each machine, in map order.
    static std::string generateMachineFileContent(const std::map<std::string, std::uint64_t>& machines);

    /// "-np" and the count (unless 0), "-machinefile" and the file (unless
    /// empty), "-wdir" and the child's working directory (unless empty) — each
    /// only when `additional` holds no spelling of it — then `additional`, the
    /// child's program and arguments.
    std::vector<std::string> generateMPIArguments(const ProcessDefinitionAdditionalMPIArguments& additional,
                                                  std::uint64_t numberOfProcesses,
                                                  const std::string& machineFile) const override;
};

} // namespace FileSystem
