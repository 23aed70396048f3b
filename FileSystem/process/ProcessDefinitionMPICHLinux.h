#pragma once

#include <FileSystem/Export.h>
#include <FileSystem/process/ProcessDefinitionMPIBase.h>

#include <cstdint>
#include <map>
#include <memory>
#include <string>

namespace FileSystem {

/// The launcher dialect of the MPICH line on Linux (mpiexec.hydra): MPICH,
/// MVAPICH2, Intel MPI and any MPI of the MPICH binary interface.
class FILESYSTEM_EXPORT ProcessDefinitionMPICHDerivedBaseLinux : public ProcessDefinitionMPIBase {
public:
    using ProcessDefinitionMPIBase::ProcessDefinitionMPIBase;

    /// The shared record: "MPICH Derived MPI", "mpiexec.hydra", "libmpi.so.12"
    /// (Debian's "libmpich.so.12" too), version 3.1 or newer; no directories.
    static MPIDefinition definition();
    /// One line "host:slots" for each machine, in map order.
    static std::string generateMachineFileContent(const std::map<std::string, std::uint64_t>& machines);

    /// Whether the launch asks the launcher to print every process's exit code
    /// (-print-all-exitcodes); off at first.
    ///@{
    void setPrintAllExitCodes(bool on) { m_printAllExitCodes = on; }
    bool getPrintAllExitCodes() const { return m_printAllExitCodes; }
    ///@}

