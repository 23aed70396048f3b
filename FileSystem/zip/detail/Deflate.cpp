#include <FileSystem/zip/detail/Deflate.h>

#include <FileSystem/zip/detail/ThreadSpare.h>

#include <zlib.h>

#if FILESYSTEM_WITH_ISAL
#include <isa-l/crc.h>
#include <isa-l/igzip_lib.h>
#endif

#include <algorithm>
#include <vector>

namespace FileSystem::detail {

namespace {

// Both libraries count in 32 bits; larger pieces go in over several steps.
constexpr std::size_t kStepLimit = 1u << 30;

unsigned clamp32(std::size_t size) { return static_cast<unsigned>(std::min(size, kStepLimit)); }

/// One step of a library stream (zlib's and ISA-L's name their fields alike):
/// hands it the caller's input and room, runs `call`, and moves the caller's
/// pointers and sizes past what it used. The library's status.
template <typename Stream, typename Call>
int runStep(Stream& stream, const unsigned char*& in, std::size_t& inSize, unsigned char*& out, std::size_t& room,
            Call call) {
    stream.next_in = const_cast<unsigned char*>(in);
    stream.avail_in = clamp32(inSize);
    stream.next_out = out;
    stream.avail_out = clamp32(room);
    const int status = call();
    const auto taken = static_cast<std::size_t>(stream.next_in - in);
    const auto given = static_cast<std::size_t>(stream.next_out - out);
    in += taken;
    inSize -= taken;
    out += given;
    room -= given;
    return status;
}

CodecStatus zlibStatus(int status) {
    if (status == Z_STREAM_END)
        return CodecStatus::End;
    return status == Z_OK || status == Z_BUF_ERROR ? CodecStatus::Progress : CodecStatus::Failed;
}

#if FILESYSTEM_WITH_ISAL
// ISA-L's three levels give archives no larger than zlib's 1 to 3 at about ten
// times their speed; zlib's levels from 4 on compress better than any of them.
constexpr int kHighestIsalLevel = 3;

bool isalDeflates(int level) { return level >= 1 && level <= kHighestIsalLevel; }
#endif

} // namespace

std::uint32_t entryCrc32(std::uint32_t crc, const unsigned char* data, std::size_t size) noexcept {
#if FILESYSTEM_WITH_ISAL
    return crc32_gzip_refl(crc, data, size);
#else
    return static_cast<std::uint32_t>(crc32_z(crc, data, size));
#endif
}

// ---- Deflate -------------------------------------------------------------------

struct RawDeflater::State {
    z_stream zlib{};
    bool zlibOpen = false;
#if FILESYSTEM_WITH_ISAL
    bool isalActive = false;
    std::unique_ptr<isal_zstream> isal;
    std::unique_ptr<std::uint8_t[]> levelBuffer; // room for the highest level
#endif

