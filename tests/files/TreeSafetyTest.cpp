// Tree operations under hostile conditions: names swapped for links while a
// walk runs, trees deeper than the system's path limit, items that fail.

#include <FileSystem/files/Directory.h>
#include <FileSystem/files/DirectoryListing.h>
#include <FileSystem/files/File.h>
#include <FileSystem/paths/Path.h>

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace FileSystem;
namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

namespace {

/// A child process that swaps the folder `place` for a link to `outside` and
/// back again, as fast as it can, until it is stopped.
class LinkSwapper {
public:
    LinkSwapper(const std::string& place, const std::string& outside) {
        const std::string hold = place + ".hold";
        const pid_t parent = ::getpid();
        m_pid = ::fork();
        if (m_pid != 0)
            return;
        // Only system calls from here on: the child of a test process.
        while (::getppid() == parent) {
            if (::rename(place.c_str(), hold.c_str()) != 0)
                continue;
            if (::symlink(outside.c_str(), place.c_str()) == 0) {
                volatile int spin = 0;
                while (spin < 20000)
                    spin = spin + 1;
                ::unlink(place.c_str());
            }
            ::rename(hold.c_str(), place.c_str());
        }
        ::_exit(0);
    }
    ~LinkSwapper() { stop(); }
    LinkSwapper(const LinkSwapper&) = delete;
    LinkSwapper& operator=(const LinkSwapper&) = delete;

