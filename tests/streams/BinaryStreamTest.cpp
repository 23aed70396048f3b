#include <FileSystem/streams/BinaryDataStream.h>
#include <FileSystem/streams/BinaryDerivedDataStream.h>
#include <FileSystem/utilities/BinaryTextEncoder.h>
#include <FileSystem/utilities/StreamResetter.h>

#include "RoundTrip.h"

#include <gtest/gtest.h>

#include <sstream>
#include <vector>

using namespace FileSystem;
using Utilities::Endianness;

namespace {

std::string hexOf(const std::string& bytes) {
    std::string text;
    Utilities::BinaryTextEncoderHex(true).encodeTo(std::as_bytes(std::span(bytes.data(), bytes.size())), text);
    return text;
}

template <class Out, class In>
void roundTrip(Endianness order) {
    std::stringstream buffer;
    {
        Out out(buffer, 3, order);
        RoundTrip::write(out, RoundTrip::Values(), "dropped");
    }
    In in(buffer, 3, order);
    RoundTrip::readAndCheck(in, "untouched"); // comments have no binary form
}

} // namespace

TEST(BinaryStreams, EveryTypeRoundTripsInBothOrders) {
    for (Endianness order : {Endianness::LittleEndian, Endianness::BigEndian}) {
        SCOPED_TRACE(int(order));
        roundTrip<BinaryDataOStream, BinaryDataIStream>(order);
        roundTrip<BinaryHexDataOStream, BinaryHexDataIStream>(order);
        roundTrip<BinaryBase64DataOStream, BinaryBase64DataIStream>(order);
    }
}

TEST(BinaryStreams, ByteOrderAndFixedWidths) {
    const int value = 0x01020304;
    std::ostringstream little, big, none;
    BinaryDataOStream(little, 1, Endianness::LittleEndian).do_write(&value, 1);
    BinaryDataOStream(big, 1, Endianness::BigEndian).do_write(&value, 1);
    BinaryDataOStream noneStream(none, 1, Endianness::None);
    noneStream.do_write(&value, 1);
    EXPECT_EQ(hexOf(little.str()), "04030201");
    EXPECT_EQ(hexOf(big.str()), "01020304");
    EXPECT_EQ(hexOf(none.str()), "01020304"); // anything but 2 swaps

    // Endianness 0 has no block order: the block operation fails on it, as does order 0.
    EXPECT_FALSE(noneStream.do_writeBinaryData(reinterpret_cast<const std::byte*>(&value), 1, 4, Endianness::None));
    EXPECT_FALSE(noneStream.good());
    std::ostringstream sink;
    BinaryDataOStream out(sink, 1, Endianness::LittleEndian);
    EXPECT_FALSE(out.do_writeBinaryData(reinterpret_cast<const std::byte*>(&value), 1, 4, Endianness::None));
    EXPECT_FALSE(out.good());

    std::ostringstream widths;
    BinaryDataOStream w(widths, 1, 1, Endianness::LittleEndian);
    const long l = -1;
    const wchar_t wc = L'\u00e9';
    const long double ld = 0.5L;
    const bool b = true;
    EXPECT_TRUE(w.do_write(&l, 1));
    EXPECT_TRUE(w.do_write(&wc, 1));
    EXPECT_TRUE(w.do_write(&ld, 1));
    EXPECT_TRUE(w.do_write(&b, 1));
    EXPECT_TRUE(w.do_write(&l, 0)); // nothing to do
    EXPECT_EQ(hexOf(widths.str()), "FFFFFFFF" "E900" "000000000000E03F" "01");
    const wchar_t tooWide = static_cast<wchar_t>(0x10000);
    EXPECT_FALSE(w.do_write(&tooWide, 1));
    EXPECT_FALSE(w.good());
    EXPECT_EQ(w.dataStreamType(), DataStreamType::Binary);

    // The block operation in the opposite order swaps each element.
    std::ostringstream swapped;
    BinaryDataOStream s(swapped, 1, Endianness::BigEndian);
    const std::uint16_t pair[2] = {0x0102, 0x0304};
    EXPECT_TRUE(s.do_writeBinaryData(reinterpret_cast<const std::byte*>(pair), 2, 2, Endianness::LittleEndian));
    EXPECT_EQ(hexOf(swapped.str()), "01020304");
}

