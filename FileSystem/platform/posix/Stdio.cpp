#include <FileSystem/platform/Stdio.h>
#include <FileSystem/files/FileCloser.h>
#include <FileSystem/platform/Traits.h>
#include <FileSystem/platform/posix/Native.h>

#include <fcntl.h>
#include <unistd.h>

namespace FileSystem::sys {

// Translation bits of the library, above every open flag of Linux.
constexpr int kTextFlag = kOpenText;
constexpr int kBinaryFlag = kOpenBinary;
static_assert(kOpenReadOnly == O_RDONLY && kOpenWriteOnly == O_WRONLY && kOpenReadWrite == O_RDWR &&
                  kOpenCreate == O_CREAT && kOpenExclusive == O_EXCL && kOpenTruncate == O_TRUNC &&
                  kOpenAppend == O_APPEND,
              "the open flags of the public interface must be the system's");
static_assert((kTextFlag & (O_ACCMODE | O_CREAT | O_EXCL | O_NOCTTY | O_TRUNC | O_APPEND | O_NONBLOCK | O_DSYNC |
                            O_SYNC | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC | O_PATH | O_TMPFILE | O_DIRECT |
                            O_NOATIME | O_ASYNC | O_LARGEFILE)) == 0 &&
                  (kBinaryFlag & (O_ACCMODE | O_CREAT | O_EXCL | O_NOCTTY | O_TRUNC | O_APPEND | O_NONBLOCK |
                                  O_DSYNC | O_SYNC | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC | O_PATH | O_TMPFILE |
                                  O_DIRECT | O_NOATIME | O_ASYNC | O_LARGEFILE)) == 0,
              "the translation bits must not be open flags of the system");

namespace {

/// The C library here knows no 't' (text) letter: no translation happens.
std::string withoutTextLetter(const std::string& mode) {
    std::string out;
    const std::size_t options = mode.find(',');
    for (std::size_t i = 0; i < mode.size(); ++i)
        if (mode[i] != 't' || i >= options)
            out += mode[i];
    return out;
}

} // namespace

const OpenFlagValues& openFlagValues() {
    static const OpenFlagValues values{O_RDONLY, O_WRONLY, O_RDWR,    O_CREAT,     O_TRUNC, O_APPEND,
                                       O_EXCL,   kTextFlag, kBinaryFlag, /*defaultTranslation*/ 0};
    return values;
}

std::FILE* openStdioFile(const std::string& path, const std::string& mode) {
    if (!posix::isUsablePath(path))
        return nullptr;
    std::FILE* file = std::fopen(path.c_str(), withoutTextLetter(mode).c_str());
    if (file == nullptr)
        recordError("fopen", path);
    return file;
}

std::FILE* openStdioDescriptor(const std::string& path, int flags, std::uint32_t permissions, const std::string& mode) {
    if (!posix::isUsablePath(path))
        return nullptr;
    flags &= ~(kTextFlag | kBinaryFlag);
    // Write-only together with read-write means read-write (both bits would ask for neither).
    if ((flags & O_ACCMODE) == (O_WRONLY | O_RDWR))
        flags &= ~O_WRONLY;
    const int fd = posix::recorded(
        "open", path, [&] { return ::open(path.c_str(), flags | O_CLOEXEC, static_cast<mode_t>(permissions & 07777)); });
    if (fd < 0)
        return nullptr;
    std::FILE* file = ::fdopen(fd, withoutTextLetter(mode).c_str());
    if (file == nullptr)
        ::close(fd);
    return file;
}

bool isStandardStream(std::FILE* file) noexcept { return file == stdin || file == stdout || file == stderr; }

std::int64_t tell(std::FILE* file) noexcept { return static_cast<std::int64_t>(::ftello(file)); }

int seek(std::FILE* file, std::int64_t offset, int origin) noexcept {
    return ::fseeko(file, static_cast<off_t>(offset), origin);
}

StreamCopyResult copyBetweenStreams(std::FILE* from, std::FILE* to, std::uint64_t chunk,
                                    const std::function<bool(std::uint64_t)>& progress) {
    if (from == nullptr || to == nullptr || chunk == 0 || std::fflush(to) != 0)
        return StreamCopyResult::Failed;
    off_t in = ::ftello(from);
    off_t out = ::ftello(to);
    if (in < 0 || out < 0)
        return StreamCopyResult::Unsupported;
    const int fdIn = ::fileno(from);
    const int fdOut = ::fileno(to);
    std::uint64_t done = 0;
    StreamCopyResult result = StreamCopyResult::Done;
    for (;;) {
        const ssize_t n = posix::retryOnInterrupt(
            [&] { return ::copy_file_range(fdIn, &in, fdOut, &out, static_cast<std::size_t>(chunk), 0); });
        if (n < 0) {
            const bool unsupported = errno == EXDEV || errno == EINVAL || errno == ENOSYS || errno == EOPNOTSUPP ||
                                     errno == EBADF || errno == EPERM || errno == ETXTBSY;
            if (unsupported && done == 0)
                return StreamCopyResult::Unsupported;
            recordError("copy_file_range", std::string());
            result = StreamCopyResult::Failed;
            break;
        }
        if (n == 0)
            break;
        done += static_cast<std::uint64_t>(n);
        if (progress && !progress(done)) {
            result = StreamCopyResult::Stopped;
            break;
        }
    }
    // The streams go on after what was copied (the kernel moved no descriptor).
    if (::fseeko(from, in, SEEK_SET) != 0 || ::fseeko(to, out, SEEK_SET) != 0)
        return StreamCopyResult::Failed;
    return result;
}

bool openFileBuffer(std::filebuf& buffer, const std::string& path, std::ios::openmode mode) {
    return posix::isUsablePath(path) && buffer.open(path.c_str(), mode) != nullptr;
}

} // namespace FileSystem::sys
