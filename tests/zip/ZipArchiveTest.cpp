#include <FileSystem/files/File.h>
#include <FileSystem/zip/ZipArchive.h>

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <sys/stat.h>

using namespace FileSystem;
using Mode = ZipArchive::OpenMode;
using Names = std::vector<std::string>;
namespace fs = std::filesystem;

namespace {

/// Records what an add reports.
class RecordingProgress : public Tools::ToolProgress {
public:
    void setRange(int maximum) override { ranges.push_back(maximum); }
    void setProgress(int percentage, const std::string&) override { percentages.push_back(percentage); }
    bool isCancelled() const override { return false; }
    bool hadFatalError() const override { return false; }
    void announceWorkList(const std::vector<std::string>&) override {}
    std::vector<int> ranges, percentages;
};

} // namespace

TEST(ZipArchive, WritingOrderParentsAndRepeats) {
    TestSupport::TempDir dir;
    dir.write("src/a/b/c.txt", "C");
    dir.write("src/keep.dat", "K");
    dir.write("src/skip.tmp", "T");
    dir.write("src/Thumbs.db", "T");
    const std::string archive = dir / "src/self.zip"; // the archive lies inside the tree it adds
    {
        ZipArchive zip(archive, Mode::Create, 1);
        ASSERT_TRUE(zip.isZipping());
        zip.addIgnoreFileExtensionOnZip(".tmp");
        zip.addIgnoreFileOnZip("Thumbs.db");
        RecordingProgress progress;
        zip.attachProgressInterface(&progress);
        EXPECT_TRUE(zip.addToZipAs(dir / "src", "root", true, false));
        EXPECT_EQ(progress.ranges, (std::vector<int>{0, 100}));
        EXPECT_EQ(progress.percentages.back(), 100);
        EXPECT_FALSE(zip.addToZipAs(dir / "src", "root", true, false)); // nothing new to write
        EXPECT_TRUE(zip.createDirectoryInZip("/empty/inner/"));
        EXPECT_TRUE(zip.createDirectoryInZip("empty"));
        EXPECT_FALSE(zip.createSymbolicLinkInZip("l", "t"));
        EXPECT_THROW(zip.addToZipAs(dir / "src/keep.dat", "", true, false), std::runtime_error);
        // A writer answers queries, also about what it has not committed yet.
        EXPECT_TRUE(zip.getFileInfo("root/keep.dat").has_value());
        EXPECT_EQ(zip.extractDataFromZip("root/a/b/c.txt"), "C");
    }
    ZipArchive reader(archive, Mode::Read, 1);
    ASSERT_TRUE(reader.isUnzipping());
    EXPECT_EQ(reader.allEntries(true, true), (Names{"root/", "root/a/", "root/a/b/", "root/a/b/c.txt", "root/keep.dat",
                                                   "empty/", "empty/inner/"}));
    EXPECT_EQ(reader.allEntries(false, true), (Names{"root/a/b/c.txt", "root/keep.dat"}));
    EXPECT_EQ(reader.numberOfEntries(false, false), 2u);
    EXPECT_EQ(reader.numberOfEntries(), 7u);
    EXPECT_TRUE(reader.containsEntryInZip("root/a", true));
    EXPECT_FALSE(reader.containsEntryInZip("root/a", false));
    EXPECT_EQ(reader.extractDataFromZip("root/a/b/c.txt"), "C");
    EXPECT_TRUE(reader.findFileWithExtensionInZip("DAT").has_value());
    EXPECT_FALSE(reader.findFileNameInZip("root/a/", true, false).has_value());
    EXPECT_TRUE(reader.findFileNameInZip("root/a/", false, true).has_value());
    EXPECT_FALSE(reader.addToZip(dir / "src", true, false)); // a reader writes nothing
}

