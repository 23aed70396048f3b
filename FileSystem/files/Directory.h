#pragma once

#include <FileSystem/Export.h>
#include <FileSystem/files/FileTime.h>

#include <cstdint>
#include <optional>
#include <string>

namespace FileSystem {

/// The folder counterpart of File: a static operation per task on a path, an
/// object that only stores a path and forwards, results instead of exceptions.
class FILESYSTEM_EXPORT Directory {
public:
    /// An object without a path.
    Directory() = default;
    /// An object for `path`; nothing is looked at yet.
    explicit Directory(const std::string& path) : m_path(path) {}
    virtual ~Directory() = default;
    /// Copies and moves the stored path.
    ///@{
    Directory(const Directory&) = default;
    Directory(Directory&&) = default;
    Directory& operator=(const Directory&) = default;
    Directory& operator=(Directory&&) = default;
    ///@}

    /// The stored path.
    virtual std::string getPath() const { return m_path; }
    /// The static operation of the same name on the stored path (`remove` without
    /// and `removeRecursively` with contents; a copy takes sub-folders and
    /// follows links).
    ///@{
    virtual bool exists() const { return exists(m_path); }
    virtual bool isDirectory(bool followLinks) const { return isDirectory(m_path, followLinks); }
    virtual bool create(bool failIfExists, bool recursive) const { return create(m_path, failIfExists, recursive); }
    virtual bool remove() const { return remove(m_path, false); }
    virtual bool removeRecursively() const { return remove(m_path, true); }
    virtual bool copyDirectory(const std::string& dest) const { return copyDirectory(m_path, dest, true, false); }
    virtual bool moveDirectory(const std::string& dest) const { return moveDirectory(m_path, dest); }
    virtual bool rename(const std::string& newPath) const { return rename(m_path, newPath); }
    virtual bool canRead() const { return canRead(m_path); }
    virtual bool canWrite() const { return canWrite(m_path); }
    virtual bool setReadWritePermissions(bool recursive) const { return setReadWritePermissions(m_path, recursive); }
    virtual bool isEmpty() const { return isEmpty(m_path); }
    ///@}

    /// A folder, or a link to one.
    static bool exists(const std::string& path);
    /// The same test; the flag has no effect.
    static bool isDirectory(const std::string& path, bool followLinks);
    /// A folder that can be listed and is not read-only; otherwise `File::canRead`.
    static bool canRead(const std::string& path);
    /// A folder in which entries can be made and that is not read-only; otherwise `File::canWrite`.
    static bool canWrite(const std::string& path);
    /// Creates a folder. Without `recursive` only the last level is made, and an
    /// existing folder gives false. With it every missing level is made, and an
    /// existing folder gives `!failIfExists`. A null `path` is the empty path.
    ///@{
    static bool create(const std::string& path, bool failIfExists, bool recursive);
    static bool create(const char* path, bool failIfExists, bool recursive);
    ///@}
    /// Gives a folder a new name on the same file system; fails when the new name
    /// exists or either name is empty.
    static bool rename(const std::string& oldPath, const std::string& newPath);

    /// Times of a folder (or file), links followed: creation, then modification,
    /// then access, as FileTime or as whole seconds since 1970. On failure the
    /// times are zero and the result false.
    ///@{
    static bool getData(const std::string& path, FileTime& created);
    static bool getData(const std::string& path, FileTime& created, FileTime& modified);
    static bool getData(const std::string& path, FileTime& created, FileTime& modified, FileTime& accessed);
    static bool getData(const std::string& path, std::int64_t& created);
    static bool getData(const std::string& path, std::int64_t& created, std::int64_t& modified);
    static bool getData(const std::string& path, std::int64_t& created, std::int64_t& modified,
                        std::int64_t& accessed);
    ///@}
    /// Sets the times that are given; false when neither is.
    static bool setData(const std::string& path, const std::optional<FileTime>& modified,
                        const std::optional<FileTime>& accessed);

    /// File::isSymbolicLink: true for a link, and for a path where nothing can be read.
    static bool isSymbolicLink(const std::string& path);
    /// File::getSymbolicLinkTarget: the text of a link; empty on any failure.
    static std::string getSymbolicLinkTarget(const std::string& path);

    // ---- Contents ------------------------------------------------------------
    //
    // The walks go by open folders, name by name, so that nothing outside the
    // tree is written, changed or removed, whatever happens to the names during
    // the walk, and depth has no limit. Walks that write or delete never go
    // through a link in the tree: a link to a folder is removed, moved or copied
    // as a link (a copy follows links only when asked to). Walks that follow
    // links never enter a folder that is already open on the way down, so a
    // link cycle ends. A result is true only when every item was done.

    /// The bytes of the files in a folder (with `recursive`, of its sub-folders
    /// too), links followed; for a file its own size, 0 when nothing is there.
    static std::uint64_t GetSize(const std::string& path, bool recursive);
    /// Removes a folder, empty or (with `recursive`) with all it holds; a link
    /// to a folder is removed as a link. Tries up to five times, 100 ms apart;
    /// true once the folder is gone. False for a path that is no folder.
    static bool remove(const std::string& path, bool recursive);
    /// Removes the files and links directly in the folder (sub-folders and links
    /// to folders stay); the others are still tried after a failure, and the
    /// result is false then. True when there is nothing at the path.
    static bool removeFiles(const std::string& path);
    /// Removes the files directly in the folder whose names start with `prefix`
    /// (an empty prefix removes nothing and gives true); the first failure ends
    /// it with false.
    static bool removeFiles(const std::string& path, const std::string& prefix);
    /// Removes the files directly in the folder with the extension (leading
    /// dots skipped); `ignoreCase` compares as Path::isExtension does, else by
    /// bytes. The first failure ends it with false.
    static bool removeFilesWithExtension(const std::string& path, const std::string& extension,
                                         const bool& ignoreCase);
    /// Copies the files of `src` into `dest` (created if missing), with
    /// `recursive` also the sub-folders. `copyLinksThemselves` copies links as
    /// links, else what they point to. False when `src` is no folder or any item
    /// could not be read or copied (the others are copied all the same). `dest`
    /// itself is never copied into itself.
    static bool copyDirectory(const std::string& src, const std::string& dest, bool recursive,
                              bool copyLinksThemselves);
    /// Moves the contents of `src` into `dest` (created if missing), item by item
    /// (copy, then remove), then removes `src` if it is empty. Links move as
    /// links. An item is removed only once it arrived; false when any item did
    /// not, and for a missing `src` or one that is `dest`.
    static bool moveDirectory(const std::string& src, const std::string& dest);
    /// Read and write rights for everybody, with `recursive` on everything
    /// below too (not through links; a folder before its contents, so that a
    /// folder that could not be read can be walked). False when any item failed.
    static bool setReadWritePermissions(const std::string& path, bool recursive);
    /// The listing of the path has no entry. An existing folder lists "." and
    /// "..", so only a path that lists nothing (a missing one) is empty.
    static bool isEmpty(const std::string& path);
    /// Makes `link` a link to `target`, replacing whatever stands at `link`
    /// (File::createSymbolicLink).
    static bool createSymbolicLink(const std::string& target, const std::string& link);

private:
    std::string m_path;
};

} // namespace FileSystem
