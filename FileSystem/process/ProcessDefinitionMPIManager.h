#pragma once

#include <FileSystem/Export.h>
#include <FileSystem/process/ProcessDefinitionMPIBase.h>

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace FileSystem {

/// Makes launches of one MPI distribution for the registry.
class FILESYSTEM_EXPORT ProcessDefinitionMPIConstructorAbstract {
public:
    virtual ~ProcessDefinitionMPIConstructorAbstract() = default;

    /// The type to use in place of this one; None or type() mean itself.
    virtual ProcessDefinitionMPIType preferedType() const = 0;
    /// The type whose short text names an application built for this one.
    virtual ProcessDefinitionMPIType namingType() const = 0;
    /// The type of the launches made.
    virtual ProcessDefinitionMPIType type() const = 0;
    /// The distribution's record as the environment gives it now.
    virtual MPIDefinition definition() const = 0;
    /// A launch of `child`; see ProcessDefinitionMPIBase.
    virtual std::unique_ptr<ProcessDefinitionMPIAbstract> create(
        std::unique_ptr<ProcessDefinitionAbstract> child, const std::string& workingDirectory,
        std::uint64_t numberOfProcesses, const std::string& machineFile,
        const ProcessDefinitionAdditionalMPIArguments& additional, bool reportErrors) const = 0;
    /// A machine file of hosts and their slots in the distribution's form.
    virtual std::string generateMachineFileContent(const std::map<std::string, std::uint64_t>& machines) const = 0;
};

/// The constructor of a definition class `T`, which has the static functions
/// mpiType(), preferedMPIType(), namingMPIType(), definition() and
/// generateMachineFileContent(machines), and a constructor of (child, working
/// directory, number of processes, machine file, additional arguments,
/// reportErrors).
template <class T>
class MPIDefinitionConstructor final : public ProcessDefinitionMPIConstructorAbstract {
public:
    ProcessDefinitionMPIType preferedType() const override { return T::preferedMPIType(); }
    ProcessDefinitionMPIType namingType() const override { return T::namingMPIType(); }
    ProcessDefinitionMPIType type() const override { return T::mpiType(); }
    MPIDefinition definition() const override { return T::definition(); }
    std::unique_ptr<ProcessDefinitionMPIAbstract> create(std::unique_ptr<ProcessDefinitionAbstract> child,
                                                         const std::string& workingDirectory,
                                                         std::uint64_t numberOfProcesses,
                                                         const std::string& machineFile,
                                                         const ProcessDefinitionAdditionalMPIArguments& additional,
                                                         bool reportErrors) const override {
        return std::make_unique<T>(std::move(child), workingDirectory, numberOfProcesses, machineFile, additional,
                                   reportErrors);
    }
    std::string generateMachineFileContent(const std::map<std::string, std::uint64_t>& machines) const override {
        return T::generateMachineFileContent(machines);
    }
};

/// The registry of MPI distributions that launches can be made for, and the
/// translation between types, names and the suffixes of application names
/// ("solver_IMPI"). This build registers Open MPI, MPICH, MVAPICH2, Intel MPI
/// for Linux and the MPICH common interface when the library loads; the
/// Windows definitions are classes to compose launches on Windows machines.
class FILESYSTEM_EXPORT ProcessDefinitionMPIManager {
public:
    /// Hosts and their slots.
    using Machines = std::map<std::string, std::uint64_t>;

    /// The type of this build's default launches: Open MPI (Microsoft MPI on Windows).
    static constexpr ProcessDefinitionMPIType defaultType = ProcessDefinitionMPIType::OpenMPI;

    /// The one registry, made on first use.
    static ProcessDefinitionMPIManager& instance();

    ProcessDefinitionMPIManager(const ProcessDefinitionMPIManager&) = delete;
    ProcessDefinitionMPIManager& operator=(const ProcessDefinitionMPIManager&) = delete;

    /// Adds a constructor; null (and the constructor destroyed) when its type
    /// is taken or it is null.
    ProcessDefinitionMPIConstructorAbstract* registerConstructor(
        std::unique_ptr<ProcessDefinitionMPIConstructorAbstract> constructor);
    /// Takes a constructor out and hands it back; empty when it is not registered.
    std::unique_ptr<ProcessDefinitionMPIConstructorAbstract> unregisterConstructor(
        ProcessDefinitionMPIConstructorAbstract* constructor);

    /// True when a constructor for the type is registered; with `prefered`,
    /// when its chain of preferred types ends at one.
    bool mpiAvailable(ProcessDefinitionMPIType type, bool prefered = false) const;
    /// The record of the type's distribution; empty without a constructor.
    std::optional<MPIDefinition> getMPIDefinition(ProcessDefinitionMPIType type) const;
    /// The records of all registered types, in type order.
    std::vector<MPIDefinition> getAllMPIDefinitions() const;
    /// The type that is used in place of `type`; None when there is none.
    ProcessDefinitionMPIType getPreferedMPIType(ProcessDefinitionMPIType type) const;

    /// A launch of `child` for the type (with `prefered`, for the type used in
    /// its place), the additional arguments taken from the environment; empty
    /// for a null child or a type without a constructor. With `reportErrors` a
    /// broken installation raises std::runtime_error.
    std::unique_ptr<ProcessDefinitionMPIAbstract> create(ProcessDefinitionMPIType type,
                                                         std::unique_ptr<ProcessDefinitionAbstract> child,
                                                         const std::string& machineFile,
                                                         std::uint64_t numberOfProcesses,
                                                         const std::string& workingDirectory,
                                                         bool reportErrors = true, bool prefered = true) const;
    /// The same with the additional arguments given.
    std::unique_ptr<ProcessDefinitionMPIAbstract> create(ProcessDefinitionMPIType type,
                                                         std::unique_ptr<ProcessDefinitionAbstract> child,
                                                         const std::string& machineFile,
                                                         std::uint64_t numberOfProcesses,
                                                         const std::string& workingDirectory,
                                                         const ProcessDefinitionAdditionalMPIArguments& additional,
                                                         bool reportErrors = true, bool prefered = true) const;
    /// create() with this build's default type.
    std::unique_ptr<ProcessDefinitionMPIAbstract> createDefault(std::unique_ptr<ProcessDefinitionAbstract> child,
                                                                const std::string& machineFile,
                                                                std::uint64_t numberOfProcesses,
                                                                const std::string& workingDirectory,
                                                                bool reportErrors = true, bool prefered = true) const;
    /// create() with the type that the name of the child's program carries.
    std::unique_ptr<ProcessDefinitionMPIAbstract> createBasedOnApplicatioName(
        std::unique_ptr<ProcessDefinitionAbstract> child, const std::string& machineFile,
        std::uint64_t numberOfProcesses, const std::string& workingDirectory, bool reportErrors = true,
        bool prefered = true) const;

    /// The base name of an application and the type its name carries: the
    /// last token without extension, cut at its last '_' whose tail is looked
    /// up as a type text ("solver_IMPI.exe" gives ("solver", IntelMPI),
    /// "my_solver" gives ("my", None)); without '_' the default type.
    std::pair<std::string, ProcessDefinitionMPIType> determineMPITypeFromApplicationName(
        const std::string& name) const;
    /// The name of the variant of an application for a type: `name` without
    /// extension, "_" and the short text of the type used in its place (none
    /// for Microsoft MPI's variant, the one the unsuffixed name stands for
    /// among shipped variants), then "." and `suffix` when given.
    std::string generateApplicationName(ProcessDefinitionMPIType type, const std::string& name,
                                        const std::string& suffix) const;
    /// A machine file in the type's form; "" for a type without a constructor.
    std::string generateMachineFileContent(ProcessDefinitionMPIType type, const Machines& machines) const;
    /// A machine file of "localhost" with `count` slots.
    std::string generateMachineFileContent(ProcessDefinitionMPIType type, std::uint64_t count) const;

    /// The constructor of exactly this type; null when none.
    const ProcessDefinitionMPIConstructorAbstract* findConstructor(ProcessDefinitionMPIType type) const;
    /// The constructor at the end of the type's chain of preferred types; null
    /// when a link is missing.
    const ProcessDefinitionMPIConstructorAbstract* findPreferedConstructor(ProcessDefinitionMPIType type) const;

private:
    ProcessDefinitionMPIManager();
    ~ProcessDefinitionMPIManager();

    std::vector<std::unique_ptr<ProcessDefinitionMPIConstructorAbstract>> m_constructors; ///< by ascending type
};

} // namespace FileSystem
