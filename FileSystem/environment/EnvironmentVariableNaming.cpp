// Forming and taking apart versioned and platform variable names, and the
// orders in which names and platforms sort.

#include <FileSystem/environment/EnvironmentVariableModel.h>

#include <FileSystem/utilities/BuildInfo.h>
#include <FileSystem/utilities/Unicode.h>

#include <algorithm>
#include <limits>
#include <tuple>

namespace FileSystem {

namespace {

using Version = EnvironmentVariableModelROAbstract::Version;
using Utilities::OperatingSystem;
using Utilities::Platform;
using Utilities::Processor;

const std::string kVersionPrefix = "_R";

bool isDigit(char c) { return c >= '0' && c <= '9'; }

bool isUpperLetters(const std::string& text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return c >= 'A' && c <= 'Z'; });
}

bool namesOperatingSystem(const std::string& text) {
    return Utilities::operatingSystemFromString(text) != OperatingSystem::Unknown;
}

bool namesProcessor(const std::string& text) { return Utilities::processorFromString(text) != Processor::Unknown; }

/// The position of the "_R" before `end` (exclusive), or npos.
std::size_t previousVersionPrefix(const std::string& text, std::size_t end) {
    if (end == std::string::npos || end == 0)
        return std::string::npos;
    return text.rfind(kVersionPrefix, end - 1);
}

/// Unknown values sort after all known ones.
int sortKey(int value) { return value == 0 ? std::numeric_limits<int>::max() : value; }

/// The walk that looks for a platform behind the version prefixes of a name.
/// `strict` also asks every candidate to be upper-case letters only. Each
/// candidate text starts behind "_" of a "_R", so it always starts with 'R' and
/// never names a system or processor: no name yields a platform.
std::pair<std::string, Platform> findPlatform(const std::string& variable, bool strict) {
    const auto acceptable = [strict](const std::string& text) { return !strict || isUpperLetters(text); };
    const std::size_t last = variable.rfind(kVersionPrefix);
    if (last == std::string::npos)
        return {};
    const std::string behind = variable.substr(last + 1);
    if (namesProcessor(behind) && acceptable(behind)) {
        const std::size_t before = previousVersionPrefix(variable, last);
        if (before != std::string::npos) {
            const std::string system = variable.substr(before + 1, last - before - 1);
            if (namesOperatingSystem(system) && acceptable(system))
                return {variable.substr(before),
                        Platform(Utilities::operatingSystemFromString(system), Utilities::processorFromString(behind))};
        }
        return {};
    }
    if (namesOperatingSystem(behind) && acceptable(behind))
        return {behind, Platform(Utilities::operatingSystemFromString(behind))};
    const std::size_t before = previousVersionPrefix(variable, last);
    if (before == std::string::npos)
        return {};
    const std::string processor = variable.substr(before + 1);
    if (!namesProcessor(processor) || !acceptable(processor))
        return {};
    const std::size_t first = previousVersionPrefix(variable, before);
    if (first == std::string::npos)
        return {};
    const std::string system = variable.substr(first + 1, before - first - 1);
    if (!namesOperatingSystem(system) || !acceptable(system))
        return {};
    return {variable.substr(first),
            Platform(Utilities::operatingSystemFromString(system), Utilities::processorFromString(processor))};
}

} // namespace

// ---- Sorting -----------------------------------------------------------------

EnvironmentVariableSort::EnvironmentVariableSort() : m_system(Utilities::buildOperatingSystem()) {}

bool EnvironmentVariableSort::operator()(const std::string& a, const std::string& b) const {
    if (m_system == OperatingSystem::Windows)
        return Utilities::toUpperUtf8(a) < Utilities::toUpperUtf8(b);
    return a < b;
}

bool EnvironmentVariablePlatformSorter::operator()(const Platform& a, const Platform& b) const {
    return std::make_tuple(sortKey(int(a.operatingSystem)), sortKey(int(a.processor))) <
           std::make_tuple(sortKey(int(b.operatingSystem)), sortKey(int(b.processor)));
}

bool EnvironmentVariablePlatformSorter::operator()(const std::pair<Platform, Version>& a,
                                                   const std::pair<Platform, Version>& b) const {
    if ((*this)(a.first, b.first))
        return true;
    if ((*this)(b.first, a.first))
        return false;
    return a.second < b.second;
}

// ---- Constants ---------------------------------------------------------------

const std::string& EnvironmentVariableModelROAbstract::defaultEvironmentVariableVersionPrefix() {
    return kVersionPrefix;
}

const std::string& EnvironmentVariableModelROAbstract::defaultEvironmentVariableVersionSeparator() {
    static const std::string separator = "_";
    return separator;
}

const std::string& EnvironmentVariableModelROAbstract::defaultEvironmentVariablePlatformPrefix() {
    static const std::string prefix = "_";
    return prefix;
}

const std::string& EnvironmentVariableModelROAbstract::defaultEvironmentVariablePlatformSeparator() {
    static const std::string separator = "_";
    return separator;
}

