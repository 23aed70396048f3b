#include <FileSystem/process/detail/MPIHelpers.h>

#include <FileSystem/paths/Path.h>

#include <algorithm>
#include <cctype>

namespace FileSystem::detail {

std::string versionText(const MPIDefinition::Version& version) {
    std::string text;
    for (std::size_t i = 0; i < MPIDefinition::Version::size() && version[i] >= 0; ++i) {
        if (i)
            text += '.';
        text += std::to_string(version[i]);
    }
    return text;
}

std::string expandDirectory(const std::string& directory) {
    return parseEnvironmentVariables(directory, EnvironmentVariableModelROAbstract::defaultOperatingSystem());
}

std::optional<std::string> liveValue(const std::string& name) {
    return SystemEnvironmentVariables::instance().getOptionalVersionedEnvironmentVariable(name);
}

void prependToList(EnvironmentVariableModel& environment, const std::string& name,
                   const std::vector<std::string>& entries, const std::string& separator) {
    // A launch environment without the variable gets the live value behind the
    // new entries, so that the launcher keeps finding the system's programs.
    std::optional<std::string> current = environment.getOptionalEnvironmentVariable(name);
    if (!current)
        current = SystemEnvironmentVariables::instance().getOptionalEnvironmentVariable(name);
    std::list<std::string> items;
    if (current && !current->empty())
        items = splitListEnvironmentVariableValue(*current, separator);
    for (auto entry = entries.rbegin(); entry != entries.rend(); ++entry) {
        items.remove(*entry);
        items.push_front(*entry);
    }
    environment.setEnvironmentVariable(name, joinListEnvironmentVariableValue(items, separator));
}

bool holdsAny(const ProcessDefinitionAdditionalMPIArguments& additional, std::initializer_list<const char*> options) {
    return std::any_of(options.begin(), options.end(), [&](const char* option) { return additional.contains(option); });
}

std::vector<std::string> rootsOf(const std::string& devFolder, const std::vector<std::string>& variables) {
    std::vector<std::string> roots;
    if (!devFolder.empty())
        if (auto devRoot = liveValue("DEVROOT"); devRoot && !devRoot->empty())
            roots.push_back(*devRoot + "/" + devFolder);
    for (const std::string& variable : variables)
        if (auto value = liveValue(variable); value && !value->empty())
            roots.push_back(*value);
    return roots;
}

namespace {

std::string cleaned(const std::string& path) {
    std::string result = Path::removeRedundentRelativeSegments(Path::makeForwardSlashes(path));
    while (result.size() > 1 && result.back() == '/')
        result.pop_back();
    return result;
}

} // namespace

std::string lowered(std::string text) {
    for (char& c : text)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

std::vector<std::string> intelMPIRoots() {
    std::vector<std::string> roots = rootsOf("IMPIDIR", {"KV_TESSEL_IMPI_ROOT", "I_MPI_ROOT"});
    if (auto oneApi = liveValue("I_MPI_ONEAPI_ROOT"); oneApi && !oneApi->empty())
        roots.push_back(*oneApi + "/mpi/latest");
    return roots;
}

bool isBelowAny(const std::string& path, const std::vector<std::string>& roots) {
    if (path.empty())
        return false;
    const std::string full = cleaned(path);
    for (const std::string& candidate : roots) {
        const std::string root = cleaned(candidate);
        if (root.empty())
            continue;
        if (full.compare(0, root.size(), root) != 0)
            continue;
        // "/opt/mpi" holds "/opt/mpi/lib/x" but not "/opt/mpi2/lib/x".
        if (full.size() == root.size() || full[root.size()] == '/' || root.back() == '/')
            return true;
    }
    return false;
}

std::string installationRoot(const std::string& libraryPath, std::initializer_list<const char*> extraSteps) {
    std::string root = Path::stripLastToken(cleaned(libraryPath));
    for (int step = 0; step < 4 && !root.empty(); ++step) {
        const std::string last = lowered(Path::getLastToken(root));
        bool libraryFolder = last == "lib" || last == "lib64" || last.find("-linux-") != std::string::npos;
        for (const char* extra : extraSteps)
            libraryFolder = libraryFolder || last == lowered(extra);
        if (!libraryFolder)
            break;
        root = Path::stripLastToken(root);
    }
    return cleaned(root);
}

void appendAdditionalAndChild(std::vector<std::string>& arguments,
                              const ProcessDefinitionAdditionalMPIArguments& additional,
                              const ProcessDefinitionAbstract* child) {
    arguments.insert(arguments.end(), additional.begin(), additional.end());
    if (child == nullptr)
        return;
    arguments.push_back(child->getProgram());
    for (std::string& argument : child->getArguments())
        arguments.push_back(std::move(argument));
}

std::vector<std::string> mpichArguments(const ProcessDefinitionAbstract* child,
                                        const ProcessDefinitionAdditionalMPIArguments& additional,
                                        std::uint64_t numberOfProcesses, const std::string& machineFile,
                                        bool printAllExitCodes) {
    std::vector<std::string> arguments;
    if (numberOfProcesses != 0 && !holdsAny(additional, {"-n", "-np"})) {
        arguments.push_back("-n");
        arguments.push_back(std::to_string(numberOfProcesses));
    }
    if (!machineFile.empty() && !holdsAny(additional, {"-machinefile", "-f"})) {
        arguments.push_back("-machinefile");
        arguments.push_back(machineFile);
    }
    if (printAllExitCodes && !additional.contains("-print-all-exitcodes"))
        arguments.push_back("-print-all-exitcodes");
    if (child != nullptr) {
        const std::string directory = child->getWorkingDirectory();
        if (!directory.empty() && !holdsAny(additional, {"-wdir", "-dir"})) {
            arguments.push_back("-wdir");
            arguments.push_back(directory);
        }
    }
    appendAdditionalAndChild(arguments, additional, child);
    return arguments;
}

std::string machineFileLines(const std::map<std::string, std::uint64_t>& machines, const std::string& separator) {
    std::string content;
    for (const auto& [host, slots] : machines)
        content += host + separator + std::to_string(slots) + "\n";
    return content;
}

} // namespace FileSystem::detail
