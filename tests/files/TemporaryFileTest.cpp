#include <FileSystem/files/TemporaryFile.h>

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <regex>
#include <set>
#include <sys/stat.h>
#include <thread>

using namespace FileSystem;
namespace fs = std::filesystem;

namespace {

unsigned modeOf(const std::string& path) {
    struct stat st {};
    return ::lstat(path.c_str(), &st) == 0 ? (st.st_mode & 07777) : 0xFFFFu;
}

std::string messageOf(const std::function<void()>& action) {
    try {
        action();
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "(nothing raised)";
}

} // namespace

TEST(TemporaryNames, FilesAndFoldersArePrivateNamedAndRemoved) {
    TestSupport::TempDir dir;
    const std::string outside = dir.write("outside/keep.txt", "keep");
    std::string filePath;
    std::string folderPath;
    {
        TemporaryFile file(dir.path(), "Run");
        ASSERT_TRUE(file);
        filePath = file.getPath();
        EXPECT_TRUE(fs::is_regular_file(filePath));
        EXPECT_EQ(modeOf(filePath), 0600u);
        EXPECT_TRUE(std::regex_match(filePath, std::regex(".*/[^/]+-Run-[A-Z0-9]{8}"))) << filePath;

        TemporaryDirectory folder(dir.path(), "Work");
        folderPath = folder.getPath();
        EXPECT_TRUE(fs::is_directory(folderPath));
        EXPECT_EQ(modeOf(folderPath), 0700u);
        // What the folder holds goes with it; a link inside is removed as a link.
        std::filesystem::create_directories(folderPath + "/a/b");
        std::ofstream(folderPath + "/a/b/data") << "x";
        fs::create_directory_symlink(dir / "outside", folderPath + "/a/link");
    }
    EXPECT_FALSE(fs::exists(filePath));
    EXPECT_FALSE(fs::exists(folderPath));
    EXPECT_EQ(TestSupport::run({"cat", outside}).output, "keep");

    // The default forms use the temporary folder and the library's tags.
    {
        TemporaryFile file;
        TemporaryDirectory folder;
        EXPECT_NE(file.getPath().find("-TesselTempFile-"), std::string::npos);
        EXPECT_NE(folder.getPath().find("-TesselTempDir-"), std::string::npos);
        filePath = file.getPath();
    }
    EXPECT_FALSE(fs::exists(filePath));

    // A folder of the caller's that is missing is made.
    { TemporaryFile nested(dir / "new/deeper", "x"); EXPECT_TRUE(fs::exists(nested.getPath())); }
}

TEST(TemporaryNames, FlagsMovesAndFailures) {
    TestSupport::TempDir dir;
    std::string kept;
    {
        TemporaryFile file(dir.path(), "k");
        file.setDeleteOnDestruction(false);
        EXPECT_FALSE(file.isDeleteOnDestruction());
        kept = file.getPath();
    }
    EXPECT_TRUE(fs::exists(kept));

    std::string moved;
    {
        TemporaryDirectory first(dir.path(), "m");
        moved = first.getPath();
        TemporaryDirectory second(std::move(first));
        EXPECT_FALSE(first);
        EXPECT_EQ(second.getPath(), moved);
        TemporaryDirectory third(dir.path(), "t");
        const std::string replaced = third.getPath();
        third = std::move(second); // the name third owned goes now
        EXPECT_FALSE(fs::exists(replaced));
        EXPECT_TRUE(fs::exists(moved));
    }
    EXPECT_FALSE(fs::exists(moved));

    // Only a name, nothing made.
    {
        TemporaryFile name(dir.path(), "n", false);
        EXPECT_TRUE(name);
        EXPECT_FALSE(fs::exists(name.getPath()));
    }
    const std::string expected = "Failed to Generate a non existent temporary path";
    EXPECT_EQ(messageOf([&] { TemporaryFile(dir.path(), "z", true, 0); }), expected);
    EXPECT_EQ(messageOf([&] { TemporaryDirectory(dir.path(), "z", false, 0); }), expected);
    EXPECT_EQ(messageOf([&] { TemporaryFile(std::string(), std::string("z"), false); }), expected);
}

TEST(TemporaryNames, ThreadsThatDrawAtOnceGetDistinctFiles) {
    TestSupport::TempDir dir;
    std::vector<std::vector<TemporaryFile>> made(4);
    std::vector<std::thread> threads;
    for (auto& list : made)
        threads.emplace_back([&list, &dir] {
            for (int i = 0; i < 50; ++i)
                list.emplace_back(dir.path(), "race");
        });
    for (auto& thread : threads)
        thread.join();
    std::set<std::string> names;
    for (const auto& list : made)
        for (const auto& file : list) {
            names.insert(file.getPath());
            EXPECT_TRUE(fs::is_regular_file(file.getPath()));
        }
    EXPECT_EQ(names.size(), 200u);
}

TEST(FileRenameAndRestore, MovesAsideAndPutsBack) {
    TestSupport::TempDir dir;
    const std::string path = dir.write("model.dat", "original");
    {
        FileRenameAndRestore guard(path);
        EXPECT_FALSE(fs::exists(path));
        ASSERT_TRUE(guard.getTemporaryPath());
        EXPECT_EQ(*guard.getTemporaryPath(), dir / "_model.dat");
        FileRenameAndRestore moved(std::move(guard));
        EXPECT_FALSE(guard.getTemporaryPath());
    }
    EXPECT_EQ(TestSupport::run({"cat", path}).output, "original");
    EXPECT_FALSE(fs::exists(dir / "_model.dat"));

    // A file made at the name in the meantime wins; the moved one stays aside.
    {
        FileRenameAndRestore guard(path);
        std::ofstream(path) << "new";
    }
    EXPECT_EQ(TestSupport::run({"cat", path}).output, "new");
    EXPECT_EQ(TestSupport::run({"cat", dir / "_model.dat"}).output, "original");

    // "_model.dat" is taken: nothing is moved, and nobody's file is moved back
    // over the original at the end, even when the original went away.
    {
        FileRenameAndRestore guard(path);
        EXPECT_FALSE(guard.getTemporaryPath());
        EXPECT_TRUE(fs::exists(path));
        fs::remove(path);
    }
    EXPECT_FALSE(fs::exists(path));
    EXPECT_EQ(TestSupport::run({"cat", dir / "_model.dat"}).output, "original");

    // A missing path and a folder are left alone at both ends.
    const std::string folder = dir.mkdir("folder");
    {
        FileRenameAndRestore missing(dir / "missing");
        FileRenameAndRestore onFolder(folder);
        EXPECT_FALSE(missing.getTemporaryPath());
        EXPECT_FALSE(onFolder.getTemporaryPath());
    }
    EXPECT_TRUE(fs::is_directory(folder));
    EXPECT_FALSE(fs::exists(dir / "_folder"));
}

// A temporary folder that lives until the process ends is removed after the
// thread's own objects are gone; a failure then must not touch them (the
// sanitizer build reports it otherwise).
TEST(TemporaryNames, RemovedAtProcessExitAfterThreadObjects) {
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        static TemporaryDirectory folder;
        std::error_code ignored;
        fs::remove(folder.getPath(), ignored); // the removal at exit then fails
        std::exit(0);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
}
