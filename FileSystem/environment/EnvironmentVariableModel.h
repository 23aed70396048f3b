#pragma once

// Environments as models: the live process environment, private copies for
// child processes, and models of another operating system's environment, all
// read through one interface. Names may carry a release version and a
// platform ("FOO_LINUX_X86_64_R2025_0"), and lookups try the most specific
// name first.

#include <FileSystem/utilities/OperatingSystem.h>
#include <FileSystem/utilities/Platform.h>
#include <FileSystem/utilities/Version.h>

#include <initializer_list>
#include <list>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace FileSystem {

/// Orders variable names as an operating system does: Windows ignores case
/// (names are folded to upper case per code point), every other system
/// compares bytes.
class EnvironmentVariableSort {
public:
    EnvironmentVariableSort();
    explicit EnvironmentVariableSort(Utilities::OperatingSystem system) : m_system(system) {}

    bool operator()(const std::string& a, const std::string& b) const;
    Utilities::OperatingSystem operatingSystem() const noexcept { return m_system; }

private:
    Utilities::OperatingSystem m_system;
};

/// Orders platforms by operating system, then processor, each ascending with
/// "unknown" after all known values; pairs with a version then by the version.
struct EnvironmentVariablePlatformSorter {
    bool operator()(const Utilities::Platform& a, const Utilities::Platform& b) const;
    bool operator()(const std::pair<Utilities::Platform, Utilities::Version<4, int>>& a,
                    const std::pair<Utilities::Platform, Utilities::Version<4, int>>& b) const;
};

/// The read interface of every environment.
class EnvironmentVariableModelROAbstract {
public:
    using data_type = std::map<std::string, std::string, EnvironmentVariableSort>;
    using Version = Utilities::Version<4, int>;
    using Platform = Utilities::Platform;
    using VersionMap = std::map<Version, std::string>;
    using PlatformMap = std::map<Platform, std::string, EnvironmentVariablePlatformSorter>;
    using VersionedPlatformMap = std::map<std::pair<Platform, Version>, std::string, EnvironmentVariablePlatformSorter>;

    virtual ~EnvironmentVariableModelROAbstract() = default;

    // ---- Primitives and plain lookups ----------------------------------------
    virtual data_type getAllEnvironmentVariables() const = 0;
    virtual bool hasEnvironmentVariable(const std::string& name) const = 0;
    virtual std::optional<std::string> getOptionalEnvironmentVariable(const std::string& name) const = 0;
    virtual std::string getEnvironmentVariable(const std::string& name, const std::string& defaultValue) const = 0;

    // ---- Versioned names -------------------------------------------------------
    virtual bool hasVersionedEnvironmentVariable(const std::string& name) const = 0;
    virtual std::string getVersionedEnvironmentVariable(const std::string& name, const std::string& defaultValue,
                                                        const Version& version = defaultEnvironmentVariableVersion()) const = 0;
    virtual std::optional<std::string> getOptionalVersionedEnvironmentVariable(
        const std::string& name, const Version& version = defaultEnvironmentVariableVersion()) const = 0;
    virtual std::optional<std::string> getOptionalActiveVersionedEnvironmentVariable(
        const std::string& name, const Version& version = defaultEnvironmentVariableVersion()) const = 0;
    virtual std::string getActiveVersionedEnvironmentVariable(
        const std::string& name, const Version& version = defaultEnvironmentVariableVersion()) const = 0;
    virtual VersionMap getAllVersionedEnvironmentVariables(const std::string& name) const = 0;
    virtual std::vector<std::string> getActiveVersionedEnvironmentVariables(
        const std::string& name, const Version& version = defaultEnvironmentVariableVersion()) const = 0;
    virtual std::vector<std::string> getPossibleVersionedEnvironmentVariables(
        const std::string& name, const Version& version = defaultEnvironmentVariableVersion()) const = 0;

