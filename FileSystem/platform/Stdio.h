#pragma once

// C streams and file buffers opened on paths in the system's form.

#include <cstdint>
#include <cstdio>
#include <fstream>
#include <functional>
#include <string>

namespace FileSystem::sys {

/// The system's open flags, and the library's own two bits for text and
/// binary translation, which this system does not have.
struct OpenFlagValues {
    int readOnly, writeOnly, readWrite, create, truncate, append, exclusive, text, binary;
    /// The flag a stream gets when the mode names no translation.
    int defaultTranslation;
};
const OpenFlagValues& openFlagValues();

/// `fopen`; the share mode has no counterpart here and is not asked for.
std::FILE* openStdioFile(const std::string& path, const std::string& mode);

/// Opens a descriptor with open flags and permission bits, then a C stream on
/// it with `mode`. Null on failure (and nothing is left open).
std::FILE* openStdioDescriptor(const std::string& path, int flags, std::uint32_t permissions, const std::string& mode);

bool isStandardStream(std::FILE* file) noexcept;
std::int64_t tell(std::FILE* file) noexcept;
int seek(std::FILE* file, std::int64_t offset, int origin) noexcept;

enum class StreamCopyResult { Done, Stopped, Failed, Unsupported };

/// Copies from the position of `from` to its end, to the position of `to`, in
/// the kernel (`chunk` bytes at a time, `progress` told the bytes done after
/// each; false stops), and leaves both streams after what was copied.
/// Unsupported, with nothing copied, where the files cannot be copied so.
StreamCopyResult copyBetweenStreams(std::FILE* from, std::FILE* to, std::uint64_t chunk,
                                    const std::function<bool(std::uint64_t)>& progress);

/// Opens a standard file buffer on a path.
bool openFileBuffer(std::filebuf& buffer, const std::string& path, std::ios::openmode mode);

} // namespace FileSystem::sys
