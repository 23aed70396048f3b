#include <FileSystem/streams/BinaryDataStream.h>
#include <FileSystem/streams/BinaryDerivedDataStream.h>
#include <FileSystem/utilities/BinaryTextEncoder.h>
#include <FileSystem/utilities/StreamResetter.h>

#include "RoundTrip.h"

#include <gtest/gtest.h>

#include <sstream>

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
    EXPECT_TRUE(in.do_read(past, 2)); // the read itself reports nothing ...
    EXPECT_FALSE(in.good());          // ... the stream does

    std::stringstream bad("0000zz01");
    BinaryHexDataIStream badIn(bad, 1, Endianness::BigEndian);
    value = 7;
    EXPECT_TRUE(badIn.do_read(&value, 1));
    EXPECT_EQ(value, 7); // not decoded: nothing copied
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

TEST(Encoders, StreamResetterKeepsFlagsThatWereTurnedOn) {
    std::ostringstream stream;
    stream.setf(std::ios::hex, std::ios::basefield);
    stream.precision(3);
    stream.fill('*');
    {
        Utilities::StreamResetter resetter(stream);
        stream.setf(std::ios::dec, std::ios::basefield);
        stream.setf(std::ios::showpos);
        stream.precision(12);
        stream.fill('#');
        stream.imbue(std::locale::classic());
    }
    EXPECT_EQ(stream.precision(), 3);
    EXPECT_EQ(stream.fill(), '*');
    EXPECT_TRUE(stream.flags() & std::ios::hex);
    EXPECT_TRUE(stream.flags() & std::ios::showpos); // set on top, not replaced
}
