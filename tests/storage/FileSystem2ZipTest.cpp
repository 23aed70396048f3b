// A zip archive as a storage: what a reader answers about entries, what a
// writer takes from the local disk, and the operations it does not have.

#include <FileSystem/storage/FileSystem2Local.h>
#include <FileSystem/storage/FileSystem2Zip.h>

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <cstring>
#include <functional>
#include <set>
#include <stdexcept>
#include <zip.h>

using namespace FileSystem;
using Type = StorageSystemFileTypeFlag;
using Open = StorageSystemFileOpenModeFlag;
using Rights = PosixFilePermissions;

namespace {

/// A Unix file (0640), folder and link, a Windows file and folder.
std::string makeArchive(const TestSupport::TempDir& dir) {
    int error = 0;
    zip_t* archive = zip_open((dir / "store.zip").c_str(), ZIP_CREATE | ZIP_TRUNCATE, &error);
    const auto add = [&](const char* name, const char* data, zip_uint8_t host, zip_uint32_t attributes) {
        const zip_int64_t index = *name && name[std::strlen(name) - 1] == '/'
                                      ? zip_dir_add(archive, name, 0)
                                      : zip_file_add(archive, name, zip_source_buffer(archive, data, std::strlen(data), 0), 0);
        zip_file_set_external_attributes(archive, static_cast<zip_uint64_t>(index), 0, host, attributes);
    };
    add("unix.txt", "twelve bytes", ZIP_OPSYS_UNIX, 0100640u << 16);
    add("dir/", "", ZIP_OPSYS_UNIX, 040755u << 16 | 0x10);
    add("dir/link", "../unix.txt", ZIP_OPSYS_UNIX, 0120777u << 16);
    add("win.txt", "dos", ZIP_OPSYS_DOS, 0x20);
    add("windir/", "", ZIP_OPSYS_DOS, 0x10);
    EXPECT_EQ(zip_close(archive), 0);
    return dir / "store.zip";
}

bool throwsNotImplemented(const std::function<void()>& call) {
    try {
        call();
    } catch (const std::logic_error& e) {
        return std::string(e.what()) == "Not implemented";
    }
    return false;
}

} // namespace

TEST(FileSystem2Zip, AReaderAnswersKindsSizesAndRights) {
    TestSupport::TempDir dir;
    const FileSystem2Zip zip(makeArchive(dir), Open::Read, std::nullopt);
    EXPECT_TRUE(zip.isValid() && zip.isReadable() && !zip.isWriteable());
    EXPECT_EQ(zip.getType(), StorageSystemType::Zip);
    EXPECT_EQ(zip.fileType("unix.txt", false), StorageSystemFileType(Type::File));
    EXPECT_EQ(zip.fileType("win.txt", false), StorageSystemFileType(Type::File));
    // A Unix folder also passes the archive's link test, but is a folder only.
    EXPECT_EQ(zip.fileType("dir", false), StorageSystemFileType(Type::Directory));
    EXPECT_EQ(zip.fileType("windir/", false), StorageSystemFileType(Type::Directory));
    EXPECT_EQ(zip.fileType("dir/link", false), Type::File | Type::SymbolicLink);
    EXPECT_EQ(zip.fileType("missing", false), std::nullopt);
    EXPECT_TRUE(zip.directoryExists("dir", true)); // no link, so no link target is asked for
    EXPECT_FALSE(zip.directoryExists("unix.txt", false));
    for (const char* id : {"unix.txt", "dir", "win.txt"})
        EXPECT_FALSE(zip.fileExists(id, false)) << id;
    EXPECT_EQ(zip.fileSize("unix.txt", false), 12u);
    EXPECT_EQ(zip.fileSize("missing", false), std::nullopt);
    EXPECT_EQ(zip.fileGetPermissions("unix.txt", false), Rights(0640));
    EXPECT_EQ(zip.fileGetPermissions("dir", false), Rights(0755));
    EXPECT_EQ(zip.fileGetPermissions("win.txt", false), Rights(0666));
    EXPECT_EQ(zip.fileOpen("unix.txt", Open::Read, Rights(0666)), nullptr);
    const FileSystem2Local local;
    dir.write("in.txt", "in");
    EXPECT_FALSE(zip.fileCopyAs(local, dir / "in.txt", "in.txt", {}, {}, std::nullopt)); // a reader takes nothing
}

