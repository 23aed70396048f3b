#pragma once

// Timers on the steady clock, in nanoseconds, for the section profiler and
// for code that measures its own operations.

#include <FileSystem/Export.h>

#include <atomic>
#include <cstdint>

namespace Profiling {

/// A timer of operations on the steady clock (monotonic, nanoseconds; on Linux
/// `CLOCK_MONOTONIC`, which counts from the boot of the machine).
class FILESYSTEM_EXPORT OpTimerBase {
public:
    virtual ~OpTimerBase();
    /// Starts measuring again from now.
    virtual void restart() = 0;
    /// Stops measuring: stamps the end of what was measured.
    virtual void stop() = 0;
    /// Seconds measured so far.
    virtual double seconds() const = 0;

    /// Now on the steady clock, in nanoseconds.
    static std::int64_t now() noexcept;
};

/// A timer of one interval: a start and an end instant, and a mark that tells
/// whether the end has been stamped.
class FILESYSTEM_EXPORT OpTimer : public OpTimerBase {
public:
    /// A timer that starts now and has not ended.
    OpTimer() noexcept;
    /// A timer that ran from `startNanoseconds` to `endNanoseconds` (steady
    /// clock instants) and has ended.
    OpTimer(std::int64_t startNanoseconds, std::int64_t endNanoseconds) noexcept;

    /// The start becomes now and the timer is no longer ended.
    void restart() override;
    /// The end becomes now and the timer is ended.
    void stop() override;
    /// elapsedNanoseconds() in seconds.
    double seconds() const override;

    /// The start instant in nanoseconds.
    std::int64_t startTime() const noexcept { return m_start; }
    /// The end instant in nanoseconds; meaningful only when isEnded().
    std::int64_t endTime() const noexcept { return m_end; }
    /// True once stop() has stamped the end (and no restart() came after it).
    bool isEnded() const noexcept { return m_ended; }
    /// End minus start; up to now while the timer has not ended.
    std::int64_t elapsedNanoseconds() const noexcept;

private:
    std::int64_t m_start;
    std::int64_t m_end;
    bool m_ended;
};

/// A timer that adds up laps, for work done in parallel: the thread that owns
/// it measures laps with restart() and stop(), and any thread may add a lap
/// that it measured itself with addLap(), at the same time as the others.
/// seconds() is the sum of the finished laps.
class FILESYSTEM_EXPORT OpTimerParallelLap : public OpTimerBase {
public:
    /// A timer with no laps whose first lap starts now.
    OpTimerParallelLap() noexcept;

    /// Starts a lap now (a lap that was running is dropped).
    void restart() override;
    /// Ends the running lap and adds it; nothing when no lap runs.
    void stop() override;
    /// The finished laps together, in seconds.
    double seconds() const override;

    /// Adds a lap of `nanoseconds` (negative counts as 0). Thread-safe.
    void addLap(std::int64_t nanoseconds) noexcept;
    /// The number of finished laps.
    std::uint64_t laps() const noexcept { return m_laps.load(std::memory_order_relaxed); }
    /// The finished laps together, in nanoseconds.
    std::int64_t totalNanoseconds() const noexcept { return m_total.load(std::memory_order_relaxed); }

private:
    std::atomic<std::int64_t> m_lapStart;
    std::atomic<bool> m_running{true};
    std::atomic<std::int64_t> m_total{0};
    std::atomic<std::uint64_t> m_laps{0};
};

} // namespace Profiling
