#pragma once

#include <FileSystem/Export.h>
#include <FileSystem/process/ProcessDefinitionMPIBase.h>

#include <cstdint>
#include <map>
#include <memory>
#include <string>

namespace FileSystem {

/// Intel MPI on Windows ("Intel MPI", "IMPI"): the launcher "mpiexec.exe",
/// the library "impi.dll", version 2019 or newer. Roots: DEVROOT/IMPIDIR,
/// KV_TESSEL_IMPI_ROOT, I_MPI_ROOT, I_MPI_ONEAPI_ROOT/mpi/latest. This build
/// registers no Windows definition; the class composes launches for Windows
/// machines.
class FILESYSTEM_EXPORT ProcessDefinitionIntelMPIWindows
    : public ProcessDefinitionMPIGeneric<ProcessDefinitionMPIType::IntelMPI, ProcessDefinitionMPIType::IntelMPI> {
public:
    /// A launch of `child`; see ProcessDefinitionMPIBase.
    ProcessDefinitionIntelMPIWindows(std::unique_ptr<ProcessDefinitionAbstract> child,
                                     const std::string& workingDirectory, std::uint64_t numberOfProcesses,
                                     const std::string& machineFile,
                                     const ProcessDefinitionAdditionalMPIArguments& additional,
                                     bool reportErrors = true);

    /// The record, with the roots the environment has now.
    static MPIDefinition definition();
    /// True when the library lies below one of the roots.
    static bool isLibraryMatch(const std::string& path);
    /// Sets I_MPI_OFI_LIBRARY_INTERNAL (unless the live environment has it)
    /// and puts the existing bin folders of the installation and of the
    /// libfabric beside it first in PATH (separated by ';'), the release
    /// folders first.
    static void configureEnvironment(ProcessDefinitionMPIBase& definition);
    /// One line "host:count" for each machine, in map order.
    static std::string generateMachineFileContent(const std::map<std::string, std::uint64_t>& machines);

    /// Whether the launch asks for every process's exit code; off at first.
    ///@{
    void setPrintAllExitCodes(bool on) { m_printAllExitCodes = on; }
    bool getPrintAllExitCodes() const { return m_printAllExitCodes; }
    ///@}

    /// The options of the MPICH line: "-n", "-machinefile",
    /// "-print-all-exitcodes", "-wdir" (each only when `additional` does not
    /// hold it), then `additional`, the child's program and arguments.
    std::vector<std::string> generateMPIArguments(const ProcessDefinitionAdditionalMPIArguments& additional,
                                                  std::uint64_t numberOfProcesses,
                                                  const std::string& machineFile) const override;

private:
    bool m_printAllExitCodes = false;
};

} // namespace FileSystem
