// The section profiler: how sections make the tree (repeats merged, nesting,
// threads), how a wrong close switches it off, and the three reports, checked
// column by column on a tree whose times are set by hand.

#include <FileSystem/platform/ProcessMemory.h>
#include <FileSystem/platform/Threads.h>
#include <FileSystem/runtime/Profiling.h>

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <fstream>
#include <sstream>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

using Profiling::OpTimer;
using Profiling::OpTimerParallelLap;
using Profiling::ProfileSection;
using Profiling::ProfileSectionProxy;

namespace {

constexpr double kMB = 1048576.0;

std::vector<std::string> splitLines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);)
        lines.push_back(line);
    return lines;
}

/// The seven fields of a line of the text report, cut at the columns where they
/// must start, trailing spaces removed; the line must be exactly 146 wide.
std::vector<std::string> columns(const std::string& line) {
    static const std::size_t stops[] = {0, 80, 90, 102, 114, 124, 134, 146};
    EXPECT_EQ(line.size(), 146u) << line;
    std::vector<std::string> fields;
    for (int i = 0; i < 7; ++i) {
        std::string field = line.size() > stops[i] ? line.substr(stops[i], stops[i + 1] - stops[i]) : "";
        field.erase(field.find_last_not_of(' ') + 1);
        fields.push_back(field);
    }
    return fields;
}

class ProfilingTest : public ::testing::Test {
protected:
    Profiling::Profiling& profiler = *Profiling::Profiling::instance();

    // Every test leaves the process-wide profiler inactive.
    void TearDown() override {
        while (profiler.isActive())
            profiler.end("no section has this name");
    }

    std::string text(const std::string& name, double minimum, bool lists = false) {
        std::ostringstream out;
        profiler.dumpToFile(name, out, lists, minimum);
        return out.str();
    }
    std::string csv(const std::string& name, double minimum) {
        std::ostringstream out;
        profiler.dumpToCSVFile(name, out, minimum);
        return out.str();
    }
    std::string json(const std::string& name, double minimum) {
        std::ostringstream out;
        profiler.dumpToJSONFile(name, out, minimum);
        return out.str();
    }

    struct KnownTree {
        ProfileSection *subject, *a, *b, *innerA;
    };

    // subject (10 s) with a (4.12345 s) and b (5 s), and under b a second "a"
    // (2 s) at the same location as the first.
    KnownTree buildKnownTree() {
        profiler.start("/src/solver/main.cpp", 1, "main", "subject");
        ProfileSection* a = profiler.startSection("/src/solver/main.cpp", 2, "f", "a");
        profiler.endSection(a);
        ProfileSection* b = profiler.startSection("C:\\src\\solver\\main.cpp", 3, "g", "b");
        ProfileSection* innerA = profiler.startSection("main.cpp", 2, "h", "a");
        profiler.endSection(innerA);
        profiler.endSection(b);
        profiler.end("subject");
        EXPECT_FALSE(profiler.isActive());
        KnownTree tree{a->parent, a, b, innerA};
        EXPECT_EQ(tree.subject->children.size(), 2u);
        EXPECT_EQ(innerA->parent, b);
        tree.subject->totalTime = 10;
        tree.subject->memory = static_cast<std::uint64_t>(3 * kMB);
        a->totalTime = 4.12345;
        a->memory = 0;
        b->totalTime = 5;
        b->visits = 2;
        b->memory = static_cast<std::uint64_t>(5 * kMB); // 2.5 MB a visit
        innerA->totalTime = 2;
        innerA->visits = 0;
        return tree;
    }
};

