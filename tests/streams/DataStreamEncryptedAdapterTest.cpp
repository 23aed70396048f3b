#include <FileSystem/streams/BinaryDataStream.h>
#include <FileSystem/streams/BinaryDerivedDataStream.h>
#include <FileSystem/streams/DataStreamEncryptedAdapter.h>
#include <FileSystem/streams/TextDataStream.h>

#include "RoundTrip.h"

#include <gtest/gtest.h>

#include <random>
#include <sstream>

using namespace FileSystem;
using Utilities::BinaryCrypterType;
using Utilities::Endianness;
constexpr auto LE = Endianness::LittleEndian;

namespace {

std::string littleEndian64(std::uint64_t value) {
    std::string bytes;
    for (int i = 0; i < 8; ++i)
        bytes += char(value >> (8 * i));
    return bytes;
}

std::string encryptedInt(BinaryCrypterType type, int value) {
    std::ostringstream buffer;
    BinaryDataOStream binary(buffer, 1, LE);
    EXPECT_TRUE(DataOStreamEncryptedAdapter(binary, type).do_write(&value, 1));
    return buffer.str();
}

template <class Out, class In>
void roundTrip(BinaryCrypterType type, const std::string& comment, const std::string& commentRead, Out&& out,
               In&& in, std::stringstream& buffer) {
    DataOStreamEncryptedAdapter encrypted(out, type);
    RoundTrip::write(encrypted, RoundTrip::Values(), comment);
    DataIStreamEncryptedAdapter decrypted(in, type);
    RoundTrip::readAndCheck(decrypted, commentRead);
    EXPECT_EQ(decrypted.dataStreamType(), DataStreamType::Binary);
    EXPECT_EQ(decrypted.position(), buffer.str().size());
}

} // namespace

TEST(EncryptedAdapters, EveryTypeRoundTripsOverBinaryTextAndHexStreams) {
    for (auto type : {BinaryCrypterType::TwoFish, BinaryCrypterType::None}) {
        SCOPED_TRACE(int(type));
        for (auto order : {LE, Endianness::BigEndian}) {
            std::stringstream buffer;
            roundTrip(type, "dropped", "untouched", BinaryDataOStream(buffer, 2, order),
                      BinaryDataIStream(buffer, 2, order), buffer);
        }
        std::stringstream text; // comments stay readable on a text stream
        roundTrip(type, "in the clear", "in the clear",
                  TextDataOStream(text, 3, TextNumberFormat::Canonical, std::locale::classic()),
                  TextDataIStream(text, 3, TextNumberFormat::Canonical, std::locale::classic()), text);
        EXPECT_NE(text.str().find("in the clear"), std::string::npos);
        std::stringstream hex;
        roundTrip(type, "dropped", "untouched", BinaryHexDataOStream(hex, 1, LE), BinaryHexDataIStream(hex, 1, LE),
                  hex);
    }
    // A large array is one block, read back in pieces.
    std::vector<double> values(100000), read(values.size());
    for (std::size_t i = 0; i < values.size(); ++i)
        values[i] = double(i) / 7;
    std::stringstream buffer;
    BinaryDataOStream binaryOut(buffer, 1, LE);
    ASSERT_TRUE(DataOStreamEncryptedAdapter(binaryOut).do_write(values.data(), values.size()));
    EXPECT_EQ(buffer.str().size(), 8 + (8 + 800000) + 8); // length; header and data; padding
    BinaryDataIStream binaryIn(buffer, 1, LE);
    ASSERT_TRUE(DataIStreamEncryptedAdapter(binaryIn).do_read(read.data(), read.size()));
    EXPECT_EQ(read, values);
}

TEST(EncryptedAdapters, EachValueIsALengthAndABlock) {
    EXPECT_EQ(encryptedInt(BinaryCrypterType::None, 0x01020304), littleEndian64(4) + "\x04\x03\x02\x01");
    // Twofish, the default: 4 bytes and the 8-byte header make 16, plus 8.
    EXPECT_EQ(DataIStreamEncryptedAdapter::defaultCrypterType, BinaryCrypterType::TwoFish);
    const std::string twofish = encryptedInt(DataOStreamEncryptedAdapter::defaultCrypterType, 0x01020304);
    ASSERT_EQ(twofish.size(), 32u);
    EXPECT_EQ(twofish.substr(0, 8), littleEndian64(24));
    EXPECT_EQ(twofish.find("\x04\x03\x02\x01"), std::string::npos);

    // The length goes in the wrapped stream's order; the block's bytes stay as they are.
    std::ostringstream big;
    BinaryDataOStream bigOut(big, 1, Endianness::BigEndian);
    DataOStreamEncryptedAdapter(bigOut, BinaryCrypterType::None).do_rawWrite("abc", 3);
    EXPECT_EQ(big.str(), std::string("\0\0\0\0\0\0\0\x03", 8) + "abc");

    // Order None, or a long that has no 32-bit form, fails before anything is written.
    std::ostringstream failing;
    BinaryDataOStream failingOut(failing, 1, LE);
    DataOStreamEncryptedAdapter adapter(failingOut);
    const std::byte raw[4] = {};
    EXPECT_FALSE(adapter.do_writeBinaryData(raw, 1, 4, Endianness::None));
    EXPECT_FALSE(adapter.good());
    failing.clear();
    const long tooWide = 1L << 40;
    EXPECT_FALSE(adapter.do_write(&tooWide, 1));
    EXPECT_TRUE(failing.str().empty());
}

