// Why an operation failed: the record of the last failing system call.

#include <FileSystem/files/Directory.h>
#include <FileSystem/files/File.h>
#include <FileSystem/utilities/LastError.h>
#include <FileSystem/zip/ZipArchive.h>

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <thread>

using namespace FileSystem;

TEST(LastError, NamesTheCallThePathAndTheReason) {
    TestSupport::TempDir dir;
    clearLastError();
    EXPECT_FALSE(lastError());
    EXPECT_EQ(lastError().toString(), "no failure recorded");

    EXPECT_FALSE(File::copyFile(dir / "missing.txt", dir / "copy.txt", false, false));
    SystemError error = lastError();
    EXPECT_EQ(error.code, ENOENT) << error.toString();
    EXPECT_NE(error.path.find("missing.txt"), std::string::npos) << error.toString();
    EXPECT_FALSE(error.operation.empty());
    EXPECT_NE(error.toString().find("No such file or directory"), std::string::npos) << error.toString();

    // A file where a folder is asked for.
    dir.write("plain", "x");
    clearLastError();
    EXPECT_FALSE(Directory::create(dir / "plain/sub", false, true));
    EXPECT_EQ(lastError().code, ENOTDIR) << lastError().toString();

    // An archive in a folder that does not exist.
    clearLastError();
    EXPECT_FALSE(ZipArchive(dir / "nowhere/a.zip", ZipArchive::OpenMode::Create, 1).isOpen());
    EXPECT_EQ(lastError().code, ENOENT) << lastError().toString();
    EXPECT_NE(lastError().path.find("nowhere"), std::string::npos) << lastError().toString();

    // The record is the thread's own.
    SystemError seen;
    std::thread([&seen] { seen = lastError(); }).join();
    EXPECT_FALSE(seen);
    EXPECT_TRUE(lastError());
}

TEST(LastError, ExtractionNamesTheCause) {
    TestSupport::TempDir dir;
    dir.write("secret.txt", std::string(1000, 's'));
    {
        ZipArchive zip(dir / "locked.zip", ZipArchive::OpenMode::Create, 1);
        zip.setPassword("right");
        ASSERT_TRUE(zip.addToZipAs(dir / "secret.txt", "secret.txt", false, false));
    }
    const auto failure = [&](const std::string& password) {
        ZipArchive reader(dir / "locked.zip", ZipArchive::OpenMode::Read, 1);
        reader.setPassword(password);
        try {
            reader.extractFromZip("", dir / "out", true, false);
        } catch (const std::runtime_error& e) {
            return std::string(e.what());
        }
        return std::string();
    };
    EXPECT_NE(failure("").find("no password given"), std::string::npos) << failure("");
    EXPECT_NE(failure("wrong").find("wrong password"), std::string::npos) << failure("wrong");
    EXPECT_TRUE(failure("right").empty());
}
