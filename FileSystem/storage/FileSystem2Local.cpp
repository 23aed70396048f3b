#include <FileSystem/storage/FileSystem2Local.h>

#include <FileSystem/utilities/detail/Regex.h>
#include <FileSystem/environment/MachineInfo.h>
#include <FileSystem/files/Directory.h>
#include <FileSystem/files/DirectoryListing.h>
#include <FileSystem/files/File.h>
#include <FileSystem/paths/Path.h>
#include <FileSystem/platform/Stdio.h>

#include <algorithm>
#include <cstdio>
#include <limits>
#include <regex>

namespace FileSystem {

namespace {

using TypeFlag = StorageSystemFileTypeFlag;

// The longest regular expression a listing compiles: the standard library's
// compiler recurses per nesting level, so an unbounded text could exhaust the stack.
constexpr std::size_t kMaxRegExpLength = 1024;

constexpr std::int64_t kTicksPerSecond = 10000000;

StorageSystemTimePoint toTimePoint(const FileTime& time) {
    return StorageSystemTimePoint(StorageSystemTimePoint::duration(time.seconds * kTicksPerSecond +
                                                                   time.nanoseconds / 100));
}

FileTime toFileTime(const StorageSystemTimePoint& time) {
    const std::int64_t ticks = time.time_since_epoch().count();
    std::int64_t seconds = ticks / kTicksPerSecond;
    std::int64_t rest = ticks % kTicksPerSecond;
    if (rest < 0) { // whole seconds towards the past, so that the nanoseconds are never negative
        --seconds;
        rest += kTicksPerSecond;
    }
    return {seconds, static_cast<std::int32_t>(rest * 100)};
}

// Whether `name` matches the whole wildcard: `*` any run, `?` zero or one
// character, everything else itself, byte by byte. One row of a table over the
// name's positions: time is the pattern's length times the name's, memory the
// name's, whatever the pattern holds.
bool matchesWildcard(const std::string& pattern, const std::string& name) {
    std::vector<char> row(name.size() + 1, 0); // row[j]: the pattern so far matches name[0, j)
    row[0] = 1;
    for (const char symbol : pattern) {
        std::vector<char> next(name.size() + 1, 0);
        for (std::size_t j = 0; j <= name.size(); ++j) {
            if (symbol == '*')
                next[j] = row[j] || (j > 0 && next[j - 1]);
            else if (symbol == '?')
                next[j] = row[j] || (j > 0 && row[j - 1]);
            else
                next[j] = j > 0 && row[j - 1] && name[j - 1] == symbol;
        }
        row.swap(next);
        if (std::find(row.begin(), row.end(), 1) == row.end())
            return false;
    }
    return row[name.size()] != 0;
}

} // namespace

// ---- Identity and path algebra --------------------------------------------------

std::string FileSystem2Local::do_hostName() const { return MachineInfo::computername(); }

std::string FileSystem2Local::do_canonizeFileId(const std::string& id) const {
    std::string result = id;
    std::replace(result.begin(), result.end(), '\\', '/');
    return result;
}

std::string FileSystem2Local::do_pathFileName(const std::string& id) const { return Path::getLastToken(id); }
bool FileSystem2Local::do_pathIsAbsolute(const std::string& id) const { return Path::isAbsolutePath(id); }
std::string FileSystem2Local::do_pathParentId(const std::string& id) const { return Path::stripLastToken(id); }
std::string FileSystem2Local::do_pathEnsureLeadingSlash(const std::string& id) const {
    return Path::prependLeadingSlash(id);
}
std::string FileSystem2Local::do_pathRemoveLeadingSlash(const std::string& id) const {
    return Path::stripLeadingSlash(id);
}
std::string FileSystem2Local::do_pathEnsureTrailingSlash(const std::string& id) const {
    return Path::appendTrailingSlash(id);
}
std::string FileSystem2Local::do_pathRemoveTrailingSlash(const std::string& id) const {
    return Path::stripTrailingSlash(id);
}

// ---- Files ------------------------------------------------------------------------

std::unique_ptr<StorageSystemFile> FileSystem2Local::do_fileOpen(const std::string& fileId,
                                                                 StorageSystemFileOpenMode mode,
                                                                 PosixFilePermissions permissions) const {
    FilePointer stream = posixOpen(fileId, storageSystemFileOpenModeToPosixMode(mode), permissions);
    if (!stream)
        return nullptr;
    return std::make_unique<FileSystem2LocalFile>(std::move(stream), fileId, mode, *this);
}

bool FileSystem2Local::do_fileExists(const std::string& id) const { return File::exists(id); }

std::optional<std::uint64_t> FileSystem2Local::do_fileSize(const std::string& id) const {
    std::uint64_t size = 0;
    if (!File::getData(id, size))
        return std::nullopt;
    return size;
}

std::optional<StorageSystemFileType> FileSystem2Local::do_fileType(const std::string& id) const {
    if (!File::exists(id))
        return std::nullopt;
    StorageSystemFileType type(File::isDirectory(id, true) ? TypeFlag::Directory : TypeFlag::File);
    if (File::isSymbolicLink(id))
        type.set(TypeFlag::SymbolicLink);
    return type;
}

std::optional<StorageSystemFileInfo> FileSystem2Local::do_fileInfo(const std::string& id) const {
    if (!fileExists(id, false))
        return std::nullopt;
    StorageSystemFileInfo info;
    info.name = do_pathFileName(id);
    info.fileId = do_pathCanonize(id);
    info.parentDirectoryId = do_pathParentId(id);
    const bool directory = File::isDirectory(id, true);
    info.type = StorageSystemFileType(directory ? TypeFlag::Directory : TypeFlag::File);
    if (File::isSymbolicLink(id))
        info.type.set(TypeFlag::SymbolicLink);
    FileTime created;
    FileTime modified;
    std::uint64_t size = 0;
    if (directory ? Directory::getData(id, created, modified) : File::getData(id, size, modified)) {
        info.size = size;
        info.modTime = toTimePoint(modified);
    }
    info.permissions = File::getPosixFilePermissions(id, true);
    return info;
}

std::optional<StorageSystemStorageInfo> FileSystem2Local::do_fileStorageInfo(const std::string& id) const {
    const auto space = MachineInfo::getDiskSpaceInfo(id);
    if (!space)
        return std::nullopt;
    return StorageSystemStorageInfo{space->free, space->available, space->total};
}

bool FileSystem2Local::do_fileRemove(const std::string& id) const { return File::remove(id); }

bool FileSystem2Local::do_fileRenameAs(const std::string& id, const std::string& newId) const {
    return File::rename(id, newId);
}

std::optional<PosixFilePermissions> FileSystem2Local::do_fileGetPermissions(const std::string& id) const {
    if (!File::exists(id))
        return std::nullopt;
    return File::getPosixFilePermissions(id, false);
}

bool FileSystem2Local::do_fileSetPermissions(const std::string& id, const PosixFilePermissions& permissions) const {
    return File::setPosixFilePermissions(id, permissions);
}

std::optional<StorageSystemTimePoint> FileSystem2Local::do_fileGetModTime(const std::string& id) const {
    const auto type = do_fileType(id);
    if (!type)
        return std::nullopt;
    FileTime created;
    FileTime modified;
    std::uint64_t size = 0;
    const bool ok = type->test(TypeFlag::Directory) ? Directory::getData(id, created, modified)
                                                    : File::getData(id, size, modified);
    if (!ok)
        return std::nullopt;
    return toTimePoint(modified);
}

bool FileSystem2Local::do_fileSetModTime(const std::string& id, const StorageSystemTimePoint& time) const {
    const auto type = fileType(id, true);
    if (!type)
        return false;
    const FileTime modified = toFileTime(time);
    return type->test(TypeFlag::Directory) ? Directory::setData(id, modified, std::nullopt)
                                           : File::setData(id, modified, std::nullopt);
}

bool FileSystem2Local::do_fileSymbolicLinkCreateAs(const std::string& target, const std::string& linkId) const {
    return File::createSymbolicLink(target, linkId);
}

std::optional<std::string> FileSystem2Local::do_fileSymbolicLinkTarget(const std::string& id) const {
    if (!do_fileIsSymbolicLink(id))
        return std::nullopt;
    return File::getSymbolicLinkTarget(id);
}

std::optional<FileMetaData> FileSystem2Local::do_fileMetaData(const std::string& id) const { return FileMetaData(id); }

bool FileSystem2Local::do_fileCopyAs(const StorageSystem& source, const std::string& id,
                                     const FileSystem2& destination, const std::string& newId,
                                     const StorageSystemProgress& progress, StorageSystemCopyOptions options,
                                     const std::optional<std::uint64_t>& chunkSize) const {
    if (&source != this || &destination != this)
        return FileSystem2::do_fileCopyAs(source, id, destination, newId, progress, options, chunkSize);
    const std::optional<StorageSystemFileInfo> info = fileInfo(id, false);
    if (!info)
        return false;
    if (info->type.test(TypeFlag::SymbolicLink) && options.test(StorageSystemCopyOptionFlag::CopySymbolicLink)) {
        // Here a link to a directory is recreated too.
        const std::optional<std::string> target = fileSymbolicLinkTarget(id);
        return target && do_fileSymbolicLinkCreateAs(*target, newId);
    }
    if (info->type.test(TypeFlag::Directory))
        return false;
    // A link without CopySymbolicLink is read through, as on every other road.
    bool ok = File::copyFile(id, newId, false, false, progress);
    if (options.test(StorageSystemCopyOptionFlag::PreserveModTime))
        ok = do_fileSetModTime(newId, info->modTime) && ok;
    if (const auto permissions = copiedPermissions(info->permissions, options))
        ok = do_fileSetPermissions(newId, *permissions) && ok;
    return ok;
}

// ---- Directories --------------------------------------------------------------------

bool FileSystem2Local::do_directoryExists(const std::string& id) const { return Directory::exists(id); }

bool FileSystem2Local::do_directoryCreateAs(const std::string& id, bool failIfExists,
                                            PosixFilePermissions permissions) const {
    if (failIfExists && directoryExistsFollowed(id))
        return false;
    if (!Directory::create(id, true, false))
        return directoryExistsFollowed(id); // made by somebody else: their rights stay
    return File::setPosixFilePermissions(id, permissions);
}

bool FileSystem2Local::do_directoryRemove(const std::string& id) const { return Directory::remove(id, false); }

bool FileSystem2Local::do_directoryRemove(const std::string& id, bool recursive) const {
    if (id.empty() || !directoryExistsFollowed(id))
        return true;
    // The walk by open folders: nothing outside the tree is removed, a link is
    // removed as a link, and a racing rename cannot steer it elsewhere.
    return Directory::remove(id, recursive);
}

std::vector<std::string> FileSystem2Local::do_directoryListFileNames(const std::string& id,
                                                                     const std::string& filter,
                                                                     StorageSystemDirectoryFilterType filterType) const {
    if (!directoryExistsFollowed(id))
        return {};
    DirectoryListing listing(id);
    listing.clearInvalidFiles();
    std::vector<std::string> names;
    if (filter.empty()) {
        names.assign(listing.begin(), listing.end());
        return names;
    }
    if (filterType == StorageSystemDirectoryFilterType::Wildcard) {
        for (const std::string& name : listing)
            if (matchesWildcard(filter, name))
                names.push_back(name);
        return names;
    }
    if (filter.size() > kMaxRegExpLength)
        throw std::regex_error(std::regex_constants::error_complexity);
    const std::regex expression(filter, detail::kUntrustedRegexFlags); // an invalid one throws regex_error
    for (const std::string& name : listing)
        if (std::regex_match(name, expression))
            names.push_back(name);
    return names;
}

std::vector<std::string> FileSystem2Local::do_directoryListFileNamesWithFilterPath(const std::string& path) const {
    DirectoryListing listing(path);
    listing.clearInvalidFiles();
    return {listing.begin(), listing.end()};
}

std::vector<StorageSystemDirectoryInfo> FileSystem2Local::do_directoryList(
    const std::string& id, const std::string& filter, StorageSystemDirectoryFilterType filterType) const {
    std::vector<StorageSystemDirectoryInfo> result;
    for (std::string& name : do_directoryListFileNames(id, filter, filterType)) {
        std::string childId = pathChildId(id, name);
        const auto type = fileType(childId, true);
        result.push_back({std::move(name), std::move(childId), id, type.value_or(StorageSystemFileType())});
    }
    return result;
}

std::vector<StorageSystemFileInfo> FileSystem2Local::do_directoryFileInfoList(
    const std::string& id, const std::string& filter, StorageSystemDirectoryFilterType filterType) const {
    std::vector<StorageSystemFileInfo> result;
    for (std::string& name : do_directoryListFileNames(id, filter, filterType)) {
        std::string childId = pathChildId(id, name);
        if (auto info = fileInfo(childId, true)) {
            result.push_back(std::move(*info));
        } else { // a dangling link stays in the list, without a kind
            StorageSystemFileInfo entry;
            entry.name = std::move(name);
            entry.fileId = std::move(childId);
            entry.parentDirectoryId = id;
            result.push_back(std::move(entry));
        }
    }
    return result;
}

bool FileSystem2Local::do_directorySymbolicLinkCreateAs(const std::string& target,
                                                        const std::string& linkId) const {
    return Directory::createSymbolicLink(target, linkId);
}

std::optional<std::string> FileSystem2Local::do_directorySymbolicLinkTarget(const std::string& id) const {
    if (!do_directoryIsSymbolicLink(id))
        return std::nullopt;
    return File::getSymbolicLinkTarget(id);
}

// ---- Open files -----------------------------------------------------------------------

FileSystem2LocalFile::FileSystem2LocalFile(std::unique_ptr<std::FILE, FileCloser>&& stream,
                                           const std::string& fileId, StorageSystemFileOpenMode mode,
                                           const FileSystem2& fileSystem)
    : m_fileSystem(&fileSystem), m_fileId(fileId), m_mode(mode), m_stream(std::move(stream)) {}

bool FileSystem2LocalFile::do_eof() const { return !m_stream || FileSystem::feof(m_stream) != 0; }

bool FileSystem2LocalFile::do_seek(std::uint64_t position) const {
    if (!m_stream || position > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max()))
        return true;
    return FileSystem::fseek(m_stream, static_cast<std::int64_t>(position), SEEK_SET) != 0;
}

