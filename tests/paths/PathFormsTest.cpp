#include <FileSystem/paths/OSPaths.h>
#include <FileSystem/paths/Path.h>

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <filesystem>

using FileSystem::Path;

TEST(PathForms, AbsoluteAndKinds) {
    EXPECT_TRUE(Path::isAbsolutePath("C:"));
    EXPECT_TRUE(Path::isAbsolutePath("1:"));
    EXPECT_TRUE(Path::isAbsolutePath("//host/x"));
    EXPECT_TRUE(Path::isAbsolutePath("/usr/bin")); // the root of this build
    EXPECT_TRUE(Path::isAbsolutePath("\\x"));
    EXPECT_FALSE(Path::isAbsolutePath("usr/bin"));
    EXPECT_FALSE(Path::isAbsolutePath("."));
    EXPECT_FALSE(Path::isAbsolutePath(""));

    EXPECT_TRUE(Path::isSingleToken("name/"));
    EXPECT_FALSE(Path::isSingleToken("a\\b"));
    EXPECT_TRUE(Path::isNFSPath("host:/export/a"));
    EXPECT_TRUE(Path::isNFSPath("C:/a")); // a test of form only
    EXPECT_FALSE(Path::isNFSPath(":/a"));
    EXPECT_TRUE(Path::isUNCPath("//h") && !Path::isLongUNCPath("//h"));
    EXPECT_TRUE(Path::isLongUNCPath("\\\\.\\pipe") && !Path::isLongUNCNetworkPath("\\\\.\\pipe"));
    EXPECT_TRUE(Path::isLongUNCNetworkPath("\\\\?\\UNC\\h\\s"));
}

TEST(PathForms, MakePathAbsolute) {
    EXPECT_EQ(Path::makePathAbsolute("", "C:/a"), "C:/a/");
    EXPECT_EQ(Path::makePathAbsolute(".\\", "C:/a/"), "C:/a/");
    EXPECT_EQ(Path::makePathAbsolute("/.", "C:/a"), "C:/a/");
    EXPECT_EQ(Path::makePathAbsolute("x", ""), "x");
    EXPECT_EQ(Path::makePathAbsolute("..", "C:/a"), "C:/a/..");
    EXPECT_EQ(Path::makePathAbsolute("./b", "C:/a"), "C:/a/b");
    EXPECT_EQ(Path::makePathAbsolute(".hidden", "C:/a"), "C:/a/hidden"); // a plain one-character cut
    EXPECT_EQ(Path::makePathAbsolute("b//c", "C:/a/"), "C:/a/b//c");
    EXPECT_EQ(Path::makePathAbsolute("D:/x", "C:/a"), "D:/x");
    EXPECT_EQ(Path::makePathAbsolute("/etc", "C:/a"), "/etc");

    TestSupport::CurrentDirectoryGuard guard;
    TestSupport::TempDir dir;
    std::filesystem::current_path(dir.path());
    EXPECT_EQ(Path::makePathAbsolute("f"), FileSystem::OSPaths::getCurrentDirectory() + "/f");
    Path member("g");
    EXPECT_EQ(member.makePathAbsolute(), FileSystem::OSPaths::getCurrentDirectory() + "/g");
}

TEST(PathForms, RemoveRedundantSegments) {
    EXPECT_EQ(Path::removeRedundentRelativeSegments("C:/.."), "C:/..");
    EXPECT_EQ(Path::removeRedundentRelativeSegments("C:\\a\\b\\..\\c"), "C:/a/c");
    EXPECT_EQ(Path::removeRedundentRelativeSegments("C:/a/b/../../c"), "C:/c");
    EXPECT_EQ(Path::removeRedundentRelativeSegments("C:/a/b/..x"), "C:/ax"); // ".." is compared by three characters
    EXPECT_EQ(Path::removeRedundentRelativeSegments("C:/a/./b"), "C:/a/./b");
    EXPECT_EQ(Path::removeRedundentRelativeSegments("//host//a"), "//host/a");
    EXPECT_EQ(Path::removeRedundentRelativeSegments("///x"), "//x");
    EXPECT_EQ(Path::removeRedundentRelativeSegments("/a//b/../c/"), "/a/c/");

    // Linear in the length: a megabyte of segments is no burden.
    std::string deep = "/r";
    for (int i = 0; i < 200000; ++i)
        deep += "/x/..";
    EXPECT_EQ(Path::removeRedundentRelativeSegments(deep), "/r");
    EXPECT_EQ(Path::removeRedundentRelativeSegments(std::string(1 << 20, '/') + "a"), "//a");

    TestSupport::CurrentDirectoryGuard guard;
    TestSupport::TempDir dir;
    std::filesystem::current_path(dir.path());
    EXPECT_EQ(Path::removeRedundentRelativeSegments("a//b/../c"), FileSystem::OSPaths::getCurrentDirectory() + "/a/c");
}

TEST(PathForms, RelativePaths) {
    EXPECT_EQ(Path::calculateRelativePath("C:/a/b/c", "C:/a/d"), "../b/c");
    EXPECT_EQ(Path::calculateRelativePath("C:/a", "C:/a/b/c"), "../..");
    EXPECT_EQ(Path::calculateRelativePath("C:/x/y", "C:/p/q"), "../../x/y");
    EXPECT_EQ(Path::calculateRelativePath("C:/a/b", "C:/a/b"), "");
    EXPECT_EQ(Path::calculateRelativePath("C:/A/b", "c:/a"), "b"); // tokens compare ignoring case
    EXPECT_EQ(Path::calculateRelativePath("D:\\x", "C:/y"), "D:/x");
    EXPECT_EQ(Path::calculateRelativePath("", "C:/y"), "");
    EXPECT_EQ(Path::calculateRelativePath("/home/u/x", "/home/u/y/z"), "../../x");
    EXPECT_EQ(Path("C:/a/b/c").calculateRelativePath("C:/a/d"), "../b/c");

    EXPECT_TRUE(Path::startsWith("C:/A/b", "c:/a"));
    EXPECT_FALSE(Path::startsWith("C:/ab", "C:/a"));
    EXPECT_FALSE(Path::startsWith("C:/a", "C:/a/b"));
    EXPECT_TRUE(Path::startsWith("/x/y/../z", "/x/z"));
}

