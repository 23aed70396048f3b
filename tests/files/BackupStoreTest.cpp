#include <FileSystem/files/BackupStore.h>

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

using namespace FileSystem;
namespace fs = std::filesystem;

namespace {

class Messages : public BackupProgress {
public:
    void reportProgress(const std::string& message) override { progress.push_back(message); }
    void reportError(const std::string& message) override { errors.push_back(message); }
    std::vector<std::string> progress;
    std::vector<std::string> errors;
};

// Every file below `folder` with its content, by relative path.
std::map<std::string, std::string> stateOf(const std::string& folder) {
    std::map<std::string, std::string> state;
    for (auto it = fs::recursive_directory_iterator(folder); it != fs::recursive_directory_iterator(); ++it) {
        if (!it->is_regular_file())
            continue;
        std::ifstream in(it->path(), std::ios::binary);
        std::ostringstream content;
        content << in.rdbuf();
        state[fs::relative(it->path(), folder).string()] = content.str();
    }
    return state;
}

void put(const std::string& path, const std::string& content) {
    fs::create_directories(fs::path(path).parent_path());
    std::ofstream(path, std::ios::binary | std::ios::trunc) << content;
}

bool backup(BackupStore& store, const std::string& folder, int day) {
    int count = 0;
    return store.startNewBackup(day, 1, 2024, 12, 0, 0) && store.addFolder(folder, count) && store.finishBackup();
}

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream content;
    content << in.rdbuf();
    return content.str();
}

} // namespace

TEST(BackupStore, NamesAndDates) {
    EXPECT_EQ(BackupStore::makeBackupName(7, 3, 2024, 9, 5, 0), "2024-03-07-09-05-00");
    int d = 0, m = 0, y = 0, h = 0, mi = 0, s = 0;
    EXPECT_TRUE(BackupStore::extractBackupDate("2024-03-07-09-05-00", d, m, y, h, mi, s));
    EXPECT_EQ(std::vector<int>({d, m, y, h, mi, s}), std::vector<int>({7, 3, 2024, 9, 5, 0}));
    EXPECT_FALSE(BackupStore::extractBackupDate("2024-03-07-09-05", d, m, y, h, mi, s));
    EXPECT_FALSE(BackupStore::extractBackupDate("Working", d, m, y, h, mi, s));
}

TEST(BackupStore, ThreeBackupsRestoreAndThinning) {
    TestSupport::TempDir dir;
    const std::string src = dir / "src";
    const std::string root = dir / "store";
    Messages messages;
    BackupStore store(root, &messages);

    // State 1.
    put(src + "/a.txt", "a1");
    put(src + "/b.txt", "b1");
    put(src + "/c.txt", "c1");
    put(src + "/sub/d.txt", "d1");
    ASSERT_TRUE(backup(store, src, 1));
    const auto state1 = stateOf(src);
    // Nothing changed: no backup is recorded.
    ASSERT_TRUE(backup(store, src, 2));
    EXPECT_EQ(store.getNumberOfBackups(), 1u);
    EXPECT_FALSE(fs::exists(root + "/2024-01-02-12-00-00"));

    // State 2: a changed, b deleted, c unchanged, e new.
    put(src + "/a.txt", "a2-longer");
    fs::remove(src + "/b.txt");
    put(src + "/e.txt", "e2");
    ASSERT_TRUE(backup(store, src, 3));
    const auto state2 = stateOf(src);
    const std::string second = store.getNthBackupName(1);
    EXPECT_EQ(second, "2024-01-03-12-00-00");
    EXPECT_FALSE(fs::exists(root + "/" + second + "/" + src.substr(1) + "/c.txt")); // unchanged: not stored again
    EXPECT_EQ(store.getBackedUpPath(src + "/c.txt", ""), root + "/2024-01-01-12-00-00/" + src.substr(1) + "/c.txt");
    EXPECT_EQ(readFile(root + "/" + second + "/.deleted.txt"), src + "/b.txt\n");

    // State 3: a changed again, c and e deleted, f new.
    put(src + "/a.txt", "a3-longest!");
    fs::remove(src + "/c.txt");
    fs::remove(src + "/e.txt");
    put(src + "/f.txt", "f3");
    ASSERT_TRUE(backup(store, src, 4));
    const auto state3 = stateOf(src);
    ASSERT_EQ(store.getNumberOfBackups(), 3u);

    // The dry run of restoring state 2 names what would change.
    std::set<std::string> toRestore, toDelete;
    store.getFilesToRestore(second, src, toRestore, toDelete);
    EXPECT_EQ(toRestore, (std::set<std::string>{src + "/a.txt", src + "/c.txt", src + "/e.txt"}));
    EXPECT_EQ(toDelete, (std::set<std::string>{src + "/f.txt"}));
    EXPECT_EQ(stateOf(src), state3);

    // Restoring the middle backup brings back exactly its state.
    int count = 0;
    ASSERT_TRUE(store.startRestore(second));
    EXPECT_FALSE(store.startNewBackup(5, 1, 2024, 0, 0, 0));
    EXPECT_EQ(messages.errors.back(), "Backup is already running.");
    EXPECT_TRUE(store.restoreFolder(src, count));
    EXPECT_TRUE(store.finishRestore());
    EXPECT_EQ(stateOf(src), state2);
    EXPECT_EQ(count, 3);

    // Thinning keeps the meaning of each backup that remains.
    ASSERT_TRUE(store.thinBackups(2));
    EXPECT_EQ(store.getNumberOfBackups(), 2u);
    EXPECT_FALSE(fs::exists(root + "/2024-01-01-12-00-00"));
    ASSERT_TRUE(store.startRestore(second));
    EXPECT_TRUE(store.restoreFolder(src, count));
    store.finishRestore();
    EXPECT_EQ(stateOf(src), state2);

    ASSERT_TRUE(store.thinBackups(1));
    fs::remove_all(src);
    fs::create_directories(src);
    ASSERT_TRUE(store.startRestore(store.getNthBackupName(0)));
    EXPECT_TRUE(store.restoreFolder(src, count));
    store.finishRestore();
    EXPECT_EQ(stateOf(src), state3);
    (void)state1;

    // A new store on the root finds the backup.
    EXPECT_EQ(BackupStore(root, nullptr).getNumberOfBackups(), 1u);
}

