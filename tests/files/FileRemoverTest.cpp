#include <FileSystem/files/FileRemover.h>

#include <FileSystem/utilities/ToolProgress.h>

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <thread>
#include <string>
#include <vector>

namespace fs = std::filesystem;
using FileSystem::FileRemover;

namespace {

class Messages : public Tools::ToolProgress {
public:
    void setRange(int) override {}
    void setProgress(int percentage, const std::string& text) override {
        percentages.push_back(percentage);
        if (!text.empty())
            texts.push_back(text);
    }
    bool isCancelled() const override { return false; }
    bool hadFatalError() const override { return false; }
    void announceWorkList(const std::vector<std::string>& items) override { announced = items; }

    std::vector<int> percentages;
    std::vector<std::string> texts;
    std::vector<std::string> announced;
};

bool exists(const std::string& path) { return fs::symlink_status(path).type() != fs::file_type::not_found; }

} // namespace

TEST(FileRemover, SparedFilesKeepTheirFoldersAndEverythingElseGoes) {
    TestSupport::TempDir dir;
    const std::string root = dir / "tree";
    dir.write("tree/keep/deep/settings.ini");
    dir.write("tree/keep/deep/other.txt");
    dir.write("tree/keep/run.LOG");
    dir.write("tree/gone/a.txt");
    dir.write("tree/gone/b/c.txt");
    dir.write("tree/vault/secret.txt"); // a folder spared by the caller's filter
    dir.write("tree/top.txt");

    FileRemover remover;
    remover.addIgnoreFile("settings.ini");
    remover.addIgnoreFileExtension(".log");
    Messages messages;
    remover.attachProgress(&messages);
    EXPECT_TRUE(remover.remove(root + "/", true, [&](const std::string& path) { return path != root + "/vault"; }));

    EXPECT_TRUE(exists(root + "/keep/deep/settings.ini"));
    EXPECT_TRUE(exists(root + "/keep/run.LOG"));
    EXPECT_TRUE(exists(root + "/vault/secret.txt"));
    EXPECT_FALSE(exists(root + "/keep/deep/other.txt"));
    EXPECT_FALSE(exists(root + "/gone"));
    EXPECT_FALSE(exists(root + "/top.txt"));
    EXPECT_EQ(messages.announced, std::vector<std::string>{root + "/"});
    EXPECT_EQ(messages.percentages, (std::vector<int>{0, 100}));
    EXPECT_TRUE(messages.texts.empty());

    // Without exceptions the rest goes, the folder itself included.
    remover.clearIgnoreFile();
    remover.clearIgnoreFileExtension();
    EXPECT_TRUE(remover.remove(root, true));
    EXPECT_FALSE(exists(root));

    // A missing path is no failure; a file has no children.
    EXPECT_TRUE(remover.remove(dir / "missing", true));
    const std::string file = dir.write("single.txt");
    EXPECT_TRUE(remover.removeChildren(file, true));
    EXPECT_TRUE(exists(file));
    EXPECT_TRUE(remover.remove(file, false));
    EXPECT_FALSE(exists(file));
}

TEST(FileRemover, NonRecursiveItemsAndChildren) {
    TestSupport::TempDir dir;
    dir.write("kept/a.txt");
    dir.mkdir("empty");
    FileRemover remover;
    // Not recursive: only the folder itself; a spared file in it keeps it, and
    // nothing in it is touched.
    remover.addIgnoreFile("a.txt");
    Messages messages;
    remover.attachProgress(&messages);
    EXPECT_TRUE(remover.remove(dir / "kept", false));
    EXPECT_TRUE(exists(dir / "kept/a.txt"));
    EXPECT_TRUE(messages.texts.empty());
    remover.clearIgnoreFile();
    EXPECT_TRUE(remover.remove(dir / "empty", false));
    EXPECT_FALSE(exists(dir / "empty"));

    dir.write("parent/x/y.txt");
    dir.write("parent/z.txt");
    EXPECT_TRUE(remover.removeChildren(dir / "parent", true));
    EXPECT_TRUE(fs::is_directory(dir / "parent"));
    EXPECT_TRUE(fs::is_empty(dir / "parent"));
}

TEST(FileRemover, LinksGoAsLinksAndASwappedFolderIsNeverEntered) {
    TestSupport::TempDir dir;
    const std::string outside = dir.write("outside/precious.txt");
    dir.write("tree/a/x.txt");
    dir.write("tree/a/y.txt");
    fs::create_directory_symlink(dir / "outside", dir / "tree/link");
    fs::create_directory_symlink(dir / "outside", dir / "itemlink");

    FileRemover remover;
    EXPECT_TRUE(remover.remove(dir / "itemlink", true)); // the item itself is a link
    EXPECT_FALSE(exists(dir / "itemlink"));
    EXPECT_TRUE(exists(outside));

    // While the tree is walked, a racer moves tree/a away and puts a link to
    // the outside folder in its place: nothing outside may be deleted.
    bool swapped = false;
    const auto racer = [&](const std::string& path) {
        if (!swapped && path == dir / "tree/a/x.txt") {
            swapped = true;
            fs::rename(dir / "tree/a", dir / "moved");
            fs::create_directory_symlink(dir / "outside", dir / "tree/a");
            dir.write("outside/x.txt");
            dir.write("outside/y.txt");
        }
        return true;
    };
    Messages messages;
    remover.attachProgress(&messages);
    EXPECT_FALSE(remover.remove(dir / "tree", true, racer));
    ASSERT_TRUE(swapped);
    EXPECT_TRUE(exists(dir / "outside/x.txt"));
    EXPECT_TRUE(exists(dir / "outside/y.txt"));
    EXPECT_TRUE(exists(outside));
    EXPECT_FALSE(exists(dir / "tree/link"));
    EXPECT_FALSE(messages.texts.empty());
    for (const std::string& text : messages.texts)
        EXPECT_EQ(text.rfind("Failed to Remove : " + (dir / "tree"), 0), 0u) << text;
}

TEST(FileRemover, AFolderThatEmptiesLaterIsTriedAgain) {
    TestSupport::TempDir dir;
    dir.write("busy/a.txt");
    // Once the folder has been read, another thread puts a file of its own in
    // it and takes it away 300 ms later: the folder is not empty at the first
    // try, which may pass, so it is tried again and goes without a report.
    std::thread cleaner;
    const auto filter = [&](const std::string& path) {
        if (path == dir / "busy/a.txt" && !cleaner.joinable()) {
            dir.write("busy/work.tmp");
            cleaner = std::thread([&] {
                std::this_thread::sleep_for(std::chrono::milliseconds(300));
                fs::remove(dir / "busy/work.tmp");
            });
        }
        return true;
    };
    FileRemover remover;
    Messages messages;
    remover.attachProgress(&messages);
    const bool removed = remover.remove(dir / "busy", true, filter);
    if (cleaner.joinable())
        cleaner.join();
    EXPECT_TRUE(removed);
    EXPECT_FALSE(exists(dir / "busy"));
    EXPECT_TRUE(messages.texts.empty());
}
