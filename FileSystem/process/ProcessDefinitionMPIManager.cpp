#include <FileSystem/process/ProcessDefinitionMPIManager.h>

#include <FileSystem/paths/Path.h>
#include <FileSystem/process/ProcessDefinitionMPICHLinux.h>
#include <FileSystem/process/ProcessDefinitionMPIOpenMPILinux.h>

#include <algorithm>

namespace FileSystem {

namespace {

bool typeLess(const std::unique_ptr<ProcessDefinitionMPIConstructorAbstract>& constructor,
              ProcessDefinitionMPIType type) {
    return static_cast<int>(constructor->type()) < static_cast<int>(type);
}

} // namespace

// The built-in definitions of this build register when the registry is first
// used, which is before any lookup can see it: the same as registering at load,
// without depending on the order of static initialisers.
ProcessDefinitionMPIManager::ProcessDefinitionMPIManager() {
    registerConstructor(std::make_unique<MPIDefinitionConstructor<ProcessDefinitionIntelMPILinux>>());
    registerConstructor(std::make_unique<MPIDefinitionConstructor<ProcessDefinitionMPICHLinux>>());
    registerConstructor(std::make_unique<MPIDefinitionConstructor<ProcessDefinitionMVAPICH2Linux>>());
    registerConstructor(std::make_unique<MPIDefinitionConstructor<ProcessDefinitionMPICHCommonABILinux>>());
    registerConstructor(std::make_unique<MPIDefinitionConstructor<ProcessDefinitionMPIOpenMPILinux>>());
}

ProcessDefinitionMPIManager::~ProcessDefinitionMPIManager() = default;

ProcessDefinitionMPIManager& ProcessDefinitionMPIManager::instance() {
    static ProcessDefinitionMPIManager manager;
    return manager;
}

ProcessDefinitionMPIConstructorAbstract* ProcessDefinitionMPIManager::registerConstructor(
    std::unique_ptr<ProcessDefinitionMPIConstructorAbstract> constructor) {
    if (!constructor)
        return nullptr;
    const ProcessDefinitionMPIType type = constructor->type();
    auto position = std::lower_bound(m_constructors.begin(), m_constructors.end(), type, typeLess);
    if (position != m_constructors.end() && (*position)->type() == type)
        return nullptr;
    return m_constructors.insert(position, std::move(constructor))->get();
}

std::unique_ptr<ProcessDefinitionMPIConstructorAbstract> ProcessDefinitionMPIManager::unregisterConstructor(
    ProcessDefinitionMPIConstructorAbstract* constructor) {
    auto found = std::find_if(m_constructors.begin(), m_constructors.end(),
                              [constructor](const auto& owned) { return owned.get() == constructor; });
    if (constructor == nullptr || found == m_constructors.end())
        return nullptr;
    std::unique_ptr<ProcessDefinitionMPIConstructorAbstract> owned = std::move(*found);
    m_constructors.erase(found);
    return owned;
}

const ProcessDefinitionMPIConstructorAbstract* ProcessDefinitionMPIManager::findConstructor(
    ProcessDefinitionMPIType type) const {
    auto position = std::lower_bound(m_constructors.begin(), m_constructors.end(), type, typeLess);
    if (position != m_constructors.end() && (*position)->type() == type)
        return position->get();
    return nullptr;
}

const ProcessDefinitionMPIConstructorAbstract* ProcessDefinitionMPIManager::findPreferedConstructor(
    ProcessDefinitionMPIType type) const {
    const ProcessDefinitionMPIConstructorAbstract* constructor = findConstructor(type);
    // A chain longer than the registry has constructors runs in a circle.
    for (std::size_t steps = 0; constructor != nullptr; ++steps) {
        const ProcessDefinitionMPIType next = constructor->preferedType();
        if (next == ProcessDefinitionMPIType::None || next == type)
            return constructor;
        if (steps >= m_constructors.size())
            return nullptr;
        type = next;
        constructor = findConstructor(type);
    }
    return nullptr;
}

bool ProcessDefinitionMPIManager::mpiAvailable(ProcessDefinitionMPIType type, bool prefered) const {
    return (prefered ? findPreferedConstructor(type) : findConstructor(type)) != nullptr;
}

std::optional<MPIDefinition> ProcessDefinitionMPIManager::getMPIDefinition(ProcessDefinitionMPIType type) const {
    if (const auto* constructor = findConstructor(type))
        return constructor->definition();
    return std::nullopt;
}

std::vector<MPIDefinition> ProcessDefinitionMPIManager::getAllMPIDefinitions() const {
    std::vector<MPIDefinition> definitions;
    for (const auto& constructor : m_constructors)
        definitions.push_back(constructor->definition());
    return definitions;
}

ProcessDefinitionMPIType ProcessDefinitionMPIManager::getPreferedMPIType(ProcessDefinitionMPIType type) const {
    const auto* constructor = findPreferedConstructor(type);
    return constructor ? constructor->type() : ProcessDefinitionMPIType::None;
}

std::unique_ptr<ProcessDefinitionMPIAbstract> ProcessDefinitionMPIManager::create(
    ProcessDefinitionMPIType type, std::unique_ptr<ProcessDefinitionAbstract> child, const std::string& machineFile,
    std::uint64_t numberOfProcesses, const std::string& workingDirectory, bool reportErrors, bool prefered) const {
    if (!child)
        return nullptr;
    return create(type, std::move(child), machineFile, numberOfProcesses, workingDirectory,
                  ProcessDefinitionAdditionalMPIArguments::fromEnvironment(), reportErrors, prefered);
}

std::unique_ptr<ProcessDefinitionMPIAbstract> ProcessDefinitionMPIManager::create(
    ProcessDefinitionMPIType type, std::unique_ptr<ProcessDefinitionAbstract> child, const std::string& machineFile,
    std::uint64_t numberOfProcesses, const std::string& workingDirectory,
    const ProcessDefinitionAdditionalMPIArguments& additional, bool reportErrors, bool prefered) const {
    if (!child)
        return nullptr;
    const auto* constructor = prefered ? findPreferedConstructor(type) : findConstructor(type);
    if (constructor == nullptr)
        return nullptr;
    return constructor->create(std::move(child), workingDirectory, numberOfProcesses, machineFile, additional,
                               reportErrors);
}

std::unique_ptr<ProcessDefinitionMPIAbstract> ProcessDefinitionMPIManager::createDefault(
    std::unique_ptr<ProcessDefinitionAbstract> child, const std::string& machineFile, std::uint64_t numberOfProcesses,
    const std::string& workingDirectory, bool reportErrors, bool prefered) const {
    return create(defaultType, std::move(child), machineFile, numberOfProcesses, workingDirectory, reportErrors,
                  prefered);
}

std::unique_ptr<ProcessDefinitionMPIAbstract> ProcessDefinitionMPIManager::createBasedOnApplicatioName(
    std::unique_ptr<ProcessDefinitionAbstract> child, const std::string& machineFile, std::uint64_t numberOfProcesses,
    const std::string& workingDirectory, bool reportErrors, bool prefered) const {
    if (!child)
        return nullptr;
    const ProcessDefinitionMPIType type = determineMPITypeFromApplicationName(child->getProgram()).second;
    return create(type, std::move(child), machineFile, numberOfProcesses, workingDirectory, reportErrors, prefered);
}

std::pair<std::string, ProcessDefinitionMPIType> ProcessDefinitionMPIManager::determineMPITypeFromApplicationName(
    const std::string& name) const {
    std::string base = Path::stripExtension(Path::getLastToken(name));
    const std::size_t underscore = base.rfind('_');
    if (underscore == std::string::npos)
        return {base, defaultType};
    const ProcessDefinitionMPIType type =
        processDefinitionMPITypeFromString(base.substr(underscore + 1), ProcessDefinitionMPIType::None);
    base.erase(underscore);
    return {base, type};
}

std::string ProcessDefinitionMPIManager::generateApplicationName(ProcessDefinitionMPIType type,
                                                                 const std::string& name,
                                                                 const std::string& suffix) const {
    std::string result = Path::stripExtension(name);
    const auto* constructor = findPreferedConstructor(type);
    const auto* unsuffixed = findPreferedConstructor(ProcessDefinitionMPIType::MicrosoftMPI);
    if (constructor != nullptr && constructor != unsuffixed &&
        constructor->namingType() != ProcessDefinitionMPIType::MicrosoftMPI)
        result += "_" + processDefinitionMPITypeToString(constructor->namingType(), true);
    if (!suffix.empty())
        result += "." + suffix;
    return result;
}

std::string ProcessDefinitionMPIManager::generateMachineFileContent(ProcessDefinitionMPIType type,
                                                                    const Machines& machines) const {
    const auto* constructor = findConstructor(type);
    return constructor ? constructor->generateMachineFileContent(machines) : std::string();
}

std::string ProcessDefinitionMPIManager::generateMachineFileContent(ProcessDefinitionMPIType type,
                                                                    std::uint64_t count) const {
    return generateMachineFileContent(type, Machines{{"localhost", count}});
}

} // namespace FileSystem