TEST_F(ProfilingTest, ALoopIsOneNodeAndASectionWithChildrenIsNeverMerged) {
    profiler.start(__FILE__, __LINE__, "test", "loop test");
    ProfileSection* first = profiler.startSection("src/loop.cpp", 10, "f", "turn");
    ASSERT_NE(first, nullptr);
    profiler.endSection(first);
    constexpr int kTurns = 1000000;
    for (int i = 1; i < kTurns; ++i) {
        ProfileSection* again = profiler.startSection("src/loop.cpp", 10, "f", "turn");
        if (again != first)
            FAIL() << "turn " << i << " made a new node";
        profiler.endSection(again);
    }
    EXPECT_EQ(first->visits, kTurns);
    EXPECT_EQ(first->file, "loop.cpp");
    EXPECT_EQ(first->parent->children.size(), 1u);
    EXPECT_TRUE(first->timer.isEnded());

    // With a child, the same location makes a second node.
    ProfileSection* outer = profiler.startSection("src/loop.cpp", 20, "f", "outer");
    profiler.endSection(profiler.startSection("src/loop.cpp", 21, "f", "inner"));
    profiler.endSection(outer);
    ProfileSection* outerAgain = profiler.startSection("src/loop.cpp", 20, "f", "outer");
    EXPECT_NE(outerAgain, outer);
    profiler.endSection(outerAgain);
    EXPECT_EQ(first->parent->children.size(), 3u);

    // The subject is 100 % of itself; the report folds the two "outer" nodes.
    const auto lines = splitLines(csv("loop test", 0));
    ASSERT_EQ(lines.size(), 2u + 4u);
    EXPECT_NE(lines[2].find("\"loop test\",1,"), std::string::npos) << lines[2]; // the report ended it
    EXPECT_NE(lines[2].find(",100,"), std::string::npos) << lines[2];
    EXPECT_EQ(lines[3].rfind("  loop.cpp:10:\"turn\",1000000,", 0), 0u) << lines[3];
    EXPECT_EQ(lines[4].rfind("  loop.cpp:20:\"outer\",2,", 0), 0u) << lines[4];
    EXPECT_EQ(lines[5].rfind("    loop.cpp:21:\"inner\",1,", 0), 0u) << lines[5];
}

TEST_F(ProfilingTest, RepeatsApartAreFoldedByTheReportWithTheirChildren) {
    profiler.start("t.cpp", 1, "test", "fold");
    ProfileSection* x1 = profiler.startSection("t.cpp", 2, "f", "x");
    ProfileSection* c1 = profiler.startSection("t.cpp", 3, "f", "c");
    profiler.endSection(c1);
    profiler.endSection(x1);
    profiler.endSection(profiler.startSection("t.cpp", 4, "f", "y"));
    ProfileSection* x2 = profiler.startSection("t.cpp", 2, "other function", "x");
    ProfileSection* c2 = profiler.startSection("t.cpp", 3, "f", "c");
    profiler.endSection(c2);
    profiler.endSection(x2);
    ProfileSection* subject = x1->parent;
    ASSERT_EQ(subject->children.size(), 3u);
    profiler.end("fold");
    subject->totalTime = 10;
    x1->totalTime = 1;
    x2->totalTime = 2;
    c1->totalTime = 0.25;
    c2->totalTime = 0.5;

    const auto lines = splitLines(text("fold", 0));
    ASSERT_EQ(lines.size(), 1u + 4u);
    using Fields = std::vector<std::string>;
    EXPECT_EQ(columns(lines[2]), (Fields{"  t.cpp:2:\"x\"", "2", "3", "2.25", "30", "22.5", "0"}));
    EXPECT_EQ(columns(lines[3]), (Fields{"    t.cpp:3:\"c\"", "2", "0.75", "0.75", "7.5", "7.5", "0"}));
    EXPECT_EQ(columns(lines[4])[0], "  t.cpp:4:\"y\"");
    ASSERT_EQ(subject->children.size(), 2u);
    EXPECT_EQ(subject->children[0].get(), x1);
    EXPECT_EQ(x1->children.size(), 1u);
    EXPECT_EQ(x1->children[0]->parent, x1);
}