std::optional<std::uint64_t> FileSystem2LocalFile::do_tell() const {
    if (!m_stream)
        return 0;
    return static_cast<std::uint64_t>(FileSystem::ftell(m_stream)); // a failure shows as all bits set
}

bool FileSystem2LocalFile::do_error() const { return m_stream && FileSystem::ferror(m_stream) != 0; }

std::uint64_t FileSystem2LocalFile::do_read(char* buffer, std::uint64_t count) const {
    if (!m_stream || buffer == nullptr)
        return 0;
    return FileSystem::fread(buffer, 1, static_cast<std::size_t>(count), m_stream);
}

std::uint64_t FileSystem2LocalFile::do_write(const char* buffer, std::uint64_t count) const {
    if (!m_stream || buffer == nullptr)
        return 0;
    return FileSystem::fwrite(buffer, 1, static_cast<std::size_t>(count), m_stream);
}

bool FileSystem2LocalFile::do_copy(const StorageSystemFile& destination, const StorageSystemProgress& progress,
                                   const std::optional<std::uint64_t>& chunkSize) const {
    const auto* local = dynamic_cast<const FileSystem2LocalFile*>(&destination);
    const std::uint64_t chunk =
        chunkSize ? *chunkSize
                  : autoChuckSize(recommendedReadBufferSize(), destination.recommendedWriteBufferSize());
    if (local == nullptr || !m_stream || !local->m_stream || chunk == 0 || !isReadable() || !local->isWriteable())
        return FileSystem2File::do_copy(destination, progress, chunkSize);
    const std::uint64_t total = size();
    if (progress && !progress(0, total))
        return false;
    const auto told = [&](std::uint64_t done) { return !progress || progress(done, total); };
    switch (sys::copyBetweenStreams(m_stream.get(), local->m_stream.get(), chunk, told)) {
    case sys::StreamCopyResult::Done:
        return true;
    case sys::StreamCopyResult::Unsupported: {
        // Through memory; its first report of nothing done was made already.
        bool first = true;
        const StorageSystemProgress rest = [&](std::uint64_t done, std::uint64_t all) {
            const bool repeat = first && done == 0;
            first = false;
            return repeat || !progress || progress(done, all);
        };
        return FileSystem2File::do_copy(destination, rest, chunkSize);
    }
    default:
        return false;
    }
}

PosixFilePermissions FileSystem2LocalFile::do_permissions() const {
    return do_fileSystem().fileGetPermissions(m_fileId, true).value_or(PosixFilePermissions(0666u));
}

std::uint64_t FileSystem2LocalFile::do_size() const {
    return do_fileSystem().fileSize(m_fileId, true).value_or(0);
}

} // namespace FileSystem
