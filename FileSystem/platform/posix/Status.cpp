#include <FileSystem/platform/Status.h>
#include <FileSystem/platform/posix/Native.h>

#include <sys/stat.h>
#include <sys/statfs.h>

namespace FileSystem::sys {

namespace {

// File system magics (statfs f_type) of file systems whose data lives on
// another machine.
constexpr unsigned long kNetworkFileSystems[] = {
    0x6969,     // NFS
    0x517B,     // SMB
    0xFF534D42, // CIFS
    0xFE534D42, // SMB2
    0x564C,     // NCP
    0x73757245, // Coda
    0x5346414F, // AFS
    0x6B414653, // kAFS
    0x00C36400, // Ceph
    0x0BD00BD0, // Lustre
    0x47504653, // GPFS
    0x01161970, // GFS2
    0x7461636F, // OCFS2
    0x01021997, // 9P (host shares of virtual machines)
};

} // namespace

std::optional<FileIdentity> fileIdentity(const std::string& nativePath) {
    struct stat st {};
    if (!posix::isUsablePath(nativePath) || posix::recorded("stat", nativePath, [&] { return ::stat(nativePath.c_str(), &st); }) != 0)
        return std::nullopt;
    FileIdentity id;
    id.device = static_cast<std::uint64_t>(st.st_dev);
    id.index = static_cast<std::uint64_t>(st.st_ino);
    id.size = static_cast<std::uint64_t>(st.st_size);
    id.modifiedSeconds = static_cast<std::int64_t>(st.st_mtim.tv_sec);
    id.modifiedNanoseconds = static_cast<std::int64_t>(st.st_mtim.tv_nsec);
    return id;
}

bool pathExists(const std::string& nativePath) {
    struct stat st {};
    return posix::isUsablePath(nativePath) && ::lstat(nativePath.c_str(), &st) == 0;
}

bool isOnNetworkFileSystem(const std::string& nativePath) {
    if (!posix::isUsablePath(nativePath))
        return false;
    std::string path = nativePath;
    for (;;) {
        struct statfs fs {};
        if (::statfs(path.c_str(), &fs) == 0) {
            const auto type = static_cast<unsigned long>(fs.f_type) & 0xFFFFFFFFul;
            for (unsigned long network : kNetworkFileSystems)
                if (type == network)
                    return true;
            return false;
        }
        // Not there (yet): ask for the folder that would hold it.
        const std::size_t slash = path.find_last_of('/');
        if (slash == std::string::npos) {
            if (path == ".")
                return false;
            path = ".";
        } else if (slash == 0) {
            if (path == "/")
                return false;
            path = "/";
        } else {
            path.resize(slash);
        }
    }
}

} // namespace FileSystem::sys
