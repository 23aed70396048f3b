#pragma once

#include <FileSystem/Export.h>
#include <FileSystem/files/FileTime.h>
#include <FileSystem/files/PosixFilePermissionFlag.h>
#include <FileSystem/utilities/ToolProgress.h>

#include <cstdint>
#include <list>
#include <optional>
#include <string>
#include <vector>

namespace FileSystem {

/// Whole-file operations: existence, rights, times, copies, links, small
/// whole-file reads and writes.
///
/// Every operation is a static function on a path in any form (normally the
/// KVL form); an object only stores a path and forwards. The path reaches the
/// system absolute and normalised. Failures are reported by the result only
/// (false, an empty string, or the sentinel values below), never by an
/// exception; a path that cannot name anything (one with a NUL byte) behaves
/// as a missing file.
class FILESYSTEM_EXPORT File {
public:
    /// The time that the time queries give when they fail.
    static constexpr std::int64_t kInvalidTime = INT64_MIN;

    /// An object without a path.
    File() = default;
    /// An object for `path`; nothing is looked at yet.
    explicit File(const std::string& path) : m_path(path) {}
    virtual ~File() = default;
    /// Copies and moves the stored path.
    ///@{
    File(const File&) = default;
    File(File&&) = default;
    File& operator=(const File&) = default;
    File& operator=(File&&) = default;
    ///@}

    /// The stored path.
    virtual std::string getPath() const { return m_path; }
    /// The static operation of the same name on the stored path.
    ///@{
    virtual bool exists() const { return exists(m_path); }
    virtual bool isDirectory(bool followLinks) const { return isDirectory(m_path, followLinks); }
    virtual bool isReadOnly() const { return isReadOnly(m_path); }
    virtual bool canWrite() const { return canWrite(m_path); }
    virtual bool canRead() const { return canRead(m_path); }
    virtual bool create(bool failIfExists) const { return create(m_path, failIfExists); }
    virtual bool remove() const { return remove(m_path); }
    virtual bool rename(const std::string& newPath) const { return rename(m_path, newPath); }
    virtual bool copyFile(const std::string& dest, bool keepTimes, const Tools::ProgressFunction& progress = {}) const {
        return copyFile(m_path, dest, keepTimes, false, progress);
    }
    virtual bool copyFile(const std::string& dest, bool keepTimes, bool copyLinkItself,
                          const Tools::ProgressFunction& progress = {}) const {
        return copyFile(m_path, dest, keepTimes, copyLinkItself, progress);
    }
    virtual bool setReadWritePermissions() const { return setReadWritePermissions(m_path); }
    bool checkMagicNumber(const std::string& magic) const { return checkMagicNumber(m_path, magic); }
    bool checkMagicNumber(const std::vector<std::string>& magics) const { return checkMagicNumber(m_path, magics); }
    ///@}

    /// True when something is there: a file, a folder, or a link (also a dangling one).
    static bool exists(const std::string& path);
    /// A folder (through a link only with `followLinks`); "." and ".." do not count.
    static bool isDirectory(const std::string& path, bool followLinks);
    /// A plain file (not a folder, pipe, socket or device), links followed.
    static bool isRegularFile(const std::string& path);
    /// Nobody may write it. A missing path is read-only.
    static bool isReadOnly(const std::string& path);
    /// Whether the caller can open the file for reading; for a folder, Directory::canRead.
    static bool canRead(const std::string& path);
    /// Whether the caller can open the file for writing and it is not
    /// read-only; for a folder, Directory::canWrite.
    static bool canWrite(const std::string& path);
    /// Creates an empty file; an existing one is emptied, or with `failIfExists`
    /// left alone and false. A null `path` is the empty path.
    ///@{
    static bool create(const std::string& path, bool failIfExists);
    static bool create(const char* path, bool failIfExists);
    ///@}
    /// Removes a file or a link (never what it points to); true also when it is
    /// already gone, false for the empty path.
    static bool remove(const std::string& path);
    /// Gives a file a new name; fails when the new name exists. Across file
    /// systems the file is copied with its times and the original removed (the
    /// copy is removed again when the original cannot be).
    static bool rename(const std::string& oldPath, const std::string& newPath);

    /// Copies `src` to `dest` (an existing destination is replaced; missing
    /// folders above it are created). The copy keeps the permission bits and the
    /// modification time and is always writable; `keepTimes` also carries the
    /// access time over. `copyLinkItself` copies a link as a link. A progress
    /// function is called as the copy goes on, and false cancels. A failed or
    /// cancelled copy leaves an existing destination as it was; a file is never
    /// copied onto itself. A null `dest` is the empty path.
    ///@{
    static bool copyFile(const std::string& src, const std::string& dest, bool keepTimes, bool copyLinkItself = false,
                         const Tools::ProgressFunction& progress = {});
    static bool copyFile(const std::string& src, const char* dest, bool keepTimes, bool copyLinkItself = false,
                         const Tools::ProgressFunction& progress = {});
    ///@}
    /// The same, reporting percentages to `progress` (which may be null); its
    /// cancellation or fatal error stops the copy.
    static bool copyFileWithProgress(Tools::ToolProgress* progress, const std::string& src, const std::string& dest,
                                     bool keepTimes, bool copyLinkItself);

