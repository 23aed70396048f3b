// Work inside open folders: every name is one component looked up in a folder
// that is already open, and a link in a name's place is followed only where a
// caller asks for it. The walks that write or delete are built on this.

#include <FileSystem/platform/Folders.h>
#include <FileSystem/platform/posix/Native.h>

#include <algorithm>
#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <random>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace FileSystem::sys {

using posix::isUsablePath;
using posix::retryOnInterrupt;
using posix::toTimespec;

namespace {

constexpr std::size_t kOpenLevels = 48; // folders a stack keeps open below its root
constexpr std::size_t kNameMax = 255;

/// One component: no separator, not "." or "..", no NUL.
bool isSingleName(const std::string& name) {
    return !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos &&
           name.find('\0') == std::string::npos;
}

int openAt(int folder, const std::string& name, int flags, mode_t mode = 0) {
    return posix::recorded("openat", name,
                           [&] { return ::openat(folder, name.c_str(), flags | O_CLOEXEC | O_NOCTTY, mode); });
}

int openFolderAt(int folder, const std::string& name, bool followLink) {
    return openAt(folder, name, O_RDONLY | O_DIRECTORY | (followLink ? 0 : O_NOFOLLOW));
}

EntryStatus toStatus(const struct stat& st) {
    EntryStatus status;
    if (S_ISREG(st.st_mode))
        status.kind = EntryStatus::Kind::File;
    else if (S_ISDIR(st.st_mode))
        status.kind = EntryStatus::Kind::Directory;
    else if (S_ISLNK(st.st_mode))
        status.kind = EntryStatus::Kind::SymbolicLink;
    status.mode = static_cast<std::uint32_t>(st.st_mode);
    status.size = static_cast<std::uint64_t>(st.st_size);
    status.device = static_cast<std::uint64_t>(st.st_dev);
    status.index = static_cast<std::uint64_t>(st.st_ino);
    status.modified = {st.st_mtim.tv_sec, static_cast<std::int32_t>(st.st_mtim.tv_nsec)};
    status.accessed = {st.st_atim.tv_sec, static_cast<std::int32_t>(st.st_atim.tv_nsec)};
    return status;
}

bool sameObject(const EntryStatus& a, const EntryStatus& b) { return a.device == b.device && a.index == b.index; }

std::optional<EntryStatus> statusOfDescriptor(int fd) {
    struct stat st {};
    if (fd < 0 || ::fstat(fd, &st) != 0)
        return std::nullopt;
    return toStatus(st);
}

std::optional<EntryStatus> statusAt(int folder, const std::string& name, bool followLink) {
    struct stat st {};
    if (folder < 0 || !isSingleName(name) ||
        posix::recorded("fstatat", name,
                        [&] { return ::fstatat(folder, name.c_str(), &st, followLink ? 0 : AT_SYMLINK_NOFOLLOW); }) != 0)
        return std::nullopt;
    return toStatus(st);
}

RenameResult renameError(int error) {
    if (error == EEXIST || error == ENOTEMPTY)
        return RenameResult::TargetExists;
    return error == EXDEV ? RenameResult::CrossDevice : RenameResult::Failed;
}

RenameResult renameAt(int fromFolder, const std::string& from, int toFolder, const std::string& to, bool replace) {
    if (replace)
        return posix::recorded("renameat", to, [&] { return ::renameat(fromFolder, from.c_str(), toFolder, to.c_str()); }) == 0
                   ? RenameResult::Done
                   : renameError(errno);
    if (posix::recorded("renameat2", to,
                        [&] { return ::renameat2(fromFolder, from.c_str(), toFolder, to.c_str(), RENAME_NOREPLACE); }) == 0)
        return RenameResult::Done;
    if (errno != EINVAL && errno != ENOSYS)
        return renameError(errno);
    // The file system cannot refuse to replace: reserve the target name with an
    // empty entry of our own, then let the rename replace that entry.
    struct stat st {};
    if (::fstatat(fromFolder, from.c_str(), &st, AT_SYMLINK_NOFOLLOW) != 0)
        return RenameResult::Failed;
    const bool folder = S_ISDIR(st.st_mode);
    if (folder) {
        if (::mkdirat(toFolder, to.c_str(), 0700) != 0)
            return renameError(errno);
    } else {
        OpenFile reserved(openAt(toFolder, to, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, 0600));
        if (!reserved)
            return renameError(errno);
    }
    if (::renameat(fromFolder, from.c_str(), toFolder, to.c_str()) == 0)
        return RenameResult::Done;
    const int error = errno;
    ::unlinkat(toFolder, to.c_str(), folder ? AT_REMOVEDIR : 0);
    return renameError(error);
}

/// Changes the permission bits of a name itself, never through a link. The name
/// is opened (a folder as a folder, a file for reading without blocking), checked
/// to be what stood there and changed through that descriptor. What cannot be
/// opened so (no read right, a device or pipe that must not be opened) is held
/// by a path-only descriptor and changed through its entry in /proc, which
/// names that very file.
template <class NewMode>
bool changeModeAt(int folder, const std::string& name, NewMode newMode) {
    struct stat before {};
    if (folder < 0 || !isSingleName(name) || ::fstatat(folder, name.c_str(), &before, AT_SYMLINK_NOFOLLOW) != 0 ||
        S_ISLNK(before.st_mode))
        return false;
    const bool openable = S_ISDIR(before.st_mode) || S_ISREG(before.st_mode);
    bool pathOnly = !openable;
    const int kind = S_ISDIR(before.st_mode) ? O_DIRECTORY : O_NONBLOCK;
    int fd = openable ? openAt(folder, name, O_RDONLY | O_NOFOLLOW | kind) : -1;
    if (fd < 0 && (!openable || (errno != ENOENT && errno != ELOOP))) {
        fd = openAt(folder, name, O_PATH | O_NOFOLLOW);
        pathOnly = true;
    }
    const OpenFile held(fd);
    struct stat st {};
    if (fd < 0 || ::fstat(fd, &st) != 0 || st.st_dev != before.st_dev || st.st_ino != before.st_ino ||
        S_ISLNK(st.st_mode))
        return false;
    const auto mode = static_cast<mode_t>(newMode(static_cast<std::uint32_t>(st.st_mode)) & 07777u);
    if (!pathOnly)
        return posix::recorded("fchmod", name, [&] { return ::fchmod(fd, mode); }) == 0;
    return posix::recorded("chmod", name,
                           [&] { return ::chmod(("/proc/self/fd/" + std::to_string(fd)).c_str(), mode); }) == 0;
}

/// The components of a path, without empty ones and ".".
std::vector<std::string> componentsOf(const std::string& path) {
    std::vector<std::string> parts;
    std::size_t start = 0;
    while (start < path.size()) {
        std::size_t end = path.find('/', start);
        if (end == std::string::npos)
            end = path.size();
        if (end > start && !(end - start == 1 && path[start] == '.'))
            parts.emplace_back(path, start, end - start);
        start = end + 1;
    }
    return parts;
}

/// Where a walk by components starts: the root for an absolute path, else the current directory.
int openStart(const std::string& path) { return openAt(AT_FDCWD, path[0] == '/' ? "/" : ".", O_PATH | O_DIRECTORY); }

/// Opens a folder one component at a time, for paths that the system would
/// refuse as a whole (longer than its limit). Links are followed, the last one
/// only with `followLastLink`.
int openByComponents(const std::string& path, bool followLastLink) {
    const std::vector<std::string> parts = componentsOf(path);
    int fd = openStart(path);
    for (std::size_t i = 0; i < parts.size() && fd >= 0; ++i) {
        const int flags = i + 1 < parts.size() ? O_PATH | O_DIRECTORY
                                                : O_RDONLY | O_DIRECTORY | (followLastLink ? 0 : O_NOFOLLOW);
        const int next = openAt(fd, parts[i], flags);
        ::close(fd);
        fd = next;
    }
    if (parts.empty() && fd >= 0) {
        const int start = fd;
        fd = openAt(start, ".", O_RDONLY | O_DIRECTORY);
        ::close(start);
    }
    return fd;
}

// ---- Copies ----------------------------------------------------------------------

/// Copies all remaining bytes with read and write.
bool copyByReadWrite(int in, int out, std::uint64_t& done, std::uint64_t total, const CopyProgress* progress) {
    std::vector<char> buffer(std::size_t(1) << 20);
    for (;;) {
        const ssize_t got = posix::recorded("read", std::string(), [&] { return ::read(in, buffer.data(), buffer.size()); });
        if (got < 0)
            return false;
        if (got == 0)
            return true;
        for (ssize_t written = 0; written < got;) {
            const ssize_t n =
                posix::recorded("write", std::string(), [&] { return ::write(out, buffer.data() + written, got - written); });
            if (n <= 0)
                return false;
            written += n;
        }
        done += static_cast<std::uint64_t>(got);
        if (progress && !(*progress)(done, total))
            return false;
    }
}

/// Copies all bytes, in the kernel where the file systems allow it; `done`
/// counts them.
bool copyData(int in, int out, std::uint64_t total, const CopyProgress* progress, std::uint64_t& done) {
    done = 0;
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
            if (!unsupported)
                recordError("copy_file_range", std::string());
            return unsupported && done == 0 && copyByReadWrite(in, out, done, total, progress);
        }
        if (n == 0)
            return true;
        done += static_cast<std::uint64_t>(n);
        if (progress && !(*progress)(done, total))
            return false;
    }
}

