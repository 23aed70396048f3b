#include <FileSystem/platform/Machine.h>
#include <FileSystem/platform/ProcessMemory.h>
#include <FileSystem/platform/posix/Native.h>

#include <fstream>
#include <netdb.h>
#include <pwd.h>
#include <sched.h>
#include <set>
#include <sstream>
#include <sys/resource.h>
#include <sys/statvfs.h>
#include <sys/sysinfo.h>
#include <unistd.h>
#include <utility>

namespace FileSystem::sys {

namespace {

/// A number from a file of the kernel; empty when it cannot be read.
std::optional<long> readNumber(const std::string& path) {
    std::ifstream file(path);
    long value = 0;
    if (!(file >> value))
        return std::nullopt;
    return value;
}

/// (package, core) of every processor the kernel describes.
std::set<std::pair<long, long>> processorTopology() {
    std::set<std::pair<long, long>> cores;
    const long configured = ::sysconf(_SC_NPROCESSORS_CONF);
    for (long cpu = 0; cpu < configured; ++cpu) {
        const std::string base = "/sys/devices/system/cpu/cpu" + std::to_string(cpu) + "/topology/";
        const auto package = readNumber(base + "physical_package_id");
        const auto core = readNumber(base + "core_id");
        if (package && core)
            cores.insert({*package, *core});
    }
    return cores;
}

/// A line "Name:   value kB" of a /proc file, in bytes.
std::optional<std::uint64_t> procKilobytes(const std::string& path, const std::string& name) {
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
        if (line.compare(0, name.size() + 1, name + ":") != 0)
            continue;
        std::istringstream fields(line.substr(name.size() + 1));
        std::uint64_t kilobytes = 0;
        if (fields >> kilobytes)
            return kilobytes * 1024;
    }
    return std::nullopt;
}

} // namespace

unsigned logicalProcessors() {
    cpu_set_t set;
    CPU_ZERO(&set);
    if (::sched_getaffinity(0, sizeof set, &set) == 0)
        return static_cast<unsigned>(CPU_COUNT(&set));
    const long online = ::sysconf(_SC_NPROCESSORS_ONLN);
    return online > 0 ? static_cast<unsigned>(online) : 0;
}

unsigned physicalCores() { return static_cast<unsigned>(processorTopology().size()); }

unsigned processorSockets() {
    std::set<long> packages;
    for (const auto& [package, core] : processorTopology())
        packages.insert(package);
    return static_cast<unsigned>(packages.size());
}

std::uint64_t residentMemory() { return residentSetSize(); }

std::uint64_t peakResidentMemory() {
    if (const auto peak = procKilobytes("/proc/self/status", "VmHWM"))
        return *peak;
    struct rusage usage {};
    return ::getrusage(RUSAGE_SELF, &usage) == 0 ? static_cast<std::uint64_t>(usage.ru_maxrss) * 1024 : 0;
}

std::uint64_t totalPhysicalMemory() {
    if (const auto total = procKilobytes("/proc/meminfo", "MemTotal"))
        return *total;
    struct sysinfo info {};
    return ::sysinfo(&info) == 0 ? std::uint64_t(info.totalram) * info.mem_unit : 0;
}

std::uint64_t availablePhysicalMemory() {
    if (const auto available = procKilobytes("/proc/meminfo", "MemAvailable"))
        return *available;
    struct sysinfo info {};
    return ::sysinfo(&info) == 0 ? std::uint64_t(info.freeram) * info.mem_unit : 0;
}

std::string hostName() {
    char name[256] = {};
    if (::gethostname(name, sizeof name - 1) != 0)
        return {};
    return name;
}

std::string fullyQualifiedHostName() {
    const std::string host = hostName();
    if (host.empty())
        return {};
    struct addrinfo hints {};
    hints.ai_flags = AI_CANONNAME;
    hints.ai_family = AF_UNSPEC;
    struct addrinfo* result = nullptr;
    if (::getaddrinfo(host.c_str(), nullptr, &hints, &result) != 0 || result == nullptr)
        return {};
    std::string canonical = result->ai_canonname ? result->ai_canonname : "";
    ::freeaddrinfo(result);
    return canonical;
}

std::string userName() {
    struct passwd entry {};
    struct passwd* found = nullptr;
    std::string buffer(16384, '\0');
    if (::getpwuid_r(::geteuid(), &entry, buffer.data(), buffer.size(), &found) != 0 || found == nullptr ||
        found->pw_name == nullptr)
        return {};
    return found->pw_name;
}

bool userIsElevated() { return ::geteuid() == 0; }

std::optional<DiskSpace> diskSpace(const std::string& path) {
    struct statvfs fs {};
    if (!posix::isUsablePath(path) || ::statvfs(path.c_str(), &fs) != 0)
        return std::nullopt;
    const std::uint64_t unit = fs.f_frsize ? fs.f_frsize : fs.f_bsize;
    return DiskSpace{std::uint64_t(fs.f_bfree) * unit, std::uint64_t(fs.f_bavail) * unit,
                     std::uint64_t(fs.f_blocks) * unit};
}

} // namespace FileSystem::sys
