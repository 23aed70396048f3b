#include <FileSystem/files/File.h>
#include <FileSystem/files/FileFormats.h>
#include <FileSystem/files/FileMetaData.h>
#include <FileSystem/storage/FileSystem2Local.h>
#include <FileSystem/files/detail/VersionRecord.h>

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <sstream>
#include <sys/stat.h>

using namespace FileSystem;

namespace {

// A version record with every key in US English (UTF-16) and one key in
// German (Western European), listed in the translation table in that order.
const char* const kResourceScript = R"(1 VERSIONINFO
FILEVERSION 1,2,3,4
PRODUCTVERSION 2025,0,1,65535
BEGIN
  BLOCK "StringFileInfo"
  BEGIN
    BLOCK "040904b0"
    BEGIN
      VALUE "Comments", "A comment"
      VALUE "CompanyName", "Example Company"
      VALUE "FileDescription", "Probe program"
      VALUE "Version", "1.2.3.4"
      VALUE "InternalName", "probe"
      VALUE "LegalCopyright", "Copyright 2025"
      VALUE "LegalTrademarks", "None"
      VALUE "OriginalFilename", "probe.exe"
      VALUE "ProductName", "Probe"
      VALUE "ProductVersion", "2025.0.1"
      VALUE "PrivateBuild", "private"
      VALUE "SpecialBuild", "special"
    END
    BLOCK "040704E4"
    BEGIN
      VALUE "CompanyName", "Beispielfirma"
      VALUE "FileVersion", "not read: the key is Version"
    END
  END
  BLOCK "VarFileInfo"
  BEGIN
    VALUE "Translation", 0x0409, 1200, 0x0407, 1252
  END
END
)";

/// Compiles a Windows program with the MinGW-w64 tools (which the test setup
/// installs), with the version record above when `withRecord`.
std::string buildExecutable(const TestSupport::TempDir& dir, bool withRecord) {
    const std::string source = dir.write("probe.c", "int start(void) { return 0; }\n");
    const std::string script = dir.write("probe.rc", kResourceScript);
    const std::string object = dir / "probe.o";
    const std::string exe = dir / (withRecord ? "probe.exe" : "plain.exe");
    if (withRecord) {
        const std::string windres = "x86_64-w64-mingw32-windres " + script + " -O coff -o " + object;
        EXPECT_EQ(std::system(windres.c_str()), 0) << windres;
    }
    const std::string gcc = "x86_64-w64-mingw32-gcc -s -nostdlib -e start -o " + exe + " " + source +
                            (withRecord ? " " + object : std::string());
    EXPECT_EQ(std::system(gcc.c_str()), 0) << gcc;
    return exe;
}

detail::VersionRecord recordOf(const std::string& bytes) {
    std::istringstream in(bytes);
    return detail::readVersionRecord(in);
}

const LanguageCodePage kEnglish{0x0409, 1200};
const LanguageCodePage kGerman{0x0407, 1252};

} // namespace

TEST(FileFormats, FilterText) {
    FileFormats formats;
    EXPECT_TRUE(formats.empty());
    EXPECT_EQ(formats.getFormats(true), "");

    formats.addFormat("Text", "*.txt");
    EXPECT_FALSE(formats.empty());
    EXPECT_EQ(formats.getFormats(true), "Text (*.txt)"); // one format: no "All Formats"

    // Names in byte order; a pattern contained in the list's text is dropped
    // ("*.c" after "*.cpp"), the reverse order keeps both.
    formats.addFormats("Source", {"*.cpp", "*.c", "*.h"});
    formats.addFormats("C", {"*.c", "*.cpp"});
    EXPECT_EQ(formats.getFormats(false), "C (*.c *.cpp);;Source (*.cpp *.h);;Text (*.txt)");
    EXPECT_EQ(formats.getFormats(true), "All Formats (*.c *.cpp *.h *.txt);;C (*.c *.cpp);;Source (*.cpp *.h);;Text (*.txt)");

    // Excluded names leave both their entry and the "All" list; the count that
    // decides about "All" is that of every format.
    EXPECT_EQ(formats.getFormats(true, {"C", "Source"}), "All Formats (*.txt);;Text (*.txt)");
    EXPECT_EQ(formats.getFormats(true, {"Text", "Source"}), "All Formats (*.c *.cpp);;C (*.c *.cpp)");
    EXPECT_EQ(formats.getFormats(true, {"Text"}), "All Formats (*.c *.cpp *.h);;C (*.c *.cpp);;Source (*.cpp *.h)");
}

