#include <FileSystem/storage/HandleObjectCore.h>

#include <system_error>
#include <utility>

namespace FileSystem {

namespace {

// Locks a recursive mutex, telling the two ways it can fail apart: the lock
// call itself failing, and the recursion count running out.
std::unique_lock<std::recursive_mutex> lockOf(std::recursive_mutex& mutex) {
    std::unique_lock<std::recursive_mutex> lock(mutex, std::defer_lock);
    try {
        lock.lock();
    } catch (const std::system_error& error) {
        if (error.code() == std::errc::resource_unavailable_try_again)
            throw;
        throw std::system_error(std::make_error_code(std::errc::resource_deadlock_would_occur), error.what());
    }
    return lock;
}

} // namespace

// ---- HandleObjectCore --------------------------------------------------------------

HandleObjectCore::HandleObjectCore(HandleObjectCoreComposite* parent) : m_parent(parent) {}

HandleObjectCore::~HandleObjectCore() {
    try {
        invalidate();
    } catch (...) {
    }
}

void HandleObjectCore::invalidate() {
    const auto lock = lockOf(m_lock);
    do_invalidate();
}

void HandleObjectCore::deleteMe() {
    if (m_parent != nullptr)
        m_parent->removeChild(this);
    invalidate();
}

std::unique_ptr<std::unique_lock<std::recursive_mutex>> HandleObjectCore::getLock() const {
    return std::make_unique<std::unique_lock<std::recursive_mutex>>(lockOf(m_lock));
}

void HandleObjectCore::do_checkFatalError() {
    if (m_parent != nullptr)
        static_cast<HandleObjectCore*>(m_parent)->do_checkFatalError();
}

void HandleObjectCore::do_invalidate() { m_parent = nullptr; }

bool HandleObjectCore::do_isValid() const {
    return m_parent == nullptr || static_cast<const HandleObjectCore*>(m_parent)->do_isValid();
}

// ---- HandleObjectCoreComposite -------------------------------------------------------

HandleObjectCoreComposite::HandleObjectCoreComposite(HandleObjectCoreComposite* parent)
    : HandleObjectCore(parent) {}

HandleObjectCoreComposite::~HandleObjectCoreComposite() {
    try {
        for (const auto& entry : m_children) {
            if (const auto child = entry.lock()) {
                child->m_parent = nullptr;
                child->invalidate();
            }
        }
    } catch (...) {
    }
}

std::shared_ptr<HandleObjectCore> HandleObjectCoreComposite::addChild(std::unique_ptr<HandleObjectCore>&& child) {
    std::shared_ptr<HandleObjectCore> shared(std::move(child));
    if (shared->m_parent != this)
        return {};
    m_children.push_back(shared);
    return shared;
}

void HandleObjectCoreComposite::removeChild(HandleObjectCore* child) {
    for (auto it = m_children.begin(); it != m_children.end();) {
        const auto live = it->lock();
        if (!live) {
            it = m_children.erase(it);
            continue;
        }
        if (live.get() == child) {
            m_children.erase(it);
            return;
        }
        ++it;
    }
}

void HandleObjectCoreComposite::do_invalidate() {
    for (const auto& entry : m_children)
        if (const auto child = entry.lock())
            child->invalidate();
}

} // namespace FileSystem
