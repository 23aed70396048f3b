// Archives made to do harm: extraction must refuse them and write nothing
// outside its target.

#include <FileSystem/files/File.h>
#include <FileSystem/zip/ZipArchive.h>

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <zip.h>

using namespace FileSystem;
namespace fs = std::filesystem;

namespace {

struct Entry {
    std::string name;
    std::string data;
    std::uint32_t unixMode = 0100644; ///< 0120777 makes a link whose target is the data
};

/// Writes an archive with exactly these names, as a hostile tool might.
void makeArchive(const std::string& path, const std::vector<Entry>& entries, bool store = false) {
    int error = 0;
    zip_t* archive = zip_open(path.c_str(), ZIP_CREATE | ZIP_TRUNCATE, &error);
    ASSERT_NE(archive, nullptr);
    for (const Entry& entry : entries) {
        zip_source_t* source = zip_source_buffer(archive, entry.data.data(), entry.data.size(), 0);
        const zip_int64_t index = zip_file_add(archive, entry.name.c_str(), source, ZIP_FL_ENC_RAW);
        ASSERT_GE(index, 0) << entry.name;
        zip_file_set_external_attributes(archive, static_cast<zip_uint64_t>(index), 0, ZIP_OPSYS_UNIX,
                                          entry.unixMode << 16);
        if (store)
            zip_set_file_compression(archive, static_cast<zip_uint64_t>(index), ZIP_CM_STORE, 0);
    }
    ASSERT_EQ(zip_close(archive), 0);
}

void expectRefused(const ZipArchive& archive, const std::string& target, bool restoreLinks) {
    try {
        archive.extractFromZip("", target, true, restoreLinks);
        ADD_FAILURE() << "the archive was extracted";
    } catch (const std::runtime_error& e) {
        EXPECT_EQ(std::string(e.what()).rfind("Zip Extract Failure : ", 0), 0u) << e.what();
    }
}

std::size_t countFiles(const std::string& folder) {
    std::size_t count = 0;
    for (auto it = fs::recursive_directory_iterator(folder); it != fs::recursive_directory_iterator(); ++it)
        ++count;
    return count;
}

} // namespace

TEST(ZipHostile, NamesThatLeaveTheTarget) {
    TestSupport::TempDir dir;
    for (const std::string name : {"../evil.txt", "a/../../evil.txt", "/abs.txt", "C:/drive.txt", "..\\evil.txt",
                                   "ok/../../../evil.txt"}) {
        SCOPED_TRACE(name);
        const std::string archive = dir / "evil.zip";
        makeArchive(archive, {{"first.txt", "1"}, {name, "x"}});
        ZipArchive reader(archive, ZipArchive::OpenMode::Read, 1);
        ASSERT_TRUE(reader.isOpen());
        fs::remove_all(dir / "target");
        expectRefused(reader, dir / "target", false);
        EXPECT_EQ(countFiles(dir.path()), 3u); // evil.zip, target and first.txt: nothing beside them
        EXPECT_FALSE(fs::exists("/abs.txt") && File::readWholeFile("/abs.txt", true) == "x");
    }
    // A ".." that stays inside is harmless.
    makeArchive(dir / "inside.zip", {{"a/../b.txt", "b"}});
    ZipArchive inside(dir / "inside.zip", ZipArchive::OpenMode::Read, 1);
    inside.extractFromZip("", dir / "in", true, false);
    EXPECT_EQ(File::readWholeFile(dir / "in/b.txt", true), "b");
}

