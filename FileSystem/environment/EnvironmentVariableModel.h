#pragma once

// Environments as models: the live process environment, private copies for
// child processes, and models of another operating system's environment, all
// read through one interface. Names may carry a release version and a
// platform ("FOO_LINUX_X86_64_R2025_0"), and lookups try the most specific
// name first.

#include <FileSystem/Export.h>
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
class FILESYSTEM_EXPORT EnvironmentVariableSort {
public:
    /// The order of the system this library was built for.
    EnvironmentVariableSort();
    /// The order of `system`.
    explicit EnvironmentVariableSort(Utilities::OperatingSystem system) : m_system(system) {}

    /// True when name `a` sorts before name `b`.
    bool operator()(const std::string& a, const std::string& b) const;
    /// The system whose order this is.
    Utilities::OperatingSystem operatingSystem() const noexcept { return m_system; }

private:
    Utilities::OperatingSystem m_system;
};

/// Orders platforms by operating system, then processor, each ascending with
/// "unknown" after all known values; pairs with a version then by the version.
struct FILESYSTEM_EXPORT EnvironmentVariablePlatformSorter {
    /// True when the first platform (or pair) sorts before the second.
    ///@{
    bool operator()(const Utilities::Platform& a, const Utilities::Platform& b) const;
    bool operator()(const std::pair<Utilities::Platform, Utilities::Version<4, int>>& a,
                    const std::pair<Utilities::Platform, Utilities::Version<4, int>>& b) const;
    ///@}
};

/// The read interface of every environment.
///
/// Besides plain names it looks up qualified ones. A versioned name carries a
/// release behind "_R" ("FOO_R2025_0"), a platform name the system and
/// processor behind "_" ("FOO_LINUX_X86_64"), and a name may carry both, the
/// platform first ("FOO_LINUX_X86_64_R2025_0"). A lookup walks the possible
/// names from the most specific to the plain name and takes the first that is
/// there: every leading part of the version, longest first; the full platform,
/// then the system alone; with both, every version of the full platform, the
/// full platform, the same for the system alone, then the versions of the plain
/// name and the plain name. The `Active` operations give the name that was
/// found, the others its value. A variable set to an empty text counts as there
/// in a private model. Nothing here throws on its own.
class FILESYSTEM_EXPORT EnvironmentVariableModelROAbstract {
public:
    /// All variables by name, in the order of the model's system.
    using data_type = std::map<std::string, std::string, EnvironmentVariableSort>;
    /// The release of a versioned name.
    using Version = Utilities::Version<4, int>;
    /// The system and processor of a platform name.
    using Platform = Utilities::Platform;
    /// Values by version.
    using VersionMap = std::map<Version, std::string>;
    /// Values by platform.
    using PlatformMap = std::map<Platform, std::string, EnvironmentVariablePlatformSorter>;
    /// Values by platform and version.
    using VersionedPlatformMap = std::map<std::pair<Platform, Version>, std::string, EnvironmentVariablePlatformSorter>;

    virtual ~EnvironmentVariableModelROAbstract() = default;

    // ---- Primitives and plain lookups ----------------------------------------
    /// All variables with their values.
    virtual data_type getAllEnvironmentVariables() const = 0;
    /// True when the variable is there.
    virtual bool hasEnvironmentVariable(const std::string& name) const = 0;
    /// The value of the variable; empty when it is not there.
    virtual std::optional<std::string> getOptionalEnvironmentVariable(const std::string& name) const = 0;
    /// The value of the variable, or `defaultValue` when it is not there.
    virtual std::string getEnvironmentVariable(const std::string& name, const std::string& defaultValue) const = 0;

