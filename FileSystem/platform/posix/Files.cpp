#include <FileSystem/platform/Files.h>
#include <FileSystem/platform/posix/Native.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <random>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>
#include <vector>

namespace FileSystem::sys {

using posix::isUsablePath;
using posix::retryOnInterrupt;

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
    return retryOnInterrupt([&] { return ::open(path.c_str(), flags | O_CLOEXEC | O_NOCTTY, mode); });
}

TimeStamp toTimeStamp(const struct statx_timestamp& t) { return {t.tv_sec, static_cast<std::int32_t>(t.tv_nsec)}; }

TimeStamp toTimeStamp(const struct timespec& t) { return {t.tv_sec, static_cast<std::int32_t>(t.tv_nsec)}; }

struct timespec toTimespec(const std::optional<TimeStamp>& t) {
    struct timespec out {};
    if (!t) {
        out.tv_nsec = UTIME_OMIT;
        return out;
    }
    // A value outside 0..999999999 would be refused: carry it into the seconds.
    std::int64_t seconds = t->seconds + t->nanoseconds / 1000000000;
    std::int64_t nanoseconds = t->nanoseconds % 1000000000;
    if (nanoseconds < 0) {
        nanoseconds += 1000000000;
        --seconds;
    }
    out.tv_sec = static_cast<time_t>(seconds);
    out.tv_nsec = static_cast<long>(nanoseconds);
    return out;
}

/// The folder part and the name part of a path.
std::pair<std::string, std::string> splitParent(const std::string& path) {
    const std::size_t slash = path.find_last_of('/');
    if (slash == std::string::npos)
        return {".", path};
    return {slash == 0 ? "/" : path.substr(0, slash), path.substr(slash + 1)};
}

/// A name beside `path` that nothing uses yet, for work in progress.
std::string temporarySibling(const std::string& path) {
    static std::atomic<unsigned> counter{0};
    thread_local std::mt19937_64 random{std::random_device{}() ^ static_cast<std::uint64_t>(::getpid())};
    const auto [folder, name] = splitParent(path);
    const std::string prefix = (folder == "/" ? "/" : folder + "/") + "." + name.substr(0, 200) + ".";
    return prefix + std::to_string(random() % 1000000000ull) + "-" + std::to_string(counter++) + ".part";
}

/// Moves a finished temporary file onto its destination.
bool placeFile(const std::string& temporary, const std::string& destination, bool replaceExisting) {
    if (replaceExisting)
        return ::rename(temporary.c_str(), destination.c_str()) == 0;
    return renameNoReplace(temporary, destination) == RenameResult::Done;
}

/// Copies all remaining bytes with read and write.
bool copyByReadWrite(int in, int out, std::uint64_t& done, std::uint64_t total, const CopyProgress* progress) {
    std::vector<char> buffer(std::size_t(1) << 20);
    for (;;) {
        const ssize_t got = retryOnInterrupt([&] { return ::read(in, buffer.data(), buffer.size()); });
        if (got < 0)
            return false;
        if (got == 0)
            return true;
        for (ssize_t written = 0; written < got;) {
            const ssize_t n = retryOnInterrupt([&] { return ::write(out, buffer.data() + written, got - written); });
            if (n <= 0)
                return false;
            written += n;
        }
        done += static_cast<std::uint64_t>(got);
        if (progress && !(*progress)(done, total))
            return false;
    }
}

/// Copies all bytes, in the kernel where the file systems allow it.
bool copyData(int in, int out, std::uint64_t total, const CopyProgress* progress) {
    std::uint64_t done = 0;
    if (progress && !(*progress)(0, total))
        return false;
    // Without a progress receiver, the kernel may copy as much as it likes at once.
    const std::size_t chunk = progress ? (std::size_t(8) << 20) : (std::size_t(1) << 30);
    for (;;) {
        const ssize_t n = retryOnInterrupt([&] { return ::copy_file_range(in, nullptr, out, nullptr, chunk, 0); });
        if (n < 0) {
            // Some file systems and kernels cannot: copy through user space instead.
            const bool unsupported = errno == EXDEV || errno == EINVAL || errno == ENOSYS || errno == EOPNOTSUPP ||
                                     errno == EBADF || errno == EPERM || errno == ETXTBSY;
            return unsupported && done == 0 && copyByReadWrite(in, out, done, total, progress);
        }
        if (n == 0)
            return true;
        done += static_cast<std::uint64_t>(n);
        if (progress && !(*progress)(done, total))
            return false;
    }
}

