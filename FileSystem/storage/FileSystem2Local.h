#pragma once

#include <FileSystem/Export.h>
#include <FileSystem/files/FileCloser.h>
#include <FileSystem/storage/FileSystem2.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace FileSystem {

/// The local disk as a storage: ids are paths in the library's form, and the
/// operations go through File, Directory and DirectoryListing, so they are as
/// safe against racing processes as those are. A recursive removal never
/// leaves the tree through a link.
class FILESYSTEM_EXPORT FileSystem2Local : public FileSystem2 {
public:
    /// The local disk; all objects are alike.
    ///@{
    FileSystem2Local() = default;
    FileSystem2Local(const FileSystem2Local&) = default;
    FileSystem2Local(FileSystem2Local&&) = default;
    FileSystem2Local& operator=(const FileSystem2Local&) = default;
    FileSystem2Local& operator=(FileSystem2Local&&) = default;
    ///@}

protected:
    ///@{
    /// The local answer of the storage interface (see StorageSystem and FileSystem2).
    std::string do_hostName() const override;
    StorageSystemType do_getType() const override { return StorageSystemType::Local; }
    bool do_isValid() const override { return true; }
    std::string do_canonizeFileId(const std::string& id) const override;
    std::unique_ptr<StorageSystemFile> do_fileOpen(const std::string& fileId, StorageSystemFileOpenMode mode,
                                                   PosixFilePermissions permissions) const override;
    bool do_fileExists(const std::string& id) const override;
    std::optional<std::uint64_t> do_fileSize(const std::string& id) const override;
    std::optional<StorageSystemFileInfo> do_fileInfo(const std::string& id) const override;
    std::optional<StorageSystemFileType> do_fileType(const std::string& id) const override;
    std::optional<StorageSystemStorageInfo> do_fileStorageInfo(const std::string& id) const override;
    bool do_fileRemove(const std::string& id) const override;
    std::optional<PosixFilePermissions> do_fileGetPermissions(const std::string& id) const override;
    bool do_fileSetPermissions(const std::string& id, const PosixFilePermissions& permissions) const override;
    std::optional<StorageSystemTimePoint> do_fileGetModTime(const std::string& id) const override;
    bool do_fileSetModTime(const std::string& id, const StorageSystemTimePoint& time) const override;
    std::optional<std::string> do_fileSymbolicLinkTarget(const std::string& id) const override;
    bool do_directoryExists(const std::string& id) const override;
    bool do_directoryRemove(const std::string& id, bool recursive) const override;
    std::vector<StorageSystemDirectoryInfo> do_directoryList(const std::string& id, const std::string& filter,
                                                             StorageSystemDirectoryFilterType filterType) const override;
    std::vector<StorageSystemFileInfo> do_directoryFileInfoList(
        const std::string& id, const std::string& filter, StorageSystemDirectoryFilterType filterType) const override;
    std::vector<std::string> do_directoryListFileNames(const std::string& id, const std::string& filter,
                                                       StorageSystemDirectoryFilterType filterType) const override;
    std::optional<std::string> do_directorySymbolicLinkTarget(const std::string& id) const override;

    std::string do_displayPath(const std::string& id) const override { return id; }
    std::string do_pathFileName(const std::string& id) const override;
    bool do_pathIsAbsolute(const std::string& id) const override;
    std::string do_pathParentId(const std::string& id) const override;
    std::string do_pathEnsureLeadingSlash(const std::string& id) const override;
    std::string do_pathRemoveLeadingSlash(const std::string& id) const override;
    std::string do_pathEnsureTrailingSlash(const std::string& id) const override;
    std::string do_pathRemoveTrailingSlash(const std::string& id) const override;
    bool do_fileRenameAs(const std::string& id, const std::string& newId) const override;
    bool do_fileCopyAs(const StorageSystem& source, const std::string& id, const FileSystem2& destination,
                       const std::string& newId, const StorageSystemProgress& progress,
                       StorageSystemCopyOptions options,
                       const std::optional<std::uint64_t>& chunkSize) const override;
    /// Reads the file's version record (always a value; without a record it has no metadata).
    std::optional<FileMetaData> do_fileMetaData(const std::string& id) const override;
    bool do_fileSymbolicLinkCreateAs(const std::string& target, const std::string& linkId) const override;
    bool do_directoryCreateAs(const std::string& id, bool failIfExists,
                              PosixFilePermissions permissions) const override;
    bool do_directoryRemove(const std::string& id) const override;
    std::vector<std::string> do_directoryListFileNamesWithFilterPath(const std::string& path) const override;
    bool do_directorySymbolicLinkCreateAs(const std::string& target, const std::string& linkId) const override;
    ///@}
};

/// An open file of the local disk: one C stream, closed with the object.
class FILESYSTEM_EXPORT FileSystem2LocalFile : public FileSystem2File {
public:
    /// Takes the stream (which may be null) opened on `fileId` with `mode` by `fileSystem`.
    FileSystem2LocalFile(std::unique_ptr<std::FILE, FileCloser>&& stream, const std::string& fileId,
                         StorageSystemFileOpenMode mode, const FileSystem2& fileSystem);

protected:
    ///@{
    /// The C stream's answer; with a null stream end of file, no error, nothing moved.
    bool do_isValid() const override { return true; }
    std::string do_fileId() const override { return m_fileId; }
    StorageSystemFileOpenMode do_mode() const override { return m_mode; }
    bool do_eof() const override;
    bool do_seek(std::uint64_t position) const override;
    std::optional<std::uint64_t> do_tell() const override;
    bool do_error() const override;
    std::uint64_t do_read(char* buffer, std::uint64_t count) const override;
    std::uint64_t do_write(const char* buffer, std::uint64_t count) const override;
    PosixFilePermissions do_permissions() const override;
    std::uint64_t do_size() const override;
    const FileSystem2& do_fileSystem() const override { return *m_fileSystem; }
    ///@}
    /// Between two local files the kernel copies the bytes (in chunks, with
    /// progress after each); otherwise, and where the file systems cannot, the
    /// bytes go through memory as for any storage.
    bool do_copy(const StorageSystemFile& destination, const StorageSystemProgress& progress,
                 const std::optional<std::uint64_t>& chunkSize) const override;

private:
    const FileSystem2* m_fileSystem;
    std::string m_fileId;
    StorageSystemFileOpenMode m_mode;
    std::unique_ptr<std::FILE, FileCloser> m_stream;
};

} // namespace FileSystem
