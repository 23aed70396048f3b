#include <FileSystem/process/ParallelProcess.h>
#include <FileSystem/utilities/ToolProgress.h>

#include <gtest/gtest.h>

#include <stdexcept>

using namespace FileSystem;
using Level = ParallelProcessLevel;

namespace {

// Reaches the protected registration of the manager, as an installer does.
class TestInstaller : public ParallelProcessManager {
public:
    using ParallelProcessManager::registerComm;
    using ParallelProcessManager::unregisterComm;
};

// A stand-in for a real runtime: process `id` of `count`, with a group that
// can be set, and a reduction that combines with the other processes'
// values it is given.
class FakeComm : public ParallelProcessTrivial {
public:
    int id = 5;
    int count = 8;
    bool localActive = false;
    std::optional<int> color;
    bool initResult = true;
    bool throwOnFinalize = false;
    bool othersValue = false; // what the other processes contribute to a logical or
    int finalizeCalls = 0;
    int allReduceCalls = 0;
    ParallelProcessOperation lastOperation = ParallelProcessOperation::Sum;
    Level lastLevel = Level::Local;

protected:
    ParallelProcessType do_getType() const override { return static_cast<ParallelProcessType>(7); }
    bool do_Init(int argc, char** argv) override {
        return initResult && ParallelProcessTrivial::do_Init(argc, argv);
    }
    bool do_Finalize() override {
        ++finalizeCalls;
        if (throwOnFinalize)
            throw std::runtime_error("finalize failed");
        return ParallelProcessTrivial::do_Finalize();
    }
    int do_GetProcessID(Level level) const override { return level == Level::World ? id : id % 4; }
    int do_GetNumberOfProcesses(Level level) const override { return level == Level::World ? count : 4; }
    bool do_GetParallelProcessActive(Level level) const override { return level == Level::World || localActive; }
    std::optional<int> do_GetProcessColor(Level) const override { return color; }
    bool do_AllReduce(ParallelProcessBuffer data, int n, ParallelProcessOperation operation, Level level) override {
        ++allReduceCalls;
        lastOperation = operation;
        lastLevel = level;
        bool** value = std::get_if<bool*>(&data);
        if (value == nullptr || *value == nullptr || n != 1)
            return false;
        **value = **value || othersValue;
        return true;
    }
};

class Progress : public Tools::ToolProgress {
public:
    bool cancelled = false;
    bool fatal = false;
    void setRange(int) override {}
    void setProgress(int, const std::string&) override {}
    bool isCancelled() const override { return cancelled; }
    bool hadFatalError() const override { return fatal; }
    void announceWorkList(const std::vector<std::string>&) override {}
};

// Every test leaves the manager as it found it: trivial, not initialised.
class ParallelProcessManagerTest : public ::testing::Test {
protected:
    FakeComm* install() {
        auto fake = std::make_unique<FakeComm>();
        FakeComm* raw = fake.get();
        EXPECT_EQ(TestInstaller::registerComm(std::move(fake)), raw);
        m_installed = raw;
        return raw;
    }
    void TearDown() override {
        ParallelProcessManager::instance().Finalize();
        if (m_installed)
            TestInstaller::unregisterComm(m_installed);
        ASSERT_EQ(ParallelProcessManager::instance().getType(), ParallelProcessType::Trivial);
    }
    FakeComm* m_installed = nullptr;
};

} // namespace