TEST(ZipHostile, LinksThatLeadOutside) {
    TestSupport::TempDir dir;
    dir.write("outside/precious", "keep");
    makeArchive(dir / "up.zip", {{"link", "../outside", 0120777}});
    ZipArchive up(dir / "up.zip", ZipArchive::OpenMode::Read, 1);
    expectRefused(up, dir / "t1", true);
    EXPECT_FALSE(fs::exists(dir / "t1/link"));
    // Without restoring links, a link entry is a file that holds the link's text.
    up.extractFromZip("", dir / "t2", true, false);
    EXPECT_FALSE(fs::is_symlink(dir / "t2/link"));
    EXPECT_EQ(File::readWholeFile(dir / "t2/link", true), "../outside");

    makeArchive(dir / "abs.zip", {{"link", "/etc", 0120777}});
    expectRefused(ZipArchive(dir / "abs.zip", ZipArchive::OpenMode::Read, 1), dir / "t3", true);

    // A link that stays inside is made, but nothing is then written through it.
    makeArchive(dir / "through.zip", {{"sub/", "", 040755}, {"link", "sub", 0120777}, {"link/planted.txt", "x"}});
    ZipArchive through(dir / "through.zip", ZipArchive::OpenMode::Read, 1);
    expectRefused(through, dir / "t4", true);
    EXPECT_TRUE(fs::is_symlink(dir / "t4/link"));
    EXPECT_FALSE(fs::exists(dir / "t4/sub/planted.txt"));

    // An existing link in a file's place is replaced, not followed.
    makeArchive(dir / "plain.zip", {{"name.txt", "new"}});
    dir.mkdir("t5");
    fs::create_symlink(dir / "outside/precious", dir / "t5/name.txt");
    ZipArchive plain(dir / "plain.zip", ZipArchive::OpenMode::Read, 1);
    plain.extractFromZip("", dir / "t5", true, false);
    EXPECT_EQ(File::readWholeFile(dir / "outside/precious", true), "keep");
    EXPECT_EQ(File::readWholeFile(dir / "t5/name.txt", true), "new");
}

TEST(ZipHostile, SizesThatLieAndBrokenFiles) {
    TestSupport::TempDir dir;
    const std::string archive = dir / "liar.zip";
    makeArchive(archive, {{"big.txt", std::string(100000, 'z')}}, true);
    // Declare 10 bytes where 100000 are stored, in both headers.
    std::string bytes = File::readWholeFile(archive, true);
    const auto patch = [&](const char* signature, std::size_t offset) {
        const std::size_t at = bytes.find(signature);
        ASSERT_NE(at, std::string::npos);
        const char ten[4] = {10, 0, 0, 0};
        bytes.replace(at + offset, 4, ten, 4);
    };
    patch("PK\x03\x04", 22);
    patch("PK\x01\x02", 24);
    File::dumpToFile(archive, bytes);
    ZipArchive liar(archive, ZipArchive::OpenMode::Read, 1);
    ASSERT_TRUE(liar.isOpen());
    expectRefused(liar, dir / "out", false);
    EXPECT_LE(fs::file_size(dir / "out/big.txt"), 10u);
    EXPECT_FALSE(liar.extractDataFromZip("big.txt").has_value());

    // Garbage and cut archives open as nothing, or as archives that give nothing away.
    File::dumpToFile(dir / "garbage.zip", std::string("PK\x03\x04", 4) + std::string(5000, '\xff'));
    EXPECT_FALSE(ZipArchive(dir / "garbage.zip", ZipArchive::OpenMode::Read, 1).isOpen());
    makeArchive(dir / "whole.zip", {{"a.txt", std::string(50000, 'a')}, {"b.txt", "b"}});
    const std::string whole = File::readWholeFile(dir / "whole.zip", true);
    File::dumpToFile(dir / "cut.zip", whole.substr(0, whole.size() / 2));
    ZipArchive cut(dir / "cut.zip", ZipArchive::OpenMode::Read, 1);
    EXPECT_TRUE(cut.allEntries(true, true).empty());
}

TEST(ZipHostile, TamperedEncryptedEntries) {
    TestSupport::TempDir dir;
    const std::string data(5000, 'q');
    File::dumpToFile(dir / "plain.txt", data);
    // 7-Zip writes AES entries without checksum: the HMAC alone guards them.
    const std::string command = "cd '" + dir.path() + "' && 7z a -tzip -mem=AES256 -mm=Copy -psecret aes.zip plain.txt > /dev/null";
    ASSERT_EQ(std::system(command.c_str()), 0);
    std::string bytes = File::readWholeFile(dir / "aes.zip", true);
    ZipArchive intact(dir / "aes.zip", ZipArchive::OpenMode::Read, 1);
    intact.setPassword("secret");
    EXPECT_EQ(intact.extractDataFromZip("plain.txt"), data);
    intact.setPassword("wrong");
    EXPECT_FALSE(intact.extractDataFromZip("plain.txt").has_value());

    const std::size_t at = bytes.find("plain.txt") + 9 + 11 + 18 + 100; // inside the encrypted data
    bytes[at] = static_cast<char>(bytes[at] ^ 0x20);
    File::dumpToFile(dir / "tampered.zip", bytes);
    ZipArchive tampered(dir / "tampered.zip", ZipArchive::OpenMode::Read, 1);
    tampered.setPassword("secret");
    EXPECT_FALSE(tampered.extractDataFromZip("plain.txt").has_value());
    expectRefused(tampered, dir / "out", false);
}