TEST(BackupStore, MessagesAndRefusals) {
    TestSupport::TempDir dir;
    Messages messages;
    BackupStore store(dir / "store", &messages);
    int count = 0;
    bool notInBackup = false;

    EXPECT_FALSE(store.addFile(dir / "x", count));
    EXPECT_EQ(messages.errors.back(), "Backup is not running so cannot add file to backup.");
    EXPECT_FALSE(store.restoreFile(dir / "x", count, notInBackup));
    EXPECT_EQ(messages.errors.back(), "Restore is not running so cannot restore file from backup.");
    EXPECT_FALSE(store.startRestore("2024-01-01-00-00-00"));
    EXPECT_EQ(messages.errors.back(), "Backup does not exist.");
    EXPECT_FALSE(BackupStore("", &messages).startNewBackup(1, 1, 2024, 0, 0, 0));
    EXPECT_EQ(messages.errors.back(), "Backup location is not valid.");

    put(dir / "data/f.txt", "f");
    ASSERT_TRUE(backup(store, dir / "data", 1));
    EXPECT_FALSE(store.startNewBackup(1, 1, 2024, 12, 0, 0));
    EXPECT_EQ(messages.errors.back(), "Backup name already exists. 2024-01-01-12-00-00");

    // A path unknown to every backup is left alone, with the flag set.
    ASSERT_TRUE(store.startRestore("2024-01-01-12-00-00"));
    put(dir / "other.txt", "other");
    EXPECT_TRUE(store.restoreFile(dir / "other.txt", count, notInBackup));
    EXPECT_TRUE(notInBackup);
    EXPECT_EQ(readFile(dir / "other.txt"), "other");
    store.finishRestore();

    // A source path that would leave the backup folder is refused, and nothing
    // is written outside the store.
    ASSERT_TRUE(store.startNewBackup(2, 1, 2024, 0, 0, 0));
    EXPECT_FALSE(store.addFile("../../../escape.txt", count));
    EXPECT_EQ(messages.errors.back(), "failed to copy file to backup. ../../../escape.txt");
    EXPECT_TRUE(store.finishBackup());
}

TEST(BackupStore, HostileStoreContent) {
    TestSupport::TempDir dir;
    const std::string src = dir / "src";
    const std::string root = dir / "store";
    put(src + "/keep.txt", "keep");
    put(dir / "outside/secret.txt", "secret");
    {
        BackupStore store(root, nullptr);
        ASSERT_TRUE(backup(store, src, 1));
    }
    // A planted folder link that looks like a backup, and a planted
    // ".deleted.txt" naming files outside the folder being restored.
    fs::create_directory_symlink(dir / "outside", root + "/2024-01-05-00-00-00");
    fs::create_directories(root + "/2024-01-06-00-00-00");
    std::ofstream(root + "/2024-01-06-00-00-00/.deleted.txt")
        << (dir / "outside/secret.txt") << "\n" << std::string(100000, 'x') << "\n\n../../etc/passwd\n";
    fs::create_directory_symlink(dir / "outside", root + "/2024-01-06-00-00-00/link");

    BackupStore store(root, nullptr);
    EXPECT_EQ(store.getNumberOfBackups(), 2u); // the link is no backup
    int count = 0;
    ASSERT_TRUE(store.startRestore("2024-01-06-00-00-00"));
    EXPECT_TRUE(store.restoreFolder(src, count));
    store.finishRestore();
    EXPECT_EQ(readFile(src + "/keep.txt"), "keep");
    ASSERT_TRUE(store.thinBackups(1));
    EXPECT_EQ(readFile(dir / "outside/secret.txt"), "secret");
    EXPECT_FALSE(fs::exists(root + "/2024-01-06-00-00-00/secret.txt"));
}
