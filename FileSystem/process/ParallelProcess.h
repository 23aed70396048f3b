#pragma once

#include <FileSystem/Export.h>

#include <memory>
#include <optional>
#include <set>
#include <string>
#include <type_traits>
#include <variant>
#include <vector>

namespace Tools {
class ToolProgress;
}

namespace FileSystem {

/// The implementations of ParallelProcess; the numbers are stable.
enum class ParallelProcessType : int {
    None = 0,    ///< no implementation (what an empty object answers)
    Trivial = 1, ///< ParallelProcessTrivial: a single process
    MPI = 2,     ///< the MPI implementation of the companion library FileSystemMPI
};

/// The communicator levels an operation works on; the numbers are stable.
enum class ParallelProcessLevel : int {
    /// The process's group, as made by ParallelProcess::InitLocal; until groups
    /// are made, all processes of the run form the one group.
    Local = 1,
    World = 2, ///< all processes of the run
};

/// The reduction operations of ParallelProcess::Reduce and AllReduce; the
/// numbers are stable. `bool` data takes only the logical operations, floating
/// data only maximum, minimum, sum and product.
enum class ParallelProcessOperation : int {
    Maximum = 0,    ///< the largest value
    Minimum = 1,    ///< the smallest value
    Sum = 2,        ///< the sum
    Product = 3,    ///< the product
    LogicalAnd = 4, ///< true when all values are true (non-zero)
    BitwiseAnd = 5, ///< the bits set in all values
    LogicalOr = 6,  ///< true when any value is true (non-zero)
    BitwiseOr = 7,  ///< the bits set in any value
    LogicalXor = 8, ///< true when an odd number of values is true
    BitwiseXor = 9, ///< the bits set in an odd number of values
};

/// Data that an operation writes (or reads and writes): a pointer to `count`
/// values of one type. std::monostate, or a null pointer, is no data.
using ParallelProcessBuffer =
    std::variant<std::monostate, bool*, short*, unsigned short*, int*, unsigned int*, long*, unsigned long*,
                 long long*, unsigned long long*, float*, double*, long double*>;

/// Data that an operation only reads: a pointer to `count` values of one type.
/// std::monostate, or a null pointer, is no data.
using ParallelProcessConstBuffer =
    std::variant<std::monostate, const bool*, const short*, const unsigned short*, const int*, const unsigned int*,
                 const long*, const unsigned long*, const long long*, const unsigned long long*, const float*,
                 const double*, const long double*>;

/// The data of a gather: a vector whose first `count` values are this
/// process's part, and which receives the parts of all processes.
using ParallelProcessVectorBuffer =
    std::variant<std::monostate, std::vector<bool>*, std::vector<short>*, std::vector<unsigned short>*,
                 std::vector<int>*, std::vector<unsigned int>*, std::vector<long>*, std::vector<unsigned long>*,
                 std::vector<long long>*, std::vector<unsigned long long>*, std::vector<float>*,
                 std::vector<double>*, std::vector<long double>*>;

/// The data of a string gather: a vector of strings whose first `count` are
/// this process's part, and which receives the parts of all processes.
using ParallelProcessStringBuffer = std::variant<std::monostate, std::vector<std::string>*>;

/// True when a buffer holds data: a pointer that is not null.
template <class... Pointers>
bool parallelProcessHasData(const std::variant<std::monostate, Pointers...>& buffer) {
    return std::visit(
        [](const auto& pointer) {
            if constexpr (std::is_same_v<std::decay_t<decltype(pointer)>, std::monostate>)
                return false;
            else
                return pointer != nullptr;
        },
        buffer);
}

class ParallelProcessManager;

/// The state of the outstanding non-blocking operations of a request, of one
/// implementation. Each implementation makes its own kind
/// (ParallelProcess::createParallelProcessRequestPrivate).
class FILESYSTEM_EXPORT ParallelProcessRequestPrivate {
public:
    virtual ~ParallelProcessRequestPrivate();

