#pragma once

#include <FileSystem/Export.h>
#include <FileSystem/environment/EnvironmentVariableModel.h>
#include <FileSystem/process/ShellHelpers.h>
#include <FileSystem/utilities/OperatingSystem.h>

#include <optional>
#include <set>
#include <string>
#include <vector>

namespace FileSystem {

/// The description of a process that is to be started: program, arguments,
/// working directory and environment. Nothing here starts a process; callers
/// hand the program and arguments (toCommandInfo) or a command line
/// (commandLine) to whatever starts processes. Definitions can wrap one
/// another: an MPI launch wraps the definition of the program it runs.
class FILESYSTEM_EXPORT ProcessDefinitionAbstract {
public:
    virtual ~ProcessDefinitionAbstract() = default;

    /// The program to start: a path, or a name to be found by the starter.
    virtual std::string getProgram() const = 0;
    /// The arguments behind the program, unquoted.
    virtual std::vector<std::string> getArguments() const = 0;
    /// The folder to start in; empty for the starter's own.
    virtual std::string getWorkingDirectory() const = 0;
    /// The environment the process gets.
    virtual const EnvironmentVariableModel& environment() const = 0;
    /// True when the definition can be started.
    virtual bool isValid() const = 0;

    /// isValid().
    explicit operator bool() const { return isValid(); }
    /// The program and the arguments.
    ShellHelpers::CommandInfo toCommandInfo() const;
    /// The program and arguments as one command line for the shell of `os`,
    /// each quoted by that shell's rules; `option` says which variable
    /// references stay live.
    std::string commandLine(ShellHelpers::EnvVarOption option, Utilities::OperatingSystem os) const;

protected:
    /// Definitions are made, copied and moved as their derived classes.
    ///@{
    ProcessDefinitionAbstract() = default;
    ProcessDefinitionAbstract(const ProcessDefinitionAbstract&) = default;
    ProcessDefinitionAbstract(ProcessDefinitionAbstract&&) = default;
    ProcessDefinitionAbstract& operator=(const ProcessDefinitionAbstract&) = default;
    ProcessDefinitionAbstract& operator=(ProcessDefinitionAbstract&&) = default;
    ///@}

private:
    /// Extra text a wrapper adds to the launch; empty here.
    virtual std::string additionalArguments() const;
};

/// A plain process: the four parts as values.
class FILESYSTEM_EXPORT ProcessDefinition : public ProcessDefinitionAbstract {
public:
    /// No program (not valid), no arguments, an empty environment.
    ProcessDefinition() = default;
    /// Copies each part.
    ProcessDefinition(std::string program, std::vector<std::string> arguments, std::string workingDirectory,
                      EnvironmentVariableModel environment);
    /// Takes all four parts of another definition through its operations.
    explicit ProcessDefinition(const ProcessDefinitionAbstract& other);
    /// Copies and moves in the usual way.
    ///@{
    ProcessDefinition(const ProcessDefinition&) = default;
    ProcessDefinition(ProcessDefinition&&) = default;
    ProcessDefinition& operator=(const ProcessDefinition&) = default;
    ProcessDefinition& operator=(ProcessDefinition&&) = default;
    ///@}

    std::string getProgram() const override { return m_program; }
    /// Replaces the program.
    void setProgram(const std::string& program) { m_program = program; }
    std::vector<std::string> getArguments() const override { return m_arguments; }
    /// Replaces the arguments.
    void setArguments(const std::vector<std::string>& arguments) { m_arguments = arguments; }
    std::string getWorkingDirectory() const override { return m_workingDirectory; }
    /// Replaces the working directory.
    void setWorkingDirectory(const std::string& directory) { m_workingDirectory = directory; }
    const EnvironmentVariableModel& environment() const override { return m_environment; }
    /// The environment, to change.
    EnvironmentVariableModel& environment() { return m_environment; }
    /// True when there is a program.
    bool isValid() const override { return !m_program.empty(); }

private:
    std::string m_program;
    std::vector<std::string> m_arguments;
    std::string m_workingDirectory;
    EnvironmentVariableModel m_environment;
};

/// Finding programs on disk.
namespace ProcessHelperFunctions {

/// The path of an executable `name`: a leading "./" is dropped (in fact any
/// two characters behind a leading '.'); an absolute name answers for itself
/// only; otherwise `workingDirectory`/name, then each existing folder of
/// `searchPaths`/name in order, the first executable one. Empty when none is.
FILESYSTEM_EXPORT std::optional<std::string> locateProgram(const std::string& name,
                                                           const std::string& workingDirectory,
                                                           const std::vector<std::string>& searchPaths);
/// The same for the program and working directory of a definition.
FILESYSTEM_EXPORT std::optional<std::string> locateProgram(const ProcessDefinitionAbstract& definition,
                                                           const std::vector<std::string>& searchPaths);

} // namespace ProcessHelperFunctions

/// Arguments that the user wants on every MPI launch, from the environment
/// (KV_TESSEL_MPI_ARGS) or a command line.
class FILESYSTEM_EXPORT ProcessDefinitionAdditionalMPIArguments {
public:
    /// The stored arguments' iterator.
    using const_iterator = std::vector<std::string>::const_iterator;

    /// No arguments.
    ProcessDefinitionAdditionalMPIArguments() = default;
    /// These arguments.
    explicit ProcessDefinitionAdditionalMPIArguments(std::vector<std::string> arguments)
        : m_arguments(std::move(arguments)) {}

    /// The value of KV_TESSEL_MPI_ARGS (its versioned names first) in the live
    /// environment, split as fromCommandLine does; none when unset.
    static ProcessDefinitionAdditionalMPIArguments fromEnvironment();
    /// A command line split by the Windows command interpreter's rules, with
    /// quotes and escapes removed, whatever the host.
    static ProcessDefinitionAdditionalMPIArguments fromCommandLine(const std::string& text);

    /// The arguments in order.
    ///@{
    const_iterator begin() const noexcept { return m_arguments.begin(); }
    const_iterator end() const noexcept { return m_arguments.end(); }
    ///@}
    /// True when there are none.
    bool empty() const noexcept { return m_arguments.empty(); }
    /// The arguments as a vector.
    const std::vector<std::string>& arguments() const noexcept { return m_arguments; }

    /// True when one argument equals `text` exactly.
    bool contains(const std::string& text) const;
    /// True when every element of `texts` is contained (true for an empty set).
    bool containsAll(const std::set<std::string>& texts) const;
    /// True when at least one element of `texts` is contained.
    bool containsAny(const std::set<std::string>& texts) const;
    /// True when no element of `texts` is contained.
    bool containsNone(const std::set<std::string>& texts) const;

private:
    std::vector<std::string> m_arguments;
};

} // namespace FileSystem