TEST(ParallelProcessTrivial, ProcessZeroOfOneWhoseDataStays) {
    ParallelProcessTrivial comm;
    EXPECT_TRUE(comm.Init(0, nullptr) && comm.IsInitialized());
    EXPECT_FALSE(comm.InitLocal(0, 0));
    comm.Abort(3, Level::World); // the process goes on
    EXPECT_EQ(comm.GetProcess0WorldProcessIDs(Level::World), std::set<int>{0});
    EXPECT_FALSE(comm.GetParallelProcessActive(Level::World) || comm.GetParallelProcessActive(Level::Local));

    // Communication succeeds with process 0 only, and only with data.
    int values[2] = {4, 9};
    const double constant = 2.5;
    ParallelProcessRequest request(comm);
    EXPECT_EQ(request.getType(), ParallelProcessType::Trivial);
    EXPECT_TRUE(comm.Send(&constant, 1, 0, 1));
    EXPECT_FALSE(comm.Send(&constant, 1, 1, 1));
    EXPECT_FALSE(comm.Send(ParallelProcessConstBuffer{}, 1, 0, 1));
    EXPECT_FALSE(comm.Send(static_cast<const int*>(nullptr), 1, 0, 1));
    EXPECT_TRUE(comm.ASend(values, 2, 0, 1, request));
    EXPECT_FALSE(comm.ARecv(values, 2, 1, 1, request));
    EXPECT_TRUE(comm.WaitAll(request));
    EXPECT_TRUE(comm.SendRecv(&constant, 1, 0, 1, values, 2, 0, 1));
    EXPECT_FALSE(comm.SendRecv(&constant, 1, 0, 1, values, 2, 1, 1));
    EXPECT_FALSE(comm.SendRecv(&constant, 1, 0, 1, ParallelProcessBuffer{}, 2, 0, 1));
    EXPECT_TRUE(comm.Bcast(values, 2, 0));
    EXPECT_FALSE(comm.Bcast(values, 2, 1));
    EXPECT_FALSE(comm.Reduce(values, 2, ParallelProcessOperation::Sum, 1, Level::World));
    EXPECT_TRUE(comm.AllReduce(values, 2, ParallelProcessOperation::Product));
    EXPECT_EQ(values[0], 4);
    EXPECT_EQ(values[1], 9);

    std::vector<bool> flags{true, false};
    std::vector<std::string> names{"a", ""};
    EXPECT_TRUE(comm.Gather(&flags, 2, 0));
    EXPECT_FALSE(comm.Gather(&flags, 2, 1));
    EXPECT_FALSE(comm.AllGather(static_cast<std::vector<int>*>(nullptr), 0));
    EXPECT_TRUE(comm.AllStringGather(&names, 2));
    EXPECT_FALSE(comm.StringGather(&names, 2, 1));
    EXPECT_EQ(flags, (std::vector<bool>{true, false}));
    EXPECT_EQ(names, (std::vector<std::string>{"a", ""}));
    EXPECT_TRUE(comm.Finalize());
    EXPECT_FALSE(comm.IsInitialized());
}

TEST(ParallelProcessRequest, CopiesCloneAndMovesTakeTheState) {
    ParallelProcessRequest request; // from the manager's trivial implementation
    ASSERT_NE(request.getPrivate(), nullptr);
    EXPECT_EQ(request.getType(), ParallelProcessType::Trivial);
    request.Init(4);
    request.ReInit();

    ParallelProcessRequest copy(request);
    EXPECT_NE(copy.getPrivate(), request.getPrivate());
    EXPECT_EQ(copy.getType(), ParallelProcessType::Trivial);

    ParallelProcessRequest moved(std::move(request));
    EXPECT_EQ(moved.getType(), ParallelProcessType::Trivial);
    EXPECT_EQ(request.getPrivate(), nullptr); // NOLINT(bugprone-use-after-move): a moved-from request has no state
    EXPECT_EQ(request.getType(), ParallelProcessType::None);
    request.Init(2); // nothing without state
    request.ReInit();

    ParallelProcessRequest empty(request); // a request without state copies as one
    EXPECT_EQ(empty.getPrivate(), nullptr);
    copy = empty;
    EXPECT_EQ(copy.getPrivate(), nullptr);
    copy = moved;
    EXPECT_EQ(copy.getType(), ParallelProcessType::Trivial);
}

TEST_F(ParallelProcessManagerTest, TrivialByDefaultWithDefaultLevelLocal) {
    ParallelProcessManager& manager = ParallelProcessManager::instance();
    EXPECT_EQ(&manager, &ParallelProcessManager::instance());
    EXPECT_EQ(ParallelProcessManager::defaultLevel, Level::Local);
    EXPECT_EQ(manager.getType(), ParallelProcessType::Trivial);
    EXPECT_EQ(generateThreadLabel(manager), "0/1");

    // The reductions take the local answer on a single process.
    Progress progress;
    EXPECT_FALSE(parallelProcessIsCancelled(nullptr));
    EXPECT_FALSE(parallelProcessWorldHadFatalError(nullptr));
    EXPECT_FALSE(parallelProcessIsCancelled(&progress, Level::World));
    progress.cancelled = true;
    EXPECT_TRUE(parallelProcessIsCancelled(&progress));
    EXPECT_TRUE(parallelProcessWorldIsCancelled(&progress));
    EXPECT_FALSE(parallelProcessHadFatalError(&progress));
    progress.fatal = true;
    EXPECT_TRUE(parallelProcessHadFatalError(&progress, Level::World));
}

