#pragma once

#include <FileSystem/Export.h>
#include <FileSystem/storage/StorageSystemFile.h>
#include <FileSystem/storage/StorageSystemTypes.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace FileSystem {

/// One place where files live (the local disk, one archive), addressed by
/// opaque ids that the storage hands out and takes back.
///
/// Every public operation forwards to its protected `do_` namesake. The
/// queries with a `followSymbolicLink` flag follow a link to the end of its
/// chain first and then ask about the target without following again. No
/// operation throws on a failure: a missing entry, a refused right or an
/// unsupported request gives false or an empty result. An `optional<string>`
/// holds the resulting id (or link text), never a message.
class FILESYSTEM_EXPORT StorageSystem {
public:
    /// rw-rw-rw- (0666), the rights of created files.
    static const PosixFilePermissions defaultFilePermissions;
    /// rwxrwxrwx (0777), the rights of created directories.
    static const PosixFilePermissions defaultDirectroyPermissions;

    virtual ~StorageSystem() = default;

    // ---- Identity -----------------------------------------------------------

    /// The kind of storage.
    StorageSystemType getType() const { return do_getType(); }
    /// The machine the storage lives on; may be empty.
    std::string hostName() const { return do_hostName(); }
    /// Whether entries can be read, written.
    ///@{
    bool isReadable() const { return do_isReadable(); }
    bool isWriteable() const { return do_isWriteable(); }
    ///@}
    /// Whether the storage can be used at all.
    bool isValid() const { return do_isValid(); }
    /// Whether the storage knows links.
    bool hasSymbolicLinks() const { return do_hasSymbolicLinks(); }
    /// Good buffer sizes for reading and writing, in bytes.
    ///@{
    std::uint64_t recommendedReadBufferSize() const { return do_recommendedReadBufferSize(); }
    std::uint64_t recommendedWriteBufferSize() const { return do_recommendedWriteBufferSize(); }
    ///@}

    // ---- Files --------------------------------------------------------------

