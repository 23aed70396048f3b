#include <FileSystem/files/DirectoryListing.h>

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <filesystem>

using namespace FileSystem;
using Names = std::vector<std::string>;

namespace {

/// Records the calls of a crawl as "F path", "E path" and "L path".
struct Recorder {
    Names calls;
    FileCrawlerFunction file() {
        return [this](const std::string& p) { return record("F " + p); };
    }
    FileCrawlerFunction enter() {
        return [this](const std::string& p) { return record("E " + p); };
    }
    FileCrawlerFunction leave() {
        return [this](const std::string& p) { return record("L " + p); };
    }
    bool record(const std::string& call) {
        calls.push_back(call);
        return true;
    }
};

Names listed(const DirectoryListing& listing) { return Names(listing.begin(), listing.end()); }

} // namespace

TEST(DirectoryListing, FoldersPatternsAndFiles) {
    TestSupport::TempDir dir;
    dir.mkdir("empty");
    dir.write("d/b.txt");
    dir.write("d/a.txt");
    dir.write("d/c.dat");
    dir.write("d/.hidden.txt");

    EXPECT_EQ(DirectoryListing(dir / "empty").size(), 2u); // "." and ".."
    EXPECT_TRUE(DirectoryListing(dir / "missing").empty());
    EXPECT_TRUE(DirectoryListing("").empty());

    DirectoryListing all(dir / "d/");
    EXPECT_EQ(listed(all), (Names{".", "..", ".hidden.txt", "a.txt", "b.txt", "c.dat"}));
    EXPECT_EQ(all.path(), dir / "d/*");
    EXPECT_EQ(all.parentPath(), dir / "d/");
    all.clearInvalidFiles();
    EXPECT_EQ(all.size(), 4u);
    EXPECT_TRUE(all.containsEntry("c.dat"));

    DirectoryListing texts(dir / "d/*.txt");
    EXPECT_EQ(listed(texts), (Names{".hidden.txt", "a.txt", "b.txt"}));
    EXPECT_EQ(texts.parentPath(), dir / "d");
    EXPECT_EQ(listed(DirectoryListing(dir / "d/?.txt")), Names{}); // '?' alone: an exact name
    EXPECT_EQ(listed(DirectoryListing(dir / "d/?.t*")), (Names{"a.txt", "b.txt"}));
    EXPECT_EQ(listed(DirectoryListing(dir / "d/*.TXT")), Names{}); // case matters here
    EXPECT_EQ(listed(DirectoryListing(dir / "d/a.txt")), Names{"a.txt"});

    DirectoryListing moved(std::move(texts));
    EXPECT_EQ(moved.size(), 3u);
}

TEST(DirectoryListing, SearchFilters) {
    const std::regex filter = DirectoryListing::createSearchFilter("a?.txt");
    EXPECT_TRUE(std::regex_match("a.txt", filter));
    EXPECT_TRUE(std::regex_match("ab.txt", filter));
    EXPECT_FALSE(std::regex_match("abc.txt", filter));
    EXPECT_FALSE(std::regex_match("A.TXT", filter));
    EXPECT_TRUE(std::regex_match("x(1)[2]{3}+$|.dat", DirectoryListing::createSearchFilter("x(1)[2]{3}+$|.*")));
    EXPECT_TRUE(std::regex_match("a\\b/c", DirectoryListing::createSearchFilter("a\\b/c")));

    std::set<std::string> names{"run1.log", "run2.log", "run10.log", "notes.txt"};
    DirectoryListing::filterFiles(names, "run?.log");
    EXPECT_EQ(names, (std::set<std::string>{"run1.log", "run2.log"}));
}

TEST(FileCrawler, OrderFiltersAndRoots) {
    TestSupport::TempDir dir;
    dir.write("r/b/y");
    dir.write("r/b/x");
    dir.write("r/a");
    dir.write("r/c/z");
    const std::string root = dir / "r";

    Recorder all;
    EXPECT_TRUE(fileCrawler(root, false, all.file(), all.enter(), all.leave(), {}, false, true));
    EXPECT_EQ(all.calls, (Names{"E " + root, "F " + root + "/a", "E " + root + "/b", "F " + root + "/b/x",
                                "F " + root + "/b/y", "L " + root + "/b", "E " + root + "/c", "F " + root + "/c/z",
                                "L " + root + "/c", "L " + root}));

    Recorder flat;
    EXPECT_TRUE(fileCrawler(root + "/", false, flat.file(), flat.enter(), flat.leave(), {}, false, false));
    EXPECT_EQ(flat.calls, (Names{"E " + root + "/", "F " + root + "/a", "E " + root + "/b", "L " + root + "/b",
                                 "E " + root + "/c", "L " + root + "/c", "L " + root + "/"}));

    Recorder filtered;
    const auto notB = [&](const std::string& p) { return p != root + "/b"; };
    fileCrawler(root, false, filtered.file(), filtered.enter(), filtered.leave(), notB, false, true);
    EXPECT_EQ(filtered.calls.size(), 6u); // b and all below it skipped

    Recorder onFile;
    EXPECT_TRUE(fileCrawler(root + "/a", false, onFile.file(), onFile.enter(), onFile.leave(), {}, false, true));
    EXPECT_EQ(onFile.calls, Names{"F " + root + "/a"});
    EXPECT_TRUE(fileCrawler(root + "/missing", false, onFile.file(), {}, {}, {}, false, true));

    Recorder pattern;
    EXPECT_TRUE(fileCrawler(root + "/*", false, pattern.file(), pattern.enter(), pattern.leave(), {}, true, false));
    EXPECT_EQ(pattern.calls, (Names{"F " + root + "/a", "E " + root + "/b", "L " + root + "/b", "E " + root + "/c",
                                    "L " + root + "/c"})); // no leaving call for the pattern's folder

    // A false goes into the result; with stopOnFalse it also ends the walk.
    int files = 0;
    const auto refuse = [&](const std::string&) { return ++files, false; };
    EXPECT_FALSE(fileCrawler(root, false, refuse, {}, {}, {}, false, true));
    EXPECT_EQ(files, 4);
    files = 0;
    EXPECT_FALSE(fileCrawler(root, true, refuse, {}, {}, {}, false, true));
    EXPECT_EQ(files, 1);
}

TEST(FileCrawler, LinkCyclesEndAndVanishedEntriesPass) {
    TestSupport::TempDir dir;
    dir.write("r/sub/file");
    std::filesystem::create_directory_symlink("..", dir / "r/sub/up");
    std::filesystem::create_directory_symlink(dir / "r", dir / "r/self");
    Recorder walk;
    EXPECT_TRUE(fileCrawler(dir / "r", false, walk.file(), walk.enter(), walk.leave(), {}, false, true));
    // Links to folders are entered as folders, but not once more round the cycle.
    EXPECT_EQ(walk.calls, (Names{"E " + dir / "r", "E " + dir / "r/self", "L " + dir / "r/self",
                                 "E " + dir / "r/sub", "F " + dir / "r/sub/file", "E " + dir / "r/sub/up",
                                 "L " + dir / "r/sub/up", "L " + dir / "r/sub", "L " + dir / "r"}));

    dir.write("v/a/gone");
    dir.write("v/b");
    Names seen;
    fileCrawler(
        dir / "v", false,
        [&](const std::string& p) {
            seen.push_back(p);
            return true;
        },
        [&](const std::string& p) {
            if (p == dir / "v/a")
                std::filesystem::remove_all(p); // the folder vanishes after it was listed
            return true;
        },
        {}, {}, false, true);
    EXPECT_EQ(seen, Names{dir / "v/b"});
}
