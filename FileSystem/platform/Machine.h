#pragma once

// Facts of the machine.

#include <cstdint>
#include <optional>
#include <string>

namespace FileSystem::sys {

/// Processors this process may run on.
unsigned logicalProcessors();
/// Distinct cores and processor packages of the machine; 0 when unknown.
unsigned physicalCores();
unsigned processorSockets();

std::uint64_t residentMemory();
std::uint64_t peakResidentMemory();
std::uint64_t totalPhysicalMemory();
std::uint64_t availablePhysicalMemory();

std::string hostName();
/// The fully qualified name of the host as the resolver knows it; empty when unknown.
std::string fullyQualifiedHostName();
/// The name of the effective user; empty when unknown.
std::string userName();
bool userIsElevated();

struct DiskSpace {
    std::uint64_t free = 0;
    std::uint64_t available = 0;
    std::uint64_t total = 0;
};
std::optional<DiskSpace> diskSpace(const std::string& path);

} // namespace FileSystem::sys