    /// The textual normal form of an id; no disk access, nothing resolved.
    std::string canonizeFileId(const std::string& id) const { return do_canonizeFileId(id); }
    /// Creates (or empties) the file `name` in a directory and opens it for
    /// writing; `reserved` is passed down unread. Empty on failure.
    std::unique_ptr<StorageSystemFile> fileCreate(const std::string& directoryId, const std::string& name, bool text,
                                                  bool reserved, PosixFilePermissions permissions) const {
        return do_fileCreate(directoryId, name, text, reserved, permissions);
    }
    /// fileCreate in binary or text mode.
    ///@{
    std::unique_ptr<StorageSystemFile> fileCreateBinary(const std::string& directoryId, const std::string& name,
                                                        bool reserved, PosixFilePermissions permissions) const {
        return fileCreate(directoryId, name, false, reserved, permissions);
    }
    std::unique_ptr<StorageSystemFile> fileCreateText(const std::string& directoryId, const std::string& name,
                                                      bool reserved, PosixFilePermissions permissions) const {
        return fileCreate(directoryId, name, true, reserved, permissions);
    }
    ///@}
    /// Opens a file. Reading or writing creates a missing file unless the mode
    /// has NoCreate. Empty on failure.
    std::unique_ptr<StorageSystemFile> fileOpen(const std::string& fileId, StorageSystemFileOpenMode mode,
                                                PosixFilePermissions permissions) const {
        return do_fileOpen(fileId, mode, permissions);
    }
    /// fileOpen with Text cleared, set.
    ///@{
    std::unique_ptr<StorageSystemFile> fileOpenBinary(const std::string& fileId, StorageSystemFileOpenMode mode,
                                                      PosixFilePermissions permissions) const {
        return fileOpen(fileId, mode.reset(StorageSystemFileOpenModeFlag::Text), permissions);
    }
    std::unique_ptr<StorageSystemFile> fileOpenText(const std::string& fileId, StorageSystemFileOpenMode mode,
                                                    PosixFilePermissions permissions) const {
        return fileOpen(fileId, mode.set(StorageSystemFileOpenModeFlag::Text), permissions);
    }
    ///@}
    /// Whether the entry is a link.
    bool fileIsSymbolicLink(const std::string& id) const { return do_fileIsSymbolicLink(id); }
    /// Whether something is there.
    bool fileExists(const std::string& id, bool followSymbolicLink) const;
    /// The size of a file.
    std::optional<std::uint64_t> fileSize(const std::string& id, bool followSymbolicLink) const;
    /// What the storage knows of an entry.
    std::optional<StorageSystemFileInfo> fileInfo(const std::string& id, bool followSymbolicLink) const;
    /// The kind of an entry.
    std::optional<StorageSystemFileType> fileType(const std::string& id, bool followSymbolicLink) const;
    /// Space on the volume that holds an entry.
    std::optional<StorageSystemStorageInfo> fileStorageInfo(const std::string& id, bool followSymbolicLink) const;
    /// The permission bits of an entry.
    std::optional<PosixFilePermissions> fileGetPermissions(const std::string& id, bool followSymbolicLink) const;
    /// The modification time of an entry.
    std::optional<StorageSystemTimePoint> fileGetModTime(const std::string& id, bool followSymbolicLink) const;
    /// Removes a file or link.
    bool fileRemove(const std::string& id) const { return do_fileRemove(id); }
    /// Gives a file a new name in its directory; the new id.
    std::optional<std::string> fileRename(const std::string& id, const std::string& newName) const {
        return do_fileRename(id, newName);
    }
    /// Moves a file into another directory; the new id.
    std::optional<std::string> fileMove(const std::string& id, const std::string& directoryId) const {
        return do_fileMove(id, directoryId);
    }
    /// Copies a file of this storage into a directory of this storage, under
    /// `name` (its own name when empty); the new id.
    std::optional<std::string> fileCopy(const std::string& id, const std::string& directoryId, const std::string& name,
                                        const StorageSystemProgress& progress, StorageSystemCopyOptions options,
                                        const std::optional<std::uint64_t>& chunkSize) const {
        return do_fileCopy(*this, id, *this, directoryId, name, progress, options, chunkSize);
    }
    /// Copies a file of this storage into a directory of `destination`.
    std::optional<std::string> fileCopy(const std::string& id, const StorageSystem& destination,
                                        const std::string& directoryId, const std::string& name,
                                        const StorageSystemProgress& progress, StorageSystemCopyOptions options,
                                        const std::optional<std::uint64_t>& chunkSize) const {
        return do_fileCopy(*this, id, destination, directoryId, name, progress, options, chunkSize);
    }
    /// Copies a file of `source` into a directory of this storage.
    std::optional<std::string> fileCopy(const StorageSystem& source, const std::string& id,
                                        const std::string& directoryId, const std::string& name,
                                        const StorageSystemProgress& progress, StorageSystemCopyOptions options,
                                        const std::optional<std::uint64_t>& chunkSize) const {
        return do_fileCopy(source, id, *this, directoryId, name, progress, options, chunkSize);
    }
    /// Sets the permission bits of an entry.
    bool fileSetPermissions(const std::string& id, const PosixFilePermissions& permissions) const {
        return do_fileSetPermissions(id, permissions);
    }
    /// Sets the modification time of an entry.
    bool fileSetModTime(const std::string& id, const StorageSystemTimePoint& time) const {
        return do_fileSetModTime(id, time);
    }
    /// Makes the link `name` in a directory with the text `target`; on success
    /// the target text (not the link's id).
    std::optional<std::string> fileSymbolicLinkCreate(const std::string& target, const std::string& directoryId,
                                                      const std::string& name) const {
        return do_fileSymbolicLinkCreate(target, directoryId, name);
    }
    /// The text of a link, as stored.
    std::optional<std::string> fileSymbolicLinkTarget(const std::string& id) const {
        return do_fileSymbolicLinkTarget(id);
    }
    /// The id a link leads to (relative texts taken from the link's directory),
    /// with `followChain` to the end of a chain of links.
    std::optional<std::string> fileSymbolicLinkTargetFileId(const std::string& id, bool followChain) const {
        return do_fileSymbolicLinkTargetFileId(id, followChain);
    }