    void endZlib() {
        if (zlibOpen)
            deflateEnd(&zlib);
        zlibOpen = false;
    }
    ~State() { endZlib(); }
};

RawDeflater::RawDeflater() = default;

RawDeflater::~RawDeflater() {
    if (m_state) {
        m_state->endZlib(); // the next stream may want another level
        ThreadSpare<State>::give(std::move(m_state));
    }
}

bool RawDeflater::start(int level) {
    if (m_state)
        return false;
    m_state = ThreadSpare<State>::take();
    if (!m_state)
        m_state = std::make_unique<State>();
    if (level < 1)
        level = Z_DEFAULT_COMPRESSION;
#if FILESYSTEM_WITH_ISAL
    m_state->isalActive = isalDeflates(level);
    if (m_state->isalActive) {
        if (!m_state->isal) {
            m_state->isal.reset(new isal_zstream);
            m_state->levelBuffer.reset(new std::uint8_t[ISAL_DEF_LVL3_DEFAULT]);
        }
        isal_zstream& stream = *m_state->isal;
        isal_deflate_init(&stream);
        stream.level = static_cast<std::uint32_t>(level);
        stream.level_buf = m_state->levelBuffer.get();
        stream.level_buf_size = level == 1 ? ISAL_DEF_LVL1_DEFAULT : level == 2 ? ISAL_DEF_LVL2_DEFAULT
                                                                                : ISAL_DEF_LVL3_DEFAULT;
        stream.gzip_flag = IGZIP_DEFLATE;
        stream.flush = NO_FLUSH;
        return true;
    }
#endif
    // Negative window bits: raw deflate, with the largest window.
    m_state->zlibOpen =
        deflateInit2(&m_state->zlib, std::min(level, 9), Z_DEFLATED, -MAX_WBITS, 8, Z_DEFAULT_STRATEGY) == Z_OK;
    return m_state->zlibOpen;
}

CodecStatus RawDeflater::step(const unsigned char*& in, std::size_t& inSize, unsigned char*& out, std::size_t& room,
                              bool finish) {
    if (!m_state)
        return CodecStatus::Failed;
#if FILESYSTEM_WITH_ISAL
    if (m_state->isalActive) {
        isal_zstream& stream = *m_state->isal;
        // The last piece is the last only when it goes in whole.
        stream.end_of_stream = finish && inSize <= kStepLimit ? 1 : 0;
        if (runStep(stream, in, inSize, out, room, [&] { return isal_deflate(&stream); }) != COMP_OK)
            return CodecStatus::Failed;
        return stream.internal_state.state == ZSTATE_END ? CodecStatus::End : CodecStatus::Progress;
    }
#endif
    if (!m_state->zlibOpen)
        return CodecStatus::Failed;
    const int flush = finish && inSize <= kStepLimit ? Z_FINISH : Z_NO_FLUSH;
    z_stream& stream = m_state->zlib;
    return zlibStatus(runStep(stream, in, inSize, out, room, [&] { return deflate(&stream, flush); }));
}

// ---- Inflate -------------------------------------------------------------------

struct RawInflater::State {
    z_stream zlib{};
    bool zlibOpen = false;
#if FILESYSTEM_WITH_ISAL
    inflate_state isal; // set up by start; left uninitialised until then
#endif
    std::unique_ptr<unsigned char[]> input{new unsigned char[s_inputSize]};

    ~State() {
        if (zlibOpen)
            inflateEnd(&zlib);
    }
};

RawInflater::RawInflater() = default;

RawInflater::~RawInflater() { ThreadSpare<State>::give(std::move(m_state)); }

bool RawInflater::start() {
    if (m_state)
        return false;
    m_state = ThreadSpare<State>::take();
    if (!m_state)
        m_state.reset(new State); // not value-initialised: the inflater's state is set up below
#if FILESYSTEM_WITH_ISAL
    isal_inflate_init(&m_state->isal);
    m_state->isal.crc_flag = ISAL_DEFLATE; // raw deflate, no checksum of its own
    return true;
#else
    // Negative window bits: raw deflate, as zip entries hold it.
    if (m_state->zlibOpen)
        return inflateReset(&m_state->zlib) == Z_OK;
    m_state->zlibOpen = inflateInit2(&m_state->zlib, -MAX_WBITS) == Z_OK;
    return m_state->zlibOpen;
#endif
}

unsigned char* RawInflater::input() noexcept { return m_state ? m_state->input.get() : nullptr; }

CodecStatus RawInflater::step(const unsigned char*& in, std::size_t& inSize, unsigned char*& out, std::size_t& room) {
    if (!m_state)
        return CodecStatus::Failed;
#if FILESYSTEM_WITH_ISAL
    inflate_state& stream = m_state->isal;
    if (stream.block_state == ISAL_BLOCK_FINISH)
        return CodecStatus::End;
    const int status = runStep(stream, in, inSize, out, room, [&] { return isal_inflate(&stream); });
    if (status < 0 || status == ISAL_NEED_DICT)
        return CodecStatus::Failed;
    return stream.block_state == ISAL_BLOCK_FINISH ? CodecStatus::End : CodecStatus::Progress;
#else
    if (!m_state->zlibOpen)
        return CodecStatus::Failed;
    z_stream& stream = m_state->zlib;
    return zlibStatus(runStep(stream, in, inSize, out, room, [&] { return inflate(&stream, Z_NO_FLUSH); }));
#endif
}

} // namespace FileSystem::detail