/// Puts a link with the text `target` under `name`, by way of a temporary name
/// that is checked before it is renamed into place.
CopyResult placeLink(const std::string& target, Folder& to, const std::string& name, const CopyOptions& options) {
    if (options.progress && !(*options.progress)(0, 0))
        return CopyResult::Failed;
    for (int attempt = 0; attempt < 100; ++attempt) {
        const std::string temporary = partialName(name);
        if (!to.createLink(target, temporary)) {
            if (errno == EEXIST)
                continue;
            return CopyResult::Failed;
        }
        if (to.readLink(temporary) == target &&
            to.rename(temporary, to, name, options.replaceExisting) == RenameResult::Done)
            return CopyResult::Done;
        to.removeFile(temporary);
        return CopyResult::Failed;
    }
    return CopyResult::Failed;
}

/// Copies the open regular file `in` (with its status as opened) to `name` in
/// `to`: the bytes go to a temporary file, which gets the rights and times and
/// is checked before it replaces anything.
CopyResult placeCopy(int in, const struct stat& source, Folder& to, const std::string& name,
                     const CopyOptions& options) {
    ::fcntl(in, F_SETFL, 0); // blocking reads from here on
    ::posix_fadvise(in, 0, 0, POSIX_FADV_SEQUENTIAL);
    std::string temporary;
    OpenFile out;
    for (int attempt = 0; attempt < 100 && !out; ++attempt) {
        temporary = partialName(name);
        out = to.createFile(temporary, 0600);
        if (!out && errno != EEXIST)
            return CopyResult::Failed;
    }
    if (!out)
        return CopyResult::Failed;

    // The copy keeps the permission bits (but not set-id and sticky bits) and is
    // always writable by its owner; it keeps the modification time, and with
    // `keepTimes` the access time as it is after the reading.
    const auto mode = static_cast<mode_t>((source.st_mode & 0777) | S_IWUSR);
    std::uint64_t copied = 0;
    struct stat after {};
    struct stat written {};
    bool ok = copyData(in, out.descriptor(), static_cast<std::uint64_t>(source.st_size), options.progress, copied) &&
              ::fstat(in, &after) == 0;
    if (ok) {
        const struct timespec times[2] = {options.keepTimes ? after.st_atim : timespec{0, UTIME_OMIT},
                                          source.st_mtim};
        // Every byte of the source as it was opened, and nothing else: a source
        // that changed meanwhile gives no faithful copy.
        ok = copied == static_cast<std::uint64_t>(source.st_size) && after.st_size == source.st_size &&
             after.st_mtim.tv_sec == source.st_mtim.tv_sec && after.st_mtim.tv_nsec == source.st_mtim.tv_nsec &&
             ::fchmod(out.descriptor(), mode) == 0 && ::futimens(out.descriptor(), times) == 0 &&
             ::fstat(out.descriptor(), &written) == 0 && static_cast<std::uint64_t>(written.st_size) == copied &&
             (written.st_mode & 07777) == mode;
    }
    ok = out.close() && ok;
    if (ok && to.rename(temporary, to, name, options.replaceExisting) == RenameResult::Done)
        return CopyResult::Done;
    to.removeFile(temporary);
    return CopyResult::Failed;
}