    void stop() {
        if (m_pid > 0) {
            ::kill(m_pid, SIGKILL);
            ::waitpid(m_pid, nullptr, 0);
            m_pid = -1;
        }
    }

private:
    pid_t m_pid = -1;
};

/// A folder outside the tree with files that must stay as they are.
struct Outside {
    Outside(const TestSupport::TempDir& dir, int files, const std::string& name = "outside") : path(dir.mkdir(name)) {
        for (int i = 0; i < files; ++i)
            dir.write(name + "/f" + std::to_string(i), "outside");
        ::chmod(path.c_str(), 0700);
        for (int i = 0; i < files; ++i)
            ::chmod((path + "/f" + std::to_string(i)).c_str(), 0600);
    }
    /// Every file there, as it was: same names, content and rights.
    ::testing::AssertionResult untouched(int files) const {
        int count = 0;
        for (const auto& entry : fs::directory_iterator(path)) {
            ++count;
            const std::string name = entry.path().string();
            if (File::readWholeFile(name, true) != "outside")
                return ::testing::AssertionFailure() << name << " was changed";
            if ((File::getPosixFilePermissions(name, true).value() & 0777u) != 0600u)
                return ::testing::AssertionFailure() << name << " got other rights";
        }
        if (count != files)
            return ::testing::AssertionFailure() << count << " files instead of " << files;
        if ((File::getPosixFilePermissions(path, true).value() & 0777u) != 0700u)
            return ::testing::AssertionFailure() << "the folder got other rights";
        return ::testing::AssertionSuccess();
    }
    std::string path;
};

void fill(const TestSupport::TempDir& dir, const std::string& folder, int files, const std::string& content) {
    for (int i = 0; i < files; ++i)
        dir.write(folder + "/f" + std::to_string(i), content);
}

/// Makes `levels` nested folders named `name` below `root`, with a file of
/// `size` bytes at the bottom, by descriptors: the whole path is too long for
/// the system.
void makeDeep(const std::string& root, int levels, const std::string& name, std::size_t size) {
    int fd = ::open(root.c_str(), O_RDONLY | O_DIRECTORY);
    for (int i = 0; i < levels && fd >= 0; ++i) {
        ::mkdirat(fd, name.c_str(), 0755);
        const int next = ::openat(fd, name.c_str(), O_RDONLY | O_DIRECTORY);
        ::close(fd);
        fd = next;
    }
    ASSERT_GE(fd, 0);
    const int file = ::openat(fd, "bottom.dat", O_WRONLY | O_CREAT | O_TRUNC, 0644);
    const std::string content(size, 'd');
    EXPECT_EQ(::write(file, content.data(), content.size()), ssize_t(size));
    ::close(file);
    ::close(fd);
}

/// The rights of the file at the bottom of such a tree; -1 when it is not there.
int deepMode(const std::string& root, int levels, const std::string& name) {
    int fd = ::open(root.c_str(), O_RDONLY | O_DIRECTORY);
    for (int i = 0; i < levels && fd >= 0; ++i) {
        const int next = ::openat(fd, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW);
        ::close(fd);
        fd = next;
    }
    struct stat st {};
    const bool found = fd >= 0 && ::fstatat(fd, "bottom.dat", &st, AT_SYMLINK_NOFOLLOW) == 0;
    if (fd >= 0)
        ::close(fd);
    return found ? int(st.st_mode & 07777) : -1;
}

/// Removes what a failed test may leave: the standard removal stops at the path limit.
void removeDeep(const std::string& path) {
    if (File::exists(path))
        std::system(("rm -rf '" + path + "'").c_str());
}

long peakMemoryKiB() {
    struct rusage usage {};
    ::getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

} // namespace

TEST(TreeSafety, RemovalRacedByALinkSwapNeverLeavesTheTree) {
    TestSupport::TempDir dir;
    constexpr int kOutside = 200;
    const Outside outside(dir, kOutside);
    const std::string tree = dir / "tree";
    int rounds = 0;
    for (const auto end = Clock::now() + std::chrono::seconds(2); Clock::now() < end; ++rounds) {
        fill(dir, "tree/sub", 50, "inside");
        fill(dir, "tree/sub/deeper", 20, "inside");
        fill(dir, "tree/other", 20, "inside");
        LinkSwapper racer(tree + "/sub", outside.path);
        const bool removed = Directory::remove(tree, true);
        racer.stop();
        ASSERT_TRUE(outside.untouched(kOutside)) << "round " << rounds;
        if (removed) {
            EXPECT_FALSE(File::exists(tree)); // true only when it is gone
        }
        fs::remove_all(tree);
    }
    EXPECT_GT(rounds, 2);
}

TEST(TreeSafety, CopyMoveAndRightsRacedByALinkSwapNeverTouchOutside) {
    TestSupport::TempDir dir;
    constexpr int kOutside = 30;
    const Outside outside(dir, kOutside), outside2(dir, kOutside, "outside2"), outside3(dir, kOutside, "outside3");
    fill(dir, "src/sub", kOutside, "copied");
    fill(dir, "src/sub/deeper", 5, "copied");
    dir.mkdir("dest/sub");
    {
        LinkSwapper racer(dir / "dest/sub", outside.path);
        for (const auto end = Clock::now() + std::chrono::seconds(1); Clock::now() < end;)
            Directory::copyDirectory(dir / "src", dir / "dest", true, false);
    }
    EXPECT_TRUE(outside.untouched(kOutside));

    fill(dir, "tree/sub", kOutside, "rights");
    fill(dir, "tree/sub/deeper", 5, "rights");
    {
        LinkSwapper racer(dir / "tree/sub", outside2.path);
        for (const auto end = Clock::now() + std::chrono::seconds(1); Clock::now() < end;)
            Directory::setReadWritePermissions(dir / "tree", true);
    }
    EXPECT_TRUE(outside2.untouched(kOutside));

    // A move removes what it moved: never anything over there.
    for (const auto end = Clock::now() + std::chrono::milliseconds(1500); Clock::now() < end;) {
        fill(dir, "from/sub", kOutside, "moved");
        fill(dir, "from/sub/deeper", 5, "moved");
        LinkSwapper racer(dir / "from/sub", outside3.path);
        Directory::moveDirectory(dir / "from", dir / "to");
        racer.stop();
        ASSERT_TRUE(outside3.untouched(kOutside));
        fs::remove_all(dir / "from");
    }
}

TEST(TreeSafety, CopyFileDecidesBeforeItReplaces) {
    TestSupport::TempDir dir;
    // The system reports a size of 0 for this file, yet it has content: the copy
    // cannot be shown to be whole, so it fails and the destination stays.
    const std::string dest = dir.write("dest", "precious");
    EXPECT_FALSE(File::copyFile("/proc/self/status", dest, false));
    EXPECT_EQ(File::readWholeFile(dest, true), "precious");
    EXPECT_EQ(DirectoryListing(dir.path()).size(), 3u); // ".", ".." and dest: nothing left over

    // Work in progress stands under a name that says what it is, short enough
    // for the longest names.
    const std::string source = dir.write("source", std::string(20 << 20, 's'));
    for (const std::string& name : {std::string("copy"), std::string(255, 'n')}) {
        std::vector<std::string> seen;
        ASSERT_TRUE(File::copyFile(source, dir / name, false, false, [&](std::uint64_t, std::uint64_t) {
            for (const auto& entry : fs::directory_iterator(dir.path())) {
                const std::string entryName = entry.path().filename().string();
                if (entryName != "source" && entryName != "dest")
                    seen.push_back(entryName);
            }
            return true;
        }));
        ASSERT_FALSE(seen.empty());
        const std::string partial = seen.front();
        const std::string head = "." + name.substr(0, 20);
        EXPECT_EQ(partial.compare(0, head.size(), head), 0) << partial;
        EXPECT_NE(partial.find(".fs-partial-"), std::string::npos) << partial;
        EXPECT_LE(partial.size(), 255u);
        EXPECT_EQ(File::getFileSize(dir / name), 20u << 20);
        fs::remove(dir / name);
    }
}

TEST(TreeSafety, CopyAndMoveReportFailedItemsAndKeepWhatDidNotArrive) {
    TestSupport::TempDir dir;
    dir.write("src/a", "A");
    dir.write("src/b", "B");
    dir.write("src/sub/c", "C");
    dir.write("src/blocked/d", "D");
    dir.write("dest/a/in-the-way"); // a folder where the file a would go
    dir.write("dest/blocked", "a file where a folder would go");

    EXPECT_FALSE(Directory::copyDirectory(dir / "src", dir / "dest", true, false));
    EXPECT_EQ(File::readWholeFile(dir / "dest/b", true), "B"); // the other items were copied
    EXPECT_EQ(File::readWholeFile(dir / "dest/sub/c", true), "C");

    EXPECT_FALSE(Directory::moveDirectory(dir / "src", dir / "dest"));
    EXPECT_EQ(File::readWholeFile(dir / "src/a", true), "A"); // did not arrive: stays
    EXPECT_EQ(File::readWholeFile(dir / "src/blocked/d", true), "D");
    EXPECT_FALSE(File::exists(dir / "src/b")); // arrived: moved
    EXPECT_FALSE(File::exists(dir / "src/sub"));
    EXPECT_EQ(File::readWholeFile(dir / "dest/sub/c", true), "C");

    fs::remove_all(dir / "dest/a");
    fs::remove(dir / "dest/blocked");
    EXPECT_TRUE(Directory::moveDirectory(dir / "src", dir / "dest"));
    EXPECT_FALSE(File::exists(dir / "src"));
    EXPECT_EQ(File::readWholeFile(dir / "dest/blocked/d", true), "D");
}

TEST(TreeSafety, FailuresOfItemsThatCannotBeReadOrChanged) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "needs root to make files of another owner";
    TestSupport::TempDir dir;
    constexpr uid_t kNobody = 65534;
    dir.write("t/mine", "m");
    dir.write("t/theirs", "t");   // stays root's: cannot be changed by the walker
    dir.write("t/locked/hidden"); // root's folder, closed to others: cannot be read
    ::chmod((dir / "t/locked").c_str(), 0700);
    dir.write("t/closed/inner"); // the walker's own, but it may not read them until it changes them
    const std::string dest = dir.mkdir("dest");
    for (const std::string& path :
         {dir.path(), dir / "t", dir / "t/mine", dir / "t/closed", dir / "t/closed/inner", dest})
        ASSERT_EQ(::chown(path.c_str(), kNobody, kNobody), 0);
    ::chmod((dir / "t/closed/inner").c_str(), 0200);
    ::chmod((dir / "t/closed").c_str(), 0300);

