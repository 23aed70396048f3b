// The writing model: adds go to a spool at once, the archive is written at the
// commit, and a process killed at any moment leaves the archive as it was.

#include <FileSystem/files/File.h>
#include <FileSystem/zip/ZipArchive.h>

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <sys/wait.h>
#include <unistd.h>

using namespace FileSystem;
using Mode = ZipArchive::OpenMode;
namespace fs = std::filesystem;

namespace {

std::size_t filesIn(const std::string& folder) {
    return static_cast<std::size_t>(std::distance(fs::directory_iterator(folder), fs::directory_iterator()));
}

} // namespace

TEST(ZipWriting, AddsWaitForTheCommitAndReadersSeeThem) {
    TestSupport::TempDir dir;
    const std::string archive = dir / "out/a.zip";
    fs::create_directories(dir / "out");
    dir.write("src/one.txt", "first");
    dir.write("src/two.txt", std::string(100000, '2'));
    ZipArchive zip(archive, Mode::Create, 1);
    ASSERT_TRUE(zip.isZipping());
    EXPECT_TRUE(zip.addToZipAs(dir / "src/one.txt", "one.txt", false, false));
    // Nothing is on disk yet, and no spool file shows in the folder.
    EXPECT_FALSE(fs::exists(archive));
    EXPECT_EQ(filesIn(dir / "out"), 0u);
    // The writer answers for what it was given.
    EXPECT_EQ(zip.numberOfEntries(), 1u);
    EXPECT_EQ(zip.extractDataFromZip("one.txt"), "first");
    {
        ZipArchive::FileInZip entry("streamed.txt", &zip);
        ASSERT_TRUE(entry.open());
        EXPECT_EQ(entry.write("abc", 3), 3);
        EXPECT_TRUE(entry.close());
    }
    EXPECT_EQ(zip.extractDataFromZip("streamed.txt"), "abc");
    EXPECT_TRUE(zip.commit());
    {
        ZipArchive reader(archive, Mode::Read, 1);
        EXPECT_EQ(reader.numberOfEntries(), 2u);
        EXPECT_EQ(reader.extractDataFromZip("streamed.txt"), "abc");
    }
    // Adds after a commit go on from what is on disk.
    EXPECT_TRUE(zip.addToZipAs(dir / "src/two.txt", "two.txt", false, false));
    EXPECT_EQ(zip.numberOfEntries(), 3u);
    EXPECT_EQ(zip.extractDataFromZip("one.txt"), "first"); // read from the archive on disk
    zip.close();
    ZipArchive reader(archive, Mode::Read, 1);
    EXPECT_EQ(reader.extractDataFromZip("two.txt"), std::string(100000, '2'));
    EXPECT_EQ(filesIn(dir / "out"), 1u); // the archive alone: no temporary is left

    // A reopened archive in mode 1 keeps what it held.
    ZipArchive more(archive, Mode::Add, 1);
    EXPECT_TRUE(more.addToZipAs(dir / "src/one.txt", "again.txt", false, false));
    EXPECT_TRUE(more.commit());
    EXPECT_EQ(ZipArchive(archive, Mode::Read, 1).numberOfEntries(), 4u);
}

TEST(ZipWriting, ArchivesThatCannotBeWrittenDoNotOpen) {
    TestSupport::TempDir dir;
    EXPECT_FALSE(ZipArchive(dir / "missing/a.zip", Mode::Create, 1).isOpen());
    EXPECT_FALSE(ZipArchive(dir / "missing/a.zip", Mode::Add, 1).isOpen());
    EXPECT_FALSE(ZipArchive("/proc/self/a.zip", Mode::Create, 1).isOpen()); // no file can be made there
    // A source that is not there is reported by the add itself.
    ZipArchive zip(dir / "a.zip", Mode::Create, 1);
    EXPECT_FALSE(zip.addToZipAs(dir / "nothing.txt", "nothing.txt", false, false));
    // A commit that cannot write the archive says so; the archive object stays usable.
    dir.write("x.txt", "x");
    EXPECT_TRUE(zip.addToZipAs(dir / "x.txt", "x.txt", false, false));
    fs::create_directory(dir / "blocker");
    ZipArchive blocked(dir / "blocker", Mode::Create, 1); // a folder stands where the archive goes
    ASSERT_TRUE(blocked.isOpen());
    EXPECT_TRUE(blocked.addToZipAs(dir / "x.txt", "x.txt", false, false));
    EXPECT_FALSE(blocked.commit());
    EXPECT_TRUE(fs::is_directory(dir / "blocker"));
    EXPECT_TRUE(zip.commit());
}