    /// The implementation the state belongs to.
    virtual ParallelProcessType getType() const = 0;
    /// Prepares the state for `count` operations; earlier operations still
    /// outstanding are completed first.
    virtual void Init(int count) = 0;
    /// Prepares the state for new operations; earlier operations still
    /// outstanding are completed first.
    virtual void ReInit() = 0;
    /// A new state of the same kind and size, without outstanding operations:
    /// an operation is waited for only through the request that started it.
    virtual std::unique_ptr<ParallelProcessRequestPrivate> clone() const = 0;
};

/// The request state of the trivial implementation, where nothing is ever outstanding.
class FILESYSTEM_EXPORT ParallelProcessTrivialRequestPrivate : public ParallelProcessRequestPrivate {
public:
    /// ParallelProcessType::Trivial.
    ParallelProcessType getType() const override;
    /// Does nothing.
    void Init(int count) override;
    /// Does nothing.
    void ReInit() override;
    /// Another trivial state.
    std::unique_ptr<ParallelProcessRequestPrivate> clone() const override;
};

class ParallelProcess;

/// A handle of non-blocking operations (ParallelProcess::ASend, ARecv), which
/// ParallelProcess::WaitAll completes. Its state comes from the implementation
/// that made it, and only that implementation can use it.
class FILESYSTEM_EXPORT ParallelProcessRequest {
public:
    /// A request of the active implementation of ParallelProcessManager.
    ParallelProcessRequest();
    /// A request of `comm`, for an implementation used without the manager.
    explicit ParallelProcessRequest(const ParallelProcess& comm);
    /// A copy has a clone of the state (without the outstanding operations);
    /// a request without state copies as one without state.
    ///@{
    ParallelProcessRequest(const ParallelProcessRequest& other);
    ParallelProcessRequest& operator=(const ParallelProcessRequest& other);
    ///@}
    /// Moves the state; the source is left without state.
    ///@{
    ParallelProcessRequest(ParallelProcessRequest&& other) noexcept;
    ParallelProcessRequest& operator=(ParallelProcessRequest&& other) noexcept;
    ///@}
    virtual ~ParallelProcessRequest();

    /// The state; null when the request has none.
    ///@{
    ParallelProcessRequestPrivate* getPrivate() { return m_private.get(); }
    const ParallelProcessRequestPrivate* getPrivate() const { return m_private.get(); }
    ///@}
    /// The implementation of the state; None when the request has none.
    ParallelProcessType getType() const;
    /// ParallelProcessRequestPrivate::Init of the state; nothing without state.
    void Init(int count);
    /// ParallelProcessRequestPrivate::ReInit of the state; nothing without state.
    void ReInit();

private:
    std::unique_ptr<ParallelProcessRequestPrivate> m_private;
};

/// The interface of a parallel runtime of processes (MPI or a single
/// process). Every operation has an answer on a single process, so code
/// need not ask whether it runs in parallel.
///
/// Process numbers, counts and tags are those of the level the operation
/// works on. Collective operations (barrier, broadcast, reductions, gathers,
/// InitLocal) must be reached by all processes of the level, in the same
/// order and with matching arguments; the buffers of a collective hold the
/// same type on all processes. Operations report failure by `false`.
class FILESYSTEM_EXPORT ParallelProcess {
public:
    /// The level that operations use when none is given.
    static constexpr ParallelProcessLevel defaultLevel = ParallelProcessLevel::Local;

    ParallelProcess() = default;
    /// Not copyable: an implementation stands for a runtime.
    ///@{
    ParallelProcess(const ParallelProcess&) = delete;
    ParallelProcess& operator=(const ParallelProcess&) = delete;
    ///@}
    virtual ~ParallelProcess();

