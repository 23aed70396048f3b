#include <FileSystem/platform/OpenFiles.h>
#include <FileSystem/platform/posix/Native.h>

#include <cerrno>
#include <fcntl.h>
#include <random>
#include <sys/stat.h>
#include <unistd.h>

namespace FileSystem::sys {

using posix::isUsablePath;
using posix::retryOnInterrupt;

OpenFile openForReading(const std::string& path) {
    if (!isUsablePath(path))
        return OpenFile();
    OpenFile file(posix::recorded("open", path,
                                  [&] { return ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK); }));
    struct stat st {};
    // Only a regular file: a pipe or a device would not behave as an archive.
    if (!file || ::fstat(file.descriptor(), &st) != 0 || !S_ISREG(st.st_mode))
        return OpenFile();
    ::fcntl(file.descriptor(), F_SETFL, 0);
    return file;
}

std::int64_t readAt(OpenFile& file, void* data, std::size_t size, std::uint64_t offset) {
    return posix::recorded("pread", std::string(),
                           [&] { return ::pread(file.descriptor(), data, size, static_cast<off_t>(offset)); });
}

std::optional<std::uint64_t> seek(OpenFile& file, std::int64_t offset, SeekFrom from) {
    const int whence = from == SeekFrom::Start ? SEEK_SET : from == SeekFrom::Current ? SEEK_CUR : SEEK_END;
    const off_t position = ::lseek(file.descriptor(), static_cast<off_t>(offset), whence);
    if (position < 0) {
        recordError("lseek", std::string());
        return std::nullopt;
    }
    return static_cast<std::uint64_t>(position);
}

bool resize(OpenFile& file, std::uint64_t size) {
    return posix::recorded("ftruncate", std::string(),
                           [&] { return ::ftruncate(file.descriptor(), static_cast<off_t>(size)); }) == 0;
}

std::string joinPath(const std::string& folder, const std::string& name) {
    if (folder.empty())
        return name;
    return folder.back() == '/' ? folder + name : folder + '/' + name;
}

OpenFile createAnonymousFile(Folder& folder) {
    if (!folder)
        return OpenFile();
    const int fd = retryOnInterrupt(
        [&] { return ::openat(folder.descriptor(), ".", O_TMPFILE | O_RDWR | O_CLOEXEC, 0600); });
    if (fd >= 0)
        return OpenFile(fd);
    // File systems without unnamed files: a fresh name, removed at once.
    thread_local std::mt19937_64 random{std::random_device{}()};
    for (int attempt = 0; attempt < 100; ++attempt) {
        const std::string name = ".fs-spool-" + std::to_string(random());
        OpenFile file(retryOnInterrupt([&] {
            return ::openat(folder.descriptor(), name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
        }));
        if (!file) {
            if (errno == EEXIST)
                continue;
            recordError("openat", name);
            return OpenFile();
        }
        if (::unlinkat(folder.descriptor(), name.c_str(), 0) != 0)
            return OpenFile();
        return file;
    }
    return OpenFile();
}

} // namespace FileSystem::sys