    // ---- Platform names ----------------------------------------------------------
    virtual bool hasPlatformEnvironmentVariable(const std::string& name) const = 0;
    virtual std::string getPlatformEnvironmentVariable(const std::string& name, const std::string& defaultValue,
                                                       const Platform& platform = defaultPlatform()) const = 0;
    virtual std::optional<std::string> getOptionalPlatformEnvironmentVariable(
        const std::string& name, const Platform& platform = defaultPlatform()) const = 0;
    virtual PlatformMap getAllPlatformEnvironmentVariables(const std::string& name) const = 0;
    virtual std::optional<std::string> getOptionalActivePlatformEnvironmentVariable(
        const std::string& name, const Platform& platform = defaultPlatform()) const = 0;
    virtual std::string getActivePlatformEnvironmentVariable(const std::string& name,
                                                             const Platform& platform = defaultPlatform()) const = 0;
    virtual std::vector<std::string> getActivePlatformEnvironmentVariables(
        const std::string& name, const Platform& platform = defaultPlatform()) const = 0;
    virtual std::vector<std::string> getPossiblePlatformEnvironmentVariables(
        const std::string& name, const Platform& platform = defaultPlatform()) const = 0;

    // ---- Versioned platform names --------------------------------------------------
    virtual bool hasVersionedPlatformEnvironmentVariable(const std::string& name) const = 0;
    virtual std::string getVersionedPlatformEnvironmentVariable(
        const std::string& name, const std::string& defaultValue,
        const Version& version = defaultEnvironmentVariableVersion(),
        const Platform& platform = defaultPlatform()) const = 0;
    virtual std::optional<std::string> getOptionalVersionedPlatformEnvironmentVariable(
        const std::string& name, const Version& version = defaultEnvironmentVariableVersion(),
        const Platform& platform = defaultPlatform()) const = 0;
    virtual VersionedPlatformMap getAllVersionedPlatformEnvironmentVariables(const std::string& name) const = 0;
    virtual std::optional<std::string> getOptionalActiveVersionedPlatformEnvironmentVariable(
        const std::string& name, const Version& version = defaultEnvironmentVariableVersion(),
        const Platform& platform = defaultPlatform()) const = 0;
    virtual std::string getActiveVersionedPlatformEnvironmentVariable(
        const std::string& name, const Version& version = defaultEnvironmentVariableVersion(),
        const Platform& platform = defaultPlatform()) const = 0;
    virtual std::vector<std::string> getActiveVersionedPlatformEnvironmentVariables(
        const std::string& name, const Version& version = defaultEnvironmentVariableVersion(),
        const Platform& platform = defaultPlatform()) const = 0;
    virtual std::vector<std::string> getPossibleVersionedPlatformEnvironmentVariables(
        const std::string& name, const Version& version = defaultEnvironmentVariableVersion(),
        const Platform& platform = defaultPlatform()) const = 0;

    /// The text with references to variables replaced, in the form of `system`
    /// (`%NAME%` for Windows, `$NAME` and `${NAME}` for Linux).
    std::string parseEnvironmentVariables(const std::string& text, Utilities::OperatingSystem system) const;

    // ---- Forming and taking apart names ----------------------------------------------
    static const std::string& defaultEvironmentVariableVersionPrefix();
    static const std::string& defaultEvironmentVariableVersionSeparator();
    static const std::string& defaultEvironmentVariablePlatformPrefix();
    static const std::string& defaultEvironmentVariablePlatformSeparator();
    /// The library's own release.
    static const Version& defaultEnvironmentVariableVersion();
    static Utilities::OperatingSystem defaultOperatingSystem();
    static const Platform& defaultPlatform();

