// Parallel processes and threads: code written once for many processes runs
// here as one, through the trivial implementations that are active until a
// companion library registers MPI or OpenMP.
#include <FileSystem/process/ParallelProcess.h>
#include <FileSystem/process/ParallelThread.h>
#include <FileSystem/utilities/ToolProgress.h>

#include <iostream>

using namespace FileSystem;

/// A progress receiver that the user may cancel.
class Progress : public Tools::ToolProgress {
public:
    bool cancelled = false;
    void setRange(int) override {}
    void setProgress(int, const std::string&) override {}
    bool isCancelled() const override { return cancelled; }
    bool hadFatalError() const override { return false; }
    void announceWorkList(const std::vector<std::string>&) override {}
};

int main(int argc, char** argv) {
    int failures = 0;
    const auto expect = [&failures](bool ok, const std::string& what) {
        std::cout << (ok ? "  ok: " : "  FAILED: ") << what << "\n";
        failures += !ok;
    };

    // An MPI program would register the companion first:
    //     ParallelProcessMPIInstaller::install();   // <FileSystem/mpi/ParallelProcessMPI.h>
    // The guard starts the runtime and ends it with the scope.
    ParallelProcessInitializeGuard guard(argc, argv);
    expect(static_cast<bool>(guard), "the runtime started");
    ParallelProcessManager& comm = ParallelProcessManager::instance();
    std::cout << "  implementation: " << static_cast<int>(comm.getType()) << ", label " << generateThreadLabel(guard)
              << "\n";
    expect(comm.GetProcessID(ParallelProcessLevel::World) == 0 &&
               comm.GetNumberOfProcesses(ParallelProcessLevel::World) == 1,
           "process 0 of 1");

    // The same collective code as on many processes: process 0 shares its
    // settings, every process adds its part, the root collects the names.
    int settings[2] = {comm.GetProcessID() == 0 ? 16 : 0, comm.GetProcessID() == 0 ? 3 : 0};
    expect(comm.Bcast(settings, 2, 0) && settings[0] == 16 && settings[1] == 3, "settings broadcast from process 0");
    double work = 2.5 * (comm.GetProcessID() + 1);
    expect(comm.AllReduce(&work, 1, ParallelProcessOperation::Sum) && work == 2.5, "the sum over all processes");
    std::vector<std::string> names{"part-" + std::to_string(comm.GetProcessID())};
    expect(comm.StringGather(&names, 1, 0) && names == std::vector<std::string>{"part-0"},
           "names gathered on the root");
    const int peer = 1;
    expect(!comm.Send(&peer, 1, 1, comm.DefaultSendTag()), "there is no process 1 to send to");

    // Cancellation is decided by all processes together; every process must
    // ask, also one without a progress receiver.
    Progress progress;
    expect(!parallelProcessWorldIsCancelled(&progress), "nobody cancelled");
    progress.cancelled = true;
    expect(parallelProcessWorldIsCancelled(&progress), "cancelled on one process stops all");

    // Threads: the trivial runtime has one, and a limit changes nothing.
    ParallelThreadManager& threads = ParallelThreadManager::instance();
    {
        ParallelThreadMaxThreadGuard limit(4);
        expect(threads.getMaxNumberOfThreads() == 1 && !threads.inParallel(), "one thread, not in parallel");
    }
    return failures == 0 ? 0 : 1;
}
