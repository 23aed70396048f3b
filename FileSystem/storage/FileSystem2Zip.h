#pragma once

#include <FileSystem/Export.h>
#include <FileSystem/storage/FileSystem2.h>
#include <FileSystem/zip/ZipArchive.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace FileSystem {

/// One zip archive as a storage, whose ids are entry names. A partial back
/// end: a reader answers whether entries are there, of which kind, size and
/// rights; a writer creates folders and takes files copied from the local
/// disk. Operations it does not have throw std::logic_error("Not
/// implemented"): removal, renaming and moving, times, listing, file
/// information, storage information, setting rights, link targets (and what
/// is built on them, such as fileInfo, directoryList or a query that follows a
/// link entry). Opening files gives nothing, so nothing is copied out of it.
///
/// fileExists is false for every entry: ask fileType or directoryExists. A
/// writer's adds reach the archive on disk when the storage is destroyed
/// (the archive commits when it closes).
class FILESYSTEM_EXPORT FileSystem2Zip : public FileSystem2 {
public:
    /// Opens `archive` for reading when `mode` has Read; otherwise for writing
    /// when it has Write (adding to what is there with Append, else a new
    /// archive), with `level` as its compression level when given; with
    /// neither, no archive (the storage is not valid).
    FileSystem2Zip(const std::string& archive, StorageSystemFileOpenMode mode,
                   std::optional<ZipArchive::CompressionLevel> level = std::nullopt);
    /// Takes the other storage's archive; the other one is left without.
    FileSystem2Zip(FileSystem2Zip&& other) noexcept;
    /// Closes this storage's archive (a writer commits), then takes the other's.
    FileSystem2Zip& operator=(FileSystem2Zip&& other) noexcept;
    ///@{
    /// One storage per open archive: not copied.
    FileSystem2Zip(const FileSystem2Zip&) = delete;
    FileSystem2Zip& operator=(const FileSystem2Zip&) = delete;
    ///@}
    /// Closes the archive; a writer commits what it was given.
    ~FileSystem2Zip() override;

protected:
    ///@{
    /// The zip answer of the storage interface (see StorageSystem and FileSystem2).
    StorageSystemType do_getType() const override { return StorageSystemType::Zip; }
    bool do_isReadable() const override;
    bool do_isWriteable() const override;
    bool do_isValid() const override;
    std::unique_ptr<StorageSystemFile> do_fileOpen(const std::string& fileId, StorageSystemFileOpenMode mode,
                                                   PosixFilePermissions permissions) const override;
    bool do_fileExists(const std::string& id) const override;
    std::optional<std::uint64_t> do_fileSize(const std::string& id) const override;
    std::optional<StorageSystemFileType> do_fileType(const std::string& id) const override;
    std::optional<PosixFilePermissions> do_fileGetPermissions(const std::string& id) const override;
    bool do_directoryExists(const std::string& id) const override;
    bool do_directoryCreateAs(const std::string& id, bool failIfExists,
                              PosixFilePermissions permissions) const override;
    bool do_fileSymbolicLinkCreateAs(const std::string& target, const std::string& linkId) const override;
    bool do_directorySymbolicLinkCreateAs(const std::string& target, const std::string& linkId) const override;
    bool do_fileCopyAs(const StorageSystem& source, const std::string& id, const FileSystem2& destination,
                       const std::string& newId, const StorageSystemProgress& progress,
                       StorageSystemCopyOptions options,
                       const std::optional<std::uint64_t>& chunkSize) const override;
    ///@}

    ///@{
    /// Not implemented by this storage: throws std::logic_error("Not implemented").
    bool do_fileRemove(const std::string& id) const override;
    bool do_fileRenameAs(const std::string& id, const std::string& newId) const override;
    bool do_fileSetPermissions(const std::string& id, const PosixFilePermissions& permissions) const override;
    std::optional<StorageSystemTimePoint> do_fileGetModTime(const std::string& id) const override;
    bool do_fileSetModTime(const std::string& id, const StorageSystemTimePoint& time) const override;
    bool do_directoryRemove(const std::string& id) const override;
    bool do_directoryRemove(const std::string& id, bool recursive) const override;
    std::vector<StorageSystemFileInfo> do_directoryFileInfoList(
        const std::string& id, const std::string& filter, StorageSystemDirectoryFilterType filterType) const override;
    std::optional<StorageSystemFileInfo> do_fileInfo(const std::string& id) const override;
    std::optional<StorageSystemStorageInfo> do_fileStorageInfo(const std::string& id) const override;
    std::optional<std::string> do_directorySymbolicLinkTarget(const std::string& id) const override;
    std::optional<std::string> do_fileSymbolicLinkTarget(const std::string& id) const override;
    ///@}

private:
    /// The entry of an id, as the archive finds it ("dir" finds "dir/").
    std::optional<ZipArchive::FileInfo> entryOf(const std::string& id) const;

    std::unique_ptr<ZipArchive> m_archive;
};

} // namespace FileSystem
