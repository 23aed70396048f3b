#pragma once

// Raw deflate streams and CRC-32 of zip entry data (internal): ISA-L where the
// build has it (levels 1 to 3, inflate and CRC-32), zlib for the higher levels
// and in builds without it.

#include <cstddef>
#include <cstdint>
#include <memory>

namespace FileSystem::detail {

/// CRC-32 of zip entries (and gzip), continued from `crc`: 0 starts a new one.
std::uint32_t entryCrc32(std::uint32_t crc, const unsigned char* data, std::size_t size) noexcept;

/// What a step of a deflater or an inflater came to.
enum class CodecStatus {
    Progress, ///< call again: with more input, more room, or (deflater) finish
    End,      ///< the stream is complete
    Failed,   ///< damaged data (inflater) or a library failure
};

/// Compresses into a raw deflate stream (no header), as zip entries hold it.
/// Each step takes what input it can and fills what room it can; the pointers
/// and sizes are moved past what was used. Like the inflater's, its large
/// buffers are kept for the next deflater of the same thread.
class RawDeflater {
public:
    RawDeflater();
    ~RawDeflater();
    RawDeflater(const RawDeflater&) = delete;
    RawDeflater& operator=(const RawDeflater&) = delete;

    /// Starts a stream at `level`: 1 to 9, below 1 for the default (6).
    bool start(int level);
    /// One step; with `finish` the input given is the last. End once the whole
    /// stream is out.
    CodecStatus step(const unsigned char*& in, std::size_t& inSize, unsigned char*& out, std::size_t& room,
                     bool finish);

private:
    struct State;
    std::unique_ptr<State> m_state;
};

/// Decompresses a raw deflate stream. Progress with nothing taken and nothing
/// given means the step needs more input (or room).
///
/// Its state, with a buffer for the caller's input, is kept for the next
/// inflater of the same thread: an archive of many entries would otherwise
/// spend much of its time allocating, clearing and returning them.
class RawInflater {
public:
    /// The size of input().
    static constexpr std::size_t s_inputSize = std::size_t{1} << 17;

    RawInflater();
    ~RawInflater();
    RawInflater(const RawInflater&) = delete;
    RawInflater& operator=(const RawInflater&) = delete;

    bool start();
    CodecStatus step(const unsigned char*& in, std::size_t& inSize, unsigned char*& out, std::size_t& room);
    /// A buffer of s_inputSize bytes for the compressed input, once started.
    unsigned char* input() noexcept;

private:
    struct State;
    std::unique_ptr<State> m_state;
};

} // namespace FileSystem::detail
