#include <FileSystem/runtime/OpTimer.h>

#include <chrono>

namespace Profiling {

OpTimerBase::~OpTimerBase() = default;

std::int64_t OpTimerBase::now() noexcept {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

OpTimer::OpTimer() noexcept : m_start(now()), m_end(m_start), m_ended(false) {}

OpTimer::OpTimer(std::int64_t startNanoseconds, std::int64_t endNanoseconds) noexcept
    : m_start(startNanoseconds), m_end(endNanoseconds), m_ended(true) {}

void OpTimer::restart() {
    m_start = now();
    m_end = m_start;
    m_ended = false;
}

void OpTimer::stop() {
    m_end = now();
    m_ended = true;
}

double OpTimer::seconds() const { return static_cast<double>(elapsedNanoseconds()) / 1e9; }

std::int64_t OpTimer::elapsedNanoseconds() const noexcept { return (m_ended ? m_end : now()) - m_start; }

OpTimerParallelLap::OpTimerParallelLap() noexcept : m_lapStart(now()) {}

void OpTimerParallelLap::restart() {
    m_lapStart.store(now(), std::memory_order_relaxed);
    m_running.store(true, std::memory_order_relaxed);
}

void OpTimerParallelLap::stop() {
    if (m_running.exchange(false, std::memory_order_relaxed))
        addLap(now() - m_lapStart.load(std::memory_order_relaxed));
}

double OpTimerParallelLap::seconds() const { return static_cast<double>(totalNanoseconds()) / 1e9; }

void OpTimerParallelLap::addLap(std::int64_t nanoseconds) noexcept {
    m_total.fetch_add(nanoseconds > 0 ? nanoseconds : 0, std::memory_order_relaxed);
    m_laps.fetch_add(1, std::memory_order_relaxed);
}

} // namespace Profiling
