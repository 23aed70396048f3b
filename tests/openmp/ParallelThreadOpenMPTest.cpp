#include <FileSystem/openmp/ParallelThreadOpenMP.h>

#include <gtest/gtest.h>

#include <omp.h>

#include <set>
#include <stdexcept>
#include <vector>

using namespace FileSystem;

namespace {

// What each thread of a parallel region sees through the manager.
struct Seen {
    std::set<int> numbers;
    std::set<int> counts;
    bool allInParallel = true;
};

Seen runRegion(int threads = 0) {
    ParallelThreadManager& manager = ParallelThreadManager::instance();
    Seen seen;
#pragma omp parallel num_threads(threads > 0 ? threads : manager.getMaxNumberOfThreads())
    {
        const int number = manager.getThreadNumber();
        const int count = manager.getNumberOfThreads();
        const bool inParallel = manager.inParallel();
#pragma omp critical
        {
            seen.numbers.insert(number);
            seen.counts.insert(count);
            seen.allInParallel = seen.allInParallel && inParallel;
        }
    }
    return seen;
}

class ParallelThreadOpenMPTest : public ::testing::Test {
protected:
    void SetUp() override {
        omp_set_dynamic(0); // regions get the threads they ask for
        ASSERT_NE(ParallelThreadOpenMPInstaller::install(), nullptr);
    }
    void TearDown() override {
        EXPECT_TRUE(ParallelThreadOpenMPInstaller::uninstall());
        EXPECT_EQ(ParallelThreadManager::instance().getType(), ParallelThreadType::Trivial);
    }
};

} // namespace

TEST_F(ParallelThreadOpenMPTest, InstalledOnceWithItsVersion) {
    ParallelThreadManager& manager = ParallelThreadManager::instance();
    EXPECT_EQ(manager.getType(), ParallelThreadType::OpenMP);
    EXPECT_TRUE(manager.isValid());
    const std::string version = manager.getVersionInfo();
    EXPECT_EQ(version.rfind("OpenMP ", 0), 0u) << version;
    EXPECT_NE(version.find(std::to_string(_OPENMP)), std::string::npos) << version;
    EXPECT_THROW(ParallelThreadOpenMPInstaller::install(), std::logic_error);
}

TEST_F(ParallelThreadOpenMPTest, ThreadCountsAndNumbers) {
    ParallelThreadManager& manager = ParallelThreadManager::instance();
    EXPECT_FALSE(manager.inParallel());
    EXPECT_EQ(manager.getThreadNumber(), 0);
    EXPECT_EQ(manager.getNumberOfThreads(), 1);

    ASSERT_TRUE(manager.setMaxNumberOfThreads(3));
    EXPECT_EQ(manager.getMaxNumberOfThreads(), 3);
    const Seen seen = runRegion();
    EXPECT_EQ(seen.numbers, (std::set<int>{0, 1, 2}));
    EXPECT_EQ(seen.counts, std::set<int>{3});
    EXPECT_TRUE(seen.allInParallel);

    // Counts below 1 are refused and change nothing.
    EXPECT_FALSE(manager.setMaxNumberOfThreads(0));
    EXPECT_FALSE(manager.setMaxNumberOfThreads(-2));
    EXPECT_EQ(manager.getMaxNumberOfThreads(), 3);

    // A team of one thread is no active parallel region.
    const Seen single = runRegion(1);
    EXPECT_EQ(single.counts, std::set<int>{1});
    EXPECT_FALSE(single.allInParallel);
    EXPECT_FALSE(manager.inParallel());
}

TEST_F(ParallelThreadOpenMPTest, GuardLimitsForItsScope) {
    ParallelThreadManager& manager = ParallelThreadManager::instance();
    ASSERT_TRUE(manager.setMaxNumberOfThreads(4));
    {
        ParallelThreadMaxThreadGuard guard(2);
        EXPECT_EQ(manager.getMaxNumberOfThreads(), 2);
        EXPECT_EQ(runRegion().counts, std::set<int>{2});
        {
            ParallelThreadMaxThreadGuard keep;
            manager.setMaxNumberOfThreads(1);
        }
        EXPECT_EQ(manager.getMaxNumberOfThreads(), 2);
    }
    EXPECT_EQ(manager.getMaxNumberOfThreads(), 4);
    EXPECT_EQ(runRegion().numbers, (std::set<int>{0, 1, 2, 3}));
}
