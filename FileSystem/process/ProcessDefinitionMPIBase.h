#pragma once

#include <FileSystem/Export.h>
#include <FileSystem/process/ProcessDefinition.h>
#include <FileSystem/utilities/Version.h>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace FileSystem {

/// The MPI distributions a launch can be defined for; the numbers are stable.
enum class ProcessDefinitionMPIType : int {
    None = 0,           ///< no MPI
    MicrosoftMPI = 1,   ///< Microsoft MPI ("MicrosoftMPI", "MSMPI")
    IntelMPI = 2,       ///< Intel MPI ("IntelMPI", "IMPI")
    MPICH = 3,          ///< MPICH ("MPICH")
    MVAPICH2 = 4,       ///< MVAPICH2 ("MVAPICH2")
    MPICHCommonABI = 5, ///< any MPI of the MPICH binary interface ("MPICHCommonABI")
    OpenMPI = 6,        ///< Open MPI ("OpenMPI", "OMPI")
};

/// The long text of a type ("IntelMPI"), or with `shortForm` its short text
/// ("IMPI"); "" for None and for numbers outside the table.
FILESYSTEM_EXPORT std::string processDefinitionMPITypeToString(ProcessDefinitionMPIType type, bool shortForm);
/// The type whose long or short text is `text` (exact bytes); `defaultType`
/// when none is.
FILESYSTEM_EXPORT ProcessDefinitionMPIType processDefinitionMPITypeFromString(const std::string& text,
                                                                             ProcessDefinitionMPIType defaultType);

class ProcessDefinitionMPIBase;

/// What tells one MPI distribution's installation and launcher apart.
/// Directory entries may hold references to variables ($NAME, ${NAME}); they
/// are expanded with the live environment when used.
struct FILESYSTEM_EXPORT MPIDefinition {
    /// The minimum version's type.
    using Version = Utilities::Version<4, int>;

    std::string name;                            ///< display name ("OpenMPI MPI")
    std::string program;                         ///< launcher file name ("mpirun")
    std::vector<std::string> binaryDirectories;  ///< where the launcher may be, in order
    std::string library;                         ///< the MPI library's file name
    std::vector<std::string> libraryDirectories; ///< where the library may be, in order
    Version minimumVersion;                      ///< the oldest supported version of the library
    std::string shortName;                       ///< the short text of the type ("OMPI")
    /// True when a library path belongs to this distribution.
    std::function<bool(const std::string& libraryPath)> isLibraryMatch;
    /// Sets up the environment of a launch whose library was found.
    std::function<void(ProcessDefinitionMPIBase& definition)> configureEnvironment;
    /// Further file names of the same library, tried after `library` wherever
    /// it is looked for (Debian names MPICH's library "libmpich.so.12").
    std::vector<std::string> libraryAlternatives;
};

/// A process definition that runs a child definition under an MPI launcher.
class FILESYSTEM_EXPORT ProcessDefinitionMPIAbstract : public ProcessDefinitionAbstract {
public:
    /// The path of the MPI library found; empty when none was.
    virtual std::string getLibrary() const = 0;
    /// The definition of the program that the launcher runs; null when none.
    ///@{
    virtual const ProcessDefinitionAbstract* getChildProcess() const = 0;
    virtual ProcessDefinitionAbstract* getChildProcess() = 0;
    ///@}
    /// The number of processes to start; 0 leaves it to the launcher.
    virtual void setNumberOfProcesses(std::uint64_t count) = 0;
    /// The number of processes to start.
    virtual std::uint64_t getNumberOfProcesses() const = 0;
    /// The machine file (hosts and slots) of the launch; empty for none.
    virtual void setMachineFile(const std::string& path) = 0;
    /// The machine file of the launch.
    virtual std::string getMachineFile() const = 0;
};

/// Finding an MPI installation's library and launcher.
namespace MPILocaterFunctions {

/// The path of the definition's library: the first existing file in the
/// library directories, else the library the system's loader finds by name
/// (kept loaded for the process); "" when none is, or when
/// KV_TESSEL_MPI_USE_DEFAULT is set. With `reportErrors` nothing differs: a
/// missing library is told by locateMPIBin.
FILESYSTEM_EXPORT std::string locateMPILib(const MPIDefinition& definition, bool reportErrors);

/// The path of the launcher. `programPath`, when not empty and an existing
/// file, is the answer. With KV_TESSEL_MPI_USE_DEFAULT set or no library, the
/// bare program name (for the system to find at start). Otherwise the
/// library's version is checked against the minimum (unless `checkVersion` is
/// false or KV_TESSEL_MPI_NO_VERS_CHECK is set), then the launcher is looked
/// for in the binary directories and, with `searchPath`, in the folders of
/// PATH. "" when it is not found. With `reportErrors` each failure raises
/// std::runtime_error with the text that names the installation's problem.
FILESYSTEM_EXPORT std::string locateMPIBin(const std::string& programPath, const std::string& libraryPath,
                                           const MPIDefinition& definition, bool reportErrors, bool searchPath,
                                           bool checkVersion);

/// The version of an MPI library as the library itself tells it
/// (MPI_Get_library_version, which any MPI answers before initialisation);
/// empty when the library cannot be loaded or gives no version.
FILESYSTEM_EXPORT std::optional<MPIDefinition::Version> libraryVersion(const std::string& libraryPath);

/// The version in the text of MPI_Get_library_version: the first number with
/// dots ("Open MPI v4.1.4, ..." gives 4.1.4), else the first number; empty
/// when the text holds none.
FILESYSTEM_EXPORT std::optional<MPIDefinition::Version> parseLibraryVersionText(const std::string& text);

/// Whether the launch environment of a definition is to be set up: always
/// when KV_TESSEL_MPI_ENV_CONFIG is set; otherwise only when the library lies
/// below one of `roots` (compared as cleaned paths, byte prefix by folder).
FILESYSTEM_EXPORT bool shouldConfigureEnvironment(const std::string& libraryPath,
                                                  const std::vector<std::string>& roots);

} // namespace MPILocaterFunctions

