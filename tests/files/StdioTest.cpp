#include <FileSystem/files/FileCloser.h>
#include <FileSystem/files/StreamUtilities.h>

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>

using namespace FileSystem;
namespace Flags = FileSystem::PosixOpenFlags;

TEST(Stdio, OpenModesTranslate) {
    EXPECT_EQ(toPosixMode("w+b", false), Flags::Create | Flags::Truncate | Flags::WriteOnly | Flags::ReadWrite | Flags::Binary);
    EXPECT_EQ(toPosixMode("w+b", true), Flags::Create | Flags::Truncate | Flags::WriteOnly | Flags::ReadWrite);
    EXPECT_EQ(toPosixMode("at", false), Flags::Create | Flags::Append | Flags::WriteOnly | Flags::Text);
    EXPECT_EQ(toPosixMode("w", false), Flags::Create | Flags::Truncate | Flags::WriteOnly);
    // After r the flags are 0, so +, b and t make the whole result 0; so do unknown letters.
    EXPECT_EQ(toPosixMode("rb", false), 0);
    EXPECT_EQ(toPosixMode("r+", false), 0);
    EXPECT_EQ(toPosixMode("wx", false), 0);
    EXPECT_EQ(toPosixMode("", false), 0);

    EXPECT_EQ(fromPosixMode(0, false), "r");
    EXPECT_EQ(fromPosixMode(toPosixMode("w+b", false), false), "wb+");
    EXPECT_EQ(fromPosixMode(toPosixMode("w+b", false), true), "w+");
    EXPECT_EQ(fromPosixMode(toPosixMode("at", false), false), "at");
    EXPECT_EQ(fromPosixMode(Flags::ReadWrite, false), "r+");
    EXPECT_NE(Flags::Text & Flags::Binary, Flags::Text);
}

TEST(Stdio, CStreamsOnPathsOfTheLibrary) {
    TestSupport::TempDir dir;
    const std::string path = dir / "Größe überprüfen.bin";
    FilePointer out = FileSystem::fopen(path, "wb");
    ASSERT_TRUE(out);
    const char bytes[] = "a\0b\r\n";
    EXPECT_EQ(FileSystem::fwrite(bytes, 1, sizeof bytes, out), sizeof bytes);
    EXPECT_EQ(FileSystem::ftell(out), std::int64_t(sizeof bytes));
    EXPECT_EQ(FileSystem::fclose(out), 0);
    EXPECT_FALSE(out);

    FilePointer in = FileSystem::fsopen(dir / "x/../Größe überprüfen.bin", "rbt", ShareFlag::DenyReadWrite);
    ASSERT_TRUE(in);
    EXPECT_EQ(FileSystem::fseek(in, 2, SEEK_SET), 0);
    char back[4] = {};
    EXPECT_EQ(FileSystem::fread(back, 1, 4, in), 4u);
    EXPECT_EQ(std::string(back, 4), std::string("b\r\n\0", 4));
    EXPECT_EQ(FileSystem::fread(back, 1, 4, in), 0u);
    EXPECT_NE(FileSystem::feof(in), 0);
    EXPECT_EQ(FileSystem::ferror(in), 0);

    EXPECT_FALSE(FileSystem::fopen(dir / "missing", "rb"));
    EXPECT_FALSE(FileSystem::fopen("", "rb"));
    EXPECT_FALSE(FileSystem::fopen(path + std::string("\0x", 2), "wb")); // a NUL names nothing
    EXPECT_FALSE(std::filesystem::exists(dir / "x"));
}

TEST(Stdio, StandardStreamsAreNeverClosed) {
    {
        FilePointer out = getStdOut();
        FilePointer err = getStdErr();
        EXPECT_EQ(FileSystem::fclose(err), 0);
    }
    EXPECT_EQ(fcloseraw(stdout), 0);
    EXPECT_EQ(fcloseraw(nullptr), 0);
    EXPECT_EQ(std::fflush(stdout), 0); // still open
    EXPECT_NE(::fcntl(fileno(stderr), F_GETFD), -1);
}

TEST(Stdio, PosixOpenUsesFlagsAndPermissions) {
    TestSupport::TempDir dir;
    const std::string path = dir / "created.dat";
    const mode_t oldMask = ::umask(022);
    FilePointer file = posixOpenBinary(path, toPosixMode("w+", false),
                                       PosixFilePermissionFlag::OwnerRead | PosixFilePermissionFlag::OwnerWrite |
                                           PosixFilePermissionFlag::GroupRead);
    ::umask(oldMask);
    ASSERT_TRUE(file);
    EXPECT_EQ(FileSystem::fwrite("data", 1, 4, file), 4u);
    EXPECT_EQ(FileSystem::fseek(file, 0, SEEK_SET), 0); // read back through the same stream: "w+" reads too
    char back[4] = {};
    EXPECT_EQ(FileSystem::fread(back, 1, 4, file), 4u);
    EXPECT_EQ(std::string(back, 4), "data");
    FileSystem::fclose(file);
    struct stat st {};
    ASSERT_EQ(::stat(path.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0640u);

    EXPECT_TRUE(posixOpen(path, Flags::ReadOnly | Flags::Text, 0));
    EXPECT_FALSE(posixOpen(path, Flags::WriteOnly | Flags::Create | Flags::Exclusive, 0644));
    EXPECT_FALSE(posixOpen(dir / "missing", Flags::ReadOnly, 0));
}

TEST(Stdio, FileStreams) {
    TestSupport::TempDir dir;
    TestSupport::CurrentDirectoryGuard guard;
    std::filesystem::current_path(dir.path());
    {
        KVofstreamBinary out("Δ data.bin");
        ASSERT_TRUE(out.good());
        out << std::string("x\0\r\ny", 5);
    }
    KVifstreamBinary in(dir / "Δ data.bin");
    ASSERT_TRUE(in.is_open());
    std::string content((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    EXPECT_EQ(content, std::string("x\0\r\ny", 5));

    KVofstream append(dir / "Δ data.bin", std::ios::app);
    append << "!";
    append.close();
    KVifstream text(dir / "Δ data.bin");
    KVifstream moved(std::move(text));
    std::string all((std::istreambuf_iterator<char>(moved)), std::istreambuf_iterator<char>());
    EXPECT_EQ(all.back(), '!');

    KVifstream empty("");
    EXPECT_TRUE(empty.fail());
    KVifstream missing(dir / "missing");
    EXPECT_TRUE(missing.fail());
    KVofstream intoMissingFolder(dir / "no/such/folder/f");
    EXPECT_TRUE(intoMissingFolder.fail());
}
