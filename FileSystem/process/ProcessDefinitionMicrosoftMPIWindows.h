#pragma once

#include <FileSystem/Export.h>
#include <FileSystem/process/ProcessDefinitionMPIBase.h>

#include <cstdint>
#include <map>
#include <memory>
#include <string>

namespace FileSystem {

/// Microsoft MPI on Windows ("Microsoft MPI", "MSMPI"): the launcher
/// "mpiexec.exe", the library "msmpi.dll". Roots: DEVROOT/MSMPIDIR,
/// KV_TESSEL_MSMPI_ROOT, MSMPI_BIN; binaries in root/Bin, the library in
/// root/Bin/System32 or root/System32. This build registers no Windows
/// definition; the class composes launches for Windows machines.
class FILESYSTEM_EXPORT ProcessDefinitionMicrosoftMPIWindows
    : public ProcessDefinitionMPIGeneric<ProcessDefinitionMPIType::MicrosoftMPI,
                                         ProcessDefinitionMPIType::MicrosoftMPI> {
public:
    /// A launch of `child`; see ProcessDefinitionMPIBase.
    ProcessDefinitionMicrosoftMPIWindows(std::unique_ptr<ProcessDefinitionAbstract> child,
                                         const std::string& workingDirectory, std::uint64_t numberOfProcesses,
                                         const std::string& machineFile,
                                         const ProcessDefinitionAdditionalMPIArguments& additional,
                                         bool reportErrors = true);

    /// The record, with the roots the environment has now.
    static MPIDefinition definition();
    /// True when the library lies below one of the roots.
    static bool isLibraryMatch(const std::string& path);
    /// Puts the installation's Bin folder and the library's System32 folder,
    /// where they exist, first in PATH (separated by ';').
    static void configureEnvironment(ProcessDefinitionMPIBase& definition);
    /// One line "host count" for each machine, in map order.
    static std::string generateMachineFileContent(const std::map<std::string, std::uint64_t>& machines);

    /// The affinity layout of launches: KV_TESSEL_MPI_MICROSOFT_AFFINITY_LAYOUT
    /// when it has a value; otherwise "3:P:L", unless
    /// KV_TESSEL_MPI_MICROSOFT_AUTO_AFFINITY is a false value ("0", "false",
    /// "no", "off"), which gives none.
    static std::string affinityLayout();
    /// True when KV_TESSEL_MPI_MICROSOFT_AUTO_AFFINITY is a true value ("1",
    /// "true", "yes", "on", in any case).
    static bool autoAffinity();

    /// "/np" and the count (unless 0), "/machinefile" and the file (unless
    /// empty), "/affinity_layout" and the layout, "/affinity_auto" when asked
    /// for, "/wdir" and the child's working directory in Windows form (unless
    /// empty) — each only when `additional` holds no spelling of it, with '/'
    /// or '-' — then `additional`, the child's program and arguments.
    std::vector<std::string> generateMPIArguments(const ProcessDefinitionAdditionalMPIArguments& additional,
                                                  std::uint64_t numberOfProcesses,
                                                  const std::string& machineFile) const override;
};

} // namespace FileSystem
