#include <FileSystem/files/Directory.h>
#include <FileSystem/files/File.h>

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

using namespace FileSystem;
namespace fs = std::filesystem;

namespace {

bool runningAsRoot() { return ::geteuid() == 0; }

std::vector<std::string> namesIn(const std::string& folder) {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder))
        names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

/// Records what a copy reports.
class RecordingProgress : public Tools::ToolProgress {
public:
    void setRange(int) override {}
    void setProgress(int percentage, const std::string&) override { percentages.push_back(percentage); }
    bool isCancelled() const override { return cancelAfter >= 0 && int(percentages.size()) > cancelAfter; }
    bool hadFatalError() const override { return false; }
    void announceWorkList(const std::vector<std::string>&) override {}

    std::vector<int> percentages;
    int cancelAfter = -1;
};

} // namespace

TEST(File, KindsOfPathsAndMissingOnes) {
    TestSupport::TempDir dir;
    const std::string file = dir.write("f.txt");
    dir.mkdir("sub");
    fs::create_symlink(dir / "sub", dir / "dirlink");
    fs::create_symlink(dir / "gone", dir / "dangling");

    EXPECT_TRUE(File::exists(file) && !File::isDirectory(file, true) && !File::isSymbolicLink(file));
    EXPECT_TRUE(File::isDirectory(dir / "sub", false));
    EXPECT_TRUE(File::isDirectory(dir / "dirlink", true));
    EXPECT_FALSE(File::isDirectory(dir / "dirlink", false));
    EXPECT_TRUE(Directory::exists(dir / "dirlink"));
    EXPECT_TRUE(File::exists(dir / "dangling") && File::isSymbolicLink(dir / "dangling"));
    EXPECT_FALSE(Directory::exists(dir / "dangling"));

    // Nothing there: read-only and a link, but neither existing, a folder nor readable.
    const std::string missing = dir / "missing";
    EXPECT_TRUE(File::isReadOnly(missing) && File::isSymbolicLink(missing));
    EXPECT_FALSE(File::exists(missing) || File::isDirectory(missing, true) || File::canRead(missing));
    // "." and ".." are no folders for File, although they are for Directory.
    EXPECT_FALSE(File::isDirectory("..", true));
    EXPECT_TRUE(Directory::isDirectory("..", true));

    // A NUL byte names nothing, and nothing is done to the path before it.
    const std::string withNul = file + std::string("\0.x", 3);
    EXPECT_FALSE(File::exists(withNul));
    EXPECT_FALSE(File::create(withNul, false));
    File::remove(withNul); // as for a missing file: nothing to do
    EXPECT_TRUE(File::exists(file));
}

TEST(File, NamesWithDotsReachTheRightFile) {
    TestSupport::TempDir dir;
    TestSupport::CurrentDirectoryGuard guard;
    const std::string sibling = dir.write("sub/cache", "other file");
    dir.write("sub/dir/..cache", "x");
    EXPECT_TRUE(File::remove(dir / "sub/dir/..cache"));
    EXPECT_FALSE(File::exists(dir / "sub/dir/..cache"));
    EXPECT_TRUE(File::exists(sibling));
    std::filesystem::current_path(dir / "sub");
    dir.write("sub/.config", "dot");
    EXPECT_EQ(File::readWholeFile(".config", true), "dot");
    EXPECT_TRUE(File::remove(".cache")); // nothing there: "cache" beside it stays
    EXPECT_TRUE(File::exists(sibling));
}

TEST(File, CreateRemoveRename) {
    TestSupport::TempDir dir;
    const std::string file = dir.write("data.txt", "content");
    EXPECT_FALSE(File::create(file, true));
    EXPECT_EQ(File::readWholeFile(file, true), "content");
    EXPECT_TRUE(File(file).create(false));
    EXPECT_EQ(File::getFileSize(file), 0u);
    EXPECT_TRUE(File::create((dir / "new").c_str(), true));
    EXPECT_FALSE(File::create(dir / "no/folder/x", false));

    fs::permissions(file, fs::perms::owner_read);
    EXPECT_TRUE(File::isReadOnly(file));
    EXPECT_FALSE(File::canWrite(file));
    EXPECT_TRUE(File::remove(file)); // read-only files go too
    EXPECT_FALSE(File::exists(file));
    EXPECT_TRUE(File::remove(file)); // already gone
    EXPECT_FALSE(File::remove(""));
    EXPECT_FALSE(File::remove(dir.mkdir("sub"))); // folders are not files

    dir.write("a", "A");
    dir.write("b", "B");
    EXPECT_FALSE(File::rename(dir / "a", dir / "b")); // never over an existing file
    EXPECT_EQ(File::readWholeFile(dir / "b", true), "B");
    EXPECT_TRUE(File(dir / "a").rename(dir / "c"));
    EXPECT_EQ(File::readWholeFile(dir / "c", true), "A");
    EXPECT_FALSE(File::exists(dir / "a"));
    EXPECT_FALSE(File::rename("", dir / "d"));
}

