#pragma once

#include <cstdint>
#include <optional>
#include <string>

/// Facts of the host: processors, memory, disks, names and the user's rights.
namespace FileSystem::MachineInfo {

/// Logical processors this process may use, or KV_TESSEL_MACHINE_CORES. An
/// override that is no number throws std::invalid_argument (at every call
/// until one succeeds); a count of 0 is reported as 1.
unsigned int numberOfProcessors();
/// Physical cores, or KV_TESSEL_MACHINE_PHYSCORES.
unsigned int numberOfPhysicalProcessors();
/// Processor packages, or KV_TESSEL_MACHINE_SOCKETS.
unsigned int numberOfSockets();

/// The process's resident memory and its peak, in bytes.
std::uint64_t getCurrentMemoryUsage();
std::uint64_t getPeakMemoryUsage();
/// The machine's memory and the part of it still available, in bytes.
std::uint64_t getTotalPhysicalMemory();
std::uint64_t getAvailablePhysicalMemory();

/// The host name; COMPUTERNAME when it cannot be read.
std::string computername();
/// The host's fully qualified name; the host name when the resolver knows no other.
std::string fqdn();
/// The DNS domain (the fully qualified name behind the host); USERDNSDOMAIN when there is none.
std::string userdomain();
/// The effective user's name; USERNAME (else USER) when it cannot be read.
std::string username();
/// "domain\user" when a domain is known, else the user name.
std::string domainUserName();
/// Whether the process has the rights of the administrator (root).
bool userHasElevatedPermissions();

struct DiskSpaceInfo {
    std::uint64_t free = 0;      ///< free bytes on the volume
    std::uint64_t available = 0; ///< free bytes this user may use
    std::uint64_t total = 0;     ///< size of the volume
};

/// The space of the volume that holds a path; empty when it cannot be read.
std::optional<DiskSpaceInfo> getDiskSpaceInfo(const std::string& path);
std::uint64_t getFreeDiskSpace(const std::string& path);
std::uint64_t getAvailableDiskSpace(const std::string& path);
std::uint64_t getTotalDiskSpace(const std::string& path);

} // namespace FileSystem::MachineInfo