    /// The implementation.
    ParallelProcessType getType() const { return do_getType(); }
    /// True when the implementation can work.
    bool isValid() const { return do_isValid(); }
    /// Starts the runtime with the program's arguments (which may be 0 and
    /// null); true when it runs, also when it already did.
    bool Init(int argc, char** argv) { return do_Init(argc, argv); }
    /// True between Init and Finalize.
    bool IsInitialized() const { return do_IsInitialized(); }
    /// Ends the runtime; true when it ended or did not run.
    bool Finalize() { return do_Finalize(); }
    /// Divides the processes of the world into groups, which the Local level
    /// then works on (collective over the world). Processes that pass the same
    /// non-negative `color` form one group, and the group has that color; a
    /// negative color groups the processes by the node (machine) they run on,
    /// and the nodes are colored 0, 1, ... in the order of their first world
    /// process. `key` orders the processes within a group (ties by world
    /// process number). A second call replaces the groups. False when there
    /// is no parallel runtime, before Init, or when the processes passed
    /// colors of both kinds.
    bool InitLocal(int color, int key) { return do_InitLocal(color, key); }
    /// True when InitLocal made the groups.
    bool IsLocalInitialized() const { return do_IsLocalInitialized(); }
    /// Ends all processes of the level with `code`, when a parallel runtime
    /// runs; a single process goes on.
    void Abort(int code, ParallelProcessLevel level = defaultLevel) { do_Abort(code, level); }
    /// This process's number at the level, from 0.
    int GetProcessID(ParallelProcessLevel level = defaultLevel) const { return do_GetProcessID(level); }
    /// The world number of process 0 of this process's group at the level.
    int GetProcess0WorldProcessID(ParallelProcessLevel level = defaultLevel) const {
        return do_GetProcess0WorldProcessID(level);
    }
    /// The world numbers of process 0 of every group at the level.
    std::set<int> GetProcess0WorldProcessIDs(ParallelProcessLevel level = defaultLevel) const {
        return do_GetProcess0WorldProcessIDs(level);
    }
    /// The number of processes of this process's group at the level.
    int GetNumberOfProcesses(ParallelProcessLevel level = defaultLevel) const {
        return do_GetNumberOfProcesses(level);
    }
    /// True when a parallel runtime works at the level: World after Init,
    /// Local after InitLocal.
    bool GetParallelProcessActive(ParallelProcessLevel level = defaultLevel) const {
        return do_GetParallelProcessActive(level);
    }
    /// Waits until all processes of the level arrive; true on success.
    bool Barrier(ParallelProcessLevel level = defaultLevel) { return do_Barrier(level); }
    /// The colors of all groups at the level; empty when the level has none.
    std::set<int> GetProcessColors(ParallelProcessLevel level = defaultLevel) const {
        return do_GetProcessColors(level);
    }
    /// The color of this process's group at the level; empty when the level has none.
    std::optional<int> GetProcessColor(ParallelProcessLevel level = defaultLevel) const {
        return do_GetProcessColor(level);
    }
    /// The world number of process 0 of the group with `color`; empty when
    /// there is no such group.
    std::optional<int> GetProcessColorProcess0WorldProcessID(int color,
                                                             ParallelProcessLevel level = defaultLevel) const {
        return do_GetProcessColorProcess0WorldProcessID(color, level);
    }
    /// The tag to receive with when the caller has none of its own.
    int DefaultRecvTag() const { return do_DefaultRecvTag(); }
    /// The tag to send with when the caller has none of its own.
    int DefaultSendTag() const { return do_DefaultSendTag(); }
    /// Completes all outstanding operations of `request`; true on success.
    bool WaitAll(ParallelProcessRequest& request) { return do_WaitAll(request); }
    /// The runtime's own description of its version; "" without a runtime.
    std::string getVersionInfo() const { return do_getVersionInfo(); }
    /// The name of the machine as the runtime knows it; "" without a runtime.
    std::string determineMPIMachineName() const { return do_determineMPIMachineName(); }
    /// A new request state of this implementation.
    std::unique_ptr<ParallelProcessRequestPrivate> createParallelProcessRequestPrivate() const {
        return do_createParallelProcessRequestPrivate();
    }
    /// Sends `count` values to `process` with `tag`, and returns when the
    /// data may be reused.
    bool Send(ParallelProcessConstBuffer data, int count, int process, int tag,
              ParallelProcessLevel level = defaultLevel) {
        return do_Send(data, count, process, tag, level);
    }
    /// Starts sending `count` values to `process` with `tag`; the data must
    /// stay until WaitAll of `request`.
    bool ASend(ParallelProcessConstBuffer data, int count, int process, int tag, ParallelProcessRequest& request,
               ParallelProcessLevel level = defaultLevel) {
        return do_ASend(data, count, process, tag, request, level);
    }
    /// Receives up to `count` values from `process` with `tag`.
    bool Recv(ParallelProcessBuffer data, int count, int process, int tag,
              ParallelProcessLevel level = defaultLevel) {
        return do_Recv(data, count, process, tag, level);
    }
    /// Starts receiving up to `count` values from `process` with `tag`; the
    /// data is there after WaitAll of `request`.
    bool ARecv(ParallelProcessBuffer data, int count, int process, int tag, ParallelProcessRequest& request,
               ParallelProcessLevel level = defaultLevel) {
        return do_ARecv(data, count, process, tag, request, level);
    }
    /// Sends to `destination` and receives from `source` in one step, which
    /// cannot deadlock in a ring.
    bool SendRecv(ParallelProcessConstBuffer sendData, int sendCount, int destination, int sendTag,
                  ParallelProcessBuffer recvData, int recvCount, int source, int recvTag,
                  ParallelProcessLevel level = defaultLevel) {
        return do_SendRecv(sendData, sendCount, destination, sendTag, recvData, recvCount, source, recvTag, level);
    }
    /// Gives all processes the `count` values of `root`.
    bool Bcast(ParallelProcessBuffer data, int count, int root, ParallelProcessLevel level = defaultLevel) {
        return do_Bcast(data, count, root, level);
    }
    /// Combines the `count` values of all processes value by value; `root`
    /// gets the result in its data, the others' data stays.
    bool Reduce(ParallelProcessBuffer data, int count, ParallelProcessOperation operation, int root,
                ParallelProcessLevel level = defaultLevel) {
        return do_Reduce(data, count, operation, root, level);
    }
    /// Combines the `count` values of all processes value by value; every
    /// process gets the result in its data.
    bool AllReduce(ParallelProcessBuffer data, int count, ParallelProcessOperation operation,
                   ParallelProcessLevel level = defaultLevel) {
        return do_AllReduce(data, count, operation, level);
    }
    /// Each process gives the first `count` values of its vector (counts may
    /// differ); the vector of `root` becomes all of them in process order,
    /// the others' vectors stay. On a single process nothing changes.
    bool Gather(ParallelProcessVectorBuffer data, int count, int root, ParallelProcessLevel level = defaultLevel) {
        return do_Gather(data, count, root, level);
    }
    /// Gather, after which every process has all values.
    bool AllGather(ParallelProcessVectorBuffer data, int count, ParallelProcessLevel level = defaultLevel) {
        return do_AllGather(data, count, level);
    }
    /// Gather of strings: each process gives the first `count` strings of its
    /// vector; the vector of `root` becomes all of them in process order.
    bool StringGather(ParallelProcessStringBuffer data, int count, int root,
                      ParallelProcessLevel level = defaultLevel) {
        return do_StringGather(data, count, root, level);
    }
    /// StringGather, after which every process has all strings.
    bool AllStringGather(ParallelProcessStringBuffer data, int count, ParallelProcessLevel level = defaultLevel) {
        return do_AllStringGather(data, count, level);
    }

protected:
    /// The operations of an implementation, one for each public operation of
    /// the same name without `do_`.
    ///@{
    virtual ParallelProcessType do_getType() const = 0;
    virtual bool do_isValid() const = 0;
    virtual bool do_Init(int argc, char** argv) = 0;
    virtual bool do_IsInitialized() const = 0;
    virtual bool do_Finalize() = 0;
    virtual bool do_InitLocal(int color, int key) = 0;
    virtual bool do_IsLocalInitialized() const = 0;
    virtual void do_Abort(int code, ParallelProcessLevel level) = 0;
    virtual int do_GetProcessID(ParallelProcessLevel level) const = 0;
    virtual int do_GetProcess0WorldProcessID(ParallelProcessLevel level) const = 0;
    virtual std::set<int> do_GetProcess0WorldProcessIDs(ParallelProcessLevel level) const = 0;
    virtual int do_GetNumberOfProcesses(ParallelProcessLevel level) const = 0;
    virtual bool do_GetParallelProcessActive(ParallelProcessLevel level) const = 0;
    virtual bool do_Barrier(ParallelProcessLevel level) = 0;
    virtual std::set<int> do_GetProcessColors(ParallelProcessLevel level) const = 0;
    virtual std::optional<int> do_GetProcessColor(ParallelProcessLevel level) const = 0;
    virtual std::optional<int> do_GetProcessColorProcess0WorldProcessID(int color,
                                                                        ParallelProcessLevel level) const = 0;
    virtual int do_DefaultRecvTag() const = 0;
    virtual int do_DefaultSendTag() const = 0;
    virtual bool do_WaitAll(ParallelProcessRequest& request) = 0;
    virtual std::string do_getVersionInfo() const = 0;
    virtual std::string do_determineMPIMachineName() const = 0;
    virtual std::unique_ptr<ParallelProcessRequestPrivate> do_createParallelProcessRequestPrivate() const = 0;
    virtual bool do_Send(ParallelProcessConstBuffer data, int count, int process, int tag,
                         ParallelProcessLevel level) = 0;
    virtual bool do_ASend(ParallelProcessConstBuffer data, int count, int process, int tag,
                          ParallelProcessRequest& request, ParallelProcessLevel level) = 0;
    virtual bool do_Recv(ParallelProcessBuffer data, int count, int process, int tag, ParallelProcessLevel level) = 0;
    virtual bool do_ARecv(ParallelProcessBuffer data, int count, int process, int tag,
                          ParallelProcessRequest& request, ParallelProcessLevel level) = 0;
    virtual bool do_SendRecv(ParallelProcessConstBuffer sendData, int sendCount, int destination, int sendTag,
                             ParallelProcessBuffer recvData, int recvCount, int source, int recvTag,
                             ParallelProcessLevel level) = 0;
    virtual bool do_Bcast(ParallelProcessBuffer data, int count, int root, ParallelProcessLevel level) = 0;
    virtual bool do_Reduce(ParallelProcessBuffer data, int count, ParallelProcessOperation operation, int root,
                           ParallelProcessLevel level) = 0;
    virtual bool do_AllReduce(ParallelProcessBuffer data, int count, ParallelProcessOperation operation,
                              ParallelProcessLevel level) = 0;
    virtual bool do_Gather(ParallelProcessVectorBuffer data, int count, int root, ParallelProcessLevel level) = 0;
    virtual bool do_AllGather(ParallelProcessVectorBuffer data, int count, ParallelProcessLevel level) = 0;
    virtual bool do_StringGather(ParallelProcessStringBuffer data, int count, int root,
                                 ParallelProcessLevel level) = 0;
    virtual bool do_AllStringGather(ParallelProcessStringBuffer data, int count, ParallelProcessLevel level) = 0;
    ///@}
};

/// The process-wide entry to the parallel runtime: a ParallelProcess that
/// forwards every operation to the registered implementation, or to the
/// trivial one while none is registered. Another library registers its
/// implementation through a class derived from this one (an installer),
/// before the runtime is initialised.
class FILESYSTEM_EXPORT ParallelProcessManager : public ParallelProcess {
public:
    /// The manager, made with its trivial implementation on first use (thread-safe).
    static ParallelProcessManager& instance();