TEST(ZipArchive, OpeningModesAndComments) {
    TestSupport::TempDir dir;
    dir.write("one.txt", "1");
    dir.write("two.txt", "2");
    ZipArchive zip(dir / "a.zip", 1);
    EXPECT_FALSE(zip.isOpen());
    ASSERT_TRUE(zip.open(Mode::Create));
    EXPECT_TRUE(zip.open(Mode::Read)); // already open: nothing changes
    EXPECT_TRUE(zip.isZipping());
    EXPECT_TRUE(zip.addToZip(dir / "one.txt", true, false));
    zip.close();
    EXPECT_TRUE(zip.reopen()); // a created archive reopens for adding
    EXPECT_EQ(zip.getOpenMode(), Mode::Add);
    EXPECT_TRUE(zip.addToZip(dir / "two.txt", true, false));
    zip.close();
    ZipArchive reader(dir / "a.zip", Mode::Read, 1);
    EXPECT_EQ(reader.allEntries(true, true), (Names{"one.txt", "two.txt"}));
    const auto info = reader.getFileInfo("one.txt");
    ASSERT_TRUE(info);
    EXPECT_TRUE(ZipArchive::isTesselFileComment(info->comment));
    EXPECT_EQ(ZipArchive::getTesselVersionFromFileComment(info->comment), (Utilities::Version<4, int>{2025, 0, 1, 144071}));
    EXPECT_EQ(ZipArchive::getCurrentTesselFileCommentPrefix(), "TesselZip-2025.0.1.144071-");
    EXPECT_TRUE(ZipArchive::isUnix(info->versionMadeBy));
    EXPECT_EQ(info->uncompressedSize, 1u);

    EXPECT_EQ(ZipArchive::getTesselVersionFromFileComment("TesselZip-1.2.3.4-"), (Utilities::Version<4, int>{1, 2, 3, 4}));
    EXPECT_EQ(ZipArchive::getTesselAdditionalComment("TesselZip-1.2.3.4-"), "");
    EXPECT_FALSE(ZipArchive::getTesselVersionFromFileComment("TesselZip-1.2.3.4").has_value());
    EXPECT_EQ(ZipArchive::getTesselAdditionalComment("TesselZip-1.2.3.4"), "");
    EXPECT_EQ(ZipArchive::getTesselAdditionalComment("TesselZip-1.2.3.4-note-x"), "note-x");
    EXPECT_FALSE(ZipArchive::getTesselVersionFromFileComment("TesselZip-1.x.3.4-").has_value());
    EXPECT_FALSE(ZipArchive::isTesselFileComment("Other-1.2.3.4-"));

    // An archive created and closed without entries is still an archive.
    { ZipArchive empty(dir / "empty.zip", Mode::Create, 1); }
    EXPECT_TRUE(ZipArchive::isZipFile(dir / "empty.zip"));
    EXPECT_FALSE(ZipArchive::isZipFile(dir / "one.txt"));
    EXPECT_FALSE(ZipArchive(dir / "one.txt", Mode::Read, 1).isOpen());
    EXPECT_FALSE(ZipArchive(dir / "missing.zip", Mode::Read, 1).isOpen());
}

TEST(ZipArchive, FindingNamesAndKinds) {
    TestSupport::TempDir dir;
    dir.write("t/dir/f");
    {
        ZipArchive zip(dir / "k.zip", Mode::Create, 1);
        zip.addToZip(dir / "t/dir", true, false);
    }
    ZipArchive reader(dir / "k.zip", Mode::Read, 1);
    EXPECT_EQ(reader.getFileInfo("dir")->name, "dir/");
    EXPECT_EQ(reader.getFileInfo("dir\\")->name, "dir/");
    EXPECT_EQ(reader.getFileInfo("dir/f/")->name, "dir/f");
    EXPECT_FALSE(reader.getFileInfo("").has_value());
    EXPECT_FALSE(reader.getFileInfo("DIR").has_value()); // names are case-sensitive
    const auto location = reader.findFileNameInZip("dir/f", true, false);
    ASSERT_TRUE(location);
    EXPECT_EQ(reader.getFileInfo(location)->name, "dir/f");
    EXPECT_FALSE(reader.getFileInfo(ZipLocation{99, 99}).has_value());

    // Kinds by host and attributes.
    const std::uint32_t unix = 0x300 | 45, dos = 45, ntfs = 0xa00 | 45;
    EXPECT_TRUE(ZipArchive::isDirectory("d/", 0, dos) && ZipArchive::isFile("d/", 0, dos)); // callers test folders first
    EXPECT_TRUE(ZipArchive::isDirectory("d", 0x10, ntfs));
    EXPECT_TRUE(ZipArchive::isFile("d", 0x10, ntfs)); // the name decides what the host bit does not
    EXPECT_TRUE(ZipArchive::isDirectory("d", 0x40000000, unix));
    EXPECT_TRUE(ZipArchive::isSymbolicLink("l", 0xa1ff0000, unix));
    EXPECT_FALSE(ZipArchive::isSymbolicLink("l", 0xa1ff0000, dos));
    EXPECT_TRUE(ZipArchive::isSymbolicLink("d", 0x10, unix)); // a folder bit counts as link too on Unix
    EXPECT_FALSE(ZipArchive::isDirectory("", 0x10, dos));
    EXPECT_TRUE(ZipArchive::isSupported(0xe00) && !ZipArchive::isSupported(0x1300));
    EXPECT_EQ(ZipArchive::getFileAttributes(dir / "t") & 0xff, 0x10u);
    ::chmod((dir / "t/dir/f").c_str(), 0444);
    EXPECT_EQ(ZipArchive::getFileAttributes(dir / "t/dir/f") & 0xff, 0x01u);
    EXPECT_EQ(ZipArchive::computeCRCFromFile(dir / "t"), 0ul);
    EXPECT_FALSE(ZipArchive::computeCRCFromFile(dir / "t/dir/f").has_value());
    EXPECT_EQ(ZipHelper::extractTopLevel({"a/x", "a/y/z", "b", "a/y/w"}, "a/", false), (Names{"x", "y"}));
    EXPECT_EQ(ZipHelper::extractTopLevel({"a/x", "a/y/z"}, "a", true), (Names{"y"}));
}