TEST(EncryptedAdapters, BlowfishCarriesTextButNotZeros) {
    std::stringstream buffer;
    BinaryDataOStream binaryOut(buffer, 1, LE);
    DataOStreamEncryptedAdapter out(binaryOut, BinaryCrypterType::BlowFish);
    ASSERT_TRUE(out.do_write("settings", 8) && out.do_write("a\0bc", 4) && out.do_write("settings", 8));

    BinaryDataIStream binaryIn(buffer, 1, LE);
    DataIStreamEncryptedAdapter in(binaryIn, BinaryCrypterType::BlowFish);
    char read[8] = {};
    ASSERT_TRUE(in.do_read(read, 8));
    EXPECT_EQ(std::string(read, 8), "settings");
    char cut[4] = {'x', 'x', 'x', 'x'};
    EXPECT_FALSE(in.do_read(cut, 4)); // decrypts to "a" alone: the size is wrong
    EXPECT_EQ(std::string(cut, 4), "xxxx");
    ASSERT_TRUE(in.do_read(read, 8)); // that block was read whole: the next one follows
}

TEST(EncryptedAdapters, AWrongCrypterFailsOnTheFirstValue) {
    const BinaryCrypterType types[] = {BinaryCrypterType::None, BinaryCrypterType::BlowFish,
                                       BinaryCrypterType::TwoFish, BinaryCrypterType(9)};
    for (auto written : {types[0], types[1], types[2]})
        for (auto reading : types) {
            if (written == reading)
                continue;
            std::istringstream source(encryptedInt(written, 0x41424344));
            BinaryDataIStream binary(source, 1, LE);
            int value = 7;
            EXPECT_FALSE(DataIStreamEncryptedAdapter(binary, reading).do_read(&value, 1))
                << int(written) << " read as " << int(reading);
            EXPECT_EQ(value, 7);
        }
}

TEST(EncryptedAdapters, HostileInputFailsWithoutHugeAllocationsAndRollsBack) {
    const std::string good = encryptedInt(BinaryCrypterType::TwoFish, 1234);
    std::mt19937 random(3);
    std::string noise(200, '\0');
    for (char& c : noise)
        c = char(random());
    const std::string inputs[] = {
        littleEndian64(1ull << 63) + good, // lengths far beyond the input
        littleEndian64(1ull << 40) + std::string(1000, 'x'),
        littleEndian64(200000) + std::string(100000, 'x'), // beyond the input after several pieces
        littleEndian64(0) + good,
        good.substr(0, 28),                       // a block cut short
        littleEndian64(24) + noise.substr(0, 24), // random bytes as a block
        littleEndian64(7) + noise.substr(0, 7),   // no whole block
        noise,
        good.substr(0, 5),
    };
    for (const std::string& input : inputs) {
        std::istringstream source(input);
        BinaryDataIStream binary(source, 1, LE);
        DataIStreamEncryptedAdapter in(binary);
        int value = -1;
        double many[4] = {};
        EXPECT_FALSE(in.do_read(&value, 1)) << input.size();
        EXPECT_EQ(value, -1);
        EXPECT_FALSE(in.do_read(many, 4));
    }

    // Failed reads inside transactions roll back, and the stream reads again.
    std::stringstream buffer(good + good);
    BinaryDataIStream binary(buffer, 1, LE);
    DataIStreamEncryptedAdapter in(binary);
    EXPECT_TRUE(in.startTransaction() && in.hasActiveTransactions());
    double wrongShape = 0;
    EXPECT_FALSE(in.do_read(&wrongShape, 1)); // the block holds 4 bytes, not 8
    EXPECT_TRUE(in.rollbackLastTransaction());
    int value = 0;
    ASSERT_TRUE(in.do_read(&value, 1) && in.startTransaction() && in.do_read(&value, 1));
    EXPECT_FALSE(in.do_read(&value, 1)); // past the end
    EXPECT_FALSE(in.good());
    EXPECT_TRUE(in.rollbackLastTransaction() && in.good());
    value = 0;
    EXPECT_TRUE(in.do_read(&value, 1));
    EXPECT_EQ(value, 1234);
}
