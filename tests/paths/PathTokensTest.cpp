#include <FileSystem/paths/Path.h>

#include "TestSupport.h"

#include <gtest/gtest.h>

using FileSystem::Path;
using Tokens = std::vector<std::string>;

TEST(PathTokens, PrefixLengthOfEveryForm) {
    EXPECT_EQ(Path::UNCPrefixLength(""), 0u);
    EXPECT_EQ(Path::UNCPrefixLength("/usr"), 0u);
    EXPECT_EQ(Path::UNCPrefixLength("//"), 2u);
    EXPECT_EQ(Path::UNCPrefixLength("//host/x"), 2u);
    EXPECT_EQ(Path::UNCPrefixLength("//?x"), 2u);
    EXPECT_EQ(Path::UNCPrefixLength("\\\\?\\C:\\x"), 4u);
    EXPECT_EQ(Path::UNCPrefixLength("\\\\.\\pipe"), 4u);
    EXPECT_EQ(Path::UNCPrefixLength("\\\\?\\UNC\\host\\x"), 8u);
    EXPECT_EQ(Path::UNCPrefixLength("/\\?/UNC\\h"), 8u); // separators mix at every place
    EXPECT_EQ(Path::UNCPrefixLength("\\\\?\\unc\\host"), 4u);
}

TEST(PathTokens, LastAndFirstToken) {
    struct Case {
        const char* path;
        const char* last;
        const char* first;
    };
    const Case cases[] = {
        {"", "", ""},
        {"/", "", ""},
        {"//", "//", "//"},
        {"///abc", "abc", "///abc"}, // the first token keeps a 2-prefix
        {"a/b/", "b", "a"},
        {"a/b//", "b", "a"},
        {"a\\b/c", "c", "a"},
        {"/usr/bin", "bin", "usr"},
        {"C:/a", "a", "C:"},
        {"//host", "//host", "//host"},
        {"//host/share", "share", "//host"},
        {"\\\\?\\C:", "\\\\?\\C:", "\\\\?\\C:"},
        {"\\\\?\\C:\\a", "a", "\\\\?\\C:"},
        {"\\\\?\\UNC\\host\\share", "share", "\\\\?\\UNC\\host"},
        {"\\\\?\\\\abc", "\\\\?\\\\ab", "\\\\?\\"}, // doubled separator behind a long prefix
    };
    for (const Case& c : cases) {
        EXPECT_EQ(Path::getLastToken(c.path), c.last) << c.path;
        EXPECT_EQ(Path::getFirstToken(c.path), c.first) << c.path;
    }
}

TEST(PathTokens, TokensKeepThePrefixAndDropEmptyPieces) {
    EXPECT_EQ(Path::getTokens(""), Tokens{});
    EXPECT_EQ(Path::getTokens("//"), Tokens{"//"});
    EXPECT_EQ(Path::getTokens("a\\b/c"), (Tokens{"a", "b", "c"}));
    EXPECT_EQ(Path::getTokens("//a//b/"), (Tokens{"//a", "b"}));
    EXPECT_EQ(Path::getTokens("\\\\?\\UNC\\host\\share\\x"), (Tokens{"\\\\?\\UNC\\host", "share", "x"}));
    Tokens appended{"keep"};
    Path::getTokens("x/y", appended);
    EXPECT_EQ(appended, (Tokens{"keep", "x", "y"}));
}

TEST(PathTokens, StripTokens) {
    EXPECT_EQ(Path::stripLastToken("a/b/"), "a");
    EXPECT_EQ(Path::stripLastToken("a//b"), "a/");
    EXPECT_EQ(Path::stripLastToken("/abc"), "");
    EXPECT_EQ(Path::stripLastToken("//host"), "");
    EXPECT_EQ(Path::stripLastToken("//host/share"), "//host");
    EXPECT_EQ(Path::stripLastToken("///"), "");
    EXPECT_EQ(Path::stripFirstToken("/usr/bin"), "bin");
    EXPECT_EQ(Path::stripFirstToken("C:/a//b"), "a//b");
    EXPECT_EQ(Path::stripFirstToken("//host/share"), "share");
    EXPECT_EQ(Path::stripFirstToken("single"), "");

    Path path("a/b/c");
    EXPECT_EQ(path.stripLastToken(), "a/b");
    EXPECT_EQ(path.get(), "a/b"); // the member changes the object
}

