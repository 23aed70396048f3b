#pragma once

// C streams opened on any path of the library's form.

#include <FileSystem/Export.h>
#include <FileSystem/files/PosixFilePermissionFlag.h>

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

namespace FileSystem {

/// Closes a C stream, unless it is null or one of stdin, stdout and stderr.
struct FILESYSTEM_EXPORT FileCloser {
    /// Closes `file` (see fcloseraw).
    void operator()(std::FILE* file) const noexcept;
};

/// An owning holder of a C stream.
using FilePointer = std::unique_ptr<std::FILE, FileCloser>;

/// How other openers may share a file. Linux has no share modes: the value is
/// accepted and has no effect.
enum class ShareFlag : int {
    DenyReadWrite = 0, ///< others may neither read nor write
    DenyWrite = 1,     ///< others may read
    DenyRead = 2,      ///< others may write
    DenyNone = 3,      ///< others may read and write
    Secure = 4,        ///< Windows' secure mode: others may read but not write
};

/// Open flags for `posixOpen`, `toPosixMode` and `fromPosixMode`: the system's
/// own O_ values, and for text and binary translation, which Linux does not
/// have, two bits of the library's own that no open flag uses (0x10000000 text,
/// 0x20000000 binary); `posixOpen` removes them before the file is opened.
namespace PosixOpenFlags {
extern FILESYSTEM_EXPORT const int ReadOnly;  ///< O_RDONLY
extern FILESYSTEM_EXPORT const int WriteOnly; ///< O_WRONLY
extern FILESYSTEM_EXPORT const int ReadWrite; ///< O_RDWR (with WriteOnly it still means reading and writing)
extern FILESYSTEM_EXPORT const int Create;    ///< O_CREAT
extern FILESYSTEM_EXPORT const int Truncate;  ///< O_TRUNC
extern FILESYSTEM_EXPORT const int Append;    ///< O_APPEND
extern FILESYSTEM_EXPORT const int Exclusive; ///< O_EXCL
extern FILESYSTEM_EXPORT const int Text;      ///< text translation (the library's own bit)
extern FILESYSTEM_EXPORT const int Binary;    ///< no translation (the library's own bit)
} // namespace PosixOpenFlags

/// Opens a C stream on a path (made absolute and normalised first) with a C
/// mode ("rb", "w+"). Null on failure and for an empty path; the share flag
/// has no effect.
///@{
FILESYSTEM_EXPORT FilePointer fopen(const std::string& path, const std::string& mode);
FILESYSTEM_EXPORT FilePointer fsopen(const std::string& path, const std::string& mode, ShareFlag share);
///@}

/// Opens with open flags (PosixOpenFlags) and permission bits for a file that
/// is created, then a stream with the matching mode (fromPosixMode). Null on
/// failure and for an empty path.
///@{
FILESYSTEM_EXPORT FilePointer posixOpen(const std::string& path, int flags, PosixFilePermissions permissions);
FILESYSTEM_EXPORT FilePointer posixOpen(const std::string& path, int flags, int permissions);
///@}
/// `posixOpen` with the text bit cleared and the binary bit set.
FILESYSTEM_EXPORT FilePointer posixOpenBinary(const std::string& path, int flags, PosixFilePermissions permissions);

/// Closes a stream: the holder form empties the holder. 0 for a standard or
/// null stream (left open), else the result of std::fclose.
///@{
FILESYSTEM_EXPORT int fclose(FilePointer& file) noexcept;
FILESYSTEM_EXPORT int fcloseraw(std::FILE* file) noexcept;
///@}

/// Holders of the standard output and error streams; closing them leaves the
/// streams open.
///@{
FILESYSTEM_EXPORT FilePointer getStdOut() noexcept;
FILESYSTEM_EXPORT FilePointer getStdErr() noexcept;
///@}

/// The C stream calls on a holder, with 64-bit positions. On an empty holder
/// they do nothing and report failure: ftell and fseek -1, fwrite and fread 0,
/// feof and ferror 1, fflush EOF.
///@{
FILESYSTEM_EXPORT std::int64_t ftell(const FilePointer& file) noexcept;
FILESYSTEM_EXPORT int fseek(const FilePointer& file, std::int64_t offset, int origin) noexcept;
FILESYSTEM_EXPORT std::size_t fwrite(const void* data, std::size_t size, std::size_t count,
                                     const FilePointer& file) noexcept;
FILESYSTEM_EXPORT std::size_t fread(void* data, std::size_t size, std::size_t count, const FilePointer& file) noexcept;
FILESYSTEM_EXPORT int feof(const FilePointer& file) noexcept;
FILESYSTEM_EXPORT int fflush(const FilePointer& file) noexcept;
FILESYSTEM_EXPORT int ferror(const FilePointer& file) noexcept;
///@}

/// Open flags for a C mode text ("w+b"). Read in turn: r, w and a choose the
/// access; +, b and t are valid only after w or a (so "rb" and "r+" give 0);
/// any other letter gives 0. Translation is left out with `withoutTranslation`.
FILESYSTEM_EXPORT int toPosixMode(std::string_view mode, bool withoutTranslation);

/// The C mode text for open flags: "a" with Append, else "w" with WriteOnly,
/// else "r"; then "b" or "t" for a translation bit (unless `withoutTranslation`);
/// then "+" with ReadWrite.
FILESYSTEM_EXPORT std::string fromPosixMode(int flags, bool withoutTranslation);

} // namespace FileSystem
