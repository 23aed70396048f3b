#include <FileSystem/platform/CurrentDirectory.h>
#include <FileSystem/platform/posix/Native.h>

#include <cerrno>
#include <unistd.h>

namespace FileSystem::sys {

std::string currentDirectory() {
    std::string buffer(256, '\0');
    for (;;) {
        if (::getcwd(buffer.data(), buffer.size()) != nullptr) {
            buffer.resize(buffer.find('\0'));
            return buffer;
        }
        if (errno != ERANGE || buffer.size() > (std::size_t(1) << 20))
            return {};
        buffer.resize(buffer.size() * 2);
    }
}

bool setCurrentDirectory(const std::string& nativePath) {
    return posix::isUsablePath(nativePath) &&
           posix::recorded("chdir", nativePath, [&] { return ::chdir(nativePath.c_str()); }) == 0;
}

} // namespace FileSystem::sys
