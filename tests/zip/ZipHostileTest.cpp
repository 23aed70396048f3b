// Archives made to do harm: extraction must refuse them and write nothing
// outside its target.

#include <FileSystem/files/File.h>
#include <FileSystem/zip/ZipArchive.h>

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
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

/// Sets a 32-bit field of the first local header and of the first central
/// header, so that both agree on the lie.
void patchBothHeaders(std::string& bytes, std::size_t localOffset, std::size_t centralOffset, std::uint32_t value) {
    const char field[4] = {static_cast<char>(value), static_cast<char>(value >> 8), static_cast<char>(value >> 16),
                           static_cast<char>(value >> 24)};
    const std::size_t local = bytes.find("PK\x03\x04");
    const std::size_t central = bytes.find("PK\x01\x02");
    ASSERT_NE(local, std::string::npos);
    ASSERT_NE(central, std::string::npos);
    bytes.replace(local + localOffset, 4, field, 4);
    bytes.replace(central + centralOffset, 4, field, 4);
}

/// Names below a folder that an extraction in progress would have used.
std::size_t partialFiles(const std::string& folder) {
    std::size_t count = 0;
    for (const auto& item : fs::recursive_directory_iterator(folder))
        count += item.path().filename().string().find(".fs-partial-") != std::string::npos;
    return count;
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

TEST(ZipHostile, WritersNeverMakeNamesThatLeaveTheTarget) {
    TestSupport::TempDir dir;
    const std::string source = dir.write("src/a.txt", "a");
    const std::string archive = dir / "out.zip";
    {
        ZipArchive zip(archive, ZipArchive::OpenMode::Create, 1);
        for (const std::string name : {"../evil.txt", "a/../../evil.txt", "C:/drive.txt", "..\\evil.txt"}) {
            SCOPED_TRACE(name);
            EXPECT_FALSE(zip.addToZipAs(source, name, false, false));
            EXPECT_FALSE(zip.createDirectoryInZip(name));
            ZipArchive::FileInZip entry(name, &zip);
            EXPECT_FALSE(entry.open());
        }
        // One bad destination in a list makes the result false; the others are added.
        EXPECT_FALSE(zip.addToZipAs({{source, "../x.txt", false, {}, false}, {source, "kept.txt", false, {}, false}}));
        // A leading slash is dropped.
        EXPECT_TRUE(zip.addToZipAs(source, "/rooted.txt", false, false));
        zip.close();
    }
    ZipArchive reader(archive, ZipArchive::OpenMode::Read, 1);
    std::vector<std::string> names = reader.listEntries(true);
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (std::vector<std::string>{"kept.txt", "rooted.txt"}));
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
    EXPECT_FALSE(fs::exists(dir / "out/big.txt")); // a failed entry leaves nothing under its name
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

TEST(ZipHostile, TopLevelDotNamesStayInTheTarget) {
    TestSupport::TempDir dir;
    makeArchive(dir / "dots.zip", {{"../evil.txt", "x"}, {"./fine.txt", "f"}});
    ZipArchive reader(dir / "dots.zip", ZipArchive::OpenMode::Read, 1);
    ASSERT_TRUE(reader.isOpen());
    dir.mkdir("target");
    // A caller that extracts every top-level name of an archive asks for "..".
    for (int form = 0; form < 3; ++form) {
        SCOPED_TRACE(form);
        try {
            if (form == 0)
                reader.extractFromZip("..", dir / "target", true, false);
            else if (form == 1)
                reader.extractFromZip(std::vector<ZipArchive::ExtractFromZipInfo>{{"..", dir / "target", true, false, {}}}, false);
            else
                reader.extractFromZip("../", dir / "target", true, false);
            ADD_FAILURE() << "extracted";
        } catch (const std::runtime_error& e) {
            EXPECT_EQ(std::string(e.what()).rfind("Zip Extract Failure : ", 0), 0u) << e.what();
        }
        EXPECT_FALSE(fs::exists(dir / "evil.txt"));
        EXPECT_FALSE(fs::exists(dir / "target/evil.txt"));
    }
    // "." is the target itself.
    reader.extractFromZip(".", dir / "target", true, false);
    EXPECT_EQ(File::readWholeFile(dir / "target/fine.txt", true), "f");
}

TEST(ZipHostile, LinksResolvedThroughLinksOnDisk) {
    TestSupport::TempDir dir;
    dir.write("victim.txt", "secret");
    fs::permissions(dir / "victim.txt", fs::perms::owner_read | fs::perms::owner_write);
    // a/b/L leads to the target itself, which is allowed; M is inside as text
    // but leads through L to the target's parent.
    makeArchive(dir / "chain.zip", {{"a/b/L", "../..", 0120777}, {"M", "a/b/L/..", 0120777}});
    ZipArchive chain(dir / "chain.zip", ZipArchive::OpenMode::Read, 1);
    expectRefused(chain, dir / "t1", true);
    EXPECT_TRUE(fs::is_symlink(dir / "t1/a/b/L"));
    EXPECT_FALSE(fs::exists(fs::symlink_status(dir / "t1/M")));

    // A folder with open rights, then a link in its place that leads outside:
    // the rights must never reach the file over there.
    makeArchive(dir / "rights.zip",
                {{"a/b/L", "../..", 0120777}, {"d/", "", 040777}, {"d", "a/b/L/../victim.txt", 0120777}});
    ZipArchive rights(dir / "rights.zip", ZipArchive::OpenMode::Read, 1);
    expectRefused(rights, dir / "t2", true);
    EXPECT_EQ(fs::status(dir / "victim.txt").permissions() & fs::perms::all,
              fs::perms::owner_read | fs::perms::owner_write);
    EXPECT_EQ(File::readWholeFile(dir / "victim.txt", true), "secret");

    // Deep chains of links that stay inside are made.
    makeArchive(dir / "inside.zip", {{"x/y/z/", "", 040755}, {"x/y/L", "z", 0120777}, {"N", "x/y/L/../z", 0120777}});
    ZipArchive inside(dir / "inside.zip", ZipArchive::OpenMode::Read, 1);
    inside.extractFromZip("", dir / "t3", true, true);
    EXPECT_EQ(fs::read_symlink(dir / "t3/N").string(), "x/y/L/../z");
    EXPECT_TRUE(fs::is_directory(dir / "t3/N"));

    // A link planted in the target beforehand is not followed by a folder's rights.
    dir.mkdir("t4");
    fs::create_symlink(dir / "victim.txt", dir / "t4/d");
    makeArchive(dir / "folder.zip", {{"d/", "", 040777}});
    ZipArchive folder(dir / "folder.zip", ZipArchive::OpenMode::Read, 1);
    expectRefused(folder, dir / "t4", false);
    EXPECT_EQ(fs::status(dir / "victim.txt").permissions() & fs::perms::all,
              fs::perms::owner_read | fs::perms::owner_write);
}

TEST(ZipHostile, EntriesAreCheckedBeforeTheyCount) {
    TestSupport::TempDir dir;
    // A stored entry of exactly 32 KiB with a wrong checksum: a reader that
    // stops at the declared size must still see the checksum fail.
    const std::string data(32768, 'c');
    makeArchive(dir / "crc.zip", {{"file.txt", data}}, true);
    std::string bytes = File::readWholeFile(dir / "crc.zip", true);
    patchBothHeaders(bytes, 14, 16, 0x12345678);
    File::dumpToFile(dir / "crc.zip", bytes);
    ZipArchive crc(dir / "crc.zip", ZipArchive::OpenMode::Read, 1);
    ASSERT_TRUE(crc.isOpen());
    EXPECT_FALSE(crc.extractDataFromZip("file.txt").has_value());
    auto entry = crc.openFile("file.txt");
    ASSERT_TRUE(entry && entry->open());
    EXPECT_TRUE(entry->readAll().empty());
    // A failed entry leaves nothing under its name, and a file that stood there keeps its content.
    dir.write("out/file.txt", "old content");
    expectRefused(crc, dir / "out", false);
    EXPECT_EQ(File::readWholeFile(dir / "out/file.txt", true), "old content");
    EXPECT_THROW(crc.extractFileFromZip("file.txt", dir / "single.txt"), std::runtime_error);
    EXPECT_FALSE(fs::exists(dir / "single.txt"));
    EXPECT_EQ(partialFiles(dir.path()), 0u);

    // The same for an AES entry of a multiple of 16 KiB whose data was changed.
    File::dumpToFile(dir / "plain.txt", data);
    const std::string command =
        "cd '" + dir.path() + "' && 7z a -tzip -mem=AES256 -mm=Copy -psecret aes.zip plain.txt > /dev/null";
    ASSERT_EQ(std::system(command.c_str()), 0);
    bytes = File::readWholeFile(dir / "aes.zip", true);
    const std::size_t at = bytes.find("plain.txt") + 9 + 11 + 18 + 20000;
    bytes[at] = static_cast<char>(bytes[at] ^ 0x01);
    File::dumpToFile(dir / "aes.zip", bytes);
    ZipArchive aes(dir / "aes.zip", ZipArchive::OpenMode::Read, 1);
    aes.setPassword("secret");
    auto secret = aes.openFile("plain.txt");
    ASSERT_TRUE(secret && secret->open());
    EXPECT_TRUE(secret->readAll().empty());
    EXPECT_FALSE(aes.extractDataFromZip("plain.txt").has_value());
    dir.write("aesout/plain.txt", "old content");
    expectRefused(aes, dir / "aesout", false);
    EXPECT_EQ(File::readWholeFile(dir / "aesout/plain.txt", true), "old content");
    EXPECT_EQ(partialFiles(dir.path()), 0u);

    // Damaged deflate data: the reader fails instead of handing out what came.
    std::string text;
    for (unsigned i = 0, x = 12345; i < 400000; ++i, x = x * 1103515245u + 12345u)
        text += static_cast<char>('a' + (x >> 16) % 26);
    makeArchive(dir / "cut.zip", {{"text.txt", text}});
    bytes = File::readWholeFile(dir / "cut.zip", true);
    const std::size_t local = bytes.find("PK\x03\x04");
    const auto field16 = [&](std::size_t at) {
        return static_cast<std::size_t>(static_cast<unsigned char>(bytes[at]) |
                                        (static_cast<unsigned char>(bytes[at + 1]) << 8));
    };
    const std::size_t dataStart = local + 30 + field16(local + 26) + field16(local + 28);
    for (std::size_t i = dataStart + 100000; i < dataStart + 100040; ++i)
        bytes[i] = static_cast<char>(~bytes[i]);
    File::dumpToFile(dir / "cut.zip", bytes);
    ZipArchive cut(dir / "cut.zip", ZipArchive::OpenMode::Read, 1);
    EXPECT_FALSE(cut.extractDataFromZip("text.txt").has_value());
    expectRefused(cut, dir / "cutout", false);
    EXPECT_FALSE(fs::exists(dir / "cutout/text.txt"));
}