TEST(BinaryStreams, ReadingPastTheEndAndRollback) {
    std::stringstream buffer;
    const int values[2] = {10, 20};
    BinaryDataOStream(buffer, 1, Endianness::LittleEndian).do_write(values, 2);
    BinaryDataIStream in(buffer, 1, Endianness::LittleEndian);
    DataStreamComment comment("kept");
    EXPECT_TRUE(in.do_read(comment));
    EXPECT_EQ(comment.text(), "kept");
    EXPECT_EQ(in.do_rawPeek(), 10);
    int first = 0;
    EXPECT_TRUE(in.do_read(&first, 1));
    EXPECT_TRUE(in.startTransaction());
    int three[3] = {};
    EXPECT_FALSE(in.do_read(three, 3));
    EXPECT_FALSE(in.good());
    EXPECT_TRUE(in.rollbackLastTransaction());
    int second = 0;
    EXPECT_TRUE(in.do_read(&second, 1));
    EXPECT_EQ(second, 20);
    EXPECT_EQ(in.position(), 8u);
    in.seek(0);
    EXPECT_TRUE(in.do_read(&first, 1));
    EXPECT_EQ(first, 10);
}

TEST(BinaryStreams, HexadecimalForm) {
    std::stringstream buffer;
    const int one = 1;
    BinaryHexDataOStream out(buffer, 1, Endianness::BigEndian);
    out.do_write(&one, 1);
    EXPECT_EQ(buffer.str(), "00000001");
    EXPECT_EQ(out.dataStreamType(), DataStreamType::BinaryHex);

    std::stringstream spaced(" 00\n00 0\t0\r01 2a 00 00 00");
    BinaryHexDataIStream in(spaced, 1, Endianness::BigEndian);
    int value = 0;
    EXPECT_TRUE(in.do_read(&value, 1));
    EXPECT_EQ(value, 1);
    EXPECT_THROW(in.do_rawPeek(), std::logic_error);
    int past[2] = {};
    EXPECT_TRUE(in.do_read(past, 1)); // 2a000000
    EXPECT_FALSE(in.do_read(past + 1, 1));
    EXPECT_FALSE(in.good());

    // Text that is no hexadecimal fails the read and the stream.
    std::stringstream bad("0000zz01");
    BinaryHexDataIStream badIn(bad, 1, Endianness::BigEndian);
    value = 7;
    EXPECT_FALSE(badIn.do_read(&value, 1));
    EXPECT_EQ(value, 7);
    EXPECT_FALSE(badIn.good());
    EXPECT_TRUE(badIn.rollbackLastTransaction());
}

namespace {

/// A length claim, then three values: a reader that stops at the first failed
/// read must stop after those three, whatever the claim.
template <class Out, class In>
void claimBeyondTheInput(Endianness order) {
    std::stringstream buffer;
    {
        Out out(buffer, 1, order);
        const unsigned claim = 1u << 31;
        const int values[3] = {1, 2, 3};
        out.do_write(&claim, 1);
        out.do_write(values, 3);
    }
    In in(buffer, 1, order);
    unsigned claim = 0;
    ASSERT_TRUE(in.do_read(&claim, 1));
    std::vector<int> values;
    for (unsigned i = 0; i < claim && values.size() < 10; ++i) {
        int value = 0;
        if (!in.do_read(&value, 1))
            break;
        values.push_back(value);
    }
    EXPECT_EQ(values, (std::vector<int>{1, 2, 3}));
    EXPECT_FALSE(in.good());
}

/// Bytes whose every block of three differs, so that a misplaced piece shows.
std::string pattern(std::size_t size) {
    std::string bytes(size, '\0');
    for (std::size_t i = 0; i < size; ++i)
        bytes[i] = static_cast<char>((i * 7919) >> 3);
    return bytes;
}

/// The encoded text with a line end behind every `width` characters.
std::string wrapped(const std::string& text, std::size_t width) {
    std::string lines;
    for (std::size_t i = 0; i < text.size(); i += width)
        lines += text.substr(i, width) + "\n";
    return lines;
}

template <class Out, class In>
void longTextInBlocks(std::size_t width) {
    const std::string bytes = pattern(300007);
    std::stringstream encoded;
    {
        Out out(encoded, 1, Endianness::LittleEndian);
        ASSERT_TRUE(out.do_writeBinaryData(reinterpret_cast<const std::byte*>(bytes.data()), bytes.size(), 1,
                                           Endianness::LittleEndian));
    }
    std::stringstream lines(wrapped(encoded.str(), width));
    In in(lines, 1, Endianness::LittleEndian);
    std::string back(bytes.size(), '\0');
    // Blocks of odd sizes, some far larger than a piece of encoded text.
    std::size_t done = 0;
    for (std::size_t block : {1u, 2u, 65537u, 100000u, 5u}) {
        ASSERT_TRUE(in.do_rawRead(back.data() + done, block));
        done += block;
    }
    ASSERT_TRUE(in.do_rawRead(back.data() + done, bytes.size() - done));
    EXPECT_EQ(back, bytes);
    char more = 0;
    EXPECT_FALSE(in.do_rawRead(&more, 1));
}

} // namespace

