#include <FileSystem/streams/TextDataStream.h>

#include "RoundTrip.h"

#include <gtest/gtest.h>

#include <cmath>
#include <sstream>

using namespace FileSystem;

namespace {

TextDataOStream writer(std::ostream& stream, bool formatted = false) {
    TextDataOStream out(stream, 1, TextNumberFormat::Canonical, std::locale::classic());
    out.setFormatted(formatted);
    return out;
}

TextDataIStream reader(std::istream& stream, bool formatted = false) {
    TextDataIStream in(stream, 1, TextNumberFormat::Canonical, std::locale::classic());
    in.setFormatted(formatted);
    return in;
}

} // namespace

TEST(TextStreams, EveryTypeRoundTripsFormattedOrNot) {
    for (bool formatted : {false, true}) {
        SCOPED_TRACE(formatted);
        std::stringstream buffer;
        auto out = writer(buffer, formatted);
        out.do_setWriteIndent(2);
        RoundTrip::write(out, RoundTrip::Values(), "a \"quoted\" \\ comment");
        auto in = reader(buffer, formatted);
        RoundTrip::readAndCheck(in, "a \"quoted\" \\ comment");
        EXPECT_EQ(in.dataStreamType(), DataStreamType::Text);
    }
}

TEST(TextStreams, TokensSeparatorsAndLines) {
    const int values[2] = {1, 2};
    std::ostringstream plain;
    writer(plain).do_write(values, 2);
    EXPECT_EQ(plain.str(), "1 2 ");

    std::ostringstream lines;
    auto out = writer(lines, true);
    out.do_write(values, 1);
    EXPECT_TRUE(out.do_writeEOLSeparator());
    EXPECT_TRUE(out.do_writeEOLSeparator()); // two in a row give one
    out.do_setWriteIndent(3);
    out.do_write(values + 1, 1);
    out.do_write(values, 1);
    EXPECT_EQ(lines.str(), "1\n   2 1"); // no trailing blank in formatted mode
    EXPECT_EQ(out.do_getWriteIndent(), 3u);

    const unsigned short codes[1] = {0x1F};
    const wchar_t wide[1] = {0x20AC};
    const char32_t point[1] = {0x1F600};
    const double d = 0.1;
    const float f = 0.1f;
    const bool flags[2] = {true, false};
    std::ostringstream forms;
    auto f1 = writer(forms);
    f1.do_write(codes, 1);
    f1.do_write(wide, 1);
    f1.do_write(point, 1);
    f1.do_write(&d, 1);
    f1.do_write(&f, 1);
    f1.do_write(flags, 2);
    f1.do_write("ab", 2);
    EXPECT_EQ(forms.str(), "31 20AC 0001F600 1.00000000000000006e-01 1.000000015e-01 1 0 ab ");
}

TEST(TextStreams, Comments) {
    std::ostringstream out;
    auto w = writer(out);
    w.do_write(DataStreamComment("has blank"));
    w.do_write(DataStreamComment("say \"hi\""));
    w.do_write(DataStreamComment("back\\slash"));
    w.do_write(DataStreamComment(""));
    EXPECT_EQ(out.str(), "\"has blank\" \"say \\\"hi\\\"\" back\\slash  ");

    std::istringstream in(out.str());
    auto r = reader(in);
    DataStreamComment comment;
    EXPECT_TRUE(r.do_read(comment));
    EXPECT_EQ(comment.text(), "has blank");
    EXPECT_TRUE(r.do_read(comment));
    EXPECT_EQ(comment.text(), "say \"hi\"");
    EXPECT_TRUE(r.do_read(comment));
    EXPECT_EQ(comment.text(), "back\\slash");
    EXPECT_TRUE(r.do_read(comment));
    EXPECT_EQ(comment.text(), "");

    // Checked comments are landmarks: another text fails, and the stream stands behind it.
    std::istringstream marks("BEGIN END 5 ");
    auto checked = reader(marks);
    checked.setCheckComments(true);
    DataStreamComment begin("BEGIN"), expected("START");
    EXPECT_TRUE(checked.do_read(begin));
    EXPECT_FALSE(checked.do_read(expected));
    EXPECT_EQ(expected.text(), "END");
    int five = 0;
    EXPECT_TRUE(checked.do_read(&five, 1));
    EXPECT_EQ(five, 5);

    // Unformatted, the end of input is no separator for a bare comment.
    std::istringstream open("trailing");
    auto plain = reader(open);
    EXPECT_FALSE(plain.do_read(comment));
    std::istringstream openFormatted("trailing");
    auto formatted = reader(openFormatted, true);
    EXPECT_TRUE(formatted.do_read(comment));
    EXPECT_EQ(comment.text(), "trailing");
}