/// Whether `name` in `to` is (through links) the very file `source`.
bool isSameFile(const struct stat& source, const Folder& to, const std::string& name) {
    const auto existing = to.targetStatusOf(name);
    return existing && existing->device == static_cast<std::uint64_t>(source.st_dev) &&
           existing->index == static_cast<std::uint64_t>(source.st_ino);
}

/// Opens a source for copying: regular files only, without blocking on a pipe.
OpenFile openSource(int folder, const std::string& name, struct stat& st) {
    OpenFile in(openAt(folder, name, O_RDONLY | O_NONBLOCK));
    // Only regular files: a device or a pipe has no end to copy to.
    if (!in || ::fstat(in.descriptor(), &st) != 0 || !S_ISREG(st.st_mode))
        return OpenFile();
    return in;
}

} // namespace

// ---- Names ---------------------------------------------------------------------

std::string partialName(const std::string& name) {
    static constexpr char kSuffix[] = ".fs-partial-";
    static constexpr std::size_t kRandom = 8;
    thread_local std::mt19937_64 random{std::random_device{}()};
    std::size_t keep = std::min(name.size(), kNameMax - 1 - (sizeof(kSuffix) - 1) - kRandom);
    while (keep > 0 && keep < name.size() && (static_cast<unsigned char>(name[keep]) & 0xC0) == 0x80)
        --keep;
    // The process id is mixed in: a forked child starts with its parent's generator.
    std::uint64_t bits = random() ^ (static_cast<std::uint64_t>(::getpid()) * 0x9E3779B97F4A7C15ull);
    std::string result = "." + name.substr(0, keep) + kSuffix;
    static constexpr char kDigits[] = "0123456789abcdef";
    for (std::size_t i = 0; i < kRandom; ++i, bits >>= 4)
        result += kDigits[bits & 15];
    return result;
}

