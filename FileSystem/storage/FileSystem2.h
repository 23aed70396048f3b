#pragma once

#include <FileSystem/Export.h>
#include <FileSystem/files/FileMetaData.h>
#include <FileSystem/storage/StorageSystem.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace FileSystem {

/// A storage whose ids are paths separated by `/`: a child's id is its
/// parent's id and its name, and renames, moves, copies and creations also
/// take whole destination ids (the `...As` family).
///
/// Links are followed at most `kMaxSymbolicLinkChain` steps: a longer chain or
/// a ring of links resolves to nothing, as a link that cannot be read.
class FILESYSTEM_EXPORT FileSystem2 : public StorageSystem {
public:
    /// The most links followed in one chain.
    static constexpr int kMaxSymbolicLinkChain = 40;

    /// A storage has no state of its own.
    ///@{
    FileSystem2() = default;
    FileSystem2(const FileSystem2&) = default;
    FileSystem2(FileSystem2&&) = default;
    FileSystem2& operator=(const FileSystem2&) = default;
    FileSystem2& operator=(FileSystem2&&) = default;
    ///@}

    // ---- Path algebra -------------------------------------------------------

    /// The id as shown to a person.
    std::string displayPath(const std::string& id) const { return do_displayPath(id); }
    /// The id in the storage's normal form.
    std::string pathCanonize(const std::string& id) const { return do_pathCanonize(id); }
    /// The last component (a trailing slash ignored).
    std::string pathFileName(const std::string& id) const { return do_pathFileName(id); }
    /// Whether the last component holds one of `*?<>"`.
    bool pathHasFilterPath(const std::string& id) const { return do_pathHasFilterPath(id); }
    /// Whether the id starts at the root.
    bool pathIsAbsolute(const std::string& id) const { return do_pathIsAbsolute(id); }
    /// The text from the last dot on (the dot included), lower-cased per code
    /// point with `lowerCase`; empty without a dot.
    std::string pathFileExtension(const std::string& id, bool lowerCase) const {
        return do_pathFileExtension(id, lowerCase);
    }
    /// The text before the last dot, or the id without a dot.
    std::string pathFileStripExtension(const std::string& id) const { return do_pathFileStripExtension(id); }
    /// Everything before the last component; empty without a `/`.
    std::string pathParentId(const std::string& id) const { return do_pathParentId(id); }
    /// The id of `child` below `parent`.
    std::string pathChildId(const std::string& parent, const std::string& child) const {
        return do_pathChildId(parent, std::vector<std::string>{child});
    }
    /// The id of the steps `children` below `parent` (empty steps skipped).
    std::string pathChildId(const std::string& parent, const std::vector<std::string>& children) const {
        return do_pathChildId(parent, children);
    }
    /// Adds or removes one leading or trailing `/`.
    ///@{
    std::string pathEnsureLeadingSlash(const std::string& id) const { return do_pathEnsureLeadingSlash(id); }
    std::string pathRemoveLeadingSlash(const std::string& id) const { return do_pathRemoveLeadingSlash(id); }
    std::string pathEnsureTrailingSlash(const std::string& id) const { return do_pathEnsureTrailingSlash(id); }
    std::string pathRemoveTrailingSlash(const std::string& id) const { return do_pathRemoveTrailingSlash(id); }
    ///@}

    // ---- Operations on whole destination ids --------------------------------