TEST_F(ProfilingTest, AWrongCloseSwitchesProfilingOffAndKeepsTheTree) {
    // From another thread.
    profiler.start("t.cpp", 1, "test", "wrong");
    ProfileSection* open = profiler.startSection("t.cpp", 2, "f", "open");
    ProfileSection* done = profiler.startSection("t.cpp", 3, "f", "done");
    profiler.endSection(done);
    std::thread([&] { profiler.endSection(open); }).join();
    EXPECT_FALSE(profiler.isActive());
    EXPECT_EQ(profiler.startSection("t.cpp", 4, "f", "late"), nullptr);
    EXPECT_EQ(open->visits, 0);
    EXPECT_EQ(done->visits, 1);
    profiler.endSection(open); // inactive: nothing happens
    EXPECT_EQ(open->visits, 0);

    // A section that ended already, a null pointer, and one from an earlier
    // profile (only compared, never followed).
    for (int kind = 0; kind < 3; ++kind) {
        profiler.start("t.cpp", 1, "test", "wrong");
        ProfileSection* section = profiler.startSection("t.cpp", 2, "f", "s");
        profiler.endSection(section);
        profiler.endSection(kind == 0 ? section : kind == 1 ? nullptr : open);
        EXPECT_FALSE(profiler.isActive()) << kind;
        EXPECT_EQ(section->visits, 1);
    }
}

TEST_F(ProfilingTest, StartNestsEndStopsAtTheNamedSectionAndAProxyClosesOnce) {
    profiler.start("t.cpp", 1, "test", "outer");
    profiler.start("t.cpp", 2, "test", "inner");
    ProfileSection* open = profiler.startSection("t.cpp", 3, "f", "open");
    profiler.end("inner");
    EXPECT_TRUE(profiler.isActive());
    EXPECT_EQ(open->visits, 1);
    ProfileSection* inner = open->parent;
    EXPECT_EQ(inner->name, "inner");
    EXPECT_EQ(inner->visits, 1);
    EXPECT_EQ(inner->parent->visits, 0);
    {
        ProfileSectionProxy proxy("t.cpp", 4, "f", "proxy");
        ASSERT_NE(proxy.section(), nullptr);
        proxy.incrementVisitCount();
        proxy.incrementVisitCount();
        proxy.endSection();
        proxy.endSection(); // a second close would be a mismatch
        EXPECT_TRUE(profiler.isActive());
        EXPECT_EQ(proxy.section()->visits, 3);
        proxy.incrementVisitCount(); // no longer open: not counted
        EXPECT_EQ(proxy.section()->visits, 3);
    }
    EXPECT_TRUE(profiler.isActive());
    profiler.end("outer");
    EXPECT_FALSE(profiler.isActive());

    // The report of "inner" shows only its subtree.
    const auto lines = splitLines(text("inner", 0));
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(columns(lines[1])[0], "t.cpp:2:\"inner\"");
    EXPECT_EQ(columns(lines[1])[4], "100");

    // A proxy made while inactive closes nothing, even when profiling started since.
    {
        ProfileSectionProxy idle("t.cpp", 5, "f", "idle");
        EXPECT_EQ(idle.section(), nullptr);
        profiler.start("t.cpp", 6, "test", "later");
    }
    EXPECT_TRUE(profiler.isActive());
}

TEST_F(ProfilingTest, ThreadsEachHaveTheirOwnSectionsUnderTheNamedParent) {
    profiler.start("t.cpp", 1, "test", "main");
    constexpr int kThreads = 4, kTurns = 2000;
    std::vector<std::uint64_t> indices(kThreads);
    std::vector<bool> ownIds(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&, t] {
            ProfileSection* own = profiler.startSection("t.cpp", 100 + t, "w", "thread", false, "main");
            indices[t] = own->threadIndex;
            ownIds[t] = own->osThreadId == static_cast<std::uint32_t>(::syscall(SYS_gettid));
            profiler.endSection(own);
            for (int i = 0; i < kTurns; ++i) {
                ProfileSectionProxy work("t.cpp", 10, "w", "work", false, "main");
                ProfileSectionProxy inner("t.cpp", 11, "w", "inner");
            }
        });
    for (auto& thread : threads)
        thread.join();
    EXPECT_TRUE(profiler.isActive());
    EXPECT_EQ(std::count(ownIds.begin(), ownIds.end(), true), kThreads);
    std::sort(indices.begin(), indices.end());
    EXPECT_GE(indices[0], 1u);
    EXPECT_EQ(std::unique(indices.begin(), indices.end()), indices.end());

    // Folded, the threads' work is one node with every visit.
    const auto lines = splitLines(csv("main", 0));
    ASSERT_EQ(lines.size(), 2u + 1u + kThreads + 2u);
    EXPECT_EQ(lines[2].rfind("t.cpp:1:\"main\",1,", 0), 0u);
    int work = 0;
    for (std::size_t i = 3; i < lines.size(); ++i) {
        if (lines[i].rfind("  t.cpp:10:\"work\",", 0) == 0) {
            ++work;
            EXPECT_EQ(lines[i].rfind("  t.cpp:10:\"work\"," + std::to_string(kThreads * kTurns) + ",", 0), 0u);
            EXPECT_EQ(lines[i + 1].rfind("    t.cpp:11:\"inner\"," + std::to_string(kThreads * kTurns) + ",", 0),
                      0u);
        }
    }
    EXPECT_EQ(work, 1);
}