    /// Components joined with '_', up to the first negative one ("2025_0_1_144071").
    static std::string createVersionString(const Version& version);
    /// The string of each leading part of the version, longest first.
    static std::vector<std::string> createVersionStringList(const Version& version);
    static std::string createVersionedEnvironmentVariable(const std::string& name, const Version& version);
    static std::string createVersionedEnvironmentVariable(const std::string& name, const std::string& versionString);
    static std::string extractVersionStringFromVariable(const std::string& variable);
    static Version extractVersionFromVariable(const std::string& variable);
    static std::string stripVersionFromVariable(const std::string& variable);
    /// "WINDOWS_X86_64", "LINUX"; "" for an unknown system and processor.
    static std::string createPlatformString(const Platform& platform);
    static std::vector<std::string> createPlatformStringList(const Platform& platform);
    static std::string createPlatformEnvironmentVariable(const std::string& name, const Platform& platform);
    static std::string createPlatformEnvironmentVariable(const std::string& name, const std::string& platformString);
    static std::string createVersionedPlatformEnvironmentVariable(const std::string& name, const Version& version,
                                                                  const Platform& platform);
    static std::string createVersionedPlatformEnvironmentVariable(const std::string& name,
                                                                  const std::string& versionString,
                                                                  const std::string& platformString);
    /// Platforms can be formed into names but not read back from them: these
    /// give an empty text and an unknown platform for every name.
    static std::string extractPlatformStringFromVariable(const std::string& variable);
    static Platform extractPlatformFromVariable(const std::string& variable);
};

/// The read and write interface.
class EnvironmentVariableModelAbstract : public EnvironmentVariableModelROAbstract {
public:
    virtual bool setEnvironmentVariable(const std::string& name, const std::string& value) = 0;
    /// Sets each variable in map order; true only if all were set.
    virtual bool setEnvironmentVariables(const std::map<std::string, std::string>& variables);
    virtual bool setEnvironmentVariables(const data_type& variables);
    /// Writes the single most specific name.
    virtual bool setVersionedEnvironmentVariable(const std::string& name, const std::string& value,
                                                 const Version& version = defaultEnvironmentVariableVersion()) = 0;
    virtual bool setPlatformEnvironmentVariable(const std::string& name, const std::string& value,
                                                const Platform& platform = defaultPlatform()) = 0;
    virtual bool setVersionedPlatformEnvironmentVariable(const std::string& name, const std::string& value,
                                                         const Version& version = defaultEnvironmentVariableVersion(),
                                                         const Platform& platform = defaultPlatform()) = 0;
};

/// Every lookup of versioned and platform names, built on the primitives
/// `getAllEnvironmentVariables`, `hasEnvironmentVariable`,
/// `getOptionalEnvironmentVariable` and `setEnvironmentVariable`.
class EnvironmentVariableModelBase : public EnvironmentVariableModelAbstract {
public:
    std::string getEnvironmentVariable(const std::string& name, const std::string& defaultValue) const override;

    bool hasVersionedEnvironmentVariable(const std::string& name) const override;
    std::string getVersionedEnvironmentVariable(const std::string& name, const std::string& defaultValue,
                                                const Version& version = defaultEnvironmentVariableVersion()) const override;
    std::optional<std::string> getOptionalVersionedEnvironmentVariable(
        const std::string& name, const Version& version = defaultEnvironmentVariableVersion()) const override;
    std::optional<std::string> getOptionalActiveVersionedEnvironmentVariable(
        const std::string& name, const Version& version = defaultEnvironmentVariableVersion()) const override;
    std::string getActiveVersionedEnvironmentVariable(
        const std::string& name, const Version& version = defaultEnvironmentVariableVersion()) const override;
    VersionMap getAllVersionedEnvironmentVariables(const std::string& name) const override;
    std::vector<std::string> getActiveVersionedEnvironmentVariables(
        const std::string& name, const Version& version = defaultEnvironmentVariableVersion()) const override;
    std::vector<std::string> getPossibleVersionedEnvironmentVariables(
        const std::string& name, const Version& version = defaultEnvironmentVariableVersion()) const override;

    bool hasPlatformEnvironmentVariable(const std::string& name) const override;
    std::string getPlatformEnvironmentVariable(const std::string& name, const std::string& defaultValue,
                                               const Platform& platform = defaultPlatform()) const override;
    std::optional<std::string> getOptionalPlatformEnvironmentVariable(
        const std::string& name, const Platform& platform = defaultPlatform()) const override;
    PlatformMap getAllPlatformEnvironmentVariables(const std::string& name) const override;
    std::optional<std::string> getOptionalActivePlatformEnvironmentVariable(
        const std::string& name, const Platform& platform = defaultPlatform()) const override;
    std::string getActivePlatformEnvironmentVariable(const std::string& name,
                                                     const Platform& platform = defaultPlatform()) const override;
    std::vector<std::string> getActivePlatformEnvironmentVariables(
        const std::string& name, const Platform& platform = defaultPlatform()) const override;
    std::vector<std::string> getPossiblePlatformEnvironmentVariables(
        const std::string& name, const Platform& platform = defaultPlatform()) const override;

