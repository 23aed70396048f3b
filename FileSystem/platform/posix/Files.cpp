#include <FileSystem/platform/Files.h>
#include <FileSystem/platform/posix/Native.h>

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

namespace FileSystem::sys {

using posix::isUsablePath;
using posix::retryOnInterrupt;
using posix::toTimespec;

namespace {

/// Closes a descriptor at the end of a scope.
class Descriptor {
public:
    explicit Descriptor(int fd = -1) noexcept : m_fd(fd) {}
    ~Descriptor() { reset(); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int get() const noexcept { return m_fd; }
    explicit operator bool() const noexcept { return m_fd >= 0; }
    /// Closes now and reports whether the close worked (write errors can show up here).
    bool close() noexcept {
        const int fd = m_fd;
        m_fd = -1;
        return fd < 0 || ::close(fd) == 0;
    }
    void reset() noexcept { close(); }

private:
    int m_fd;
};

int openPath(const std::string& path, int flags, mode_t mode = 0) {
    return posix::recorded("open", path, [&] { return ::open(path.c_str(), flags | O_CLOEXEC | O_NOCTTY, mode); });
}

TimeStamp toTimeStamp(const struct statx_timestamp& t) { return {t.tv_sec, static_cast<std::int32_t>(t.tv_nsec)}; }

TimeStamp toTimeStamp(const struct timespec& t) { return {t.tv_sec, static_cast<std::int32_t>(t.tv_nsec)}; }

} // namespace

std::optional<Attributes> attributes(const std::string& path) {
    struct stat st {};
    if (!isUsablePath(path) || posix::recorded("lstat", path, [&] { return ::lstat(path.c_str(), &st); }) != 0)
        return std::nullopt;
    Attributes result;
    result.symbolicLink = S_ISLNK(st.st_mode);
    if (result.symbolicLink) {
        // A link to a folder counts as a folder, as a folder link does on Windows.
        struct stat target {};
        if (::stat(path.c_str(), &target) != 0)
            return result;
        st = target;
    }
    result.directory = S_ISDIR(st.st_mode);
    result.regularFile = S_ISREG(st.st_mode);
    result.readOnly = (st.st_mode & (S_IWUSR | S_IWGRP | S_IWOTH)) == 0;
    return result;
}

bool clearReadOnly(const std::string& path) {
    struct stat st {};
    return isUsablePath(path) && posix::recorded("stat", path, [&] { return ::stat(path.c_str(), &st); }) == 0 &&
           posix::recorded("chmod", path, [&] { return ::chmod(path.c_str(), (st.st_mode & 07777) | S_IWUSR); }) == 0;
}

bool canOpenFile(const std::string& path, bool forWriting) {
    if (!isUsablePath(path))
        return false;
    const Descriptor file(openPath(path, (forWriting ? O_WRONLY : O_RDONLY) | O_NONBLOCK));
    return static_cast<bool>(file);
}

bool canAccessDirectory(const std::string& path, bool forWriting) {
    if (!isUsablePath(path))
        return false;
    if (forWriting)
        return ::faccessat(AT_FDCWD, path.c_str(), W_OK | X_OK, AT_EACCESS) == 0;
    const Descriptor folder(openPath(path, O_RDONLY | O_DIRECTORY));
    return static_cast<bool>(folder);
}

bool createFile(const std::string& path, bool failIfExists) {
    if (!isUsablePath(path))
        return false;
    Descriptor file(openPath(path, O_WRONLY | O_CREAT | O_NONBLOCK | (failIfExists ? O_EXCL : O_TRUNC), 0666));
    return file && file.close();
}

bool removeFile(const std::string& path) {
    return isUsablePath(path) && posix::recorded("unlink", path, [&] { return ::unlink(path.c_str()); }) == 0;
}

bool createDirectory(const std::string& path) {
    return isUsablePath(path) && posix::recorded("mkdir", path, [&] { return ::mkdir(path.c_str(), 0777); }) == 0;
}

bool createPrivateFile(const std::string& path) {
    if (!isUsablePath(path))
        return false;
    // O_EXCL with O_CREAT refuses any existing name, a dangling link too.
    Descriptor file(openPath(path, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_NONBLOCK, 0600));
    return file && file.close();
}

bool createPrivateDirectory(const std::string& path) {
    return isUsablePath(path) && posix::recorded("mkdir", path, [&] { return ::mkdir(path.c_str(), 0700); }) == 0;
}

RenameResult renameNoReplace(const std::string& from, const std::string& to) {
    if (!isUsablePath(from) || !isUsablePath(to))
        return RenameResult::Failed;
    const auto fromError = [](int error) {
        if (error == EEXIST || error == ENOTEMPTY)
            return RenameResult::TargetExists;
        return error == EXDEV ? RenameResult::CrossDevice : RenameResult::Failed;
    };
    if (posix::recorded("renameat2", to, [&] { return ::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE); }) == 0)
        return RenameResult::Done;
    if (errno != EINVAL && errno != ENOSYS)
        return fromError(errno);