    /// Creates (or empties) the file `fileId` and opens it for writing.
    std::unique_ptr<StorageSystemFile> fileCreateAs(const std::string& fileId, bool text, bool reserved,
                                                    PosixFilePermissions permissions) const {
        return do_fileCreateAs(fileId, text, reserved, permissions);
    }
    /// fileCreateAs in binary, text mode.
    ///@{
    std::unique_ptr<StorageSystemFile> fileCreateAsBinary(const std::string& fileId, bool reserved,
                                                          PosixFilePermissions permissions) const {
        return do_fileCreateAs(fileId, false, reserved, permissions);
    }
    std::unique_ptr<StorageSystemFile> fileCreateAsText(const std::string& fileId, bool reserved,
                                                        PosixFilePermissions permissions) const {
        return do_fileCreateAs(fileId, true, reserved, permissions);
    }
    ///@}
    /// Renames, moves a file to the id `newId`.
    ///@{
    bool fileRenameAs(const std::string& id, const std::string& newId) const { return do_fileRenameAs(id, newId); }
    bool fileMoveAs(const std::string& id, const std::string& newId) const { return do_fileMoveAs(id, newId); }
    ///@}
    /// Copies a file to `newId`: within this storage, from this storage to
    /// `destination`, or from `source` to this storage. Times and rights as the
    /// options ask. A failed byte copy still gets the metadata, and gives false.
    ///@{
    bool fileCopyAs(const std::string& id, const std::string& newId, const StorageSystemProgress& progress,
                    StorageSystemCopyOptions options, const std::optional<std::uint64_t>& chunkSize) const {
        return do_fileCopyAs(*this, id, *this, newId, progress, options, chunkSize);
    }
    bool fileCopyAs(const std::string& id, const FileSystem2& destination, const std::string& newId,
                    const StorageSystemProgress& progress, StorageSystemCopyOptions options,
                    const std::optional<std::uint64_t>& chunkSize) const {
        return do_fileCopyAs(*this, id, destination, newId, progress, options, chunkSize);
    }
    bool fileCopyAs(const StorageSystem& source, const std::string& id, const std::string& newId,
                    const StorageSystemProgress& progress, StorageSystemCopyOptions options,
                    const std::optional<std::uint64_t>& chunkSize) const {
        return do_fileCopyAs(source, id, *this, newId, progress, options, chunkSize);
    }
    ///@}
    /// Makes the link `linkId` with the text `target`.
    bool fileSymbolicLinkCreateAs(const std::string& target, const std::string& linkId) const {
        return do_fileSymbolicLinkCreateAs(target, linkId);
    }
    /// Whether the entry is a file, a directory (links followed when asked);
    /// false when nothing is there.
    ///@{
    bool fileIsFile(const std::string& id, bool followSymbolicLink) const;
    bool fileIsDirectory(const std::string& id, bool followSymbolicLink) const;
    /// The version record of the file `id` (a Windows executable or library);
    /// empty where the storage cannot read one (the default). Nothing throws.
    std::optional<FileMetaData> fileMetaData(const std::string& id) const { return do_fileMetaData(id); }
    ///@}
    /// Creates the directory `id` (its parent must exist).
    bool directoryCreateAs(const std::string& id, bool failIfExists, PosixFilePermissions permissions) const {
        return do_directoryCreateAs(id, failIfExists, permissions);
    }
    /// Creates the directory `id` with every missing directory above it. True
    /// when all were created; with nothing missing, the opposite of `failIfExists`.
    bool directoryMakePath(const std::string& id, bool failIfExists, PosixFilePermissions permissions) const {
        return do_directoryMakePath(id, failIfExists, permissions);
    }
    /// Renames, moves a directory to the id `newId`.
    ///@{
    bool directoryRenameAs(const std::string& id, const std::string& newId) const {
        return do_directoryRenameAs(id, newId);
    }
    bool directoryMoveAs(const std::string& id, const std::string& newId) const {
        return do_directoryMoveAs(id, newId);
    }
    ///@}
    /// The names of a directory, or of those matching the wildcard in the last
    /// component of `pathWithFilter` ("dir/*.txt").
    std::vector<std::string> directoryListFileNamesWithFilterPath(const std::string& pathWithFilter) const {
        return do_directoryListFileNamesWithFilterPath(pathWithFilter);
    }
    /// Makes the directory link `linkId` with the text `target`.
    bool directorySymbolicLinkCreateAs(const std::string& target, const std::string& linkId) const {
        return do_directorySymbolicLinkCreateAs(target, linkId);
    }

protected:
    // ---- Defaults of the storage interface ----------------------------------
    ///@{
    /// Path-based answers of the storage interface (see the public operations).
    bool do_isReadable() const override { return true; }
    bool do_isWriteable() const override { return true; }
    bool do_hasSymbolicLinks() const override { return true; }
    std::uint64_t do_recommendedReadBufferSize() const override { return 0x280000; }
    std::uint64_t do_recommendedWriteBufferSize() const override { return 0x280000; }
    std::string do_canonizeFileId(const std::string& id) const override;
    std::unique_ptr<StorageSystemFile> do_fileCreate(const std::string& directoryId, const std::string& name,
                                                     bool text, bool reserved,
                                                     PosixFilePermissions permissions) const override;
    bool do_fileIsSymbolicLink(const std::string& id) const override;
    std::optional<StorageSystemStorageInfo> do_fileStorageInfo(const std::string& id) const override;
    std::optional<std::string> do_fileRename(const std::string& id, const std::string& newName) const override;
    std::optional<std::string> do_fileMove(const std::string& id, const std::string& directoryId) const override;
    std::optional<std::string> do_fileCopy(const StorageSystem& source, const std::string& id,
                                           const StorageSystem& destination, const std::string& directoryId,
                                           const std::string& name, const StorageSystemProgress& progress,
                                           StorageSystemCopyOptions options,
                                           const std::optional<std::uint64_t>& chunkSize) const override;
    std::optional<std::string> do_fileSymbolicLinkCreate(const std::string& target, const std::string& directoryId,
                                                         const std::string& name) const override;
    std::optional<std::string> do_fileSymbolicLinkTargetFileId(const std::string& id,
                                                               bool followChain) const override;
    std::string do_canonizeDirectoryId(const std::string& id) const override;
    bool do_directoryIsSymbolicLink(const std::string& id) const override;
    std::optional<StorageSystemFileInfo> do_directoryInfo(const std::string& id) const override;
    std::optional<std::string> do_directoryCreate(const std::string& parentId, const std::vector<std::string>& names,
                                                  bool failIfExists, PosixFilePermissions permissions) const override;
    bool do_directoryRemove(const std::string& id, bool recursive) const override;
    std::optional<std::string> do_directoryRename(const std::string& id, const std::string& newName) const override;
    std::optional<std::string> do_directoryMove(const std::string& id,
                                                const std::string& directoryId) const override;
    std::optional<StorageSystemStorageInfo> do_directoryStorageInfo(const std::string& id) const override;
    std::optional<PosixFilePermissions> do_directoryGetPermissions(const std::string& id) const override;
    bool do_directorySetPermissions(const std::string& id, const PosixFilePermissions& permissions) const override;
    std::optional<StorageSystemTimePoint> do_directoryGetModTime(const std::string& id) const override;
    bool do_directorySetModTime(const std::string& id, const StorageSystemTimePoint& time) const override;
    std::optional<std::string> do_directorySymbolicLinkCreate(const std::string& target,
                                                              const std::string& directoryId,
                                                              const std::string& name) const override;
    std::optional<std::string> do_directorySymbolicLinkTargetDirectoryId(const std::string& id,
                                                                         bool followChain) const override;
    ///@}