    bool hasVersionedPlatformEnvironmentVariable(const std::string& name) const override;
    std::string getVersionedPlatformEnvironmentVariable(const std::string& name, const std::string& defaultValue,
                                                        const Version& version = defaultEnvironmentVariableVersion(),
                                                        const Platform& platform = defaultPlatform()) const override;
    std::optional<std::string> getOptionalVersionedPlatformEnvironmentVariable(
        const std::string& name, const Version& version = defaultEnvironmentVariableVersion(),
        const Platform& platform = defaultPlatform()) const override;
    VersionedPlatformMap getAllVersionedPlatformEnvironmentVariables(const std::string& name) const override;
    std::optional<std::string> getOptionalActiveVersionedPlatformEnvironmentVariable(
        const std::string& name, const Version& version = defaultEnvironmentVariableVersion(),
        const Platform& platform = defaultPlatform()) const override;
    std::string getActiveVersionedPlatformEnvironmentVariable(
        const std::string& name, const Version& version = defaultEnvironmentVariableVersion(),
        const Platform& platform = defaultPlatform()) const override;
    std::vector<std::string> getActiveVersionedPlatformEnvironmentVariables(
        const std::string& name, const Version& version = defaultEnvironmentVariableVersion(),
        const Platform& platform = defaultPlatform()) const override;
    std::vector<std::string> getPossibleVersionedPlatformEnvironmentVariables(
        const std::string& name, const Version& version = defaultEnvironmentVariableVersion(),
        const Platform& platform = defaultPlatform()) const override;

    bool setVersionedEnvironmentVariable(const std::string& name, const std::string& value,
                                         const Version& version = defaultEnvironmentVariableVersion()) override;
    bool setPlatformEnvironmentVariable(const std::string& name, const std::string& value,
                                        const Platform& platform = defaultPlatform()) override;
    bool setVersionedPlatformEnvironmentVariable(const std::string& name, const std::string& value,
                                                 const Version& version = defaultEnvironmentVariableVersion(),
                                                 const Platform& platform = defaultPlatform()) override;

private:
    /// The value of the first name that has one.
    std::optional<std::string> firstValue(const std::vector<std::string>& names) const;
    /// The first name that exists.
    std::optional<std::string> firstExisting(const std::vector<std::string>& names) const;
    std::vector<std::string> existing(const std::vector<std::string>& names) const;
};

/// A private environment: an ordered store of names and values that follows
/// the naming rules of one operating system.
class EnvironmentVariableModel : public EnvironmentVariableModelBase {
public:
    explicit EnvironmentVariableModel(Utilities::OperatingSystem system = defaultOperatingSystem());
    EnvironmentVariableModel(const std::map<std::string, std::string>& variables,
                             Utilities::OperatingSystem system = defaultOperatingSystem());
    EnvironmentVariableModel(std::map<std::string, std::string>&& variables,
                             Utilities::OperatingSystem system = defaultOperatingSystem());
    /// The pairs in order; of two names that compare equal the first stays.
    EnvironmentVariableModel(std::initializer_list<std::pair<const std::string, std::string>> variables,
                             Utilities::OperatingSystem system = defaultOperatingSystem());
    explicit EnvironmentVariableModel(const data_type& data) : m_data(data) {}
    explicit EnvironmentVariableModel(data_type&& data) : m_data(std::move(data)) {}
    explicit EnvironmentVariableModel(const EnvironmentVariableModelROAbstract& other)
        : m_data(other.getAllEnvironmentVariables()) {}

    /// A model holding a copy of the live environment.
    static EnvironmentVariableModel fromSystem();
    static data_type data_type_from_map(const std::map<std::string, std::string>& variables,
                                        Utilities::OperatingSystem system);
    static std::map<std::string, std::string> data_type_to_map(const data_type& data);