// ---- OpenFile --------------------------------------------------------------------

OpenFile::OpenFile(OpenFile&& other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}

OpenFile& OpenFile::operator=(OpenFile&& other) noexcept {
    if (this != &other) {
        if (m_fd >= 0)
            ::close(m_fd);
        m_fd = std::exchange(other.m_fd, -1);
    }
    return *this;
}

OpenFile::~OpenFile() {
    if (m_fd >= 0)
        ::close(m_fd);
}

bool OpenFile::write(const void* data, std::size_t size) {
    const char* bytes = static_cast<const char*>(data);
    while (size > 0) {
        const ssize_t n = posix::recorded("write", std::string(), [&] { return ::write(m_fd, bytes, size); });
        if (n <= 0)
            return false;
        bytes += n;
        size -= static_cast<std::size_t>(n);
    }
    return true;
}

std::int64_t OpenFile::read(void* data, std::size_t size) {
    return posix::recorded("read", std::string(), [&] { return ::read(m_fd, data, size); });
}

std::optional<EntryStatus> OpenFile::status() const { return statusOfDescriptor(m_fd); }

bool OpenFile::setMode(std::uint32_t mode) {
    return m_fd >= 0 &&
           posix::recorded("fchmod", std::string(), [&] { return ::fchmod(m_fd, static_cast<mode_t>(mode & 07777)); }) == 0;
}

bool OpenFile::setTimes(const std::optional<TimeStamp>& modified, const std::optional<TimeStamp>& accessed) {
    const struct timespec times[2] = {toTimespec(accessed), toTimespec(modified)};
    return m_fd >= 0 && posix::recorded("futimens", std::string(), [&] { return ::futimens(m_fd, times); }) == 0;
}

bool OpenFile::close() {
    const int fd = std::exchange(m_fd, -1);
    // Not retried: the descriptor is gone even when the close was interrupted.
    if (fd < 0 || ::close(fd) == 0)
        return true;
    recordError("close", std::string());
    return false;
}

// ---- Folder ----------------------------------------------------------------------

Folder::Folder(Folder&& other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}

Folder& Folder::operator=(Folder&& other) noexcept {
    if (this != &other) {
        if (m_fd >= 0)
            ::close(m_fd);
        m_fd = std::exchange(other.m_fd, -1);
    }
    return *this;
}

Folder::~Folder() {
    if (m_fd >= 0)
        ::close(m_fd);
}

std::optional<Folder> Folder::open(const std::string& path, bool followLastLink) {
    if (!isUsablePath(path))
        return std::nullopt;
    int fd = posix::recorded("open", path, [&] {
        return ::openat(AT_FDCWD, path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | (followLastLink ? 0 : O_NOFOLLOW));
    });
    if (fd < 0 && errno == ENAMETOOLONG)
        fd = openByComponents(path, followLastLink);
    if (fd < 0)
        return std::nullopt;
    return Folder(fd);
}

std::optional<EntryStatus> Folder::status() const { return statusOfDescriptor(m_fd); }

