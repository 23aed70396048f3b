// Signals: the requests to stop a process, one vocabulary of identifiers, and
// handlers that see them; here the program interrupts itself.
#include <FileSystem/environment/RuntimeEnvironment.h>
#include <FileSystem/runtime/OSSignalManager.h>

#include <atomic>
#include <chrono>
#include <iostream>
#include <thread>

using namespace FileSystem;

namespace {

// What the handler leaves for the program. A handler runs in signal context:
// it may store to lock-free atomics, not allocate, print or lock.
std::atomic<OSSignalId> g_lastSignal{0};
std::atomic<int> g_calls{0};
static_assert(std::atomic<OSSignalId>::is_always_lock_free);

struct CancelRequest : OSSignalHandler {
    void operator()(OSSignalId id) override {
        g_lastSignal = id;
        ++g_calls;
    }
};

// The handler has run `count` times (a signal to oneself arrives at once, but
// another thread of the process may be the one to take it).
bool waitForCalls(int count) {
    for (int i = 0; i < 1000 && g_calls < count; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return g_calls == count;
}

} // namespace

int main() {
    int failures = 0;
    const auto expect = [&failures](bool ok, const std::string& what) {
        std::cout << (ok ? "  ok: " : "  FAILED: ") << what << "\n";
        failures += !ok;
    };

    // Identifiers, texts and the signals that stand for them here.
    expect(osSignalIdFromString("TERM", 0) == OSSignalIdTerminate && osSignalIdToString(OSSignalIdBreak) == "BREAK",
           "identifiers and texts");
    expect(osSignalIdToCSignal(OSSignalIdInterrupt) == 2 && !osSignalIdToCSignal(OSSignalIdShutdown),
           "\"INT\" is signal 2; \"SHUTDOWN\" has no signal");

    // The cancel signals: KV_TESSEL_CANCELSIGNALS ("TERM;INT", ...), else "INT" and "BREAK".
    const unsigned int mask = defaultCancelSignalMask();
    std::cout << "  cancel signals: " << mask << "\n";

    OSSignalManager& manager = OSSignalManager::instance();
    manager.install(OSSignalIdInterrupt | OSSignalIdTerminate);
    expect(manager.isInstalled(), "handlers installed for INT and TERM");
    {
        // Registered for this scope only.
        const SignalHandlerRegistar registration(std::make_unique<CancelRequest>());
        const std::int64_t self = getApplicationPid();
        expect(OSSignalManager::sendSignalToProcess(self, OSSignalIdInterrupt) && waitForCalls(1) &&
                   g_lastSignal == OSSignalIdInterrupt,
               "an interrupt sent to this process reached the handler");
        expect(OSSignalManager::sendSignalToProcess(self, OSSignalIdTerminate) && waitForCalls(2) &&
                   g_lastSignal == OSSignalIdTerminate,
               "so did a request to end, and the program goes on");
    }

    manager.uninstall();
    expect(!manager.isInstalled(), "the previous handlers are back");
    return failures == 0 ? 0 : 1;
}