    // ---- Versioned names -------------------------------------------------------
    /// True when one of the versioned names of the library's own release, or the
    /// plain name, is there.
    virtual bool hasVersionedEnvironmentVariable(const std::string& name) const = 0;
    /// The value of the first versioned name that is there (see the class), or
    /// `defaultValue`.
    virtual std::string getVersionedEnvironmentVariable(const std::string& name, const std::string& defaultValue,
                                                        const Version& version = defaultEnvironmentVariableVersion()) const = 0;
    /// The value of the first versioned name that is there; empty when none is
    /// (always for an empty name).
    virtual std::optional<std::string> getOptionalVersionedEnvironmentVariable(
        const std::string& name, const Version& version = defaultEnvironmentVariableVersion()) const = 0;
    /// The first versioned name that is there; empty when none is.
    virtual std::optional<std::string> getOptionalActiveVersionedEnvironmentVariable(
        const std::string& name, const Version& version = defaultEnvironmentVariableVersion()) const = 0;
    /// The first versioned name that is there, or `name` itself when none is.
    virtual std::string getActiveVersionedEnvironmentVariable(
        const std::string& name, const Version& version = defaultEnvironmentVariableVersion()) const = 0;
    /// The values of every variable whose name begins with `name` (bytes,
    /// case-sensitive) and a version ("FOOBAR_R1" counts as version 1 of
    /// "FOO"), by version; the plain name under the empty version.
    virtual VersionMap getAllVersionedEnvironmentVariables(const std::string& name) const = 0;
    /// The versioned names that are there, most specific first.
    virtual std::vector<std::string> getActiveVersionedEnvironmentVariables(
        const std::string& name, const Version& version = defaultEnvironmentVariableVersion()) const = 0;
    /// The versioned names in the order of the lookup, the plain name last
    /// ("FOO_R2025_0_1", "FOO_R2025_0", "FOO_R2025", "FOO"); empty for an empty name.
    virtual std::vector<std::string> getPossibleVersionedEnvironmentVariables(
        const std::string& name, const Version& version = defaultEnvironmentVariableVersion()) const = 0;

    // ---- Platform names ----------------------------------------------------------
    /// True when one of the platform names of this build's platform, or the
    /// plain name, is there.
    virtual bool hasPlatformEnvironmentVariable(const std::string& name) const = 0;
    /// The value of the first platform name that is there, or `defaultValue`.
    virtual std::string getPlatformEnvironmentVariable(const std::string& name, const std::string& defaultValue,
                                                       const Platform& platform = defaultPlatform()) const = 0;
    /// The value of the first platform name that is there; empty when none is.
    virtual std::optional<std::string> getOptionalPlatformEnvironmentVariable(
        const std::string& name, const Platform& platform = defaultPlatform()) const = 0;
    /// The value of the plain name under the unknown platform. Platforms are not
    /// read back from names, so no other entry is found.
    virtual PlatformMap getAllPlatformEnvironmentVariables(const std::string& name) const = 0;
    /// The first platform name that is there; empty when none is.
    virtual std::optional<std::string> getOptionalActivePlatformEnvironmentVariable(
        const std::string& name, const Platform& platform = defaultPlatform()) const = 0;
    /// The first platform name that is there, or `name` itself when none is.
    virtual std::string getActivePlatformEnvironmentVariable(const std::string& name,
                                                             const Platform& platform = defaultPlatform()) const = 0;
    /// The platform names that are there, most specific first.
    virtual std::vector<std::string> getActivePlatformEnvironmentVariables(
        const std::string& name, const Platform& platform = defaultPlatform()) const = 0;
    /// The platform names in the order of the lookup, the plain name last
    /// ("FOO_LINUX_X86_64", "FOO_LINUX", "FOO"); empty for an empty name.
    virtual std::vector<std::string> getPossiblePlatformEnvironmentVariables(
        const std::string& name, const Platform& platform = defaultPlatform()) const = 0;

