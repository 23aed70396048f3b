#pragma once

// One value of every type the streams know, written and read back, so that
// each kind of stream can be checked for a full round trip.

#include <FileSystem/streams/DataStream.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>

namespace RoundTrip {

using namespace FileSystem;

template <class T, std::size_t N>
bool bitsEqual(const T (&a)[N], const T (&b)[N]) {
    for (std::size_t i = 0; i < N; ++i) {
        if constexpr (std::is_floating_point_v<T>) {
            const double x = static_cast<double>(a[i]), y = static_cast<double>(b[i]);
            if (std::memcmp(&x, &y, sizeof x) != 0)
                return false;
        } else if (a[i] != b[i]) {
            return false;
        }
    }
    return true;
}

struct Values {
    bool flags[3] = {true, false, true};
    char text[4] = {'a', ' ', '\0', 'z'};
    signed char tiny[3] = {-128, 0, 127};
    unsigned char bytes[3] = {0, 200, 255};
    short shorts[3] = {-32768, 1, 32767};
    unsigned short ushorts[2] = {0, 65535};
    int ints[3] = {std::numeric_limits<int>::min(), -1, std::numeric_limits<int>::max()};
    unsigned int uints[2] = {0, 4294967295u};
    long longs[3] = {-2147483648L, 5, 2147483647L};
    unsigned long ulongs[2] = {0, 4294967295ul};
    long long huge[2] = {std::numeric_limits<long long>::min(), std::numeric_limits<long long>::max()};
    unsigned long long uhuge[2] = {0, std::numeric_limits<unsigned long long>::max()};
    float floats[4] = {-1.5f, std::numeric_limits<float>::min(), 3.4028235e38f, 0.1f};
    double doubles[5] = {3.141592653589793, -0.0, std::numeric_limits<double>::max(),
                         std::numeric_limits<double>::denorm_min(), 0.1};
    double nonFinite[3] = {std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity(),
                           std::numeric_limits<double>::quiet_NaN()};
    long double extended[2] = {1.25L, -2.0L};
    wchar_t wide[3] = {L'A', 0x20AC, 0xFFFF};
    char16_t units[2] = {u'x', 0xD83D};
    char32_t points[2] = {U'x', 0x1F600};
    signed char fixedTiny[2] = {-5, 100};
    unsigned char fixedBytes[2] = {7, 255};
    short fixedShorts[2] = {-300, 300};
    unsigned short fixedUshorts[1] = {65000};
    int fixedInts[2] = {-70000, 70000};
    unsigned int fixedUints[1] = {3000000000u};
    long long fixedHuge[1] = {-5000000000LL};
    unsigned long long fixedUhuge[1] = {18000000000000000000ull};
    double block[3] = {1.0, 2.5, -7.25};
};

inline void write(DataOStream& out, const Values& v, const std::string& comment) {
    ASSERT_TRUE(out.do_write(v.flags, 3));
    ASSERT_TRUE(out.do_write(v.text, 4));
    ASSERT_TRUE(out.do_write(DataStreamComment(comment)));
    ASSERT_TRUE(out.do_write(v.tiny, 3));
    ASSERT_TRUE(out.do_write(v.bytes, 3));
    ASSERT_TRUE(out.do_write(v.shorts, 3));
    ASSERT_TRUE(out.do_writeEOLSeparator());
    ASSERT_TRUE(out.do_write(v.ushorts, 2));
    ASSERT_TRUE(out.do_write(v.ints, 3));
    ASSERT_TRUE(out.do_write(v.uints, 2));
    ASSERT_TRUE(out.do_write(v.longs, 3));
    ASSERT_TRUE(out.do_write(v.ulongs, 2));
    ASSERT_TRUE(out.do_write(v.huge, 2));
    ASSERT_TRUE(out.do_write(v.uhuge, 2));
    ASSERT_TRUE(out.do_write(v.floats, 4));
    ASSERT_TRUE(out.do_write(v.doubles, 5));
    ASSERT_TRUE(out.do_write(v.nonFinite, 3));
    ASSERT_TRUE(out.do_write(v.extended, 2));
    ASSERT_TRUE(out.do_write(v.wide, 3));
    ASSERT_TRUE(out.do_write(v.units, 2));
    ASSERT_TRUE(out.do_write(v.points, 2));
    ASSERT_TRUE(out.do_writeFixed(v.fixedTiny, 2));
    ASSERT_TRUE(out.do_writeFixed(v.fixedBytes, 2));
    ASSERT_TRUE(out.do_writeFixed(v.fixedShorts, 2));
    ASSERT_TRUE(out.do_writeFixed(v.fixedUshorts, 1));
    ASSERT_TRUE(out.do_writeFixed(v.fixedInts, 2));
    ASSERT_TRUE(out.do_writeFixed(v.fixedUints, 1));
    ASSERT_TRUE(out.do_writeFixed(v.fixedHuge, 1));
    ASSERT_TRUE(out.do_writeFixed(v.fixedUhuge, 1));
    ASSERT_TRUE(out.do_writeBinaryData(reinterpret_cast<const std::byte*>(v.block), 3, sizeof(double),
                                       Utilities::Endianness::LittleEndian));
    ASSERT_TRUE(out.good());
}

/// Reads what `write` wrote; `comment` is what the stream gives back for the comment.
inline void readAndCheck(DataIStream& in, const std::string& comment) {
    const Values expected;
    Values v;
    std::memset(static_cast<void*>(&v), 0x5A, sizeof v);
    DataStreamComment readComment("untouched");
    ASSERT_TRUE(in.do_read(v.flags, 3));
    ASSERT_TRUE(in.do_read(v.text, 4));
    ASSERT_TRUE(in.do_read(readComment));
    ASSERT_TRUE(in.do_read(v.tiny, 3));
    ASSERT_TRUE(in.do_read(v.bytes, 3));
    ASSERT_TRUE(in.do_read(v.shorts, 3));
    ASSERT_TRUE(in.do_read(v.ushorts, 2));
    ASSERT_TRUE(in.do_read(v.ints, 3));
    ASSERT_TRUE(in.do_read(v.uints, 2));
    ASSERT_TRUE(in.do_read(v.longs, 3));
    ASSERT_TRUE(in.do_read(v.ulongs, 2));
    ASSERT_TRUE(in.do_read(v.huge, 2));
    ASSERT_TRUE(in.do_read(v.uhuge, 2));
    ASSERT_TRUE(in.do_read(v.floats, 4));
    ASSERT_TRUE(in.do_read(v.doubles, 5));
    ASSERT_TRUE(in.do_read(v.nonFinite, 3));
    ASSERT_TRUE(in.do_read(v.extended, 2));
    ASSERT_TRUE(in.do_read(v.wide, 3));
    ASSERT_TRUE(in.do_read(v.units, 2));
    ASSERT_TRUE(in.do_read(v.points, 2));
    ASSERT_TRUE(in.do_readFixed(v.fixedTiny, 2));
    ASSERT_TRUE(in.do_readFixed(v.fixedBytes, 2));
    ASSERT_TRUE(in.do_readFixed(v.fixedShorts, 2));
    ASSERT_TRUE(in.do_readFixed(v.fixedUshorts, 1));
    ASSERT_TRUE(in.do_readFixed(v.fixedInts, 2));
    ASSERT_TRUE(in.do_readFixed(v.fixedUints, 1));
    ASSERT_TRUE(in.do_readFixed(v.fixedHuge, 1));
    ASSERT_TRUE(in.do_readFixed(v.fixedUhuge, 1));
    ASSERT_TRUE(in.do_readBinaryData(reinterpret_cast<std::byte*>(v.block), 3, sizeof(double),
                                     Utilities::Endianness::LittleEndian));

    EXPECT_EQ(readComment.text(), comment);
    EXPECT_TRUE(bitsEqual(v.flags, expected.flags));
    EXPECT_TRUE(bitsEqual(v.text, expected.text));
    EXPECT_TRUE(bitsEqual(v.tiny, expected.tiny));
    EXPECT_TRUE(bitsEqual(v.bytes, expected.bytes));
    EXPECT_TRUE(bitsEqual(v.shorts, expected.shorts));
    EXPECT_TRUE(bitsEqual(v.ushorts, expected.ushorts));
    EXPECT_TRUE(bitsEqual(v.ints, expected.ints));
    EXPECT_TRUE(bitsEqual(v.uints, expected.uints));
    EXPECT_TRUE(bitsEqual(v.longs, expected.longs));
    EXPECT_TRUE(bitsEqual(v.ulongs, expected.ulongs));
    EXPECT_TRUE(bitsEqual(v.huge, expected.huge));
    EXPECT_TRUE(bitsEqual(v.uhuge, expected.uhuge));
    EXPECT_TRUE(bitsEqual(v.floats, expected.floats));
    EXPECT_TRUE(bitsEqual(v.doubles, expected.doubles));
    EXPECT_TRUE(std::isinf(v.nonFinite[0]) && v.nonFinite[0] > 0);
    EXPECT_TRUE(std::isinf(v.nonFinite[1]) && v.nonFinite[1] < 0);
    EXPECT_TRUE(std::isnan(v.nonFinite[2]));
    EXPECT_TRUE(bitsEqual(v.extended, expected.extended));
    EXPECT_TRUE(bitsEqual(v.wide, expected.wide));
    EXPECT_TRUE(bitsEqual(v.units, expected.units));
    EXPECT_TRUE(bitsEqual(v.points, expected.points));
    EXPECT_TRUE(bitsEqual(v.fixedTiny, expected.fixedTiny));
    EXPECT_TRUE(bitsEqual(v.fixedBytes, expected.fixedBytes));
    EXPECT_TRUE(bitsEqual(v.fixedShorts, expected.fixedShorts));
    EXPECT_TRUE(bitsEqual(v.fixedUshorts, expected.fixedUshorts));
    EXPECT_TRUE(bitsEqual(v.fixedInts, expected.fixedInts));
    EXPECT_TRUE(bitsEqual(v.fixedUints, expected.fixedUints));
    EXPECT_TRUE(bitsEqual(v.fixedHuge, expected.fixedHuge));
    EXPECT_TRUE(bitsEqual(v.fixedUhuge, expected.fixedUhuge));
    EXPECT_TRUE(bitsEqual(v.block, expected.block));
}

} // namespace RoundTrip