TEST(ZipArchive, FilesInTheArchive) {
    TestSupport::TempDir dir;
    {
        ZipArchive zip(dir / "f.zip", Mode::Create, 1);
        ZipArchive::FileInZip plain("notes/plain.txt", &zip);
        EXPECT_EQ(plain.read(nullptr, 0), 0);
        ASSERT_TRUE(plain.open({}, -1, "hello"));
        EXPECT_EQ(plain.getAESVersion(), -1); // a writer's answer whatever was asked
        const std::string big(6 << 20, 'b'); // goes by way of a temporary file
        EXPECT_EQ(plain.write(big.data(), static_cast<unsigned>(big.size())), int(big.size()));
        EXPECT_TRUE(plain.close());
        EXPECT_FALSE(plain.close()); // once
        {
            ZipArchive::FileInZip secret("secret.bin", &zip);
            ASSERT_TRUE(secret.open("pass word", -1, ""));
            secret.write("classified", 10);
        } // closed by its destructor
        EXPECT_TRUE(zip.createDirectoryInZip("folder"));
    }
    ZipArchive reader(dir / "f.zip", Mode::Read, 1);
    auto plain = reader.openFile("notes/plain.txt");
    ASSERT_TRUE(plain && plain->open());
    EXPECT_EQ(plain->getTesselAdditionalComment(), "hello");
    EXPECT_EQ(plain->readAll(), std::string(6 << 20, 'b'));
    EXPECT_TRUE(plain->eof());
    EXPECT_EQ(plain->tell(false), 6u << 20);
    EXPECT_TRUE(plain->isUnix() && plain->isFile() && !plain->isDir());

    auto secret = reader.openFile("secret.bin");
    EXPECT_GT(secret->getAESVersion(), 0);
    EXPECT_EQ(secret->maxPasswordLength(), 128u);
    EXPECT_FALSE(secret->open("wrong"));
    ASSERT_TRUE(secret->open("pass word"));
    char text[16] = {};
    EXPECT_EQ(secret->read(text, sizeof text), 10);
    EXPECT_EQ(std::string(text, 10), "classified");
    EXPECT_FALSE(reader.extractDataFromZip("secret.bin").has_value()); // no password
    reader.setPassword("pass word");
    EXPECT_EQ(reader.extractDataFromZip("secret.bin"), "classified");

    EXPECT_FALSE(reader.openFile("folder/")->open()); // a folder has no data
    EXPECT_EQ(ZipArchive::FileInZip::maxPasswordLength(1), 128u);
    EXPECT_TRUE(plain->seek(2));
    EXPECT_FALSE(plain->seek(99));
}

