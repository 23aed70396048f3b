#pragma once

#include <FileSystem/Export.h>

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

/// Keys and values of the registry, written as path-like text: a key path is
/// names joined by `Key::keySeparator()` ('\\'), the first of them a root name
/// such as "HKEY_CURRENT_USER". Empty names (doubled, leading or trailing
/// separators) are passed over; '/' is an ordinary character of a name. No
/// operation throws for the registry's errors: they answer false, an empty
/// list or an empty optional.
///
/// On Linux the registry is a store of the library's own, a folder per key and
/// a file per value, with one hive per root: "HKEY_CURRENT_USER" under
/// `$XDG_CONFIG_HOME/tessel/registry` (`~/.config` when that is not set) and
/// "HKEY_LOCAL_MACHINE" under `/etc/tessel/registry`. When the variable
/// `KV_TESSEL_REGISTRY_ROOT` is set, both hives lie under the folder it names
/// instead. The other roots are known names without a store: every operation
/// on them fails. Names of keys and values are compared without regard to the
/// case of ASCII letters and keep the case of their first writing; a name that
/// needs more than 255 bytes in the store's file names cannot be written.
namespace FileSystem::WindowsRegistry {

/// The kind of a value, numbered as the registry numbers them.
enum class ValueType : std::uint32_t {
    None = 0,             ///< bytes without a stated kind
    String = 1,           ///< text, stored as UTF-16 with a terminating zero
    ExpandableString = 2, ///< text with `%NAME%` references, stored like String
    Binary = 3,           ///< any bytes
    DWord = 4,            ///< a 32-bit number, little-endian
    MultiString = 7,      ///< texts, each with a terminating zero, then one more zero
    QWord = 11,           ///< a 64-bit number, little-endian
};

/// A kind of value that a reading accepts; `Any` accepts every kind.
enum class ValueFilter : std::uint32_t {
    None = 0x01,
    String = 0x02,
    ExpandableString = 0x04,
    Binary = 0x08,
    DWord = 0x10,
    MultiString = 0x20,
    QWord = 0x40,
    Any = 0xFFFF,
};

/// Whether a set of filters accepts a kind of value (an empty set accepts none).
FILESYSTEM_EXPORT bool acceptsType(const std::set<ValueFilter>& filters, ValueType type);

/// A key, named by its path.
class FILESYSTEM_EXPORT Key {
public:
    /// A key of the given path; nothing is opened.
    explicit Key(std::string path);

    /// The path of the key.
    const std::string& path() const noexcept { return m_path; }

    /// The character between the names of a key path: '\\'.
    static constexpr char keySeparator() noexcept { return '\\'; }

    /// The handle of a root name ("HKEY_CURRENT_USER" is 0x80000001, ...), by
    /// exact text; empty for a name that is no root.
    static std::optional<std::uint32_t> rootHandle(const std::string& rootName);

    /// Opens or creates this key and every missing key above it: `create(path(), true)`.
    bool create() const;
    /// Opens or creates the key of `path`. With `createParents` every missing
    /// key on the way is made; without, only the last one may be missing. True
    /// when the key exists afterwards (a root alone: when its store can be made).
    static bool create(const std::string& path, bool createParents);
    /// Removes the key of `path` with its values. With `recursive` its subkeys
    /// go too; without, a key that has subkeys stays and the answer is false.
    /// False for a key that is not there and for a root.
    static bool remove(const std::string& path, bool recursive);

    /// Whether this key exists.
    bool exists() const;
    /// Whether the key of `path` exists.
    static bool exists(const std::string& path);

    /// The names of this key's path, root first.
    std::vector<std::string> getTokens() const;
    /// The names of a key path, root first, without empty ones.
    static std::vector<std::string> getTokens(const std::string& path);
    /// The names of the subkeys of a key, sorted without regard to case; empty
    /// when the key cannot be read.
    static std::vector<std::string> getChildTokens(const std::string& path);
    /// The names of the values of a key (the default value's name is empty),
    /// sorted without regard to case; empty when the key cannot be read.
    static std::vector<std::string> getChildValues(const std::string& path);

    /// The first name of a key path (its root); empty for a path without names.
    static std::string getFirstToken(const std::string& path);
    /// The last name of a key path; empty for a path without names.
    static std::string getLastToken(const std::string& path);
    /// The path without its first name: the other names joined by the separator.
    static std::string stripFirstToken(const std::string& path);
    /// The path without its last name: the other names joined by the separator.
    static std::string stripLastToken(const std::string& path);

private:
    std::string m_path;
};

/// A value of a key: the key's path, the value's name (empty: the key's default
/// value) and the kinds of value that reading accepts. A value of another kind
/// is, for this object, no value.
class FILESYSTEM_EXPORT KeyValueBase {
public:
    /// A value named `valueName` of the key `keyPath`, read as one of `filters`.
    KeyValueBase(std::string keyPath, std::string valueName, std::set<ValueFilter> filters);
    virtual ~KeyValueBase();
    /// Copies and moves take the key path, the name and the filters.
    ///@{
    KeyValueBase(const KeyValueBase&) = default;
    KeyValueBase& operator=(const KeyValueBase&) = default;
    KeyValueBase(KeyValueBase&&) = default;
    KeyValueBase& operator=(KeyValueBase&&) = default;
    ///@}

