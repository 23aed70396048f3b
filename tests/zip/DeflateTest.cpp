// The deflater, inflater and checksum of zip entries: the same bytes and
// checksums as zlib's whatever pieces they come in, and damaged streams fail.

#include <FileSystem/zip/detail/Deflate.h>
#include <FileSystem/zip/detail/EntryEncoder.h>

#include <gtest/gtest.h>

#include <zlib.h>

#include <random>
#include <string>
#include <vector>

using namespace FileSystem::detail;

namespace {

std::string noise(std::size_t size, unsigned seed) {
    std::mt19937 engine(seed);
    std::string bytes(size, '\0');
    for (char& byte : bytes)
        byte = static_cast<char>(engine() & 0xff);
    return bytes;
}

std::string text(std::size_t size) {
    std::string lines;
    for (int i = 0; lines.size() < size; ++i)
        lines += "mesh " + std::to_string(i % 311) + " load " + std::to_string(i * 17 % 9973) + "\n";
    lines.resize(size);
    return lines;
}

const unsigned char* bytesOf(const std::string& s) { return reinterpret_cast<const unsigned char*>(s.data()); }

/// Deflates in pieces of `piece` bytes with `room` bytes of output at a time.
std::string deflateInPieces(const std::string& data, int level, std::size_t piece, std::size_t room) {
    RawDeflater deflater;
    EXPECT_TRUE(deflater.start(level));
    std::string out;
    std::vector<unsigned char> buffer(room);
    std::size_t given = 0;
    for (bool finish = false; !finish;) {
        const std::size_t take = std::min(piece, data.size() - given);
        finish = given + take == data.size();
        const unsigned char* next = bytesOf(data) + given;
        std::size_t left = take;
        CodecStatus status;
        do {
            unsigned char* target = buffer.data();
            std::size_t space = buffer.size();
            status = deflater.step(next, left, target, space, finish);
            if (status == CodecStatus::Failed) {
                ADD_FAILURE() << "deflate failed";
                return out;
            }
            out.append(reinterpret_cast<const char*>(buffer.data()), buffer.size() - space);
        } while (left > 0 || (finish && status != CodecStatus::End));
        given += take;
    }
    return out;
}

/// Inflates in pieces; the output, and whether the stream ended whole.
std::pair<std::string, bool> inflateInPieces(const std::string& stream, std::size_t piece, std::size_t room) {
    RawInflater inflater;
    EXPECT_TRUE(inflater.start());
    std::string out;
    std::vector<unsigned char> buffer(room);
    std::size_t given = 0, pending = 0;
    for (int stalls = 0; stalls < 3;) {
        if (pending == 0 && given < stream.size()) {
            pending = std::min(piece, stream.size() - given);
            given += pending;
        }
        const unsigned char* next = bytesOf(stream) + given - pending;
        const std::size_t offered = pending;
        unsigned char* target = buffer.data();
        std::size_t space = buffer.size();
        const CodecStatus status = inflater.step(next, pending, target, space);
        out.append(reinterpret_cast<const char*>(buffer.data()), buffer.size() - space);
        if (status != CodecStatus::Progress)
            return {out, status == CodecStatus::End};
        stalls = pending == offered && space == buffer.size() ? stalls + 1 : 0;
    }
    return {out, false};
}

std::string zlibInflate(const std::string& stream, std::size_t expected) {
    std::string out(expected + 1, '\0');
    z_stream z{};
    inflateInit2(&z, -MAX_WBITS);
    z.next_in = const_cast<Bytef*>(bytesOf(stream));
    z.avail_in = static_cast<uInt>(stream.size());
    z.next_out = reinterpret_cast<Bytef*>(out.data());
    z.avail_out = static_cast<uInt>(out.size());
    const int status = inflate(&z, Z_FINISH);
    out.resize(out.size() - z.avail_out);
    inflateEnd(&z);
    return status == Z_STREAM_END ? out : std::string("<not a whole stream>");
}

} // namespace

TEST(Deflate, ChecksumsAreZlibsInAnyPieces) {
    const std::string data = noise(300'001, 1) + text(200'000);
    const auto whole = static_cast<std::uint32_t>(crc32(0, bytesOf(data), static_cast<uInt>(data.size())));
    EXPECT_EQ(entryCrc32(0, bytesOf(data), data.size()), whole);
    std::uint32_t pieces = 0;
    for (std::size_t at = 0, n = 1; at < data.size(); at += n, n = n * 5 % 4099 + 1)
        pieces = entryCrc32(pieces, bytesOf(data) + at, std::min(n, data.size() - at));
    EXPECT_EQ(pieces, whole);
    EXPECT_EQ(entryCrc32(0, nullptr, 0), 0u);
    EXPECT_EQ(entryCrc32(0, bytesOf(std::string("123456789")), 9), 0xCBF43926u); // the standard check value
}

