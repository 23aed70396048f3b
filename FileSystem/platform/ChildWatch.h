#pragma once

// A watcher process that kills the processes handed to it when this process
// ends. Callers serialise the calls of these functions (one mutex); the
// state is this process's own: a copy made by fork has no watcher.

#include <cstdint>

namespace FileSystem::sys {

/// What became of a registration.
enum class ChildWatchResult {
    Registered,    ///< the watcher holds the process and kills it when this process ends
    NoSuchProcess, ///< there is no such process, or this process may not signal it
    WatcherGone,   ///< the watcher has ended; this process has none any more
    Failed,        ///< anything else: no descriptor free, no answer in time
};

/// True while this process has a watcher of its own.
bool childWatcherRunning();

/// Starts the watcher; true once it has answered. False when it cannot be
/// started (the reason is recorded for lastError()).
bool startChildWatcher();

/// Hands a process to the running watcher: by a process descriptor, or by
/// its id and start time where the system has no process descriptors.
ChildWatchResult watchChild(std::int64_t processId);

/// Hands a process to the running watcher by its id and start time only; the
/// watcher compares the start time again before it kills.
ChildWatchResult watchChildByStartTime(std::int64_t processId);

} // namespace FileSystem::sys