TEST(FileFormats, PatternsAndLookup) {
    FileFormats formats;
    formats.addFormats("Archive", {"*.tar.gz", "*.zip"});
    formats.addFormats("Any", {"*"});
    formats.addFormats("Table", {"*.csv"});
    formats.addFormats("Zip", {"*.zip"});

    std::set<std::string> all;
    formats.getAllFormats(all, false);
    EXPECT_EQ(all, (std::set<std::string>{"*", "*.csv", "*.tar.gz", "*.zip"}));
    std::set<std::string> extensions{"kept"};
    formats.getAllFormats(extensions, true);
    EXPECT_EQ(extensions, (std::set<std::string>{"*", "csv", "kept", "tar.gz", "zip"}));

    EXPECT_EQ(formats.lookupFormatName(".CSV"), "Table");
    EXPECT_EQ(formats.lookupFormatName(".zip"), "Archive"); // first in name order
    EXPECT_EQ(formats.lookupFormatName(".gz"), "");         // whole patterns only
    EXPECT_EQ(formats.lookupFormatName(".xyz"), "");
}

TEST(FileMetaData, ReadsTheRecordOfAWindowsProgram) {
    TestSupport::TempDir dir;
    const std::string program = buildExecutable(dir, true);
    const FileMetaData meta(program);
    ASSERT_TRUE(meta.hasMetaData());
    // The local storage reads the same record; a storage without a reader answers nothing.
    const auto stored = FileSystem2Local().fileMetaData(program);
    ASSERT_TRUE(stored.has_value());
    EXPECT_EQ(stored->getFileVersion(), meta.getFileVersion());
    ASSERT_TRUE(FileSystem2Local().fileMetaData("/proc/self/exe").has_value());
    EXPECT_FALSE(FileSystem2Local().fileMetaData("/proc/self/exe")->hasMetaData());
    EXPECT_EQ(meta.getFileVersion(), (Utilities::Version<4, int>{1, 2, 3, 4}));
    EXPECT_EQ(meta.getProductVersion(), (Utilities::Version<4, int>{2025, 0, 1, 65535}));
    EXPECT_EQ(meta.getLanguageCodePages(), (std::set<LanguageCodePage>{kGerman, kEnglish}));
    EXPECT_EQ(*meta.getLanguageCodePages().begin(), kGerman); // ordered by language

    const std::map<MetaDataType, std::string> expected = {
        {MetaDataType::Comments, "A comment"},       {MetaDataType::CompanyName, "Example Company"},
        {MetaDataType::FileDescription, "Probe program"}, {MetaDataType::Version, "1.2.3.4"},
        {MetaDataType::InternalName, "probe"},       {MetaDataType::LegalCopyright, "Copyright 2025"},
        {MetaDataType::LegalTrademarks, "None"},     {MetaDataType::OriginalFilename, "probe.exe"},
        {MetaDataType::ProductName, "Probe"},        {MetaDataType::ProductVersion, "2025.0.1"},
        {MetaDataType::PrivateBuild, "private"},     {MetaDataType::SpecialBuild, "special"}};
    ASSERT_EQ(expected.size(), std::size_t(kMetaDataTypeCount));
    for (const auto& [type, text] : expected)
        EXPECT_EQ(meta.getMetaData(kEnglish, type), text) << FileMetaData::getKey(type);

    // The German table (its key in upper-case digits) has one known key.
    EXPECT_EQ(meta.getMetaData(kGerman, MetaDataType::CompanyName), "Beispielfirma");
    EXPECT_EQ(meta.getMetaData(kGerman, MetaDataType::Version), "");
    EXPECT_EQ(meta.getMetaData(LanguageCodePage{0x0409, 1252}, MetaDataType::CompanyName), "");
    const std::map<LanguageCodePage, std::string> companies{{kGerman, "Beispielfirma"}, {kEnglish, "Example Company"}};
    EXPECT_EQ(meta.getMetaData(MetaDataType::CompanyName), companies);
    EXPECT_EQ(meta.getMetaDataAllCodes(MetaDataType::CompanyName), companies);
    EXPECT_EQ(meta.getMetaData(MetaDataType::SpecialBuild), (std::map<LanguageCodePage, std::string>{{kEnglish, "special"}}));
}