std::optional<std::vector<DirectoryEntry>> Folder::entries() const {
    if (m_fd < 0)
        return std::nullopt;
    // The stream reads a descriptor of its own, from the start.
    const int fd = retryOnInterrupt([&] { return ::fcntl(m_fd, F_DUPFD_CLOEXEC, 0); });
    DIR* dir = fd >= 0 ? ::fdopendir(fd) : nullptr;
    if (dir == nullptr) {
        recordError("fdopendir", std::string());
        if (fd >= 0)
            ::close(fd);
        return std::nullopt;
    }
    ::rewinddir(dir);
    std::vector<DirectoryEntry> entries;
    for (;;) {
        errno = 0;
        const dirent* entry = ::readdir(dir);
        if (entry == nullptr)
            break;
        const char* name = entry->d_name;
        if (name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0')))
            continue;
        DirectoryEntry::Kind kind = DirectoryEntry::Kind::Other;
        if (entry->d_type == DT_DIR)
            kind = DirectoryEntry::Kind::Directory;
        else if (entry->d_type == DT_LNK)
            kind = DirectoryEntry::Kind::SymbolicLink;
        else if (entry->d_type == DT_UNKNOWN)
            kind = DirectoryEntry::Kind::Unknown;
        entries.push_back({name, kind});
    }
    const int error = errno;
    ::closedir(dir);
    if (error != 0) {
        recordError("readdir", std::string(), error);
        return std::nullopt; // an incomplete list would pass for the whole folder
    }
    return entries;
}

std::optional<EntryStatus> Folder::statusOf(const std::string& name) const { return statusAt(m_fd, name, false); }

std::optional<EntryStatus> Folder::targetStatusOf(const std::string& name) const {
    return statusAt(m_fd, name, true);
}

std::optional<Folder> Folder::openFolder(const std::string& name) const {
    if (m_fd < 0 || !isSingleName(name))
        return std::nullopt;
    const int fd = openFolderAt(m_fd, name, false);
    if (fd < 0)
        return std::nullopt;
    return Folder(fd);
}

bool Folder::createFolder(const std::string& name, std::uint32_t mode) {
    return m_fd >= 0 && isSingleName(name) &&
           posix::recorded("mkdirat", name,
                           [&] { return ::mkdirat(m_fd, name.c_str(), static_cast<mode_t>(mode & 07777)); }) == 0;
}

OpenFile Folder::openForReading(const std::string& name) const {
    struct stat st {};
    if (m_fd < 0 || !isSingleName(name))
        return OpenFile();
    OpenFile file(openAt(m_fd, name, O_RDONLY | O_NONBLOCK | O_NOFOLLOW));
    if (!file || ::fstat(file.descriptor(), &st) != 0 || !S_ISREG(st.st_mode))
        return OpenFile();
    ::fcntl(file.descriptor(), F_SETFL, 0);
    return file;
}

OpenFile Folder::createFile(const std::string& name, std::uint32_t mode) {
    if (m_fd < 0 || !isSingleName(name)) {
        errno = EINVAL;
        return OpenFile();
    }
    return OpenFile(openAt(m_fd, name, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, static_cast<mode_t>(mode & 07777)));
}

bool Folder::removeFile(const std::string& name) {
    return m_fd >= 0 && isSingleName(name) &&
           posix::recorded("unlinkat", name, [&] { return ::unlinkat(m_fd, name.c_str(), 0); }) == 0;
}

bool Folder::removeFolder(const std::string& name) {
    return m_fd >= 0 && isSingleName(name) &&
           posix::recorded("unlinkat", name, [&] { return ::unlinkat(m_fd, name.c_str(), AT_REMOVEDIR); }) == 0;
}

std::optional<std::string> Folder::readLink(const std::string& name) const {
    if (m_fd < 0 || !isSingleName(name))
        return std::nullopt;
    return posix::readLinkAt(m_fd, name);
}

bool Folder::createLink(const std::string& target, const std::string& name) {
    if (m_fd < 0 || !isSingleName(name) || target.empty() || target.find('\0') != std::string::npos) {
        errno = EINVAL;
        return false;
    }
    return posix::recorded("symlinkat", name, [&] { return ::symlinkat(target.c_str(), m_fd, name.c_str()); }) == 0;
}

RenameResult Folder::rename(const std::string& from, Folder& to, const std::string& toName, bool replace) {
    if (m_fd < 0 || !to || !isSingleName(from) || !isSingleName(toName))
        return RenameResult::Failed;
    return renameAt(m_fd, from, to.m_fd, toName, replace);
}

bool Folder::setMode(const std::string& name, std::uint32_t mode) {
    return changeModeAt(m_fd, name, [mode](std::uint32_t) { return mode; });
}

bool Folder::addPermissions(const std::string& name, std::uint32_t fileBits, std::uint32_t folderBits) {
    return changeModeAt(m_fd, name, [&](std::uint32_t mode) {
        return (mode & 07777u) | (S_ISDIR(mode) ? folderBits : fileBits);
    });
}

bool Folder::setTimes(const std::string& name, const std::optional<TimeStamp>& modified,
                      const std::optional<TimeStamp>& accessed) {
    const struct timespec times[2] = {toTimespec(accessed), toTimespec(modified)};
    return m_fd >= 0 && isSingleName(name) &&
           posix::recorded("utimensat", name,
                           [&] { return ::utimensat(m_fd, name.c_str(), times, AT_SYMLINK_NOFOLLOW); }) == 0;
}

// ---- Paths -----------------------------------------------------------------------

std::optional<Folder> openParent(const std::string& path, std::string& name) {
    if (!isUsablePath(path))
        return std::nullopt;
    std::string text = path;
    while (text.size() > 1 && text.back() == '/')
        text.pop_back();
    const std::size_t slash = text.find_last_of('/');
    name = slash == std::string::npos ? text : text.substr(slash + 1);
    if (!isSingleName(name)) {
        errno = EINVAL;
        return std::nullopt;
    }
    const std::string parent = slash == std::string::npos ? "." : (slash == 0 ? "/" : text.substr(0, slash));
    return Folder::open(parent, true);
}

FolderCreation createFolders(const std::string& path, std::uint32_t mode) {
    if (!isUsablePath(path))
        return FolderCreation::Failed;
    const auto permissions = static_cast<mode_t>(mode & 07777);
    // Most calls find the parent there: one call does it.
    if (posix::recorded("mkdir", path, [&] { return ::mkdir(path.c_str(), permissions); }) == 0)
        return FolderCreation::Created;
    if (errno == EEXIST) {
        struct stat st {};
        return ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode) ? FolderCreation::Existed
                                                                      : FolderCreation::Failed;
    }
    if (errno != ENOENT && errno != ENAMETOOLONG)
        return FolderCreation::Failed;

    const std::vector<std::string> parts = componentsOf(path);
    OpenFile current(openStart(path));
    FolderCreation result = FolderCreation::Existed;
    for (std::size_t i = 0; i < parts.size(); ++i) {
        if (!current)
            return FolderCreation::Failed;
        const std::string& name = parts[i];
        result = FolderCreation::Existed;
        if (name != "..") {
            if (::mkdirat(current.descriptor(), name.c_str(), permissions) == 0)
                result = FolderCreation::Created;
            else if (errno != EEXIST)
                return FolderCreation::Failed;
        }
        if (i + 1 == parts.size())
            break;
        current = OpenFile(openAt(current.descriptor(), name, O_PATH | O_DIRECTORY));
    }
    if (result == FolderCreation::Created || parts.empty())
        return result;
    const auto last = statusAt(current.descriptor(), parts.back(), true);
    return last && last->kind == EntryStatus::Kind::Directory ? FolderCreation::Existed : FolderCreation::Failed;
}

