#pragma once

// Facts of the operating system this build runs on that portable code needs
// as constants. Only platform code and these constants differ between builds.

namespace FileSystem::sys {

#if defined(_WIN32)
/// Whether a path that begins with one separator names the root of the file system.
inline constexpr bool kRootedPathIsAbsolute = false;
#else
inline constexpr bool kRootedPathIsAbsolute = true;
#endif

} // namespace FileSystem::sys
