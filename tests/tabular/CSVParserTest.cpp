#include <FileSystem/tabular/BinaryCSVParser.h>
#include <FileSystem/tabular/CSVParser.h>
#include <FileSystem/zip/ZipStream.h>

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <sstream>

using namespace FileSystem;
using Rows = CSVParserBase::Rows;

namespace {

Rows parsed(const std::string& text, CSVParser parser = CSVParser(), bool trim = false, bool convert = false) {
    parser.parseData(text, trim, convert);
    return parser.getRawData();
}

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

void writeCompressed(const std::string& path, const std::string& text) {
    ZipStream stream(path, static_cast<int>(std::ios::out));
    stream.getStream() << text;
    ASSERT_TRUE(stream.close());
}

} // namespace

TEST(CSVParser, SplitsCellsAndRows) {
    EXPECT_EQ(parsed("a,\"b,c\",d"), (Rows{{"a", "b,c", "d"}}));
    EXPECT_EQ(parsed("a,b,\n"), (Rows{{"a", "b"}})); // a trailing separator makes no cell
    EXPECT_EQ(parsed("a,,b\n"), (Rows{{"a", "", "b"}}));
    EXPECT_EQ(parsed("a,,b\n,c\n", CSVParser(',', true, false, '\n', true)), (Rows{{"a", "b"}, {"c"}}));
    // A quoted empty cell is kept even when empty cells are dropped.
    EXPECT_EQ(parsed("a,\"\",b\n", CSVParser(',', true, false, '\n', true)), (Rows{{"a", "", "b"}}));
    // CR LF is one row end and an empty line; empty lines add no rows.
    EXPECT_EQ(parsed("a,b\r\n\r\n\nc\rd"), (Rows{{"a", "b"}, {"c"}, {"d"}}));

    CSVParser parser(';', false, false, '|', true);
    parser.addSeparator('\t');
    parser.parseData("1;2\t3|\n4|");
    EXPECT_EQ(parser.getRawData(), (Rows{{"1", "2", "3"}, {"\n4"}}));
    EXPECT_TRUE(parser.isRowSeparator('|'));
    EXPECT_FALSE(parser.isRowSeparator('\n'));
    EXPECT_TRUE(CSVParser(',', false, false, '\r', true).isRowSeparator('\n'));

    // Ragged rows: the widest counts; a second text replaces the count.
    CSVParser table;
    table.parseData("a,b,c,d\ne\n");
    EXPECT_EQ(table.getNumberOfColumns(), 4);
    table.parseData("x,y\n");
    EXPECT_EQ(table.getNumberOfRows(), 3);
    EXPECT_EQ(table.getNumberOfColumns(), 2);
}

TEST(CSVParser, QuotesAndTheQuoteEntity) {
    // A doubled quote is no escape: the first pair opens and closes, the rest is text.
    EXPECT_EQ(parsed("\"a\"\"b\"\n"), (Rows{{"a\"b\""}}));
    EXPECT_EQ(parsed("\"ab\"cd,x\"y\n"), (Rows{{"abcd", "x\"y"}}));
    EXPECT_EQ(parsed("a&quot;b,c\n"), (Rows{{"a\"b", "c"}}));
    EXPECT_EQ(parsed("c,a&quot;b"), (Rows{{"c", "a&quot;b"}})); // not in the last cell of an unterminated text
    const CSVParser ignoring(',', false, true, '\n', true);
    EXPECT_EQ(parsed("\"a,b\",a&quot;b\n", ignoring), (Rows{{"\"a", "b\"", "a&quot;b"}}));

    // Line breaks within quotes belong to the cell, unless the parser says otherwise.
    EXPECT_EQ(parsed("\"a\nb\",c\nd\n"), (Rows{{"a\nb", "c"}, {"d"}}));
    EXPECT_EQ(parsed("\"a\nb\",c\nd\n", CSVParser(',', false, false, '\n', false)),
              (Rows{{"a"}, {"b\"", "c"}, {"d"}}));
}

TEST(CSVParser, TrimsSkipsRowsAndConverts) {
    EXPECT_EQ(parsed("  a  , ,b \n c ", CSVParser(), true), (Rows{{"a", " ", "b"}, {" c "}}));

    CSVParser skipping;
    skipping.skipRowsStartingWith('#');
    skipping.parseData("#comment\na,#b\n \"#x\"\n#last");
    EXPECT_EQ(skipping.getRawData(), (Rows{{"a", "#b"}, {" \"#x\""}, {"#last"}}));

    // Latin-1 in, UTF-8 in the table; back to Latin-1 on the way out.
    CSVParser latin;
    latin.parseData("caf\xE9,\xFF\n", false, true);
    EXPECT_EQ(latin.getRawData(), (Rows{{"caf\xC3\xA9", "\xC3\xBF"}}));
    EXPECT_EQ(latin.toString(true), "caf\xE9,\xFF\n");
    // Beyond Latin-1 becomes "_"; bytes that are no UTF-8 pass as they are.
    latin.setValue("\xE2\x82\xAC\xE9\xC3", 1, 0);
    EXPECT_EQ(latin.getRow(1), "\xE2\x82\xAC\xE9\xC3");
    EXPECT_EQ(latin.toString(true), "caf\xE9,\xFF\n_\xE9\xC3\n");

    EXPECT_EQ(parsed("\xEF\xBB\xBFid,v\n"), (Rows{{"id", "v"}}));
}

