#include <FileSystem/process/ParallelProcess.h>

#include <FileSystem/utilities/ToolProgress.h>

#include <stdexcept>

namespace FileSystem {

// ---- Request ------------------------------------------------------------------

ParallelProcessRequestPrivate::~ParallelProcessRequestPrivate() = default;

ParallelProcessType ParallelProcessTrivialRequestPrivate::getType() const { return ParallelProcessType::Trivial; }
void ParallelProcessTrivialRequestPrivate::Init(int) {}
void ParallelProcessTrivialRequestPrivate::ReInit() {}
std::unique_ptr<ParallelProcessRequestPrivate> ParallelProcessTrivialRequestPrivate::clone() const {
    return std::make_unique<ParallelProcessTrivialRequestPrivate>();
}

ParallelProcessRequest::ParallelProcessRequest()
    : m_private(ParallelProcessManager::instance().createParallelProcessRequestPrivate()) {}

ParallelProcessRequest::ParallelProcessRequest(const ParallelProcess& comm)
    : m_private(comm.createParallelProcessRequestPrivate()) {}

ParallelProcessRequest::ParallelProcessRequest(const ParallelProcessRequest& other)
    : m_private(other.m_private ? other.m_private->clone() : nullptr) {}

ParallelProcessRequest& ParallelProcessRequest::operator=(const ParallelProcessRequest& other) {
    if (this != &other)
        m_private = other.m_private ? other.m_private->clone() : nullptr;
    return *this;
}

ParallelProcessRequest::ParallelProcessRequest(ParallelProcessRequest&& other) noexcept = default;
ParallelProcessRequest& ParallelProcessRequest::operator=(ParallelProcessRequest&& other) noexcept = default;
ParallelProcessRequest::~ParallelProcessRequest() = default;

ParallelProcessType ParallelProcessRequest::getType() const {
    return m_private ? m_private->getType() : ParallelProcessType::None;
}

void ParallelProcessRequest::Init(int count) {
    if (m_private)
        m_private->Init(count);
}

void ParallelProcessRequest::ReInit() {
    if (m_private)
        m_private->ReInit();
}

ParallelProcess::~ParallelProcess() = default;

// ---- Manager ------------------------------------------------------------------

ParallelProcessManager::ParallelProcessManager() : m_trivial(std::make_unique<ParallelProcessTrivial>()) {}
ParallelProcessManager::~ParallelProcessManager() = default;

ParallelProcessManager& ParallelProcessManager::instance() {
    static ParallelProcessManager manager;
    return manager;
}

ParallelProcess* ParallelProcessManager::registerComm(std::unique_ptr<ParallelProcess>&& comm) {
    ParallelProcessManager& manager = instance();
    if (manager.m_registered)
        throw std::logic_error("Attempting to attach second comm");
    if (comm && comm->IsInitialized())
        throw std::logic_error("Attempting to attach initialized comm");
    // A runtime that runs cannot be swapped under its users: the caller keeps comm.
    if (manager.IsInitialized())
        return nullptr;
    manager.m_registered = std::move(comm);
    return manager.m_registered.get();
}

std::unique_ptr<ParallelProcess> ParallelProcessManager::unregisterComm(ParallelProcess* comm) {
    ParallelProcessManager& manager = instance();
    if (manager.IsInitialized() || comm == nullptr || comm != manager.m_registered.get())
        return nullptr;
    return std::move(manager.m_registered);
}

ParallelProcess* ParallelProcessManager::getActiveComm() const {
    return m_registered ? m_registered.get() : m_trivial.get();
}

namespace {

// What the manager answers without any implementation: an empty object.
template <class Result, class Call>
Result forward(ParallelProcess* active, Result empty, Call&& call) {
    if (active == nullptr)
        return empty;
    return call(*active);
}

} // namespace

ParallelProcessType ParallelProcessManager::do_getType() const {
    return forward(getActiveComm(), ParallelProcessType::None, [](ParallelProcess& c) { return c.getType(); });
}
bool ParallelProcessManager::do_isValid() const {
    return forward(getActiveComm(), false, [](ParallelProcess& c) { return c.isValid(); });
}
bool ParallelProcessManager::do_Init(int argc, char** argv) {
    return forward(getActiveComm(), false, [&](ParallelProcess& c) { return c.Init(argc, argv); });
}
bool ParallelProcessManager::do_IsInitialized() const {
    return forward(getActiveComm(), false, [](ParallelProcess& c) { return c.IsInitialized(); });
}
bool ParallelProcessManager::do_Finalize() {
    return forward(getActiveComm(), false, [](ParallelProcess& c) { return c.Finalize(); });
}
bool ParallelProcessManager::do_InitLocal(int color, int key) {
    return forward(getActiveComm(), false, [&](ParallelProcess& c) { return c.InitLocal(color, key); });
}
bool ParallelProcessManager::do_IsLocalInitialized() const {
    return forward(getActiveComm(), false, [](ParallelProcess& c) { return c.IsLocalInitialized(); });
}
void ParallelProcessManager::do_Abort(int code, ParallelProcessLevel level) {
    if (ParallelProcess* active = getActiveComm())
        active->Abort(code, level);
}
int ParallelProcessManager::do_GetProcessID(ParallelProcessLevel level) const {
    return forward(getActiveComm(), 0, [&](ParallelProcess& c) { return c.GetProcessID(level); });
}
int ParallelProcessManager::do_GetProcess0WorldProcessID(ParallelProcessLevel level) const {
    return forward(getActiveComm(), 0, [&](ParallelProcess& c) { return c.GetProcess0WorldProcessID(level); });
}
std::set<int> ParallelProcessManager::do_GetProcess0WorldProcessIDs(ParallelProcessLevel level) const {
    return forward(getActiveComm(), std::set<int>{},
                   [&](ParallelProcess& c) { return c.GetProcess0WorldProcessIDs(level); });
}
int ParallelProcessManager::do_GetNumberOfProcesses(ParallelProcessLevel level) const {
    return forward(getActiveComm(), 0, [&](ParallelProcess& c) { return c.GetNumberOfProcesses(level); });
}
bool ParallelProcessManager::do_GetParallelProcessActive(ParallelProcessLevel level) const {
    return forward(getActiveComm(), false, [&](ParallelProcess& c) { return c.GetParallelProcessActive(level); });
}
bool ParallelProcessManager::do_Barrier(ParallelProcessLevel level) {
    return forward(getActiveComm(), false, [&](ParallelProcess& c) { return c.Barrier(level); });
}
std::set<int> ParallelProcessManager::do_GetProcessColors(ParallelProcessLevel level) const {
    return forward(getActiveComm(), std::set<int>{}, [&](ParallelProcess& c) { return c.GetProcessColors(level); });
}
std::optional<int> ParallelProcessManager::do_GetProcessColor(ParallelProcessLevel level) const {
    return forward(getActiveComm(), std::optional<int>{}, [&](ParallelProcess& c) { return c.GetProcessColor(level); });
}
std::optional<int> ParallelProcessManager::do_GetProcessColorProcess0WorldProcessID(int color,
                                                                                    ParallelProcessLevel level) const {
    return forward(getActiveComm(), std::optional<int>{},
                   [&](ParallelProcess& c) { return c.GetProcessColorProcess0WorldProcessID(color, level); });
}
int ParallelProcessManager::do_DefaultRecvTag() const {
    return forward(getActiveComm(), 1, [](ParallelProcess& c) { return c.DefaultRecvTag(); });
}
int ParallelProcessManager::do_DefaultSendTag() const {
    return forward(getActiveComm(), 1, [](ParallelProcess& c) { return c.DefaultSendTag(); });
}
bool ParallelProcessManager::do_WaitAll(ParallelProcessRequest& request) {
    return forward(getActiveComm(), false, [&](ParallelProcess& c) { return c.WaitAll(request); });
}
std::string ParallelProcessManager::do_getVersionInfo() const {
    return forward(getActiveComm(), std::string(), [](ParallelProcess& c) { return c.getVersionInfo(); });
}
std::string ParallelProcessManager::do_determineMPIMachineName() const {
    return forward(getActiveComm(), std::string(), [](ParallelProcess& c) { return c.determineMPIMachineName(); });
}
std::unique_ptr<ParallelProcessRequestPrivate> ParallelProcessManager::do_createParallelProcessRequestPrivate() const {
    return forward(getActiveComm(), std::unique_ptr<ParallelProcessRequestPrivate>(),
                   [](ParallelProcess& c) { return c.createParallelProcessRequestPrivate(); });
}
bool ParallelProcessManager::do_Send(ParallelProcessConstBuffer data, int count, int process, int tag,
                                     ParallelProcessLevel level) {
    return forward(getActiveComm(), false,
                   [&](ParallelProcess& c) { return c.Send(data, count, process, tag, level); });
}
bool ParallelProcessManager::do_ASend(ParallelProcessConstBuffer data, int count, int process, int tag,
                                      ParallelProcessRequest& request, ParallelProcessLevel level) {
    return forward(getActiveComm(), false,
                   [&](ParallelProcess& c) { return c.ASend(data, count, process, tag, request, level); });
}
bool ParallelProcessManager::do_Recv(ParallelProcessBuffer data, int count, int process, int tag,
                                     ParallelProcessLevel level) {
    return forward(getActiveComm(), false,
                   [&](ParallelProcess& c) { return c.Recv(data, count, process, tag, level); });
}
bool ParallelProcessManager::do_ARecv(ParallelProcessBuffer data, int count, int process, int tag,
                                      ParallelProcessRequest& request, ParallelProcessLevel level) {
    return forward(getActiveComm(), false,
                   [&](ParallelProcess& c) { return c.ARecv(data, count, process, tag, request, level); });
}
bool ParallelProcessManager::do_SendRecv(ParallelProcessConstBuffer sendData, int sendCount, int destination,
                                         int sendTag, ParallelProcessBuffer recvData, int recvCount, int source,
                                         int recvTag, ParallelProcessLevel level) {
    return forward(getActiveComm(), false, [&](ParallelProcess& c) {
        return c.SendRecv(sendData, sendCount, destination, sendTag, recvData, recvCount, source, recvTag, level);
    });
}
bool ParallelProcessManager::do_Bcast(ParallelProcessBuffer data, int count, int root, ParallelProcessLevel level) {
    return forward(getActiveComm(), false, [&](ParallelProcess& c) { return c.Bcast(data, count, root, level); });
}
bool ParallelProcessManager::do_Reduce(ParallelProcessBuffer data, int count, ParallelProcessOperation operation,
                                       int root, ParallelProcessLevel level) {
    return forward(getActiveComm(), false,
                   [&](ParallelProcess& c) { return c.Reduce(data, count, operation, root, level); });
}
bool ParallelProcessManager::do_AllReduce(ParallelProcessBuffer data, int count, ParallelProcessOperation operation,
                                          ParallelProcessLevel level) {
    return forward(getActiveComm(), false,
                   [&](ParallelProcess& c) { return c.AllReduce(data, count, operation, level); });
}
bool ParallelProcessManager::do_Gather(ParallelProcessVectorBuffer data, int count, int root,
                                       ParallelProcessLevel level) {
    return forward(getActiveComm(), false, [&](ParallelProcess& c) { return c.Gather(data, count, root, level); });
}
bool ParallelProcessManager::do_AllGather(ParallelProcessVectorBuffer data, int count, ParallelProcessLevel level) {
    return forward(getActiveComm(), false, [&](ParallelProcess& c) { return c.AllGather(data, count, level); });
}
bool ParallelProcessManager::do_StringGather(ParallelProcessStringBuffer data, int count, int root,
                                             ParallelProcessLevel level) {
    return forward(getActiveComm(), false,
                   [&](ParallelProcess& c) { return c.StringGather(data, count, root, level); });
}
bool ParallelProcessManager::do_AllStringGather(ParallelProcessStringBuffer data, int count,
                                                ParallelProcessLevel level) {
    return forward(getActiveComm(), false, [&](ParallelProcess& c) { return c.AllStringGather(data, count, level); });
}

// ---- Trivial ------------------------------------------------------------------

ParallelProcessType ParallelProcessTrivial::do_getType() const { return ParallelProcessType::Trivial; }
bool ParallelProcessTrivial::do_isValid() const { return true; }
bool ParallelProcessTrivial::do_Init(int, char**) {
    m_initialized = true;
    return true;
}
bool ParallelProcessTrivial::do_IsInitialized() const { return m_initialized; }
bool ParallelProcessTrivial::do_Finalize() {
    m_initialized = false;
    return true;
}
bool ParallelProcessTrivial::do_InitLocal(int, int) { return false; }
bool ParallelProcessTrivial::do_IsLocalInitialized() const { return false; }
void ParallelProcessTrivial::do_Abort(int, ParallelProcessLevel) {}
int ParallelProcessTrivial::do_GetProcessID(ParallelProcessLevel) const { return 0; }
int ParallelProcessTrivial::do_GetProcess0WorldProcessID(ParallelProcessLevel) const { return 0; }
std::set<int> ParallelProcessTrivial::do_GetProcess0WorldProcessIDs(ParallelProcessLevel level) const {
    return {do_GetProcess0WorldProcessID(level)};
}
int ParallelProcessTrivial::do_GetNumberOfProcesses(ParallelProcessLevel) const { return 1; }
bool ParallelProcessTrivial::do_GetParallelProcessActive(ParallelProcessLevel) const { return false; }
bool ParallelProcessTrivial::do_Barrier(ParallelProcessLevel) { return true; }
std::set<int> ParallelProcessTrivial::do_GetProcessColors(ParallelProcessLevel) const { return {}; }
std::optional<int> ParallelProcessTrivial::do_GetProcessColor(ParallelProcessLevel) const { return std::nullopt; }
std::optional<int> ParallelProcessTrivial::do_GetProcessColorProcess0WorldProcessID(int, ParallelProcessLevel) const {
    return std::nullopt;
}
int ParallelProcessTrivial::do_DefaultRecvTag() const { return 1; }
int ParallelProcessTrivial::do_DefaultSendTag() const { return 1; }
bool ParallelProcessTrivial::do_WaitAll(ParallelProcessRequest&) { return true; }
std::string ParallelProcessTrivial::do_getVersionInfo() const { return ""; }
std::string ParallelProcessTrivial::do_determineMPIMachineName() const { return ""; }
std::unique_ptr<ParallelProcessRequestPrivate> ParallelProcessTrivial::do_createParallelProcessRequestPrivate() const {
    return std::make_unique<ParallelProcessTrivialRequestPrivate>();
}

// The only process is process 0: communication with it succeeds and moves
// nothing, since sender and receiver are the same data.
bool ParallelProcessTrivial::do_Send(ParallelProcessConstBuffer data, int, int process, int, ParallelProcessLevel) {
    return parallelProcessHasData(data) && process == 0;
}
bool ParallelProcessTrivial::do_ASend(ParallelProcessConstBuffer data, int, int process, int, ParallelProcessRequest&,
                                      ParallelProcessLevel) {
    return parallelProcessHasData(data) && process == 0;
}
bool ParallelProcessTrivial::do_Recv(ParallelProcessBuffer data, int, int process, int, ParallelProcessLevel) {
    return parallelProcessHasData(data) && process == 0;
}
bool ParallelProcessTrivial::do_ARecv(ParallelProcessBuffer data, int, int process, int, ParallelProcessRequest&,
                                      ParallelProcessLevel) {
    return parallelProcessHasData(data) && process == 0;
}
bool ParallelProcessTrivial::do_SendRecv(ParallelProcessConstBuffer sendData, int, int destination, int,
                                         ParallelProcessBuffer recvData, int, int source, int, ParallelProcessLevel) {
    return parallelProcessHasData(sendData) && parallelProcessHasData(recvData) && destination == 0 && source == 0;
}
bool ParallelProcessTrivial::do_Bcast(ParallelProcessBuffer data, int, int root, ParallelProcessLevel) {
    return parallelProcessHasData(data) && root == 0;
}
bool ParallelProcessTrivial::do_Reduce(ParallelProcessBuffer data, int, ParallelProcessOperation, int root,
                                       ParallelProcessLevel) {
    return parallelProcessHasData(data) && root == 0;
}
bool ParallelProcessTrivial::do_AllReduce(ParallelProcessBuffer data, int, ParallelProcessOperation,
                                          ParallelProcessLevel) {
    return parallelProcessHasData(data);
}
bool ParallelProcessTrivial::do_Gather(ParallelProcessVectorBuffer data, int, int root, ParallelProcessLevel) {
    return parallelProcessHasData(data) && root == 0;
}
bool ParallelProcessTrivial::do_AllGather(ParallelProcessVectorBuffer data, int, ParallelProcessLevel) {
    return parallelProcessHasData(data);
}
bool ParallelProcessTrivial::do_StringGather(ParallelProcessStringBuffer data, int, int root, ParallelProcessLevel) {
    return parallelProcessHasData(data) && root == 0;
}
bool ParallelProcessTrivial::do_AllStringGather(ParallelProcessStringBuffer data, int, ParallelProcessLevel) {
    return parallelProcessHasData(data);
}

// ---- Guard --------------------------------------------------------------------

ParallelProcessInitializeGuard::ParallelProcessInitializeGuard(int argc, char** const argv)
    : m_initialized(ParallelProcessManager::instance().Init(argc, argv)) {}

ParallelProcessInitializeGuard::~ParallelProcessInitializeGuard() {
    try {
        ParallelProcessManager::instance().Finalize();
    } catch (...) {
        // A destructor must not throw; the runtime ends with the process anyway.
    }
}

ParallelProcessManager* ParallelProcessInitializeGuard::operator->() const {
    return m_initialized ? &ParallelProcessManager::instance() : nullptr;
}

// ---- Free functions -------------------------------------------------------------

namespace {

std::string idAndCount(const ParallelProcess& comm, ParallelProcessLevel level) {
    return std::to_string(comm.GetProcessID(level)) + "/" + std::to_string(comm.GetNumberOfProcesses(level));
}

// Every process reaches the reduction, also one without a progress, so that
// all take the same decision.
bool anyProcess(bool local, ParallelProcessLevel level) {
    ParallelProcessManager::instance().AllReduce(&local, 1, ParallelProcessOperation::LogicalOr, level);
    return local;
}

} // namespace

std::string generateThreadLabel(const ParallelProcess& comm) {
    std::string label = idAndCount(comm, ParallelProcessLevel::World);
    const bool localActive = comm.GetParallelProcessActive(ParallelProcessLevel::Local);
    if (const std::optional<int> color = comm.GetProcessColor(ParallelProcessLevel::Local)) {
        label += " - " + std::to_string(*color) + ".";
        if (localActive)
            label += idAndCount(comm, ParallelProcessLevel::Local);
    } else if (localActive) {
        label += " - " + idAndCount(comm, ParallelProcessLevel::Local);
    }
    return label;
}

std::string generateThreadLabel(const ParallelProcessInitializeGuard&) {
    return generateThreadLabel(ParallelProcessManager::instance());
}

bool parallelProcessIsCancelled(Tools::ToolProgress* progress, ParallelProcessLevel level) {
    return anyProcess(progress != nullptr && progress->isCancelled(), level);
}

bool parallelProcessWorldIsCancelled(Tools::ToolProgress* progress) {
    return parallelProcessIsCancelled(progress, ParallelProcessLevel::World);
}

bool parallelProcessHadFatalError(Tools::ToolProgress* progress, ParallelProcessLevel level) {
    return anyProcess(progress != nullptr && progress->hadFatalError(), level);
}

bool parallelProcessWorldHadFatalError(Tools::ToolProgress* progress) {
    return parallelProcessHadFatalError(progress, ParallelProcessLevel::World);
}

} // namespace FileSystem