    void clear() { m_data.clear(); }
    data_type& data() noexcept { return m_data; }
    const data_type& data() const noexcept { return m_data; }

    data_type getAllEnvironmentVariables() const override { return m_data; }
    bool hasEnvironmentVariable(const std::string& name) const override { return m_data.count(name) != 0; }
    std::optional<std::string> getOptionalEnvironmentVariable(const std::string& name) const override;
    /// Stores any name and value, an empty value included.
    bool setEnvironmentVariable(const std::string& name, const std::string& value) override;
    bool setEnvironmentVariables(const std::map<std::string, std::string>& variables) override;
    bool setEnvironmentVariables(const data_type& variables) override;

private:
    data_type m_data;
};

/// The live environment of the process, a singleton. A name that begins with
/// "KV_" and is not set answers with the name without that prefix. Setting an
/// empty value removes a variable; an empty variable counts as unset.
class SystemEnvironmentVariables : public EnvironmentVariableModelBase {
public:
    static SystemEnvironmentVariables& instance();

    SystemEnvironmentVariables(const SystemEnvironmentVariables&) = delete;
    SystemEnvironmentVariables& operator=(const SystemEnvironmentVariables&) = delete;

    data_type getAllEnvironmentVariables() const override;
    bool hasEnvironmentVariable(const std::string& name) const override;
    std::optional<std::string> getOptionalEnvironmentVariable(const std::string& name) const override;
    /// Sets (or, for an empty value, removes) a variable; throws
    /// std::runtime_error when the system refuses. False for an empty name.
    bool setEnvironmentVariable(const std::string& name, const std::string& value) override;
    /// With `persistent`, also for every later login of the machine (errors of
    /// that store are ignored).
    bool setEnvironmentVariable(const std::string& name, const std::string& value, bool persistent);

private:
    SystemEnvironmentVariables() = default;
    ~SystemEnvironmentVariables() override = default;
};

/// Sets a variable of the live environment for the length of a scope and puts
/// the variable back as it was at its end: an unset variable is removed again,
/// a set one gets its exact earlier value. Only the variable itself is looked
/// at, never the "KV_" fallback.
class TemporaryEnvironmentVariable {
public:
    TemporaryEnvironmentVariable(const std::string& name, const std::string& value);
    TemporaryEnvironmentVariable(TemporaryEnvironmentVariable&& other) noexcept;
    /// Swaps: this object's earlier value is put back when `other` ends.
    TemporaryEnvironmentVariable& operator=(TemporaryEnvironmentVariable&& other) noexcept;
    TemporaryEnvironmentVariable(const TemporaryEnvironmentVariable&) = delete;
    TemporaryEnvironmentVariable& operator=(const TemporaryEnvironmentVariable&) = delete;
    ~TemporaryEnvironmentVariable();

private:
    std::string m_name;
    std::optional<std::string> m_previousValue; ///< empty when the variable was not set
};

/// Replaces references to variables of `model` in `text`. Windows form: `%NAME%`
/// (a name without value stays as written). Linux form: `$NAME` and `${NAME}`
/// (an unset name becomes nothing; a `$` that opens no reference stays).
std::string parseEnvironmentVariables(const std::string& text, const EnvironmentVariableModelROAbstract& model,
                                      Utilities::OperatingSystem system);
/// The same on the live environment.
std::string parseEnvironmentVariables(const std::string& text, Utilities::OperatingSystem system);

/// Joins items with the separator; a separator goes before an item only when
/// the result so far is not empty.
std::string joinListEnvironmentVariableValue(const std::list<std::string>& list, const std::string& separator);
/// With the separator of the system: ';' for Windows, ':' otherwise.
std::string joinListEnvironmentVariableValue(const std::list<std::string>& list, Utilities::OperatingSystem system);
/// Splits at every separator and keeps empty pieces ("" gives one empty item).
std::list<std::string> splitListEnvironmentVariableValue(const std::string& value, const std::string& separator);
std::list<std::string> splitListEnvironmentVariableValue(const std::string& value, Utilities::OperatingSystem system);

} // namespace FileSystem