    // ---- Operations added by path-based storages ----------------------------
    ///@{
    /// The back end of the public operation of the same name.
    virtual std::string do_displayPath(const std::string& id) const { return id; }
    virtual std::string do_pathCanonize(const std::string& id) const { return id; }
    virtual std::string do_pathFileName(const std::string& id) const;
    virtual bool do_pathHasFilterPath(const std::string& id) const;
    virtual bool do_pathIsAbsolute(const std::string& id) const;
    virtual std::string do_pathFileExtension(const std::string& id, bool lowerCase) const;
    virtual std::string do_pathFileStripExtension(const std::string& id) const;
    virtual std::string do_pathParentId(const std::string& id) const;
    virtual std::string do_pathChildId(const std::string& parent, const std::vector<std::string>& children) const;
    virtual std::string do_pathEnsureLeadingSlash(const std::string& id) const;
    virtual std::string do_pathRemoveLeadingSlash(const std::string& id) const;
    virtual std::string do_pathEnsureTrailingSlash(const std::string& id) const;
    virtual std::string do_pathRemoveTrailingSlash(const std::string& id) const;
    virtual std::unique_ptr<StorageSystemFile> do_fileCreateAs(const std::string& fileId, bool text, bool reserved,
                                                               PosixFilePermissions permissions) const;
    virtual bool do_fileRenameAs(const std::string& id, const std::string& newId) const = 0;
    virtual bool do_fileMoveAs(const std::string& id, const std::string& newId) const;
    virtual bool do_fileCopyAs(const StorageSystem& source, const std::string& id, const FileSystem2& destination,
                               const std::string& newId, const StorageSystemProgress& progress,
                               StorageSystemCopyOptions options, const std::optional<std::uint64_t>& chunkSize) const;
    virtual std::optional<FileMetaData> do_fileMetaData(const std::string& id) const;
    virtual bool do_fileSymbolicLinkCreateAs(const std::string& target, const std::string& linkId) const = 0;
    virtual bool do_directoryCreateAs(const std::string& id, bool failIfExists,
                                      PosixFilePermissions permissions) const = 0;
    virtual bool do_directoryMakePath(const std::string& id, bool failIfExists,
                                      PosixFilePermissions permissions) const;
    /// Removes an empty directory.
    virtual bool do_directoryRemove(const std::string& id) const = 0;
    virtual bool do_directoryRenameAs(const std::string& id, const std::string& newId) const;
    virtual bool do_directoryMoveAs(const std::string& id, const std::string& newId) const;
    virtual std::vector<std::string> do_directoryListFileNamesWithFilterPath(const std::string& path) const;
    virtual bool do_directorySymbolicLinkCreateAs(const std::string& target, const std::string& linkId) const;
    ///@}

    /// Whether `id` is a directory, through a link when it is one.
    bool directoryExistsFollowed(const std::string& id) const;
    /// The end of the link chain from `id`, or `id` when it is no link or the
    /// chain cannot be resolved.
    std::string chainEnd(const std::string& id) const;

private:
    std::optional<std::string> resolveLink(const std::string& id, bool followChain, bool directories) const;
};

/// An open file of a path-based storage: its name and directory come from the
/// path algebra of its storage.
class FILESYSTEM_EXPORT FileSystem2File : public StorageSystemFile {
public:
    /// The storage that opened the file.
    const FileSystem2& fileSystem() const { return do_fileSystem(); }

protected:
    /// Files are made by storages.
    FileSystem2File() = default;
    /// Copies and moves carry nothing.
    ///@{
    FileSystem2File(const FileSystem2File&) = default;
    FileSystem2File(FileSystem2File&&) = default;
    FileSystem2File& operator=(const FileSystem2File&) = default;
    FileSystem2File& operator=(FileSystem2File&&) = default;
    ///@}

    ///@{
    /// The name and directory by the storage's path algebra; the storage.
    std::string do_parentDirectoryId() const override;
    std::string do_name() const override;
    const StorageSystem& do_storageSystem() const override { return do_fileSystem(); }
    ///@}
    /// The storage that opened the file.
    virtual const FileSystem2& do_fileSystem() const = 0;
};

} // namespace FileSystem
