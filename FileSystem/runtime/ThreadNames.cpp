#include <FileSystem/runtime/ThreadNames.h>

#include <FileSystem/platform/Threads.h>
#include <FileSystem/runtime/StructuredException.h>

#include <algorithm>

namespace FileSystem {

std::string getCurrentThreadName() { return sys::currentThreadName().value_or(std::string()); }

bool setCurrentThreadName(const std::string& name) {
    std::size_t size = std::min(name.find('\0'), name.size());
    const std::size_t limit = sys::maxThreadNameLength();
    if (size > limit) {
        // Back to the first byte of the character that does not fit whole.
        size = limit;
        while (size > 0 && (static_cast<unsigned char>(name[size]) & 0xC0) == 0x80)
            --size;
    }
    return sys::setCurrentThreadName(name.substr(0, size));
}

ThreadNameGuard::ThreadNameGuard() : m_threadId(sys::osThreadId()), m_previousName(getCurrentThreadName()) {}

ThreadNameGuard::ThreadNameGuard(const std::string& name) : ThreadNameGuard() { setCurrentThreadName(name); }

ThreadNameGuard::~ThreadNameGuard() {
    try {
        if (isCurrentThreadMyThread())
            setCurrentThreadName(m_previousName);
    } catch (...) {
    }
}

bool ThreadNameGuard::isCurrentThreadMyThread() const { return sys::osThreadId() == m_threadId; }

void ThreadNameGuard::rename(const std::string& name) { setCurrentThreadName(name); }

SafeThreadGuard::SafeThreadGuard() { install(); }

SafeThreadGuard::SafeThreadGuard(const std::string& name) : ThreadNameGuard(name) { install(); }

void SafeThreadGuard::install() { structured_exception::install(); }

void SafeThreadGuard::install(const std::string& name) {
    setCurrentThreadName(name);
    install();
}

void SafeThreadGuard::uninstall() {}

} // namespace FileSystem