TEST(BinaryStreams, ReadsStopWhereTheInputEnds) {
    for (Endianness order : {Endianness::LittleEndian, Endianness::BigEndian}) {
        SCOPED_TRACE(int(order));
        claimBeyondTheInput<BinaryDataOStream, BinaryDataIStream>(order);
        claimBeyondTheInput<BinaryHexDataOStream, BinaryHexDataIStream>(order);
        claimBeyondTheInput<BinaryBase64DataOStream, BinaryBase64DataIStream>(order);
    }

    // A claim far beyond the input fails once the input is used up, and takes
    // no memory for the part that never comes.
    std::stringstream hexText("0102 0304");
    BinaryHexDataIStream hex(hexText, 1, Endianness::LittleEndian);
    char four[16] = {};
    EXPECT_FALSE(hex.do_rawRead(four, std::uint64_t(1) << 40));
    EXPECT_FALSE(hex.good());
    std::stringstream base64Text("AQIDBA==");
    BinaryBase64DataIStream base64(base64Text, 1, Endianness::LittleEndian);
    EXPECT_FALSE(base64.do_rawRead(four, ~std::uint64_t(0)));
    EXPECT_FALSE(base64.good());
    std::stringstream raw("12345678");
    BinaryDataIStream binary(raw, 1, Endianness::LittleEndian);
    EXPECT_FALSE(binary.do_readBinaryData(reinterpret_cast<std::byte*>(four), 1, std::uint64_t(1) << 40,
                                          Endianness::BigEndian));
    EXPECT_EQ(std::string(four, 8), "12345678");
}

TEST(BinaryStreams, LongEncodedTextsReadInBlocks) {
    for (std::size_t width : {std::size_t(76), std::size_t(1) << 30}) {
        SCOPED_TRACE(width);
        longTextInBlocks<BinaryHexDataOStream, BinaryHexDataIStream>(width);
        longTextInBlocks<BinaryBase64DataOStream, BinaryBase64DataIStream>(width);
    }
}

TEST(BinaryStreams, Base64PendingBytesAndGroups) {
    // A block of a multiple of three bytes sends the waiting bytes with it and
    // keeps them (the format has it so): they come again at the end.
    std::stringstream block;
    {
        BinaryBase64DataOStream out(block, 1, Endianness::LittleEndian);
        const char c = 'a';
        const char three[3] = {'b', 'c', 'd'};
        out.do_write(&c, 1);
        out.do_writeBinaryData(reinterpret_cast<const std::byte*>(three), 3, 1, Endianness::LittleEndian);
    }
    EXPECT_EQ(block.str(), "YWJjZA==" "YQ==");

    std::stringstream one;
    {
        const int value = 1;
        BinaryBase64DataOStream out(one, 1, Endianness::LittleEndian);
        out.do_write(&value, 1);
        EXPECT_EQ(one.str(), "AQAA"); // three bytes out, one waits
    }
    EXPECT_EQ(one.str(), "AQAAAA=="); // the rest, padded, at destruction

    std::stringstream ten;
    {
        BinaryBase64DataOStream out(ten, 1, Endianness::LittleEndian);
        for (int i = 0; i < 10; ++i)
            out.do_write(&i, 1);
    }
    BinaryBase64DataIStream in(ten, 1, Endianness::LittleEndian);
    for (int i = 0; i < 10; ++i) {
        int value = -1;
        // A rollback inside a group of four characters gives the same bytes again.
        ASSERT_TRUE(in.startTransaction());
        ASSERT_TRUE(in.do_read(&value, 1));
        ASSERT_TRUE(in.rollbackLastTransaction());
        ASSERT_TRUE(in.do_read(&value, 1));
        EXPECT_EQ(value, i);
    }
    int past = 0;
    EXPECT_FALSE(in.do_read(&past, 1));

    std::stringstream spaced("AQ AA\nAA ==");
    BinaryBase64DataIStream spacedIn(spaced, 1, Endianness::LittleEndian);
    int value = 0;
    EXPECT_TRUE(spacedIn.do_read(&value, 1));
    EXPECT_EQ(value, 1);
    std::stringstream invalid("AQ*AAA==");
    BinaryBase64DataIStream invalidIn(invalid, 1, Endianness::LittleEndian);
    EXPECT_FALSE(invalidIn.do_read(&value, 1));
    EXPECT_FALSE(invalidIn.good());
}