bool copyLink(const std::string& from, const std::string& to, const CopyOptions& options) {
    const auto target = readSymbolicLink(from);
    if (!target)
        return false;
    if (options.progress && !(*options.progress)(0, 0))
        return false;
    for (int attempt = 0; attempt < 100; ++attempt) {
        const std::string temporary = temporarySibling(to);
        if (::symlink(target->c_str(), temporary.c_str()) != 0) {
            if (errno == EEXIST)
                continue;
            return false;
        }
        if (placeFile(temporary, to, options.replaceExisting))
            return true;
        ::unlink(temporary.c_str());
        return false;
    }
    return false;
}

} // namespace

std::optional<Attributes> attributes(const std::string& path) {
    struct stat st {};
    if (!isUsablePath(path) || ::lstat(path.c_str(), &st) != 0)
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
    return isUsablePath(path) && ::stat(path.c_str(), &st) == 0 && ::chmod(path.c_str(), (st.st_mode & 07777) | S_IWUSR) == 0;
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

bool removeFile(const std::string& path) { return isUsablePath(path) && ::unlink(path.c_str()) == 0; }

bool createDirectory(const std::string& path) { return isUsablePath(path) && ::mkdir(path.c_str(), 0777) == 0; }

RenameResult renameNoReplace(const std::string& from, const std::string& to) {
    if (!isUsablePath(from) || !isUsablePath(to))
        return RenameResult::Failed;
    const auto fromError = [](int error) {
        if (error == EEXIST || error == ENOTEMPTY)
            return RenameResult::TargetExists;
        return error == EXDEV ? RenameResult::CrossDevice : RenameResult::Failed;
    };
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0)
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
    if (::statx(AT_FDCWD, path.c_str(), AT_STATX_SYNC_AS_STAT, STATX_BASIC_STATS | STATX_BTIME, &stx) == 0) {
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
    return ::utimensat(AT_FDCWD, path.c_str(), times, 0) == 0;
}

std::optional<std::uint32_t> fileMode(const std::string& path) {
    struct stat st {};
    if (!isUsablePath(path) || ::stat(path.c_str(), &st) != 0)
        return std::nullopt;
    return static_cast<std::uint32_t>(st.st_mode);
}

bool changeMode(const std::string& path, std::uint32_t mode) {
    return isUsablePath(path) && ::chmod(path.c_str(), static_cast<mode_t>(mode & 07777)) == 0;
}

std::optional<std::string> readSymbolicLink(const std::string& path) {
    if (!isUsablePath(path))
        return std::nullopt;
    std::string buffer(256, '\0');
    for (;;) {
        const ssize_t n = ::readlink(path.c_str(), buffer.data(), buffer.size());
        if (n < 0)
            return std::nullopt;
        if (static_cast<std::size_t>(n) < buffer.size()) {
            buffer.resize(static_cast<std::size_t>(n));
            return buffer;
        }
        buffer.resize(buffer.size() * 2);
    }
}

bool copyFile(const std::string& from, const std::string& to, const CopyOptions& options) {
    if (!isUsablePath(from) || !isUsablePath(to) || splitParent(to).second.empty())
        return false;
    struct stat link {};
    if (::lstat(from.c_str(), &link) != 0)
        return false;
    if (options.copyLinkItself && S_ISLNK(link.st_mode))
        return copyLink(from, to, options);

    Descriptor in(openPath(from, O_RDONLY | O_NONBLOCK));
    struct stat source {};
    // Only regular files: a device or a pipe has no end to copy to.
    if (!in || ::fstat(in.get(), &source) != 0 || !S_ISREG(source.st_mode))
        return false;
    ::fcntl(in.get(), F_SETFL, 0); // blocking reads from here on
    ::posix_fadvise(in.get(), 0, 0, POSIX_FADV_SEQUENTIAL);

    std::string temporary = temporarySibling(to) + "XXXXXX";
    Descriptor out(::mkostemp(temporary.data(), O_CLOEXEC));
    if (!out)
        return false;
    // The copy keeps the permission bits (but not set-id and sticky bits) and is
    // always writable by its owner; it keeps the modification time.
    const struct timespec times[2] = {{0, UTIME_OMIT}, source.st_mtim};
    const bool copied = copyData(in.get(), out.get(), static_cast<std::uint64_t>(source.st_size), options.progress) &&
                        ::fchmod(out.get(), (source.st_mode & 0777) | S_IWUSR) == 0 &&
                        ::futimens(out.get(), times) == 0 && out.close();
    if (copied && placeFile(temporary, to, options.replaceExisting))
        return true;
    out.close();
    ::unlink(temporary.c_str());
    return false;
}

} // namespace FileSystem::sys
