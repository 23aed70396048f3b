#pragma once

// Work inside a folder through an open descriptor of it, so that nothing done
// by name can be steered elsewhere by a racing process: a name is always one
// component, looked up in the folder that was opened, and a link standing in a
// name's place is never followed. The tree walks that write or delete (removal,
// copy, move, rights, extraction) are built on this. Paths are in the system's form.

#include <FileSystem/platform/DirectoryEntries.h>
#include <FileSystem/platform/Files.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace FileSystem::sys {

/// What a name inside a folder is, the name itself (a link is a link).
struct EntryStatus {
    enum class Kind { File, Directory, SymbolicLink, Other };
    Kind kind = Kind::Other;
    std::uint32_t mode = 0; ///< the whole mode word
    std::uint64_t size = 0;
    std::uint64_t device = 0;
    std::uint64_t index = 0;
    TimeStamp modified;
    TimeStamp accessed;
};

/// An open file descriptor, closed at the end of its scope.
class OpenFile {
public:
    OpenFile() noexcept = default;
    explicit OpenFile(int fd) noexcept : m_fd(fd) {}
    OpenFile(OpenFile&& other) noexcept;
    OpenFile& operator=(OpenFile&& other) noexcept;
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;
    ~OpenFile();

    explicit operator bool() const noexcept { return m_fd >= 0; }
    int descriptor() const noexcept { return m_fd; }

    /// Writes all bytes; false on any failure.
    bool write(const void* data, std::size_t size);
    /// Reads up to `size` bytes; the count, 0 at the end, -1 on failure.
    std::int64_t read(void* data, std::size_t size);
    std::optional<EntryStatus> status() const;
    /// Sets the permission bits of this very file.
    bool setMode(std::uint32_t mode);
    /// Sets the times that are given on this very file.
    bool setTimes(const std::optional<TimeStamp>& modified, const std::optional<TimeStamp>& accessed);
    /// Flushes and closes; false when the close reports a failure (a late write error).
    bool close();

private:
    int m_fd = -1;
};

/// An open folder. Every operation takes a single name (no '/', not "." or "..")
/// and acts on that name inside this folder.
class Folder {
public:
    Folder() noexcept = default;
    /// Takes ownership of an open folder descriptor (for the platform layer itself).
    explicit Folder(int fd) noexcept : m_fd(fd) {}
    Folder(Folder&& other) noexcept;
    Folder& operator=(Folder&& other) noexcept;
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
    ~Folder();

    /// Opens the folder a path names. With `followLastLink` false, a link in the
    /// path's last place is refused (the links above it are followed).
    static std::optional<Folder> open(const std::string& path, bool followLastLink);

    explicit operator bool() const noexcept { return m_fd >= 0; }
    int descriptor() const noexcept { return m_fd; }

    /// The identity and kind of the folder itself.
    std::optional<EntryStatus> status() const;
    /// Sets the permission bits of the folder itself (this very folder, whatever its name is now).
    bool setOwnMode(std::uint32_t mode);

    /// The names in the folder without "." and "..", with their kind as the
    /// folder records it; empty when it cannot be read.
    std::optional<std::vector<DirectoryEntry>> entries() const;

    /// What a name is, without following a link.
    std::optional<EntryStatus> statusOf(const std::string& name) const;
    /// What a name leads to: a link is followed.
    std::optional<EntryStatus> targetStatusOf(const std::string& name) const;

    /// Opens a subfolder; a link in its place is never followed (empty result).
    std::optional<Folder> openFolder(const std::string& name) const;

    /// Creates a subfolder with the given permission bits (before the umask).
    bool createFolder(const std::string& name, std::uint32_t mode = 0777);

    /// Opens an existing regular file for reading; a link in its place is refused.
    OpenFile openForReading(const std::string& name) const;

    /// Creates a new file (never an existing name, never through a link).
    OpenFile createFile(const std::string& name, std::uint32_t mode = 0666);

