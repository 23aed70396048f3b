// The cost of a profiled section: inactive (the calls left in production code)
// and active (a loop of one section, merged into one node), against a lock and
// unlock of a std::mutex. The section's name is a `const std::string&`: a
// literal makes the caller build a temporary string on every call, so the
// inactive section is measured with a literal and with a string made once.

#include <FileSystem/runtime/Profiling.h>

#include "RatioReporter.h"

#include <mutex>
#include <string>

namespace {

Profiling::Profiling& profiler() { return *Profiling::Profiling::instance(); }

void InactiveSectionLiteral(benchmark::State& state) {
    for (auto _ : state) {
        Profiling::ProfileSection* section = profiler().startSection(__FILE__, __LINE__, "bench", "section");
        benchmark::DoNotOptimize(section);
    }
}

// A literal longer than the string's inline buffer (15 characters here) makes
// the caller allocate on every call, inactive or not.
void InactiveSectionLongLiteral(benchmark::State& state) {
    for (auto _ : state) {
        Profiling::ProfileSection* section =
            profiler().startSection(__FILE__, __LINE__, "bench", "a section name longer than fifteen characters");
        benchmark::DoNotOptimize(section);
    }
}

void InactiveSectionPrebuiltName(benchmark::State& state) {
    const std::string name = "a section name longer than fifteen characters";
    for (auto _ : state) {
        Profiling::ProfileSection* section = profiler().startSection(__FILE__, __LINE__, "bench", name);
        benchmark::DoNotOptimize(section);
    }
}

void InactiveProxyPrebuiltName(benchmark::State& state) {
    const std::string name = "a section name longer than fifteen characters";
    for (auto _ : state) {
        Profiling::ProfileSectionProxy proxy(__FILE__, __LINE__, "bench", name);
        benchmark::DoNotOptimize(proxy.section());
    }
}

// Open and close one section; after the first turn every turn merges into the
// same node, so no node is made.
void ActiveSection(benchmark::State& state) {
    const std::string name = "section";
    profiler().start(__FILE__, __LINE__, "bench", "active");
    for (auto _ : state) {
        Profiling::ProfileSection* section = profiler().startSection(__FILE__, __LINE__, "bench", name);
        profiler().endSection(section);
    }
    profiler().end("active");
}

void MutexLockUnlock(benchmark::State& state) {
    std::mutex mutex;
    for (auto _ : state) {
        mutex.lock();
        benchmark::ClobberMemory();
        mutex.unlock();
    }
}

} // namespace

BENCHMARK(InactiveSectionLiteral);
BENCHMARK(InactiveSectionLongLiteral);
BENCHMARK(InactiveSectionPrebuiltName);
BENCHMARK(InactiveProxyPrebuiltName);
BENCHMARK(ActiveSection);
BENCHMARK(MutexLockUnlock);

int main(int argc, char** argv) {
    return runWithRatios(argc, argv,
                         {{"ActiveSection", "MutexLockUnlock"},
                          {"InactiveSectionLiteral", "MutexLockUnlock"},
                          {"InactiveSectionLongLiteral", "MutexLockUnlock"},
                          {"InactiveSectionPrebuiltName", "MutexLockUnlock"},
                          {"InactiveProxyPrebuiltName", "MutexLockUnlock"}});
}