TEST_F(ParallelProcessManagerTest, RegistrationRules) {
    FakeComm* first = install();
    ParallelProcessManager& manager = ParallelProcessManager::instance();
    EXPECT_EQ(manager.getType(), static_cast<ParallelProcessType>(7));
    EXPECT_EQ(manager.GetProcessID(Level::World), 5);

    // A second one is refused even though the first is not initialised.
    try {
        TestInstaller::registerComm(std::make_unique<FakeComm>());
        FAIL() << "a second comm was attached";
    } catch (const std::logic_error& error) {
        EXPECT_STREQ(error.what(), "Attempting to attach second comm");
    }

    // Only the registered one comes back; the trivial one is active then.
    FakeComm other;
    EXPECT_EQ(TestInstaller::unregisterComm(&other), nullptr);
    EXPECT_EQ(TestInstaller::unregisterComm(nullptr), nullptr);
    manager.Init(0, nullptr);
    EXPECT_EQ(TestInstaller::unregisterComm(first), nullptr); // it runs
    manager.Finalize();
    std::unique_ptr<ParallelProcess> back = TestInstaller::unregisterComm(first);
    m_installed = nullptr;
    EXPECT_EQ(back.get(), first);
    EXPECT_EQ(manager.getType(), ParallelProcessType::Trivial);

    // An initialised comm is refused.
    back->Init(0, nullptr);
    try {
        TestInstaller::registerComm(std::move(back));
        FAIL() << "an initialised comm was attached";
    } catch (const std::logic_error& error) {
        EXPECT_STREQ(error.what(), "Attempting to attach initialized comm");
    }
    ASSERT_NE(back, nullptr);

    // While the trivial runtime runs, the caller keeps its comm.
    back->Finalize();
    manager.Init(0, nullptr);
    EXPECT_EQ(TestInstaller::registerComm(std::move(back)), nullptr);
    EXPECT_EQ(back.get(), first);
    EXPECT_EQ(manager.getType(), ParallelProcessType::Trivial);
}

TEST_F(ParallelProcessManagerTest, ReductionsReachEveryProcess) {
    FakeComm* fake = install();
    // No progress here, but another process was cancelled: the reduction
    // still runs and brings its answer.
    fake->othersValue = true;
    EXPECT_TRUE(parallelProcessIsCancelled(nullptr, Level::Local));
    EXPECT_EQ(fake->allReduceCalls, 1);
    EXPECT_EQ(static_cast<int>(fake->lastOperation), 6);
    EXPECT_EQ(fake->lastLevel, Level::Local);
    EXPECT_TRUE(parallelProcessWorldHadFatalError(nullptr));
    EXPECT_EQ(fake->lastLevel, Level::World);

    fake->othersValue = false;
    Progress progress;
    EXPECT_FALSE(parallelProcessWorldIsCancelled(&progress));
    EXPECT_FALSE(parallelProcessHadFatalError(&progress));
    progress.fatal = true;
    EXPECT_TRUE(parallelProcessHadFatalError(&progress));
    EXPECT_EQ(fake->allReduceCalls, 5);
}

TEST_F(ParallelProcessManagerTest, ThreadLabels) {
    FakeComm* fake = install();
    ParallelProcessManager& manager = ParallelProcessManager::instance();
    EXPECT_EQ(generateThreadLabel(manager), "5/8");
    fake->localActive = true;
    EXPECT_EQ(generateThreadLabel(manager), "5/8 - 1/4");
    fake->color = 12;
    EXPECT_EQ(generateThreadLabel(manager), "5/8 - 12.1/4");
    fake->localActive = false;
    EXPECT_EQ(generateThreadLabel(manager), "5/8 - 12.");
    fake->id = 1234567;
    fake->count = 2000000;
    fake->localActive = true;
    EXPECT_EQ(generateThreadLabel(manager), "1234567/2000000 - 12.3/4"); // no digit grouping
}

TEST_F(ParallelProcessManagerTest, GuardInitialisesAndAlwaysFinalises) {
    FakeComm* fake = install();
    {
        ParallelProcessInitializeGuard guard(0, nullptr);
        EXPECT_TRUE(guard);
        EXPECT_EQ(guard.operator->(), &ParallelProcessManager::instance());
        EXPECT_TRUE(guard->IsInitialized());
        EXPECT_EQ(generateThreadLabel(guard), "5/8");
    }
    EXPECT_EQ(fake->finalizeCalls, 1);
    EXPECT_FALSE(ParallelProcessManager::instance().IsInitialized());

    fake->initResult = false;
    {
        ParallelProcessInitializeGuard guard(0, nullptr);
        EXPECT_FALSE(guard);
        EXPECT_EQ(guard.operator->(), nullptr);
    }
    EXPECT_EQ(fake->finalizeCalls, 2); // also after a failed Init

    fake->initResult = true;
    fake->throwOnFinalize = true;
    EXPECT_NO_THROW({ ParallelProcessInitializeGuard guard(0, nullptr); });
    EXPECT_EQ(fake->finalizeCalls, 3);
    fake->throwOnFinalize = false;
}