    // ---- Versioned platform names --------------------------------------------------
    /// True when one of the names qualified by this build's platform and the
    /// library's release, or the plain name, is there; false for an empty name.
    virtual bool hasVersionedPlatformEnvironmentVariable(const std::string& name) const = 0;
    /// The value of the first qualified name that is there, or `defaultValue`.
    virtual std::string getVersionedPlatformEnvironmentVariable(
        const std::string& name, const std::string& defaultValue,
        const Version& version = defaultEnvironmentVariableVersion(),
        const Platform& platform = defaultPlatform()) const = 0;
    /// The value of the first qualified name that is there; empty when none is.
    virtual std::optional<std::string> getOptionalVersionedPlatformEnvironmentVariable(
        const std::string& name, const Version& version = defaultEnvironmentVariableVersion(),
        const Platform& platform = defaultPlatform()) const = 0;
    /// The values of the plain name and of the versioned names that begin with
    /// `name`, by platform (unknown, as platforms are not read back) and version.
    virtual VersionedPlatformMap getAllVersionedPlatformEnvironmentVariables(const std::string& name) const = 0;
    /// The first qualified name that is there; empty when none is.
    virtual std::optional<std::string> getOptionalActiveVersionedPlatformEnvironmentVariable(
        const std::string& name, const Version& version = defaultEnvironmentVariableVersion(),
        const Platform& platform = defaultPlatform()) const = 0;
    /// The first qualified name that is there, or `name` itself when none is.
    virtual std::string getActiveVersionedPlatformEnvironmentVariable(
        const std::string& name, const Version& version = defaultEnvironmentVariableVersion(),
        const Platform& platform = defaultPlatform()) const = 0;
    /// The qualified names that are there, most specific first.
    virtual std::vector<std::string> getActiveVersionedPlatformEnvironmentVariables(
        const std::string& name, const Version& version = defaultEnvironmentVariableVersion(),
        const Platform& platform = defaultPlatform()) const = 0;
    /// The qualified names in the order of the lookup: the versions of the full
    /// platform, the full platform, the same for the system alone, the versions
    /// of the plain name, the plain name. Empty for an empty name.
    virtual std::vector<std::string> getPossibleVersionedPlatformEnvironmentVariables(
        const std::string& name, const Version& version = defaultEnvironmentVariableVersion(),
        const Platform& platform = defaultPlatform()) const = 0;

    /// The text with references to variables replaced, in the form of `system`
    /// (`%NAME%` for Windows, `$NAME` and `${NAME}` for Linux).
    std::string parseEnvironmentVariables(const std::string& text, Utilities::OperatingSystem system) const;

    // ---- Forming and taking apart names ----------------------------------------------
    /// "_R": what stands before the version in a name.
    static const std::string& defaultEvironmentVariableVersionPrefix();
    /// "_": what stands between the components of a version in a name.
    static const std::string& defaultEvironmentVariableVersionSeparator();
    /// "_": what stands before the platform in a name.
    static const std::string& defaultEvironmentVariablePlatformPrefix();
    /// "_": what stands between system and processor in a name.
    static const std::string& defaultEvironmentVariablePlatformSeparator();
    /// The library's own release.
    static const Version& defaultEnvironmentVariableVersion();
    /// The operating system this library was built for.
    static Utilities::OperatingSystem defaultOperatingSystem();
    /// The platform this library was built for.
    static const Platform& defaultPlatform();

    /// Components joined with '_', up to the first negative one ("2025_0_1_144071").
    static std::string createVersionString(const Version& version);
    /// The string of each leading part of the version, longest first.
    static std::vector<std::string> createVersionStringList(const Version& version);
    /// The name with "_R" and the version string behind it; the name alone for
    /// an empty version.
    ///@{
    static std::string createVersionedEnvironmentVariable(const std::string& name, const Version& version);
    static std::string createVersionedEnvironmentVariable(const std::string& name, const std::string& versionString);
    ///@}
    /// The text behind the last "_R" when it is digits and '_' (not first):
    /// "2025_0" of "FOO_R2025_0"; "" for "FOO_RELEASE" and "FOO_R".
    static std::string extractVersionStringFromVariable(const std::string& variable);
    /// The version of extractVersionStringFromVariable; the empty version for none.
    static Version extractVersionFromVariable(const std::string& variable);
    /// The name less its version string; the "_R" stays ("FOO_R2025_0" gives
    /// "FOO_R"). A name without a version stays as it is.
    static std::string stripVersionFromVariable(const std::string& variable);
    /// "WINDOWS_X86_64", "LINUX"; "" for an unknown system and processor.
    static std::string createPlatformString(const Platform& platform);
    /// The platform strings of the lookup: the full platform (with a known
    /// processor), then the system alone; empty for an unknown system.
    static std::vector<std::string> createPlatformStringList(const Platform& platform);
    /// The name with "_" and the platform string behind it; the name alone for
    /// an empty platform string.
    ///@{
    static std::string createPlatformEnvironmentVariable(const std::string& name, const Platform& platform);
    static std::string createPlatformEnvironmentVariable(const std::string& name, const std::string& platformString);
    ///@}
    /// The name with the platform, then the version ("FOO_LINUX_X86_64_R2025_0").
    ///@{
    static std::string createVersionedPlatformEnvironmentVariable(const std::string& name, const Version& version,
                                                                  const Platform& platform);
    static std::string createVersionedPlatformEnvironmentVariable(const std::string& name,
                                                                  const std::string& versionString,
                                                                  const std::string& platformString);
    ///@}
    /// Platforms can be formed into names but not read back from them: these
    /// give an empty text and an unknown platform for every name.
    ///@{
    static std::string extractPlatformStringFromVariable(const std::string& variable);
    static Platform extractPlatformFromVariable(const std::string& variable);
    ///@}
};

