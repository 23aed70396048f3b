#pragma once

// Names of threads, for debuggers and crash reports, and scope guards that
// name a thread and arm the fault policy on it.

#include <FileSystem/Export.h>

#include <cstdint>
#include <string>

namespace FileSystem {

/// The calling thread's name (UTF-8); empty when the system does not tell.
FILESYSTEM_EXPORT std::string getCurrentThreadName();

/// Names the calling thread; true when the system took the name. On Linux a
/// name keeps at most 15 bytes: a longer one is cut to that, at the start of
/// a UTF-8 character, and a name is cut at a NUL byte. Only the calling
/// thread's name changes.
FILESYSTEM_EXPORT bool setCurrentThreadName(const std::string& name);

/// Remembers the name of the thread that makes it and puts that name back
/// when it ends on the same thread; optionally names the thread meanwhile.
/// Ended on another thread, it leaves every name alone. Guards nest: each
/// puts back the name that it saw.
class FILESYSTEM_EXPORT ThreadNameGuard {
public:
    /// Remembers the calling thread and its present name.
    ThreadNameGuard();
    /// Remembers the calling thread and its present name, then names it `name`.
    explicit ThreadNameGuard(const std::string& name);
    /// On the creating thread, puts the remembered name back (also an empty
    /// one); elsewhere does nothing. Never throws.
    virtual ~ThreadNameGuard();

    ThreadNameGuard(const ThreadNameGuard&) = delete;
    ThreadNameGuard& operator=(const ThreadNameGuard&) = delete;

    /// True on the thread that made the guard.
    bool isCurrentThreadMyThread() const;

    /// Names the calling thread (setCurrentThreadName, without the result).
    static void rename(const std::string& name);

private:
    std::uint32_t m_threadId;
    std::string m_previousName;
};

/// The scope object of a worker thread: names the thread as ThreadNameGuard
/// does and arms the fault policy of structured_exception on it. Under a
/// policy that arms nothing it only names the thread.
class FILESYSTEM_EXPORT SafeThreadGuard : public ThreadNameGuard {
public:
    /// Remembers the thread's name and arms the policy.
    SafeThreadGuard();
    /// Remembers the thread's name, names it `name` and arms the policy.
    explicit SafeThreadGuard(const std::string& name);

    /// Arms the policy of structured_exception on the calling thread.
    static void install();
    /// Names the calling thread `name`, then arms the policy on it.
    static void install(const std::string& name);
    /// Does nothing, on purpose: the policy stays armed until the thread ends.
    static void uninstall();
};

} // namespace FileSystem