    ~ParallelProcessManager() override;

protected:
    /// Makes `comm` the active implementation and returns it. Raises
    /// std::logic_error "Attempting to attach second comm" when one is
    /// registered already, and "Attempting to attach initialized comm" when
    /// `comm` is initialised. Returns null, and `comm` stays with the caller,
    /// when the active implementation is initialised.
    static ParallelProcess* registerComm(std::unique_ptr<ParallelProcess>&& comm);
    /// Gives the registered implementation `comm` back, and the trivial one is
    /// active again; empty when the active one is initialised or `comm` is not
    /// the registered one.
    static std::unique_ptr<ParallelProcess> unregisterComm(ParallelProcess* comm);

    /// Forward to the active implementation.
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
    ParallelProcessManager();

    ParallelProcess* getActiveComm() const;

    std::unique_ptr<ParallelProcess> m_registered;
    std::unique_ptr<ParallelProcess> m_trivial;
};

/// The implementation for a single process, active until another one is
/// registered: process 0 of 1 at every level; communication with process 0
/// succeeds and leaves the data as it is.
class FILESYSTEM_EXPORT ParallelProcessTrivial : public ParallelProcess {
protected:
    /// The answers of a single process.
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
    bool m_initialized = false;
};

/// Initialises the parallel runtime of ParallelProcessManager for a scope
/// and finalises it at the end of the scope, whatever Init answered.
class FILESYSTEM_EXPORT ParallelProcessInitializeGuard {
public:
    /// Init of the manager with the program's arguments.
    ParallelProcessInitializeGuard(int argc, char** const argv);
    /// Finalize of the manager; exceptions from it are swallowed.
    virtual ~ParallelProcessInitializeGuard();
    /// Not copyable: one guard, one Finalize.
    ///@{
    ParallelProcessInitializeGuard(const ParallelProcessInitializeGuard&) = delete;
    ParallelProcessInitializeGuard& operator=(const ParallelProcessInitializeGuard&) = delete;
    ///@}