/// The read and write interface.
class FILESYSTEM_EXPORT EnvironmentVariableModelAbstract : public EnvironmentVariableModelROAbstract {
public:
    /// Sets a variable; false when it cannot be set.
    virtual bool setEnvironmentVariable(const std::string& name, const std::string& value) = 0;
    /// Sets each variable in map order; true only if all were set.
    ///@{
    virtual bool setEnvironmentVariables(const std::map<std::string, std::string>& variables);
    virtual bool setEnvironmentVariables(const data_type& variables);
    ///@}
    /// Writes the single most specific name ("FOO_R2025_0_1_144071" for the
    /// full release); a lookup of another release does not see it.
    virtual bool setVersionedEnvironmentVariable(const std::string& name, const std::string& value,
                                                 const Version& version = defaultEnvironmentVariableVersion()) = 0;
    /// Writes the name of the full platform ("FOO_LINUX_X86_64").
    virtual bool setPlatformEnvironmentVariable(const std::string& name, const std::string& value,
                                                const Platform& platform = defaultPlatform()) = 0;
    /// Writes the name of the full platform and release.
    virtual bool setVersionedPlatformEnvironmentVariable(const std::string& name, const std::string& value,
                                                         const Version& version = defaultEnvironmentVariableVersion(),
                                                         const Platform& platform = defaultPlatform()) = 0;
};

/// Every lookup of versioned and platform names, built on the primitives
/// `getAllEnvironmentVariables`, `hasEnvironmentVariable`,
/// `getOptionalEnvironmentVariable` and `setEnvironmentVariable`.
class FILESYSTEM_EXPORT EnvironmentVariableModelBase : public EnvironmentVariableModelAbstract {
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
/// the naming rules of one operating system (Windows' names ignore case).
class FILESYSTEM_EXPORT EnvironmentVariableModel : public EnvironmentVariableModelBase {
public:
    /// An empty model of `system`.
    explicit EnvironmentVariableModel(Utilities::OperatingSystem system = defaultOperatingSystem());
    /// A model of `system` with the variables of a map; of names that `system`
    /// takes as equal, the first in byte order stays.
    ///@{
    EnvironmentVariableModel(const std::map<std::string, std::string>& variables,
                             Utilities::OperatingSystem system = defaultOperatingSystem());
    EnvironmentVariableModel(std::map<std::string, std::string>&& variables,
                             Utilities::OperatingSystem system = defaultOperatingSystem());
    ///@}
    /// The pairs in order; of two names that compare equal the first stays.
    EnvironmentVariableModel(std::initializer_list<std::pair<const std::string, std::string>> variables,
                             Utilities::OperatingSystem system = defaultOperatingSystem());
    /// A model with these variables and their order.
    ///@{
    explicit EnvironmentVariableModel(const data_type& data) : m_data(data) {}
    explicit EnvironmentVariableModel(data_type&& data) : m_data(std::move(data)) {}
    ///@}
    /// A copy of all variables of another model, with its order.
    explicit EnvironmentVariableModel(const EnvironmentVariableModelROAbstract& other)
        : m_data(other.getAllEnvironmentVariables()) {}

    /// A model holding a copy of the live environment.
    static EnvironmentVariableModel fromSystem();
    /// The variables of a map in the order of `system`.
    static data_type data_type_from_map(const std::map<std::string, std::string>& variables,
                                        Utilities::OperatingSystem system);
    /// The variables in a map ordered by bytes.
    static std::map<std::string, std::string> data_type_to_map(const data_type& data);

    /// Removes all variables.
    void clear() { m_data.clear(); }
    /// The stored variables, to read or to change.
    ///@{
    data_type& data() noexcept { return m_data; }
    const data_type& data() const noexcept { return m_data; }
    ///@}

