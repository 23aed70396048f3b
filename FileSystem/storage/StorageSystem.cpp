#include <FileSystem/storage/StorageSystem.h>

#include <FileSystem/files/FileCloser.h>
#include <FileSystem/platform/Stdio.h>

#include <charconv>
#include <cstdio>

namespace FileSystem {

namespace {

using Mode = StorageSystemFileOpenModeFlag;

const StorageSystemFileOpenMode kReadNoCreate = Mode::Read | Mode::NoCreate;
const PosixFilePermissions kCopyPermissions(0666u);

} // namespace

// ---- Free conversions ---------------------------------------------------------

std::string storageSystemFileTypeToString(StorageSystemFileType type) {
    char digits[16];
    const auto result = std::to_chars(digits, digits + sizeof digits, type.value(), 16);
    return std::string(digits, result.ptr);
}

StorageSystemFileType storageSystemFileTypeFromString(const std::string& text) {
    std::uint32_t value = 0;
    const char* end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, value, 16);
    if (result.ec != std::errc() || result.ptr != end)
        return {};
    return StorageSystemFileType(value);
}

std::string storageSystemDirectoryFilterTypeToString(StorageSystemDirectoryFilterType type) {
    switch (type) {
    case StorageSystemDirectoryFilterType::Wildcard:
        return "Wildcard";
    case StorageSystemDirectoryFilterType::RegExp:
        return "RegExp";
    }
    return {};
}

StorageSystemDirectoryFilterType storageSystemDirectoryFilterTypeFromString(const std::string& text,
                                                                            StorageSystemDirectoryFilterType fallback) {
    if (text == "Wildcard")
        return StorageSystemDirectoryFilterType::Wildcard;
    if (text == "RegExp")
        return StorageSystemDirectoryFilterType::RegExp;
    return fallback;
}

int storageSystemFileOpenModeToPosixMode(StorageSystemFileOpenMode mode) {
    const bool read = mode.test(Mode::Read);
    const bool write = mode.test(Mode::Write);
    const bool append = mode.test(Mode::Append);
    int flags = PosixOpenFlags::ReadOnly;
    if (read && write)
        flags = PosixOpenFlags::ReadWrite;
    else if (write && append)
        flags = PosixOpenFlags::WriteOnly;
    else if (write)
        flags = PosixOpenFlags::WriteOnly | PosixOpenFlags::Truncate;
    else if (append)
        flags = PosixOpenFlags::WriteOnly;
    // Deliberately also for plain reading: only NoCreate keeps a missing file missing.
    if ((read || write) && !mode.test(Mode::NoCreate))
        flags |= PosixOpenFlags::Create;
    if (append)
        flags |= PosixOpenFlags::Append;
    if (mode.test(Mode::Truncate))
        flags |= PosixOpenFlags::Truncate;
    flags |= mode.test(Mode::Text) ? PosixOpenFlags::Text : PosixOpenFlags::Binary;
    return flags;
}

StorageSystemFileOpenMode storageSystemFileOpenModeFromPosixMode(int flags) {
    StorageSystemFileOpenMode mode;
    if ((flags & PosixOpenFlags::ReadWrite) != 0)
        mode = Mode::Read | Mode::Write;
    else if ((flags & PosixOpenFlags::WriteOnly) != 0)
        mode = Mode::Write;
    else
        mode = Mode::Read;
    if ((flags & PosixOpenFlags::Truncate) != 0)
        mode.set(Mode::Truncate);
    if ((flags & PosixOpenFlags::Append) != 0)
        mode.set(Mode::Append);
    if ((flags & PosixOpenFlags::Text) != 0)
        mode.set(Mode::Text);
    else if ((flags & PosixOpenFlags::Binary) == 0)
        // No translation named: the process-wide default decides.
        mode.set(Mode::Text, sys::openFlagValues().defaultTranslation == PosixOpenFlags::Text);
    return mode;
}

std::string storageSystemFileOpenModeToCMode(StorageSystemFileOpenMode mode) {
    return fromPosixMode(storageSystemFileOpenModeToPosixMode(mode), false);
}

StorageSystemFileOpenMode storageSystemFileOpenModeFromCMode(const std::string_view& mode) {
    return storageSystemFileOpenModeFromPosixMode(toPosixMode(mode, false));
}

// ---- StorageSystem ------------------------------------------------------------