TEST(PathTokens, DotsAndExtensions) {
    EXPECT_TRUE(Path::isDotOrDotDot("a/.."));
    EXPECT_FALSE(Path::isDotOrDotDot("a/../"));
    EXPECT_TRUE(Path::isDotFile(".") && Path::isDotFile(".."));
    EXPECT_FALSE(Path::isDotFile("a/"));

    EXPECT_EQ(Path::getExtension("..", true), "");
    EXPECT_EQ(Path::getBaseFileName(".."), "..");
    EXPECT_EQ(Path::getExtension(".bashrc", false), ".bashrc");
    EXPECT_EQ(Path::getFormatExtension(".bashrc", false), "");
    EXPECT_EQ(Path::getBaseFileName(".bashrc"), "");
    EXPECT_EQ(Path::getBaseFileName("dir/archive.tar.gz"), "archive.tar");
    EXPECT_EQ(Path::getExtension("archive.tar.gz", true), ".gz");
    EXPECT_EQ(Path::getExtension("name.", true), ".");
    EXPECT_EQ(Path::getFormatExtension("name.", true), "");
    EXPECT_EQ(Path::getFormatExtension("a.TXT", true), "txt");
    EXPECT_EQ(Path::getFormatExtension(std::string("a.TXT"), false), "TXT");
    EXPECT_TRUE(Path::hasExtension("name.") && Path::hasExtension(".bashrc"));
    EXPECT_FALSE(Path::hasExtension("dir.d/name"));

    EXPECT_TRUE(Path::isExtension("a.TXT", "txt"));
    EXPECT_TRUE(Path::isExtension("a.TXT", "..Txt"));
    EXPECT_TRUE(Path::isExtension("noext", ""));
    EXPECT_FALSE(Path::isExtension("a.txt", ""));
    EXPECT_FALSE(Path::isExtension("..", ""));
    // Lower-casing works per code point, independent of the locale.
    EXPECT_EQ(Path::getExtension("Ä.ÄÖÜ", true), ".äöü");
    EXPECT_TRUE(Path::isExtension("model.ΣΑΒ", "σαβ"));

    EXPECT_EQ(Path::stripExtension("dir/file.Txt/"), "dir/file");
    EXPECT_EQ(Path::stripExtension("noext"), "noext");
}

TEST(PathTokens, ReplacePart) {
    EXPECT_EQ(Path::replacePart("a/b/a", "a", "x"), "x/b/a");
    EXPECT_EQ(Path::replacePart("a/b", "q", "x"), "a/b");
    EXPECT_EQ(Path::replacePart("a/b", "", "pre/"), "pre/a/b");
}

TEST(PathTokens, Slashes) {
    EXPECT_FALSE(Path::hasTrailingSlash("//"));
    EXPECT_TRUE(Path::hasTrailingSlash("a\\"));
    EXPECT_EQ(Path::stripTrailingSlash(""), "");
    EXPECT_EQ(Path::stripTrailingSlash("/"), "");
    EXPECT_EQ(Path::stripTrailingSlash("//"), "//");
    EXPECT_EQ(Path::stripTrailingSlash("///"), "");
    EXPECT_EQ(Path::stripTrailingSlash("a/b\\/"), "a/b");
    EXPECT_EQ(Path::appendTrailingSlash(""), "/");
    EXPECT_EQ(Path::appendTrailingSlash("//"), "///");
    EXPECT_EQ(Path::appendTrailingSlash("a\\"), "a\\");
    EXPECT_EQ(Path::stripLeadingSlash("\\\\?\\C:"), "?\\C:");
    EXPECT_EQ(Path::stripLeadingSlash("//"), "");
    EXPECT_EQ(Path::prependLeadingSlash(""), "/");
    EXPECT_EQ(Path::prependLeadingSlash("\\a"), "\\a");
    EXPECT_EQ(Path::makeBackSlashes("//?/C:/a"), "\\\\?\\C:\\a");
    EXPECT_EQ(Path::makeForwardSlashes("\\\\?\\C:\\a"), "//?/C:/a");
}

