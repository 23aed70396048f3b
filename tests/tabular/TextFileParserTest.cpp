#include <FileSystem/tabular/TextFileParser.h>

#include <FileSystem/files/StreamUtilities.h>

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

using FileSystem::TextFileParser;
using Lines = std::vector<std::string>;

namespace {

std::string contents(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

Lines parse(const TestSupport::TempDir& dir, const std::string& text, std::set<std::string> separators,
            bool skipEmpty = false) {
    return TextFileParser(dir.write("input.txt", text), skipEmpty, separators).getData();
}

// Upper-cases what it reads and refuses to write a line holding "stop".
class Shouting : public TextFileParser {
public:
    using TextFileParser::TextFileParser;
    static std::uint64_t longest(const std::set<std::string>& separators) { return maxLengthSepeator(separators); }

protected:
    std::string readCharacter(FileSystem::KVifstream& stream) override {
        std::string character = TextFileParser::readCharacter(stream);
        for (char& c : character)
            c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
        return character;
    }
    bool writeLine(FileSystem::KVofstream& stream, const std::string& text) override {
        return text.find("STOP") == std::string::npos && TextFileParser::writeLine(stream, text);
    }
};

} // namespace

TEST(TextFileParser, LineEndsAreTheCallersSeparators) {
    TestSupport::TempDir dir;
    EXPECT_EQ(parse(dir, "a\r\nb\n", {"\n", "\r\n"}), (Lines{"a", "b"}));
    EXPECT_EQ(parse(dir, "a\r\nb\n", {"\n"}), (Lines{"a\r", "b"}));
    // "\r\n" wins over "\r" at the same place; a lone "\r" still ends a line.
    EXPECT_EQ(parse(dir, "a\r\nb\rc\r", {"\r", "\r\n"}), (Lines{"a", "b", "c"}));
    EXPECT_EQ(parse(dir, "a\n\nb", {"\n"}), (Lines{"a", "", "b"}));
    EXPECT_EQ(parse(dir, "a\n\nb", {"\n"}, true), (Lines{"a", "b"}));
    EXPECT_EQ(parse(dir, "", {"\n"}), Lines{});
    EXPECT_EQ(parse(dir, "one\ntwo", {}), Lines{"one\ntwo"});
    // Longer separators and overlaps: ";;" wins over ";" where both start.
    EXPECT_EQ(parse(dir, "a;;b;c;;;d", {";", ";;"}), (Lines{"a", "b", "c", "", "d"}));
    EXPECT_EQ(parse(dir, "xaaay", {"aa"}), (Lines{"x", "ay"}));
    // Long lines pass through the window unchanged.
    const std::string longLine(100000, 'z');
    EXPECT_EQ(parse(dir, longLine + "\r\n" + longLine, {"\n", "\r\n"}), (Lines{longLine, longLine}));

    TextFileParser missing(dir / "missing.txt", false, {"\n"});
    EXPECT_EQ(missing.getNumberOfLines(), 0u);
    EXPECT_EQ(missing.getFilename(), dir / "missing.txt");
    EXPECT_EQ(missing.getLine(5), "");
    EXPECT_EQ(Shouting::longest({"\n", "\r\n", ";;;"}), 3u);
    EXPECT_EQ(Shouting::longest({}), 0u);
}

TEST(TextFileParser, EditingAndSaving) {
    TestSupport::TempDir dir;
    const std::string path = dir.write("lines.txt", "first\r\nsecond\r\nthird");
    TextFileParser parser(path, false, {"\r\n"});
    ASSERT_EQ(parser.getNumberOfLines(), 3u);
    parser.erase(parser.begin() + 1);
    parser.addLine("fourth");
    // Every line gets the new separator, the last one too.
    EXPECT_TRUE(parser.save("\n"));
    EXPECT_EQ(contents(path), "first\nthird\nfourth\n");
    EXPECT_EQ(parser.getFilename(), path);

    // Lines compare byte by byte; names do not count.
    TextFileParser copy(Lines{"first", "third", "fourth"});
    EXPECT_TRUE(copy == parser);
    copy.data().back() = "Fourth";
    EXPECT_TRUE(copy != parser);
    // No file name: saving fails. No lines: an empty file.
    EXPECT_FALSE(copy.save("\n"));
    EXPECT_TRUE(TextFileParser().saveAs(dir / "empty.txt", "\n"));
    EXPECT_EQ(contents(dir / "empty.txt"), "");
    // A folder in the way: false.
    dir.mkdir("folder");
    EXPECT_FALSE(parser.saveAs(dir / "folder", "\n"));

    // The hooks: reading through the subclass (not from the constructor,
    // where the subclass is not there yet), a refused line stops the save.
    Shouting loud;
    loud.parseFile(path, false, {"\n"});
    EXPECT_EQ(loud.getData(), (Lines{"FIRST", "THIRD", "FOURTH"}));
    loud.addLine("stop");
    EXPECT_TRUE(loud.saveAs(dir / "loud.txt", "\n")); // "stop" is written as it stands: only "STOP" is refused
    loud.addLine("STOP");
    EXPECT_FALSE(loud.saveAs(dir / "loud.txt", "\n"));
}
