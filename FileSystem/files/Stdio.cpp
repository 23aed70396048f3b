#include <FileSystem/files/FileCloser.h>
#include <FileSystem/files/StreamUtilities.h>

#include <FileSystem/paths/PathConverterBase.h>
#include <FileSystem/platform/Stdio.h>
#include <FileSystem/platform/Traits.h>

namespace FileSystem {

// The public names of the open flags: constants of the system this build runs on.
namespace PosixOpenFlags {
extern const int ReadOnly = sys::kOpenReadOnly;
extern const int WriteOnly = sys::kOpenWriteOnly;
extern const int ReadWrite = sys::kOpenReadWrite;
extern const int Create = sys::kOpenCreate;
extern const int Truncate = sys::kOpenTruncate;
extern const int Append = sys::kOpenAppend;
extern const int Exclusive = sys::kOpenExclusive;
extern const int Text = sys::kOpenText;
extern const int Binary = sys::kOpenBinary;
} // namespace PosixOpenFlags

void FileCloser::operator()(std::FILE* file) const noexcept { fcloseraw(file); }

FilePointer fopen(const std::string& path, const std::string& mode) { return fsopen(path, mode, ShareFlag::DenyNone); }

FilePointer fsopen(const std::string& path, const std::string& mode, ShareFlag) {
    if (path.empty())
        return nullptr;
    return FilePointer(sys::openStdioFile(toSystemPath(path), mode));
}

FilePointer posixOpen(const std::string& path, int flags, PosixFilePermissions permissions) {
    if (path.empty())
        return nullptr;
    return FilePointer(
        sys::openStdioDescriptor(toSystemPath(path), flags, permissions.value(), fromPosixMode(flags, false)));
}

FilePointer posixOpen(const std::string& path, int flags, int permissions) {
    return posixOpen(path, flags, PosixFilePermissions(static_cast<std::uint32_t>(permissions)));
}

FilePointer posixOpenBinary(const std::string& path, int flags, PosixFilePermissions permissions) {
    const auto& values = sys::openFlagValues();
    return posixOpen(path, (flags & ~values.text) | values.binary, permissions);
}

int fclose(FilePointer& file) noexcept { return fcloseraw(file.release()); }

int fcloseraw(std::FILE* file) noexcept {
    if (file == nullptr || sys::isStandardStream(file))
        return 0;
    return std::fclose(file);
}

FilePointer getStdOut() noexcept { return FilePointer(stdout); }
FilePointer getStdErr() noexcept { return FilePointer(stderr); }

std::int64_t ftell(const FilePointer& file) noexcept { return file ? sys::tell(file.get()) : -1; }

int fseek(const FilePointer& file, std::int64_t offset, int origin) noexcept {
    return file ? sys::seek(file.get(), offset, origin) : -1;
}

std::size_t fwrite(const void* data, std::size_t size, std::size_t count, const FilePointer& file) noexcept {
    return file ? std::fwrite(data, size, count, file.get()) : 0;
}

std::size_t fread(void* data, std::size_t size, std::size_t count, const FilePointer& file) noexcept {
    return file ? std::fread(data, size, count, file.get()) : 0;
}

int feof(const FilePointer& file) noexcept { return file ? std::feof(file.get()) : 1; }
int fflush(const FilePointer& file) noexcept { return file ? std::fflush(file.get()) : EOF; }
int ferror(const FilePointer& file) noexcept { return file ? std::ferror(file.get()) : 1; }

int toPosixMode(std::string_view mode, bool withoutTranslation) {
    const auto& values = sys::openFlagValues();
    int access = 0;
    int flags = 0;
    int translation = 0;
    for (char letter : mode) {
        switch (letter) {
        case 'r':
            access = values.readOnly;
            flags = 0;
            translation = values.defaultTranslation;
            break;
        case 'w':
            access = values.writeOnly;
            flags = values.create | values.truncate;
            translation = values.defaultTranslation;
            break;
        case 'a':
            access = values.writeOnly;
            flags = values.create | values.append;
            translation = values.defaultTranslation;
            break;
        case '+':
            if (flags == 0)
                return 0;
            flags |= values.readWrite;
            break;
        case 'b':
        case 't':
            if (flags == 0)
                return 0;
            translation = letter == 'b' ? values.binary : values.text;
            break;
        default:
            return 0;
        }
    }
    return flags | access | (withoutTranslation ? 0 : translation);
}

std::string fromPosixMode(int flags, bool withoutTranslation) {
    const auto& values = sys::openFlagValues();
    std::string mode = "r";
    if (flags & values.append)
        mode = "a";
    else if (flags & values.writeOnly)
        mode = "w";
    if (!withoutTranslation) {
        if (flags & values.binary)
            mode += 'b';
        else if (flags & values.text)
            mode += 't';
    }
    if (flags & values.readWrite)
        mode += '+';
    return mode;
}

bool StreamUtilities::openFileBuffer(std::filebuf& buffer, const std::string& path, std::ios::openmode mode) {
    return !path.empty() && sys::openFileBuffer(buffer, toSystemPath(path), mode);
}

} // namespace FileSystem