// ---- Copies ----------------------------------------------------------------------

CopyResult copyFile(const std::string& from, const std::string& to, const CopyOptions& options) {
    if (!isUsablePath(from) || !isUsablePath(to) || to.back() == '/')
        return CopyResult::Failed;
    if (options.copyLinkItself) {
        struct stat st {};
        if (::lstat(from.c_str(), &st) != 0)
            return CopyResult::Failed;
        if (S_ISLNK(st.st_mode)) {
            std::string source(st.st_size > 0 ? static_cast<std::size_t>(st.st_size) + 1 : 256, '\0');
            const ssize_t n = ::readlink(from.c_str(), source.data(), source.size());
            if (n < 0 || static_cast<std::size_t>(n) >= source.size())
                return CopyResult::Failed; // unreadable, or changed meanwhile
            source.resize(static_cast<std::size_t>(n));
            std::string name;
            auto folder = openParent(to, name);
            if (!folder)
                return errno == ENOENT ? CopyResult::NoFolder : CopyResult::Failed;
            return placeLink(source, *folder, name, options);
        }
    }
    struct stat source {};
    const OpenFile in = openSource(AT_FDCWD, from, source);
    if (!in)
        return CopyResult::Failed;
    std::string name;
    auto folder = openParent(to, name);
    if (!folder)
        return errno == ENOENT ? CopyResult::NoFolder : CopyResult::Failed;
    if (isSameFile(source, *folder, name))
        return CopyResult::Failed;
    return placeCopy(in.descriptor(), source, *folder, name, options);
}