TEST_F(ProfilingTest, TextReportHasItsColumnsAndLists) {
    buildKnownTree();
    const std::string report = text("subject", 0, true);
    const auto lines = splitLines(report);
    ASSERT_EQ(lines.size(), 1u + 4u + 3u + 1u + 3u) << report;
    EXPECT_EQ(lines[0], "Location" + std::string(72, ' ') +
                            "# visits  Total time  Self time   Total %   Self %    Memory (MB) ");
    using Fields = std::vector<std::string>;
    EXPECT_EQ(columns(lines[1]), (Fields{"main.cpp:1:\"subject\"", "1", "10", "0.8765", "100", "8.765", "3"}));
    EXPECT_EQ(columns(lines[2]), (Fields{"  main.cpp:2:\"a\"", "1", "4.123", "4.123", "41.23", "41.23", "0"}));
    EXPECT_EQ(columns(lines[3]), (Fields{"  main.cpp:3:\"b\"", "2", "5", "3", "50", "30", "2"}));
    EXPECT_EQ(columns(lines[4]), (Fields{"    main.cpp:2:\"a\"", "0", "2", "2", "20", "20", ""}));
    // Every location once, by total time, then by self time.
    EXPECT_EQ(columns(lines[5]), (Fields{"main.cpp:1:\"subject\"", "1", "10", "0.8765", "100", "8.765", "3"}));
    EXPECT_EQ(columns(lines[6]), (Fields{"main.cpp:2:\"a\"", "1", "6.123", "6.123", "61.23", "61.23", "0"}));
    EXPECT_EQ(columns(lines[7]), (Fields{"main.cpp:3:\"b\"", "2", "5", "3", "50", "30", "2"}));
    EXPECT_EQ(lines[8], "");
    EXPECT_EQ(columns(lines[9])[0] + columns(lines[10])[0] + columns(lines[11])[0],
              "main.cpp:2:\"a\"main.cpp:3:\"b\"main.cpp:1:\"subject\"");

    // The same through a file; a file that cannot be opened gets nothing.
    TestSupport::TempDir dir;
    profiler.dumpToFile("subject", dir / "report.txt", true, 0);
    std::ifstream file(dir / "report.txt");
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), report);
    profiler.dumpToFile("subject", dir / "missing/report.txt", true, 0);
    EXPECT_FALSE(std::ifstream(dir / "missing/report.txt").is_open());
}

TEST_F(ProfilingTest, MinimumLeavesOutSectionsWithTheirDescendants) {
    buildKnownTree();
    auto rows = [&](double minimum) {
        std::vector<std::string> locations;
        const auto lines = splitLines(text("subject", minimum));
        for (std::size_t i = 1; i < lines.size(); ++i)
            locations.push_back(columns(lines[i])[0]);
        return locations;
    };
    using Rows = std::vector<std::string>;
    EXPECT_EQ(rows(0), (Rows{"main.cpp:1:\"subject\"", "  main.cpp:2:\"a\"", "  main.cpp:3:\"b\"",
                             "    main.cpp:2:\"a\""}));
    EXPECT_EQ(rows(3), (Rows{"main.cpp:1:\"subject\"", "  main.cpp:2:\"a\"", "  main.cpp:3:\"b\""}));
    EXPECT_EQ(rows(5), (Rows{"main.cpp:1:\"subject\"", "  main.cpp:3:\"b\""})); // exactly at the minimum: kept
    EXPECT_EQ(rows(10), (Rows{"main.cpp:1:\"subject\""}));
    EXPECT_TRUE(rows(10.5).empty());
    EXPECT_EQ(splitLines(csv("subject", 10.5)).size(), 2u);
    EXPECT_EQ(json("subject", 10.5),
              "{\n\"traceEvents\": [\n{}],\n\"otherData\": {\"version\": \"" + Profiling::buildStamp() + "\"}\n}\n");

    // The lists obey the minimum too.
    const auto lines = splitLines(text("subject", 4.5, true));
    ASSERT_EQ(lines.size(), 1u + 2u + 2u + 1u + 2u);
    EXPECT_EQ(columns(lines[4])[0], "main.cpp:3:\"b\"");
}

