#pragma once

// Operations on single files and folders. Paths are in the system's form.

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace FileSystem::sys {

/// What the system says of a path without following a final link: a link
/// exists even when it dangles.
struct Attributes {
    bool directory = false;    ///< a folder, or a link to one
    bool readOnly = false;     ///< nobody may write it
    bool symbolicLink = false; ///< the path itself is a link
    bool regularFile = false;  ///< a plain file (through a link: what it points to)
};

/// The attributes of a path; empty when nothing is there or it cannot be read.
std::optional<Attributes> attributes(const std::string& path);

/// Lets the owner write the file or folder again.
bool clearReadOnly(const std::string& path);

/// Whether the caller may open an existing file for reading or writing. Opening
/// does not block (a pipe without peer answers at once) and changes nothing.
bool canOpenFile(const std::string& path, bool forWriting);

/// Whether the caller may list (reading) or change (writing) a folder.
bool canAccessDirectory(const std::string& path, bool forWriting);

/// Creates an empty file; an existing one is emptied unless `failIfExists`.
bool createFile(const std::string& path, bool failIfExists);

/// Removes a file or a link (never a folder).
bool removeFile(const std::string& path);

bool createDirectory(const std::string& path);

/// Creates a new file that only its owner may read and write (mode 0600),
/// failing when anything, a link included, stands at the path.
bool createPrivateFile(const std::string& path);
/// Creates a new folder that only its owner may enter (mode 0700).
bool createPrivateDirectory(const std::string& path);

enum class RenameResult {
    Done,
    TargetExists,
    CrossDevice, ///< the two paths lie on different file systems
    Failed,
};

/// Moves a file or folder to a new name; never replaces what stands there.
RenameResult renameNoReplace(const std::string& from, const std::string& to);

struct TimeStamp {
    std::int64_t seconds = 0;     ///< since 1970-01-01 UTC
    std::int32_t nanoseconds = 0; ///< within the second
};

/// Size and times of a file or folder, links followed.
struct FileData {
    bool directory = false;
    std::uint64_t size = 0;
    TimeStamp modified;
    TimeStamp created; ///< birth time where the file system records one, else the status-change time
    TimeStamp accessed;
};

std::optional<FileData> fileData(const std::string& path);

/// Sets the times that are given and leaves the others as they are (links followed).
bool setFileTimes(const std::string& path, const std::optional<TimeStamp>& modified,
                  const std::optional<TimeStamp>& accessed);

/// The whole mode word (type and permission bits), links followed.
std::optional<std::uint32_t> fileMode(const std::string& path);

/// Sets the permission bits (links followed).
bool changeMode(const std::string& path, std::uint32_t mode);

/// The text of a link; empty when the path is no link or cannot be read.
std::optional<std::string> readSymbolicLink(const std::string& path);

/// Called during a copy with the bytes copied so far and the total; false stops the copy.
using CopyProgress = std::function<bool(std::uint64_t done, std::uint64_t total)>;

struct CopyOptions {
    bool copyLinkItself = false; ///< a link is copied as a link, not as what it points to
    bool replaceExisting = true; ///< an existing destination is replaced
    bool keepTimes = false;      ///< the access time comes along too (the modification time always does)
    const CopyProgress* progress = nullptr;
};

enum class CopyResult {
    Done,
    Failed,
    NoFolder, ///< the folder that would hold the destination does not exist
};

/// Copies a file with its permission bits and modification time. The data goes
/// to a temporary name beside the destination (`.<name>.fs-partial-<random>`),
/// which is checked (every byte of the source as it was opened, rights, times)
/// and only then renamed into place: a copy that fails leaves the destination
/// as it was. The same file is never copied onto itself.
CopyResult copyFile(const std::string& from, const std::string& to, const CopyOptions& options);

} // namespace FileSystem::sys
