#include <FileSystem/process/ParallelThread.h>

#include <gtest/gtest.h>

#include <stdexcept>

using namespace FileSystem;

namespace {

class TestInstaller : public ParallelThreadManager {
public:
    using ParallelThreadManager::registerThread;
    using ParallelThreadManager::unregisterThread;
};

// A runtime whose maximum can be set; it starts at `maximum`.
class FakeThread : public ParallelThreadTrivial {
public:
    explicit FakeThread(int start) : maximum(start) {}
    int maximum;
    int setCalls = 0;

protected:
    ParallelThreadType do_getType() const override { return static_cast<ParallelThreadType>(9); }
    bool do_setMaxNumberOfThreads(int count) override {
        ++setCalls;
        if (count < 1)
            return false;
        maximum = count;
        return true;
    }
    int do_getMaxNumberOfThreads() const override { return maximum; }
    std::string do_getVersionInfo() const override { return "fake 1.0"; }
};

class ParallelThreadManagerTest : public ::testing::Test {
protected:
    FakeThread* install(int start) {
        auto fake = std::make_unique<FakeThread>(start);
        FakeThread* raw = fake.get();
        EXPECT_EQ(TestInstaller::registerThread(std::move(fake)), raw);
        m_installed = raw;
        return raw;
    }
    void TearDown() override {
        if (m_installed)
            TestInstaller::unregisterThread(m_installed);
        ASSERT_EQ(ParallelThreadManager::instance().getType(), ParallelThreadType::Trivial);
    }
    FakeThread* m_installed = nullptr;
};

} // namespace

TEST_F(ParallelThreadManagerTest, TrivialByDefaultAndGuardKeepsOne) {
    ParallelThreadManager& manager = ParallelThreadManager::instance();
    EXPECT_EQ(&manager, &ParallelThreadManager::instance());
    EXPECT_EQ(manager.getType(), ParallelThreadType::Trivial);
    EXPECT_TRUE(manager.isValid());
    EXPECT_EQ(manager.getThreadNumber(), 0);
    EXPECT_EQ(manager.getNumberOfThreads(), 1);
    EXPECT_FALSE(manager.inParallel());
    EXPECT_EQ(manager.getVersionInfo(), "");
    {
        ParallelThreadMaxThreadGuard guard(6);
        EXPECT_EQ(manager.getMaxNumberOfThreads(), 1);
        EXPECT_FALSE(manager.setMaxNumberOfThreads(3));
        EXPECT_EQ(manager.getMaxNumberOfThreads(), 1);
    }
    EXPECT_EQ(manager.getMaxNumberOfThreads(), 1);
}

TEST_F(ParallelThreadManagerTest, RegistrationForwardsAndGivesBack) {
    FakeThread* fake = install(4);
    ParallelThreadManager& manager = ParallelThreadManager::instance();
    EXPECT_EQ(manager.getType(), static_cast<ParallelThreadType>(9));
    EXPECT_EQ(manager.getVersionInfo(), "fake 1.0");
    EXPECT_TRUE(manager.setMaxNumberOfThreads(3));
    EXPECT_EQ(fake->maximum, 3);

    try {
        TestInstaller::registerThread(std::make_unique<FakeThread>(1));
        FAIL() << "a second thread runtime was attached";
    } catch (const std::logic_error& error) {
        EXPECT_STREQ(error.what(), "Attempting to attach second comm");
    }

    FakeThread other(1);
    EXPECT_EQ(TestInstaller::unregisterThread(&other), nullptr);
    std::unique_ptr<ParallelThread> back = TestInstaller::unregisterThread(fake);
    m_installed = nullptr;
    EXPECT_EQ(back.get(), fake);
    EXPECT_EQ(manager.getType(), ParallelThreadType::Trivial);
    EXPECT_EQ(TestInstaller::unregisterThread(fake), nullptr); // given back already
}

TEST_F(ParallelThreadManagerTest, GuardRestoresTheEarlierMaximum) {
    FakeThread* fake = install(4);
    ParallelThreadManager& manager = ParallelThreadManager::instance();
    {
        ParallelThreadMaxThreadGuard guard(2);
        EXPECT_EQ(manager.getMaxNumberOfThreads(), 2);
        {
            ParallelThreadMaxThreadGuard inner; // keeps 2, changes nothing
            EXPECT_EQ(fake->setCalls, 1);
            manager.setMaxNumberOfThreads(7);
        }
        EXPECT_EQ(manager.getMaxNumberOfThreads(), 2);
    }
    EXPECT_EQ(manager.getMaxNumberOfThreads(), 4);

    // A kept maximum of 0 is not set back.
    fake->maximum = 0;
    const int callsBefore = fake->setCalls;
    {
        ParallelThreadMaxThreadGuard guard(3);
        EXPECT_EQ(manager.getMaxNumberOfThreads(), 3);
    }
    EXPECT_EQ(manager.getMaxNumberOfThreads(), 3);
    EXPECT_EQ(fake->setCalls, callsBefore + 1);
}