TEST(PathForms, PrefixesAndNetworkForms) {
    EXPECT_EQ(Path::stripUNCPrefix("\\\\?\\C:\\x"), "C:\\x");
    EXPECT_EQ(Path::stripUNCPrefix("\\\\host\\x"), "\\\\host\\x");
    EXPECT_EQ(Path::stripUNCPrefix("\\\\.\\pipe"), "\\\\.\\pipe");
    EXPECT_EQ(Path::stripUNCPrefix("\\\\?\\UNC\\host\\x"), "\\\\host\\x");
    EXPECT_EQ(Path::stripUNCPrefix("//?/UNC/host/x"), "//host/x");
    EXPECT_EQ(Path::stripUNCPrefix("\\\\?\\UNCfoo"), "ffoo");
    EXPECT_EQ(Path::stripUNCPrefix("\\\\?\\UNC"), "");

    // No share of this machine has these names: the path stays, a long prefix goes.
    EXPECT_EQ(Path::convertFromUNCPath("//host/nosuchshare/x"), "//host/nosuchshare/x");
    EXPECT_EQ(Path::convertFromUNCPath("\\\\?\\UNC\\host\\nosuchshare"), "\\\\host\\nosuchshare");
    EXPECT_EQ(Path::convertFromNetworkPath("C:/x"), "C:/x");
    EXPECT_EQ(Path::convertFromUNCPath("//host"), "//host");

    EXPECT_EQ(Path::convertStartToFolder("C:/a/b"), "C/a/b");
    EXPECT_EQ(Path::convertStartToFolder("//host/x"), "host/x");
    EXPECT_EQ(Path::makeKVLCanonicalPath("\\\\?\\C:\\a\\"), "C:/a");
    EXPECT_EQ(Path::makeKVLCanonicalPath("\\\\?\\UNC\\h\\s\\"), "//h/s");

    EXPECT_FALSE(Path::isNetworkPath(""));
    EXPECT_TRUE(Path::isNetworkPath("//server/share/x"));
    TestSupport::TempDir dir;
    EXPECT_FALSE(Path::isNetworkPath(dir / "not/yet/there"));
}

TEST(PathForms, PathLength) {
    EXPECT_TRUE(Path::isPathLengthCorrect("/tmp/" + std::string(255, 'n')));
    EXPECT_FALSE(Path::isPathLengthCorrect("/tmp/" + std::string(256, 'n')));
    std::string longPath;
    for (int i = 0; i < 200; ++i)
        longPath += "/" + std::string(200, 'd');
    EXPECT_FALSE(Path::isPathLengthCorrect(longPath));
}

TEST(PathForms, CompareTestsFileIdentity) {
    TestSupport::TempDir dir;
    TestSupport::CurrentDirectoryGuard guard;
    const std::string file = dir.write("sub/file.txt", "same");
    const std::string twin = dir.write("sub/twin.txt", "same");
    std::filesystem::create_hard_link(file, dir / "hard.txt");
    std::filesystem::create_symlink(file, dir / "link.txt");

    EXPECT_TRUE(Path::compare(file, dir / "sub/../sub/./file.txt"));
    EXPECT_TRUE(Path::compare(file, dir / "hard.txt"));
    EXPECT_TRUE(Path::compare(file, dir / "link.txt"));
    EXPECT_TRUE(Path::compare(dir / "sub", dir / "sub/"));
    EXPECT_FALSE(Path::compare(file, twin));
    EXPECT_FALSE(Path::compare(dir / "missing", dir / "missing"));
    EXPECT_FALSE(Path::compare(file + std::string("\0x", 2), file)); // a NUL names nothing
    std::filesystem::current_path(dir / "sub");
    EXPECT_TRUE(Path::compare("file.txt", file));
}

TEST(PathForms, LastCommonParentGoesToTheDisk) {
    TestSupport::TempDir dir;
    dir.mkdir("a/b/c");
    dir.mkdir("a/d");
    EXPECT_EQ(Path::lastCommonParentPath(dir / "a/b/c", dir / "a/d"), dir / "a");
    EXPECT_EQ(Path(dir / "a/b/c").lastCommonParentPath(dir / "a/b"), dir / "a/b");
    EXPECT_EQ(Path::lastCommonParentPath("C:/nothing/a", "C:/nothing/b"), "");
}

TEST(PathForms, CorrectCapitalizationUsesTheSpellingOnDisk) {
    TestSupport::TempDir dir;
    dir.mkdir("Models/Wing");
    dir.mkdir("exact");
    dir.mkdir("EXACT");
    EXPECT_EQ(Path::correctCaptialization(dir / "models/WING/new/Part.dat"), dir / "Models/Wing/new/Part.dat");
    EXPECT_EQ(Path::correctCaptialization(dir / "exact"), dir / "exact");
    EXPECT_EQ(Path::correctCaptialization(dir / "EXACT"), dir / "EXACT");
    EXPECT_EQ(Path::correctCaptialization("/"), "/");
    TestSupport::CurrentDirectoryGuard guard;
    std::filesystem::current_path(dir.path());
    Path relative("MODELS");
    EXPECT_EQ(relative.correctCaptialization(), dir / "Models");
}
