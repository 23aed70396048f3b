#pragma once

// Children that end with the application: processes handed over here are
// killed when the application ends, however it ends.

#include <FileSystem/Export.h>

#include <cstdint>

namespace FileSystem {

/// Makes a process end when the application ends.
///
/// The process is killed when the application ends in any way: a normal
/// exit, a crash, `SIGKILL`. On Linux a small watcher process, started on
/// the first call, holds one end of a socket whose other end the
/// application keeps; when the application is gone the socket closes and the
/// watcher kills every process handed to it that still runs. The watcher
/// knows each process by a process descriptor (`pidfd`), so a process id
/// that the system has since given to another process is never hit; on
/// kernels without process descriptors it compares the process's start time
/// before it kills.
///
/// When the environment variable `TESSELRM_NO_AUTO_SUBPROCESS_TERMINATE` is
/// set, no watcher is started and nothing is registered. The variable is read
/// only while the application has no watcher: once one runs, setting it
/// changes nothing.
///
/// A copy of the application made by `fork` without `exec` does not share
/// the application's watcher: the processes handed over before the fork
/// still end with the application, and processes that the copy hands over
/// end with the copy (it starts a watcher of its own). An `exec` of the
/// application ends its registered processes, as the program that
/// registered them is gone.
///
/// Safe to call from several threads.
///
/// \param process On Linux the process id, carried in the pointer:
///        `reinterpret_cast<void*>(static_cast<std::intptr_t>(pid))`
///        (on Windows the process's handle).
/// \return True when the watcher holds the process. False when the variable
///         switches the feature off, when there is no such process (or the
///         application may not signal it), or when the watcher cannot be
///         started or does not answer.
FILESYSTEM_EXPORT bool clientProcessDestroysOnTerminate(void* process);

/// The same for a process given by its id.
///
/// \param processId The process id; 0 and negative ids name no process.
/// \return As for the form that takes the process: true only when the watcher
///         holds the process.
FILESYSTEM_EXPORT bool clientProcessDestroysOnTerminate(std::int64_t processId);

} // namespace FileSystem
