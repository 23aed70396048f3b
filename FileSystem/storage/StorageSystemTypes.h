#pragma once

// The value types and flags that storages speak in, and their text and C
// runtime forms.

#include <FileSystem/Export.h>
#include <FileSystem/files/PosixFilePermissionFlag.h>
#include <FileSystem/utilities/Flags.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <ratio>
#include <string>
#include <string_view>

namespace FileSystem {

/// The kind of place a storage stands for.
enum class StorageSystemType : std::uint32_t {
    Local = 1, ///< the local file system
    Zip = 4,   ///< one zip archive
};

/// Kinds of entries; `SymbolicLink` comes together with `File` or `Directory`.
enum class StorageSystemFileTypeFlag : std::uint32_t {
    File = 1,          ///< a regular file
    Directory = 2,     ///< a directory
    SymbolicLink = 16, ///< the entry is a link (to what the other bit says)
};
/// A set of entry kinds.
using StorageSystemFileType = Utilities::Flags<StorageSystemFileTypeFlag>;

/// How a file is opened.
enum class StorageSystemFileOpenModeFlag : std::uint32_t {
    Read = 1,      ///< open for reading
    Write = 2,     ///< open for writing
    Append = 4,    ///< writes go to the end
    Truncate = 8,  ///< cut to zero length on open
    Text = 16,     ///< text translation; without it the file is binary
    NoCreate = 128 ///< do not create a missing file
};
/// A set of open-mode bits.
using StorageSystemFileOpenMode = Utilities::Flags<StorageSystemFileOpenModeFlag>;

/// What a copy carries over besides the bytes.
enum class StorageSystemCopyOptionFlag : std::uint32_t {
    PreserveModTime = 1,     ///< the copy gets the source's modification time
    CopySymbolicLink = 2,    ///< a link is recreated as a link instead of being read through
    PreservePermissions = 4, ///< the copy gets the source's permission bits
    MakeExecutable = 8,      ///< the copy gets execute bits (all rights without PreservePermissions)
};
/// A set of copy options.
using StorageSystemCopyOptions = Utilities::Flags<StorageSystemCopyOptionFlag>;

/// How the filter text of a listing is read.
enum class StorageSystemDirectoryFilterType : std::uint32_t {
    Wildcard = 1, ///< `*` any run, `?` zero or one character
    RegExp = 2,   ///< an ECMAScript regular expression that must match the whole name
};

/// The union of two bits of one flag enumeration.
///@{
constexpr StorageSystemFileType operator|(StorageSystemFileTypeFlag a, StorageSystemFileTypeFlag b) noexcept {
    return StorageSystemFileType(a) | b;
}
constexpr StorageSystemFileOpenMode operator|(StorageSystemFileOpenModeFlag a,
                                              StorageSystemFileOpenModeFlag b) noexcept {
    return StorageSystemFileOpenMode(a) | b;
}
constexpr StorageSystemCopyOptions operator|(StorageSystemCopyOptionFlag a, StorageSystemCopyOptionFlag b) noexcept {
    return StorageSystemCopyOptions(a) | b;
}
///@}

/// Times of entries: ticks of 100 ns since 1970-01-01 UTC on the system clock.
/// The minimum time point means "unknown".
using StorageSystemTimePoint =
    std::chrono::time_point<std::chrono::system_clock, std::chrono::duration<std::int64_t, std::ratio<1, 10000000>>>;

/// Progress of a copy: bytes done and the total; false stops the copy. An empty
/// function reports nothing.
using StorageSystemProgress = std::function<bool(std::uint64_t done, std::uint64_t total)>;

/// What a storage knows of one entry.
struct FILESYSTEM_EXPORT StorageSystemFileInfo {
    std::string name;                                     ///< last component of the id
    std::string fileId;                                   ///< the canonical id of the entry
    std::string parentDirectoryId;                        ///< id of the directory that holds it
    StorageSystemFileType type;                           ///< kind of entry
    std::uint64_t size = 0;                               ///< size in bytes; 0 where it could not be read
    StorageSystemTimePoint modTime = StorageSystemTimePoint::min(); ///< last modification; min() is unknown
    PosixFilePermissions permissions;                     ///< permission bits

    /// Equal when every field is.
    friend bool operator==(const StorageSystemFileInfo&, const StorageSystemFileInfo&) = default;
};

/// The cheap listing record: names and kind, no size, time or permissions.
struct FILESYSTEM_EXPORT StorageSystemDirectoryInfo {
    std::string name;              ///< last component of the id
    std::string fileId;            ///< the id of the entry
    std::string parentDirectoryId; ///< id of the directory that holds it
    StorageSystemFileType type;    ///< kind of entry

    /// Equal when every field is.
    friend bool operator==(const StorageSystemDirectoryInfo&, const StorageSystemDirectoryInfo&) = default;
};

/// Space on the volume that holds an entry, in bytes.
struct FILESYSTEM_EXPORT StorageSystemStorageInfo {
    std::uint64_t free = 0;      ///< free bytes on the volume
    std::uint64_t available = 0; ///< free bytes the caller may use
    std::uint64_t total = 0;     ///< size of the volume
};

/// The kind bits as lower-case hexadecimal digits without prefix ("12").
FILESYSTEM_EXPORT std::string storageSystemFileTypeToString(StorageSystemFileType type);
/// Hexadecimal digits back to kind bits; text that is no hexadecimal number
/// (or does not fit 32 bits) gives no bits.
FILESYSTEM_EXPORT StorageSystemFileType storageSystemFileTypeFromString(const std::string& text);
/// "Wildcard" or "RegExp"; empty for any other value.
FILESYSTEM_EXPORT std::string storageSystemDirectoryFilterTypeToString(StorageSystemDirectoryFilterType type);
/// The filter type of exactly "Wildcard" or "RegExp" (case-sensitive); `fallback` for anything else.
FILESYSTEM_EXPORT StorageSystemDirectoryFilterType
storageSystemDirectoryFilterTypeFromString(const std::string& text, StorageSystemDirectoryFilterType fallback);
/// Open flags (PosixOpenFlags) for an open mode. Read and Write give read-write;
/// Write alone truncates unless Append is set; Append alone writes. Every open
/// for reading or writing creates a missing file unless NoCreate is set. Text
/// gives the text bit, anything else the binary bit.
FILESYSTEM_EXPORT int storageSystemFileOpenModeToPosixMode(StorageSystemFileOpenMode mode);
/// The open mode of open flags: access, Truncate, Append and Text. Without a
/// translation bit the process's default translation decides (binary here).
/// The create bit is not read back.
FILESYSTEM_EXPORT StorageSystemFileOpenMode storageSystemFileOpenModeFromPosixMode(int flags);
/// The C mode text ("w+b") for an open mode (fromPosixMode of its open flags).
FILESYSTEM_EXPORT std::string storageSystemFileOpenModeToCMode(StorageSystemFileOpenMode mode);
/// The open mode of a C mode text (toPosixMode, then the open flags' mode).
FILESYSTEM_EXPORT StorageSystemFileOpenMode storageSystemFileOpenModeFromCMode(const std::string_view& mode);

} // namespace FileSystem