TEST(CSVParser, SavesAndReadsBack) {
    TestSupport::TempDir dir;
    CSVParser table;
    table.addRow({"name", "text", "value"});
    table.addRow({"a,b", "say \"hi\"", "1,5"});
    table.addRow({"plain", "", "x"});
    const Rows original = table.getRawData();
    EXPECT_EQ(table.toString(false), "name,text,value\n\"a,b\",say &quot;hi&quot;,\"1,5\"\nplain,,x\n");
    EXPECT_EQ(table.getRow(1), "\"a,b\",say &quot;hi&quot;,\"1,5\"");

    const std::string path = dir / "new/folder/data.csv";
    ASSERT_TRUE(table.saveAs(path, false)); // the folders are made
    EXPECT_EQ(readFile(path), "name,text,value\n\"a,b\",say &quot;hi&quot;,\"1,5\"\nplain,,x\n");
    EXPECT_EQ(table.getValue(1, 1), "say &quot;hi&quot;"); // saving encodes the table's own quotes

    CSVParser reader;
    ASSERT_TRUE(reader.parseFile(path));
    EXPECT_EQ(reader.getRawData(), original);
    EXPECT_EQ(reader.getFilename(), "data");
    EXPECT_EQ(reader.getOriginalFilename(), path);
    double value = 0;
    EXPECT_TRUE(reader.getNumericValue(1, 2, value));
    EXPECT_DOUBLE_EQ(value, 1.5);

    ASSERT_TRUE(reader.save("_copy"));
    EXPECT_EQ(readFile(dir / "new/folder/data_copy.csv"), readFile(path));
    EXPECT_FALSE(CSVParser().save("_x")); // no file read, no name to save under
    EXPECT_FALSE(table.saveAs(dir.write("blocker") + "/under-a-file.csv"));

    // A semicolon table with a custom row separator, binary mode.
    BinaryCSVParser binary(';', false, false, '\r', true);
    binary.addRow({"1;2", "3"});
    ASSERT_TRUE(binary.saveAs(dir / "b.csv"));
    EXPECT_EQ(readFile(dir / "b.csv"), "\"1;2\";3\r");
    EXPECT_EQ(binary.adjustFileIOFlags(CSVParser::readFlag), CSVParser::readFlag | CSVParser::binaryFlag);
    EXPECT_EQ(table.adjustFileIOFlags(CSVParser::writeFlag), CSVParser::writeFlag);
}

TEST(CSVParser, ReadsPlainAndCompressedFiles) {
    TestSupport::TempDir dir;
    const std::string text = "\xEF\xBB\xBFid,v\n1,\"x,y\"\n2,z\n";
    const std::string plain = dir.write("plain.csv", text);
    const std::string packed = dir / "packed.csv";
    writeCompressed(packed, text);
    const Rows expected{{"id", "v"}, {"1", "x,y"}, {"2", "z"}};

    for (const std::string& path : {plain, packed}) {
        CSVParser parser;
        ASSERT_TRUE(parser.parseFile(path)) << path;
        EXPECT_EQ(parser.getRawData(), expected) << path;
        BinaryCSVParser binary;
        ASSERT_TRUE(binary.parseFile(path)) << path;
        EXPECT_EQ(binary.getRawData(), expected) << path;
    }
    // Told that the file is plain, the archive's bytes are the text.
    CSVParser raw;
    ASSERT_TRUE(raw.parseFile(packed, false, false, true));
    EXPECT_NE(raw.getRawData(), expected);

    // Files are read in blocks: a text of special characters across many
    // block ends reads as the same text in memory.
    std::mt19937 random(7);
    const std::string alphabet[] = {"a", "bc", ",", ";", "\"", "\n", "\r", "&quot;", " ", "#", "\xE9"};
    std::string noisy;
    while (noisy.size() < 300000)
        noisy += alphabet[random() % std::size(alphabet)];
    CSVParser wanted;
    wanted.skipRowsStartingWith('#');
    wanted.parseData(noisy, true, true);
    ASSERT_GT(wanted.getNumberOfRows(), 1000);
    writeCompressed(packed, noisy);
    for (const std::string& path : {dir.write("noisy.csv", noisy), packed}) {
        CSVParser parser;
        parser.skipRowsStartingWith('#');
        ASSERT_TRUE(parser.parseFile(path, true, true));
        EXPECT_TRUE(parser.getRawData() == wanted.getRawData()) << path;
    }

    CSVParser failing;
    EXPECT_FALSE(failing.parseFile(""));
    EXPECT_FALSE(failing.parseFile(dir / "missing.csv"));
    EXPECT_TRUE(failing.getRawData().empty());

    // A compressed file whose data was tampered with is not taken as whole.
    std::string big;
    for (int i = 0; i < 20000; ++i)
        big += std::to_string(i) + ",row\n";
    writeCompressed(packed, big);
    std::string bytes = readFile(packed);
    bytes[bytes.size() / 3] = static_cast<char>(bytes[bytes.size() / 3] ^ 0x55);
    std::ofstream(packed, std::ios::binary | std::ios::trunc) << bytes;
    CSVParser tampered;
    EXPECT_FALSE(tampered.parseFile(packed));
}