TEST(File, CopyKeepsModeTimesAndNeverHarmsTheDestination) {
    TestSupport::TempDir dir;
    const std::string source = dir.write("src.bin", std::string(3 << 20, 'q'));
    ::chmod(source.c_str(), 0550); // read-only, executable
    const FileTime old{1000000000, 123456789};
    ASSERT_TRUE(File::setData(source, old, FileTime{1100000000, 5}));

    const std::string dest = dir / "deep/er/dest.bin";
    ASSERT_TRUE(File::copyFile(source, dest, false));
    EXPECT_EQ(File::readWholeFile(dest, true), File::readWholeFile(source, true));
    EXPECT_EQ(File::getPosixFilePermissions(dest, true).value(), 0750u); // kept, and writable
    EXPECT_FALSE(File::isReadOnly(dest));
    EXPECT_EQ(File::getFileTimeLastModified(dest), old);

    // With keepTimes the access time comes along (reading the source may have moved it).
    ASSERT_TRUE(File::copyFile(source, dest.c_str(), true));
    FileTime modified, created, accessed, sourceModified, sourceAccessed;
    std::uint64_t size = 0;
    ASSERT_TRUE(File::getData(dest, size, modified, created, accessed));
    ASSERT_TRUE(File::getData(source, size, sourceModified, created, sourceAccessed));
    EXPECT_EQ(accessed, sourceAccessed);
    EXPECT_EQ(modified, old);

    // Onto itself under another spelling: refused, the file is intact.
    EXPECT_FALSE(File::copyFile(source, dir / "deep/../src.bin", false));
    EXPECT_EQ(File::getFileSize(source), 3u << 20);
    EXPECT_FALSE(File::copyFile(dir / "missing", dest, false));

    // A copy that is stopped leaves the old destination and no stray files.
    const std::string existing = dir.write("deep/er/existing", "precious");
    int calls = 0;
    EXPECT_FALSE(File::copyFile(source, existing, false, false, [&](std::uint64_t done, std::uint64_t total) {
        EXPECT_LE(done, total);
        return ++calls < 2;
    }));
    EXPECT_EQ(File::readWholeFile(existing, true), "precious");
    EXPECT_EQ(namesIn(dir / "deep/er"), (std::vector<std::string>{"dest.bin", "existing"}));
    // A folder in the destination's place is not replaced.
    dir.mkdir("folder");
    EXPECT_FALSE(File::copyFile(source, dir / "folder", false));
    EXPECT_TRUE(Directory::exists(dir / "folder"));
}

TEST(File, CopyOfLinks) {
    TestSupport::TempDir dir;
    dir.write("target", "T");
    fs::create_symlink("target", dir / "link");
    EXPECT_TRUE(File::copyFile(dir / "link", dir / "linkcopy", false, true));
    EXPECT_TRUE(File::isSymbolicLink(dir / "linkcopy"));
    EXPECT_EQ(File::getSymbolicLinkTarget(dir / "linkcopy"), "target");
    EXPECT_TRUE(File::copyFile(dir / "link", dir / "contentcopy", false, false));
    EXPECT_FALSE(File::isSymbolicLink(dir / "contentcopy"));
    EXPECT_EQ(File::readWholeFile(dir / "contentcopy", true), "T");
    EXPECT_EQ(File::getSymbolicLinkTarget(dir / "target"), "");
}

TEST(File, CopyWithProgressReportsEachPercentageOnce) {
    TestSupport::TempDir dir;
    const std::string source = dir.write("big", std::string(40 << 20, 'x'));
    RecordingProgress progress;
    ASSERT_TRUE(File::copyFileWithProgress(&progress, source, dir / "copy", false, false));
    ASSERT_FALSE(progress.percentages.empty());
    EXPECT_TRUE(std::is_sorted(progress.percentages.begin(), progress.percentages.end()));
    EXPECT_EQ(std::adjacent_find(progress.percentages.begin(), progress.percentages.end()),
              progress.percentages.end());
    EXPECT_EQ(progress.percentages.back(), 100);

    RecordingProgress empty;
    EXPECT_TRUE(File::copyFileWithProgress(&empty, dir.write("zero", ""), dir / "zerocopy", false, false));
    EXPECT_TRUE(empty.percentages.empty()); // nothing to measure

    RecordingProgress cancelling;
    cancelling.cancelAfter = 1;
    EXPECT_FALSE(File::copyFileWithProgress(&cancelling, source, dir / "cancelled", false, false));
    EXPECT_FALSE(File::exists(dir / "cancelled"));
    EXPECT_TRUE(File::copyFileWithProgress(nullptr, source, dir / "unwatched", false, false));
}

