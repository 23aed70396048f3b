// The inflater of zip entries against zlib's on any bytes taken as a raw
// deflate stream: where zlib inflates a whole stream, the library's inflater
// must give the same bytes, whatever pieces the input and output come in, and
// it must never accept a stream that zlib finds damaged or incomplete. The
// bytes also go through the library's deflater at a level of their choosing,
// and zlib must inflate that stream back to them.

#include <FileSystem/zip/detail/Deflate.h>

#include <zlib.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

constexpr std::size_t kOutputLimit = 1 << 16;

enum class Outcome { Whole, Damaged, Incomplete, TooLarge };

Outcome zlibInflate(const unsigned char* in, std::size_t size, std::string& out) {
    z_stream stream{};
    if (inflateInit2(&stream, -MAX_WBITS) != Z_OK)
        std::abort();
    std::vector<unsigned char> buffer(kOutputLimit + 1);
    stream.next_in = const_cast<Bytef*>(in);
    stream.avail_in = static_cast<uInt>(size);
    stream.next_out = buffer.data();
    stream.avail_out = static_cast<uInt>(buffer.size());
    const int status = inflate(&stream, Z_FINISH);
    const std::size_t produced = buffer.size() - stream.avail_out;
    inflateEnd(&stream);
    out.assign(reinterpret_cast<const char*>(buffer.data()), produced);
    if (produced > kOutputLimit)
        return Outcome::TooLarge;
    if (status == Z_STREAM_END)
        return Outcome::Whole;
    return status == Z_DATA_ERROR || status == Z_NEED_DICT ? Outcome::Damaged : Outcome::Incomplete;
}

/// The library's inflater in pieces of `inPiece` and `outPiece` bytes; true
/// when it reached the end of the stream.
bool libraryInflate(const unsigned char* in, std::size_t size, std::size_t inPiece, std::size_t outPiece,
                    std::string& out) {
    FileSystem::detail::RawInflater inflater;
    if (!inflater.start())
        std::abort();
    std::vector<unsigned char> buffer(outPiece);
    std::size_t given = 0;
    std::size_t pending = 0; // bytes given that the inflater has not taken
    for (int stalls = 0;;) {
        if (pending == 0 && given < size) {
            pending = std::min(inPiece, size - given);
            given += pending;
        }
        const unsigned char* next = in + given - pending;
        const std::size_t offered = pending;
        unsigned char* target = buffer.data();
        std::size_t room = buffer.size();
        const auto status = inflater.step(next, pending, target, room);
        out.append(reinterpret_cast<const char*>(buffer.data()), buffer.size() - room);
        if (status == FileSystem::detail::CodecStatus::End)
            return true;
        if (status == FileSystem::detail::CodecStatus::Failed || out.size() > kOutputLimit)
            return false;
        // Steps that neither take nor give: the input ended before the stream did.
        stalls = pending == offered && room == buffer.size() ? stalls + 1 : 0;
        if (stalls > 2)
            return false;
    }
}

void checkDeflater(const unsigned char* data, std::size_t size, int level, std::size_t piece) {
    FileSystem::detail::RawDeflater deflater;
    if (!deflater.start(level))
        std::abort();
    std::string compressed;
    std::vector<unsigned char> buffer(4096);
    std::size_t given = 0;
    for (;;) {
        const std::size_t take = std::min(piece, size - given);
        const unsigned char* next = data + given;
        std::size_t left = take;
        const bool finish = given + take == size;
        FileSystem::detail::CodecStatus status;
        do {
            unsigned char* target = buffer.data();
            std::size_t room = buffer.size();
            status = deflater.step(next, left, target, room, finish);
            if (status == FileSystem::detail::CodecStatus::Failed)
                std::abort();
            compressed.append(reinterpret_cast<const char*>(buffer.data()), buffer.size() - room);
        } while (left > 0 || (finish && status != FileSystem::detail::CodecStatus::End));
        given += take;
        if (finish)
            break;
    }
    std::string back;
    if (zlibInflate(reinterpret_cast<const unsigned char*>(compressed.data()), compressed.size(), back) !=
            Outcome::Whole ||
        back.size() != size || std::memcmp(back.data(), data, size) != 0)
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    if (size < 2)
        return 0;
    // The first two bytes choose the pieces and the level; the rest is the stream.
    const std::size_t inPiece = 1 + (bytes[0] & 0x0f) * (bytes[0] & 0x0f) * 37;
    const std::size_t outPiece = 1 + (bytes[0] >> 4) * (bytes[0] >> 4) * 131;
    const int level = bytes[1] % 10;
    const unsigned char* stream = bytes + 2;
    const std::size_t length = size - 2;

    std::string expected, got;
    const Outcome reference = zlibInflate(stream, length, expected);
    const bool whole = libraryInflate(stream, length, inPiece, outPiece, got);
    if (reference == Outcome::Whole && (!whole || got != expected))
        std::abort();
    if ((reference == Outcome::Damaged || reference == Outcome::Incomplete) && whole)
        std::abort();

    checkDeflater(stream, length, level, inPiece);
    return 0;
}