    // ---- Directories --------------------------------------------------------

    /// The textual normal form of a directory id.
    std::string canonizeDirectoryId(const std::string& id) const { return do_canonizeDirectoryId(id); }
    /// What the storage knows of a directory; empty for anything else.
    std::optional<StorageSystemFileInfo> directoryInfo(const std::string& id, bool followSymbolicLink) const;
    /// The kind of a directory entry.
    std::optional<StorageSystemFileType> directoryType(const std::string& id, bool followSymbolicLink) const;
    /// Whether a directory is there.
    bool directoryExists(const std::string& id, bool followSymbolicLink) const;
    /// Space on the volume that holds a directory.
    std::optional<StorageSystemStorageInfo> directoryStorageInfo(const std::string& id,
                                                                 bool followSymbolicLink) const;
    /// The permission bits of a directory.
    std::optional<PosixFilePermissions> directoryGetPermissions(const std::string& id,
                                                                bool followSymbolicLink) const;
    /// The modification time of a directory.
    std::optional<StorageSystemTimePoint> directoryGetModTime(const std::string& id, bool followSymbolicLink) const;
    /// Whether the entry is a link to a directory.
    bool directoryIsSymbolicLink(const std::string& id) const { return do_directoryIsSymbolicLink(id); }
    /// Creates the directory `name` below `parentId`; the new id.
    std::optional<std::string> directoryCreate(const std::string& parentId, const std::string& name,
                                               bool failIfExists, PosixFilePermissions permissions) const {
        return do_directoryCreate(parentId, std::vector<std::string>{name}, failIfExists, permissions);
    }
    /// Creates the directory that `names` (steps below `parentId`) lead to;
    /// only the last level is created. The new id.
    std::optional<std::string> directoryCreate(const std::string& parentId, const std::vector<std::string>& names,
                                               bool failIfExists, PosixFilePermissions permissions) const {
        return do_directoryCreate(parentId, names, failIfExists, permissions);
    }
    /// Removes a directory, with `recursive` also all it holds.
    bool directoryRemove(const std::string& id, bool recursive) const { return do_directoryRemove(id, recursive); }
    /// Gives a directory a new name; the new id.
    std::optional<std::string> directoryRename(const std::string& id, const std::string& newName) const {
        return do_directoryRename(id, newName);
    }
    /// Moves a directory into another; the new id.
    std::optional<std::string> directoryMove(const std::string& id, const std::string& directoryId) const {
        return do_directoryMove(id, directoryId);
    }
    /// The entries of a directory whose names match the filter (all for an empty filter).
    std::vector<StorageSystemDirectoryInfo> directoryList(const std::string& id, const std::string& filter,
                                                          StorageSystemDirectoryFilterType filterType) const {
        return do_directoryList(id, filter, filterType);
    }
    /// The same with size, time and permissions.
    std::vector<StorageSystemFileInfo> directoryFileInfoList(const std::string& id, const std::string& filter,
                                                             StorageSystemDirectoryFilterType filterType) const {
        return do_directoryFileInfoList(id, filter, filterType);
    }
    /// The names only.
    std::vector<std::string> directoryListFileNames(const std::string& id, const std::string& filter,
                                                    StorageSystemDirectoryFilterType filterType) const {
        return do_directoryListFileNames(id, filter, filterType);
    }
    /// Sets the permission bits of a directory.
    bool directorySetPermissions(const std::string& id, const PosixFilePermissions& permissions) const {
        return do_directorySetPermissions(id, permissions);
    }
    /// Sets the modification time of a directory.
    bool directorySetModTime(const std::string& id, const StorageSystemTimePoint& time) const {
        return do_directorySetModTime(id, time);
    }
    /// Makes a link to a directory; on success the target text.
    std::optional<std::string> directorySymbolicLinkCreate(const std::string& target, const std::string& directoryId,
                                                           const std::string& name) const {
        return do_directorySymbolicLinkCreate(target, directoryId, name);
    }
    /// The text of a link to a directory.
    std::optional<std::string> directorySymbolicLinkTarget(const std::string& id) const {
        return do_directorySymbolicLinkTarget(id);
    }
    /// The directory id a link leads to, with `followChain` to the end of a chain.
    std::optional<std::string> directorySymbolicLinkTargetDirectoryId(const std::string& id, bool followChain) const {
        return do_directorySymbolicLinkTargetDirectoryId(id, followChain);
    }

protected:
    /// Storages are made by back ends.
    StorageSystem() = default;
    /// A storage has no state of its own: copies and moves do nothing.
    ///@{
    StorageSystem(const StorageSystem&) = default;
    StorageSystem(StorageSystem&&) = default;
    StorageSystem& operator=(const StorageSystem&) = default;
    StorageSystem& operator=(StorageSystem&&) = default;
    ///@}