const Version& EnvironmentVariableModelROAbstract::defaultEnvironmentVariableVersion() {
    static const Version version = Utilities::libraryVersion();
    return version;
}

OperatingSystem EnvironmentVariableModelROAbstract::defaultOperatingSystem() {
    return Utilities::buildOperatingSystem();
}

const Platform& EnvironmentVariableModelROAbstract::defaultPlatform() {
    static const Platform platform = Utilities::buildPlatform();
    return platform;
}

// ---- Versions ----------------------------------------------------------------

std::string EnvironmentVariableModelROAbstract::createVersionString(const Version& version) {
    std::string text;
    for (std::size_t i = 0; i < Version::size() && version[i] >= 0; ++i)
        text += (i ? defaultEvironmentVariableVersionSeparator() : std::string()) + std::to_string(version[i]);
    return text;
}

std::vector<std::string> EnvironmentVariableModelROAbstract::createVersionStringList(const Version& version) {
    std::vector<std::string> list;
    for (std::size_t length = 0; length < Version::size() && version[length] >= 0; ++length) {
        Version prefix;
        for (std::size_t i = 0; i <= length; ++i)
            prefix[i] = version[i];
        list.insert(list.begin(), createVersionString(prefix));
    }
    return list;
}

std::string EnvironmentVariableModelROAbstract::createVersionedEnvironmentVariable(const std::string& name,
                                                                                   const Version& version) {
    return createVersionedEnvironmentVariable(name, createVersionString(version));
}

std::string EnvironmentVariableModelROAbstract::createVersionedEnvironmentVariable(const std::string& name,
                                                                                   const std::string& versionString) {
    return versionString.empty() ? name : name + kVersionPrefix + versionString;
}

std::string EnvironmentVariableModelROAbstract::extractVersionStringFromVariable(const std::string& variable) {
    const std::size_t prefix = variable.rfind(kVersionPrefix);
    if (prefix == std::string::npos)
        return {};
    const std::string text = variable.substr(prefix + kVersionPrefix.size());
    for (std::size_t i = 0; i < text.size(); ++i)
        if (!isDigit(text[i]) && (text[i] != '_' || i == 0))
            return {};
    return text;
}

Version EnvironmentVariableModelROAbstract::extractVersionFromVariable(const std::string& variable) {
    return Version(extractVersionStringFromVariable(variable), defaultEvironmentVariableVersionSeparator());
}

std::string EnvironmentVariableModelROAbstract::stripVersionFromVariable(const std::string& variable) {
    const std::string version = extractVersionStringFromVariable(variable);
    return variable.substr(0, variable.size() - version.size());
}

// ---- Platforms ---------------------------------------------------------------

std::string EnvironmentVariableModelROAbstract::createPlatformString(const Platform& platform) {
    std::string text = Utilities::toString(platform.operatingSystem, Utilities::TextCase::Upper);
    if (platform.processor != Processor::Unknown)
        text += defaultEvironmentVariablePlatformSeparator() +
                Utilities::toString(platform.processor, Utilities::TextCase::Upper);
    return text;
}

std::vector<std::string> EnvironmentVariableModelROAbstract::createPlatformStringList(const Platform& platform) {
    if (platform.operatingSystem == OperatingSystem::Unknown)
        return {};
    std::vector<std::string> list;
    if (platform.processor != Processor::Unknown)
        list.push_back(createPlatformString(platform));
    list.push_back(createPlatformString(Platform(platform.operatingSystem)));
    return list;
}

std::string EnvironmentVariableModelROAbstract::createPlatformEnvironmentVariable(const std::string& name,
                                                                                  const Platform& platform) {
    return createPlatformEnvironmentVariable(name, createPlatformString(platform));
}

std::string EnvironmentVariableModelROAbstract::createPlatformEnvironmentVariable(const std::string& name,
                                                                                  const std::string& platformString) {
    return platformString.empty() ? name : name + defaultEvironmentVariablePlatformPrefix() + platformString;
}

std::string EnvironmentVariableModelROAbstract::createVersionedPlatformEnvironmentVariable(const std::string& name,
                                                                                          const Version& version,
                                                                                          const Platform& platform) {
    return createVersionedPlatformEnvironmentVariable(name, createVersionString(version), createPlatformString(platform));
}

std::string EnvironmentVariableModelROAbstract::createVersionedPlatformEnvironmentVariable(
    const std::string& name, const std::string& versionString, const std::string& platformString) {
    return createVersionedEnvironmentVariable(createPlatformEnvironmentVariable(name, platformString), versionString);
}

std::string EnvironmentVariableModelROAbstract::extractPlatformStringFromVariable(const std::string& variable) {
    return findPlatform(variable, false).first;
}

Platform EnvironmentVariableModelROAbstract::extractPlatformFromVariable(const std::string& variable) {
    return findPlatform(variable, true).second;
}

} // namespace FileSystem
