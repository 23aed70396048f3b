// Removing, renaming and replacing entries: what a name matches, what the
// archive holds afterwards (unzip and 7-Zip agree), and that a change that
// fails leaves the archive exactly as it was.

#include <FileSystem/zip/ZipArchive.h>

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>

using namespace FileSystem;
using Mode = ZipArchive::OpenMode;
namespace fs = std::filesystem;

namespace {

std::string bytesOf(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

/// An archive of this library holding "a/", "a/b.txt", "ab.txt" and "c.txt".
std::string makeSample(const TestSupport::TempDir& dir) {
    dir.write("src/a/b.txt", "in a");
    dir.write("src/ab.txt", "beside a");
    dir.write("src/c.txt", std::string(50000, 'c'));
    ZipArchive zip(dir / "sample.zip", Mode::Create, 1);
    EXPECT_TRUE(zip.addToZipAs(dir / "src", "", true, false));
    return dir / "sample.zip";
}

bool passes(const std::string& folder, const std::string& command) {
    return TestSupport::run({"sh", "-c", "cd '" + folder + "' && " + command + " > /dev/null 2>&1"}).exitedWith(0);
}

template <typename Call>
std::string messageOf(Call&& call) {
    try {
        call();
    } catch (const std::runtime_error& e) {
        return e.what();
    }
    return "(nothing thrown)";
}

/// Cancels once the percentages of the commit begin; records the ranges.
struct CancellingProgress : Tools::ToolProgress {
    std::vector<int> ranges;
    void setRange(int maximum) override { ranges.push_back(maximum); }
    void setProgress(int, const std::string&) override {}
    bool isCancelled() const override { return !ranges.empty() && ranges.back() == 100; }
    bool hadFatalError() const override { return false; }
    void announceWorkList(const std::vector<std::string>&) override {}
};

} // namespace

TEST(ZipModify, RemoveAndRenameMatchAFolderWithItsContents) {
    TestSupport::TempDir dir;
    const std::string archive = makeSample(dir);
    ZipArchive zip(archive, Mode::Read, 1);
    const std::string before = bytesOf(archive);
    EXPECT_FALSE(zip.removeFromZip("a/b")); // no entry of that name: untouched, to the byte
    EXPECT_TRUE(bytesOf(archive) == before);

    EXPECT_TRUE(zip.renameInZip("a", "c"));
    EXPECT_TRUE(zip.isUnzipping()); // reopened as a reader, which sees the change
    EXPECT_EQ(zip.entries(true, true), (std::set<std::string>{"c/", "c/b.txt", "ab.txt", "c.txt"}));
    EXPECT_TRUE(zip.removeFromZip("c/"));
    EXPECT_EQ(zip.entries(true, true), (std::set<std::string>{"ab.txt", "c.txt"}));
    EXPECT_EQ(zip.extractDataFromZip("c.txt"), std::string(50000, 'c'));
    EXPECT_TRUE(passes(dir.path(), "unzip -t sample.zip && 7z t sample.zip"));

    // Kept entries are restamped; their attributes stay.
    const auto info = zip.getFileInfo("ab.txt");
    ASSERT_TRUE(info);
    EXPECT_EQ(info->comment, ZipArchive::getCurrentTesselFileCommentPrefix());
    EXPECT_EQ(info->externalAttributes >> 16, 0100644u);
}

TEST(ZipModify, RenameRefusesNamesThatWouldHarmOrOverwrite) {
    TestSupport::TempDir dir;
    const std::string archive = makeSample(dir);
    ZipArchive zip(archive, Mode::Add, 1);
    const std::string before = bytesOf(archive);
    EXPECT_EQ(messageOf([&] { zip.renameInZip("a", ""); }), "Zip Rename Failure : cannot rename to an empty path");
    for (const std::string escaping : {"../x", "d/../../x", "C:/x"})
        EXPECT_EQ(messageOf([&] { zip.renameInZip("a", escaping); }),
                  "Zip Rename Failure : the new path leaves the archive : " + escaping);
    EXPECT_TRUE(zip.isZipping()); // thrown before anything was touched
    EXPECT_FALSE(zip.renameInZip("ab.txt", "c.txt"));
    EXPECT_FALSE(zip.renameInZip("a", "c.txt")); // "c.txt/" would stand beside the file "c.txt"
    EXPECT_TRUE(bytesOf(archive) == before);

    // "a/" becomes "a/x/", "a/x/" (given up later in the list) "a/x/x/"; a leading slash is dropped.
    zip.close();
    dir.write("src/a/x/y.txt", "y");
    ASSERT_TRUE(zip.open(Mode::Add) && zip.addToZipAs(dir / "src/a/x", "a/x", true, false));
    EXPECT_TRUE(zip.renameInZip("a", "/a/x"));
    EXPECT_TRUE(zip.isZipping());
    zip.close();
    ZipArchive reader(archive, Mode::Read, 1);
    EXPECT_EQ(reader.entries(true, true),
              (std::set<std::string>{"a/x/", "a/x/b.txt", "a/x/x/", "a/x/x/y.txt", "ab.txt", "c.txt"}));
    EXPECT_EQ(reader.extractDataFromZip("a/x/x/y.txt"), "y");
}

TEST(ZipModify, EmptyForeignAndEncryptedArchives) {
    TestSupport::TempDir dir;
    ZipArchive(dir / "empty.zip", Mode::Create, 1).close();
    ZipArchive empty(dir / "empty.zip", Mode::Read, 1);
    EXPECT_EQ(messageOf([&] { empty.removeFromZip("a"); }),
              "Zip Modify Error : trying to rename/remove on an empty archive");
    EXPECT_FALSE(empty.isOpen());
    ZipArchive text(dir.write("text.zip", "no archive"), 1);
    EXPECT_EQ(messageOf([&] { text.removeFromZip("a"); }), "Zip Modify Error : unzGotoNextFile error");
    EXPECT_FALSE(ZipArchive(dir / "missing.zip", 1).removeFromZip("a"));

    // A 7-Zip AES entry is renamed without its password and stays encrypted.
    dir.write("plain.txt", "secret text");
    ASSERT_TRUE(passes(dir.path(), "7z a -tzip -mem=AES256 -psecret aes.zip plain.txt"));
    ZipArchive zip(dir / "aes.zip", Mode::Read, 1);
    EXPECT_TRUE(zip.renameInZip("plain.txt", "vault/plain.txt"));
    EXPECT_EQ(zip.extractDataFromZip("vault/plain.txt"), std::nullopt);
    zip.setPassword("secret");
    EXPECT_EQ(zip.extractDataFromZip("vault/plain.txt"), "secret text");
    EXPECT_TRUE(passes(dir.path(), "7z t -psecret aes.zip"));
    EXPECT_FALSE(passes(dir.path(), "7z t -pwrong aes.zip"));
}

TEST(ZipModify, AFailedCommitLeavesTheArchiveWhole) {
    TestSupport::TempDir dir;
    const std::string archive = makeSample(dir);
    const std::string before = bytesOf(archive);
    ZipArchive zip(archive, Mode::Read, 1);
    CancellingProgress progress;
    zip.attachProgressInterface(&progress);
    EXPECT_FALSE(zip.removeFromZip("a"));
    EXPECT_EQ(progress.ranges, (std::vector<int>{0, 100}));
    zip.attachProgressInterface(nullptr);
    EXPECT_TRUE(bytesOf(archive) == before);
    EXPECT_EQ(zip.listEntries(true).size(), 4u);

    // An entry that stays cannot be copied: its local header claims an extra field past the end.
    std::string bytes = before;
    const std::size_t second = bytes.find("PK\x03\x04", bytes.find("PK\x03\x04") + 4);
    ASSERT_NE(second, std::string::npos);
    bytes[second + 28] = bytes[second + 29] = '\xff';
    std::ofstream(archive, std::ios::binary | std::ios::trunc) << bytes;
    EXPECT_FALSE(zip.removeFromZip("c.txt"));
    EXPECT_TRUE(bytesOf(archive) == bytes);
    EXPECT_EQ(std::distance(fs::directory_iterator(dir.path()), fs::directory_iterator()), 2); // no partial archive
}

TEST(ZipModify, ReplaceRemovesAndAddsInOneCommit) {
    TestSupport::TempDir dir;
    const std::string archive = makeSample(dir);
    dir.write("new/n.txt", "new");
    const std::string before = bytesOf(archive);
    EXPECT_FALSE(ZipArchive(archive, Mode::Read, 1).replaceInZip(dir / "new", "a", true)); // a reader cannot add
    ZipArchive zip(archive, Mode::Add, 1);
    EXPECT_FALSE(zip.replaceInZip(dir / "nowhere", "a", true)); // nothing to add: "a" stays
    EXPECT_TRUE(bytesOf(archive) == before);

    EXPECT_TRUE(zip.replaceInZip(dir / "new", "a", true));
    EXPECT_TRUE(zip.replaceInZip(dir / "new/n.txt", "fresh.txt", false)); // nothing there: simply added
    ZipArchive reader(archive, Mode::Read, 1); // committed while the writer is open
    EXPECT_EQ(reader.entries(true, true), (std::set<std::string>{"a/", "a/n.txt", "ab.txt", "c.txt", "fresh.txt"}));
    EXPECT_EQ(reader.extractDataFromZip("a/n.txt"), "new");
}