    data_type getAllEnvironmentVariables() const override { return m_data; }
    bool hasEnvironmentVariable(const std::string& name) const override { return m_data.count(name) != 0; }
    std::optional<std::string> getOptionalEnvironmentVariable(const std::string& name) const override;
    /// Stores any name and value, an empty value included; always true.
    bool setEnvironmentVariable(const std::string& name, const std::string& value) override;
    /// Stores every variable; always true.
    ///@{
    bool setEnvironmentVariables(const std::map<std::string, std::string>& variables) override;
    bool setEnvironmentVariables(const data_type& variables) override;
    ///@}

private:
    data_type m_data;
};

/// The live environment of the process, a singleton. A name that begins with
/// "KV_" and is not set answers with the name without that prefix. Setting an
/// empty value removes a variable; an empty variable counts as unset.
class FILESYSTEM_EXPORT SystemEnvironmentVariables : public EnvironmentVariableModelBase {
public:
    /// The one object, made on first use.
    static SystemEnvironmentVariables& instance();

    SystemEnvironmentVariables(const SystemEnvironmentVariables&) = delete;
    SystemEnvironmentVariables& operator=(const SystemEnvironmentVariables&) = delete;

    /// All variables of the process as they stand, empty ones too (no "KV_" fallback).
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
class FILESYSTEM_EXPORT TemporaryEnvironmentVariable {
public:
    /// Sets `name` to `value` (an empty value removes it). Throws
    /// std::runtime_error when the system refuses, as
    /// SystemEnvironmentVariables::setEnvironmentVariable does.
    TemporaryEnvironmentVariable(const std::string& name, const std::string& value);
    /// Takes over the other guard's duty; the other one then puts nothing back.
    TemporaryEnvironmentVariable(TemporaryEnvironmentVariable&& other) noexcept;
    /// Swaps: this object's earlier value is put back when `other` ends.
    TemporaryEnvironmentVariable& operator=(TemporaryEnvironmentVariable&& other) noexcept;
    TemporaryEnvironmentVariable(const TemporaryEnvironmentVariable&) = delete;
    TemporaryEnvironmentVariable& operator=(const TemporaryEnvironmentVariable&) = delete;
    /// Puts the variable back; a failure leaves it as it is.
    ~TemporaryEnvironmentVariable();

private:
    std::string m_name;
    std::optional<std::string> m_previousValue; ///< empty when the variable was not set
};

/// Replaces references to variables of `model` in `text`. Windows form: `%NAME%`
/// (a name without value stays as written). Linux form: `$NAME` and `${NAME}`
/// (an unset name becomes nothing; a `$` that opens no reference stays; from a
/// `${...}` whose name is not letters, digits and '_' on, the text stays as
/// written). Replaced text is not expanded again. An unknown system gives the
/// text unchanged.
FILESYSTEM_EXPORT std::string parseEnvironmentVariables(const std::string& text,
                                                        const EnvironmentVariableModelROAbstract& model,
                                                        Utilities::OperatingSystem system);
/// The same on the live environment.
FILESYSTEM_EXPORT std::string parseEnvironmentVariables(const std::string& text, Utilities::OperatingSystem system);

/// Joins items with the separator; a separator goes before an item only when
/// the result so far is not empty.
FILESYSTEM_EXPORT std::string joinListEnvironmentVariableValue(const std::list<std::string>& list,
                                                               const std::string& separator);
/// With the separator of the system: ';' for Windows, ':' otherwise.
FILESYSTEM_EXPORT std::string joinListEnvironmentVariableValue(const std::list<std::string>& list,
                                                               Utilities::OperatingSystem system);
/// Splits at every separator and keeps empty pieces ("" gives one empty item);
/// an empty separator gives the value as one item.
FILESYSTEM_EXPORT std::list<std::string> splitListEnvironmentVariableValue(const std::string& value,
                                                                           const std::string& separator);
/// With the separator of the system: ';' for Windows, ':' otherwise.
FILESYSTEM_EXPORT std::list<std::string> splitListEnvironmentVariableValue(const std::string& value,
                                                                           Utilities::OperatingSystem system);

} // namespace FileSystem