    const pid_t child = ::fork();
    if (child == 0) {
        int failures = 0;
        if (::setgid(kNobody) != 0 || ::setuid(kNobody) != 0)
            ::_exit(100);
        if (Directory::setReadWritePermissions(dir / "t", true))
            failures |= 1;
        if (fileCrawler(dir / "t", false, {}, {}, {}, {}, false, true))
            failures |= 2;
        if (Directory::copyDirectory(dir / "t", dest, true, false))
            failures |= 4;
        if (!File::exists(dest + "/mine"))
            failures |= 8;
        ::_exit(failures);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status) & 1, 0) << "the rights walk reported success";
    EXPECT_EQ(WEXITSTATUS(status) & 2, 0) << "the crawl reported success past an unreadable folder";
    EXPECT_EQ(WEXITSTATUS(status) & 4, 0) << "the copy reported success past an unreadable folder";
    EXPECT_EQ(WEXITSTATUS(status) & 8, 0) << "the readable file was not copied";
    EXPECT_NE(WEXITSTATUS(status), 100);
    EXPECT_EQ(File::getPosixFilePermissions(dir / "t/mine", true).value() & 0666u, 0666u);
    EXPECT_EQ(File::getPosixFilePermissions(dir / "t/closed", true).value() & 0777u, 0777u);
    EXPECT_EQ(File::getPosixFilePermissions(dir / "t/closed/inner", true).value() & 0666u, 0666u);
}