/// The frame of every MPI launch: finds the library and the launcher of a
/// distribution, checks the library's version, and makes the launcher's
/// arguments through generateMPIArguments of the derived class. The
/// environment starts as a copy of the child's and is set up for the
/// distribution found.
class FILESYSTEM_EXPORT ProcessDefinitionMPIBase : public ProcessDefinitionMPIAbstract {
public:
    /// A launch of `child` with the additional arguments of the environment
    /// (KV_TESSEL_MPI_ARGS). With `reportErrors`, a broken installation raises
    /// std::runtime_error; without, the definition stays invalid.
    ProcessDefinitionMPIBase(std::unique_ptr<ProcessDefinitionAbstract> child, const std::string& workingDirectory,
                             std::uint64_t numberOfProcesses, const std::string& machineFile,
                             const MPIDefinition& definition, bool reportErrors = true);
    /// The same with the additional arguments given.
    ProcessDefinitionMPIBase(std::unique_ptr<ProcessDefinitionAbstract> child, const std::string& workingDirectory,
                             std::uint64_t numberOfProcesses, const std::string& machineFile,
                             const MPIDefinition& definition, ProcessDefinitionAdditionalMPIArguments additional,
                             bool reportErrors = true);
    /// Moves only.
    ///@{
    ProcessDefinitionMPIBase(ProcessDefinitionMPIBase&&) = default;
    ProcessDefinitionMPIBase& operator=(ProcessDefinitionMPIBase&&) = default;
    ProcessDefinitionMPIBase(const ProcessDefinitionMPIBase&) = delete;
    ProcessDefinitionMPIBase& operator=(const ProcessDefinitionMPIBase&) = delete;
    ///@}

    /// The launcher's path.
    std::string getProgram() const override { return m_program; }
    /// generateMPIArguments of the stored additional arguments, number of
    /// processes and machine file.
    std::vector<std::string> getArguments() const override;
    /// The launcher's working directory.
    std::string getWorkingDirectory() const override { return m_workingDirectory; }
    /// The launch's environment.
    const EnvironmentVariableModel& environment() const override { return m_environment; }
    /// The launch's environment, to change.
    EnvironmentVariableModel& environment() { return m_environment; }
    /// True when there is a child and the launcher was found.
    bool isValid() const override { return m_child != nullptr && !m_program.empty(); }

    std::string getLibrary() const override { return m_library; }
    const ProcessDefinitionAbstract* getChildProcess() const override { return m_child.get(); }
    ProcessDefinitionAbstract* getChildProcess() override { return m_child.get(); }
    void setNumberOfProcesses(std::uint64_t count) override { m_numberOfProcesses = count; }
    std::uint64_t getNumberOfProcesses() const override { return m_numberOfProcesses; }
    void setMachineFile(const std::string& path) override { m_machineFile = path; }
    std::string getMachineFile() const override { return m_machineFile; }

    /// The additional arguments of the launch.
    const ProcessDefinitionAdditionalMPIArguments& getAdditionalArguments() const { return m_additional; }
    /// The distribution's record as it was when the launch was made.
    const MPIDefinition& getDefinition() const { return m_definition; }

    /// The launcher's arguments for a run of the child: options first (each
    /// only when `additional` does not already hold it), then `additional`,
    /// then the child's program and arguments.
    virtual std::vector<std::string> generateMPIArguments(const ProcessDefinitionAdditionalMPIArguments& additional,
                                                          std::uint64_t numberOfProcesses,
                                                          const std::string& machineFile) const = 0;

private:
    std::unique_ptr<ProcessDefinitionAbstract> m_child;
    std::string m_workingDirectory;
    std::string m_program;
    std::string m_library;
    EnvironmentVariableModel m_environment;
    std::uint64_t m_numberOfProcesses = 0;
    std::string m_machineFile;
    ProcessDefinitionAdditionalMPIArguments m_additional;
    MPIDefinition m_definition;
};

/// Gives a definition class its type (`T`) and the type to use in its place
/// (`P`; None or T mean itself) for the registry of launches.
template <ProcessDefinitionMPIType T, ProcessDefinitionMPIType P, class B = ProcessDefinitionMPIBase>
class ProcessDefinitionMPIGeneric : public B {
public:
    using B::B;

    /// The type of the definition.
    static constexpr ProcessDefinitionMPIType mpiType() noexcept { return T; }
    /// The type to use in place of this one.
    static ProcessDefinitionMPIType preferedMPIType() { return P; }
    /// The type whose short text names an application built for this one.
    static constexpr ProcessDefinitionMPIType namingMPIType() noexcept { return T; }
};

} // namespace FileSystem
