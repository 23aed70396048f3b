#pragma once

// Requests to stop the process: one vocabulary of signal identifiers over the
// system's signals, handlers for them, and sending them to other processes.

#include <FileSystem/Export.h>

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace FileSystem {

/// A set of signal identifiers, one bit each; 0 is none.
///
/// | Identifier | Text | Signal on Linux |
/// |---|---|---|
/// | 1 | "INT" | `SIGINT` (Ctrl-C) |
/// | 2 | "TERM" | `SIGTERM` |
/// | 4 | "KILL" | `SIGKILL` (can only be sent) |
/// | 4096 | "BREAK" | `SIGQUIT` (the terminal's quit key, Ctrl-\\) |
/// | 8192 | "LOGOFF" | `SIGHUP` (the terminal hung up) |
/// | 16384 | "SHUTDOWN" | none |
///
/// Linux has no console control events: the console event functions know no
/// event.
using OSSignalId = std::uint32_t;

/// "INT": an interrupt, Ctrl-C in a terminal.
inline constexpr OSSignalId OSSignalIdInterrupt = 1;
/// "TERM": a request to end.
inline constexpr OSSignalId OSSignalIdTerminate = 2;
/// "KILL": the end that cannot be caught; only sent.
inline constexpr OSSignalId OSSignalIdKill = 4;
/// "BREAK": the break key (on Linux the terminal's quit key).
inline constexpr OSSignalId OSSignalIdBreak = 4096;
/// "LOGOFF": the user logs off (on Linux the terminal hangs up).
inline constexpr OSSignalId OSSignalIdLogoff = 8192;
/// "SHUTDOWN": the system shuts down; no signal on Linux.
inline constexpr OSSignalId OSSignalIdShutdown = 16384;

/// The identifiers that end a computation: computed once per process, at the
/// first call, from the environment variable `KV_TESSEL_CANCELSIGNALS` (read
/// with its versioned names). Not set (or empty): 4097, "INT" and "BREAK". Set:
/// the value is split at ',', ';' and '|' and the identifier of each piece
/// (exact text, see osSignalIdFromString) is or-ed in; pieces that name no
/// identifier count as 0, so a value without a valid piece gives 0. A later
/// change of the variable changes nothing.
FILESYSTEM_EXPORT unsigned int defaultCancelSignalMask();

/// The console control event of an identifier; empty for an identifier
/// without one, which on Linux is every identifier (there are no console
/// events).
FILESYSTEM_EXPORT std::optional<unsigned int> osSignalIdToCntrlEvent(OSSignalId id);

/// The identifier of a console control event; 0 for an unknown event, which
/// on Linux is every event.
FILESYSTEM_EXPORT OSSignalId osSignalIdFromCntrlEvent(unsigned int event);

/// The C signal of an identifier (see OSSignalId); empty for an identifier
/// without one ("SHUTDOWN", 0, several bits, unknown bits).
FILESYSTEM_EXPORT std::optional<int> osSignalIdToCSignal(OSSignalId id);

/// The identifier of a C signal; 0 for a signal not in the table.
FILESYSTEM_EXPORT OSSignalId osSignalIdFromCSignal(int signal);

/// The identifier whose text is exactly `text` ("INT", "TERM", "KILL",
/// "BREAK", "LOGOFF", "SHUTDOWN"; case matters); `fallback` for any other text.
FILESYSTEM_EXPORT OSSignalId osSignalIdFromString(const std::string& text, OSSignalId fallback);

/// The text of an identifier; empty for 0, several bits or an unknown bit.
FILESYSTEM_EXPORT std::string osSignalIdToString(OSSignalId id);

/// A handler of signals, called with the identifier of the signal that arrived.
///
/// **It runs in signal context**, on whichever thread the system interrupts
/// for the signal, while that thread's code stands still at an arbitrary
/// point, possibly in the middle of `malloc` or holding any lock, and with the
/// manager's (recursive) mutex held. So a handler must be short and must call
/// only async-signal-safe functions (`write`, `kill`, `sem_post`, `_exit`,
/// ...; see `man 7 signal-safety`) and lock-free atomics: it may set a
/// `std::atomic<bool>` or `volatile std::sig_atomic_t` flag, write a byte to
/// a pipe that the application watches, or send a signal on
/// (OSSignalManager::sendSignalToProcess and its siblings are safe). It must
/// not allocate (`new`, `std::string`, `std::function` that allocates),
/// write to iostreams or `printf`, lock a mutex that the interrupted code may
/// hold, wait for another thread (that thread may be the one it interrupted,
/// or may wait for the manager's mutex), nor register or unregister handlers
/// (those allocate). It should not throw: an exception is caught and
/// dropped, but throwing allocates. Threads block the signals of the manager
/// while they register or install, so a handler never interrupts the
/// manager's own work on its thread.
class FILESYSTEM_EXPORT OSSignalHandler {
public:
    virtual ~OSSignalHandler() = default;
    /// Called with the identifier of the signal that arrived (one bit).
    virtual void operator()(OSSignalId id) = 0;
};

/// The process-wide manager of signal handlers: it installs the library's
/// handler for the identifiers of a mask, calls the registered handlers when
/// such a signal arrives, and sends signals to processes.
///
/// On Linux `install` puts a handler in place for each C signal of the mask
/// with `sigaction` (`SA_RESTART`: calls that a signal interrupts go on
/// instead of failing with `EINTR`); while it runs, the other signals of the
/// table are blocked on its thread, so the manager's handlers never nest on
/// one thread. A signal arriving while the manager is installed and has the
/// identifier in its mask goes to the registered handlers only. A signal that
/// the manager declines (it arrived while `uninstall` ran) is passed on to the
/// handler that was in place before `install`: a function handler is called,
/// an ignored signal stays ignored, and for the default action the signal is
/// raised again with the default in place, so that it ends the process as it
/// would have. A disposition of "ignore" inherited from the parent (`nohup`,
/// background jobs of a shell) is replaced while the manager is installed.
///
/// The manager is never destroyed, so that a signal during the end of the
/// process still finds it; handlers still registered then are not destroyed
/// either.
class FILESYSTEM_EXPORT OSSignalManager {
public:
    /// The manager, made at the first call.
    static OSSignalManager& instance();

    OSSignalManager(const OSSignalManager&) = delete;
    OSSignalManager& operator=(const OSSignalManager&) = delete;

    /// `install(defaultCancelSignalMask())` when true, else
    /// `install(0xFFFFFFFF)`: every identifier that has a signal.
    void install(bool useDefaultMask);

    /// Installs the library's handler for every identifier of `mask` that
    /// has a C signal that can be caught ("KILL" and "SHUTDOWN" are skipped).
    /// Nothing happens when the manager is installed already, whatever the
    /// mask. A signal whose handler the system refuses is reported on
    /// `std::cerr` ("Failed to install signal handler for SignalID : " and the
    /// identifier); the others are installed. Pass an unsigned value
    /// (`install(4097u)`): a plain `int` is ambiguous with `install(bool)`.
    void install(unsigned int mask);

    /// Puts back the handlers that `install` replaced (a refusal is reported
    /// on `std::cerr`: "Failed to uninstall signal handler for SignalID : "
    /// and the identifier); the manager is then not installed. Registered
    /// handlers stay registered.
    void uninstall();

    /// True between `install` and `uninstall`.
    bool isInstalled() const;

    /// Takes the handler and appends it to the handlers called for a signal.
    /// \return The handler, to unregister it later; null for a null handler.
    OSSignalHandler* registerSignalHandler(std::unique_ptr<OSSignalHandler> handler);

    /// Removes a handler and gives it back; null when it is not registered.
    std::unique_ptr<OSSignalHandler> unregisterSignalHandler(OSSignalHandler* handler);

    /// Removes a handler and destroys it; false when it is not registered.
    bool unregisterSignalHandlerFunctor(OSSignalHandler* handler);

    /// Sends the signal of an identifier to a process: "TERM" `SIGTERM`,
    /// "KILL" `SIGKILL`, "INT" `SIGINT`, "BREAK" `SIGQUIT`, "LOGOFF" `SIGHUP`.
    /// Async-signal-safe; does not set lastError().
    /// \param processId The process; 0, negative ids (process groups) and ids
    ///        beyond the system's range name no process.
    /// \param id One identifier.
    /// \return True when the signal was sent. False for an identifier without
    ///         signal (or several identifiers), an id that names no process,
    ///         or a process this one may not signal.
    static bool sendSignalToProcess(std::int64_t processId, OSSignalId id);

    /// Sends a native signal number (on Linux a signal such as `SIGUSR1`; 0
    /// only checks that the process exists and may be signalled).
    /// \return As sendSignalToProcess; also false for a number that is no signal.
    static bool sendNativeSignalToProcess(std::int64_t processId, unsigned int signal);

    /// Sends "BREAK" (`SIGQUIT` on Linux), not "INT".
    /// \return As sendSignalToProcess.
    static bool sendInterruptToProcess(std::int64_t processId);

    /// Ends a process with `SIGKILL`: it ends by signal 9. (The exit code that
    /// the reference platform gives a killed process, 62097, cannot be set on
    /// Linux.)
    /// \return As sendSignalToProcess.
    static bool sendKillToProcess(std::int64_t processId);

private:
    OSSignalManager();
    ~OSSignalManager();

    /// Calls every registered handler, in order, when the manager is installed
    /// and `id` is in its mask; false otherwise. Signal context.
    bool handler(OSSignalId id);

    /// The library's handler of C signals: gives the signal to `handler`, or
    /// passes it on to the handler that was there before. Signal context.
    static void cSignalHandler(int signal, void* info, void* context) noexcept;

    mutable std::recursive_mutex m_mutex;
    std::vector<std::unique_ptr<OSSignalHandler>> m_handlers;
    std::optional<unsigned int> m_installedMask;
    /// The C signals whose handler install replaced, with their identifiers;
    /// the platform layer keeps the replaced handlers themselves.
    std::map<int, OSSignalId> m_replacedSignals;
};

/// Registers a handler with the manager for the life of a scope: the
/// constructor registers it, the end of the last copy unregisters and
/// destroys it. Copies share the one registration.
class FILESYSTEM_EXPORT SignalHandlerRegistar {
public:
    /// Registers `handler` (a null handler registers nothing).
    explicit SignalHandlerRegistar(std::unique_ptr<OSSignalHandler> handler);
    /// Unregisters the handler unless another copy still holds it.
    virtual ~SignalHandlerRegistar();
    /// Shares the registration of `other`.
    SignalHandlerRegistar(const SignalHandlerRegistar& other);
    /// Gives up this registration (ending it if it was the last copy) and
    /// shares that of `other`.
    SignalHandlerRegistar& operator=(const SignalHandlerRegistar& other);

    /// The registered handler; null when none was given.
    OSSignalHandler* handler() const noexcept { return m_handler.get(); }

private:
    std::shared_ptr<OSSignalHandler> m_handler; ///< unregisters when the last copy ends
};

} // namespace FileSystem