TEST(TreeSafety, TreesDeeperThanThePathLimit) {
    TestSupport::TempDir dir;
    const std::string name(200, 'n');
    constexpr int kLevels = 25; // about 5000 bytes of path
    const std::string tree = dir.mkdir("deep");
    makeDeep(tree, kLevels, name, 1000);
    ::chmod(tree.c_str(), 0700);

    std::vector<std::string> files;
    EXPECT_TRUE(fileCrawler(tree, false, [&](const std::string& path) { return files.push_back(path), true; }, {}, {},
                            {}, false, true));
    ASSERT_EQ(files.size(), 1u);
    EXPECT_EQ(Path::getLastToken(files[0]), "bottom.dat");
    EXPECT_GT(files[0].size(), 5000u);
    EXPECT_EQ(Directory::GetSize(tree, true), 1000u);

    EXPECT_TRUE(Directory::copyDirectory(tree, dir / "copy", true, false));
    EXPECT_EQ(deepMode(dir / "copy", kLevels, name), 0644);
    EXPECT_TRUE(Directory::setReadWritePermissions(tree, true));
    EXPECT_EQ(deepMode(tree, kLevels, name), 0666);
    EXPECT_TRUE(Directory::moveDirectory(dir / "copy", dir / "moved"));
    EXPECT_EQ(deepMode(dir / "moved", kLevels, name), 0644);

    EXPECT_TRUE(Directory::remove(tree, true));
    EXPECT_FALSE(File::exists(tree));
    EXPECT_TRUE(Directory::remove(dir / "moved", true));
    removeDeep(tree);
    removeDeep(dir / "copy");
    removeDeep(dir / "moved");
}

TEST(TreeSafety, DeepWalksClimbBackPastLinks) {
    // Deeper than the folders a walk keeps open, once by name and once through
    // a link: the walk climbs back to each folder it left, and goes on after it.
    TestSupport::TempDir dir;
    const std::string tree = dir.mkdir("tree");
    dir.mkdir("tree/real");
    makeDeep(tree + "/real", 70, "d", 10);
    dir.write("tree/a/b/z.txt");
    dir.write("tree/a/zz.txt");
    dir.write("tree/zzz.txt");
    fs::create_directory_symlink("../../real/d", tree + "/a/b/link");

    std::vector<std::string> files;
    const auto collect = [&](const std::string& path) { return files.push_back(path.substr(tree.size() + 1)), true; };
    EXPECT_TRUE(fileCrawler(tree, false, collect, {}, {}, {}, false, true));
    std::string chain;
    for (int i = 0; i < 69; ++i)
        chain += "d/";
    EXPECT_EQ(files, (std::vector<std::string>{"a/b/link/" + chain + "bottom.dat", "a/b/z.txt", "a/zz.txt",
                                               "real/d/" + chain + "bottom.dat", "zzz.txt"}));
    EXPECT_EQ(Directory::GetSize(tree, true), 23u);
    EXPECT_TRUE(Directory::remove(tree, true));
}

TEST(TreeSafety, CreateWithDotsAndVeryLongPaths) {
    TestSupport::TempDir dir;
    EXPECT_TRUE(Directory::create(dir / "x/.", false, true));
    EXPECT_TRUE(Directory::exists(dir / "x"));
    EXPECT_TRUE(Directory::create(dir / "x/./y/../z/.", false, true));
    EXPECT_TRUE(Directory::exists(dir / "x/z"));
    EXPECT_FALSE(File::exists(dir / "x/y"));
    EXPECT_FALSE(Directory::create(dir / "x/.", true, true)); // exists
    EXPECT_TRUE(Directory::create(dir / "x/./", false, true));

    // Beyond the system's path limit, level by level.
    std::string deep = dir / "long";
    for (int i = 0; i < 30; ++i)
        deep += "/" + std::string(200, 'n');
    EXPECT_TRUE(Directory::create(deep, false, true));
    EXPECT_TRUE(Directory::create(deep, false, true));
    EXPECT_FALSE(Directory::create(deep, true, true));
    EXPECT_TRUE(Directory::remove(dir / "long", true));

    // 16384 levels below a file, a path of 32 KiB: memory grows with the path, not its square.
    std::string below = dir.write("plain");
    for (int i = 0; i < 16384; ++i)
        below += "/d";
    const long memoryBefore = peakMemoryKiB();
    EXPECT_FALSE(Directory::create(below, false, true));
    EXPECT_LT(peakMemoryKiB() - memoryBefore, 16 * 1024);
    removeDeep(dir / "long");
}
