#include <FileSystem/mpi/ParallelProcessMPI.h>

#include <algorithm>
#include <limits>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

namespace FileSystem {

namespace {

bool mpiRuns() {
    int initialized = 0;
    int finalized = 0;
    MPI_Initialized(&initialized);
    MPI_Finalized(&finalized);
    return initialized && !finalized;
}

// ---- Requests -------------------------------------------------------------------

// The MPI requests of the operations started through one ParallelProcessRequest.
class MPIRequestPrivate : public ParallelProcessRequestPrivate {
public:
    ~MPIRequestPrivate() override { complete(); }

    ParallelProcessType getType() const override { return ParallelProcessType::MPI; }
    void Init(int count) override {
        complete();
        m_requests.reserve(static_cast<std::size_t>(std::max(count, 0)));
    }
    void ReInit() override { complete(); }
    std::unique_ptr<ParallelProcessRequestPrivate> clone() const override {
        auto copy = std::make_unique<MPIRequestPrivate>();
        copy->m_requests.reserve(m_requests.capacity());
        return copy;
    }

    void add(MPI_Request request) { m_requests.push_back(request); }

    // Waits for all outstanding operations; afterwards none is outstanding.
    bool complete() {
        bool ok = true;
        if (!m_requests.empty() && mpiRuns())
            ok = MPI_Waitall(static_cast<int>(m_requests.size()), m_requests.data(), MPI_STATUSES_IGNORE) ==
                 MPI_SUCCESS;
        m_requests.clear();
        return ok;
    }

private:
    std::vector<MPI_Request> m_requests;
};

MPIRequestPrivate* mpiState(ParallelProcessRequest& request) {
    ParallelProcessRequestPrivate* state = request.getPrivate();
    return state && state->getType() == ParallelProcessType::MPI ? static_cast<MPIRequestPrivate*>(state) : nullptr;
}

// ---- Types and operations -----------------------------------------------------------

template <class T>
MPI_Datatype mpiType() {
    if constexpr (std::is_same_v<T, bool>)
        return MPI_CXX_BOOL;
    else if constexpr (std::is_same_v<T, short>)
        return MPI_SHORT;
    else if constexpr (std::is_same_v<T, unsigned short>)
        return MPI_UNSIGNED_SHORT;
    else if constexpr (std::is_same_v<T, int>)
        return MPI_INT;
    else if constexpr (std::is_same_v<T, unsigned int>)
        return MPI_UNSIGNED;
    else if constexpr (std::is_same_v<T, long>)
        return MPI_LONG;
    else if constexpr (std::is_same_v<T, unsigned long>)
        return MPI_UNSIGNED_LONG;
    else if constexpr (std::is_same_v<T, long long>)
        return MPI_LONG_LONG;
    else if constexpr (std::is_same_v<T, unsigned long long>)
        return MPI_UNSIGNED_LONG_LONG;
    else if constexpr (std::is_same_v<T, float>)
        return MPI_FLOAT;
    else if constexpr (std::is_same_v<T, double>)
        return MPI_DOUBLE;
    else {
        static_assert(std::is_same_v<T, long double>);
        return MPI_LONG_DOUBLE;
    }
}

// The MPI operation, or MPI_OP_NULL for a combination that MPI does not
// define: bool takes only the logical operations, floating types no
// logical or bitwise ones. All processes decide the same, so none is left
// waiting in the collective.
template <class T>
MPI_Op mpiOperation(ParallelProcessOperation operation) {
    using O = ParallelProcessOperation;
    constexpr bool logical = std::is_same_v<T, bool>;
    constexpr bool floating = std::is_floating_point_v<T>;
    switch (operation) {
    case O::Maximum: return logical ? MPI_OP_NULL : MPI_MAX;
    case O::Minimum: return logical ? MPI_OP_NULL : MPI_MIN;
    case O::Sum: return logical ? MPI_OP_NULL : MPI_SUM;
    case O::Product: return logical ? MPI_OP_NULL : MPI_PROD;
    case O::LogicalAnd: return floating ? MPI_OP_NULL : MPI_LAND;
    case O::BitwiseAnd: return floating || logical ? MPI_OP_NULL : MPI_BAND;
    case O::LogicalOr: return floating ? MPI_OP_NULL : MPI_LOR;
    case O::BitwiseOr: return floating || logical ? MPI_OP_NULL : MPI_BOR;
    case O::LogicalXor: return floating ? MPI_OP_NULL : MPI_LXOR;
    case O::BitwiseXor: return floating || logical ? MPI_OP_NULL : MPI_BXOR;
    }
    return MPI_OP_NULL;
}

// Calls `work` with the typed pointer of a buffer that holds data; false otherwise.
template <class Buffer, class Work>
bool withData(const Buffer& buffer, Work&& work) {
    if (!parallelProcessHasData(buffer))
        return false;
    return std::visit(
        [&](auto pointer) {
            if constexpr (std::is_same_v<decltype(pointer), std::monostate>)
                return false;
            else
                return work(pointer);
        },
        buffer);
}

bool succeeded(int code) { return code == MPI_SUCCESS; }

// ---- Gathers ------------------------------------------------------------------------

// Contiguous values of one type; std::vector<bool> packs its bits, so bool
// values travel through an array of their own.
template <class T>
class Values {
public:
    explicit Values(std::size_t size = 0) : m_values(size) {}
    Values(const std::vector<T>& source, std::size_t count) : m_values(source.begin(), source.begin() + count) {}
    T* data() { return m_values.data(); }
    std::vector<T> take() { return std::move(m_values); }

private:
    std::vector<T> m_values;
};

template <>
class Values<bool> {
public:
    explicit Values(std::size_t size = 0) : m_values(new bool[size > 0 ? size : 1]()), m_size(size) {}
    Values(const std::vector<bool>& source, std::size_t count) : Values(count) {
        std::copy(source.begin(), source.begin() + static_cast<std::ptrdiff_t>(count), m_values.get());
    }
    bool* data() { return m_values.get(); }
    std::vector<bool> take() { return std::vector<bool>(m_values.get(), m_values.get() + m_size); }

private:
    std::unique_ptr<bool[]> m_values;
    std::size_t m_size;
};

// Displacements of the parts; their sum, or -1 when it does not fit an int.
int displacements(const std::vector<int>& counts, std::vector<int>& offsets) {
    offsets.assign(counts.size(), 0);
    long long total = 0;
    for (std::size_t i = 0; i < counts.size(); ++i) {
        if (total > std::numeric_limits<int>::max())
            return -1;
        offsets[i] = static_cast<int>(total);
        total += counts[i];
    }
    return total > std::numeric_limits<int>::max() ? -1 : static_cast<int>(total);
}

// Gathers the first `count` values of each process's vector, in process
// order, on `root` (or on all when `root` is negative). A process whose count
// is wrong takes part with nothing, so that no other one waits for it, and
// answers false.
template <class T>
bool gatherValues(std::vector<T>& data, int count, int root, MPI_Comm comm) {
    const bool valid = count >= 0 && static_cast<std::size_t>(count) <= data.size();
    int mine = valid ? count : 0;
    int size = 0;
    int rank = 0;
    MPI_Comm_size(comm, &size);
    MPI_Comm_rank(comm, &rank);
    const bool all = root < 0;
    std::vector<int> counts(static_cast<std::size_t>(size));
    if (!succeeded(all ? MPI_Allgather(&mine, 1, MPI_INT, counts.data(), 1, MPI_INT, comm)
                       : MPI_Gather(&mine, 1, MPI_INT, counts.data(), 1, MPI_INT, root, comm)))
        return false;
    const bool receives = all || rank == root;
    std::vector<int> offsets;
    const int total = receives ? displacements(counts, offsets) : 0;
    Values<T> part(data, static_cast<std::size_t>(mine));
    Values<T> result(static_cast<std::size_t>(std::max(total, 0)));
    // An overflowing total ends this process's part of the collective: it cannot receive.
    const bool ok = total >= 0 &&
                    succeeded(all ? MPI_Allgatherv(part.data(), mine, mpiType<T>(), result.data(), counts.data(),
                                                   offsets.data(), mpiType<T>(), comm)
                                  : MPI_Gatherv(part.data(), mine, mpiType<T>(), result.data(), counts.data(),
                                                offsets.data(), mpiType<T>(), root, comm));
    if (ok && receives)
        data = result.take();
    return ok && valid;
}

// The same for strings: the number of strings and characters of each
// process, then the lengths of the strings, then their characters.
bool gatherStrings(std::vector<std::string>& data, int count, int root, MPI_Comm comm) {
    const bool valid = count >= 0 && static_cast<std::size_t>(count) <= data.size();
    const int mine = valid ? count : 0;
    std::vector<int> lengths;
    std::string characters;
    for (int i = 0; i < mine; ++i) {
        lengths.push_back(static_cast<int>(data[static_cast<std::size_t>(i)].size()));
        characters += data[static_cast<std::size_t>(i)];
    }
    const int sizes[2] = {mine, static_cast<int>(characters.size())};
    int size = 0;
    int rank = 0;
    MPI_Comm_size(comm, &size);
    MPI_Comm_rank(comm, &rank);
    const bool all = root < 0;
    std::vector<int> allSizes(2 * static_cast<std::size_t>(size));
    if (!succeeded(all ? MPI_Allgather(sizes, 2, MPI_INT, allSizes.data(), 2, MPI_INT, comm)
                       : MPI_Gather(sizes, 2, MPI_INT, allSizes.data(), 2, MPI_INT, root, comm)))
        return false;
    const bool receives = all || rank == root;
    std::vector<int> stringCounts(static_cast<std::size_t>(size));
    std::vector<int> characterCounts(static_cast<std::size_t>(size));
    for (std::size_t i = 0; i < stringCounts.size(); ++i) {
        stringCounts[i] = allSizes[2 * i];
        characterCounts[i] = allSizes[2 * i + 1];
    }
    std::vector<int> stringOffsets;
    std::vector<int> characterOffsets;
    const int stringTotal = receives ? displacements(stringCounts, stringOffsets) : 0;
    const int characterTotal = receives ? displacements(characterCounts, characterOffsets) : 0;
    std::vector<int> allLengths(static_cast<std::size_t>(std::max(stringTotal, 0)) + 1);
    std::string allCharacters(static_cast<std::size_t>(std::max(characterTotal, 0)), '\0');
    lengths.push_back(0); // never sent; keeps data() valid for an empty part
    bool ok = stringTotal >= 0 && characterTotal >= 0;
    ok = ok && succeeded(all ? MPI_Allgatherv(lengths.data(), mine, MPI_INT, allLengths.data(), stringCounts.data(),
                                              stringOffsets.data(), MPI_INT, comm)
                             : MPI_Gatherv(lengths.data(), mine, MPI_INT, allLengths.data(), stringCounts.data(),
                                           stringOffsets.data(), MPI_INT, root, comm));
    ok = ok && succeeded(all ? MPI_Allgatherv(characters.data(), sizes[1], MPI_CHAR, allCharacters.data(),
                                              characterCounts.data(), characterOffsets.data(), MPI_CHAR, comm)
                             : MPI_Gatherv(characters.data(), sizes[1], MPI_CHAR, allCharacters.data(),
                                           characterCounts.data(), characterOffsets.data(), MPI_CHAR, root, comm));
    if (ok && receives) {
        std::vector<std::string> result;
        result.reserve(static_cast<std::size_t>(stringTotal));
        std::size_t position = 0;
        for (int i = 0; i < stringTotal; ++i) {
            const auto length = static_cast<std::size_t>(allLengths[static_cast<std::size_t>(i)]);
            result.push_back(allCharacters.substr(position, length));
            position += length;
        }
        data = std::move(result);
    }
    return ok && valid;
}

} // namespace

// ---- Setup ---------------------------------------------------------------------------

ParallelProcessMPI::ParallelProcessMPI() = default;
ParallelProcessMPI::~ParallelProcessMPI() = default;

MPI_Comm ParallelProcessMPI::communicator(ParallelProcessLevel level) const { return comm(level); }

MPI_Comm ParallelProcessMPI::comm(ParallelProcessLevel level) const {
    if (!m_initialized)
        return MPI_COMM_NULL;
    return level == ParallelProcessLevel::Local && m_local != MPI_COMM_NULL ? m_local : m_world;
}

ParallelProcessType ParallelProcessMPI::do_getType() const { return ParallelProcessType::MPI; }
bool ParallelProcessMPI::do_isValid() const { return true; }

bool ParallelProcessMPI::do_Init(int argc, char** argv) {
    if (m_initialized)
        return true;
    int initialized = 0;
    int finalized = 0;
    MPI_Initialized(&initialized);
    MPI_Finalized(&finalized);
    if (finalized)
        return false; // MPI cannot start twice in a process
    if (initialized) {
        // The application started MPI itself: use it, and leave its end to the application.
        MPI_Query_thread(&m_providedThreadSupport);
        m_ownsMPI = false;
    } else {
        int* argcPointer = argv ? &argc : nullptr;
        char*** argvPointer = argv ? &argv : nullptr;
        if (!succeeded(MPI_Init_thread(argcPointer, argvPointer, requestedThreadSupport, &m_providedThreadSupport)))
            return false;
        m_ownsMPI = true;
    }
    if (!succeeded(MPI_Comm_dup(MPI_COMM_WORLD, &m_world)))
        return false;
    MPI_Comm_set_errhandler(m_world, MPI_ERRORS_RETURN);
    MPI_Comm_rank(m_world, &m_worldRank);
    MPI_Comm_size(m_world, &m_worldSize);
    m_initialized = true;
    return true;
}

bool ParallelProcessMPI::do_IsInitialized() const { return m_initialized; }

void ParallelProcessMPI::freeLocal() {
    if (m_local != MPI_COMM_NULL)
        MPI_Comm_free(&m_local);
    m_local = MPI_COMM_NULL;
    m_localRank = 0;
    m_localSize = 1;
    m_color.reset();
    m_colorProcess0.clear();
}

bool ParallelProcessMPI::do_Finalize() {
    if (!m_initialized)
        return true;
    freeLocal();
    MPI_Comm_free(&m_world);
    m_world = MPI_COMM_NULL;
    m_worldRank = 0;
    m_worldSize = 1;
    m_initialized = false;
    if (m_ownsMPI) {
        m_ownsMPI = false;
        return succeeded(MPI_Finalize());
    }
    return true;
}

bool ParallelProcessMPI::do_InitLocal(int color, int key) {
    if (!m_initialized)
        return false;
    // Either all processes group by node or all give colors; a mix would
    // start two different collectives.
    const int byNode = color < 0 ? 1 : 0;
    int anyByNode = 0;
    int allByNode = 0;
    if (!succeeded(MPI_Allreduce(&byNode, &anyByNode, 1, MPI_INT, MPI_LOR, m_world)) ||
        !succeeded(MPI_Allreduce(&byNode, &allByNode, 1, MPI_INT, MPI_LAND, m_world)) || anyByNode != allByNode)
        return false;

    MPI_Comm local = MPI_COMM_NULL;
    const int made = byNode ? MPI_Comm_split_type(m_world, MPI_COMM_TYPE_SHARED, key, MPI_INFO_NULL, &local)
                            : MPI_Comm_split(m_world, color, key, &local);
    if (!succeeded(made))
        return false;
    MPI_Comm_set_errhandler(local, MPI_ERRORS_RETURN);
    int localRank = 0;
    int localSize = 1;
    MPI_Comm_rank(local, &localRank);
    MPI_Comm_size(local, &localSize);

    // Every process learns each group's first process; the groups' colors
    // are the given ones, or the nodes in the order of their first process.
    int process0 = m_worldRank;
    MPI_Bcast(&process0, 1, MPI_INT, 0, local);
    const int mine[2] = {byNode ? -1 : color, process0};
    std::vector<int> all(2 * static_cast<std::size_t>(m_worldSize));
    if (!succeeded(MPI_Allgather(mine, 2, MPI_INT, all.data(), 2, MPI_INT, m_world))) {
        MPI_Comm_free(&local);
        return false;
    }
    std::map<int, int> colorProcess0;
    if (byNode) {
        std::vector<int> firsts;
        for (std::size_t i = 0; i < all.size(); i += 2)
            firsts.push_back(all[i + 1]);
        std::sort(firsts.begin(), firsts.end());
        firsts.erase(std::unique(firsts.begin(), firsts.end()), firsts.end());
        for (std::size_t node = 0; node < firsts.size(); ++node)
            colorProcess0[static_cast<int>(node)] = firsts[node];
    } else {
        for (std::size_t i = 0; i < all.size(); i += 2)
            colorProcess0[all[i]] = all[i + 1];
    }

    freeLocal();
    m_local = local;
    m_localRank = localRank;
    m_localSize = localSize;
    for (const auto& [groupColor, first] : colorProcess0)
        if (first == process0)
            m_color = groupColor;
    m_colorProcess0 = std::move(colorProcess0);
    return true;
}

bool ParallelProcessMPI::do_IsLocalInitialized() const { return m_local != MPI_COMM_NULL; }

void ParallelProcessMPI::do_Abort(int code, ParallelProcessLevel level) {
    if (m_initialized)
        MPI_Abort(comm(level), code);
}

// ---- Queries --------------------------------------------------------------------------

int ParallelProcessMPI::do_GetProcessID(ParallelProcessLevel level) const {
    return level == ParallelProcessLevel::Local && m_local != MPI_COMM_NULL ? m_localRank : m_worldRank;
}

int ParallelProcessMPI::do_GetProcess0WorldProcessID(ParallelProcessLevel level) const {
    if (level == ParallelProcessLevel::Local && m_color)
        return m_colorProcess0.at(*m_color);
    return 0;
}

std::set<int> ParallelProcessMPI::do_GetProcess0WorldProcessIDs(ParallelProcessLevel level) const {
    if (level != ParallelProcessLevel::Local || m_colorProcess0.empty())
        return {0};
    std::set<int> firsts;
    for (const auto& [color, first] : m_colorProcess0)
        firsts.insert(first);
    return firsts;
}

int ParallelProcessMPI::do_GetNumberOfProcesses(ParallelProcessLevel level) const {
    return level == ParallelProcessLevel::Local && m_local != MPI_COMM_NULL ? m_localSize : m_worldSize;
}

bool ParallelProcessMPI::do_GetParallelProcessActive(ParallelProcessLevel level) const {
    return level == ParallelProcessLevel::Local ? m_local != MPI_COMM_NULL : m_initialized;
}

std::set<int> ParallelProcessMPI::do_GetProcessColors(ParallelProcessLevel level) const {
    std::set<int> colors;
    if (level == ParallelProcessLevel::Local)
        for (const auto& [color, first] : m_colorProcess0)
            colors.insert(color);
    return colors;
}

std::optional<int> ParallelProcessMPI::do_GetProcessColor(ParallelProcessLevel level) const {
    return level == ParallelProcessLevel::Local ? m_color : std::nullopt;
}

std::optional<int> ParallelProcessMPI::do_GetProcessColorProcess0WorldProcessID(int color,
                                                                                ParallelProcessLevel level) const {
    if (level != ParallelProcessLevel::Local)
        return std::nullopt;
    const auto found = m_colorProcess0.find(color);
    return found == m_colorProcess0.end() ? std::nullopt : std::optional<int>(found->second);
}

int ParallelProcessMPI::do_DefaultRecvTag() const { return 1; }
int ParallelProcessMPI::do_DefaultSendTag() const { return 1; }

std::string ParallelProcessMPI::do_getVersionInfo() const {
    char text[MPI_MAX_LIBRARY_VERSION_STRING] = {};
    int length = 0;
    if (!succeeded(MPI_Get_library_version(text, &length)))
        return "";
    std::string version(text, static_cast<std::size_t>(std::clamp(length, 0, MPI_MAX_LIBRARY_VERSION_STRING)));
    version.erase(version.find_last_not_of(std::string("\n\r\t \0", 5)) + 1);
    return version;
}

std::string ParallelProcessMPI::do_determineMPIMachineName() const {
    if (!mpiRuns())
        return ""; // MPI answers the name only while it runs
    char name[MPI_MAX_PROCESSOR_NAME] = {};
    int length = 0;
    if (!succeeded(MPI_Get_processor_name(name, &length)))
        return "";
    return std::string(name, static_cast<std::size_t>(std::clamp(length, 0, MPI_MAX_PROCESSOR_NAME)));
}

std::unique_ptr<ParallelProcessRequestPrivate> ParallelProcessMPI::do_createParallelProcessRequestPrivate() const {
    return std::make_unique<MPIRequestPrivate>();
}

// ---- Communication -------------------------------------------------------------------

bool ParallelProcessMPI::do_Barrier(ParallelProcessLevel level) {
    return m_initialized && succeeded(MPI_Barrier(comm(level)));
}

bool ParallelProcessMPI::do_WaitAll(ParallelProcessRequest& request) {
    if (MPIRequestPrivate* state = mpiState(request))
        return state->complete();
    return true; // a request of another kind has nothing of MPI outstanding
}

bool ParallelProcessMPI::do_Send(ParallelProcessConstBuffer data, int count, int process, int tag,
                                 ParallelProcessLevel level) {
    return m_initialized && withData(data, [&](auto pointer) {
               using T = std::remove_cv_t<std::remove_pointer_t<decltype(pointer)>>;
               return succeeded(MPI_Send(pointer, count, mpiType<T>(), process, tag, comm(level)));
           });
}

bool ParallelProcessMPI::do_ASend(ParallelProcessConstBuffer data, int count, int process, int tag,
                                  ParallelProcessRequest& request, ParallelProcessLevel level) {
    MPIRequestPrivate* state = mpiState(request);
    return m_initialized && state && withData(data, [&](auto pointer) {
               using T = std::remove_cv_t<std::remove_pointer_t<decltype(pointer)>>;
               MPI_Request started = MPI_REQUEST_NULL;
               if (!succeeded(MPI_Isend(pointer, count, mpiType<T>(), process, tag, comm(level), &started)))
                   return false;
               state->add(started);
               return true;
           });
}

bool ParallelProcessMPI::do_Recv(ParallelProcessBuffer data, int count, int process, int tag,
                                 ParallelProcessLevel level) {
    return m_initialized && withData(data, [&](auto pointer) {
               using T = std::remove_pointer_t<decltype(pointer)>;
               return succeeded(
                   MPI_Recv(pointer, count, mpiType<T>(), process, tag, comm(level), MPI_STATUS_IGNORE));
           });
}

bool ParallelProcessMPI::do_ARecv(ParallelProcessBuffer data, int count, int process, int tag,
                                  ParallelProcessRequest& request, ParallelProcessLevel level) {
    MPIRequestPrivate* state = mpiState(request);
    return m_initialized && state && withData(data, [&](auto pointer) {
               using T = std::remove_pointer_t<decltype(pointer)>;
               MPI_Request started = MPI_REQUEST_NULL;
               if (!succeeded(MPI_Irecv(pointer, count, mpiType<T>(), process, tag, comm(level), &started)))
                   return false;
               state->add(started);
               return true;
           });
}

bool ParallelProcessMPI::do_SendRecv(ParallelProcessConstBuffer sendData, int sendCount, int destination,
                                     int sendTag, ParallelProcessBuffer recvData, int recvCount, int source,
                                     int recvTag, ParallelProcessLevel level) {
    return m_initialized && withData(sendData, [&](auto sendPointer) {
               using S = std::remove_cv_t<std::remove_pointer_t<decltype(sendPointer)>>;
               return withData(recvData, [&](auto recvPointer) {
                   using R = std::remove_pointer_t<decltype(recvPointer)>;
                   return succeeded(MPI_Sendrecv(sendPointer, sendCount, mpiType<S>(), destination, sendTag,
                                                 recvPointer, recvCount, mpiType<R>(), source, recvTag, comm(level),
                                                 MPI_STATUS_IGNORE));
               });
           });
}

bool ParallelProcessMPI::do_Bcast(ParallelProcessBuffer data, int count, int root, ParallelProcessLevel level) {
    return m_initialized && withData(data, [&](auto pointer) {
               using T = std::remove_pointer_t<decltype(pointer)>;
               return succeeded(MPI_Bcast(pointer, count, mpiType<T>(), root, comm(level)));
           });
}

bool ParallelProcessMPI::do_Reduce(ParallelProcessBuffer data, int count, ParallelProcessOperation operation,
                                   int root, ParallelProcessLevel level) {
    return m_initialized && withData(data, [&](auto pointer) {
               using T = std::remove_pointer_t<decltype(pointer)>;
               const MPI_Op op = mpiOperation<T>(operation);
               if (op == MPI_OP_NULL)
                   return false;
               // The root combines in place; the others' receive buffer is not used.
               const bool isRoot = GetProcessID(level) == root;
               return succeeded(MPI_Reduce(isRoot ? MPI_IN_PLACE : pointer, isRoot ? pointer : nullptr, count,
                                           mpiType<T>(), op, root, comm(level)));
           });
}

bool ParallelProcessMPI::do_AllReduce(ParallelProcessBuffer data, int count, ParallelProcessOperation operation,
                                      ParallelProcessLevel level) {
    return m_initialized && withData(data, [&](auto pointer) {
               using T = std::remove_pointer_t<decltype(pointer)>;
               const MPI_Op op = mpiOperation<T>(operation);
               return op != MPI_OP_NULL &&
                      succeeded(MPI_Allreduce(MPI_IN_PLACE, pointer, count, mpiType<T>(), op, comm(level)));
           });
}

bool ParallelProcessMPI::do_Gather(ParallelProcessVectorBuffer data, int count, int root,
                                   ParallelProcessLevel level) {
    if (root < 0 || root >= GetNumberOfProcesses(level))
        return false; // every process sees the same bad root
    return m_initialized &&
           withData(data, [&](auto vector) { return gatherValues(*vector, count, root, comm(level)); });
}

bool ParallelProcessMPI::do_AllGather(ParallelProcessVectorBuffer data, int count, ParallelProcessLevel level) {
    return m_initialized && withData(data, [&](auto vector) { return gatherValues(*vector, count, -1, comm(level)); });
}

bool ParallelProcessMPI::do_StringGather(ParallelProcessStringBuffer data, int count, int root,
                                         ParallelProcessLevel level) {
    if (root < 0 || root >= GetNumberOfProcesses(level))
        return false;
    return m_initialized &&
           withData(data, [&](auto vector) { return gatherStrings(*vector, count, root, comm(level)); });
}

bool ParallelProcessMPI::do_AllStringGather(ParallelProcessStringBuffer data, int count, ParallelProcessLevel level) {
    return m_initialized && withData(data, [&](auto vector) { return gatherStrings(*vector, count, -1, comm(level)); });
}

// ---- Installer ---------------------------------------------------------------------

namespace {
ParallelProcessMPI* s_installed = nullptr;
}

ParallelProcessMPI* ParallelProcessMPIInstaller::install() {
    auto comm = std::make_unique<ParallelProcessMPI>();
    ParallelProcessMPI* raw = comm.get();
    if (registerComm(std::move(comm)) == nullptr)
        return nullptr;
    s_installed = raw;
    return raw;
}

bool ParallelProcessMPIInstaller::uninstall() {
    if (s_installed == nullptr || !unregisterComm(s_installed))
        return false;
    s_installed = nullptr;
    return true;
}

} // namespace FileSystem
