// ParallelProcessMPI under mpiexec. Every process runs the same checks in the
// same order and checks what it gets against what plain MPI says or what
// follows from its number; a wrong result makes that process exit non-zero,
// which fails the run. With the argument "abort", process 1 aborts the run
// with code 5 on the Local level while the others wait in a barrier.
#include <FileSystem/mpi/ParallelProcessMPI.h>
#include <FileSystem/utilities/ToolProgress.h>

#include <mpi.h>

#include <chrono>
#include <cstdio>
#include <iterator>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

using namespace FileSystem;
using L = ParallelProcessLevel;
using O = ParallelProcessOperation;

namespace {

int g_failures = 0;
int g_rank = -1;

void check(bool ok, const std::string& what) {
    if (!ok) {
        ++g_failures;
        std::fprintf(stderr, "process %d: FAILED: %s\n", g_rank, what.c_str());
    }
}

class Progress : public Tools::ToolProgress {
public:
    Progress(bool cancelled, bool fatal) : m_cancelled(cancelled), m_fatal(fatal) {}
    void setRange(int) override {}
    void setProgress(int, const std::string&) override {}
    bool isCancelled() const override { return m_cancelled; }
    bool hadFatalError() const override { return m_fatal; }
    void announceWorkList(const std::vector<std::string>&) override {}

private:
    bool m_cancelled;
    bool m_fatal;
};

std::string label(int id, int count) { return std::to_string(id) + "/" + std::to_string(count); }

void checkBarrier(ParallelProcessManager& comm, int rank) {
    // Process 0 comes late; the others must wait for it.
    MPI_Barrier(MPI_COMM_WORLD);
    if (rank == 0)
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
    const double start = MPI_Wtime();
    check(comm.Barrier(L::World), "world barrier");
    if (rank != 0)
        check(MPI_Wtime() - start > 0.15, "the barrier waited for process 0");
}

void checkBroadcastAndReductions(ParallelProcessManager& comm, int rank, int size) {
    const int root = size - 1;
    long long values[3] = {0, 0, 0};
    if (rank == root) {
        values[0] = 7LL * root;
        values[1] = -1;
        values[2] = 1LL << 40;
    }
    check(comm.Bcast(values, 3, root, L::World) && values[0] == 7LL * root && values[1] == -1 &&
              values[2] == (1LL << 40),
          "broadcast of long long from the last process");
    bool flag = rank == root;
    double number = rank == root ? 2.75 : 0.0;
    check(comm.Bcast(&flag, 1, root, L::World) && flag, "broadcast of bool");
    check(comm.Bcast(&number, 1, root, L::World) && number == 2.75, "broadcast of double");
    int unchanged = rank;
    check(!comm.Bcast(&unchanged, 1, size, L::World) && unchanged == rank,
          "broadcast from a process that is not there");

    // Reduce: the root gets the result, the others keep their data.
    int pair[2] = {rank, -rank};
    check(comm.Reduce(pair, 2, O::Maximum, 0, L::World), "reduce of maximum");
    if (rank == 0)
        check(pair[0] == size - 1 && pair[1] == 0, "maximum on the root");
    else
        check(pair[0] == rank && pair[1] == -rank, "data of the others stays");
    unsigned short count = static_cast<unsigned short>(rank + 1);
    check(comm.Reduce(&count, 1, O::Sum, root, L::World), "reduce of a sum");
    check(count == (rank == root ? size * (size + 1) / 2 : rank + 1), "sum on the root only");

    long sum = rank;
    check(comm.AllReduce(&sum, 1, O::Sum, L::World) && sum == size * (size - 1) / 2, "all-reduce of a sum");
    double product = rank + 1;
    double factorial = 1;
    for (int i = 2; i <= size; ++i)
        factorial *= i;
    check(comm.AllReduce(&product, 1, O::Product, L::World) && product == factorial, "all-reduce of a product");
    float minimum = 10.5f - static_cast<float>(rank);
    check(comm.AllReduce(&minimum, 1, O::Minimum, L::World) && minimum == 10.5f - static_cast<float>(size - 1),
          "all-reduce of a minimum");
    unsigned bits[2] = {1u << rank, ~0u ^ (1u << rank)};
    check(comm.AllReduce(bits, 2, O::BitwiseOr, L::World) && bits[0] == (1u << size) - 1 && bits[1] == ~0u,
          "all-reduce of bitwise or");
    unsigned long long mask = ~0ULL ^ (1ULL << rank);
    check(comm.AllReduce(&mask, 1, O::BitwiseAnd, L::World) && mask == ~((1ULL << size) - 1),
          "all-reduce of bitwise and");
    short odd = static_cast<short>(rank == 0 ? 12 : 0);
    check(comm.AllReduce(&odd, 1, O::BitwiseXor, L::World) && odd == 12, "all-reduce of bitwise xor");
    bool all = rank != 1;
    check(comm.AllReduce(&all, 1, O::LogicalAnd, L::World) && !all, "logical and");
    bool any = rank == 1;
    check(comm.AllReduce(&any, 1, O::LogicalOr, L::World) && any, "logical or");
    bool parity = true;
    check(comm.AllReduce(&parity, 1, O::LogicalXor, L::World) && parity == (size % 2 == 1), "logical xor");

    // Combinations that MPI does not define are refused alike on all processes.
    bool truth = true;
    double real = 1.5;
    check(!comm.AllReduce(&truth, 1, O::Sum, L::World) && truth, "no sum of bool");
    check(!comm.AllReduce(&real, 1, O::BitwiseOr, L::World) && real == 1.5, "no bitwise or of double");
    check(!comm.AllReduce(ParallelProcessBuffer{}, 1, O::Sum, L::World), "no data, no reduction");
}

void checkCancellation(int rank) {
    // Only process 1 was cancelled, process 2 has no progress at all: all decide the same.
    Progress cancelledHere(rank == 1, false);
    Progress quiet(false, false);
    Progress* progress = rank == 2 ? nullptr : rank == 1 ? &cancelledHere : &quiet;
    check(parallelProcessWorldIsCancelled(progress), "cancelled on one process is cancelled on all");
    check(parallelProcessIsCancelled(progress, L::World), "the same at world level");
    check(!parallelProcessWorldIsCancelled(rank == 1 ? &quiet : progress), "nobody cancelled");
    check(!parallelProcessWorldHadFatalError(progress), "no fatal error");
    Progress fatal(false, true);
    check(parallelProcessHadFatalError(rank == 0 ? &fatal : nullptr, L::World), "fatal error of process 0");
}

void checkGathers(ParallelProcessManager& comm, int rank, int size) {
    const int root = size - 1;
    // Each process gives rank + 1 values; the root gets all in process order.
    std::vector<int> expected;
    for (int p = 0; p < size; ++p)
        for (int i = 0; i <= p; ++i)
            expected.push_back(p * 10 + i);
    std::vector<int> mine;
    for (int i = 0; i <= rank; ++i)
        mine.push_back(rank * 10 + i);
    const std::vector<int> own = mine;
    check(comm.Gather(&mine, rank + 1, root, L::World), "gather of varying counts");
    check(mine == (rank == root ? expected : own), "the root has all values, the others their own");

    std::vector<double> pairs{rank + 0.5, -rank - 0.5, 99.0}; // the third value is not given
    check(comm.AllGather(&pairs, 2, L::World), "all-gather");
    bool pairsRight = pairs.size() == 2 * static_cast<std::size_t>(size);
    for (int p = 0; pairsRight && p < size; ++p)
        pairsRight = pairs[2 * p] == p + 0.5 && pairs[2 * p + 1] == -p - 0.5;
    check(pairsRight, "all-gather gives every process all values in order");

    std::vector<bool> flags{rank % 2 == 0, true};
    check(comm.AllGather(&flags, 2, L::World) && flags.size() == 2 * static_cast<std::size_t>(size),
          "all-gather of bool");
    for (int p = 0; p < size && flags.size() == 2 * static_cast<std::size_t>(size); ++p)
        check(flags[2 * p] == (p % 2 == 0) && flags[2 * p + 1], "bool values of process " + std::to_string(p));

    // A process with a count beyond its data takes part with nothing and
    // fails; the others go on and get the rest.
    std::vector<long> one{rank + 100L};
    const bool gathered = comm.AllGather(&one, rank == 0 ? 5 : 1, L::World);
    check(gathered == (rank != 0), "a wrong count fails on its process only");
    check(one.size() == static_cast<std::size_t>(size - 1) && (size < 2 || one.front() == 101L),
          "the parts of the other processes");

    // Strings: process p gives p strings, among them an empty one and one
    // with a zero byte and UTF-8.
    const auto stringsOf = [](int p) {
        std::vector<std::string> strings;
        for (int i = 0; i < p; ++i)
            strings.push_back(i == 1 ? std::string()
                                     : "p" + std::to_string(p) + (i == 2 ? std::string("\0\xc3\xbc", 3) : "") + "-" +
                                           std::to_string(i));
        return strings;
    };
    std::vector<std::string> everything;
    for (int p = 0; p < size; ++p)
        for (const std::string& s : stringsOf(p))
            everything.push_back(s);
    std::vector<std::string> strings = stringsOf(rank);
    strings.push_back("not given");
    std::vector<std::string> allStrings = strings;
    check(comm.StringGather(&strings, rank, 0, L::World), "string gather");
    if (rank == 0)
        check(strings == everything, "the root has all strings in order");
    else
        check(strings.size() == static_cast<std::size_t>(rank) + 1, "the others keep their strings");
    check(comm.AllStringGather(&allStrings, rank, L::World) && allStrings == everything, "all-string gather");
}

void checkPointToPoint(ParallelProcessManager& comm, int rank, int size) {
    // Pairs: even processes send to the next one.
    unsigned data[4] = {0, 0, 0, 0};
    if (rank % 2 == 0 && rank + 1 < size) {
        const unsigned sent[4] = {1u, 2u, static_cast<unsigned>(rank), 4000000000u};
        check(comm.Send(sent, 4, rank + 1, comm.DefaultSendTag(), L::World), "send");
    } else if (rank % 2 == 1) {
        check(comm.Recv(data, 4, rank - 1, comm.DefaultRecvTag(), L::World) && data[0] == 1u && data[1] == 2u &&
                  data[2] == static_cast<unsigned>(rank - 1) && data[3] == 4000000000u,
              "receive");
    }
    const int one = 1;
    check(!comm.Send(&one, 1, size, 1, L::World), "send to a process that is not there");

    // A ring without deadlock.
    int received = -1;
    check(comm.SendRecv(&rank, 1, (rank + 1) % size, 3, &received, 1, (rank + size - 1) % size, 3, L::World) &&
              received == (rank + size - 1) % size,
          "send-receive in a ring");

    // Everyone to everyone, non-blocking, with one request.
    ParallelProcessRequest request;
    check(request.getType() == ParallelProcessType::MPI, "requests of the MPI implementation");
    request.Init(2 * (size - 1));
    std::vector<long double> in(static_cast<std::size_t>(size), -1.0L);
    std::vector<long double> out(static_cast<std::size_t>(size));
    for (int p = 0; p < size; ++p) {
        if (p == rank)
            continue;
        out[static_cast<std::size_t>(p)] = rank * 100.0L + p + 0.25L;
        check(comm.ARecv(&in[static_cast<std::size_t>(p)], 1, p, 7, request, L::World), "non-blocking receive");
        check(comm.ASend(&out[static_cast<std::size_t>(p)], 1, p, 7, request, L::World), "non-blocking send");
    }
    ParallelProcessRequest copy(request); // has none of the outstanding operations
    check(comm.WaitAll(copy), "a copy has nothing to wait for");
    check(comm.WaitAll(request), "wait for all");
    for (int p = 0; p < size; ++p)
        if (p != rank)
            check(in[static_cast<std::size_t>(p)] == p * 100.0L + rank + 0.25L,
                  "value from process " + std::to_string(p));
    check(comm.WaitAll(request), "nothing outstanding afterwards");

    ParallelProcessTrivial trivial;
    ParallelProcessRequest foreign(trivial);
    check(!comm.ASend(&one, 1, 0, 9, foreign, L::World), "a request of another implementation is refused");
}

int expectedLocalWorldRank(int color, int members, int localId) { return color + 2 * (members - 1 - localId); }

void checkNodeGroups(ParallelProcessManager& comm, const ParallelProcessMPI& mpi, int rank, int size) {
    // What plain MPI says about this process's node.
    MPI_Comm node;
    MPI_Comm_split_type(MPI_COMM_WORLD, MPI_COMM_TYPE_SHARED, 0, MPI_INFO_NULL, &node);
    int nodeRank = 0;
    int nodeSize = 0;
    int nodeLast = 0;
    MPI_Comm_rank(node, &nodeRank);
    MPI_Comm_size(node, &nodeSize);
    MPI_Allreduce(&rank, &nodeLast, 1, MPI_INT, MPI_MAX, node);
    std::vector<int> lasts(static_cast<std::size_t>(size));
    MPI_Allgather(&nodeLast, 1, MPI_INT, lasts.data(), 1, MPI_INT, MPI_COMM_WORLD);
    std::set<int> firsts(lasts.begin(), lasts.end()); // with the key below, a node's last process is its process 0
    const int nodeColor = static_cast<int>(std::distance(firsts.begin(), firsts.find(nodeLast)));

    // The key reverses the order within the node.
    check(comm.InitLocal(ParallelProcessMPI::localByNode, size - rank), "groups by node");
    check(comm.IsLocalInitialized() && comm.GetParallelProcessActive(L::Local), "the local level is active");
    check(comm.GetNumberOfProcesses() == nodeSize, "processes of the node");
    check(comm.GetProcessID() == nodeSize - 1 - nodeRank, "number in the node, in the order of the key");
    check(comm.GetProcess0WorldProcessID() == nodeLast, "process 0 of the node");
    check(comm.GetProcess0WorldProcessIDs() == firsts, "process 0 of every node");
    check(comm.GetProcessColor() == nodeColor, "the node's color");
    check(comm.GetProcessColors().size() == firsts.size() && comm.GetProcessColors().count(0) == 1,
          "the nodes are colored from 0");
    check(comm.GetProcessColorProcess0WorldProcessID(nodeColor) == nodeLast, "process 0 of the node's color");
    check(generateThreadLabel(comm) == label(rank, size) + " - " + std::to_string(nodeColor) + "." +
                                           label(nodeSize - 1 - nodeRank, nodeSize),
          "label with the node group");
    int compared = MPI_UNEQUAL;
    MPI_Comm_compare(mpi.communicator(L::Local), node, &compared);
    check(compared == (nodeSize > 1 ? MPI_SIMILAR : MPI_CONGRUENT), "the local communicator is the node");
    long nodeSum = rank;
    long expectedSum = 0;
    MPI_Allreduce(&nodeSum, &expectedSum, 1, MPI_LONG, MPI_SUM, node);
    check(comm.AllReduce(&nodeSum, 1, O::Sum) && nodeSum == expectedSum, "reduction over the node");
    check(comm.Barrier(), "barrier of the node");
    MPI_Comm_free(&node);
}

void checkColoredGroups(ParallelProcessManager& comm, int rank, int size) {
    // Even and odd processes, each group in the reverse order of the world.
    const int color = rank % 2;
    const int members = (size - color + 1) / 2;
    const int localId = members - 1 - rank / 2;
    check(comm.InitLocal(color, -rank), "groups by color");
    check(comm.GetNumberOfProcesses(L::Local) == members && comm.GetProcessID(L::Local) == localId,
          "number and count in the group");
    check(comm.GetNumberOfProcesses(L::World) == size && comm.GetProcessID(L::World) == rank, "the world stays");
    const int first0 = expectedLocalWorldRank(0, (size + 1) / 2, 0);
    const int first1 = expectedLocalWorldRank(1, size / 2, 0);
    check(comm.GetProcessColor(L::Local) == color && !comm.GetProcessColor(L::World), "colors are of the local level");
    check(comm.GetProcessColors(L::Local) == std::set<int>{0, 1} && comm.GetProcessColors(L::World).empty(),
          "both colors");
    check(comm.GetProcessColorProcess0WorldProcessID(0, L::Local) == first0 &&
              comm.GetProcessColorProcess0WorldProcessID(1, L::Local) == first1 &&
              !comm.GetProcessColorProcess0WorldProcessID(2, L::Local) &&
              !comm.GetProcessColorProcess0WorldProcessID(0, L::World),
          "process 0 of each color");
    check(comm.GetProcess0WorldProcessID(L::Local) == (color == 0 ? first0 : first1) &&
              comm.GetProcess0WorldProcessID(L::World) == 0,
          "process 0 of the own group");
    check(comm.GetProcess0WorldProcessIDs(L::Local) == std::set<int>{first0, first1} &&
              comm.GetProcess0WorldProcessIDs(L::World) == std::set<int>{0},
          "process 0 of all groups");
    check(generateThreadLabel(comm) ==
              label(rank, size) + " - " + std::to_string(color) + "." + label(localId, members),
          "label with the colored group");

    // Collectives and point-to-point work within the group.
    int value = rank;
    check(comm.Bcast(&value, 1, 0) && value == (color == 0 ? first0 : first1), "broadcast in the group");
    int sum = rank;
    int expectedSum = 0;
    for (int j = 0; j < members; ++j)
        expectedSum += expectedLocalWorldRank(color, members, j);
    check(comm.AllReduce(&sum, 1, O::Sum) && sum == expectedSum, "reduction in the group");
    int received = -1;
    const int previous = (localId + members - 1) % members;
    check(comm.SendRecv(&rank, 1, (localId + 1) % members, 4, &received, 1, previous, 4) &&
              received == expectedLocalWorldRank(color, members, previous),
          "ring in the group");
    std::vector<std::string> names{std::to_string(rank)};
    std::vector<std::string> expectedNames;
    for (int j = 0; j < members; ++j)
        expectedNames.push_back(std::to_string(expectedLocalWorldRank(color, members, j)));
    check(comm.AllStringGather(&names, 1) && names == expectedNames, "string gather in the group order");
    Progress cancelled(rank == 1, false);
    check(parallelProcessIsCancelled(&cancelled) == (color == 1), "cancelled in the group of process 1 only");

    // Node grouping on some processes and colors on others is refused by all;
    // the groups stay.
    check(!comm.InitLocal(rank == 0 ? ParallelProcessMPI::localByNode : 0, 0), "mixed kinds of grouping");
    check(comm.GetProcessColor() == color && comm.GetNumberOfProcesses() == members, "the groups stay");
}

int runAbort(int argc, char** argv) {
    ParallelProcessMPIInstaller::install();
    ParallelProcessInitializeGuard guard(argc, argv);
    ParallelProcessManager& comm = ParallelProcessManager::instance();
    comm.InitLocal(ParallelProcessMPI::localByNode, 0);
    if (comm.GetProcessID(L::World) == 1)
        comm.Abort(5, L::Local);
    comm.Barrier(L::World); // ended by the abort
    return 1;
}

} // namespace