TEST_F(ProfilingTest, CSVReportCarriesTheBuildAndUnquotedLocations) {
    KnownTree tree = buildKnownTree();
    tree.a->name = "say \"hi\"";
    const auto lines = splitLines(csv("subject", 0));
    ASSERT_EQ(lines.size(), 6u);
    EXPECT_EQ(lines[0], "Build: " + Profiling::buildStamp());
    EXPECT_EQ(lines[0].rfind("Build: FileSystem 2025.", 0), 0u);
    EXPECT_EQ(lines[1], "Location,# visits,Total time,Self time,Total %,Self %,Memory (MB)");
    EXPECT_EQ(lines[2], "main.cpp:1:\"subject\",1,10,0.87655,100,8.7655,3");
    EXPECT_EQ(lines[3], "  main.cpp:2:\"say \"hi\"\",1,4.12345,4.12345,41.2345,41.2345,0");
    EXPECT_EQ(lines[4], "  main.cpp:3:\"b\",2,5,3,50,30,2");
    EXPECT_EQ(lines[5], "    main.cpp:2:\"a\",0,2,2,20,20,");

    // Shares against a subject that took no time are all 100 %.
    for (ProfileSection* section : {tree.subject, tree.a, tree.b, tree.innerA})
        section->totalTime = 0;
    for (std::size_t i = 2; i < 6; ++i)
        EXPECT_NE(splitLines(csv("subject", 0))[i].find(",0,0,100,100,"), std::string::npos);
}

TEST_F(ProfilingTest, TraceReportLoadsAsJSONWithoutQuotesInNames) {
    profiler.start("t.cpp", 1, "test", "trace");
    ProfileSection* quoted = profiler.startSection("dir/probe.cpp", 7, "f", "say \"hi\" \\ back");
    profiler.endSection(quoted);
    ProfileSection* open = profiler.startSection("dir/probe.cpp", 8, "f", "open");
    profiler.end("trace");
    ProfileSection* subject = quoted->parent;
    subject->timer = OpTimer(1000000, 9000999);
    subject->totalTime = 1;
    quoted->timer = OpTimer(5000999, 7501000);
    quoted->osThreadId = 4242;
    quoted->threadIndex = 0; // made outside the profiler: the system's id stands in
    open->timer = OpTimer(); // running: it lasts until the report
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    const std::string report = json("trace", 0);
    EXPECT_NE(report.find("{ \"pid\": 1, \"tid\": 4242, \"ts\": 5000, \"dur\": 2500, \"ph\": \"X\", \"name\": "
                          "\"probe.cpp:7:say hi \\\\ back\"  },\n"),
              std::string::npos)
        << report;
    EXPECT_NE(report.find("\"ts\": 1000, \"dur\": 8000, \"ph\": \"X\", \"name\": \"t.cpp:1:trace\"  },\n"),
              std::string::npos)
        << report;

    // The other reports keep the quotes (and fold nothing away here).
    EXPECT_NE(text("trace", 0).find("probe.cpp:7:\"say \"hi\" \\ back\""), std::string::npos);

    TestSupport::TempDir dir;
    std::ofstream(dir / "trace.json") << report;
    const char* check = R"(import json, sys
data = json.load(open(sys.argv[1]))
assert set(data) == {"traceEvents", "otherData"}, data.keys()
print(data["otherData"]["version"])
for e in data["traceEvents"]:
    if e:
        assert e["ph"] == "X" and e["pid"] == 1
        assert all(isinstance(e[k], int) for k in ("tid", "ts", "dur"))
        print(e["tid"], e["ts"], e["dur"], e["name"])
)";
    const auto result = TestSupport::run({"python3", "-c", check, dir / "trace.json"});
    ASSERT_TRUE(result.exitedWith(0)) << result.output;
    const auto lines = splitLines(result.output);
    ASSERT_EQ(lines.size(), 4u) << result.output;
    EXPECT_EQ(lines[0], Profiling::buildStamp());
    EXPECT_EQ(lines[1], std::to_string(subject->threadIndex) + " 1000 8000 t.cpp:1:trace");
    EXPECT_EQ(lines[2], "4242 5000 2500 probe.cpp:7:say hi \\ back");
    std::istringstream last(lines[3]);
    std::uint64_t tid = 0, ts = 0, dur = 0;
    last >> tid >> ts >> dur;
    EXPECT_EQ(tid, open->threadIndex);
    EXPECT_EQ(ts, static_cast<std::uint64_t>(open->timer.startTime() / 1000));
    EXPECT_GE(dur, 20000u);
}

