// Profiling: sections around the work of a small "solver", on two threads,
// reported as a text table, as CSV and as a trace for an event viewer.
#include <FileSystem/runtime/Profiling.h>

#include <cmath>
#include <iostream>
#include <sstream>
#include <string>
#include <thread>

namespace {

double g_sink = 0; // keeps the work from being optimised away

void work(int amount) {
    for (int i = 0; i < amount; ++i)
        g_sink += std::sqrt(static_cast<double>(i));
}

void assemble() {
    Profiling::ProfileSectionProxy section(__FILE__, __LINE__, __func__, "assemble");
    work(200000);
}

void solveStep() {
    Profiling::ProfileSectionProxy section(__FILE__, __LINE__, __func__, "solve step", true);
    assemble();
    work(400000);
}

} // namespace

int main() {
    int failures = 0;
    const auto expect = [&failures](bool ok, const std::string& what) {
        std::cout << (ok ? "  ok: " : "  FAILED: ") << what << "\n";
        failures += !ok;
    };
    Profiling::Profiling& profiler = *Profiling::Profiling::instance();

    // Inactive, sections cost next to nothing and record nothing.
    expect(profiler.startSection(__FILE__, __LINE__, __func__, "before start") == nullptr,
           "no section before start");

    profiler.start(__FILE__, __LINE__, __func__, "run");
    for (int step = 0; step < 10; ++step)
        solveStep(); // one node with ten visits, not ten nodes

    // A worker thread hangs its sections under the section named "run".
    std::thread([] {
        Profiling::ProfileSectionProxy section(__FILE__, __LINE__, "worker", "post-process", false, "run");
        work(300000);
    }).join();

    // The report ends "run" first; the tree stays until the next start.
    std::ostringstream table;
    profiler.dumpToFile("run", table, false, 0.0);
    std::cout << table.str();
    expect(!profiler.isActive(), "the report ended the profile");
    expect(table.str().find("guide_profiling.cpp") != std::string::npos, "sections are named by file and line");

    std::ostringstream csv;
    profiler.dumpToCSVFile("run", csv, 0.0);
    expect(csv.str().find(",10,") != std::string::npos, "the loop's section has ten visits");

    std::ostringstream trace; // save it as a .json file and open it in a trace viewer
    profiler.dumpToJSONFile("run", trace, 0.0);
    expect(trace.str().find("\"ph\": \"X\"") != std::string::npos, "the trace has complete events");
    return failures == 0 ? 0 : 1;
}
