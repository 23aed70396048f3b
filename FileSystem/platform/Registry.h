#pragma once

// The store of registry keys and values. A hive is a folder; a key is a list of
// names below it, a value a name in a key with a kind and its bytes. Names are
// given as the caller wrote them: how they are kept (and compared) is the
// store's business. Every operation answers false or empty on any failure.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace FileSystem::sys::registry {

/// The hives this system keeps.
enum class Hive { CurrentUser, LocalMachine };

/// The largest value data the store keeps, in bytes.
inline constexpr std::size_t kMaxValueData = std::size_t(1) << 20;

/// Where a hive lies, and the permission bits of the folders made for it.
struct HiveLocation {
    std::string folder; ///< empty: the hive has no place
    std::uint32_t folderMode = 0700;
};

/// The place of a hive: `<overrideRoot>/<hive's root name>` when `overrideRoot`
/// is not empty, else the system's place for it.
HiveLocation hiveLocation(Hive hive, const std::string& overrideRoot);

/// A value: its kind (the registry's number for it) and its bytes.
struct Value {
    std::uint32_t kind = 0;
    std::string data;
};

/// Opens or creates the key `names` below the hive folder (the folder itself
/// is made when missing). With `createParents` false only the last name may
/// be missing.
bool createKey(const HiveLocation& hive, const std::vector<std::string>& names, bool createParents);
bool keyExists(const HiveLocation& hive, const std::vector<std::string>& names);
/// Removes a key (never the hive itself) with its values; with `recursive` its
/// subkeys too, else it must have none. False when it was not there.
bool removeKey(const HiveLocation& hive, const std::vector<std::string>& names, bool recursive);

/// The names of the subkeys and of the values of a key, sorted without regard
/// to case; empty when the key cannot be read.
std::optional<std::vector<std::string>> subkeys(const HiveLocation& hive, const std::vector<std::string>& names);
std::optional<std::vector<std::string>> values(const HiveLocation& hive, const std::vector<std::string>& names);

std::optional<Value> readValue(const HiveLocation& hive, const std::vector<std::string>& names,
                               const std::string& valueName);
/// Writes a value, replacing the one of that name as a whole. With `createKey`
/// the key is made when missing.
bool writeValue(const HiveLocation& hive, const std::vector<std::string>& names, const std::string& valueName,
                const Value& value, bool createKey);
/// False when there was no such value.
bool removeValue(const HiveLocation& hive, const std::vector<std::string>& names, const std::string& valueName);

// The forms the store writes, open to tests.

/// The file name of a key name (`value` false) or of a value name; empty when
/// the name cannot be kept (an empty key name, longer than a file name may be).
std::string encodeName(const std::string& name, bool value);
/// The name a file name stands for; empty when the file name is not one the
/// store writes, or is of the other sort.
std::optional<std::string> decodeName(const std::string& fileName, bool value);

/// The bytes of a value file.
std::string encodeValueFile(const Value& value);
/// The value a file holds; empty unless the bytes are exactly a value file.
std::optional<Value> decodeValueFile(std::string_view bytes);

} // namespace FileSystem::sys::registry