CopyResult copyFileAt(const Folder& from, const std::string& fromName, Folder& to, const std::string& toName,
                      const CopyOptions& options) {
    if (!from || !to || !isSingleName(fromName) || !isSingleName(toName))
        return CopyResult::Failed;
    if (options.copyLinkItself) {
        const auto status = from.statusOf(fromName);
        if (!status)
            return CopyResult::Failed;
        if (status->kind == EntryStatus::Kind::SymbolicLink) {
            const auto target = from.readLink(fromName);
            return target ? placeLink(*target, to, toName, options) : CopyResult::Failed;
        }
    }
    struct stat source {};
    const OpenFile in = openSource(from.descriptor(), fromName, source);
    if (!in || isSameFile(source, to, toName))
        return CopyResult::Failed;
    return placeCopy(in.descriptor(), source, to, toName, options);
}

// ---- Walks -----------------------------------------------------------------------

FolderStack::FolderStack(Folder root) {
    Level level;
    level.status = root.status().value_or(EntryStatus{});
    level.folder = std::move(root);
    m_open.insert({level.status.device, level.status.index});
    m_levels.push_back(std::move(level));
}

void FolderStack::push(Folder folder, const EntryStatus& status, std::string name, bool throughLink) {
    m_open.insert({status.device, status.index});
    m_levels.push_back({std::move(folder), status, std::move(name), throughLink});
    // Only the lowest levels stay open (and the root).
    if (m_levels.size() > kOpenLevels + 1) {
        Level& old = m_levels[m_levels.size() - 1 - kOpenLevels];
        old.folder = Folder();
    }
}

bool FolderStack::pop(Folder* left) {
    if (m_levels.size() < 2)
        return false;
    Level popped = std::move(m_levels.back());
    m_levels.pop_back();
    m_open.erase(m_open.find({popped.status.device, popped.status.index}));
    const bool reached = m_levels.back().folder || reopen(m_levels.size() - 1, popped.folder);
    if (left)
        *left = std::move(popped.folder);
    return reached;
}

bool FolderStack::reopen(std::size_t index, const Folder& child) {
    Level& level = m_levels[index];
    // The parent of the folder just left, if that is still the folder it was.
    if (child) {
        Folder parent(openAt(child.descriptor(), "..", O_RDONLY | O_DIRECTORY | O_NOFOLLOW));
        const auto status = parent.status();
        if (status && sameObject(*status, level.status)) {
            level.folder = std::move(parent);
            return true;
        }
    }
    // Else down again by name from the nearest open level, each checked on the way.
    std::size_t open = index;
    while (open > 0 && !m_levels[open].folder)
        --open;
    if (!m_levels[open].folder)
        return false;
    Folder current;
    const Folder* at = &m_levels[open].folder;
    for (std::size_t i = open + 1; i <= index; ++i) {
        Folder next(openFolderAt(at->descriptor(), m_levels[i].name, m_levels[i].throughLink));
        const auto status = next.status();
        if (!status || !sameObject(*status, m_levels[i].status))
            return false;
        current = std::move(next);
        at = &current;
    }
    level.folder = std::move(current);
    return true;
}

bool FolderStack::contains(const EntryStatus& status) const {
    return m_open.count({status.device, status.index}) != 0;
}

TreeWalk::TreeWalk(Folder root, const Options& options) : m_options(options), m_stack(std::move(root)) {}

bool TreeWalk::readEntries(const Folder& folder, std::vector<DirectoryEntry>& entries) const {
    auto read = folder.entries();
    if (!read)
        return false;
    entries = std::move(*read);
    if (m_options.sorted)
        std::sort(entries.begin(), entries.end(),
                  [](const DirectoryEntry& a, const DirectoryEntry& b) { return a.name < b.name; });
    return true;
}

Folder& TreeWalk::folder() { return m_atEnter ? m_stack.belowTop() : m_stack.top(); }

Folder& TreeWalk::current() { return m_atEnter ? m_stack.top() : m_left; }

void TreeWalk::skip() {
    if (!m_atEnter)
        return;
    m_atEnter = false;
    m_frames.pop_back();
    m_lost = !m_stack.pop(nullptr) || m_lost;
}