    /// Removes a file or link (not a folder).
    bool removeFile(const std::string& name);
    /// Removes an empty subfolder.
    bool removeFolder(const std::string& name);

    std::optional<std::string> readLink(const std::string& name) const;
    bool createLink(const std::string& target, const std::string& name);

    /// Renames a name of this folder to a name of `to`; with `replace` false an
    /// existing target is never replaced.
    RenameResult rename(const std::string& from, Folder& to, const std::string& toName, bool replace);

    /// Sets the permission bits of the name itself; a link is never followed
    /// (for a link it fails).
    bool setMode(const std::string& name, std::uint32_t mode);
    /// Adds permission bits to those the name itself has: `fileBits` for what is
    /// no folder, `folderBits` for a folder. A link is never followed (it fails).
    bool addPermissions(const std::string& name, std::uint32_t fileBits, std::uint32_t folderBits);
    /// Sets times of the name itself, never through a link.
    bool setTimes(const std::string& name, const std::optional<TimeStamp>& modified,
                  const std::optional<TimeStamp>& accessed);

private:
    int m_fd = -1;
};

/// Opens the folder that holds the last component of a path (links above it
/// followed) and gives that component's name; empty for a path without one
/// ("/", a path that ends in "." or "..").
std::optional<Folder> openParent(const std::string& path, std::string& name);

/// A name beside `name` for work in progress, in a form that a user can
/// recognise and clean after a crash: `.<name>.fs-partial-<8 random hex digits>`,
/// with the name cut (on a character boundary) so that the whole stays within
/// 255 bytes. Copies write under such names.
std::string partialName(const std::string& name);

/// Copies the file `fromName` of `from` to the name `toName` of `to`, as
/// `copyFile` does by path: a link in the source's place is followed unless
/// `copyLinkItself`; the destination's name is replaced as a name (what
/// stands there is never written through).
CopyResult copyFileAt(const Folder& from, const std::string& fromName, Folder& to, const std::string& toName,
                      const CopyOptions& options);

enum class FolderCreation { Created, Existed, Failed };

/// Creates a folder and every missing folder above it, one component at a
/// time, so that time and memory grow with the path's length and no limit of
/// the system's path length applies. "." components are passed over. Links
/// in the path are followed. Existed when a folder (or a link to one) was there.
FolderCreation createFolders(const std::string& path, std::uint32_t mode = 0777);

/// The open folders on the way down a walk, from a root that stays open. Only
/// the lowest levels keep their descriptors, so depth costs none: a level above
/// is opened again when the walk climbs back to it, and must then be the very
/// folder it was (same device and index), or the climb fails.
class FolderStack {
public:
    explicit FolderStack(Folder root);

    /// Levels below the root.
    std::size_t depth() const noexcept { return m_levels.size() - 1; }
    Folder& top() noexcept { return m_levels.back().folder; }
    const EntryStatus& topStatus() const noexcept { return m_levels.back().status; }
    /// The level above the top (open while the top is below the root).
    Folder& belowTop() noexcept { return m_levels[m_levels.size() - 2].folder; }

    /// Goes down into `folder`, opened by `name` from the top (a link followed
    /// when `throughLink`); `status` is the folder's own.
    void push(Folder folder, const EntryStatus& status, std::string name, bool throughLink);
    /// Goes back up, handing the level that is left to `left` when given; false
    /// when the level above cannot be reached again as the same folder.
    bool pop(Folder* left = nullptr);
    /// Whether a folder of this identity is open on the way down.
    bool contains(const EntryStatus& status) const;

private:
    struct Level {
        Folder folder;
        EntryStatus status;
        std::string name;
        bool throughLink = false;
    };
    bool reopen(std::size_t index, const Folder& child);
    std::vector<Level> m_levels;
    std::multiset<std::pair<std::uint64_t, std::uint64_t>> m_open; ///< device and index of each level
};