TEST(ZipArchive, ExtractionWritesBytesAndRights) {
    TestSupport::TempDir dir;
    dir.write("src/run.sh", "#!/bin/sh\n");
    dir.write("src/data/values.bin", std::string(100000, '\x07'));
    dir.mkdir("src/empty");
    ::chmod((dir / "src/run.sh").c_str(), 0751);
    {
        ZipArchive zip(dir / "x.zip", Mode::Create, 1);
        zip.setDefaultCompressionLevel(0);
        ASSERT_TRUE(zip.addToZip(dir / "src", true, false));
    }
    ZipArchive reader(dir / "x.zip", Mode::Read, 1);
    const auto written = reader.extractFromZip("src", dir / "out", true, false);
    EXPECT_EQ(written.size(), 5u);
    EXPECT_EQ(File::readWholeFile(dir / "out/src/data/values.bin", true), std::string(100000, '\x07'));
    EXPECT_EQ(File::getPosixFilePermissions(dir / "out/src/run.sh", true).value(), 0751u);
    EXPECT_TRUE(fs::is_directory(dir / "out/src/empty"));
    EXPECT_EQ(reader.getUnzippedSize(true, false), 100010u);
    EXPECT_EQ(reader.getUnzippedSize("src/data", true, false), 100000u);

    // Only the direct contents without the first flag; a filter leaves entries out.
    const auto flat = reader.extractFromZipAs("src", dir / "flat", false, false,
                                              [](const std::string& name) { return name != "src/run.sh"; });
    EXPECT_TRUE(fs::is_directory(dir / "flat/data"));
    EXPECT_FALSE(fs::exists(dir / "flat/data/values.bin"));
    EXPECT_FALSE(fs::exists(dir / "flat/run.sh"));

    EXPECT_TRUE(reader.extractFileFromZip("src/run.sh", dir / "single.sh"));
    EXPECT_FALSE(reader.extractFileFromZip("src/missing", dir / "none"));
    dir.write("target-file");
    try {
        reader.extractFromZip("src", dir / "target-file", true, false);
        FAIL();
    } catch (const std::runtime_error& e) {
        EXPECT_STREQ(e.what(), "Zip Extract Failure : Target is not a directory");
    }
    dir.mkdir("occupied");
    EXPECT_THROW(reader.extractFileFromZip("src/run.sh", dir / "occupied"), std::runtime_error);
}

TEST(ZipArchive, StoppedAddsKeepWhatWasWritten) {
    TestSupport::TempDir dir;
    dir.write("src/a.bin", std::string(100000, 'a'));
    dir.write("src/b.bin", std::string(100000, 'b'));
    dir.write("src/c.bin", std::string(100000, 'c'));
    // Entries encrypted on the way are kept the same way.
    for (const std::string password : {"", "secret"}) {
        SCOPED_TRACE("password '" + password + "'");
        const std::string archive = dir / ("p" + password + ".zip");
        {
            ZipArchive zip(archive, Mode::Create, 1);
            zip.setPassword(password);
            // Stops inside the second file.
            int file = 0;
            std::uint64_t last = 0;
            const bool added = zip.addToZip(dir / "src", true, false, {}, [&](std::uint64_t done, std::uint64_t total) {
                EXPECT_LE(done, total);
                if (done <= last)
                    ++file;
                last = done;
                return !(file >= 1 && done > 20000);
            });
            EXPECT_FALSE(added);
        }
        ZipArchive reader(archive, Mode::Read, 1);
        reader.setPassword(password);
        EXPECT_EQ(reader.allEntries(true, true), (Names{"src/", "src/a.bin"}));
        EXPECT_EQ(reader.extractDataFromZip("src/a.bin"), std::string(100000, 'a')); // whole
        const auto info = reader.getFileInfo("src/a.bin");
        ASSERT_TRUE(info.has_value());
        EXPECT_EQ(info->aesVersion > 0, !password.empty());
    }

    // A file that cannot be read ends the add with the reason; what came before stays.
    dir.write("bad/1.txt", "one");
    fs::create_symlink(dir / "nowhere", dir / "bad/2.txt");
    {
        ZipArchive zip(dir / "bad.zip", Mode::Create, 1);
        try {
            zip.addToZip(dir / "bad", true, false);
            FAIL() << "a dangling link cannot be read";
        } catch (const std::runtime_error& e) {
            EXPECT_EQ(std::string(e.what()), "Failed to open for Reading : " + dir / "bad/2.txt");
        }
    }
    EXPECT_EQ(ZipArchive(dir / "bad.zip", Mode::Read, 1).allEntries(true, true), (Names{"bad/", "bad/1.txt"}));
}