    /// True when Init succeeded.
    explicit operator bool() const { return m_initialized; }
    /// The manager when Init succeeded; null otherwise.
    ParallelProcessManager* operator->() const;

private:
    bool m_initialized;
};

/// A label of this process for log lines: "world id/world count", then, when
/// the process's group has a color, " - color." followed by "local id/local
/// count" if the Local level is active; without a color, " - local id/local
/// count" if the Local level is active. A single process gives "0/1".
FILESYSTEM_EXPORT std::string generateThreadLabel(const ParallelProcess& comm);
/// The label of ParallelProcessManager (the guard stands for it).
FILESYSTEM_EXPORT std::string generateThreadLabel(const ParallelProcessInitializeGuard& guard);

/// True when `progress` was cancelled on any process of the level (false for
/// a null progress). Collective: every process of the level must call it,
/// also one without a progress, and all get the same answer.
FILESYSTEM_EXPORT bool parallelProcessIsCancelled(Tools::ToolProgress* progress,
                                                  ParallelProcessLevel level = ParallelProcess::defaultLevel);
/// parallelProcessIsCancelled over the whole world.
FILESYSTEM_EXPORT bool parallelProcessWorldIsCancelled(Tools::ToolProgress* progress);
/// True when `progress` had a fatal error on any process of the level (false
/// for a null progress). Collective like parallelProcessIsCancelled.
FILESYSTEM_EXPORT bool parallelProcessHadFatalError(Tools::ToolProgress* progress,
                                                    ParallelProcessLevel level = ParallelProcess::defaultLevel);
/// parallelProcessHadFatalError over the whole world.
FILESYSTEM_EXPORT bool parallelProcessWorldHadFatalError(Tools::ToolProgress* progress);

} // namespace FileSystem