/// A depth-first walk below an open folder, by descriptors: every name is
/// looked up in the open folder that holds it, so that no rename or link put
/// in a name's place during the walk can lead it out of the tree. A folder is
/// never entered twice on the way down (a link or mount cycle ends).
///
/// The events come one by one from `next()`; a folder is entered only when the
/// caller asks with `descend()`.
class TreeWalk {
public:
    struct Options {
        /// Links to folders are walked as folders (else a link is a name like a file).
        bool followLinks = false;
        /// The names of each folder in byte order.
        bool sorted = false;
        /// When given, only these names of the root are walked.
        const std::vector<std::string>* rootNames = nullptr;
    };
    enum class Event {
        File,       ///< a name that is not walked as a folder: file, link, device, ...
        Folder,     ///< a folder; `descend()` enters it at the next step
        Enter,      ///< the folder was opened and read: its names follow, then Leave
        Leave,      ///< after the names of a folder
        Unreadable, ///< a folder that could not be opened or read (with an empty name: the root)
        Cycle,      ///< a folder already open on the way down: not entered again
        End,        ///< the end; `lost()` says whether it came early
    };

    TreeWalk(Folder root, const Options& options);

    Event next();
    /// With a Folder event: enter it.
    void descend() noexcept { m_descend = true; }
    /// With an Enter event: pass over its names; no Leave follows.
    void skip();

    /// The open folder that holds the current name.
    Folder& folder();
    const std::string& name() const noexcept { return m_name; }
    /// What the name is, as far as the walk knows (never Unknown).
    DirectoryEntry::Kind kind() const noexcept { return m_kind; }
    /// With Enter and Leave: the folder itself, and its identity.
    Folder& current();
    const EntryStatus& currentStatus() const noexcept { return m_currentStatus; }
    /// With Unreadable: nothing stands under the name any more.
    bool vanished() const noexcept { return m_vanished; }
    /// The walk ended before its end: a folder it had left could not be reached again.
    bool lost() const noexcept { return m_lost; }

private:
    struct Frame {
        std::vector<DirectoryEntry> entries;
        std::size_t next = 0;
        std::string name; ///< of the folder, in the folder above
    };
    bool readEntries(const Folder& folder, std::vector<DirectoryEntry>& entries) const;
    Event enter();

    Options m_options;
    FolderStack m_stack;
    std::vector<Frame> m_frames;
    std::string m_name;
    DirectoryEntry::Kind m_kind = DirectoryEntry::Kind::Other;
    Folder m_left; ///< the folder of a Leave event
    EntryStatus m_currentStatus;
    bool m_started = false;
    bool m_descend = false;
    bool m_atEnter = false;
    bool m_vanished = false;
    bool m_lost = false;
};

/// Removes everything below an open folder (not the folder itself) through
/// open folder descriptors; links go as links, never followed.
void removeContents(Folder root);

/// Removes a folder and everything below it through open folder descriptors:
/// no name during the walk can lead it outside the tree, whatever happens to
/// the names meanwhile. A link is removed as a link. True when the folder is gone.
bool removeTree(const std::string& path);

/// Opens, beneath `root`, the folder that the relative `path` names, creating the
/// missing folders on the way (with `mode`) when `create` is set. "." and ".."
/// are resolved by the walk itself, never above `root`. Links met on the way are
/// refused, or with `followLinks` followed while they stay inside `root`. Empty
/// when the folder cannot be reached inside `root` that way.
std::optional<Folder> openBeneath(const Folder& root, const std::string& path, bool create, std::uint32_t mode = 0777,
                                  bool followLinks = false);

/// Whether the place that the link text `target`, standing in the folder
/// `linkFolder` (relative to `root`), leads to lies inside `root` when resolved
/// on disk with every link already there followed. Parts that do not exist yet
/// must not climb ("..").
bool linkStaysBeneath(const Folder& root, const std::string& linkFolder, const std::string& target);

} // namespace FileSystem::sys