int main(int argc, char** argv) {
    if (argc > 1 && std::string(argv[1]) == "abort")
        return runAbort(argc, argv);

    ParallelProcessManager& comm = ParallelProcessManager::instance();
    ParallelProcessMPI* mpi = ParallelProcessMPIInstaller::install();
    check(mpi != nullptr && comm.getType() == ParallelProcessType::MPI && comm.isValid(), "installed");
    try {
        ParallelProcessMPIInstaller::install();
        check(false, "a second implementation was installed");
    } catch (const std::logic_error& error) {
        check(std::string(error.what()) == "Attempting to attach second comm", "message of a second installation");
    }
    if (!mpi)
        return 1;

    // Before Init: one process, no communication; the version is known.
    const int zero = 0;
    check(!comm.IsInitialized() && comm.GetNumberOfProcesses(L::World) == 1, "a single process before Init");
    check(!comm.Send(&zero, 1, 0, 1), "no communication before Init");
    check(mpi->communicator(L::World) == MPI_COMM_NULL && comm.determineMPIMachineName().empty(), "no communicator");
    const std::string version = comm.getVersionInfo();
    check(!version.empty() && version.back() != '\n' && version.back() != '\0', "the library's version text");
#ifdef OPEN_MPI
    check(version.rfind("Open MPI", 0) == 0, "Open MPI tells its name");
#endif
    {
        ParallelProcessInitializeGuard guard(argc, argv);
        check(static_cast<bool>(guard) && guard->IsInitialized() && comm.Init(argc, argv), "initialised");
        int rank = -1;
        int size = 0;
        MPI_Comm_rank(MPI_COMM_WORLD, &rank);
        MPI_Comm_size(MPI_COMM_WORLD, &size);
        g_rank = rank;
        check(size >= 2, "the checks need at least 2 processes");
        if (size < 2)
            return 1; // the guard finalises
        check(comm.GetProcessID(L::World) == rank && comm.GetNumberOfProcesses(L::World) == size, "world");
        // Without groups, the local level is the world.
        check(!comm.IsLocalInitialized() && !comm.GetParallelProcessActive(L::Local) &&
                  comm.GetParallelProcessActive(L::World),
              "no groups yet");
        check(comm.GetProcessID() == rank && comm.GetNumberOfProcesses() == size && !comm.GetProcessColor() &&
                  comm.GetProcessColors().empty() && comm.GetProcess0WorldProcessIDs() == std::set<int>{0},
              "the local level is the world");
        check(generateThreadLabel(guard) == label(rank, size), "label of the world");
        int provided = -1;
        MPI_Query_thread(&provided);
        check(mpi->providedThreadSupport() == provided && provided >= MPI_THREAD_SINGLE, "thread support");
        char name[MPI_MAX_PROCESSOR_NAME];
        int length = 0;
        MPI_Get_processor_name(name, &length);
        check(comm.determineMPIMachineName() == std::string(name, static_cast<std::size_t>(length)), "machine name");
        int compared = MPI_UNEQUAL;
        MPI_Comm_compare(mpi->communicator(L::World), MPI_COMM_WORLD, &compared);
        check(compared == MPI_CONGRUENT, "the world communicator is a duplicate of MPI_COMM_WORLD");

        checkBarrier(comm, rank);
        checkBroadcastAndReductions(comm, rank, size);
        checkCancellation(rank);
        checkGathers(comm, rank, size);
        checkPointToPoint(comm, rank, size);
        checkNodeGroups(comm, *mpi, rank, size);
        checkColoredGroups(comm, rank, size);

        int failures = 0;
        MPI_Reduce(&g_failures, &failures, 1, MPI_INT, MPI_SUM, 0, MPI_COMM_WORLD);
        if (rank == 0)
            std::printf("%d processes: %d failed checks\n", size, failures);
    }
    // The guard finalised MPI, which cannot start again.
    int finalized = 0;
    MPI_Finalized(&finalized);
    check(finalized && !comm.IsInitialized() && !comm.IsLocalInitialized(), "finalised");
    check(!comm.Init(argc, argv), "MPI does not start twice");
    check(ParallelProcessMPIInstaller::uninstall() && comm.getType() == ParallelProcessType::Trivial, "uninstalled");
    return g_failures == 0 ? 0 : 1;
}