TEST(PathTokens, CleaningNames) {
    EXPECT_EQ(Path::stripEndSpaces(" \t\r\n a b \v\f"), "a b");
    EXPECT_EQ(Path::stripEndSpaces("\xC2\xA0x\xC2\xA0"), "\xC2\xA0x\xC2\xA0"); // bytes above 127 stay
    EXPECT_EQ(Path::stripEndSpacesAndReplaceEndDot(" a\x01" "b.. "), "a_b._");
    EXPECT_EQ(Path::makeGoodFileName(" a:b. ", false), "a_b_");
    EXPECT_EQ(Path::makeGoodFileName(" a:b. ", true), "a_b_");
    EXPECT_EQ(Path::makeGoodFileName("v1.2~x", true), "v1_2_x");
    EXPECT_EQ(Path::makeGoodFileName("v1.2~x", false), "v1.2~x");
    EXPECT_EQ(Path::makeGoodFileName("?[]/\\=+<>:;\",*|^", false), std::string(16, '_'));
    EXPECT_EQ(Path::makeGoodFileName("Ü ber\x7F", false), "Ü ber_");
    EXPECT_EQ(Path::makeGoodFileName("", true), "");
    EXPECT_EQ(Path::replaceSpacesWithUnderscores(" a b c "), "a_b_c");
    EXPECT_EQ(Path::replaceForwardSlashesWithUnderscores(" a/b\\c "), "a_b\\c");

    Path name(" x:y ");
    EXPECT_EQ(name.makeGoodFileName(false), "x_y");
    EXPECT_EQ(name.get(), "x_y");
}

TEST(PathTokens, DuplicationNameFindsAFreeName) {
    TestSupport::TempDir dir;
    EXPECT_EQ(Path::getDuplicationName(dir / "free.TXT"), dir / "free.TXT");
    dir.write("Report.TXT");
    EXPECT_EQ(Path::getDuplicationName(dir / "Report.TXT"), dir / "Report (1).txt");
    dir.write("Report (1).txt");
    EXPECT_EQ(Path::getDuplicationName(dir / "Report.TXT"), dir / "Report (2).txt");
}

TEST(PathTokens, ExtensionsThatLowerCasingShortens) {
    // The Kelvin sign (3 bytes) lower-cases to 'k' and the dotted capital I (2
    // bytes) to 'i': the name must be cut where the extension begins.
    const std::string kelvin = "\xE2\x84\xAA", dottedI = "\xC4\xB0";
    ASSERT_EQ(Path::getExtension("a." + kelvin, true), ".k");
    EXPECT_EQ(Path::stripExtension("dir/a." + kelvin), "dir/a");
    EXPECT_EQ(Path::stripExtension("dir/a.x" + dottedI + kelvin + "/"), "dir/a");
    EXPECT_EQ(Path::getBaseFileName("dir/model." + dottedI + "N"), "model");

    TestSupport::TempDir dir;
    dir.write("Report." + kelvin);
    EXPECT_EQ(Path::getDuplicationName(dir / ("Report." + kelvin)), dir / "Report (1).k");
}

TEST(PathTokens, AnyTextIsAccepted) {
    // Every operation takes arbitrary bytes, including NUL and broken UTF-8.
    const std::string odd[] = {std::string("a\0b/c", 5), "\xFF\xFE/\xC3", std::string(70000, '/'),
                               std::string(5000, '.') + "/" + std::string(5000, '\\')};
    for (const std::string& text : odd) {
        Path path(text);
        (void)path.getTokens();
        (void)path.getExtension(true);
        (void)path.getBaseFileName();
        EXPECT_LE(Path::stripLastToken(text).size(), text.size());
        EXPECT_LE(Path::makeGoodFileName(text, true).size(), text.size());
    }
}
