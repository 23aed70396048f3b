#include <FileSystem/files/Directory.h>
#include <FileSystem/files/File.h>

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <sys/stat.h>

using namespace FileSystem;
namespace fs = std::filesystem;

TEST(Trees, SizesCountFilesAndSurviveCycles) {
    TestSupport::TempDir dir;
    dir.write("t/a", std::string(10, 'a'));
    dir.write("t/sub/b", std::string(100, 'b'));
    dir.write("t/sub/deeper/c", std::string(1000, 'c'));
    fs::create_directory_symlink("..", dir / "t/sub/loop");
    EXPECT_EQ(Directory::GetSize(dir / "t", false), 10u);
    EXPECT_EQ(Directory::GetSize(dir / "t", true), 1110u);
    EXPECT_EQ(Directory::GetSize(dir / "t/a", true), 10u);
    EXPECT_EQ(Directory::GetSize(dir / "missing", true), 0u);
}

TEST(Trees, RemovalStaysInsideTheTree) {
    TestSupport::TempDir dir;
    dir.write("outside/precious", "keep");
    dir.write("tree/a/file");
    dir.write("tree/b");
    fs::create_directory_symlink(dir / "outside", dir / "tree/a/link");
    fs::create_directory_symlink(dir / "tree", dir / "tree/a/cycle");
    EXPECT_FALSE(Directory::remove(dir / "tree", false)); // not empty: five tries, then false
    EXPECT_TRUE(Directory(dir / "tree").removeRecursively());
    EXPECT_FALSE(File::exists(dir / "tree"));
    EXPECT_EQ(File::readWholeFile(dir / "outside/precious", true), "keep");

    // A link given as the root goes as a link.
    fs::create_directory_symlink(dir / "outside", dir / "rootlink");
    EXPECT_TRUE(Directory::remove(dir / "rootlink", true));
    EXPECT_FALSE(File::exists(dir / "rootlink"));
    EXPECT_TRUE(File::exists(dir / "outside/precious"));

    EXPECT_FALSE(Directory::remove(dir / "missing", true));
    EXPECT_FALSE(Directory::remove("", true));
    EXPECT_FALSE(Directory::remove(dir / "outside/precious", true)); // a file is no folder
    EXPECT_TRUE(Directory(dir.mkdir("empty")).remove());
}

TEST(Trees, RemovingFilesOfAFolder) {
    TestSupport::TempDir dir;
    dir.write("f/run1.LOG");
    dir.write("f/run2.log");
    dir.write("f/keep.txt");
    dir.write("f/sub/run3.log");
    EXPECT_TRUE(Directory::removeFiles(dir / "f", ""));
    EXPECT_TRUE(Directory::removeFilesWithExtension(dir / "f", ".log", false));
    EXPECT_TRUE(File::exists(dir / "f/run1.LOG"));
    EXPECT_FALSE(File::exists(dir / "f/run2.log"));
    EXPECT_TRUE(Directory::removeFilesWithExtension(dir / "f", "log", true));
    EXPECT_FALSE(File::exists(dir / "f/run1.LOG"));
    EXPECT_TRUE(Directory::removeFiles(dir / "f", "kee"));
    EXPECT_FALSE(File::exists(dir / "f/keep.txt"));
    dir.write("f/other");
    EXPECT_TRUE(Directory::removeFiles(dir / "f"));
    EXPECT_FALSE(File::exists(dir / "f/other"));
    EXPECT_TRUE(File::exists(dir / "f/sub/run3.log")); // sub-folders stay
}

