#pragma once

#include <FileSystem/Export.h>

#include <cstdint>
#include <optional>
#include <string>

/// Facts of the host: processors, memory, disks, names and the user's rights.
/// Nothing here throws except the processor counts for an override that is no
/// number; a fact that cannot be read gives 0 or the empty text.
namespace FileSystem::MachineInfo {

/// Logical processors this process may use, or KV_TESSEL_MACHINE_CORES. Each
/// count is read once per process. An override that is no number throws
/// std::invalid_argument, one too large std::out_of_range (at every call until
/// one succeeds); a count of 0 from the system is reported as 1.
FILESYSTEM_EXPORT unsigned int numberOfProcessors();
/// Physical cores, or KV_TESSEL_MACHINE_PHYSCORES (as numberOfProcessors).
FILESYSTEM_EXPORT unsigned int numberOfPhysicalProcessors();
/// Processor packages, or KV_TESSEL_MACHINE_SOCKETS (as numberOfProcessors).
FILESYSTEM_EXPORT unsigned int numberOfSockets();

/// The process's resident memory and its peak, in bytes; 0 when unknown.
///@{
FILESYSTEM_EXPORT std::uint64_t getCurrentMemoryUsage();
FILESYSTEM_EXPORT std::uint64_t getPeakMemoryUsage();
///@}
/// The machine's memory and the part of it still available, in bytes; 0 when unknown.
///@{
FILESYSTEM_EXPORT std::uint64_t getTotalPhysicalMemory();
FILESYSTEM_EXPORT std::uint64_t getAvailablePhysicalMemory();
///@}

/// The host name; COMPUTERNAME when it cannot be read.
FILESYSTEM_EXPORT std::string computername();
/// The host's fully qualified name; the host name when the resolver knows no other.
FILESYSTEM_EXPORT std::string fqdn();
/// The DNS domain (the fully qualified name behind the host); USERDNSDOMAIN when there is none.
FILESYSTEM_EXPORT std::string userdomain();
/// The effective user's name; USERNAME (else USER) when it cannot be read.
FILESYSTEM_EXPORT std::string username();
/// "domain\user" when a domain is known, else the user name.
FILESYSTEM_EXPORT std::string domainUserName();
/// Whether the process has the rights of the administrator (root).
FILESYSTEM_EXPORT bool userHasElevatedPermissions();

/// The space of a volume, in bytes.
struct FILESYSTEM_EXPORT DiskSpaceInfo {
    std::uint64_t free = 0;      ///< free bytes on the volume
    std::uint64_t available = 0; ///< free bytes this user may use
    std::uint64_t total = 0;     ///< size of the volume
};

/// The space of the volume that holds a path; empty when it cannot be read.
FILESYSTEM_EXPORT std::optional<DiskSpaceInfo> getDiskSpaceInfo(const std::string& path);
/// One figure of getDiskSpaceInfo; 0 when it cannot be read.
///@{
FILESYSTEM_EXPORT std::uint64_t getFreeDiskSpace(const std::string& path);
FILESYSTEM_EXPORT std::uint64_t getAvailableDiskSpace(const std::string& path);
FILESYSTEM_EXPORT std::uint64_t getTotalDiskSpace(const std::string& path);
///@}

} // namespace FileSystem::MachineInfo
