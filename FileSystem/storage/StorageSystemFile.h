#pragma once

#include <FileSystem/Export.h>
#include <FileSystem/storage/StorageSystemTypes.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace FileSystem {

class StorageSystem;

/// An open file handed out by a storage. The storage must outlive the files it
/// opened: the queries that go to the storage (size, permissions, name, ...)
/// use it. One file object is for one thread at a time.
class FILESYSTEM_EXPORT StorageSystemFile {
public:
    /// Closes the file.
    virtual ~StorageSystemFile() = default;

    /// The type of the storage that opened the file.
    StorageSystemType getType() const { return do_getType(); }
    /// Whether the object stands for an open file.
    bool isValid() const { return do_isValid(); }
    /// The id the file was opened with.
    std::string fileId() const { return do_fileId(); }
    /// The id of the directory that holds the file.
    std::string parentDirectoryId() const { return do_parentDirectoryId(); }
    /// The last component of the id.
    std::string name() const { return do_name(); }
    /// The mode the file was opened with.
    StorageSystemFileOpenMode mode() const { return do_mode(); }
    /// Whether the mode has Read, Write.
    ///@{
    bool isReadable() const { return mode().test(StorageSystemFileOpenModeFlag::Read); }
    bool isWriteable() const { return mode().test(StorageSystemFileOpenModeFlag::Write); }
    ///@}
    /// Whether the end of the file was reached, an error happened.
    ///@{
    bool eof() const { return do_eof(); }
    bool error() const { return do_error(); }
    ///@}
    /// Moves to an absolute position. True means failure (the C convention).
    bool seek(std::uint64_t position) const { return do_seek(position); }
    /// The current position.
    std::optional<std::uint64_t> tell() const { return do_tell(); }
    /// Reads up to `count` bytes into `buffer`; the number read.
    std::uint64_t read(char* buffer, std::uint64_t count) const { return do_read(buffer, count); }
    /// Writes `count` bytes; the number written.
    std::uint64_t write(const char* buffer, std::uint64_t count) const { return do_write(buffer, count); }
    /// Reads from the current position up to `count` bytes, never more than
    /// the whole file's size; empty at the end.
    std::string read(std::uint64_t count) const;
    /// Reads up to the file's size from the current position.
    std::string readAll() const { return read(size()); }
    /// Writes the bytes of `data`; the number written.
    std::uint64_t write(const std::string_view& data) const { return do_write(data.data(), data.size()); }
    /// The permission bits of the file (of a link's target); 0 when unknown.
    PosixFilePermissions permissions() const { return do_permissions(); }
    /// The size of the file on the storage (of a link's target); 0 when unknown.
    std::uint64_t size() const { return do_size(); }
    /// What the storage knows of the file (links followed); a default record when nothing.
    StorageSystemFileInfo fileInfo() const { return do_fileInfo(); }
    /// The storage that opened the file.
    const StorageSystem& storageSystem() const { return do_storageSystem(); }
    /// Copies from the current position of this file to the current position
    /// of `destination`, in chunks of `chunkSize` (else the smaller of the two
    /// storages' buffer sizes), calling `progress` before the first chunk and
    /// after each. False when this file is not readable, the destination not
    /// writable, the chunk size is 0, a write falls short or progress says stop.
    bool copy(const StorageSystemFile& destination, const StorageSystemProgress& progress,
              const std::optional<std::uint64_t>& chunkSize) const {
        return do_copy(destination, progress, chunkSize);
    }
    /// The storage's buffer sizes.
    ///@{
    std::uint64_t recommendedReadBufferSize() const { return do_recommendedReadBufferSize(); }
    std::uint64_t recommendedWriteBufferSize() const { return do_recommendedWriteBufferSize(); }
    ///@}

protected:
    /// Files are made by storages.
    StorageSystemFile() = default;
    /// Copies and moves carry nothing.
    ///@{
    StorageSystemFile(const StorageSystemFile&) = default;
    StorageSystemFile(StorageSystemFile&&) = default;
    StorageSystemFile& operator=(const StorageSystemFile&) = default;
    StorageSystemFile& operator=(StorageSystemFile&&) = default;
    ///@}

    /// The back end of the public operation of the same name.
    ///@{
    virtual bool do_isValid() const = 0;
    virtual std::string do_fileId() const = 0;
    virtual std::string do_parentDirectoryId() const;
    virtual std::string do_name() const;
    virtual StorageSystemFileOpenMode do_mode() const = 0;
    virtual bool do_eof() const = 0;
    virtual bool do_seek(std::uint64_t position) const = 0;
    virtual std::optional<std::uint64_t> do_tell() const = 0;
    virtual bool do_error() const = 0;
    virtual std::uint64_t do_read(char* buffer, std::uint64_t count) const = 0;
    virtual std::uint64_t do_write(const char* buffer, std::uint64_t count) const = 0;
    virtual PosixFilePermissions do_permissions() const;
    virtual std::uint64_t do_size() const;
    virtual StorageSystemFileInfo do_fileInfo() const;
    virtual const StorageSystem& do_storageSystem() const = 0;
    virtual bool do_copy(const StorageSystemFile& destination, const StorageSystemProgress& progress,
                         const std::optional<std::uint64_t>& chunkSize) const;
    ///@}

    /// The smaller of two sizes.
    static std::uint64_t autoChuckSize(std::uint64_t a, std::uint64_t b) { return a < b ? a : b; }
    /// The storage's type and buffer sizes.
    ///@{
    StorageSystemType do_getType() const;
    std::uint64_t do_recommendedReadBufferSize() const;
    std::uint64_t do_recommendedWriteBufferSize() const;
    ///@}
};

} // namespace FileSystem
