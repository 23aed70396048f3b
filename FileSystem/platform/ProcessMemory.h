#pragma once

// The memory that the running process occupies, read cheaply enough to be
// taken around every measured section.

#include <cstdint>

namespace FileSystem::sys {

/// Bytes of the process's memory that are resident in physical memory now;
/// 0 when the system cannot tell. Thread-safe; allocates nothing.
std::uint64_t residentSetSize() noexcept;

} // namespace FileSystem::sys
