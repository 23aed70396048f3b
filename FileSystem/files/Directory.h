#pragma once

#include <FileSystem/files/FileTime.h>

#include <cstdint>
#include <optional>
#include <string>

namespace FileSystem {

/// The folder counterpart of File: a static operation per task on a path, an
/// object that only stores a path and forwards, results instead of exceptions.
class Directory {
public:
    Directory() = default;
    explicit Directory(const std::string& path) : m_path(path) {}
    virtual ~Directory() = default;
    Directory(const Directory&) = default;
    Directory(Directory&&) = default;
    Directory& operator=(const Directory&) = default;
    Directory& operator=(Directory&&) = default;

    virtual std::string getPath() const { return m_path; }
    virtual bool exists() const { return exists(m_path); }
    virtual bool isDirectory(bool followLinks) const { return isDirectory(m_path, followLinks); }
    virtual bool create(bool failIfExists, bool recursive) const { return create(m_path, failIfExists, recursive); }
    virtual bool rename(const std::string& newPath) const { return rename(m_path, newPath); }
    virtual bool canRead() const { return canRead(m_path); }
    virtual bool canWrite() const { return canWrite(m_path); }

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
    /// existing folder gives `!failIfExists`.
    static bool create(const std::string& path, bool failIfExists, bool recursive);
    static bool create(const char* path, bool failIfExists, bool recursive);
    /// Gives a folder a new name on the same file system; fails when the new name exists.
    static bool rename(const std::string& oldPath, const std::string& newPath);

    /// Times of a folder (or file), links followed: creation, then modification,
    /// then access. On failure the times are zero and the result false.
    static bool getData(const std::string& path, FileTime& created);
    static bool getData(const std::string& path, FileTime& created, FileTime& modified);
    static bool getData(const std::string& path, FileTime& created, FileTime& modified, FileTime& accessed);
    static bool getData(const std::string& path, std::int64_t& created);
    static bool getData(const std::string& path, std::int64_t& created, std::int64_t& modified);
    static bool getData(const std::string& path, std::int64_t& created, std::int64_t& modified,
                        std::int64_t& accessed);
    /// Sets the times that are given; false when neither is.
    static bool setData(const std::string& path, const std::optional<FileTime>& modified,
                        const std::optional<FileTime>& accessed);

    static bool isSymbolicLink(const std::string& path);
    static std::string getSymbolicLinkTarget(const std::string& path);

private:
    std::string m_path;
};

} // namespace FileSystem
