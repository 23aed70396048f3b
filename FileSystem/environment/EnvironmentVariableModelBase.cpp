// The versioned and platform lookups, built on the four primitives of a model.

#include <FileSystem/environment/EnvironmentVariableModel.h>

namespace FileSystem {

namespace {

using Version = EnvironmentVariableModelROAbstract::Version;
using Platform = EnvironmentVariableModelROAbstract::Platform;
using Model = EnvironmentVariableModelROAbstract;

std::vector<std::string> possibleVersioned(const std::string& name, const Version& version) {
    if (name.empty())
        return {};
    std::vector<std::string> names;
    for (const std::string& v : Model::createVersionStringList(version))
        names.push_back(Model::createVersionedEnvironmentVariable(name, v));
    names.push_back(name);
    return names;
}

std::vector<std::string> possiblePlatform(const std::string& name, const Platform& platform) {
    if (name.empty())
        return {};
    std::vector<std::string> names;
    for (const std::string& p : Model::createPlatformStringList(platform))
        names.push_back(Model::createPlatformEnvironmentVariable(name, p));
    names.push_back(name);
    return names;
}

/// The platform ranks above the version: every version of the full platform,
/// the full platform, then the system alone likewise, then the plain name.
std::vector<std::string> possibleVersionedPlatform(const std::string& name, const Version& version,
                                                   const Platform& platform) {
    if (name.empty())
        return {};
    const std::vector<std::string> versions = Model::createVersionStringList(version);
    std::vector<std::string> names;
    for (const std::string& p : Model::createPlatformStringList(platform)) {
        const std::string platformName = Model::createPlatformEnvironmentVariable(name, p);
        for (const std::string& v : versions)
            names.push_back(Model::createVersionedEnvironmentVariable(platformName, v));
        names.push_back(platformName);
    }
    for (const std::string& v : versions)
        names.push_back(Model::createVersionedEnvironmentVariable(name, v));
    names.push_back(name);
    return names;
}

/// The variables whose names begin with `name` (bytes, case-sensitive), with
/// `name` itself first entered by the model's own ordering.
template <class Enter>
void forEachStartingWith(const Model::data_type& all, const std::string& name, Enter enter) {
    for (const auto& [variable, value] : all) {
        if (variable.compare(0, name.size(), name) != 0)
            continue;
        enter(variable, value);
    }
}

} // namespace

std::optional<std::string> EnvironmentVariableModelBase::firstValue(const std::vector<std::string>& names) const {
    for (const std::string& name : names)
        if (auto value = getOptionalEnvironmentVariable(name))
            return value;
    return std::nullopt;
}

std::optional<std::string> EnvironmentVariableModelBase::firstExisting(const std::vector<std::string>& names) const {
    for (const std::string& name : names)
        if (hasEnvironmentVariable(name))
            return name;
    return std::nullopt;
}

std::vector<std::string> EnvironmentVariableModelBase::existing(const std::vector<std::string>& names) const {
    std::vector<std::string> found;
    for (const std::string& name : names)
        if (hasEnvironmentVariable(name))
            found.push_back(name);
    return found;
}

std::string EnvironmentVariableModelBase::getEnvironmentVariable(const std::string& name,
                                                                 const std::string& defaultValue) const {
    return getOptionalEnvironmentVariable(name).value_or(defaultValue);
}

// ---- Versions ----------------------------------------------------------------

std::vector<std::string> EnvironmentVariableModelBase::getPossibleVersionedEnvironmentVariables(
    const std::string& name, const Version& version) const {
    return possibleVersioned(name, version);
}

std::vector<std::string> EnvironmentVariableModelBase::getActiveVersionedEnvironmentVariables(
    const std::string& name, const Version& version) const {
    return existing(getPossibleVersionedEnvironmentVariables(name, version));
}

std::optional<std::string> EnvironmentVariableModelBase::getOptionalActiveVersionedEnvironmentVariable(
    const std::string& name, const Version& version) const {
    return firstExisting(getPossibleVersionedEnvironmentVariables(name, version));
}

std::string EnvironmentVariableModelBase::getActiveVersionedEnvironmentVariable(const std::string& name,
                                                                                const Version& version) const {
    return getOptionalActiveVersionedEnvironmentVariable(name, version).value_or(name);
}

std::optional<std::string> EnvironmentVariableModelBase::getOptionalVersionedEnvironmentVariable(
    const std::string& name, const Version& version) const {
    return firstValue(getPossibleVersionedEnvironmentVariables(name, version));
}

std::string EnvironmentVariableModelBase::getVersionedEnvironmentVariable(const std::string& name,
                                                                          const std::string& defaultValue,
                                                                          const Version& version) const {
    return getOptionalVersionedEnvironmentVariable(name, version).value_or(defaultValue);
}

bool EnvironmentVariableModelBase::hasVersionedEnvironmentVariable(const std::string& name) const {
    if (name.empty())
        return hasEnvironmentVariable(name);
    return firstExisting(getPossibleVersionedEnvironmentVariables(name, defaultEnvironmentVariableVersion()))
        .has_value();
}

bool EnvironmentVariableModelBase::setVersionedEnvironmentVariable(const std::string& name, const std::string& value,
                                                                   const Version& version) {
    return setEnvironmentVariable(createVersionedEnvironmentVariable(name, version), value);
}

Model::VersionMap EnvironmentVariableModelBase::getAllVersionedEnvironmentVariables(const std::string& name) const {
    const data_type all = getAllEnvironmentVariables();
    VersionMap result;
    if (const auto it = all.find(name); it != all.end())
        result[Version()] = it->second;
    forEachStartingWith(all, name, [&](const std::string& variable, const std::string& value) {
        if (variable.size() == name.size()) {
            result[Version()] = value;
            return;
        }
        const Version version = extractVersionFromVariable(variable);
        if (version[0] >= 0)
            result[version] = value;
    });
    return result;
}

// ---- Platforms ---------------------------------------------------------------

std::vector<std::string> EnvironmentVariableModelBase::getPossiblePlatformEnvironmentVariables(
    const std::string& name, const Platform& platform) const {
    return possiblePlatform(name, platform);
}

std::vector<std::string> EnvironmentVariableModelBase::getActivePlatformEnvironmentVariables(
    const std::string& name, const Platform& platform) const {
    return existing(getPossiblePlatformEnvironmentVariables(name, platform));
}

std::optional<std::string> EnvironmentVariableModelBase::getOptionalActivePlatformEnvironmentVariable(
    const std::string& name, const Platform& platform) const {
    return firstExisting(getPossiblePlatformEnvironmentVariables(name, platform));
}

std::string EnvironmentVariableModelBase::getActivePlatformEnvironmentVariable(const std::string& name,
                                                                               const Platform& platform) const {
    return getOptionalActivePlatformEnvironmentVariable(name, platform).value_or(name);
}

std::optional<std::string> EnvironmentVariableModelBase::getOptionalPlatformEnvironmentVariable(
    const std::string& name, const Platform& platform) const {
    return firstValue(getPossiblePlatformEnvironmentVariables(name, platform));
}

std::string EnvironmentVariableModelBase::getPlatformEnvironmentVariable(const std::string& name,
                                                                         const std::string& defaultValue,
                                                                         const Platform& platform) const {
    return getOptionalPlatformEnvironmentVariable(name, platform).value_or(defaultValue);
}

bool EnvironmentVariableModelBase::hasPlatformEnvironmentVariable(const std::string& name) const {
    if (name.empty())
        return hasEnvironmentVariable(name);
    return firstExisting(getPossiblePlatformEnvironmentVariables(name, defaultPlatform())).has_value();
}

bool EnvironmentVariableModelBase::setPlatformEnvironmentVariable(const std::string& name, const std::string& value,
                                                                  const Platform& platform) {
    return setEnvironmentVariable(createPlatformEnvironmentVariable(name, platform), value);
}

Model::PlatformMap EnvironmentVariableModelBase::getAllPlatformEnvironmentVariables(const std::string& name) const {
    const data_type all = getAllEnvironmentVariables();
    PlatformMap result;
    if (const auto it = all.find(name); it != all.end())
        result[Platform()] = it->second;
    forEachStartingWith(all, name, [&](const std::string& variable, const std::string& value) {
        if (variable.size() == name.size()) {
            result[Platform()] = value;
            return;
        }
        const Platform platform = extractPlatformFromVariable(variable);
        if (platform.operatingSystem != Utilities::OperatingSystem::Unknown)
            result[platform] = value;
    });
    return result;
}

// ---- Versions and platforms ----------------------------------------------------

std::vector<std::string> EnvironmentVariableModelBase::getPossibleVersionedPlatformEnvironmentVariables(
    const std::string& name, const Version& version, const Platform& platform) const {
    return possibleVersionedPlatform(name, version, platform);
}

std::vector<std::string> EnvironmentVariableModelBase::getActiveVersionedPlatformEnvironmentVariables(
    const std::string& name, const Version& version, const Platform& platform) const {
    return existing(getPossibleVersionedPlatformEnvironmentVariables(name, version, platform));
}

std::optional<std::string> EnvironmentVariableModelBase::getOptionalActiveVersionedPlatformEnvironmentVariable(
    const std::string& name, const Version& version, const Platform& platform) const {
    return firstExisting(getPossibleVersionedPlatformEnvironmentVariables(name, version, platform));
}

std::string EnvironmentVariableModelBase::getActiveVersionedPlatformEnvironmentVariable(
    const std::string& name, const Version& version, const Platform& platform) const {
    return getOptionalActiveVersionedPlatformEnvironmentVariable(name, version, platform).value_or(name);
}

std::optional<std::string> EnvironmentVariableModelBase::getOptionalVersionedPlatformEnvironmentVariable(
    const std::string& name, const Version& version, const Platform& platform) const {
    return firstValue(getPossibleVersionedPlatformEnvironmentVariables(name, version, platform));
}

std::string EnvironmentVariableModelBase::getVersionedPlatformEnvironmentVariable(const std::string& name,
                                                                                  const std::string& defaultValue,
                                                                                  const Version& version,
                                                                                  const Platform& platform) const {
    return getOptionalVersionedPlatformEnvironmentVariable(name, version, platform).value_or(defaultValue);
}

bool EnvironmentVariableModelBase::hasVersionedPlatformEnvironmentVariable(const std::string& name) const {
    if (name.empty())
        return false;
    // The platform-qualified names, then the versioned names and the plain name once more.
    const Version& version = defaultEnvironmentVariableVersion();
    const std::vector<std::string> versions = createVersionStringList(version);
    for (const std::string& p : createPlatformStringList(defaultPlatform())) {
        const std::string platformName = createPlatformEnvironmentVariable(name, p);
        for (const std::string& v : versions)
            if (hasEnvironmentVariable(createVersionedEnvironmentVariable(platformName, v)))
                return true;
        if (hasEnvironmentVariable(platformName))
            return true;
    }
    for (const std::string& v : versions)
        if (hasEnvironmentVariable(createVersionedEnvironmentVariable(name, v)))
            return true;
    return hasVersionedEnvironmentVariable(name);
}

bool EnvironmentVariableModelBase::setVersionedPlatformEnvironmentVariable(const std::string& name,
                                                                           const std::string& value,
                                                                           const Version& version,
                                                                           const Platform& platform) {
    return setEnvironmentVariable(createVersionedPlatformEnvironmentVariable(name, version, platform), value);
}

Model::VersionedPlatformMap
EnvironmentVariableModelBase::getAllVersionedPlatformEnvironmentVariables(const std::string& name) const {
    const data_type all = getAllEnvironmentVariables();
    VersionedPlatformMap result;
    if (const auto it = all.find(name); it != all.end())
        result[{Platform(), Version()}] = it->second;
    forEachStartingWith(all, name, [&](const std::string& variable, const std::string& value) {
        if (variable.size() == name.size()) {
            result[{Platform(), Version()}] = value;
            return;
        }
        if (extractVersionStringFromVariable(variable).empty()) {
            const Platform platform = extractPlatformFromVariable(variable);
            if (platform.operatingSystem != Utilities::OperatingSystem::Unknown)
                result[{platform, Version()}] = value;
            return;
        }
        const Version version = extractVersionFromVariable(variable);
        const Platform platform = extractPlatformFromVariable(stripVersionFromVariable(variable));
        result[{platform.operatingSystem != Utilities::OperatingSystem::Unknown ? platform : Platform(), version}] =
            value;
    });
    return result;
}

} // namespace FileSystem
