#include <FileSystem/streams/BinaryDataStream.h>
#include <FileSystem/streams/DataStreamContainer.h>
#include <FileSystem/streams/DataStreamFactory.h>
#include <FileSystem/streams/TextDataStream.h>

#include "RoundTrip.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <sstream>

using namespace FileSystem;
using Utilities::Endianness;

namespace {

/// The binary stream behind a container (null for another kind).
BinaryDataIStream* binary(const DataIStreamContainer& container) {
    return dynamic_cast<BinaryDataIStream*>(container.get());
}

DataIStreamContainer fromHeader(const std::string& text, std::istringstream& keep) {
    keep.clear();
    keep.str(text);
    return createDataIStreamFromHeaderLine(keep);
}

} // namespace

TEST(DataStreamFactory, HeaderLinesRoundTripEveryType) {
    for (DataStreamType type : {DataStreamType::Text, DataStreamType::Binary, DataStreamType::BinaryHex,
                                DataStreamType::BinaryBase64}) {
        SCOPED_TRACE(int(type));
        std::stringstream buffer;
        {
            DataOStreamContainer out = createDataOStreamWithHeaderLine(type, 7, buffer);
            ASSERT_TRUE(out.get());
            EXPECT_EQ(out.dataStreamType(), type);
            EXPECT_EQ(out.getFileVersion(), 7u);
            RoundTrip::write(out, RoundTrip::Values(), "c");
        }
        DataIStreamContainer in = createDataIStreamFromHeaderLine(buffer);
        ASSERT_TRUE(in.get());
        EXPECT_EQ(in.dataStreamType(), type);
        EXPECT_EQ(in.getVersion(), DataStreamBase::latestVersion());
        EXPECT_EQ(in.getFileVersion(), 7u);
        RoundTrip::readAndCheck(in, type == DataStreamType::Text ? "c" : "untouched");
    }
    std::ostringstream binaryHeader, textHeader;
    createDataOStreamWithHeaderLine(DataStreamType::Binary, 7, binaryHeader);
    createDataOStreamWithHeaderLine(DataStreamType::Text, 7, textHeader);
    EXPECT_EQ(binaryHeader.str(), "TQBS 1 7 ?\n");
    EXPECT_EQ(textHeader.str(), "TQTS 1 7\n");
}

TEST(DataStreamFactory, ReadingHeaderLines) {
    std::istringstream s;
    EXPECT_FALSE(fromHeader("", s).get());
    EXPECT_FALSE(fromHeader("", s).good());
    ASSERT_TRUE(binary(fromHeader("Binary 1 7\n", s)));
    EXPECT_FALSE(fromHeader("tqbs 1 7\n", s).get());
    EXPECT_EQ(binary(fromHeader("TQBS 1 7\n", s))->getEndianness(), Endianness::LittleEndian);
    EXPECT_EQ(binary(fromHeader("TQBS 1 7 B\n", s))->getEndianness(), Endianness::BigEndian);
    EXPECT_EQ(binary(fromHeader("TQBS 1 7 L\n", s))->getEndianness(), Endianness::LittleEndian);
    EXPECT_EQ(binary(fromHeader("  TQB64S   1   3   B  \r\n", s))->getEndianness(), Endianness::BigEndian);
    EXPECT_EQ(fromHeader("TQBS 1 x\n", s).getVersion(), 1u); // a number that cannot be read is 0
    EXPECT_EQ(fromHeader("TQBS 1 x\n", s).getFileVersion(), 0u);
    EXPECT_EQ(fromHeader("TQBS 0 18446744073709551615\n", s).getFileVersion(), 18446744073709551615u);

    // A newer format than this library reads, or a number beyond 64 bits, opens nothing.
    for (const char* line : {"TQBS 7 1 ?\n", "TQTS 2 1\n", "TQBS 18446744073709551616 1\n", "TQBS 1 18446744073709551616\n",
                             "TQBS 1 -1\n", "TQBS -1 1\n"}) {
        SCOPED_TRACE(line);
        std::istringstream source(std::string(line) + "AAAA");
        EXPECT_FALSE(createDataIStreamFromHeaderLine(source).get());
        EXPECT_EQ(source.tellg(), std::streampos(std::string(line).size())); // the line is consumed
    }
    std::istringstream newer("1 ");
    EXPECT_FALSE(createDataIStream(DataStreamType::Text, 1, DataStreamBase::latestVersion() + 1, newer,
                                   Endianness::LittleEndian)
                     .get());

    std::istringstream crlf("TQTS 1 3\r\n42 ");
    DataIStreamContainer text = createDataIStreamFromHeaderLine(crlf);
    int value = 0;
    EXPECT_TRUE(text.do_read(&value, 1));
    EXPECT_EQ(value, 42);
    EXPECT_EQ(text.position(), 13u); // counted from the start of the standard stream

    // A line far too long for a header is consumed and refused, without keeping it.
    std::istringstream huge(std::string(1 << 20, 'T') + "\nTQBS 1 1\n");
    EXPECT_FALSE(createDataIStreamFromHeaderLine(huge).get());
    EXPECT_TRUE(createDataIStreamFromHeaderLine(huge).get());
}

