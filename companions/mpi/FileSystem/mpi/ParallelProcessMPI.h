#pragma once

#include <FileSystem/Export.h>
#include <FileSystem/process/ParallelProcess.h>

#include <map>
#include <mpi.h>

namespace FileSystem {

/// ParallelProcess over MPI, from the companion library FileSystemMPI
/// (CMake target FileSystem::FileSystemMPI).
///
/// Levels: World is a duplicate of MPI_COMM_WORLD; Local is the group made by
/// InitLocal (by node, or by the colors the processes give), and the whole
/// world until then. Both communicators return errors instead of ending the
/// program, so a failing operation answers false.
///
/// Colors belong to the Local level: InitLocal with a non-negative color
/// makes the groups of that color; with a negative color (localByNode) the
/// groups are the nodes, colored 0, 1, ... in the order of their first world
/// process. World has no colors.
///
/// Init asks MPI for MPI_THREAD_SERIALIZED: any thread may call, one at a
/// time. Register the implementation with ParallelProcessMPIInstaller before
/// the runtime is initialised.
class FILESYSTEM_EXPORT ParallelProcessMPI : public ParallelProcess {
public:
    /// The color for InitLocal that groups the processes by node.
    static constexpr int localByNode = -1;
    /// The thread support that Init asks of MPI.
    static constexpr int requestedThreadSupport = MPI_THREAD_SERIALIZED;

    ParallelProcessMPI();
    /// Frees nothing of MPI and does not finalise it: call Finalize (or use
    /// ParallelProcessInitializeGuard) before the program ends.
    ~ParallelProcessMPI() override;

    /// The communicator of a level; MPI_COMM_NULL before Init. For
    /// applications that call MPI themselves on the same groups; the
    /// communicator stays this object's own (do not free it).
    MPI_Comm communicator(ParallelProcessLevel level) const;
    /// The thread support that MPI gave (MPI_THREAD_SINGLE ...
    /// MPI_THREAD_MULTIPLE); -1 before Init.
    int providedThreadSupport() const { return m_providedThreadSupport; }

protected:
    /// The MPI operations (see the class description). Before Init every
    /// query answers as a single process and every communication fails.
    ///@{
    ParallelProcessType do_getType() const override;
    bool do_isValid() const override;
    bool do_Init(int argc, char** argv) override;
    bool do_IsInitialized() const override;
    bool do_Finalize() override;
    bool do_InitLocal(int color, int key) override;
    bool do_IsLocalInitialized() const override;
    void do_Abort(int code, ParallelProcessLevel level) override;
    int do_GetProcessID(ParallelProcessLevel level) const override;
    int do_GetProcess0WorldProcessID(ParallelProcessLevel level) const override;
    std::set<int> do_GetProcess0WorldProcessIDs(ParallelProcessLevel level) const override;
    int do_GetNumberOfProcesses(ParallelProcessLevel level) const override;
    bool do_GetParallelProcessActive(ParallelProcessLevel level) const override;
    bool do_Barrier(ParallelProcessLevel level) override;
    std::set<int> do_GetProcessColors(ParallelProcessLevel level) const override;
    std::optional<int> do_GetProcessColor(ParallelProcessLevel level) const override;
    std::optional<int> do_GetProcessColorProcess0WorldProcessID(int color, ParallelProcessLevel level) const override;
    int do_DefaultRecvTag() const override;
    int do_DefaultSendTag() const override;
    bool do_WaitAll(ParallelProcessRequest& request) override;
    std::string do_getVersionInfo() const override;
    std::string do_determineMPIMachineName() const override;
    std::unique_ptr<ParallelProcessRequestPrivate> do_createParallelProcessRequestPrivate() const override;
    bool do_Send(ParallelProcessConstBuffer data, int count, int process, int tag,
                 ParallelProcessLevel level) override;
    bool do_ASend(ParallelProcessConstBuffer data, int count, int process, int tag, ParallelProcessRequest& request,
                  ParallelProcessLevel level) override;
    bool do_Recv(ParallelProcessBuffer data, int count, int process, int tag, ParallelProcessLevel level) override;
    bool do_ARecv(ParallelProcessBuffer data, int count, int process, int tag, ParallelProcessRequest& request,
                  ParallelProcessLevel level) override;
    bool do_SendRecv(ParallelProcessConstBuffer sendData, int sendCount, int destination, int sendTag,
                     ParallelProcessBuffer recvData, int recvCount, int source, int recvTag,
                     ParallelProcessLevel level) override;
    bool do_Bcast(ParallelProcessBuffer data, int count, int root, ParallelProcessLevel level) override;
    bool do_Reduce(ParallelProcessBuffer data, int count, ParallelProcessOperation operation, int root,
                   ParallelProcessLevel level) override;
    bool do_AllReduce(ParallelProcessBuffer data, int count, ParallelProcessOperation operation,
                      ParallelProcessLevel level) override;
    bool do_Gather(ParallelProcessVectorBuffer data, int count, int root, ParallelProcessLevel level) override;
    bool do_AllGather(ParallelProcessVectorBuffer data, int count, ParallelProcessLevel level) override;
    bool do_StringGather(ParallelProcessStringBuffer data, int count, int root, ParallelProcessLevel level) override;
    bool do_AllStringGather(ParallelProcessStringBuffer data, int count, ParallelProcessLevel level) override;
    ///@}

private:
    /// The level's communicator, or MPI_COMM_NULL before Init.
    MPI_Comm comm(ParallelProcessLevel level) const;
    void freeLocal();

    bool m_initialized = false;
    bool m_ownsMPI = false; // Init started MPI, so Finalize ends it
    int m_providedThreadSupport = -1;
    MPI_Comm m_world = MPI_COMM_NULL;
    int m_worldRank = 0;
    int m_worldSize = 1;
    MPI_Comm m_local = MPI_COMM_NULL; // made by InitLocal
    int m_localRank = 0;
    int m_localSize = 1;
    std::optional<int> m_color;
    std::map<int, int> m_colorProcess0; // color of each group -> world number of its process 0
};

/// Registers ParallelProcessMPI with ParallelProcessManager. Call install()
/// at the start of main, before the runtime is initialised:
///
///     FileSystem::ParallelProcessMPIInstaller::install();
///     FileSystem::ParallelProcessInitializeGuard guard(argc, argv);
class FILESYSTEM_EXPORT ParallelProcessMPIInstaller : public ParallelProcessManager {
public:
    ParallelProcessMPIInstaller() = delete;

    /// Makes an MPI implementation the manager's active one and returns it;
    /// null when the manager's runtime is initialised already. Raises
    /// std::logic_error "Attempting to attach second comm" when an
    /// implementation is registered already.
    static ParallelProcessMPI* install();
    /// Gives the implementation that install() registered back to the
    /// trivial one; false when none is registered or it is still initialised.
    static bool uninstall();
};

} // namespace FileSystem