    /// "-n" and the count (unless 0), "-machinefile" and the file (unless
    /// empty), "-print-all-exitcodes" when asked for, "-wdir" and the child's
    /// working directory (unless empty) — each only when `additional` does not
    /// hold it — then `additional`, the child's program and arguments.
    std::vector<std::string> generateMPIArguments(const ProcessDefinitionAdditionalMPIArguments& additional,
                                                  std::uint64_t numberOfProcesses,
                                                  const std::string& machineFile) const override;

protected:
    /// Sets MPI_HOME, MPI_BIN and MPI_LIB to the installation of the library
    /// found and puts its bin and lib folders first in PATH and
    /// LD_LIBRARY_PATH; only for an installation below one of `roots`, or
    /// always with KV_TESSEL_MPI_ENV_CONFIG.
    static void configureMPICHEnvironment(ProcessDefinitionMPIBase& definition, const std::vector<std::string>& roots);
    /// The record of a distribution with roots from these variables, each
    /// giving root/bin and root/lib: the development tree's `devFolder` below
    /// DEVROOT, then the value of each variable of `rootVariables`.
    static MPIDefinition definitionWithRoots(MPIDefinition definition, const std::string& devFolder,
                                             const std::vector<std::string>& rootVariables);

private:
    bool m_printAllExitCodes = false;
};

/// Gives an MPICH-line definition its type.
template <ProcessDefinitionMPIType T, class B = ProcessDefinitionMPICHDerivedBaseLinux>
class ProcessDefinitionMPICHDerivedGenericLinux : public ProcessDefinitionMPIGeneric<T, T, B> {
public:
    using ProcessDefinitionMPIGeneric<T, T, B>::ProcessDefinitionMPIGeneric;
};

/// MPICH on Linux ("MPICH MPI", "MPICH"). Roots: DEVROOT/MPICHDIR,
/// KV_TESSEL_MPICH_ROOT, MPI_HOME.
class FILESYSTEM_EXPORT ProcessDefinitionMPICHLinux
    : public ProcessDefinitionMPICHDerivedGenericLinux<ProcessDefinitionMPIType::MPICH> {
public:
    /// A launch of `child`; see ProcessDefinitionMPIBase.
    ProcessDefinitionMPICHLinux(std::unique_ptr<ProcessDefinitionAbstract> child, const std::string& workingDirectory,
                                std::uint64_t numberOfProcesses, const std::string& machineFile,
                                const ProcessDefinitionAdditionalMPIArguments& additional, bool reportErrors = true);
    /// The record, with the roots the environment has now.
    static MPIDefinition definition();
    /// True when the library lies below one of the roots.
    static bool isLibraryMatch(const std::string& path);
    /// The MPICH environment of a launch (see ProcessDefinitionMPICHDerivedBaseLinux).
    static void configureEnvironment(ProcessDefinitionMPIBase& definition);
};

/// MVAPICH2 on Linux ("MVAPICH2 MPI", "MVAPICH2"). Roots: DEVROOT/MVAPICH2DIR,
/// KV_TESSEL_MVAPICH2_ROOT, MPI_HOME.
class FILESYSTEM_EXPORT ProcessDefinitionMVAPICH2Linux
    : public ProcessDefinitionMPICHDerivedGenericLinux<ProcessDefinitionMPIType::MVAPICH2> {
public:
    /// A launch of `child`; see ProcessDefinitionMPIBase.
    ProcessDefinitionMVAPICH2Linux(std::unique_ptr<ProcessDefinitionAbstract> child,
                                   const std::string& workingDirectory, std::uint64_t numberOfProcesses,
                                   const std::string& machineFile,
                                   const ProcessDefinitionAdditionalMPIArguments& additional, bool reportErrors = true);
    /// The record, with the roots the environment has now.
    static MPIDefinition definition();
    /// True when the library lies below one of the roots.
    static bool isLibraryMatch(const std::string& path);
    /// The MVAPICH2 environment of a launch, as for MPICH.
    static void configureEnvironment(ProcessDefinitionMPIBase& definition);
};

/// Intel MPI on Linux ("Intel MPI", "IMPI", version 2019 or newer). Roots:
/// DEVROOT/IMPIDIR, KV_TESSEL_IMPI_ROOT, I_MPI_ROOT, I_MPI_ONEAPI_ROOT/mpi/latest;
/// binaries in bin and intel64/bin, libraries in lib/release, lib,
/// intel64/lib/release and intel64/lib.
class FILESYSTEM_EXPORT ProcessDefinitionIntelMPILinux
    : public ProcessDefinitionMPICHDerivedGenericLinux<ProcessDefinitionMPIType::IntelMPI> {
public:
    /// A launch of `child`; see ProcessDefinitionMPIBase.
    ProcessDefinitionIntelMPILinux(std::unique_ptr<ProcessDefinitionAbstract> child,
                                   const std::string& workingDirectory, std::uint64_t numberOfProcesses,
                                   const std::string& machineFile,
                                   const ProcessDefinitionAdditionalMPIArguments& additional, bool reportErrors = true);
    /// The record, with the roots the environment has now.
    static MPIDefinition definition();
    /// True when the library lies below one of the roots.
    static bool isLibraryMatch(const std::string& path);
    /// Besides the installation's folders in PATH, LD_LIBRARY_PATH and
    /// LIBRARY_PATH, sets FI_PROVIDER_PATH to the providers of the libfabric
    /// beside it and CLASSPATH to its mpi.jar.
    static void configureEnvironment(ProcessDefinitionMPIBase& definition);
};

/// Any MPI of the MPICH binary interface ("MPICH Generic MPI",
/// "MPICHCommonABI"). KV_TESSEL_MPICH_MPI chooses the family whose places are
/// searched: "MPICH"/"MPICH3", "MVAPICH"/"MVAPICH2", "IMPI"/"INTEL MPI"; any
/// other value searches the places of all three.
class FILESYSTEM_EXPORT ProcessDefinitionMPICHCommonABILinux
    : public ProcessDefinitionMPICHDerivedGenericLinux<ProcessDefinitionMPIType::MPICHCommonABI> {
public:
    /// The family asked for by KV_TESSEL_MPICH_MPI.
    enum class MpichType : int {
        Generic = 0,  ///< any of them
        MPICH = 1,    ///< MPICH
        MVAPICH2 = 2, ///< MVAPICH2
        IntelMPI = 3, ///< Intel MPI
    };

    /// A launch of `child`; see ProcessDefinitionMPIBase.
    ProcessDefinitionMPICHCommonABILinux(std::unique_ptr<ProcessDefinitionAbstract> child,
                                         const std::string& workingDirectory, std::uint64_t numberOfProcesses,
                                         const std::string& machineFile,
                                         const ProcessDefinitionAdditionalMPIArguments& additional,
                                         bool reportErrors = true);
    /// The family of KV_TESSEL_MPICH_MPI (versioned names first), read once
    /// for the process.
    static MpichType requestedMpichType();
    /// The family of a value of KV_TESSEL_MPICH_MPI (compared case-sensitively).
    static MpichType mpichTypeFromString(const std::string& value);
    /// The record, with the places of the family asked for.
    static MPIDefinition definition();
    /// True when the library belongs to the family asked for (any of the three
    /// for the generic family).
    static bool isLibraryMatch(const std::string& path);
    /// The environment of the family whose installation holds the library.
    static void configureEnvironment(ProcessDefinitionMPIBase& definition);
};

} // namespace FileSystem