TEST(Encoders, HexadecimalAndBase64) {
    const Utilities::BinaryTextEncoderHex upper(true), lower(false);
    const std::string bytes("\x00\xAB\x7F", 3);
    const auto span = std::as_bytes(std::span(bytes.data(), 3));
    EXPECT_EQ(upper.encode(span), "00AB7F");
    EXPECT_EQ(lower.encode(span), "00ab7f");
    EXPECT_EQ(upper.type(), 2);
    const auto decoded = upper.decode(std::string_view(" 00 aB\t7f 1"));
    ASSERT_TRUE(decoded);
    EXPECT_EQ(decoded->size(), 3u); // the odd last digit is dropped
    EXPECT_EQ(std::to_integer<int>((*decoded)[1]), 0xAB);
    EXPECT_FALSE(upper.decode(std::string_view("0g")));
    EXPECT_FALSE(upper.decode(std::string_view("00\x01")));

    const Utilities::BinaryTextEncoderBase64 padded(true), bare(false);
    EXPECT_EQ(padded.type(), 3);
    const std::pair<const char*, const char*> vectors[] = {
        {"", ""}, {"f", "Zg=="}, {"fo", "Zm8="}, {"foo", "Zm9v"}, {"foob", "Zm9vYg=="}, {"fooba", "Zm9vYmE="},
        {"foobar", "Zm9vYmFy"}};
    for (const auto& [plain, encoded] : vectors) {
        const std::string text = plain;
        EXPECT_EQ(padded.encode(std::as_bytes(std::span(text.data(), text.size()))), encoded);
        const auto back = padded.decode(std::string_view(encoded));
        ASSERT_TRUE(back);
        EXPECT_EQ(std::string(reinterpret_cast<const char*>(back->data()), back->size()), text);
    }
    const std::string fo = "fo";
    EXPECT_EQ(bare.encode(std::as_bytes(std::span(fo.data(), 2))), "Zm8");
    const auto spaced = padded.decode(std::string_view("Zm 9v\nY=m=E"));
    ASSERT_TRUE(spaced);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(spaced->data()), spaced->size()), "fooba");
    EXPECT_EQ(padded.decode(std::string_view("Zm9vY"))->size(), 3u); // a lone last digit is dropped
    EXPECT_FALSE(padded.decode(std::string_view("Zm9-")));
    EXPECT_FALSE(padded.decode(std::string_view("Zm9\x80")));
}

TEST(Encoders, StreamResetterPutsTheFormatBackExactly) {
    std::ostringstream stream;
    stream.setf(std::ios::hex, std::ios::basefield);
    stream.precision(3);
    stream.width(5);
    stream.fill('*');
    const auto flags = stream.flags();
    {
        Utilities::StreamResetter resetter(stream);
        stream.setf(std::ios::dec, std::ios::basefield);
        stream.setf(std::ios::showpos);
        stream.setf(std::ios::scientific, std::ios::floatfield);
        stream.precision(12);
        stream.width(0);
        stream.fill('#');
        stream.imbue(std::locale::classic());
    }
    EXPECT_EQ(stream.flags(), flags); // turned-on flags are off again
    EXPECT_EQ(stream.precision(), 3);
    EXPECT_EQ(stream.width(), 5);
    EXPECT_EQ(stream.fill(), '*');
}
