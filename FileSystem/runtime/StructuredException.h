#pragma once

// Faults of the processor (bad memory accesses, divisions by zero) as C++
// exceptions or as a report before the process ends, chosen once per process
// by the environment and armed per thread; the text of the present call
// stack; and two console helpers.

#include <FileSystem/Export.h>

#include <exception>
#include <string>

/// A fault of the processor, thrown on a thread that called install() under
/// the translating policy. `what()` is a sentence for the user followed by a
/// mark of the kind of fault; this class is the fault of no known kind
/// ("[Unspecified Structured Exception]").
///
/// **Policy.** Read once per process, at the first call of policy() or
/// install(), from the environment; later changes of the variables are not
/// seen:
///
/// | Environment | Policy | What install() arms on the calling thread |
/// |---|---|---|
/// | `KV_TESSEL_DISABLE_STRUCTURED_EXCEPTIONS` is exactly "REPORTFAULT" | ReportFault | a fault writes "fault - ", the application's name and the call stack to standard error and ends the process by its signal; a pure virtual call aborts |
/// | `KV_TESSEL_DISABLE_STRUCTURED_EXCEPTIONS` has any other value | Translate | a fault throws one of these classes; a pure virtual call throws pure_virtual_exception |
/// | only `KV_TESSEL_REPORT_STRUCTURED_EXCEPTIONS` is there | Report | nothing |
/// | neither | None | nothing |
///
/// (The variable with DISABLE in its name switches translation on; that is
/// its established meaning.)
///
/// **On Linux** the faults are the signals `SIGSEGV` and `SIGBUS`
/// (access_violation), `SIGFPE` for an integer or floating division by zero
/// (divide_by_zero) and `SIGILL` and the other `SIGFPE` codes
/// (structured_exception). The handlers, put in place at the first install()
/// under a policy that arms anything, serve the whole process, but act only
/// on the threads that called install(): on any other thread, and for the
/// same signals sent by a process (`kill`, `raise`), the handler that was there
/// before runs, or the default action happens. Breakpoints (`SIGTRAP`) are
/// never translated; execute_handler has no fault that stands for it and is
/// never thrown by the translation.
///
/// The exception is thrown out of the signal handler into the faulting code.
/// For it to reach a `catch`, every function between the fault and the
/// `catch` must be compiled with `-fnon-call-exceptions`, as this library is;
/// otherwise the program ends with `std::terminate`, and the optimiser may even
/// drop a faulting read whose result is not used. clang accepts the flag but
/// takes a function without calls for one that cannot throw, so a fault in
/// such a function compiled by clang ends in `std::terminate` as well. Code
/// that has faulted may have left its data half-changed: catch these
/// exceptions to save what can be saved and to end, not to go on as before. A
/// stack overflow cannot be translated (there is no stack left to run the
/// handler) and ends the process by `SIGSEGV`.
///
/// Under ReportFault the report runs on an alternate signal stack of the
/// thread, so that a stack overflow is reported too. Resolving the stack to
/// names reads files and allocates memory, which a fault inside the memory
/// allocator may prevent; a second fault during the report ends the process
/// at once by its signal. Either way the process ends by the fault's signal
/// with its default action, so that the system's crash handling (a core dump)
/// sees the original fault.
class FILESYSTEM_EXPORT structured_exception : public std::exception {
public:
    /// What install() does; the values are the ones of the policy table.
    enum class Policy : int {
        None = 1,        ///< nothing is armed
        ReportFault = 2, ///< faults are reported and end the process
        Report = 3,      ///< nothing is armed (reporting is left to the system)
        Translate = 4,   ///< faults become exceptions
    };

    /// A fault at `address` (the instruction that faulted; null when unknown).
    explicit structured_exception(const void* address = nullptr) noexcept : m_address(address) {}

    /// The sentence for the user and "[Unspecified Structured Exception]".
    const char* what() const noexcept override;

    /// The address of the instruction that faulted; null when unknown.
    const void* address() const noexcept { return m_address; }

    /// The policy of this process, read from the environment at the first call.
    static Policy policy();

    /// Arms the policy on the calling thread (see the class). Calling it again
    /// changes nothing.
    static void install();

    /// Disarms the calling thread: its faults and pure virtual calls behave
    /// again as without the library.
    static void uninstall();

private:
    const void* m_address;
};

/// An access to memory that is not there or not allowed (`SIGSEGV`, `SIGBUS`).
class FILESYSTEM_EXPORT access_violation : public structured_exception {
public:
    using structured_exception::structured_exception;
    /// The sentence for the user and "[Access Violation]".
    const char* what() const noexcept override;
};

/// An integer or floating-point division by zero (`SIGFPE`).
class FILESYSTEM_EXPORT divide_by_zero : public structured_exception {
public:
    using structured_exception::structured_exception;
    /// The sentence for the user and "[Divide by zero error]".
    const char* what() const noexcept override;
};

/// A failure to load a library on demand; no fault on Linux stands for it.
class FILESYSTEM_EXPORT execute_handler : public structured_exception {
public:
    using structured_exception::structured_exception;
    /// The sentence for the user and "[DLL load failed]".
    const char* what() const noexcept override;
};

/// A call of a pure virtual function (from a constructor or destructor of an
/// abstract class), thrown on a thread armed under the translating policy.
///
/// On Linux the library provides the C++ runtime's `__cxa_pure_virtual` for
/// the whole process; on a thread that is not armed it does what the
/// runtime's own does: it writes "pure virtual method called" to standard
/// error and calls `std::terminate`. A call from a destructor cannot throw
/// (destructors are `noexcept`) and ends with `std::terminate` as well.
class FILESYSTEM_EXPORT pure_virtual_exception : public std::exception {
public:
    /// The sentence for the user and "[Pure Virtual Function Exception]".
    const char* what() const noexcept override;
};

namespace FileSystem {

/// The calling thread's stack, one line per frame starting with the caller
/// of this function: "#N ADDRESS in FUNCTION at FILE:LINE (MODULE)", with
/// the parts that are not known left out. Names and lines come from the
/// binaries' symbol tables and their debugging information (build with `-g`
/// for files and lines); a function that the compiler inlined shows as the
/// function it was inlined into.
FILESYSTEM_EXPORT std::string stacktrace();

/// Makes the console print UTF-8. Does nothing on Linux, where terminals
/// take UTF-8 as they are.
FILESYSTEM_EXPORT void configureConsoleForUTF8();

/// Gives a windowed program a console for its standard streams: the one of
/// its parent (`attachToParent`) or a new one, when `show` is true or the
/// environment variable `KV_TESSELRMSHOWCONSOLE` asks for it; standard error
/// goes there too with `includeStandardError`. Does nothing on Linux, where a
/// program's standard streams are those it was started with and a console
/// cannot be attached afterwards.
FILESYSTEM_EXPORT void showConsole(bool show, bool attachToParent, bool includeStandardError);

} // namespace FileSystem