TEST_F(ProfilingTest, MemoryColumnShowsTheGrowthOfTheSection) {
    constexpr std::size_t kBytes = 64 << 20;
    profiler.start("t.cpp", 1, "test", "memory");
    ProfileSection* growing = profiler.startSection("t.cpp", 2, "f", "grow", true);
    ASSERT_NE(growing->memory, 0u); // the baseline
    void* block = ::mmap(nullptr, kBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(block, MAP_FAILED);
    std::memset(block, 1, kBytes);
    profiler.endSection(growing);
    ProfileSection* flat = profiler.startSection("t.cpp", 3, "f", "not measured");
    profiler.endSection(flat);
    ::munmap(block, kBytes);
    EXPECT_GE(growing->memory, kBytes - (4 << 20));
    EXPECT_EQ(flat->memory, 0u);
    const auto lines = splitLines(text("memory", 0));
    ASSERT_EQ(lines.size(), 4u);
    const unsigned long shown = std::stoul(columns(lines[2])[6]);
    EXPECT_GE(shown, 60u);
    EXPECT_LE(shown, 1024u); // a sanitizer's shadow memory grows with it
    EXPECT_EQ(columns(lines[3])[6], "0");
}

TEST(ProfilingPlatform, ResidentSizeAndThreadIdFollowAFork) {
    EXPECT_GT(FileSystem::sys::residentSetSize(), 0u);
    EXPECT_EQ(FileSystem::sys::osThreadId(), static_cast<std::uint32_t>(::syscall(SYS_gettid)));

    // The child reads its own memory and its own id, not what the parent kept.
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        constexpr std::size_t kBytes = 128 << 20;
        const std::uint64_t before = FileSystem::sys::residentSetSize();
        void* block = ::mmap(nullptr, kBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (block == MAP_FAILED)
            ::_exit(3);
        std::memset(block, 1, kBytes);
        const bool grew = FileSystem::sys::residentSetSize() >= before + kBytes - (8 << 20);
        const bool ownId = FileSystem::sys::osThreadId() == static_cast<std::uint32_t>(::getpid());
        ::_exit((grew ? 0 : 1) | (ownId ? 0 : 2));
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "status " << status;
}

TEST(ProfilingTimers, RestartClearsTheEndAndLapsAddUpAcrossThreads) {
    OpTimer fixed(1000, 4000);
    EXPECT_TRUE(fixed.isEnded());
    EXPECT_DOUBLE_EQ(fixed.seconds(), 3e-6);
    fixed.restart();
    EXPECT_FALSE(fixed.isEnded());
    EXPECT_GT(fixed.startTime(), 4000);

    OpTimerParallelLap laps;
    laps.stop();
    laps.stop(); // no lap running
    const auto first = laps.totalNanoseconds();
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&] {
            for (int i = 0; i < 1000; ++i)
                laps.addLap(i % 2 ? 10 : -5);
        });
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(laps.laps(), 4001u);
    EXPECT_EQ(laps.totalNanoseconds(), first + 4 * 500 * 10);
}

} // namespace
