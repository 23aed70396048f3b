#pragma once

#include <FileSystem/Export.h>

#include <memory>
#include <string>

namespace FileSystem {

/// The implementations of ParallelThread; the numbers are stable.
enum class ParallelThreadType : int {
    None = 0,    ///< no implementation (what an empty object answers)
    Trivial = 1, ///< ParallelThreadTrivial: a single thread
    OpenMP = 2,  ///< the OpenMP implementation of the companion library FileSystemOpenMP
};

/// The interface of a runtime of parallel threads (OpenMP or a single
/// thread): how many threads a parallel region may use, and where the
/// calling thread stands.
class FILESYSTEM_EXPORT ParallelThread {
public:
    ParallelThread() = default;
    /// Not copyable: an implementation stands for a runtime.
    ///@{
    ParallelThread(const ParallelThread&) = delete;
    ParallelThread& operator=(const ParallelThread&) = delete;
    ///@}
    virtual ~ParallelThread();

    /// The implementation.
    ParallelThreadType getType() const { return do_getType(); }
    /// True when the implementation can work.
    bool isValid() const { return do_isValid(); }
    /// Sets the number of threads that later parallel regions of the calling
    /// thread may use; false when the runtime refuses it (nothing changes).
    bool setMaxNumberOfThreads(int count) { return do_setMaxNumberOfThreads(count); }
    /// The number of threads that a parallel region started now would use.
    int getMaxNumberOfThreads() const { return do_getMaxNumberOfThreads(); }
    /// The calling thread's number in its team, from 0.
    int getThreadNumber() const { return do_getThreadNumber(); }
    /// The number of threads of the calling thread's team (1 outside a parallel region).
    int getNumberOfThreads() const { return do_getNumberOfThreads(); }
    /// True inside an active parallel region.
    bool inParallel() const { return do_inParallel(); }
    /// The runtime's description of its version; "" without a runtime.
    std::string getVersionInfo() const { return do_getVersionInfo(); }

protected:
    /// The operations of an implementation, one for each public operation of
    /// the same name without `do_`.
    ///@{
    virtual ParallelThreadType do_getType() const = 0;
    virtual bool do_isValid() const = 0;
    virtual bool do_setMaxNumberOfThreads(int count) = 0;
    virtual int do_getMaxNumberOfThreads() const = 0;
    virtual int do_getThreadNumber() const = 0;
    virtual int do_getNumberOfThreads() const = 0;
    virtual bool do_inParallel() const = 0;
    virtual std::string do_getVersionInfo() const = 0;
    ///@}
};

/// The process-wide entry to the thread runtime: a ParallelThread that
/// forwards every operation to the registered implementation, or to the
/// trivial one while none is registered. Another library registers its
/// implementation through a class derived from this one (an installer).
class FILESYSTEM_EXPORT ParallelThreadManager : public ParallelThread {
public:
    /// The manager, made with its trivial implementation on first use (thread-safe).
    static ParallelThreadManager& instance();

    ~ParallelThreadManager() override;

protected:
    /// Makes `thread` the active implementation and returns it; raises
    /// std::logic_error "Attempting to attach second comm" when one is
    /// registered already.
    static ParallelThread* registerThread(std::unique_ptr<ParallelThread>&& thread);
    /// Gives the registered implementation `thread` back, and the trivial one
    /// is active again; empty when `thread` is not the registered one.
    static std::unique_ptr<ParallelThread> unregisterThread(ParallelThread* thread);

    /// Forward to the active implementation.
    ///@{
    ParallelThreadType do_getType() const override;
    bool do_isValid() const override;
    bool do_setMaxNumberOfThreads(int count) override;
    int do_getMaxNumberOfThreads() const override;
    int do_getThreadNumber() const override;
    int do_getNumberOfThreads() const override;
    bool do_inParallel() const override;
    std::string do_getVersionInfo() const override;
    ///@}

private:
    ParallelThreadManager();

    ParallelThread* getActiveThread() const;

    std::unique_ptr<ParallelThread> m_registered;
    std::unique_ptr<ParallelThread> m_trivial;
};

/// The implementation for a single thread, active until another one is
/// registered: one thread, number 0, never in parallel, and the maximum
/// stays 1.
class FILESYSTEM_EXPORT ParallelThreadTrivial : public ParallelThread {
protected:
    /// The answers of a single thread.
    ///@{
    ParallelThreadType do_getType() const override;
    bool do_isValid() const override;
    bool do_setMaxNumberOfThreads(int count) override;
    int do_getMaxNumberOfThreads() const override;
    int do_getThreadNumber() const override;
    int do_getNumberOfThreads() const override;
    bool do_inParallel() const override;
    std::string do_getVersionInfo() const override;
    ///@}
};

/// Limits the threads of ParallelThreadManager for a scope: the maximum of
/// the start is set back at the end (unless it was 0, which no runtime takes).
class FILESYSTEM_EXPORT ParallelThreadMaxThreadGuard {
public:
    /// Keeps the present maximum and changes nothing.
    ParallelThreadMaxThreadGuard();
    /// Keeps the present maximum, then sets `limit`.
    explicit ParallelThreadMaxThreadGuard(int limit);
    /// Sets the kept maximum back when it is not 0.
    virtual ~ParallelThreadMaxThreadGuard();
    /// Not copyable: one guard, one restore.
    ///@{
    ParallelThreadMaxThreadGuard(const ParallelThreadMaxThreadGuard&) = delete;
    ParallelThreadMaxThreadGuard& operator=(const ParallelThreadMaxThreadGuard&) = delete;
    ///@}

private:
    int m_previous;
};

} // namespace FileSystem
