#include <FileSystem/environment/MachineInfo.h>

#include <FileSystem/environment/EnvironmentVariableModel.h>
#include <FileSystem/paths/PathConverterBase.h>
#include <FileSystem/platform/Machine.h>

#include <string>

namespace FileSystem::MachineInfo {

namespace {

/// A processor count: the override when set (read once per process), else the
/// system's count, never 0.
template <class Count>
unsigned int processorCount(const char* override, Count count) {
    const auto value = SystemEnvironmentVariables::instance().getOptionalEnvironmentVariable(override);
    if (value)
        return static_cast<unsigned int>(std::stoul(*value));
    const unsigned int counted = count();
    return counted == 0 ? 1 : counted;
}

std::string liveVariable(const char* name) {
    return SystemEnvironmentVariables::instance().getEnvironmentVariable(name, "");
}

} // namespace

unsigned int numberOfProcessors() {
    static const unsigned int count = processorCount("KV_TESSEL_MACHINE_CORES", sys::logicalProcessors);
    return count;
}

unsigned int numberOfPhysicalProcessors() {
    static const unsigned int count = processorCount("KV_TESSEL_MACHINE_PHYSCORES", sys::physicalCores);
    return count;
}

unsigned int numberOfSockets() {
    static const unsigned int count = processorCount("KV_TESSEL_MACHINE_SOCKETS", sys::processorSockets);
    return count;
}

std::uint64_t getCurrentMemoryUsage() { return sys::residentMemory(); }
std::uint64_t getPeakMemoryUsage() { return sys::peakResidentMemory(); }
std::uint64_t getTotalPhysicalMemory() { return sys::totalPhysicalMemory(); }
std::uint64_t getAvailablePhysicalMemory() { return sys::availablePhysicalMemory(); }

std::string computername() {
    const std::string name = sys::hostName();
    return name.empty() ? liveVariable("COMPUTERNAME") : name;
}

std::string fqdn() {
    const std::string name = sys::fullyQualifiedHostName();
    return name.empty() ? computername() : name;
}

std::string userdomain() {
    const std::string full = sys::fullyQualifiedHostName();
    const std::size_t dot = full.find('.');
    if (dot != std::string::npos && dot + 1 < full.size())
        return full.substr(dot + 1);
    return liveVariable("USERDNSDOMAIN");
}

std::string username() {
    const std::string name = sys::userName();
    if (!name.empty())
        return name;
    const std::string variable = liveVariable("USERNAME");
    return variable.empty() ? liveVariable("USER") : variable;
}

std::string domainUserName() {
    const std::string domain = userdomain();
    return domain.empty() ? username() : domain + "\\" + username();
}

bool userHasElevatedPermissions() { return sys::userIsElevated(); }

std::optional<DiskSpaceInfo> getDiskSpaceInfo(const std::string& path) {
    const auto space = sys::diskSpace(toSystemPath(path));
    if (!space)
        return std::nullopt;
    return DiskSpaceInfo{space->free, space->available, space->total};
}

std::uint64_t getFreeDiskSpace(const std::string& path) {
    const auto info = getDiskSpaceInfo(path);
    return info ? info->free : 0;
}

std::uint64_t getAvailableDiskSpace(const std::string& path) {
    const auto info = getDiskSpaceInfo(path);
    return info ? info->available : 0;
}

std::uint64_t getTotalDiskSpace(const std::string& path) {
    const auto info = getDiskSpaceInfo(path);
    return info ? info->total : 0;
}

} // namespace FileSystem::MachineInfo