TEST(DataStreamFactory, TypesAndContainers) {
    std::ostringstream sink;
    EXPECT_FALSE(createDataOStreamWithHeaderLine(DataStreamType::None, 1, sink).get());
    EXPECT_THROW(createDataOStreamWithHeaderLine(DataStreamType(2), 1, sink), std::logic_error);
    EXPECT_THROW(createDataOStream(DataStreamType(2), 1, sink), std::logic_error);
    EXPECT_EQ(sink.str(), "");
    std::istringstream source("1 ");
    EXPECT_FALSE(createDataIStream(DataStreamType(2), 1, 1, source, Endianness::LittleEndian).get());

    DataIStreamContainer empty;
    int value = 0;
    EXPECT_FALSE(empty.do_read(&value, 1));
    EXPECT_FALSE(empty.good());
    EXPECT_EQ(empty.getVersion(), 0u);
    EXPECT_EQ(empty.do_rawPeek(), -1);
    empty.seek(3);
    empty.failStream();

    DataIStreamContainer full = createDataIStream(DataStreamType::Text, 1, 1, source, Endianness::LittleEndian);
    DataIStreamContainer moved(std::move(full));
    EXPECT_FALSE(full.get());
    EXPECT_TRUE(moved.do_read(&value, 1));
    EXPECT_EQ(value, 1);

    TestSupport::TempDir dir;
    {
        KVofstreamBinary file(dir / "model.bin");
        DataOStreamContainer out = createDataOStreamWithHeaderLine(DataStreamType::BinaryHex, 4, file);
        const double pi = 3.25;
        out.do_write(&pi, 1);
    }
    KVifstreamBinary file(dir / "model.bin");
    DataIStreamContainer in = createDataIStreamFromHeaderLine(file);
    double back = 0;
    EXPECT_TRUE(in.do_read(&back, 1));
    EXPECT_EQ(back, 3.25);
}

TEST(DataStreamFactory, BinaryAdapters) {
    // Over a text stream every value becomes hexadecimal, most significant byte first.
    std::stringstream text;
    TextDataOStream textOut(text, 1, TextNumberFormat::Canonical, std::locale::classic());
    DataOStreamBinaryAdapter adapter(textOut, Endianness::LittleEndian);
    const double d = 1.0;
    const int i = 258;
    adapter.do_write(&d, 1);
    adapter.do_write(&i, 1);
    EXPECT_EQ(text.str(), "3FF0000000000000 00000102 ");
    EXPECT_EQ(adapter.dataStreamType(), DataStreamType::Binary);
    EXPECT_EQ(adapter.get(), &textOut);

    std::stringstream roundTrip;
    {
        TextDataOStream out(roundTrip, 1, TextNumberFormat::Canonical, std::locale::classic());
        DataOStreamBinaryAdapter a(out, Endianness::LittleEndian);
        RoundTrip::write(a, RoundTrip::Values(), "note");
    }
    TextDataIStream textIn(roundTrip, 1, TextNumberFormat::Canonical, std::locale::classic());
    DataIStreamBinaryAdapter reader(textIn, Endianness::LittleEndian);
    RoundTrip::readAndCheck(reader, "note");

    // Over a binary stream the values stand in the adapter's order.
    std::stringstream raw;
    BinaryDataOStream rawOut(raw, 1, Endianness::LittleEndian);
    DataOStreamBinaryAdapter bigAdapter(rawOut, Endianness::BigEndian);
    const int one = 1;
    bigAdapter.do_write(&one, 1);
    EXPECT_EQ(raw.str(), std::string("\0\0\0\1", 4));
    BinaryDataIStream rawIn(raw, 1, Endianness::LittleEndian);
    DataIStreamBinaryAdapter bigReader(rawIn, Endianness::BigEndian);
    int back = 0;
    EXPECT_TRUE(bigReader.do_read(&back, 1));
    EXPECT_EQ(back, 1);
}