const PosixFilePermissions StorageSystem::defaultFilePermissions(0666u);
const PosixFilePermissions StorageSystem::defaultDirectroyPermissions(0777u);

std::string StorageSystem::followedId(const std::string& id, bool followSymbolicLink) const {
    if (followSymbolicLink && do_hasSymbolicLinks() && do_fileIsSymbolicLink(id)) {
        const std::optional<std::string> target = fileSymbolicLinkTargetFileId(id, true);
        if (target && !target->empty())
            return *target;
    }
    return id;
}

// The follow frame: links are resolved here, the do_ level never follows.
#define FILESYSTEM_STORAGE_FRAME(call)                                                                               \
    const std::string use = followedId(id, followSymbolicLink);                                                      \
    return call(use)

bool StorageSystem::fileExists(const std::string& id, bool followSymbolicLink) const {
    FILESYSTEM_STORAGE_FRAME(do_fileExists);
}
std::optional<std::uint64_t> StorageSystem::fileSize(const std::string& id, bool followSymbolicLink) const {
    FILESYSTEM_STORAGE_FRAME(do_fileSize);
}
std::optional<StorageSystemFileInfo> StorageSystem::fileInfo(const std::string& id, bool followSymbolicLink) const {
    FILESYSTEM_STORAGE_FRAME(do_fileInfo);
}
std::optional<StorageSystemFileType> StorageSystem::fileType(const std::string& id, bool followSymbolicLink) const {
    FILESYSTEM_STORAGE_FRAME(do_fileType);
}
std::optional<StorageSystemStorageInfo> StorageSystem::fileStorageInfo(const std::string& id,
                                                                       bool followSymbolicLink) const {
    FILESYSTEM_STORAGE_FRAME(do_fileStorageInfo);
}
std::optional<PosixFilePermissions> StorageSystem::fileGetPermissions(const std::string& id,
                                                                      bool followSymbolicLink) const {
    FILESYSTEM_STORAGE_FRAME(do_fileGetPermissions);
}
std::optional<StorageSystemTimePoint> StorageSystem::fileGetModTime(const std::string& id,
                                                                    bool followSymbolicLink) const {
    FILESYSTEM_STORAGE_FRAME(do_fileGetModTime);
}
std::optional<StorageSystemFileInfo> StorageSystem::directoryInfo(const std::string& id,
                                                                  bool followSymbolicLink) const {
    FILESYSTEM_STORAGE_FRAME(do_directoryInfo);
}
std::optional<StorageSystemFileType> StorageSystem::directoryType(const std::string& id,
                                                                  bool followSymbolicLink) const {
    FILESYSTEM_STORAGE_FRAME(do_directoryType);
}
bool StorageSystem::directoryExists(const std::string& id, bool followSymbolicLink) const {
    FILESYSTEM_STORAGE_FRAME(do_directoryExists);
}
std::optional<StorageSystemStorageInfo> StorageSystem::directoryStorageInfo(const std::string& id,
                                                                            bool followSymbolicLink) const {
    FILESYSTEM_STORAGE_FRAME(do_directoryStorageInfo);
}
std::optional<PosixFilePermissions> StorageSystem::directoryGetPermissions(const std::string& id,
                                                                           bool followSymbolicLink) const {
    FILESYSTEM_STORAGE_FRAME(do_directoryGetPermissions);
}
std::optional<StorageSystemTimePoint> StorageSystem::directoryGetModTime(const std::string& id,
                                                                         bool followSymbolicLink) const {
    FILESYSTEM_STORAGE_FRAME(do_directoryGetModTime);
}

#undef FILESYSTEM_STORAGE_FRAME

// ---- Defaults of the query family ---------------------------------------------

bool StorageSystem::do_fileExists(const std::string& id) const { return do_fileInfo(id).has_value(); }

std::optional<std::uint64_t> StorageSystem::do_fileSize(const std::string& id) const {
    if (auto info = do_fileInfo(id))
        return info->size;
    return std::nullopt;
}

std::optional<StorageSystemFileType> StorageSystem::do_fileType(const std::string& id) const {
    if (auto info = do_fileInfo(id))
        return info->type;
    return std::nullopt;
}

std::optional<PosixFilePermissions> StorageSystem::do_fileGetPermissions(const std::string& id) const {
    if (auto info = fileInfo(id, false))
        return info->permissions;
    return std::nullopt;
}

std::optional<StorageSystemTimePoint> StorageSystem::do_fileGetModTime(const std::string& id) const {
    if (auto info = fileInfo(id, false))
        return info->modTime;
    return std::nullopt;
}

