#pragma once

// Facts of the operating system this build runs on that portable code needs
// as constants. Only platform code and these constants differ between builds.

namespace FileSystem::sys {

#if defined(_WIN32)
/// Whether a path that begins with one separator names the root of the file system.
inline constexpr bool kRootedPathIsAbsolute = false;

/// The C runtime's open flags, as the public PosixOpenFlags carry them.
inline constexpr int kOpenReadOnly = 0x0000, kOpenWriteOnly = 0x0001, kOpenReadWrite = 0x0002,
                     kOpenAppend = 0x0008, kOpenCreate = 0x0100, kOpenTruncate = 0x0200, kOpenExclusive = 0x0400,
                     kOpenText = 0x4000, kOpenBinary = 0x8000;
#else
inline constexpr bool kRootedPathIsAbsolute = true;

/// The system's open flags, as the public PosixOpenFlags carry them (the
/// platform layer checks them against the system's own headers), and for text
/// and binary translation, which this system does not have, two bits of the
/// library's own above every open flag.
inline constexpr int kOpenReadOnly = 00, kOpenWriteOnly = 01, kOpenReadWrite = 02, kOpenCreate = 0100,
                     kOpenExclusive = 0200, kOpenTruncate = 01000, kOpenAppend = 02000, kOpenText = 0x10000000,
                     kOpenBinary = 0x20000000;
#endif

} // namespace FileSystem::sys
