#include <FileSystem/runtime/StructuredException.h>

#include <FileSystem/environment/EnvironmentVariableModel.h>
#include <FileSystem/environment/RuntimeEnvironment.h>
#include <FileSystem/platform/Faults.h>

#include <algorithm>
#include <cstdlib>
#include <vector>

namespace {

#define FS_FAULT_SENTENCE                                                                                             \
    "The software encountered an error and should be closed to avoid data corruption, crashes, or other adverse "      \
    "effects. Please contact support for help to resolve the issue, and include the last steps taken before the "      \
    "error occurred in your support request. "

using Policy = structured_exception::Policy;

Policy readPolicy() {
    const FileSystem::SystemEnvironmentVariables& environment = FileSystem::SystemEnvironmentVariables::instance();
    if (const auto value = environment.getOptionalEnvironmentVariable("KV_TESSEL_DISABLE_STRUCTURED_EXCEPTIONS"))
        return *value == "REPORTFAULT" ? Policy::ReportFault : Policy::Translate;
    if (environment.hasEnvironmentVariable("KV_TESSEL_REPORT_STRUCTURED_EXCEPTIONS"))
        return Policy::Report;
    return Policy::None;
}

// The first line of a fault report. Made when the first thread is armed, so
// that the report itself needs no look-up of the application's name.
const std::string& reportHeader() {
    static const std::string header = "fault - " + FileSystem::getApplicationName() + "\n";
    return header;
}

// The stack, innermost first, in a buffer that grows until it holds all of it.
std::vector<void*> captureWholeStack() {
    std::vector<void*> frames(128);
    for (;;) {
        const std::size_t count = FileSystem::sys::captureStack(frames);
        if (count < frames.size()) {
            frames.resize(count);
            return frames;
        }
        frames.resize(frames.size() == 128 ? 256 : frames.size() * 2);
    }
}

// The text of the frames from `first` outwards (all of them when `first` is not
// among them), one line each.
std::string describeFrom(std::vector<void*> frames, const void* first, bool firstIsExact) {
    const auto start = std::find(frames.begin(), frames.end(), first);
    if (start != frames.end())
        frames.erase(frames.begin(), start);
    else
        firstIsExact = false;
    std::string text;
    for (const std::string& line : FileSystem::sys::describeStack(frames, firstIsExact))
        text += line + "\n";
    return text;
}

void translateFault(const FileSystem::sys::FaultRecord& record) {
    const void* const address = record.instruction != nullptr ? record.instruction : record.address;
    switch (record.kind) {
    case FileSystem::sys::FaultKind::AccessViolation:
        throw access_violation(address);
    case FileSystem::sys::FaultKind::DivideByZero:
        throw divide_by_zero(address);
    default:
        throw structured_exception(address);
    }
}

// Runs in the signal handler; the process ends by the fault's signal after it.
// The header goes out first with one write, so that it is there even when
// resolving the stack fails.
void reportFault(const FileSystem::sys::FaultRecord& record) noexcept {
    const std::string& header = reportHeader();
    FileSystem::sys::writeStandardError(header.data(), header.size());
    try {
        const std::string trace = describeFrom(captureWholeStack(), record.instruction, true);
        FileSystem::sys::writeStandardError(trace.data(), trace.size());
    } catch (...) {
    }
}

void throwPureVirtual() { throw pure_virtual_exception(); }

void abortPureVirtual() { std::abort(); }

} // namespace

const char* structured_exception::what() const noexcept { return FS_FAULT_SENTENCE "[Unspecified Structured Exception]"; }

const char* access_violation::what() const noexcept { return FS_FAULT_SENTENCE "[Access Violation]"; }

const char* divide_by_zero::what() const noexcept { return FS_FAULT_SENTENCE "[Divide by zero error]"; }

const char* execute_handler::what() const noexcept { return FS_FAULT_SENTENCE "[DLL load failed]"; }

const char* pure_virtual_exception::what() const noexcept { return FS_FAULT_SENTENCE "[Pure Virtual Function Exception]"; }

structured_exception::Policy structured_exception::policy() {
    static const Policy cached = readPolicy();
    return cached;
}

void structured_exception::install() {
    using namespace FileSystem::sys;
    switch (policy()) {
    case Policy::ReportFault:
        reportHeader();
        installFaultHandlers(&translateFault, &reportFault);
        setThreadFaultMode(FaultMode::Report);
        setThreadPureCallHandler(&abortPureVirtual);
        break;
    case Policy::Translate:
        installFaultHandlers(&translateFault, &reportFault);
        setThreadFaultMode(FaultMode::Translate);
        setThreadPureCallHandler(&throwPureVirtual);
        break;
    case Policy::Report:
    case Policy::None:
        break;
    }
}

void structured_exception::uninstall() {
    FileSystem::sys::setThreadFaultMode(FileSystem::sys::FaultMode::None);
    FileSystem::sys::setThreadPureCallHandler(nullptr);
}

namespace FileSystem {

std::string stacktrace() {
    // The frames of the capture itself are left out: the text starts where
    // this function returns to.
    return describeFrom(captureWholeStack(), __builtin_return_address(0), false);
}

// Terminals on Linux take UTF-8 as they are.
void configureConsoleForUTF8() {}

// A Linux program's standard streams are those it was started with.
void showConsole(bool, bool, bool) {}

} // namespace FileSystem