bool StorageSystem::do_directoryExists(const std::string& id) const { return do_directoryInfo(id).has_value(); }

std::optional<StorageSystemFileType> StorageSystem::do_directoryType(const std::string& id) const {
    if (auto info = do_directoryInfo(id))
        return info->type;
    return std::nullopt;
}

std::optional<PosixFilePermissions> StorageSystem::do_directoryGetPermissions(const std::string& id) const {
    if (auto info = do_directoryInfo(id))
        return info->permissions;
    return std::nullopt;
}

std::optional<StorageSystemTimePoint> StorageSystem::do_directoryGetModTime(const std::string& id) const {
    if (auto info = do_directoryInfo(id))
        return info->modTime;
    return std::nullopt;
}

// ---- Defaults of the listing family -------------------------------------------

std::vector<StorageSystemDirectoryInfo> StorageSystem::do_directoryList(
    const std::string& id, const std::string& filter, StorageSystemDirectoryFilterType filterType) const {
    std::vector<StorageSystemDirectoryInfo> result;
    for (auto& info : directoryFileInfoList(id, filter, filterType))
        result.push_back({std::move(info.name), std::move(info.fileId), std::move(info.parentDirectoryId), info.type});
    return result;
}

std::vector<std::string> StorageSystem::do_directoryListFileNames(const std::string& id, const std::string& filter,
                                                                  StorageSystemDirectoryFilterType filterType) const {
    std::vector<std::string> result;
    for (auto& info : directoryFileInfoList(id, filter, filterType))
        result.push_back(std::move(info.name));
    return result;
}

// ---- The storage-neutral copy -------------------------------------------------

std::optional<PosixFilePermissions> StorageSystem::copiedPermissions(const PosixFilePermissions& source,
                                                                     StorageSystemCopyOptions options) {
    const bool preserve = options.test(StorageSystemCopyOptionFlag::PreservePermissions);
    const bool executable = options.test(StorageSystemCopyOptionFlag::MakeExecutable);
    if (preserve)
        return executable ? source | PosixFilePermissions(0111u) : source;
    if (executable)
        return PosixFilePermissions(0777u);
    return std::nullopt;
}

std::optional<std::string> StorageSystem::do_fileCopy(const StorageSystem& source, const std::string& id,
                                                      const StorageSystem& destination,
                                                      const std::string& directoryId, const std::string& name,
                                                      const StorageSystemProgress& progress,
                                                      StorageSystemCopyOptions options,
                                                      const std::optional<std::uint64_t>& chunkSize) const {
    const std::optional<StorageSystemFileInfo> info = source.fileInfo(id, false);
    if (!info)
        return std::nullopt;
    if (source.hasSymbolicLinks() && destination.hasSymbolicLinks() &&
        options.test(StorageSystemCopyOptionFlag::CopySymbolicLink)) {
        if (info->type.test(StorageSystemFileTypeFlag::SymbolicLink) &&
            info->type.test(StorageSystemFileTypeFlag::Directory))
            return std::nullopt;
        if (info->type.test(StorageSystemFileTypeFlag::SymbolicLink)) {
            const std::optional<std::string> target = source.fileSymbolicLinkTarget(id);
            if (!target)
                return std::nullopt;
            return destination.fileSymbolicLinkCreate(*target, directoryId, name);
        }
    }
    if (info->type.test(StorageSystemFileTypeFlag::Directory))
        return std::nullopt;

    std::string newId;
    {
        const auto in = source.fileOpenBinary(id, kReadNoCreate, kCopyPermissions);
        if (!in)
            return std::nullopt;
        const auto out =
            destination.fileCreateBinary(directoryId, name.empty() ? info->name : name, false, kCopyPermissions);
        if (!out)
            return std::nullopt;
        if (!in->copy(*out, progress, chunkSize))
            return std::nullopt; // the partial destination stays, as the caller can see
        newId = out->fileId();
    } // both files are closed before the metadata is set

    bool ok = true;
    if (options.test(StorageSystemCopyOptionFlag::PreserveModTime))
        ok = destination.do_fileSetModTime(newId, info->modTime);
    if (const auto permissions = copiedPermissions(info->permissions, options))
        ok = destination.do_fileSetPermissions(newId, *permissions) && ok;
    if (!ok)
        return std::nullopt;
    return newId;
}

} // namespace FileSystem
