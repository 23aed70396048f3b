#pragma once

// Helpers shared by the MPI definitions: version texts, roots from the live
// environment, installation folders, option checks and list variables.

#include <FileSystem/environment/EnvironmentVariableModel.h>
#include <FileSystem/process/ProcessDefinitionMPIBase.h>

#include <initializer_list>
#include <optional>
#include <string>
#include <vector>

namespace FileSystem::detail {

/// The given components joined by '.' ("3.1" for 3.1.-1.-1).
std::string versionText(const MPIDefinition::Version& version);
/// A directory entry with its variable references expanded from the live environment.
std::string expandDirectory(const std::string& directory);
/// The value of a variable of the live environment, its versioned names first.
std::optional<std::string> liveValue(const std::string& name);
/// Puts `entries` at the front of the list variable `name` of `environment`, in
/// their order; an entry already in the list moves to the front. Without the
/// variable in `environment`, the live environment's value is the list.
void prependToList(EnvironmentVariableModel& environment, const std::string& name,
                   const std::vector<std::string>& entries, const std::string& separator);

/// True when `additional` holds one of the spellings of an option.
bool holdsAny(const ProcessDefinitionAdditionalMPIArguments& additional, std::initializer_list<const char*> options);
/// The roots of a distribution as the live environment gives them: the
/// development tree's `devFolder` below DEVROOT (when both are there), then
/// the value of each variable that has one.
std::vector<std::string> rootsOf(const std::string& devFolder, const std::vector<std::string>& variables);
/// The roots of Intel MPI: DEVROOT/IMPIDIR, KV_TESSEL_IMPI_ROOT, I_MPI_ROOT,
/// I_MPI_ONEAPI_ROOT/mpi/latest.
std::vector<std::string> intelMPIRoots();
/// ASCII letters in lower case.
std::string lowered(std::string text);
/// True when `path` is one of `roots` or lies below one (whole folder names).
bool isBelowAny(const std::string& path, const std::vector<std::string>& roots);
/// The installation folder of a library path: its folder with the library
/// folders stepped over ("/opt/mpich/lib/libmpi.so.12" gives "/opt/mpich",
/// Debian's "/usr/lib/x86_64-linux-gnu/x.so" gives "/usr"); `extraSteps` are
/// further folder names to step over (Intel's "release", "intel64", "bin").
std::string installationRoot(const std::string& libraryPath, std::initializer_list<const char*> extraSteps = {});
/// The MPICH line's options (see ProcessDefinitionMPICHDerivedBaseLinux)
/// followed by `additional` and the child's program and arguments.
std::vector<std::string> mpichArguments(const ProcessDefinitionAbstract* child,
                                        const ProcessDefinitionAdditionalMPIArguments& additional,
                                        std::uint64_t numberOfProcesses, const std::string& machineFile,
                                        bool printAllExitCodes);
/// `arguments`, then `additional`, then the child's program and arguments.
void appendAdditionalAndChild(std::vector<std::string>& arguments,
                              const ProcessDefinitionAdditionalMPIArguments& additional,
                              const ProcessDefinitionAbstract* child);
/// One line of `host`, `separator`, slots for each machine, in map order.
std::string machineFileLines(const std::map<std::string, std::uint64_t>& machines, const std::string& separator);

} // namespace FileSystem::detail
