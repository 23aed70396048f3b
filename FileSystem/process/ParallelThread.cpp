#include <FileSystem/process/ParallelThread.h>

#include <stdexcept>

namespace FileSystem {

ParallelThread::~ParallelThread() = default;

// ---- Manager ------------------------------------------------------------------

ParallelThreadManager::ParallelThreadManager() : m_trivial(std::make_unique<ParallelThreadTrivial>()) {}
ParallelThreadManager::~ParallelThreadManager() = default;

ParallelThreadManager& ParallelThreadManager::instance() {
    static ParallelThreadManager manager;
    return manager;
}

ParallelThread* ParallelThreadManager::registerThread(std::unique_ptr<ParallelThread>&& thread) {
    ParallelThreadManager& manager = instance();
    if (manager.m_registered)
        throw std::logic_error("Attempting to attach second comm"); // the message of the process manager
    manager.m_registered = std::move(thread);
    return manager.m_registered.get();
}

std::unique_ptr<ParallelThread> ParallelThreadManager::unregisterThread(ParallelThread* thread) {
    ParallelThreadManager& manager = instance();
    if (thread == nullptr || thread != manager.m_registered.get())
        return nullptr;
    return std::move(manager.m_registered);
}

ParallelThread* ParallelThreadManager::getActiveThread() const {
    return m_registered ? m_registered.get() : m_trivial.get();
}

ParallelThreadType ParallelThreadManager::do_getType() const {
    const ParallelThread* active = getActiveThread();
    return active ? active->getType() : ParallelThreadType::None;
}
bool ParallelThreadManager::do_isValid() const {
    const ParallelThread* active = getActiveThread();
    return active && active->isValid();
}
bool ParallelThreadManager::do_setMaxNumberOfThreads(int count) {
    ParallelThread* active = getActiveThread();
    return active && active->setMaxNumberOfThreads(count);
}
int ParallelThreadManager::do_getMaxNumberOfThreads() const {
    const ParallelThread* active = getActiveThread();
    return active ? active->getMaxNumberOfThreads() : 0;
}
int ParallelThreadManager::do_getThreadNumber() const {
    const ParallelThread* active = getActiveThread();
    return active ? active->getThreadNumber() : 0;
}
int ParallelThreadManager::do_getNumberOfThreads() const {
    const ParallelThread* active = getActiveThread();
    return active ? active->getNumberOfThreads() : 0;
}
bool ParallelThreadManager::do_inParallel() const {
    const ParallelThread* active = getActiveThread();
    return active && active->inParallel();
}
std::string ParallelThreadManager::do_getVersionInfo() const {
    const ParallelThread* active = getActiveThread();
    return active ? active->getVersionInfo() : std::string();
}

// ---- Trivial ------------------------------------------------------------------

ParallelThreadType ParallelThreadTrivial::do_getType() const { return ParallelThreadType::Trivial; }
bool ParallelThreadTrivial::do_isValid() const { return true; }
bool ParallelThreadTrivial::do_setMaxNumberOfThreads(int) { return false; }
int ParallelThreadTrivial::do_getMaxNumberOfThreads() const { return 1; }
int ParallelThreadTrivial::do_getThreadNumber() const { return 0; }
int ParallelThreadTrivial::do_getNumberOfThreads() const { return 1; }
bool ParallelThreadTrivial::do_inParallel() const { return false; }
std::string ParallelThreadTrivial::do_getVersionInfo() const { return ""; }

// ---- Guard --------------------------------------------------------------------

ParallelThreadMaxThreadGuard::ParallelThreadMaxThreadGuard()
    : m_previous(ParallelThreadManager::instance().getMaxNumberOfThreads()) {}

ParallelThreadMaxThreadGuard::ParallelThreadMaxThreadGuard(int limit)
    : m_previous(ParallelThreadManager::instance().getMaxNumberOfThreads()) {
    ParallelThreadManager::instance().setMaxNumberOfThreads(limit);
}

ParallelThreadMaxThreadGuard::~ParallelThreadMaxThreadGuard() {
    if (m_previous != 0)
        ParallelThreadManager::instance().setMaxNumberOfThreads(m_previous);
}

} // namespace FileSystem
