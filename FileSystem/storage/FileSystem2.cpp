#include <FileSystem/storage/FileSystem2.h>

#include <FileSystem/utilities/Unicode.h>

#include <stack>

namespace FileSystem {

namespace {

using TypeFlag = StorageSystemFileTypeFlag;

const PosixFilePermissions kCopyPermissions(0666u);

// The most missing levels that one directoryMakePath creates: every level
// costs a look at the disk with the whole id, so a hostile id of thousands of
// levels would cost time and memory that grow with its square.
constexpr std::size_t kMaxMakePathLevels = 256;

// Rounds of a recursive removal, for file systems where a removal shows late.
constexpr int kRemoveRounds = 5;

} // namespace

// ---- Path algebra ---------------------------------------------------------------

std::string FileSystem2::do_pathRemoveTrailingSlash(const std::string& id) const {
    if (!id.empty() && id.back() == '/')
        return id.substr(0, id.size() - 1);
    return id;
}

std::string FileSystem2::do_pathEnsureTrailingSlash(const std::string& id) const {
    if (!id.empty() && id.back() != '/')
        return id + '/';
    return id;
}

std::string FileSystem2::do_pathRemoveLeadingSlash(const std::string& id) const {
    if (!id.empty() && id.front() == '/')
        return id.substr(1);
    return id;
}

std::string FileSystem2::do_pathEnsureLeadingSlash(const std::string& id) const {
    if (!id.empty() && id.front() != '/')
        return '/' + id;
    return id;
}

std::string FileSystem2::do_pathFileName(const std::string& id) const {
    const std::string stripped = pathRemoveTrailingSlash(id);
    const auto slash = stripped.rfind('/');
    return slash == std::string::npos ? stripped : stripped.substr(slash + 1);
}

std::string FileSystem2::do_pathParentId(const std::string& id) const {
    const std::string stripped = pathRemoveTrailingSlash(id);
    const auto slash = stripped.rfind('/');
    return slash == std::string::npos ? std::string() : stripped.substr(0, slash);
}

bool FileSystem2::do_pathIsAbsolute(const std::string& id) const { return !id.empty() && id.front() == '/'; }

bool FileSystem2::do_pathHasFilterPath(const std::string& id) const {
    return pathFileName(id).find_first_of("*?<>\"") != std::string::npos;
}

std::string FileSystem2::do_pathFileExtension(const std::string& id, bool lowerCase) const {
    const auto dot = id.rfind('.');
    if (dot == std::string::npos)
        return {};
    const std::string extension = id.substr(dot);
    return lowerCase ? Utilities::toLowerUtf8(extension) : extension;
}

std::string FileSystem2::do_pathFileStripExtension(const std::string& id) const {
    const auto dot = id.rfind('.');
    return dot == std::string::npos ? id : id.substr(0, dot);
}

std::string FileSystem2::do_pathChildId(const std::string& parent, const std::vector<std::string>& children) const {
    std::string result = parent;
    for (const std::string& child : children)
        if (!child.empty())
            result = pathEnsureTrailingSlash(result) + pathRemoveLeadingSlash(child);
    return result;
}

// ---- Derived operations -------------------------------------------------------

std::string FileSystem2::do_canonizeFileId(const std::string& id) const { return do_pathRemoveTrailingSlash(id); }

std::string FileSystem2::do_canonizeDirectoryId(const std::string& id) const { return do_canonizeFileId(id); }

bool FileSystem2::do_fileIsSymbolicLink(const std::string& id) const {
    return do_fileType(id).value_or(StorageSystemFileType()).test(TypeFlag::SymbolicLink);
}

bool FileSystem2::do_directoryIsSymbolicLink(const std::string& id) const {
    const StorageSystemFileType both = TypeFlag::SymbolicLink | TypeFlag::Directory;
    return (do_directoryType(id).value_or(StorageSystemFileType()) & both) == both;
}

bool FileSystem2::fileIsFile(const std::string& id, bool followSymbolicLink) const {
    return fileType(id, followSymbolicLink).value_or(StorageSystemFileType()).test(TypeFlag::File);
}

bool FileSystem2::fileIsDirectory(const std::string& id, bool followSymbolicLink) const {
    return fileType(id, followSymbolicLink).value_or(StorageSystemFileType()).test(TypeFlag::Directory);
}

std::unique_ptr<StorageSystemFile> FileSystem2::do_fileCreate(const std::string& directoryId, const std::string& name,
                                                              bool text, bool reserved,
                                                              PosixFilePermissions permissions) const {
    return do_fileCreateAs(pathChildId(directoryId, name), text, reserved, permissions);
}

std::unique_ptr<StorageSystemFile> FileSystem2::do_fileCreateAs(const std::string& fileId, bool text, bool,
                                                                PosixFilePermissions permissions) const {
    StorageSystemFileOpenMode mode = StorageSystemFileOpenModeFlag::Write | StorageSystemFileOpenModeFlag::Truncate;
    mode.set(StorageSystemFileOpenModeFlag::Text, text);
    return do_fileOpen(fileId, mode, permissions);
}

std::optional<std::string> FileSystem2::do_fileRename(const std::string& id, const std::string& newName) const {
    std::string newId = pathChildId(pathParentId(id), newName);
    if (do_fileRenameAs(id, newId))
        return newId;
    return std::nullopt;
}

std::optional<std::string> FileSystem2::do_fileMove(const std::string& id, const std::string& directoryId) const {
    std::string newId = pathChildId(directoryId, pathFileName(id));
    if (do_fileMoveAs(id, newId))
        return newId;
    return std::nullopt;
}

std::optional<FileMetaData> FileSystem2::do_fileMetaData(const std::string&) const { return std::nullopt; }

bool FileSystem2::do_fileMoveAs(const std::string& id, const std::string& newId) const {
    return do_fileRenameAs(id, newId);
}

bool FileSystem2::do_directoryRenameAs(const std::string& id, const std::string& newId) const {
    return do_fileRenameAs(id, newId);
}

bool FileSystem2::do_directoryMoveAs(const std::string& id, const std::string& newId) const {
    return do_fileRenameAs(id, newId);
}

std::optional<std::string> FileSystem2::do_directoryRename(const std::string& id, const std::string& newName) const {
    std::string newId = pathChildId(pathParentId(id), newName);
    if (do_fileRenameAs(id, newId))
        return newId;
    return std::nullopt;
}

std::optional<std::string> FileSystem2::do_directoryMove(const std::string& id, const std::string& directoryId) const {
    std::string newId = pathChildId(directoryId, pathFileName(id));
    if (do_fileRenameAs(id, newId))
        return newId;
    return std::nullopt;
}

std::optional<std::string> FileSystem2::do_fileSymbolicLinkCreate(const std::string& target,
                                                                  const std::string& directoryId,
                                                                  const std::string& name) const {
    if (do_fileSymbolicLinkCreateAs(target, pathChildId(directoryId, name)))
        return target;
    return std::nullopt;
}

std::optional<std::string> FileSystem2::do_directorySymbolicLinkCreate(const std::string& target,
                                                                       const std::string& directoryId,
                                                                       const std::string& name) const {
    // A file-kind link, as the file form makes; only the ...As form makes a directory link.
    if (do_fileSymbolicLinkCreateAs(target, pathChildId(directoryId, name)))
        return target;
    return std::nullopt;
}

bool FileSystem2::do_directorySymbolicLinkCreateAs(const std::string& target, const std::string& linkId) const {
    return do_fileSymbolicLinkCreateAs(target, linkId);
}

std::optional<StorageSystemStorageInfo> FileSystem2::do_fileStorageInfo(const std::string&) const {
    return std::nullopt;
}

std::optional<StorageSystemStorageInfo> FileSystem2::do_directoryStorageInfo(const std::string& id) const {
    return do_fileStorageInfo(id);
}

std::optional<PosixFilePermissions> FileSystem2::do_directoryGetPermissions(const std::string& id) const {
    return do_fileGetPermissions(id);
}

bool FileSystem2::do_directorySetPermissions(const std::string& id, const PosixFilePermissions& permissions) const {
    return do_fileSetPermissions(id, permissions);
}

std::optional<StorageSystemTimePoint> FileSystem2::do_directoryGetModTime(const std::string& id) const {
    return do_fileGetModTime(id);
}

bool FileSystem2::do_directorySetModTime(const std::string& id, const StorageSystemTimePoint& time) const {
    return do_fileSetModTime(id, time);
}

std::optional<StorageSystemFileInfo> FileSystem2::do_directoryInfo(const std::string& id) const {
    std::optional<StorageSystemFileInfo> info = do_fileInfo(id);
    if (info && !info->type.test(TypeFlag::Directory))
        return std::nullopt;
    return info;
}

std::optional<std::string> FileSystem2::do_directoryCreate(const std::string& parentId,
                                                           const std::vector<std::string>& names, bool failIfExists,
                                                           PosixFilePermissions permissions) const {
    std::string id = pathChildId(parentId, names);
    if (do_directoryCreateAs(id, failIfExists, permissions))
        return id;
    return std::nullopt;
}

// ---- Links ------------------------------------------------------------------------

std::optional<std::string> FileSystem2::resolveLink(const std::string& id, bool followChain, bool directories) const {
    if (!do_hasSymbolicLinks())
        return std::nullopt;
    const auto targetOf = [&](const std::string& link) {
        return directories ? directorySymbolicLinkTarget(link) : fileSymbolicLinkTarget(link);
    };
    const auto isLink = [&](const std::string& entry) {
        return directories ? do_directoryIsSymbolicLink(entry) : do_fileIsSymbolicLink(entry);
    };
    std::string current = id;
    std::optional<std::string> target = targetOf(current);
    if (!target)
        return std::nullopt;
    for (int links = 1;; ++links) {
        const std::string previous = std::move(current);
        // A relative target is taken from the directory of the link.
        current = pathIsAbsolute(*target) ? *target : pathChildId(pathParentId(previous), *target);
        if (!followChain || !isLink(current))
            return current;
        // A longer chain is taken for a ring, which would never end.
        if (links >= kMaxSymbolicLinkChain)
            return std::nullopt;
        target = targetOf(current);
        if (!target)
            return std::nullopt;
    }
}

std::optional<std::string> FileSystem2::do_fileSymbolicLinkTargetFileId(const std::string& id,
                                                                        bool followChain) const {
    return resolveLink(id, followChain, false);
}

std::optional<std::string> FileSystem2::do_directorySymbolicLinkTargetDirectoryId(const std::string& id,
                                                                                  bool followChain) const {
    return resolveLink(id, followChain, true);
}

std::string FileSystem2::chainEnd(const std::string& id) const {
    if (do_hasSymbolicLinks() && do_fileIsSymbolicLink(id)) {
        const std::optional<std::string> target = fileSymbolicLinkTargetFileId(id, true);
        if (target && !target->empty())
            return *target;
    }
    return id;
}

bool FileSystem2::directoryExistsFollowed(const std::string& id) const {
    if (do_hasSymbolicLinks() && do_fileIsSymbolicLink(id)) {
        const std::optional<std::string> target = fileSymbolicLinkTargetFileId(id, true);
        return target && !target->empty() && do_directoryExists(*target);
    }
    return do_directoryExists(id);
}

// ---- Directories ------------------------------------------------------------------

bool FileSystem2::do_directoryMakePath(const std::string& id, bool failIfExists,
                                       PosixFilePermissions permissions) const {
    std::stack<std::string> missing;
    std::string current = id;
    while (!current.empty() && !directoryExistsFollowed(current)) {
        if (missing.size() >= kMaxMakePathLevels)
            return false;
        std::string parent = pathParentId(current);
        missing.push(std::move(current));
        if (parent == missing.top())
            break; // a root that is no directory: nothing above to climb to
        current = std::move(parent);
    }
    if (missing.empty())
        return !failIfExists;
    bool result = true;
    while (!missing.empty()) {
        if (!do_directoryCreateAs(missing.top(), false, permissions)) {
            result = false;
            // Another process may be making the same path: go on while the
            // ancestor that was found still stands.
            if (current.empty() || !directoryExistsFollowed(current))
                break;
        }
        missing.pop();
    }
    return result;
}

bool FileSystem2::do_directoryRemove(const std::string& id, bool recursive) const {
    if (id.empty() || !directoryExistsFollowed(id))
        return true;
    if (!recursive)
        return do_directoryRemove(id);
    for (int round = 0; round < kRemoveRounds; ++round) {
        for (const StorageSystemDirectoryInfo& entry :
             do_directoryList(id, "", StorageSystemDirectoryFilterType::Wildcard)) {
            // A link is removed as a link: what it leads to lies outside this tree.
            if (fileIsDirectory(entry.fileId, false))
                do_directoryRemove(entry.fileId, true);
            else
                do_fileRemove(entry.fileId);
        }
        do_directoryRemove(id);
        if (!directoryExistsFollowed(id))
            break;
    }
    return !directoryExistsFollowed(id);
}

std::vector<std::string> FileSystem2::do_directoryListFileNamesWithFilterPath(const std::string& path) const {
    if (!pathHasFilterPath(path))
        return do_directoryListFileNames(path, "", StorageSystemDirectoryFilterType::Wildcard);
    return do_directoryListFileNames(pathParentId(path), pathFileName(path), StorageSystemDirectoryFilterType::Wildcard);
}

// ---- Copies ---------------------------------------------------------------------

std::optional<std::string> FileSystem2::do_fileCopy(const StorageSystem& source, const std::string& id,
                                                    const StorageSystem& destination, const std::string& directoryId,
                                                    const std::string& name, const StorageSystemProgress& progress,
                                                    StorageSystemCopyOptions options,
                                                    const std::optional<std::uint64_t>& chunkSize) const {
    const auto* target = &destination == this ? this : dynamic_cast<const FileSystem2*>(&destination);
    if (target == nullptr)
        return StorageSystem::do_fileCopy(source, id, destination, directoryId, name, progress, options, chunkSize);
    std::string newId = target->pathChildId(directoryId, name.empty() ? do_pathFileName(id) : name);
    if (do_fileCopyAs(source, id, *target, newId, progress, options, chunkSize))
        return newId;
    return std::nullopt;
}

bool FileSystem2::do_fileCopyAs(const StorageSystem& source, const std::string& id, const FileSystem2& destination,
                                const std::string& newId, const StorageSystemProgress& progress,
                                StorageSystemCopyOptions options,
                                const std::optional<std::uint64_t>& chunkSize) const {
    const std::optional<StorageSystemFileInfo> info = source.fileInfo(id, false);
    if (!info)
        return false;
    if (options.test(StorageSystemCopyOptionFlag::CopySymbolicLink) && info->type.test(TypeFlag::SymbolicLink)) {
        if (info->type.test(TypeFlag::Directory))
            return false;
        const std::optional<std::string> target = source.fileSymbolicLinkTarget(id);
        return target && destination.do_fileSymbolicLinkCreateAs(*target, newId);
    }
    if (info->type.test(TypeFlag::Directory))
        return false;
    bool ok = false;
    {
        const auto in = source.fileOpenBinary(id, StorageSystemFileOpenModeFlag::Read |
                                                      StorageSystemFileOpenModeFlag::NoCreate,
                                              kCopyPermissions);
        const auto out = destination.fileCreateAsBinary(newId, false, kCopyPermissions);
        if (!in || !out)
            return false;
        ok = in->copy(*out, progress, chunkSize);
    } // the destination is closed before its metadata is set
    // A failed byte copy still gets its metadata; the result says it failed.
    if (options.test(StorageSystemCopyOptionFlag::PreserveModTime))
        ok = destination.do_fileSetModTime(newId, info->modTime) && ok;
    if (const auto permissions = copiedPermissions(info->permissions, options))
        ok = destination.do_fileSetPermissions(newId, *permissions) && ok;
    return ok;
}

// ---- Open files -------------------------------------------------------------------

std::string FileSystem2File::do_parentDirectoryId() const { return do_fileSystem().pathParentId(fileId()); }

std::string FileSystem2File::do_name() const { return do_fileSystem().pathFileName(fileId()); }

} // namespace FileSystem
