#pragma once

// Names and identifiers of threads.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace FileSystem::sys {

/// The system's identifier of the calling thread (on Linux its task id, as
/// `ps -L` and debuggers show it). Cheap after the first call on a thread.
std::uint32_t osThreadId() noexcept;

/// The longest thread name, in bytes, that the system keeps.
std::size_t maxThreadNameLength() noexcept;

/// The calling thread's name; empty when the system does not tell.
std::optional<std::string> currentThreadName();

/// Names the calling thread. The name must fit maxThreadNameLength() and hold
/// no NUL byte; false when the system refuses.
bool setCurrentThreadName(const std::string& name);

} // namespace FileSystem::sys