    /// Adds read and write rights for everybody (and search rights on a
    /// folder); the other bits stay. False for a missing path.
    static bool setReadWritePermissions(const std::string& path);

    /// All bytes of a file (`binary` opens it without translation, which this
    /// system does not do anyway); empty when it cannot be read.
    static std::string readWholeFile(const std::string& path, bool binary);
    /// Writes the text as the whole content of the file, creating or emptying it
    /// first. Failures are not reported.
    static void dumpToFile(const std::string& path, const std::string& text);

    /// Size and times of a file (not a folder), links followed: as FileTime or
    /// as whole seconds since 1970. On failure the outputs are zero and the
    /// result false.
    ///@{
    static bool getData(const std::string& path, std::uint64_t& size);
    static bool getData(const std::string& path, std::uint64_t& size, FileTime& modified);
    static bool getData(const std::string& path, std::uint64_t& size, FileTime& modified, FileTime& created);
    static bool getData(const std::string& path, std::uint64_t& size, FileTime& modified, FileTime& created,
                        FileTime& accessed);
    static bool getData(const std::string& path, std::uint64_t& size, std::int64_t& modified);
    static bool getData(const std::string& path, std::uint64_t& size, std::int64_t& modified, std::int64_t& created);
    static bool getData(const std::string& path, std::uint64_t& size, std::int64_t& modified, std::int64_t& created,
                        std::int64_t& accessed);
    ///@}
    /// Sets the times that are given (links followed); false when neither is
    /// given or the system refuses.
    static bool setData(const std::string& path, const std::optional<FileTime>& modified,
                        const std::optional<FileTime>& accessed);

    /// The size of a file (links followed); 0 for a folder or on failure.
    static std::uint64_t getFileSize(const std::string& path);
    /// The modification or creation time of a file in whole seconds since 1970;
    /// kInvalidTime for a folder or on failure.
    ///@{
    static std::int64_t getTimeLastModified(const std::string& path);
    static std::int64_t getTimeCreated(const std::string& path);
    ///@}
    /// The modification or creation time of a file; seconds of kInvalidTime for
    /// a folder or on failure.
    ///@{
    static FileTime getFileTimeLastModified(const std::string& path);
    static FileTime getFileTimeCreated(const std::string& path);
    ///@}

    /// True for a link, and also for a path where nothing can be read.
    static bool isSymbolicLink(const std::string& path);
    /// The text of a link; empty on any failure.
    static std::string getSymbolicLinkTarget(const std::string& path);

    /// Whether the file starts with one of the magics (an empty magic always
    /// fits). The file is opened for reading and writing, so a file that
    /// cannot be written fails.
    ///@{
    static bool checkMagicNumber(const std::string& path, const std::string& magic);
    static bool checkMagicNumber(const std::string& path, const std::vector<std::string>& magics);
    ///@}

    /// An existing path: a regular file that the caller may execute, or one with
    /// an executable extension (`OSPaths::getExecutableExtensions`). A missing
    /// path: whether the path with one of those extensions exists.
    static bool isExecutable(const std::string& path);
    /// Whether a command can be run: absolute, or found in the current
    /// directory or along `PATH`.
    static bool canExecute(const std::string& path);
    /// The same with a base folder (the current directory when empty) and the
    /// folders to search. Variables in a relative path are expanded first; a
    /// relative path with a separator is looked for below the base folder only.
    static bool canExecute(const std::string& path, const std::string& directory,
                           const std::list<std::string>& searchPath);
    /// Makes `link` a link whose text is `target` (a relative target stays
    /// relative), replacing whatever stands at `link` (a folder with all it
    /// holds). True when the link is there with exactly that text.
    static bool createSymbolicLink(const std::string& target, const std::string& link);

    /// The permission bits with the set-id and sticky bits (links followed;
    /// the flag has no effect); all rights (0777) when they cannot be read.
    static PosixFilePermissions getPosixFilePermissions(const std::string& path, bool followSymbolicLink);
    /// Sets the read, write and execute bits to those of `permissions`. Set-id
    /// and sticky bits that are set stay set; those in `permissions` are added.
    /// False when the path cannot be read or changed.
    static bool setPosixFilePermissions(const std::string& path, PosixFilePermissions permissions);

private:
    std::string m_path;
};

} // namespace FileSystem
