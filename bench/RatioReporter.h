#pragma once

// A console reporter that also keeps the real time of every benchmark, so that
// a program can print how the library compares with the tool users would
// otherwise run.

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>
#include <utility>
#include <vector>

class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs)
            if (run.run_type == Run::RT_Iteration && !run.error_occurred) {
                m_seconds[run.run_name.function_name] = run.GetAdjustedRealTime();
                if (const auto size = run.counters.find("archiveMB"); size != run.counters.end())
                    m_sizes[run.run_name.function_name] = size->second;
            }
    }

    /// Prints library time / tool time for each pair of benchmark names (and,
    /// where both report an archiveMB counter, the ratio of the archive sizes).
    void printRatios(const std::vector<std::pair<std::string, std::string>>& pairs) const {
        std::printf("\n%-40s %-24s %8s %8s\n", "library", "against", "ratio", "size");
        for (const auto& [library, tool] : pairs) {
            const auto a = m_seconds.find(library);
            const auto b = m_seconds.find(tool);
            if (a == m_seconds.end() || b == m_seconds.end() || b->second <= 0)
                continue;
            std::printf("%-40s %-24s %8.3f", library.c_str(), tool.c_str(), a->second / b->second);
            const auto sa = m_sizes.find(library);
            const auto sb = m_sizes.find(tool);
            if (sa != m_sizes.end() && sb != m_sizes.end() && sb->second > 0)
                std::printf(" %8.3f", sa->second / sb->second);
            std::printf("\n");
        }
    }

private:
    std::map<std::string, double> m_seconds;
    std::map<std::string, double> m_sizes;
};

/// Runs the registered benchmarks with the ratio reporter and prints the ratios.
inline int runWithRatios(int argc, char** argv, const std::vector<std::pair<std::string, std::string>>& pairs) {
    benchmark::Initialize(&argc, argv);
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.printRatios(pairs);
    benchmark::Shutdown();
    return 0;
}
