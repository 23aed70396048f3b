#include <FileSystem/process/ProcessDefinitionMPIBase.h>

#include <FileSystem/environment/DynamicLibraryLinker.h>
#include <FileSystem/files/File.h>
#include <FileSystem/files/FileMetaData.h>
#include <FileSystem/paths/Path.h>
#include <FileSystem/process/detail/MPIHelpers.h>

#include <array>
#include <cctype>
#include <mutex>
#include <stdexcept>

namespace FileSystem {

namespace {

struct TypeText {
    ProcessDefinitionMPIType type;
    const char* longText;
    const char* shortText;
};

constexpr std::array<TypeText, 7> kTypeTexts{{
    {ProcessDefinitionMPIType::None, "", ""},
    {ProcessDefinitionMPIType::MicrosoftMPI, "MicrosoftMPI", "MSMPI"},
    {ProcessDefinitionMPIType::IntelMPI, "IntelMPI", "IMPI"},
    {ProcessDefinitionMPIType::MPICH, "MPICH", "MPICH"},
    {ProcessDefinitionMPIType::MVAPICH2, "MVAPICH2", "MVAPICH2"},
    {ProcessDefinitionMPIType::MPICHCommonABI, "MPICHCommonABI", "MPICHCommonABI"},
    {ProcessDefinitionMPIType::OpenMPI, "OpenMPI", "OMPI"},
}};

// Presence of the variables that switch location and checks off, read once:
// a launch must not change its mind halfway through a run.
bool useDefaultMPI() {
    static const bool value = SystemEnvironmentVariables::instance().hasEnvironmentVariable("KV_TESSEL_MPI_USE_DEFAULT");
    return value;
}

bool skipVersionCheck() {
    return SystemEnvironmentVariables::instance().hasEnvironmentVariable("KV_TESSEL_MPI_NO_VERS_CHECK");
}

// Libraries loaded to find or ask them stay loaded for the process: an MPI
// library is not made to be unloaded.
class LoadedLibraries {
public:
    static LoadedLibraries& instance() {
        static LoadedLibraries libraries;
        return libraries;
    }
    /// The library of this name or path, loaded once; null when it cannot be.
    DynamicLibraryLinker* get(const std::string& name) {
        std::lock_guard<std::mutex> lock(m_mutex);
        auto found = m_linkers.find(name);
        if (found == m_linkers.end()) {
            DynamicLibraryLinker linker = DynamicLibraryLinker::fromFile(name, DynamicLibraryLinker::OpenMode::Lazy);
            found = m_linkers.emplace(name, std::move(linker)).first;
        }
        return found->second.isOpen() ? &found->second : nullptr;
    }

private:
    LoadedLibraries() = default;
    // Never unloaded: the linkers let go of their handles without closing.
    ~LoadedLibraries() {
        for (auto& entry : m_linkers)
            entry.second.close(false);
    }
    std::mutex m_mutex;
    std::map<std::string, DynamicLibraryLinker> m_linkers;
};

std::string withoutTrailingSlashes(std::string path) {
    while (path.size() > 1 && (path.back() == '/' || path.back() == '\\'))
        path.pop_back();
    return path;
}

std::vector<std::string> libraryNames(const MPIDefinition& definition) {
    std::vector<std::string> names{definition.library};
    names.insert(names.end(), definition.libraryAlternatives.begin(), definition.libraryAlternatives.end());
    return names;
}

std::string versionSuffix(const std::optional<MPIDefinition::Version>& version) {
    if (!version)
        return {};
    return " ( library version: " + detail::versionText(*version) + ")";
}

} // namespace

std::string processDefinitionMPITypeToString(ProcessDefinitionMPIType type, bool shortForm) {
    for (const TypeText& text : kTypeTexts)
        if (text.type == type)
            return shortForm ? text.shortText : text.longText;
    return {};
}

ProcessDefinitionMPIType processDefinitionMPITypeFromString(const std::string& text,
                                                            ProcessDefinitionMPIType defaultType) {
    for (const TypeText& entry : kTypeTexts) {
        if (entry.type == ProcessDefinitionMPIType::None)
            continue;
        if (text == entry.longText || text == entry.shortText)
            return entry.type;
    }
    return defaultType;
}


namespace MPILocaterFunctions {

std::string locateMPILib(const MPIDefinition& definition, bool /*reportErrors*/) {
    if (useDefaultMPI())
        return {};
    const std::vector<std::string> names = libraryNames(definition);
    for (const std::string& directory : definition.libraryDirectories) {
        const std::string folder = withoutTrailingSlashes(detail::expandDirectory(directory));
        if (folder.empty())
            continue;
        for (const std::string& name : names) {
            const std::string candidate = folder + "/" + name;
            if (File::exists(candidate))
                return Path::removeRedundentRelativeSegments(candidate);
        }
    }
    // Not in a known place: the system's loader may know it.
    for (const std::string& name : names) {
        if (name.empty())
            continue;
        if (DynamicLibraryLinker* linker = LoadedLibraries::instance().get(name)) {
            const std::string path = linker->getPath();
            if (!path.empty())
                return Path::removeRedundentRelativeSegments(path);
        }
    }
    return {};
}

std::optional<MPIDefinition::Version> parseLibraryVersionText(const std::string& text) {
    auto isDigit = [](char c) { return std::isdigit(static_cast<unsigned char>(c)) != 0; };
    std::optional<MPIDefinition::Version> firstNumber;
    for (std::size_t i = 0; i < text.size();) {
        if (!isDigit(text[i])) {
            ++i;
            continue;
        }
        std::size_t end = i;
        while (end < text.size() && (isDigit(text[end]) || (text[end] == '.' && end + 1 < text.size() &&
                                                             isDigit(text[end + 1]))))
            ++end;
        const std::string number = text.substr(i, end - i);
        MPIDefinition::Version version(number, ".");
        if (version[0] >= 0) {
            if (number.find('.') != std::string::npos)
                return version;
            if (!firstNumber)
                firstNumber = version;
        }
        i = end;
    }
    return firstNumber;
}

std::optional<MPIDefinition::Version> libraryVersion(const std::string& libraryPath) {
    if (libraryPath.empty())
        return std::nullopt;
    // A Windows library (of a launch composed for a Windows machine) carries a
    // version record; it is read, never loaded.
    if (libraryPath.size() > 4) {
        std::string extension = libraryPath.substr(libraryPath.size() - 4);
        for (char& c : extension)
            c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        if (extension == ".dll") {
            const MPIDefinition::Version version = FileMetaData(libraryPath).getProductVersion();
            return version[0] >= 0 ? std::optional<MPIDefinition::Version>(version) : std::nullopt;
        }
    }
    DynamicLibraryLinker* linker = LoadedLibraries::instance().get(libraryPath);
    if (linker == nullptr)
        return std::nullopt;
    // int MPI_Get_library_version(char* version, int* resultlen); the standard
    // allows the call before MPI_Init. The buffer is far larger than any
    // MPI_MAX_LIBRARY_VERSION_STRING in use (8192 at most).
    using GetLibraryVersion = int (*)(char*, int*);
    auto function = reinterpret_cast<GetLibraryVersion>(linker->getFunctionPointer("MPI_Get_library_version"));
    if (function == nullptr)
        return std::nullopt;
    std::string buffer(16384, '\0');
    int length = 0;
    if (function(buffer.data(), &length) != 0)
        return std::nullopt;
    if (length < 0 || static_cast<std::size_t>(length) > buffer.size())
        length = 0;
    buffer.resize(static_cast<std::size_t>(length));
    if (const std::size_t nul = buffer.find('\0'); nul != std::string::npos)
        buffer.resize(nul);
    return parseLibraryVersionText(buffer);
}

std::string locateMPIBin(const std::string& programPath, const std::string& libraryPath,
                         const MPIDefinition& definition, bool reportErrors, bool searchPath, bool checkVersion) {
    if (!programPath.empty() && File::exists(programPath))
        return programPath;
    if (useDefaultMPI() || libraryPath.empty())
        return definition.program;

    const std::string minimum = detail::versionText(definition.minimumVersion);
    const std::optional<MPIDefinition::Version> version = libraryVersion(libraryPath);
    const bool checking = checkVersion && !skipVersionCheck();
    if (checking && !version && reportErrors)
        throw std::runtime_error("Error : MPI failure - Unable to locate " + definition.library + " of " +
                                 definition.name + ". Check installation of Microsoft MPI. Check the installation of " +
                                 definition.name + " ,or contact support. Note : a version " + minimum +
                                 " or newer is required. ");
    if (checking && version && *version < definition.minimumVersion) {
        if (reportErrors)
            throw std::runtime_error("Error : MPI failure - Installed " + definition.name + " version " +
                                     detail::versionText(*version) + " is not supported. Update to " +
                                     definition.name + " version " + minimum + " or newer, or contact support.");
        return {};
    }

    std::vector<std::string> folders;
    for (const std::string& directory : definition.binaryDirectories)
        folders.push_back(detail::expandDirectory(directory));
    if (searchPath) {
        const std::string path = SystemEnvironmentVariables::instance().getEnvironmentVariable("PATH", "");
        for (const std::string& folder :
             splitListEnvironmentVariableValue(path, EnvironmentVariableModelROAbstract::defaultOperatingSystem()))
            folders.push_back(folder);
    }
    for (const std::string& directory : folders) {
        const std::string folder = withoutTrailingSlashes(directory);
        if (folder.empty())
            continue;
        const std::string candidate = folder + "/" + definition.program;
        if (File::exists(candidate))
            return Path::removeRedundentRelativeSegments(candidate);
    }
    if (reportErrors)
        throw std::runtime_error("Error : MPI failure - unable to locate " + definition.program + " for " +
                                 definition.name + versionSuffix(version) + ". Check the installation of " +
                                 definition.name + ", or contact support. Note : a version " + minimum +
                                 " or newer is required. ");
    return {};
}

bool shouldConfigureEnvironment(const std::string& libraryPath, const std::vector<std::string>& roots) {
    if (SystemEnvironmentVariables::instance().hasEnvironmentVariable("KV_TESSEL_MPI_ENV_CONFIG"))
        return true;
    return detail::isBelowAny(libraryPath, roots);
}

} // namespace MPILocaterFunctions

ProcessDefinitionMPIBase::ProcessDefinitionMPIBase(std::unique_ptr<ProcessDefinitionAbstract> child,
                                                   const std::string& workingDirectory,
                                                   std::uint64_t numberOfProcesses, const std::string& machineFile,
                                                   const MPIDefinition& definition, bool reportErrors)
    : ProcessDefinitionMPIBase(std::move(child), workingDirectory, numberOfProcesses, machineFile, definition,
                               ProcessDefinitionAdditionalMPIArguments::fromEnvironment(), reportErrors) {}

ProcessDefinitionMPIBase::ProcessDefinitionMPIBase(std::unique_ptr<ProcessDefinitionAbstract> child,
                                                   const std::string& workingDirectory,
                                                   std::uint64_t numberOfProcesses, const std::string& machineFile,
                                                   const MPIDefinition& definition,
                                                   ProcessDefinitionAdditionalMPIArguments additional,
                                                   bool reportErrors)
    : m_child(std::move(child)), m_workingDirectory(workingDirectory),
      m_environment(m_child ? m_child->environment() : EnvironmentVariableModel()),
      m_numberOfProcesses(numberOfProcesses), m_machineFile(machineFile), m_additional(std::move(additional)),
      m_definition(definition) {
    m_library = MPILocaterFunctions::locateMPILib(m_definition, reportErrors);
    m_program = MPILocaterFunctions::locateMPIBin("", m_library, m_definition, reportErrors, true, true);
    if (!m_program.empty() && !m_library.empty() && m_definition.configureEnvironment)
        m_definition.configureEnvironment(*this);
}

std::vector<std::string> ProcessDefinitionMPIBase::getArguments() const {
    return generateMPIArguments(m_additional, m_numberOfProcesses, m_machineFile);
}

} // namespace FileSystem
