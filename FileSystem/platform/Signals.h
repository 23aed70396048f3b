#pragma once

// Signals: what the system calls the requests to stop a process, handlers
// for them that pass on what they decline, and sending them to processes.
// The handler functions here run in signal context: they call only
// async-signal-safe functions.

#include <cstdint>
#include <span>

namespace FileSystem::sys {

/// One C signal and the library's identifier (an OSSignalId bit) for it.
struct CSignalEntry {
    std::uint32_t identifier;
    int native;
    bool canBeHandled; ///< false for signals that can only be sent (SIGKILL)
};

/// One console control event and the identifier for it.
struct ConsoleEventEntry {
    std::uint32_t identifier;
    unsigned int native;
};

/// The C signals of this system for the library's identifiers.
std::span<const CSignalEntry> cSignalTable() noexcept;

/// The console control events of this system; empty where there are none.
std::span<const ConsoleEventEntry> consoleEventTable() noexcept;

/// What the library's handler calls: the signal, and the system's record of
/// its delivery (`info`, `context`), which callPreviousSignalHandler needs
/// to pass the signal on. Runs in signal context.
using SignalCallback = void (*)(int signal, void* info, void* context) noexcept;

/// Puts the library's handler in place for `signal` (restarting interrupted
/// calls, with every handleable signal of cSignalTable blocked while it runs);
/// it calls `callback`. The handler that was there is kept for
/// callPreviousSignalHandler and restoreSignalHandler. False when the system
/// refuses; then nothing changed.
bool installSignalHandler(int signal, SignalCallback callback);

/// Puts back the handler that installSignalHandler replaced. The kept handler
/// stays available to callPreviousSignalHandler for a delivery that is under
/// way, until the next installSignalHandler of the signal. False when the
/// system refuses or nothing was replaced.
bool restoreSignalHandler(int signal);

/// Passes a delivery on to the handler that installSignalHandler replaced:
/// calls a function handler (with its own blocked signals), does nothing for
/// an ignored signal, and for the default action restores the default, raises
/// the signal again and unblocks it, so that the default action happens (for
/// a signal whose default is to end the process it does not return).
/// Async-signal-safe.
void callPreviousSignalHandler(int signal, void* info, void* context) noexcept;

/// Blocks the handleable signals of cSignalTable on the calling thread for
/// the life of the object, so that the library's handler cannot interrupt this
/// thread while it changes what the handler reads. Signals sent to the process
/// meanwhile go to another thread, or wait until the object ends.
class BlockedSignals {
public:
    BlockedSignals() noexcept;
    ~BlockedSignals();
    BlockedSignals(const BlockedSignals&) = delete;
    BlockedSignals& operator=(const BlockedSignals&) = delete;

private:
    std::uint64_t m_unblock = 0; ///< signal bits (1 << (signal - 1)) that were not blocked before
};

/// Sends `signal` (0: only checks) to the process `processId`. False, without
/// sending anything, for an id that cannot name one process (0 and negative
/// ids name process groups; values beyond the system's process ids) or a
/// negative signal; false when the system refuses (no such process, no
/// right). Async-signal-safe; records no error for lastError().
bool sendSignal(std::int64_t processId, int signal) noexcept;

} // namespace FileSystem::sys