TEST(TextStreams, NonFiniteWordsAndBadNumbers) {
    std::istringstream words("nan NaN(ind) inf Infinity -inf INFINITY ");
    auto in = reader(words);
    double values[6] = {};
    ASSERT_TRUE(in.do_read(values, 6));
    EXPECT_TRUE(std::isnan(values[0]) && std::isnan(values[1]));
    EXPECT_TRUE(std::isinf(values[2]) && values[3] > 0 && values[4] < 0 && values[5] > 0);

    for (const char* text : {"+inf ", "-nan ", "infinite ", "12e+ "}) {
        SCOPED_TRACE(text);
        std::istringstream bad(text);
        auto r = reader(bad);
        double value = 42;
        EXPECT_FALSE(r.do_read(&value, 1));
        EXPECT_EQ(value, 42); // left unread
    }

    std::istringstream clamped("300 -300 70000 ");
    auto c = reader(clamped);
    signed char tiny[2] = {};
    short small = 0;
    EXPECT_TRUE(c.do_readFixed(tiny, 2));
    EXPECT_TRUE(c.do_readFixed(&small, 1));
    EXPECT_EQ(tiny[0], 127);
    EXPECT_EQ(tiny[1], -128);
    EXPECT_EQ(small, 32767);

    const float f = 1.0f / 3.0f;
    std::stringstream exact;
    writer(exact).do_write(&f, 1);
    float back = 0;
    auto fr = reader(exact);
    EXPECT_TRUE(fr.do_read(&back, 1));
    EXPECT_EQ(std::bit_cast<std::uint32_t>(back), std::bit_cast<std::uint32_t>(f));
}

TEST(TextStreams, ASignAloneIsNoNumber) {
    for (const char* text : {"- 5 ", "+ 5 ", "-"}) {
        SCOPED_TRACE(text);
        for (bool formatted : {false, true}) {
            std::istringstream source(text);
            auto in = reader(source, formatted);
            int value = 42;
            EXPECT_FALSE(in.do_read(&value, 1));
            EXPECT_EQ(value, 42);
            EXPECT_FALSE(in.good());
            std::istringstream again(text);
            auto narrow = reader(again, formatted);
            signed char tiny = 42;
            EXPECT_FALSE(narrow.do_readFixed(&tiny, 1)); // parsed through long
            unsigned long long huge = 42;
            std::istringstream wide(text);
            EXPECT_FALSE(reader(wide, formatted).do_readFixed(&huge, 1));
        }
    }
    std::istringstream signs("-5 +5 -0 ");
    auto in = reader(signs);
    int values[3] = {};
    EXPECT_TRUE(in.do_read(values, 3));
    EXPECT_EQ(values[0], -5);
    EXPECT_EQ(values[1], 5);
    EXPECT_EQ(values[2], 0);
}

TEST(TextStreams, HexadecimalBlocks) {
    std::istringstream source("0102 A0B0 C0D0 0g ");
    auto in = reader(source);
    std::byte pair[2], four[4], bad[1];
    EXPECT_TRUE(in.do_readBinaryData(pair, 1, 2, Utilities::Endianness::LittleEndian));
    EXPECT_EQ(std::to_integer<int>(pair[0]), 2); // the most significant byte comes first
    EXPECT_TRUE(in.do_readBinaryData(four, 2, 2, Utilities::Endianness::BigEndian));
    EXPECT_EQ(std::to_integer<int>(four[3]), 0xD0);
    EXPECT_FALSE(in.do_readBinaryData(bad, 1, 1, Utilities::Endianness::BigEndian));
    // An element size far beyond the input fails where the input ends.
    std::istringstream shortInput("0102 ");
    auto claim = reader(shortInput);
    EXPECT_FALSE(claim.do_readBinaryData(four, 1, std::uint64_t(1) << 40, Utilities::Endianness::BigEndian));
    EXPECT_FALSE(claim.good());
}

TEST(TextStreams, TheCallersFormatIsKept) {
    std::ostringstream stream;
    stream.precision(4);
    const auto flags = stream.flags();
    auto out = writer(stream);
    const double d = 0.5;
    const float f = 0.25f;
    const int i = 17;
    out.do_write(&d, 1);
    out.do_write(&f, 1);
    out.do_writeFixed(&i, 1);
    EXPECT_EQ(stream.flags(), flags);
    EXPECT_EQ(stream.precision(), 4);
    stream << 0.125 << ' ' << 2.0;
    EXPECT_EQ(stream.str(), "5.00000000000000000e-01 2.500000000e-01 17 0.125 2");
}

TEST(TextStreams, LineEndsAndTheEndOfInput) {
    int two[2] = {};
    std::istringstream unformatted("1\n2 ");
    auto u = reader(unformatted);
    EXPECT_FALSE(u.do_read(two, 2));

    std::istringstream crlf("1\r\n  2");
    auto f = reader(crlf, true);
    EXPECT_TRUE(f.do_read(two, 2));
    EXPECT_EQ(two[1], 2); // and the last value needs no separator

    std::istringstream blankLine("1\n\n2");
    auto b = reader(blankLine, true);
    EXPECT_FALSE(b.do_read(two, 2)); // exactly one line end between tokens

    std::istringstream finished("7");
    auto e = reader(finished);
    int value = 0;
    EXPECT_TRUE(e.do_read(&value, 1));
    EXPECT_FALSE(e.do_read(&value, 1)); // nothing more to read
    EXPECT_TRUE(e.rollbackLastTransaction());

    std::istringstream rollback("1 x 3 ");
    auto r = reader(rollback);
    EXPECT_TRUE(r.do_read(&value, 1));
    EXPECT_TRUE(r.startTransaction());
    EXPECT_FALSE(r.do_read(&value, 1)); // "x" is no number
    EXPECT_TRUE(r.rollbackLastTransaction());
    char letter = 0;
    EXPECT_TRUE(r.do_read(&letter, 1));
    EXPECT_EQ(letter, 'x');
}