    /// The path of the key that holds the value.
    const std::string& keyPath() const noexcept { return m_keyPath; }
    /// The value's name.
    const std::string& valueName() const noexcept { return m_valueName; }
    /// The kinds of value that reading accepts.
    const std::set<ValueFilter>& filters() const noexcept { return m_filters; }

    /// Whether the value exists with an accepted kind.
    bool exists() const;
    /// Removes the value, whatever its kind; false when there was none.
    bool remove() const;
    /// The value's kind when it exists with an accepted kind.
    std::optional<ValueType> type() const;

protected:
    /// Whether the value exists with a kind that `filters` accepts.
    static bool exists(const std::string& keyPath, const std::string& valueName,
                       const std::set<ValueFilter>& filters);
    /// Removes a value of any kind; false when there was none.
    static bool remove(const std::string& keyPath, const std::string& valueName);
    /// Writes a value, making its key and every missing key above it first.
    static bool create(const std::string& keyPath, const std::string& valueName, const std::string& data,
                       ValueType type);
    /// The kind of a value when `filters` accepts it.
    static std::optional<ValueType> type(const std::string& keyPath, const std::string& valueName,
                                         const std::set<ValueFilter>& filters);
    /// Writes a value of an existing key: the whole value is replaced at once,
    /// so a reader sees the old value or the new one. False when the key is
    /// missing or the data is longer than 1 MiB.
    static bool setBinaryValue(const std::string& keyPath, const std::string& valueName, const std::string& data,
                               ValueType type);
    /// The kind and bytes of a value when `filters` accepts its kind.
    static std::optional<std::pair<ValueType, std::string>>
    getBinaryValue(const std::string& keyPath, const std::string& valueName, const std::set<ValueFilter>& filters);

private:
    std::string m_keyPath;
    std::string m_valueName;
    std::set<ValueFilter> m_filters;
};

/// A String value (or, when made so, an ExpandableString value) as UTF-8 text.
/// Reading stops at the first zero character, as text in the registry ends there.
class FILESYSTEM_EXPORT StringValue : public KeyValueBase {
public:
    /// A String value; with `expandable`, an ExpandableString value.
    StringValue(std::string keyPath, std::string valueName, bool expandable = false);
    /// The text; empty when there is no value of the kind.
    std::optional<std::string> get() const;
    /// Writes the text, making the key when missing.
    bool set(const std::string& text) const;

private:
    ValueType m_type;
};

/// An ExpandableString value as UTF-8 text, its references left as written.
class FILESYSTEM_EXPORT ExpandableStringValue : public StringValue {
public:
    /// An ExpandableString value.
    ExpandableStringValue(std::string keyPath, std::string valueName);
};

/// A MultiString value as a list of UTF-8 texts. Empty members are kept: the
/// list ends at the end of the data, not at the first empty member.
class FILESYSTEM_EXPORT MultiStringValue : public KeyValueBase {
public:
    /// A MultiString value.
    MultiStringValue(std::string keyPath, std::string valueName);
    /// The texts; empty when there is no value of the kind.
    std::optional<std::vector<std::string>> get() const;
    /// Writes the texts, making the key when missing.
    bool set(const std::vector<std::string>& texts) const;
};

/// A DWord value; data of another length than 4 bytes is no value.
class FILESYSTEM_EXPORT DWordValue : public KeyValueBase {
public:
    /// A DWord value.
    DWordValue(std::string keyPath, std::string valueName);
    /// The number; empty when there is no value of the kind.
    std::optional<std::uint32_t> get() const;
    /// Writes the number, making the key when missing.
    bool set(std::uint32_t number) const;
};

/// A QWord value; data of another length than 8 bytes is no value.
class FILESYSTEM_EXPORT QWordValue : public KeyValueBase {
public:
    /// A QWord value.
    QWordValue(std::string keyPath, std::string valueName);
    /// The number; empty when there is no value of the kind.
    std::optional<std::uint64_t> get() const;
    /// Writes the number, making the key when missing.
    bool set(std::uint64_t number) const;
};

/// The bytes of a value: a Binary value, or of the kinds of `filters`.
class FILESYSTEM_EXPORT BinaryValue : public KeyValueBase {
public:
    /// A Binary value, or with other filters the raw bytes of values of those kinds.
    BinaryValue(std::string keyPath, std::string valueName, std::set<ValueFilter> filters = {ValueFilter::Binary});
    /// The bytes; empty when there is no value of an accepted kind.
    std::optional<std::string> get() const;
    /// Writes the bytes as a Binary value, making the key when missing.
    bool set(const std::string& bytes) const;
};

/// Conversions between the library's UTF-8 text and the registry's UTF-16.
namespace Helpers {

/// The text as UTF-16 code units, two bytes each, little-endian, without a
/// terminator. Bytes that are no UTF-8 become U+FFFD.
FILESYSTEM_EXPORT std::string stringToBinary(const std::string& text);
/// The UTF-8 text of UTF-16 bytes as stringToBinary makes them. A last odd
/// byte is ignored; a lone surrogate becomes U+FFFD.
FILESYSTEM_EXPORT std::string stringFromBinary(const std::string& data);

} // namespace Helpers

} // namespace FileSystem::WindowsRegistry