    /// The back end of the public operation of the same name. The `do_` level
    /// never follows links. A default either computes its answer from
    /// do_fileInfo / do_directoryInfo or from the listing of infos.
    ///@{
    virtual std::string do_hostName() const { return {}; }
    virtual StorageSystemType do_getType() const = 0;
    virtual bool do_isReadable() const = 0;
    virtual bool do_isWriteable() const = 0;
    virtual bool do_isValid() const = 0;
    virtual bool do_hasSymbolicLinks() const = 0;
    virtual std::uint64_t do_recommendedReadBufferSize() const = 0;
    virtual std::uint64_t do_recommendedWriteBufferSize() const = 0;
    virtual std::string do_canonizeFileId(const std::string& id) const = 0;
    virtual std::unique_ptr<StorageSystemFile> do_fileCreate(const std::string& directoryId, const std::string& name,
                                                             bool text, bool reserved,
                                                             PosixFilePermissions permissions) const = 0;
    virtual std::unique_ptr<StorageSystemFile> do_fileOpen(const std::string& fileId, StorageSystemFileOpenMode mode,
                                                           PosixFilePermissions permissions) const = 0;
    virtual bool do_fileIsSymbolicLink(const std::string& id) const = 0;
    virtual bool do_fileExists(const std::string& id) const;
    virtual std::optional<std::uint64_t> do_fileSize(const std::string& id) const;
    virtual std::optional<StorageSystemFileInfo> do_fileInfo(const std::string& id) const = 0;
    virtual std::optional<StorageSystemFileType> do_fileType(const std::string& id) const;
    virtual std::optional<StorageSystemStorageInfo> do_fileStorageInfo(const std::string& id) const = 0;
    virtual bool do_fileRemove(const std::string& id) const = 0;
    virtual std::optional<std::string> do_fileRename(const std::string& id, const std::string& newName) const = 0;
    virtual std::optional<std::string> do_fileMove(const std::string& id, const std::string& directoryId) const = 0;
    /// Copies `id` of `source` to `name` in `directoryId` of `destination`
    /// through open files (the storage-neutral way). A link is recreated as a
    /// link when both storages know links and CopySymbolicLink is asked; a
    /// directory is never copied.
    virtual std::optional<std::string> do_fileCopy(const StorageSystem& source, const std::string& id,
                                                   const StorageSystem& destination, const std::string& directoryId,
                                                   const std::string& name, const StorageSystemProgress& progress,
                                                   StorageSystemCopyOptions options,
                                                   const std::optional<std::uint64_t>& chunkSize) const;
    virtual std::optional<PosixFilePermissions> do_fileGetPermissions(const std::string& id) const;
    virtual bool do_fileSetPermissions(const std::string& id, const PosixFilePermissions& permissions) const = 0;
    virtual std::optional<StorageSystemTimePoint> do_fileGetModTime(const std::string& id) const;
    virtual bool do_fileSetModTime(const std::string& id, const StorageSystemTimePoint& time) const = 0;
    virtual std::optional<std::string> do_fileSymbolicLinkCreate(const std::string& target,
                                                                 const std::string& directoryId,
                                                                 const std::string& name) const = 0;
    virtual std::optional<std::string> do_fileSymbolicLinkTarget(const std::string& id) const = 0;
    virtual std::optional<std::string> do_fileSymbolicLinkTargetFileId(const std::string& id,
                                                                       bool followChain) const = 0;
    virtual std::string do_canonizeDirectoryId(const std::string& id) const = 0;
    virtual std::optional<StorageSystemFileType> do_directoryType(const std::string& id) const;
    virtual bool do_directoryIsSymbolicLink(const std::string& id) const = 0;
    virtual std::optional<StorageSystemFileInfo> do_directoryInfo(const std::string& id) const = 0;
    virtual std::optional<std::string> do_directoryCreate(const std::string& parentId,
                                                          const std::vector<std::string>& names, bool failIfExists,
                                                          PosixFilePermissions permissions) const = 0;
    virtual bool do_directoryExists(const std::string& id) const;
    virtual bool do_directoryRemove(const std::string& id, bool recursive) const = 0;
    virtual std::optional<std::string> do_directoryRename(const std::string& id,
                                                          const std::string& newName) const = 0;
    virtual std::optional<std::string> do_directoryMove(const std::string& id,
                                                        const std::string& directoryId) const = 0;
    virtual std::vector<StorageSystemDirectoryInfo> do_directoryList(const std::string& id, const std::string& filter,
                                                                     StorageSystemDirectoryFilterType filterType) const;
    virtual std::vector<StorageSystemFileInfo> do_directoryFileInfoList(
        const std::string& id, const std::string& filter, StorageSystemDirectoryFilterType filterType) const = 0;
    virtual std::vector<std::string> do_directoryListFileNames(const std::string& id, const std::string& filter,
                                                               StorageSystemDirectoryFilterType filterType) const;
    virtual std::optional<StorageSystemStorageInfo> do_directoryStorageInfo(const std::string& id) const = 0;
    virtual std::optional<PosixFilePermissions> do_directoryGetPermissions(const std::string& id) const;
    virtual bool do_directorySetPermissions(const std::string& id,
                                            const PosixFilePermissions& permissions) const = 0;
    virtual std::optional<StorageSystemTimePoint> do_directoryGetModTime(const std::string& id) const;
    virtual bool do_directorySetModTime(const std::string& id, const StorageSystemTimePoint& time) const = 0;
    virtual std::optional<std::string> do_directorySymbolicLinkCreate(const std::string& target,
                                                                      const std::string& directoryId,
                                                                      const std::string& name) const = 0;
    virtual std::optional<std::string> do_directorySymbolicLinkTarget(const std::string& id) const = 0;
    virtual std::optional<std::string> do_directorySymbolicLinkTargetDirectoryId(const std::string& id,
                                                                                 bool followChain) const = 0;
    ///@}

    /// The permission bits a copy gets from the source's bits and the options;
    /// empty when the options ask for none.
    static std::optional<PosixFilePermissions> copiedPermissions(const PosixFilePermissions& source,
                                                                 StorageSystemCopyOptions options);

private:
    /// The id a frame works on: the end of the link chain when asked to follow
    /// and `id` is a link, else `id` itself.
    std::string followedId(const std::string& id, bool followSymbolicLink) const;
};

} // namespace FileSystem
