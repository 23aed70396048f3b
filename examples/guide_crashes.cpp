// Crashes: a fault of the processor caught as an exception on an armed worker
// thread, the worker's name, and the text of the call stack.
// Build with -fnon-call-exceptions, so that a fault can unwind to the catch.
#include <FileSystem/environment/EnvironmentVariableModel.h>
#include <FileSystem/runtime/StructuredException.h>
#include <FileSystem/runtime/ThreadNames.h>

#include <iostream>
#include <string>
#include <thread>

using namespace FileSystem;

namespace {

// An address in the first page of memory, which is never mapped.
int* volatile g_wildPointer = reinterpret_cast<int*>(16);

__attribute__((noinline)) int readWildPointer() { return *g_wildPointer; }

} // namespace

int main() {
    int failures = 0;
    const auto expect = [&failures](bool ok, const std::string& what) {
        std::cout << (ok ? "  ok: " : "  FAILED: ") << what << "\n";
        failures += !ok;
    };

    // The policy is read once, at the first look; usually the environment of
    // the application's start sets it. Any value but "REPORTFAULT" translates.
    SystemEnvironmentVariables::instance().setEnvironmentVariable("KV_TESSEL_DISABLE_STRUCTURED_EXCEPTIONS", "1");
    expect(structured_exception::policy() == structured_exception::Policy::Translate, "faults become exceptions");

    std::thread worker([&expect] {
        // Names the thread and arms the policy on it, for the thread's life.
        const SafeThreadGuard guard("solver worker");
        expect(getCurrentThreadName() == "solver worker", "the worker is named \"" + getCurrentThreadName() + "\"");
        try {
            // The value is used: a read whose result is not may be dropped.
            const int value = readWildPointer();
            expect(false, "the bad read was caught, not " + std::to_string(value));
        } catch (const access_violation& fault) {
            expect(fault.address() != nullptr, "the bad read was caught as an access violation");
            std::cout << "  " << fault.what() << "\n";
        }
    });
    worker.join();

    // The call stack, innermost first; here main is the first frame.
    const std::string trace = stacktrace();
    std::cout << "  " << trace.substr(0, trace.find('\n')) << "\n";
    expect(trace.find("main") != std::string::npos, "the stack names main");
    return failures == 0 ? 0 : 1;
}