TreeWalk::Event TreeWalk::enter() {
    m_vanished = false;
    const int fd = openFolderAt(m_stack.top().descriptor(), m_name, m_options.followLinks);
    if (fd < 0) {
        m_vanished = errno == ENOENT;
        return Event::Unreadable;
    }
    Folder entered(fd);
    const auto status = entered.status();
    if (!status)
        return Event::Unreadable;
    if (m_stack.contains(*status))
        return Event::Cycle;
    Frame frame;
    frame.name = m_name;
    if (!readEntries(entered, frame.entries))
        return Event::Unreadable;
    m_currentStatus = *status;
    m_stack.push(std::move(entered), *status, m_name, m_kind == DirectoryEntry::Kind::SymbolicLink);
    m_frames.push_back(std::move(frame));
    m_atEnter = true;
    return Event::Enter;
}

TreeWalk::Event TreeWalk::next() {
    m_atEnter = false;
    m_left = Folder();
    if (!m_started) {
        m_started = true;
        Frame frame;
        if (m_options.rootNames) {
            for (const std::string& name : *m_options.rootNames)
                frame.entries.push_back({name, DirectoryEntry::Kind::Unknown});
            if (m_options.sorted)
                std::sort(frame.entries.begin(), frame.entries.end(),
                          [](const DirectoryEntry& a, const DirectoryEntry& b) { return a.name < b.name; });
        } else if (!m_stack.top() || !readEntries(m_stack.top(), frame.entries)) {
            m_name.clear();
            m_frames.push_back(Frame{}); // nothing to walk
            return Event::Unreadable;
        }
        m_frames.push_back(std::move(frame));
    }
    if (m_descend) {
        m_descend = false;
        return enter();
    }
    if (m_lost || m_frames.empty())
        return Event::End;
    for (;;) {
        Frame& frame = m_frames.back();
        if (frame.next == frame.entries.size()) {
            if (m_frames.size() == 1)
                return Event::End;
            m_name = std::move(frame.name);
            m_currentStatus = m_stack.topStatus();
            m_frames.pop_back();
            m_lost = !m_stack.pop(&m_left);
            return Event::Leave;
        }
        const DirectoryEntry& entry = frame.entries[frame.next++];
        if (!isSingleName(entry.name))
            continue;
        m_name = entry.name;
        m_kind = entry.kind;
        if (m_kind == DirectoryEntry::Kind::Unknown) {
            const auto status = m_stack.top().statusOf(m_name);
            m_kind = !status ? DirectoryEntry::Kind::Other
                     : status->kind == EntryStatus::Kind::Directory    ? DirectoryEntry::Kind::Directory
                     : status->kind == EntryStatus::Kind::SymbolicLink ? DirectoryEntry::Kind::SymbolicLink
                                                                       : DirectoryEntry::Kind::Other;
        }
        if (m_kind == DirectoryEntry::Kind::Directory)
            return Event::Folder;
        if (m_kind == DirectoryEntry::Kind::SymbolicLink && m_options.followLinks) {
            const auto target = m_stack.top().targetStatusOf(m_name);
            if (target && target->kind == EntryStatus::Kind::Directory)
                return Event::Folder;
        }
        return Event::File;
    }
}

// ---- Removal ---------------------------------------------------------------------

void removeContents(Folder root) {
    TreeWalk walk(std::move(root), TreeWalk::Options{});
    for (TreeWalk::Event event = walk.next(); event != TreeWalk::Event::End; event = walk.next()) {
        switch (event) {
        case TreeWalk::Event::File:
            walk.folder().removeFile(walk.name());
            break;
        case TreeWalk::Event::Folder:
            walk.descend();
            break;
        case TreeWalk::Event::Leave:
            walk.folder().removeFolder(walk.name());
            break;
        case TreeWalk::Event::Unreadable:
            // An empty folder goes without being read; a name that became a link goes as a link.
            if (!walk.name().empty() && !walk.folder().removeFolder(walk.name()))
                walk.folder().removeFile(walk.name());
            break;
        default:
            break;
        }
    }
}

bool removeTree(const std::string& path) {
    std::string name;
    auto parent = openParent(path, name);
    if (!parent)
        return false;
    const auto status = parent->statusOf(name);
    if (!status)
        return errno == ENOENT;
    if (status->kind != EntryStatus::Kind::Directory)
        return parent->removeFile(name) || !parent->statusOf(name); // a link goes as a link
    if (auto root = parent->openFolder(name))
        removeContents(std::move(*root));
    if (!parent->removeFolder(name))
        parent->removeFile(name); // it became a link meanwhile
    return !parent->statusOf(name);
}

} // namespace FileSystem::sys
