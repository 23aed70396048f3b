#include <FileSystem/files/Directory.h>
#include <FileSystem/files/File.h>

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <sys/stat.h>

using namespace FileSystem;

TEST(Directory, CreateLevelsAndRename) {
    TestSupport::TempDir dir;
    EXPECT_TRUE(Directory::create(dir / "a/b/c", false, true));
    EXPECT_TRUE(Directory::exists(dir / "a/b/c"));
    EXPECT_TRUE(Directory::create(dir / "a/b/c/", false, true));
    EXPECT_FALSE(Directory::create(dir / "a/b/c", true, true));
    EXPECT_FALSE(Directory::create(dir / "a/b/c", false, false)); // exists: the system says no
    EXPECT_FALSE(Directory::create(dir / "x/y", false, false));  // a missing level
    EXPECT_TRUE(Directory(dir / "x").create(false, false));

    dir.write("file");
    EXPECT_FALSE(Directory::create(dir / "file", false, true)); // a file stands there
    EXPECT_FALSE(Directory::create(dir / "file/sub", false, true));
    EXPECT_FALSE(Directory::exists(dir / "file"));

    EXPECT_FALSE(Directory::rename(dir / "a", dir / "x")); // never over an existing folder
    EXPECT_TRUE(Directory::exists(dir / "a/b"));
    EXPECT_TRUE(Directory(dir / "a").rename(dir / "renamed"));
    EXPECT_TRUE(Directory::exists(dir / "renamed/b/c"));
    EXPECT_FALSE(Directory::rename(dir / "renamed", ""));

    TestSupport::CurrentDirectoryGuard guard;
    std::filesystem::current_path(dir.path());
    EXPECT_TRUE(Directory::create("rel/one", false, true));
    EXPECT_TRUE(Directory::exists(dir / "rel/one"));
}

TEST(Directory, RightsAndTimes) {
    TestSupport::TempDir dir;
    const std::string folder = dir.mkdir("folder");
    EXPECT_TRUE(Directory::canRead(folder) && Directory::canWrite(folder));
    ::chmod(folder.c_str(), 0555); // read-only for everybody
    EXPECT_FALSE(Directory::canRead(folder));
    EXPECT_FALSE(Directory::canWrite(folder));
    ::chmod(folder.c_str(), 0755);
    const std::string file = dir.write("f", "x");
    EXPECT_EQ(Directory::canRead(file), File::canRead(file));
    EXPECT_FALSE(Directory::canRead(dir / "missing"));

    ASSERT_TRUE(Directory::setData(folder, FileTime{1500000000, 42}, FileTime{1600000000, 0}));
    FileTime created, modified, accessed;
    ASSERT_TRUE(Directory::getData(folder, created, modified, accessed));
    EXPECT_EQ(modified, (FileTime{1500000000, 42}));
    EXPECT_EQ(accessed, (FileTime{1600000000, 0}));
    std::int64_t createdSeconds = 0, modifiedSeconds = 0;
    ASSERT_TRUE(Directory::getData(folder, createdSeconds, modifiedSeconds));
    EXPECT_EQ(modifiedSeconds, 1500000000);
    EXPECT_FALSE(Directory::getData(dir / "missing", created));
    EXPECT_EQ(created, FileTime{});

    std::filesystem::create_directory_symlink("folder", dir / "link");
    EXPECT_TRUE(Directory::isSymbolicLink(dir / "link"));
    EXPECT_EQ(Directory::getSymbolicLinkTarget(dir / "link"), "folder");
}
