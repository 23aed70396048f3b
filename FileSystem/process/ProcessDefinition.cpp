#include <FileSystem/process/ProcessDefinition.h>

#include <FileSystem/files/Directory.h>
#include <FileSystem/files/File.h>
#include <FileSystem/paths/Path.h>

#include <algorithm>

namespace FileSystem {

ShellHelpers::CommandInfo ProcessDefinitionAbstract::toCommandInfo() const {
    return ShellHelpers::CommandInfo{getProgram(), getArguments()};
}

std::string ProcessDefinitionAbstract::commandLine(ShellHelpers::EnvVarOption option,
                                                   Utilities::OperatingSystem os) const {
    return ShellHelpers::generateCommandLine(getProgram(), getArguments(), option, os);
}

std::string ProcessDefinitionAbstract::additionalArguments() const {
    return {};
}

ProcessDefinition::ProcessDefinition(std::string program, std::vector<std::string> arguments,
                                     std::string workingDirectory, EnvironmentVariableModel environment)
    : m_program(std::move(program)), m_arguments(std::move(arguments)),
      m_workingDirectory(std::move(workingDirectory)), m_environment(std::move(environment)) {}

ProcessDefinition::ProcessDefinition(const ProcessDefinitionAbstract& other)
    : m_program(other.getProgram()), m_arguments(other.getArguments()),
      m_workingDirectory(other.getWorkingDirectory()), m_environment(other.environment()) {}

namespace ProcessHelperFunctions {

std::optional<std::string> locateProgram(const std::string& name, const std::string& workingDirectory,
                                         const std::vector<std::string>& searchPaths) {
    // "./tool" is looked for like "tool": in the working directory first.
    std::string program = name;
    if (!program.empty() && program.front() == '.')
        program.erase(0, 2);
    if (program.empty())
        return std::nullopt;

    // A path from a root is taken as it is, or not at all.
    const bool absolute = (program.size() > 1 && program[1] == ':') || Path::UNCPrefixLength(program) >= 2 ||
                          Path::isAbsolutePath(program);
    if (absolute)
        return File::isExecutable(program) ? std::optional<std::string>(program) : std::nullopt;

    if (!workingDirectory.empty()) {
        std::string candidate = workingDirectory + "/" + program;
        if (File::isExecutable(candidate))
            return candidate;
    }
    for (const std::string& folder : searchPaths) {
        if (folder.empty() || !Directory::exists(folder))
            continue;
        std::string candidate = folder + "/" + program;
        if (File::isExecutable(candidate))
            return candidate;
    }
    return std::nullopt;
}

std::optional<std::string> locateProgram(const ProcessDefinitionAbstract& definition,
                                         const std::vector<std::string>& searchPaths) {
    return locateProgram(definition.getProgram(), definition.getWorkingDirectory(), searchPaths);
}

} // namespace ProcessHelperFunctions

ProcessDefinitionAdditionalMPIArguments ProcessDefinitionAdditionalMPIArguments::fromEnvironment() {
    return fromCommandLine(
        SystemEnvironmentVariables::instance().getVersionedEnvironmentVariable("KV_TESSEL_MPI_ARGS", ""));
}

ProcessDefinitionAdditionalMPIArguments ProcessDefinitionAdditionalMPIArguments::fromCommandLine(
    const std::string& text) {
    return ProcessDefinitionAdditionalMPIArguments(
        ShellHelpers::splitCommandLine(text, true, Utilities::OperatingSystem::Windows));
}

bool ProcessDefinitionAdditionalMPIArguments::contains(const std::string& text) const {
    return std::find(m_arguments.begin(), m_arguments.end(), text) != m_arguments.end();
}

bool ProcessDefinitionAdditionalMPIArguments::containsAll(const std::set<std::string>& texts) const {
    return std::all_of(texts.begin(), texts.end(), [this](const std::string& t) { return contains(t); });
}

bool ProcessDefinitionAdditionalMPIArguments::containsAny(const std::set<std::string>& texts) const {
    return std::any_of(texts.begin(), texts.end(), [this](const std::string& t) { return contains(t); });
}

bool ProcessDefinitionAdditionalMPIArguments::containsNone(const std::set<std::string>& texts) const {
    return !containsAny(texts);
}

} // namespace FileSystem