TEST(FileSystem2Zip, AWriterTakesLocalFilesAndFolders) {
    TestSupport::TempDir dir;
    const std::string archive = dir / "out.zip";
    dir.write("data.txt", "some data");
    const FileSystem2Local local;
    {
        const FileSystem2Zip zip(archive, Open::Write, ZipArchive::NoCompression);
        EXPECT_TRUE(zip.isWriteable() && !zip.isReadable());
        EXPECT_EQ(zip.fileCopy(local, dir / "data.txt", "docs", "copy.txt", {}, {}, std::nullopt), "docs/copy.txt");
        EXPECT_TRUE(zip.directoryCreateAs("empty", false, Rights(0700)));
        EXPECT_FALSE(zip.fileSymbolicLinkCreateAs("copy.txt", "link"));
        EXPECT_FALSE(zip.fileCopyAs(local, dir / "missing.txt", "missing.txt", {}, {}, std::nullopt));
        EXPECT_FALSE(zip.fileCopyAs(zip, "docs/copy.txt", "again.txt", {}, {}, std::nullopt)); // not from the disk
    } // written when the storage goes
    {
        const FileSystem2Zip zip(archive, Open::Write | Open::Append, std::nullopt);
        EXPECT_TRUE(zip.fileCopyAs(local, dir / "data.txt", "more.txt", {}, {}, std::nullopt));
    }
    ZipArchive reader(archive, ZipArchive::OpenMode::Read, 1);
    EXPECT_EQ(reader.entries(true, true), (std::set<std::string>{"docs/", "docs/copy.txt", "empty/", "more.txt"}));
    EXPECT_EQ(reader.extractDataFromZip("docs/copy.txt"), "some data");
}

TEST(FileSystem2Zip, WhatItDoesNotHaveThrowsAndMovesTakeTheArchive) {
    TestSupport::TempDir dir;
    const std::string archive = makeArchive(dir);
    FileSystem2Zip zip(archive, Open::Read, std::nullopt);
    const FileSystem2Local local;
    const auto wildcard = StorageSystemDirectoryFilterType::Wildcard;
    for (const std::function<void()>& call : std::vector<std::function<void()>>{
             [&] { zip.fileRemove("unix.txt"); }, [&] { zip.fileRename("unix.txt", "x"); },
             [&] { zip.fileMove("unix.txt", "dir"); }, [&] { zip.fileSetPermissions("unix.txt", Rights(0600)); },
             [&] { zip.fileGetModTime("unix.txt", false); }, [&] { zip.fileSetModTime("unix.txt", {}); },
             [&] { zip.directoryRemove("dir", true); }, [&] { zip.directoryList("dir", "", wildcard); },
             [&] { zip.fileInfo("unix.txt", false); }, [&] { zip.fileStorageInfo("unix.txt", false); },
             [&] { zip.fileSymbolicLinkTarget("dir/link"); }, [&] { zip.directorySymbolicLinkTarget("dir"); },
             [&] { zip.fileType("dir/link", true); }, // following a link needs its target
             [&] { local.fileCopyAs(zip, "unix.txt", dir / "out.txt", {}, {}, std::nullopt); }})
        EXPECT_TRUE(throwsNotImplemented(call));
    EXPECT_FALSE(std::filesystem::exists(dir / "out.txt"));

    EXPECT_FALSE(FileSystem2Zip(archive, Open::Append, std::nullopt).isValid()); // neither read nor write
    FileSystem2Zip moved(std::move(zip));
    EXPECT_FALSE(zip.isValid()); // NOLINT(bugprone-use-after-move): the archive went along
    EXPECT_EQ(moved.fileSize("win.txt", false), 3u);
}
