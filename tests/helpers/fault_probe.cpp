// A process that faults on purpose, under the fault policy that its
// environment selects, and says on standard output what it saw. Standard
// error goes to standard output as well, so that a fault report is read too.
//
//   fault_probe null|divide  arms the main thread, then faults twice (a read
//       through a null pointer, an integer division by zero), printing
//       "caught <class> <what()>" for each translated fault; "armed" first.
//   fault_probe thread       arms the main thread, then reads through a null
//       pointer on a second thread that is not armed.
//   fault_probe guard        a second thread with a SafeThreadGuard named
//       "faulty worker" reads through a null pointer, then prints its name.
//   fault_probe overflow     arms the main thread, then overflows the stack.
//   fault_probe pure         arms the main thread, then calls a pure virtual
//       function from a constructor.
//   fault_probe late         prints "policy N", sets the translating variable,
//       prints the policy again, then arms and reads through a null pointer.
//
// Built with -fnon-call-exceptions, as code that catches translated faults
// must be. The faulting functions are not instrumented by the sanitizers, so
// that the processor, not a sanitizer's check, meets the fault.

#include <FileSystem/environment/EnvironmentVariableModel.h>
#include <FileSystem/environment/RuntimeEnvironment.h>
#include <FileSystem/runtime/StructuredException.h>
#include <FileSystem/runtime/ThreadNames.h>

#include <cstdio>
#include <string>
#include <sys/resource.h>
#include <thread>
#include <unistd.h>

namespace {

int* volatile g_null = nullptr;
volatile int g_zero = 0;
volatile bool g_deeper = true;
// Results go here: the compiler may drop a faulting instruction whose result
// is not used (-fdelete-dead-exceptions, on by default for C++).
volatile int g_sink = 0;

#define FS_PROBE_FAULTS __attribute__((noinline, no_sanitize("address", "undefined")))

FS_PROBE_FAULTS int readThroughNull() { return *g_null; }

FS_PROBE_FAULTS int divideByZero(int dividend) { return dividend / g_zero; }

// Each level keeps a buffer on the stack and uses it after the call, so the
// recursion can be neither folded into a loop nor cut short.
FS_PROBE_FAULTS int recurseForever(int depth) {
    volatile char buffer[512];
    buffer[0] = static_cast<char>(depth);
    return g_deeper ? recurseForever(depth + 1) + buffer[0] : buffer[0];
}

} // namespace

// Outside the anonymous namespace: there the compiler knows every class
// derived from Shape and calls Square::area in the constructor directly.
struct Shape {
    __attribute__((noinline)) Shape() { describe(); }
    virtual ~Shape() = default;
    // Through a pointer that the compiler cannot see through, so that it does
    // not resolve the call itself.
    __attribute__((noinline)) void describe() const {
        const Shape* volatile self = this;
        g_sink = self->area();
    }
    virtual int area() const = 0;
};

struct Square : Shape {
    int area() const override { return 4; }
};

namespace {

void say(const std::string& line) {
    const std::string text = line + "\n";
    if (::write(1, text.data(), text.size()) < 0)
        _exit(3);
}

template <class Fault>
void faultAndCatch(Fault fault) {
    try {
        g_sink = fault();
        say("not caught");
    } catch (const access_violation& caught) {
        say(std::string("caught access_violation ") + caught.what() + (caught.address() ? "" : " (no address)"));
    } catch (const divide_by_zero& caught) {
        say(std::string("caught divide_by_zero ") + caught.what() + (caught.address() ? "" : " (no address)"));
    } catch (const structured_exception& caught) {
        say(std::string("caught structured_exception ") + caught.what());
    }
}

} // namespace

int main(int argc, char** argv) {
    ::dup2(1, 2);
    const rlimit noCore{0, 0}; // the faults that end the probe leave no core file
    ::setrlimit(RLIMIT_CORE, &noCore);
    FileSystem::initApplicationArguments(argc, argv);
    const std::string mode = argc > 1 ? argv[1] : "";
    if (mode == "late") {
        say("policy " + std::to_string(static_cast<int>(structured_exception::policy())));
        FileSystem::SystemEnvironmentVariables::instance().setEnvironmentVariable(
            "KV_TESSEL_DISABLE_STRUCTURED_EXCEPTIONS", "1");
        say("policy " + std::to_string(static_cast<int>(structured_exception::policy())));
        structured_exception::install();
        faultAndCatch(readThroughNull);
        return 0;
    }
    structured_exception::install();
    say("armed");
    if (mode == "null" || mode == "divide") {
        for (int round = 0; round < 2; ++round)
            faultAndCatch([round, &mode] { return mode == "null" ? readThroughNull() : divideByZero(round); });
        return 0;
    }
    if (mode == "thread") {
        std::thread([] { faultAndCatch(readThroughNull); }).join();
        say("survived");
        return 0;
    }
    if (mode == "guard") {
        std::thread([] {
            const FileSystem::SafeThreadGuard guard("faulty worker");
            faultAndCatch(readThroughNull);
            say("name " + FileSystem::getCurrentThreadName());
        }).join();
        return 0;
    }
    if (mode == "overflow") {
        faultAndCatch([] { return recurseForever(0); });
        return 0;
    }
    if (mode == "pure") {
        try {
            Square square;
            say("not caught");
        } catch (const pure_virtual_exception& caught) {
            say(std::string("caught pure_virtual_exception ") + caught.what());
        }
        return 0;
    }
    std::fprintf(stderr, "usage: fault_probe null|divide|thread|guard|overflow|pure|late\n");
    return 2;
}
