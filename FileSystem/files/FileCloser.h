#pragma once

// C streams opened on any path of the library's form.

#include <FileSystem/files/PosixFilePermissionFlag.h>

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

namespace FileSystem {

/// Closes a C stream, unless it is null or one of stdin, stdout and stderr.
struct FileCloser {
    void operator()(std::FILE* file) const noexcept;
};

/// An owning holder of a C stream.
using FilePointer = std::unique_ptr<std::FILE, FileCloser>;

/// How other openers may share a file. Linux has no share modes: the value is
/// accepted and has no effect.
enum class ShareFlag : int {
    DenyReadWrite = 0,
    DenyWrite = 1,
    DenyRead = 2,
    DenyNone = 3,
    Secure = 4,
};

/// Open flags for `posixOpen`, `toPosixMode` and `fromPosixMode`: the system's
/// own O_ values, and for text and binary translation, which Linux does not
/// have, two bits of the library's own that no open flag uses (0x10000000 text,
/// 0x20000000 binary); `posixOpen` removes them before the file is opened.
namespace PosixOpenFlags {
extern const int ReadOnly;
extern const int WriteOnly;
extern const int ReadWrite;
extern const int Create;
extern const int Truncate;
extern const int Append;
extern const int Exclusive;
extern const int Text;
extern const int Binary;
} // namespace PosixOpenFlags

/// Opens a C stream on a path (made absolute and normalised first). Null on failure.
FilePointer fopen(const std::string& path, const std::string& mode);
FilePointer fsopen(const std::string& path, const std::string& mode, ShareFlag share);

/// Opens with open flags and permission bits, then a stream with the matching mode.
FilePointer posixOpen(const std::string& path, int flags, PosixFilePermissions permissions);
FilePointer posixOpen(const std::string& path, int flags, int permissions);
/// `posixOpen` with the text bit cleared and the binary bit set.
FilePointer posixOpenBinary(const std::string& path, int flags, PosixFilePermissions permissions);

/// Closes and empties the holder; 0 for a standard or null stream.
int fclose(FilePointer& file) noexcept;
int fcloseraw(std::FILE* file) noexcept;

/// Holders of the standard streams; closing them leaves the streams open.
FilePointer getStdOut() noexcept;
FilePointer getStdErr() noexcept;

/// The 64-bit C stream calls on a holder.
std::int64_t ftell(const FilePointer& file) noexcept;
int fseek(const FilePointer& file, std::int64_t offset, int origin) noexcept;
std::size_t fwrite(const void* data, std::size_t size, std::size_t count, const FilePointer& file) noexcept;
std::size_t fread(void* data, std::size_t size, std::size_t count, const FilePointer& file) noexcept;
int feof(const FilePointer& file) noexcept;
int fflush(const FilePointer& file) noexcept;
int ferror(const FilePointer& file) noexcept;

/// Open flags for a C mode text ("w+b"). Read in turn: r, w and a choose the
/// access; +, b and t are valid only after w or a (so "rb" and "r+" give 0);
/// any other letter gives 0. Translation is left out with `withoutTranslation`.
int toPosixMode(std::string_view mode, bool withoutTranslation);

/// The C mode text for open flags: "r", "w" or "a", then "b" or "t", then "+".
std::string fromPosixMode(int flags, bool withoutTranslation);

} // namespace FileSystem