    // The file system cannot refuse to replace: reserve the target name with an
    // empty entry of our own, then let the rename replace that entry.
    struct stat st {};
    if (::lstat(from.c_str(), &st) != 0)
        return RenameResult::Failed;
    const bool folder = S_ISDIR(st.st_mode);
    if (folder ? ::mkdir(to.c_str(), 0700) != 0 : !Descriptor(openPath(to, O_WRONLY | O_CREAT | O_EXCL, 0600)))
        return fromError(errno);
    if (::rename(from.c_str(), to.c_str()) == 0)
        return RenameResult::Done;
    const int error = errno;
    folder ? ::rmdir(to.c_str()) : ::unlink(to.c_str());
    return fromError(error);
}

std::optional<FileData> fileData(const std::string& path) {
    if (!isUsablePath(path))
        return std::nullopt;
    FileData data;
    struct statx stx {};
    if (posix::recorded("statx", path, [&] {
            return ::statx(AT_FDCWD, path.c_str(), AT_STATX_SYNC_AS_STAT, STATX_BASIC_STATS | STATX_BTIME, &stx);
        }) == 0) {
        data.directory = S_ISDIR(stx.stx_mode);
        data.size = stx.stx_size;
        data.modified = toTimeStamp(stx.stx_mtime);
        data.accessed = toTimeStamp(stx.stx_atime);
        data.created = toTimeStamp((stx.stx_mask & STATX_BTIME) ? stx.stx_btime : stx.stx_ctime);
        return data;
    }
    if (errno != ENOSYS)
        return std::nullopt;
    struct stat st {};
    if (::stat(path.c_str(), &st) != 0)
        return std::nullopt;
    data.directory = S_ISDIR(st.st_mode);
    data.size = static_cast<std::uint64_t>(st.st_size);
    data.modified = toTimeStamp(st.st_mtim);
    data.accessed = toTimeStamp(st.st_atim);
    data.created = toTimeStamp(st.st_ctim);
    return data;
}

bool setFileTimes(const std::string& path, const std::optional<TimeStamp>& modified,
                  const std::optional<TimeStamp>& accessed) {
    if (!isUsablePath(path))
        return false;
    const struct timespec times[2] = {toTimespec(accessed), toTimespec(modified)};
    return posix::recorded("utimensat", path, [&] { return ::utimensat(AT_FDCWD, path.c_str(), times, 0); }) == 0;
}

std::optional<std::uint32_t> fileMode(const std::string& path) {
    struct stat st {};
    if (!isUsablePath(path) || posix::recorded("stat", path, [&] { return ::stat(path.c_str(), &st); }) != 0)
        return std::nullopt;
    return static_cast<std::uint32_t>(st.st_mode);
}

bool changeMode(const std::string& path, std::uint32_t mode) {
    return isUsablePath(path) &&
           posix::recorded("chmod", path, [&] { return ::chmod(path.c_str(), static_cast<mode_t>(mode & 07777)); }) == 0;
}

std::optional<std::string> readSymbolicLink(const std::string& path) {
    if (!isUsablePath(path))
        return std::nullopt;
    return posix::readLinkAt(AT_FDCWD, path);
}

} // namespace FileSystem::sys