TEST(CSVParser, AppendsFilesAndDetectsSeparators) {
    TestSupport::TempDir dir;
    const std::string first = dir.write("first.csv", "h1,h2,h3\na,b,c\n");
    const std::string second = dir.write("second.csv", "h1,h2,h3\nd,e\n");
    const std::string other = dir.write("other.csv", "x,y\nf,g\n");

    CSVParser table;
    ASSERT_TRUE(table.appendFile(first, true, true)); // an empty table: parseFile
    EXPECT_EQ(table.getNumberOfRows(), 2);
    ASSERT_TRUE(table.appendFile(second, true, true));
    EXPECT_EQ(table.getRawData(), (Rows{{"h1", "h2", "h3"}, {"a", "b", "c"}, {"d", "e"}}));
    EXPECT_FALSE(table.appendFile(other, true, true));
    EXPECT_EQ(table.getNumberOfRows(), 3);
    EXPECT_TRUE(table.appendFile(other, false, false));
    EXPECT_EQ(table.getNumberOfRows(), 5);
    EXPECT_EQ(table.getNumberOfColumns(), 3);
    EXPECT_TRUE(table.appendFile(dir / "missing.csv", false, true));
    EXPECT_EQ(table.getNumberOfRows(), 5);

    // Two files read in a row: the rows of both, the columns of the second.
    CSVParser both;
    ASSERT_TRUE(both.parseFile(first));
    ASSERT_TRUE(both.parseFile(other));
    EXPECT_EQ(both.getNumberOfRows(), 4);
    EXPECT_EQ(both.getNumberOfColumns(), 2);

    // The detected separator replaces all others: "a" for ";", "a;b\tc" for ",".
    const auto detect = [&dir](const std::string& text) {
        CSVParser parser;
        parser.addSeparator('\t');
        if (!parser.autodetectSeparator(dir.write("detect.csv", text)))
            return std::string("(failed)");
        parser.parseData("a;b\tc,d\n");
        return parser.getValue(0, 0);
    };
    EXPECT_EQ(detect("1,5;2,5;3,5\n4,5;5,5;6,5\n"), "a");
    EXPECT_EQ(detect("a;b\n"), "a");
    EXPECT_EQ(detect("1.5,2.5\n3.5,4.5\n"), "a;b\tc");
    EXPECT_EQ(detect("\"a;b;c\",d\n"), "a;b\tc"); // quoted text does not count
    EXPECT_EQ(detect(""), "a;b\tc");
    // Two commas a semicolon is not more than half: commas stay.
    EXPECT_EQ(detect("1,5;2,5\n"), "a;b\tc");
    CSVParser unchanged(';', false, false, '\n', true);
    EXPECT_FALSE(unchanged.autodetectSeparator(dir / "missing.csv"));
    unchanged.parseData("a;b\n");
    EXPECT_EQ(unchanged.getRowColumnCount(0), 2);
}

TEST(CSVParser, HostileInputsStayLinear) {
    // 20 MB of one quote: quotes open and close, no cell, no row.
    CSVParser quotes;
    quotes.parseData(std::string(20u << 20, '"'));
    EXPECT_EQ(quotes.getNumberOfRows(), 0);
    // An unterminated quote swallows the rest as one cell.
    CSVParser open;
    open.parseData("a,\"" + std::string(8u << 20, 'x') + ",\n\n,y\n");
    ASSERT_EQ(open.getNumberOfRows(), 1);
    EXPECT_EQ(open.getValue(0, 1).size(), (8u << 20) + 6);
    // A line of two million separators.
    CSVParser wide;
    wide.parseData(std::string(2000000, ',') + "\n");
    EXPECT_EQ(wide.getNumberOfColumns(), 2000000);
    CSVParser dropping(',', true, false, '\n', true);
    dropping.parseData(std::string(2000000, ',') + "\n");
    EXPECT_EQ(dropping.getNumberOfRows(), 0);
    // Entities, NUL bytes and stray UTF-8 continuation bytes are text.
    std::string entities;
    for (int i = 0; i < 200000; ++i)
        entities += "&quot;";
    CSVParser decoded;
    decoded.parseData(entities + std::string("\0\x80\xBF,", 4) + "\n", true, true);
    ASSERT_EQ(decoded.getRowColumnCount(0), 1);
    EXPECT_EQ(decoded.getValue(0, 0), std::string(200000, '"') + std::string("\0\xC2\x80\xC2\xBF", 5));
}