TEST(Trees, CopyAndMoveOfTrees) {
    TestSupport::TempDir dir;
    dir.write("src/a", "A");
    dir.write("src/sub/b", "B");
    dir.write("elsewhere/c", "C");
    fs::create_symlink("a", dir / "src/alink");
    fs::create_directory_symlink(dir / "elsewhere", dir / "src/dirlink");

    EXPECT_TRUE(Directory::copyDirectory(dir / "src", dir / "flat", false, false));
    EXPECT_TRUE(File::exists(dir / "flat/a") && !File::exists(dir / "flat/sub"));
    EXPECT_TRUE(Directory(dir / "src").copyDirectory(dir / "deep"));
    EXPECT_EQ(File::readWholeFile(dir / "deep/sub/b", true), "B");
    EXPECT_EQ(File::readWholeFile(dir / "deep/dirlink/c", true), "C"); // links followed
    EXPECT_FALSE(File::isSymbolicLink(dir / "deep/alink"));
    EXPECT_TRUE(Directory::copyDirectory(dir / "src", dir / "links", true, true));
    EXPECT_TRUE(File::isSymbolicLink(dir / "links/dirlink") && File::isSymbolicLink(dir / "links/alink"));
    EXPECT_FALSE(Directory::copyDirectory(dir / "missing", dir / "x", true, false));

    // Into a folder of its own: the copy does not copy itself again.
    EXPECT_TRUE(Directory::copyDirectory(dir / "src", dir / "src/inner", true, false));
    EXPECT_TRUE(File::exists(dir / "src/inner/sub/b"));
    EXPECT_FALSE(File::exists(dir / "src/inner/inner"));
    fs::remove_all(dir / "src/inner");

    EXPECT_FALSE(Directory::moveDirectory(dir / "src", dir / "src"));
    EXPECT_FALSE(Directory::moveDirectory(dir / "src", dir / "src/../src"));
    EXPECT_TRUE(File::exists(dir / "src/a"));
    EXPECT_TRUE(Directory(dir / "src").moveDirectory(dir / "moved"));
    EXPECT_FALSE(File::exists(dir / "src"));
    EXPECT_EQ(File::readWholeFile(dir / "moved/sub/b", true), "B");
    EXPECT_TRUE(File::isSymbolicLink(dir / "moved/dirlink")); // a folder link moves as a link
    EXPECT_EQ(File::readWholeFile(dir / "elsewhere/c", true), "C");
}

TEST(Trees, RightsEmptinessAndLinks) {
    TestSupport::TempDir dir;
    dir.write("t/sub/f");
    ::chmod((dir / "t/sub/f").c_str(), 0400);
    ::chmod((dir / "t/sub").c_str(), 0500);
    EXPECT_TRUE(Directory(dir / "t").setReadWritePermissions(true));
    EXPECT_EQ(File::getPosixFilePermissions(dir / "t/sub/f", true).value() & 0666u, 0666u);
    EXPECT_EQ(File::getPosixFilePermissions(dir / "t/sub", true).value() & 0777u, 0777u);

    EXPECT_TRUE(Directory::isEmpty(dir / "missing"));
    EXPECT_FALSE(Directory(dir / "t").isEmpty()); // "." and ".." are listed

    dir.write("target", "T");
    EXPECT_TRUE(File::createSymbolicLink("target", dir / "link")); // a relative text stays relative
    EXPECT_EQ(File::getSymbolicLinkTarget(dir / "link"), "target");
    EXPECT_EQ(File::readWholeFile(dir / "link", true), "T");
    dir.write("plain", "P");
    EXPECT_TRUE(File::createSymbolicLink(dir / "target", dir / "plain")); // replaces a file
    EXPECT_TRUE(File::isSymbolicLink(dir / "plain"));
    dir.write("folder/inside");
    EXPECT_TRUE(Directory::createSymbolicLink(dir / "t", dir / "folder")); // replaces a folder
    EXPECT_TRUE(File::exists(dir / "folder/sub/f"));
    EXPECT_TRUE(File::createSymbolicLink("target", dir / "folder")); // replaces a link
    EXPECT_EQ(File::getSymbolicLinkTarget(dir / "folder"), "target");
    EXPECT_TRUE(File::exists(dir / "t/sub/f")); // the old link's folder is untouched
}

TEST(Trees, Executables) {
    TestSupport::TempDir dir;
    const std::string tool = dir.write("bin/tool", "#!/bin/sh\n");
    ::chmod(tool.c_str(), 0755);
    dir.write("bin/data");
    dir.write("bin/script.py");
    ::setenv("PATHEXT", ".PY;.BAT", 1);
    EXPECT_TRUE(File::isExecutable(tool));
    EXPECT_FALSE(File::isExecutable(dir / "bin/data"));
    EXPECT_TRUE(File::isExecutable(dir / "bin/script.py"));
    EXPECT_TRUE(File::isExecutable(dir / "bin/script")); // found with an extension
    EXPECT_FALSE(File::isExecutable(dir / "bin/nothing"));

    const std::list<std::string> search{"/nonexistent", dir / "bin"};
    EXPECT_TRUE(File::canExecute("tool", "/", search));
    EXPECT_TRUE(File::canExecute(tool, "", {}));
    EXPECT_FALSE(File::canExecute("sub/tool", dir.path(), search)); // with a separator: the base only
    EXPECT_TRUE(File::canExecute("bin/tool", dir.path(), search));
    ::setenv("FS_TEST_BIN", (dir / "bin").c_str(), 1);
    EXPECT_TRUE(File::canExecute("$FS_TEST_BIN/tool", "/", {}));
    EXPECT_TRUE(File::canExecute("sh")); // along PATH
    EXPECT_FALSE(File::canExecute("surely-no-such-command-here"));
    ::unsetenv("PATHEXT");
}
