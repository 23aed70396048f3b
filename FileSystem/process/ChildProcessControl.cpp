#include <FileSystem/process/ChildProcessControl.h>

#include <FileSystem/environment/EnvironmentVariableModel.h>
#include <FileSystem/platform/ChildWatch.h>

#include <mutex>

namespace FileSystem {

namespace {

constexpr const char* kSwitchOff = "TESSELRM_NO_AUTO_SUBPROCESS_TERMINATE";

std::mutex& registrationMutex() {
    static std::mutex mutex;
    return mutex;
}

} // namespace

bool clientProcessDestroysOnTerminate(void* process) {
    return clientProcessDestroysOnTerminate(static_cast<std::int64_t>(reinterpret_cast<std::intptr_t>(process)));
}

bool clientProcessDestroysOnTerminate(std::int64_t processId) {
    if (processId <= 0)
        return false;
    // One registration at a time: the first starts the watcher, and each
    // waits for the watcher's answer to its own request.
    const std::lock_guard<std::mutex> lock(registrationMutex());
    // A watcher that somebody killed is replaced, once per call; the variable
    // is read again then, as no watcher exists.
    for (int attempt = 0; attempt < 2; ++attempt) {
        if (!sys::childWatcherRunning()) {
            if (SystemEnvironmentVariables::instance().hasEnvironmentVariable(kSwitchOff))
                return false;
            if (!sys::startChildWatcher())
                return false;
        }
        const sys::ChildWatchResult result = sys::watchChild(processId);
        if (result != sys::ChildWatchResult::WatcherGone)
            return result == sys::ChildWatchResult::Registered;
    }
    return false;
}

} // namespace FileSystem