TEST(FileMetaData, FilesWithoutARecord) {
    TestSupport::TempDir dir;
    ASSERT_EQ(::mkfifo((dir / "pipe.exe").c_str(), 0600), 0); // must not block
    const std::string candidates[] = {
        dir / "pipe.exe",
        buildExecutable(dir, false), // a Windows program without version resource
        "/proc/self/exe",            // this test program (ELF)
        dir.write("empty.exe", ""),
        dir.write("text.dll", "MZ but nothing else"),
        dir / "missing.exe",
        dir.path(), // a folder
        "/dev/zero",
    };
    for (const std::string& path : candidates) {
        const FileMetaData meta(path);
        EXPECT_FALSE(meta.hasMetaData()) << path;
        EXPECT_TRUE(meta.getFileVersion().isEmpty() && meta.getProductVersion().isEmpty()) << path;
        EXPECT_TRUE(meta.getLanguageCodePages().empty()) << path;
        EXPECT_TRUE(meta.getMetaData(MetaDataType::CompanyName).empty()) << path;
    }
}

TEST(FileMetaData, DamagedImagesGiveNoRecord) {
    TestSupport::TempDir dir;
    const std::string image = File::readWholeFile(buildExecutable(dir, true), true);
    ASSERT_TRUE(recordOf(image).found);

    // The whole image must be there: every truncation fails.
    for (std::size_t length = 0; length < image.size(); length += length < 1024 ? 1 : 7)
        ASSERT_FALSE(recordOf(image.substr(0, length)).found) << length;

    // The marks that say what the bytes are: MZ, PE, the record's key and the
    // signature of its fixed part.
    const auto keyAt = image.find(std::string("V\0S\0_\0V\0E\0R", 11));
    const auto signatureAt = image.find("\xBD\x04\xEF\xFE");
    ASSERT_NE(keyAt, std::string::npos);
    ASSERT_NE(signatureAt, std::string::npos);
    const unsigned char peAt = static_cast<unsigned char>(image[0x3C]);
    for (std::size_t at : {std::size_t(0), std::size_t(peAt), keyAt, signatureAt}) {
        std::string damaged = image;
        damaged[at] = char(damaged[at] ^ 0x01); // not a case change: keys ignore case
        EXPECT_FALSE(recordOf(damaged).found) << at;
    }

    // Any byte changed anywhere: no crash, no read out of bounds (the
    // sanitizer build checks), and the versions stay within 16-bit parts.
    for (std::size_t at = 0; at < image.size(); ++at) {
        for (unsigned char mask : {0x01, 0x80, 0xFF}) {
            std::string damaged = image;
            damaged[at] = char(damaged[at] ^ mask);
            const detail::VersionRecord record = recordOf(damaged);
            if (record.found)
                for (int part : record.fileVersion.parts())
                    ASSERT_TRUE(part >= 0 && part <= 0xFFFF);
            else
                ASSERT_TRUE(record.fileVersion.isEmpty() && record.strings.empty());
        }
    }
}