TEST(ZipWriting, KilledWritersLeaveTheArchiveAsItWas) {
    TestSupport::TempDir dir;
    const std::string archive = dir / "keep.zip";
    for (int i = 0; i < 20; ++i)
        dir.write("src/f" + std::to_string(i) + ".bin", std::string(200000 + i, static_cast<char>('a' + i)));
    {
        ZipArchive zip(archive, Mode::Create, 1);
        ASSERT_TRUE(zip.addToZipAs(dir / "src/f0.bin", "original.bin", false, false));
    }
    for (int round = 0; round < 12; ++round) {
        const pid_t child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            ZipArchive zip(archive, Mode::Add, 1);
            for (int i = 0;; i = (i + 1) % 20) {
                zip.addToZipAs(dir / ("src/f" + std::to_string(i) + ".bin"), "n" + std::to_string(i) + ".bin", false,
                               false);
                zip.commit();
            }
        }
        ::usleep(static_cast<useconds_t>(2000 + round * 3000));
        ::kill(child, SIGKILL);
        int status = 0;
        ::waitpid(child, &status, 0);
        // Whatever the child got to, the archive holds at least what it held, intact.
        ZipArchive reader(archive, Mode::Read, 1);
        ASSERT_TRUE(reader.isOpen()) << "round " << round;
        EXPECT_EQ(reader.extractDataFromZip("original.bin"), std::string(200000, 'a'));
        for (const auto& info : reader.getAllFileInfos(false)) {
            EXPECT_TRUE(reader.extractDataFromZip(info.name).has_value()) << info.name;
        }
    }
    // A kill during a commit may leave its temporary behind, under a name that says what it is.
    for (const auto& item : fs::directory_iterator(dir.path())) {
        if (item.is_regular_file() && item.path() != archive) {
            EXPECT_NE(item.path().filename().string().find(".fs-partial-"), std::string::npos) << item.path();
        }
    }
}

TEST(ZipWriting, StoppedAddsLeaveNoNamesAndCreateReplaces) {
    TestSupport::TempDir dir;
    dir.write("src/big.bin", std::string(200000, 'b'));
    ZipArchive zip(dir / "a.zip", Mode::Create, 1);
    const Tools::ProgressFunction stop = [](std::uint64_t, std::uint64_t) { return false; };
    EXPECT_FALSE(zip.addToZipAs(dir / "src/big.bin", "big.bin", false, false, {}, stop));
    EXPECT_FALSE(zip.getFileInfo("big.bin").has_value());
    // The name was not taken by the stopped add: a second add writes the entry.
    EXPECT_TRUE(zip.addToZipAs(dir / "src/big.bin", "big.bin", false, false));
    EXPECT_TRUE(zip.createDirectoryInZip("folder"));
    zip.close();
    ZipArchive reader(dir / "a.zip", Mode::Read, 1);
    EXPECT_EQ(reader.extractDataFromZip("big.bin"), std::string(200000, 'b'));
    // A folder entry cannot be extracted as a file.
    EXPECT_FALSE(reader.extractFileFromZip(reader.findFileNameInZip("folder/", false, true), dir / "folder.txt"));
    EXPECT_FALSE(fs::exists(dir / "folder.txt"));
    reader.close();

    // An archive created over an old one replaces it, also when it is given nothing.
    ZipArchive(dir / "a.zip", Mode::Create, 1).close();
    EXPECT_EQ(ZipArchive(dir / "a.zip", Mode::Read, 1).numberOfEntries(), 0u);
    EXPECT_EQ(fs::file_size(dir / "a.zip"), 22u);
}
