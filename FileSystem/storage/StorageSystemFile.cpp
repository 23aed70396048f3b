#include <FileSystem/storage/StorageSystemFile.h>

#include <FileSystem/storage/StorageSystem.h>

#include <algorithm>
#include <vector>

namespace FileSystem {

namespace {

// Memory taken at once by a read or a copy: the file's size (or a caller's
// chunk size) may claim far more than is really there.
constexpr std::uint64_t kReadStep = 1u << 20;
constexpr std::uint64_t kLargestBuffer = 64u << 20;

} // namespace

std::string StorageSystemFile::read(std::uint64_t count) const {
    const std::uint64_t wanted = std::min(size(), count);
    std::string result;
    // Grown step by step, so that the string follows the bytes that come.
    while (result.size() < wanted) {
        const std::size_t before = result.size();
        const std::uint64_t step = std::min<std::uint64_t>(wanted - before, kReadStep);
        result.resize(before + step);
        const std::uint64_t got = do_read(result.data() + before, step);
        result.resize(before + std::min(got, step));
        if (got < step)
            break;
    }
    return result;
}

StorageSystemType StorageSystemFile::do_getType() const { return do_storageSystem().getType(); }

std::uint64_t StorageSystemFile::do_recommendedReadBufferSize() const {
    return do_storageSystem().recommendedReadBufferSize();
}

std::uint64_t StorageSystemFile::do_recommendedWriteBufferSize() const {
    return do_storageSystem().recommendedWriteBufferSize();
}

std::string StorageSystemFile::do_parentDirectoryId() const { return do_fileInfo().parentDirectoryId; }

std::string StorageSystemFile::do_name() const { return do_fileInfo().name; }

PosixFilePermissions StorageSystemFile::do_permissions() const {
    const StorageSystem& storage = do_storageSystem();
    const std::string id = do_fileId();
    std::optional<PosixFilePermissions> permissions;
    if (storage.hasSymbolicLinks() && storage.fileIsSymbolicLink(id)) {
        const std::optional<std::string> target = storage.fileSymbolicLinkTargetFileId(id, true);
        permissions = storage.fileGetPermissions(target && !target->empty() ? *target : id, false);
    } else {
        permissions = storage.fileGetPermissions(id, false);
    }
    return permissions.value_or(PosixFilePermissions());
}

std::uint64_t StorageSystemFile::do_size() const {
    const StorageSystem& storage = do_storageSystem();
    const std::string id = do_fileId();
    std::optional<std::uint64_t> size;
    if (storage.hasSymbolicLinks() && storage.fileIsSymbolicLink(id)) {
        const std::optional<std::string> target = storage.fileSymbolicLinkTargetFileId(id, true);
        size = storage.fileSize(target && !target->empty() ? *target : id, false);
    } else {
        size = storage.fileSize(id, false);
    }
    return size.value_or(0);
}

StorageSystemFileInfo StorageSystemFile::do_fileInfo() const {
    return do_storageSystem().fileInfo(do_fileId(), true).value_or(StorageSystemFileInfo());
}

bool StorageSystemFile::do_copy(const StorageSystemFile& destination, const StorageSystemProgress& progress,
                                const std::optional<std::uint64_t>& chunkSize) const {
    const std::uint64_t chunk =
        chunkSize ? *chunkSize
                  : autoChuckSize(do_recommendedReadBufferSize(), destination.do_recommendedWriteBufferSize());
    if (chunk == 0)
        return false;
    if (!isReadable() || !destination.isWriteable())
        return false;
    // A huge chunk size only changes how often progress is told, not the bytes.
    std::vector<char> buffer(static_cast<std::size_t>(std::min(chunk, kLargestBuffer)));
    const std::uint64_t total = size();
    if (progress && !progress(0, total))
        return false;
    std::uint64_t done = 0;
    while (!eof()) {
        const std::uint64_t got = do_read(buffer.data(), buffer.size());
        if (got == 0)
            break;
        if (destination.do_write(buffer.data(), got) != got)
            return false;
        done += got;
        if (progress && !progress(done, total))
            return false;
    }
    return true;
}

} // namespace FileSystem
