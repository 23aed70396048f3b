#pragma once

// Why the last operation on the disk failed (an addition to the design, whose
// operations answer by their results alone).

#include <FileSystem/Export.h>

#include <string>

namespace FileSystem {

/// The last system call that failed in the library on the calling thread.
///
/// File, folder, archive and stream operations answer by their results (false,
/// empty, a sentinel), as before; when one fails, this record tells why: which
/// system call failed, on what path, with which error number. The record is the
/// thread's own and is replaced by every later failing call, also by calls that
/// fail as part of an operation that succeeds in the end (a probe whether a name
/// exists, say). Read it right after the failed operation.
struct FILESYSTEM_EXPORT SystemError {
    std::string operation; ///< the system call, e.g. "openat" or "rename"
    std::string path;      ///< the path or name it was given; empty when it takes none
    int code = 0;          ///< the system's error number (errno); 0 when nothing failed
    std::string message;   ///< the system's text for that number

    /// True when a failure is recorded.
    explicit operator bool() const noexcept { return code != 0; }

    /// One readable line: "openat '/data/run/a.dat': No such file or directory (errno 2)";
    /// "no failure recorded" when there is none.
    std::string toString() const;
};

/// The record of the last failing system call made by the library on this thread.
FILESYSTEM_EXPORT SystemError lastError();

/// Forgets the record of this thread, so that a later lastError() shows only what failed after.
FILESYSTEM_EXPORT void clearLastError() noexcept;

} // namespace FileSystem