TEST(Deflate, EveryLevelRoundTripsInAnyPieces) {
    const std::string data = text(700'000) + noise(400'000, 2) + std::string(100'000, '\0') + text(50'000);
    for (int level : {-1, 1, 2, 3, 4, 6, 9}) {
        SCOPED_TRACE("level " + std::to_string(level));
        for (const auto& [piece, room] : {std::pair<std::size_t, std::size_t>{1 << 20, 1 << 21}, {4093, 77}}) {
            const std::string stream = deflateInPieces(data, level, piece, room);
            EXPECT_LT(stream.size(), data.size());
            EXPECT_EQ(zlibInflate(stream, data.size()), data);
            const auto [back, whole] = inflateInPieces(stream, 1 + piece % 5003, 1 + room % 9001);
            EXPECT_TRUE(whole);
            EXPECT_EQ(back, data);
        }
    }
    // The empty stream, and zlib's streams read by the library's inflater.
    EXPECT_EQ(inflateInPieces(deflateInPieces("", 1, 1, 64), 1, 1), std::make_pair(std::string(), true));
    for (int level : {1, 9}) {
        std::string stream(data.size() + 1000, '\0');
        z_stream z{};
        deflateInit2(&z, level, Z_DEFLATED, -MAX_WBITS, 8, Z_DEFAULT_STRATEGY);
        z.next_in = const_cast<Bytef*>(bytesOf(data));
        z.avail_in = static_cast<uInt>(data.size());
        z.next_out = reinterpret_cast<Bytef*>(stream.data());
        z.avail_out = static_cast<uInt>(stream.size());
        ASSERT_EQ(deflate(&z, Z_FINISH), Z_STREAM_END);
        stream.resize(stream.size() - z.avail_out);
        deflateEnd(&z);
        EXPECT_EQ(inflateInPieces(stream, 65536, 16384), std::make_pair(data, true));
    }
}

TEST(Deflate, DamagedStreamsNeverPassAsWhole) {
    const std::string data = text(200'000) + noise(30'000, 3);
    const std::string stream = deflateInPieces(data, 1, 1 << 20, 1 << 20);
    // Cut short anywhere: never a whole stream.
    for (std::size_t cut : {std::size_t{0}, std::size_t{1}, stream.size() / 3, stream.size() - 1})
        EXPECT_FALSE(inflateInPieces(stream.substr(0, cut), 4096, 4096).second) << "cut at " << cut;
    // A block of the reserved type 3, and a distance before the start of the data.
    EXPECT_EQ(inflateInPieces(std::string("\x07\x00", 2), 16, 16), std::make_pair(std::string(), false));
    const std::string farBack("\x03\x02\x00", 3); // fixed codes: a match at distance 1 before any byte
    EXPECT_FALSE(inflateInPieces(farBack, 16, 16).second);
    // Flipped bits: zlib and this inflater agree on whether the stream is whole,
    // and on its bytes when it is.
    std::mt19937 engine(9);
    for (int i = 0; i < 200; ++i) {
        std::string damaged = stream;
        damaged[engine() % damaged.size()] ^= static_cast<char>(1u << (engine() % 8));
        const std::string reference = zlibInflate(damaged, data.size() * 2);
        const auto [back, whole] = inflateInPieces(damaged, 8192, 8192);
        if (reference == "<not a whole stream>") {
            EXPECT_FALSE(whole);
        } else {
            EXPECT_TRUE(whole && back == reference);
        }
    }
}

TEST(Deflate, DataThatDoesNotCompressIsStoredWithoutCodes) {
    // Given in small pieces as a caller writes them, noise still comes out as
    // stored blocks (5 bytes for each 16 to 64 KiB), not as codes that are
    // larger by 0.06 % and inflate several times slower.
    const std::string data = noise(3 << 20, 4);
    for (int level : {1, 3, 6}) {
        EntryEncoder encoder;
        ASSERT_TRUE(encoder.start("", level));
        for (std::size_t at = 0; at < data.size(); at += 16384) {
            ASSERT_TRUE(encoder.put(bytesOf(data) + at, 16384));
            std::vector<unsigned char> sink(encoder.pending());
            encoder.take(sink.data(), sink.size());
        }
        ASSERT_TRUE(encoder.finish());
        EXPECT_LE(encoder.storedSize(), data.size() + data.size() / 2000) << "level " << level;
        EXPECT_EQ(encoder.checksum(), entryCrc32(0, bytesOf(data), data.size()));
    }
}
