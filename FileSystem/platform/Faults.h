#pragma once

// Faults of the processor (bad memory access, division by zero, illegal
// instruction) on the threads that ask for it: translated into a call that
// throws, or reported before the process ends. Also the capture of the call
// stack and its resolution to function names, files and lines, and the hook
// for calls of pure virtual functions.

#include <cstddef>
#include <span>
#include <string>
#include <vector>

namespace FileSystem::sys {

/// What kind of fault the processor raised.
enum class FaultKind {
    AccessViolation,    ///< an access to memory that is not there or not allowed
    DivideByZero,       ///< an integer or floating-point division by zero
    IllegalInstruction, ///< an instruction the processor refuses
    Other,              ///< any other arithmetic or processor fault
};

/// One fault as the handler saw it.
struct FaultRecord {
    FaultKind kind = FaultKind::Other;
    int signal = 0;               ///< the system's signal number
    const void* address = nullptr; ///< the address of the fault (memory faults: the address accessed; others: the instruction)
    const void* instruction = nullptr; ///< the instruction that faulted; null when unknown
};

/// What a thread that faults wants done.
enum class FaultMode {
    None,      ///< as without the library: the handler that was there before, or the default action
    Translate, ///< call the translator, which throws out of the faulting code
    Report,    ///< call the reporter, then end the process by the fault's own signal
};

/// Called in the handler on a thread in Translate mode; it should throw. The
/// mask of blocked signals is the interrupted code's again when it runs, so the
/// next fault is delivered as well. If it returns, the fault goes on as in
/// None mode.
using FaultTranslator = void (*)(const FaultRecord& record);

/// Called in the handler on a thread in Report mode, on the thread's alternate
/// signal stack (so that a stack overflow is reported too). After it returns
/// the process ends by the fault's signal with its default action.
using FaultReporter = void (*)(const FaultRecord& record) noexcept;

/// Puts the handlers for the fault signals in place for the whole process,
/// once; later calls only replace the two functions. The handlers that were
/// there before are kept: a thread in None mode passes its faults on to them.
/// False when the system refused a handler.
bool installFaultHandlers(FaultTranslator translator, FaultReporter reporter);

/// Sets what a fault on the calling thread does. Report mode gives the thread
/// an alternate signal stack (freed when the mode changes or the thread ends).
void setThreadFaultMode(FaultMode mode);

/// The calling thread's mode.
FaultMode threadFaultMode() noexcept;

/// Writes the whole text to standard error with the system's write call,
/// which is safe in a signal handler. Errors are ignored.
void writeStandardError(const char* text, std::size_t size) noexcept;

/// Fills `frames` with the return addresses of the calling thread's stack,
/// innermost first, and returns how many it wrote; the result equals the size
/// when the stack may be deeper.
std::size_t captureStack(std::span<void*> frames) noexcept;

/// One line of text for each frame: its address, function, source file and
/// line as far as the binaries' symbol tables and debugging information tell.
/// The addresses are return addresses (the call before each is looked up),
/// except the first when `firstIsExact` (the instruction that faulted).
std::vector<std::string> describeStack(std::span<void* const> frames, bool firstIsExact);

/// Called when a pure virtual function is called on the calling thread.
using PureCallHandler = void (*)();

/// Sets the calling thread's handler for calls of pure virtual functions;
/// null gives the runtime's own behaviour back (a message and
/// std::terminate). A handler must not return.
void setThreadPureCallHandler(PureCallHandler handler) noexcept;

} // namespace FileSystem::sys