TEST(File, TimesAndSizes) {
    TestSupport::TempDir dir;
    const std::string file = dir.write("t", "12345");
    EXPECT_EQ(File::getFileSize(file), 5u);
    EXPECT_EQ(File::getTimeCreated(dir / "missing"), File::kInvalidTime);
    EXPECT_EQ(File::getFileTimeLastModified(dir / "missing"), (FileTime{File::kInvalidTime, 0}));
    EXPECT_EQ(File::getFileSize(dir / "missing"), 0u);
    EXPECT_EQ(File::getFileSize(dir.path()), 0u); // a folder is not a file

    std::uint64_t size = 99;
    std::int64_t modified = 7;
    EXPECT_FALSE(File::getData(dir / "missing", size, modified));
    EXPECT_EQ(size, 0u);
    EXPECT_EQ(modified, 0);

    const FileTime accessedBefore = [&] {
        FileTime m, c, a;
        File::getData(file, size, m, c, a);
        return a;
    }();
    EXPECT_FALSE(File::setData(file, std::nullopt, std::nullopt));
    ASSERT_TRUE(File::setData(file, FileTime{2000000000, 999999999}, std::nullopt));
    FileTime m, c, a;
    ASSERT_TRUE(File::getData(file, size, m, c, a));
    EXPECT_EQ(m, (FileTime{2000000000, 999999999}));
    EXPECT_EQ(a, accessedBefore); // an absent value stays
    EXPECT_EQ(File::getTimeLastModified(file), 2000000000);
    EXPECT_NE(File::getTimeCreated(file), File::kInvalidTime);

    EXPECT_EQ(FileTime::fromWindowsTicks(116444736000000000ull), (FileTime{0, 0}));
    EXPECT_EQ((FileTime{1, 150}).toWindowsTicks(), 116444736000000000ull + 10000000ull + 1);
}

TEST(File, ContentMagicsAndPermissions) {
    TestSupport::TempDir dir;
    const std::string binary = std::string("PK\x03\x04\0\xff", 6);
    const std::string file = dir / "blob";
    File::dumpToFile(file, binary);
    EXPECT_EQ(File::readWholeFile(file, true), binary);
    EXPECT_EQ(File::readWholeFile(dir / "missing", false), "");

    EXPECT_TRUE(File::checkMagicNumber(file, "PK\x03\x04"));
    EXPECT_FALSE(File::checkMagicNumber(file, "PK\x05"));
    EXPECT_FALSE(File::checkMagicNumber(file, std::string(10, 'P'))); // longer than the file
    EXPECT_TRUE(File::checkMagicNumber(file, std::vector<std::string>{std::string(10, 'P'), "PK"}));
    EXPECT_TRUE(File::checkMagicNumber(file, std::vector<std::string>{}));
    EXPECT_TRUE(File(file).checkMagicNumber(""));
    EXPECT_FALSE(File::checkMagicNumber(dir / "missing", ""));
    if (!runningAsRoot()) {
        ::chmod(file.c_str(), 0444);
        EXPECT_FALSE(File::checkMagicNumber(file, "PK")); // opened for writing too
    }

    ::chmod(file.c_str(), 01640);
    EXPECT_EQ(File::getPosixFilePermissions(file, false).value(), 01640u);
    EXPECT_TRUE(File::setPosixFilePermissions(file, PosixFilePermissions(0604)));
    EXPECT_EQ(File::getPosixFilePermissions(file, true).value(), 01604u); // the sticky bit stays
    EXPECT_EQ(File::getPosixFilePermissions(dir / "missing", true).value(), 0777u);
    EXPECT_FALSE(File::setPosixFilePermissions(dir / "missing", PosixFilePermissions(0600)));

    ::chmod(file.c_str(), 0400);
    EXPECT_TRUE(File::setReadWritePermissions(file));
    EXPECT_EQ(File::getPosixFilePermissions(file, true).value() & 0666u, 0666u);
    dir.mkdir("folder");
    EXPECT_TRUE(File::setReadWritePermissions(dir / "folder"));
    EXPECT_EQ(File::getPosixFilePermissions(dir / "folder", true).value() & 0777u, 0777u);
    EXPECT_FALSE(File::setReadWritePermissions(dir / "missing"));

    EXPECT_EQ(posixFilePermissionsToString(PosixFilePermissions(0644)), "644");
    EXPECT_EQ(posixFilePermissionsToString(PosixFilePermissions()), "0");
    EXPECT_EQ(posixFilePermissionsFromString("0755").value(), 0755u);
    EXPECT_EQ(posixFilePermissionsFromString("rwx").value(), 0u);
}
