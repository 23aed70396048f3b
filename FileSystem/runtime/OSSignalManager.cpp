#include <FileSystem/runtime/OSSignalManager.h>

#include <FileSystem/environment/EnvironmentVariableModel.h>
#include <FileSystem/platform/Signals.h>

#include <algorithm>
#include <climits>
#include <iostream>
#include <utility>

namespace FileSystem {

namespace {

struct SignalText {
    OSSignalId id;
    const char* text;
};

constexpr SignalText kTexts[] = {
    {OSSignalIdInterrupt, "INT"},  {OSSignalIdTerminate, "TERM"}, {OSSignalIdKill, "KILL"},
    {OSSignalIdBreak, "BREAK"},    {OSSignalIdLogoff, "LOGOFF"},  {OSSignalIdShutdown, "SHUTDOWN"},
};

unsigned int readCancelSignalMask() {
    const std::optional<std::string> value =
        SystemEnvironmentVariables::instance().getOptionalVersionedEnvironmentVariable("KV_TESSEL_CANCELSIGNALS");
    if (!value || value->empty())
        return OSSignalIdInterrupt | OSSignalIdBreak;
    unsigned int mask = 0;
    std::size_t start = 0;
    while (start <= value->size()) {
        const std::size_t end = std::min(value->find_first_of(",;|", start), value->size());
        mask |= osSignalIdFromString(value->substr(start, end - start), 0);
        start = end + 1;
    }
    return mask;
}

} // namespace

unsigned int defaultCancelSignalMask() {
    static const unsigned int mask = readCancelSignalMask();
    return mask;
}

std::optional<unsigned int> osSignalIdToCntrlEvent(OSSignalId id) {
    for (const sys::ConsoleEventEntry& entry : sys::consoleEventTable())
        if (entry.identifier == id)
            return entry.native;
    return std::nullopt;
}

OSSignalId osSignalIdFromCntrlEvent(unsigned int event) {
    for (const sys::ConsoleEventEntry& entry : sys::consoleEventTable())
        if (entry.native == event)
            return entry.identifier;
    return 0;
}

std::optional<int> osSignalIdToCSignal(OSSignalId id) {
    for (const sys::CSignalEntry& entry : sys::cSignalTable())
        if (entry.identifier == id)
            return entry.native;
    return std::nullopt;
}

OSSignalId osSignalIdFromCSignal(int signal) {
    for (const sys::CSignalEntry& entry : sys::cSignalTable())
        if (entry.native == signal)
            return entry.identifier;
    return 0;
}

OSSignalId osSignalIdFromString(const std::string& text, OSSignalId fallback) {
    for (const SignalText& entry : kTexts)
        if (text == entry.text)
            return entry.id;
    return fallback;
}

std::string osSignalIdToString(OSSignalId id) {
    for (const SignalText& entry : kTexts)
        if (entry.id == id)
            return entry.text;
    return {};
}

// ---- OSSignalManager ----------------------------------------------------------

OSSignalManager::OSSignalManager() = default;
OSSignalManager::~OSSignalManager() = default;

OSSignalManager& OSSignalManager::instance() {
    // Never destroyed: a signal that arrives while static objects are
    // destroyed at the end of the process still finds the manager.
    static OSSignalManager* const manager = new OSSignalManager;
    return *manager;
}

void OSSignalManager::install(bool useDefaultMask) { install(useDefaultMask ? defaultCancelSignalMask() : 0xFFFFFFFFu); }

void OSSignalManager::install(unsigned int mask) {
    // The handler reads what is changed here; it must not interrupt this
    // thread halfway (it would take the recursive mutex as its own).
    const sys::BlockedSignals blocked;
    const std::lock_guard<std::recursive_mutex> lock(m_mutex);
    if (m_installedMask)
        return;
    m_installedMask = mask;
    for (const sys::CSignalEntry& entry : sys::cSignalTable()) {
        if (!entry.canBeHandled || (entry.identifier & mask) != entry.identifier)
            continue;
        if (sys::installSignalHandler(entry.native, &OSSignalManager::cSignalHandler))
            m_replacedSignals[entry.native] = entry.identifier;
        else
            std::cerr << "Failed to install signal handler for SignalID : " << entry.identifier << std::endl;
    }
}

void OSSignalManager::uninstall() {
    const sys::BlockedSignals blocked;
    const std::lock_guard<std::recursive_mutex> lock(m_mutex);
    for (const auto& [native, identifier] : m_replacedSignals)
        if (!sys::restoreSignalHandler(native))
            std::cerr << "Failed to uninstall signal handler for SignalID : " << identifier << std::endl;
    m_replacedSignals.clear();
    m_installedMask.reset();
}

bool OSSignalManager::isInstalled() const {
    // Blocked even for reading: a signal inside pthread_mutex_lock, before the
    // mutex knows its owner, would wait for its own thread.
    const sys::BlockedSignals blocked;
    const std::lock_guard<std::recursive_mutex> lock(m_mutex);
    return m_installedMask.has_value();
}

OSSignalHandler* OSSignalManager::registerSignalHandler(std::unique_ptr<OSSignalHandler> handler) {
    if (!handler)
        return nullptr;
    const sys::BlockedSignals blocked;
    const std::lock_guard<std::recursive_mutex> lock(m_mutex);
    m_handlers.push_back(std::move(handler));
    return m_handlers.back().get();
}

std::unique_ptr<OSSignalHandler> OSSignalManager::unregisterSignalHandler(OSSignalHandler* handler) {
    if (handler == nullptr)
        return nullptr;
    const sys::BlockedSignals blocked;
    const std::lock_guard<std::recursive_mutex> lock(m_mutex);
    const auto found = std::find_if(m_handlers.begin(), m_handlers.end(),
                                    [handler](const std::unique_ptr<OSSignalHandler>& kept) { return kept.get() == handler; });
    if (found == m_handlers.end())
        return nullptr;
    std::unique_ptr<OSSignalHandler> taken = std::move(*found);
    m_handlers.erase(found);
    return taken;
}

bool OSSignalManager::unregisterSignalHandlerFunctor(OSSignalHandler* handler) {
    return unregisterSignalHandler(handler) != nullptr;
}

bool OSSignalManager::handler(OSSignalId id) {
    const std::lock_guard<std::recursive_mutex> lock(m_mutex);
    if (!m_installedMask || (*m_installedMask & id) != id)
        return false;
    // By index, and the size read again: a handler may register another one
    // (the mutex is recursive), which can move the vector's elements.
    for (std::size_t i = 0; i < m_handlers.size(); ++i) {
        try {
            (*m_handlers[i])(id);
        } catch (...) {
            // The next handler runs all the same.
        }
    }
    return true;
}

void OSSignalManager::cSignalHandler(int signal, void* info, void* context) noexcept {
    try {
        OSSignalManager& self = instance();
        const std::lock_guard<std::recursive_mutex> lock(self.m_mutex);
        const auto replaced = self.m_replacedSignals.find(signal);
        if (replaced != self.m_replacedSignals.end() && self.handler(replaced->second))
            return;
        // Declined: the signal arrived while uninstall ran. The previous
        // handler is called under the mutex, so that no install replaces it
        // meanwhile.
        sys::callPreviousSignalHandler(signal, info, context);
    } catch (...) {
        // Only the mutex can throw here; the signal is then lost.
    }
}

bool OSSignalManager::sendSignalToProcess(std::int64_t processId, OSSignalId id) {
    for (const sys::CSignalEntry& entry : sys::cSignalTable())
        if (entry.identifier == id)
            return sys::sendSignal(processId, entry.native);
    return false;
}

bool OSSignalManager::sendNativeSignalToProcess(std::int64_t processId, unsigned int signal) {
    if (signal > static_cast<unsigned int>(INT_MAX))
        return false;
    return sys::sendSignal(processId, static_cast<int>(signal));
}

bool OSSignalManager::sendInterruptToProcess(std::int64_t processId) {
    return sendSignalToProcess(processId, OSSignalIdBreak);
}

bool OSSignalManager::sendKillToProcess(std::int64_t processId) {
    return sendSignalToProcess(processId, OSSignalIdKill);
}

// ---- SignalHandlerRegistar ------------------------------------------------------

SignalHandlerRegistar::SignalHandlerRegistar(std::unique_ptr<OSSignalHandler> handler) {
    OSSignalHandler* const registered = OSSignalManager::instance().registerSignalHandler(std::move(handler));
    if (registered != nullptr)
        m_handler = std::shared_ptr<OSSignalHandler>(registered, [](OSSignalHandler* kept) {
            OSSignalManager::instance().unregisterSignalHandlerFunctor(kept);
        });
}

SignalHandlerRegistar::~SignalHandlerRegistar() = default;
SignalHandlerRegistar::SignalHandlerRegistar(const SignalHandlerRegistar& other) = default;
SignalHandlerRegistar& SignalHandlerRegistar::operator=(const SignalHandlerRegistar& other) = default;

} // namespace FileSystem
