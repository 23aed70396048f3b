#include <FileSystem/files/DirectoryListing.h>
#include <FileSystem/files/File.h>
#include <FileSystem/files/FileCloser.h>
#include <FileSystem/storage/FileSystem2Local.h>

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <regex>
#include <sys/stat.h>

using namespace FileSystem;
namespace fs = std::filesystem;

namespace {

using Mode = StorageSystemFileOpenModeFlag;
using Type = StorageSystemFileTypeFlag;
using Copy = StorageSystemCopyOptionFlag;
constexpr auto kWildcard = StorageSystemDirectoryFilterType::Wildcard;
constexpr auto kRegExp = StorageSystemDirectoryFilterType::RegExp;

/// The local disk with the base class's own algorithms within reach: the
/// path algebra of plain `/` paths and the copy through open files that
/// storages which are no FileSystem2 get.
class ExposedLocal : public FileSystem2Local {
public:
    std::string parent(const std::string& id) const { return FileSystem2::do_pathParentId(id); }
    std::string fileName(const std::string& id) const { return FileSystem2::do_pathFileName(id); }
    std::string child(const std::string& parent, const std::vector<std::string>& children) const {
        return FileSystem2::do_pathChildId(parent, children);
    }
    std::string canonize(const std::string& id) const { return FileSystem2::do_canonizeFileId(id); }
    std::optional<std::string> neutralCopy(const StorageSystem& source, const std::string& id,
                                           const StorageSystem& destination, const std::string& directoryId,
                                           const std::string& name, const StorageSystemProgress& progress,
                                           StorageSystemCopyOptions options,
                                           const std::optional<std::uint64_t>& chunkSize = {}) const {
        return StorageSystem::do_fileCopy(source, id, destination, directoryId, name, progress, options, chunkSize);
    }
};

unsigned modeOf(const std::string& path) {
    struct stat st {};
    return ::lstat(path.c_str(), &st) == 0 ? (st.st_mode & 07777) : 0xFFFF;
}

StorageSystemTimePoint past() {
    return StorageSystemTimePoint(StorageSystemTimePoint::duration(1'000'000'000LL * 10'000'000 + 1234500));
}

} // namespace

TEST(StorageSystemTypes, TextAndOpenModeForms) {
    EXPECT_EQ(storageSystemFileTypeFromString("12"), Type::Directory | Type::SymbolicLink);
    EXPECT_EQ(storageSystemFileTypeToString(Type::Directory | Type::SymbolicLink), "12");
    EXPECT_EQ(storageSystemFileTypeToString(StorageSystemFileType(0xabu)), "ab");
    EXPECT_TRUE(storageSystemFileTypeFromString("zz").none());
    EXPECT_TRUE(storageSystemFileTypeFromString("").none());
    EXPECT_TRUE(storageSystemFileTypeFromString("123456789").none()); // does not fit 32 bits

    EXPECT_EQ(storageSystemDirectoryFilterTypeToString(kRegExp), "RegExp");
    EXPECT_EQ(storageSystemDirectoryFilterTypeToString(static_cast<StorageSystemDirectoryFilterType>(7)), "");
    EXPECT_EQ(storageSystemDirectoryFilterTypeFromString("Wildcard", kRegExp), kWildcard);
    EXPECT_EQ(storageSystemDirectoryFilterTypeFromString("regexp", kWildcard), kWildcard);

    using namespace PosixOpenFlags;
    EXPECT_EQ(storageSystemFileOpenModeToPosixMode(Mode::Read), ReadOnly | Create | Binary);
    EXPECT_EQ(storageSystemFileOpenModeToPosixMode(Mode::Read | Mode::NoCreate), ReadOnly | Binary);
    EXPECT_EQ(storageSystemFileOpenModeToPosixMode(Mode::Write), WriteOnly | Truncate | Create | Binary);
    EXPECT_EQ(storageSystemFileOpenModeToPosixMode(Mode::Write | Mode::Append | Mode::Text),
              WriteOnly | Create | Append | Text);
    EXPECT_EQ(storageSystemFileOpenModeToPosixMode(Mode::Append), WriteOnly | Append | Binary); // creates nothing
    EXPECT_EQ(storageSystemFileOpenModeToPosixMode(Mode::Read | Mode::Write | Mode::Truncate),
              ReadWrite | Create | Truncate | Binary);

    EXPECT_EQ(storageSystemFileOpenModeFromPosixMode(ReadWrite | Truncate | Text),
              Mode::Read | Mode::Write | Mode::Truncate | Mode::Text);
    EXPECT_EQ(storageSystemFileOpenModeFromPosixMode(WriteOnly | Append | Create), Mode::Write | Mode::Append);
    EXPECT_EQ(storageSystemFileOpenModeFromPosixMode(ReadOnly | Binary), StorageSystemFileOpenMode(Mode::Read));

    EXPECT_EQ(storageSystemFileOpenModeToCMode(Mode::Read | Mode::Write), "rb+");
    EXPECT_EQ(storageSystemFileOpenModeToCMode(Mode::Write | Mode::Append | Mode::Text), "at");
    // Without a translation letter the default translation (binary here) leaves Text out.
    EXPECT_EQ(storageSystemFileOpenModeFromCMode("w"), Mode::Write | Mode::Truncate);
    EXPECT_EQ(storageSystemFileOpenModeFromCMode("a+t"), Mode::Read | Mode::Write | Mode::Append | Mode::Text);
}

TEST(FileSystem2, PathAlgebra) {
    const ExposedLocal storage;
    EXPECT_EQ(storage.child("a/", {"", "/b", "c/"}), "a/b/c/");
    EXPECT_EQ(storage.child("a", {}), "a");
    EXPECT_EQ(storage.fileName("a/b/"), "b");
    EXPECT_EQ(storage.fileName("plain"), "plain");
    EXPECT_EQ(storage.parent("a/b/"), "a");
    EXPECT_EQ(storage.parent("/a"), "");
    EXPECT_EQ(storage.canonize("a/b/"), "a/b");
    EXPECT_EQ(storage.pathFileExtension("a.b/c", false), ".b/c");
    EXPECT_EQ(storage.pathFileExtension("/x/Report.TXT", true), ".txt");
    EXPECT_EQ(storage.pathFileExtension("/x/ÄB.ÄÖ", true), ".äö");
    EXPECT_EQ(storage.pathFileStripExtension("/x/a.tar.gz"), "/x/a.tar");
    EXPECT_TRUE(storage.pathHasFilterPath("/x/*.txt"));
    EXPECT_FALSE(storage.pathHasFilterPath("/x*/a.txt")); // only the last component counts

    // The local storage: only backslashes change; a trailing slash stays.
    EXPECT_EQ(storage.canonizeFileId("a\\b\\"), "a/b/");
    EXPECT_EQ(storage.pathParentId("/a/b/c"), "/a/b");
    EXPECT_EQ(storage.pathChildId("/a", "b"), "/a/b");
}

TEST(FileSystem2Local, FilesReadWriteAndQueries) {
    TestSupport::TempDir dir;
    const FileSystem2Local storage;
    const std::string id = dir / "data.bin";

    EXPECT_EQ(storage.fileOpen(id, Mode::Read | Mode::NoCreate, StorageSystem::defaultFilePermissions), nullptr);
    EXPECT_FALSE(fs::exists(id));
    {
        const auto created = storage.fileCreateBinary(dir.path(), "data.bin", false, PosixFilePermissions(0640u));
        ASSERT_NE(created, nullptr);
        EXPECT_EQ(created->fileId(), id);
        EXPECT_EQ(created->name(), "data.bin");
        EXPECT_EQ(created->parentDirectoryId(), dir.path());
        EXPECT_FALSE(created->isReadable());
        EXPECT_EQ(created->write(std::string_view("0123456789")), 10u);
        EXPECT_EQ(created->getType(), StorageSystemType::Local);
    }
    EXPECT_EQ(modeOf(id) & 0777, 0640u & ~[] { mode_t m = ::umask(0); ::umask(m); return m; }());

    const auto file = storage.fileOpenBinary(id, Mode::Read, StorageSystem::defaultFilePermissions);
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(file->size(), 10u);
    EXPECT_FALSE(file->seek(4)); // false is success
    EXPECT_EQ(file->tell(), std::optional<std::uint64_t>(4));
    EXPECT_EQ(file->read(100), "456789"); // never more than the file holds
    EXPECT_EQ(file->read(5), "");
    EXPECT_TRUE(file->eof());
    EXPECT_FALSE(file->seek(0));
    EXPECT_EQ(file->readAll(), "0123456789");

    // A plain Read open creates a missing file.
    EXPECT_NE(storage.fileOpen(dir / "new", Mode::Read, StorageSystem::defaultFilePermissions), nullptr);
    EXPECT_TRUE(fs::is_regular_file(dir / "new"));

    const auto info = storage.fileInfo(id, true);
    ASSERT_TRUE(info);
    EXPECT_EQ(info->name, "data.bin");
    EXPECT_EQ(info->parentDirectoryId, dir.path());
    EXPECT_EQ(info->type, StorageSystemFileType(Type::File));
    EXPECT_EQ(info->size, 10u);
    EXPECT_NE(info->modTime, StorageSystemTimePoint::min());
    EXPECT_FALSE(storage.fileInfo(dir / "missing", true));

    EXPECT_TRUE(storage.fileSetModTime(id, past()));
    EXPECT_EQ(storage.fileGetModTime(id, false), past());
    EXPECT_TRUE(storage.fileSetPermissions(id, PosixFilePermissions(0604u)));
    EXPECT_EQ(storage.fileGetPermissions(id, false), PosixFilePermissions(0604u));
    EXPECT_EQ(file->permissions(), PosixFilePermissions(0604u));
    EXPECT_TRUE(storage.fileStorageInfo(id, false).has_value());

    const auto renamed = storage.fileRename(id, "renamed.bin");
    ASSERT_TRUE(renamed);
    EXPECT_EQ(*renamed, dir / "renamed.bin");
    EXPECT_FALSE(storage.fileRename(*renamed, "new")); // the name is taken
    ASSERT_TRUE(storage.directoryCreate(dir.path(), "sub", true, StorageSystem::defaultDirectroyPermissions));
    const auto moved = storage.fileMove(*renamed, dir / "sub");
    ASSERT_TRUE(moved);
    EXPECT_TRUE(fs::is_regular_file(*moved));
    EXPECT_TRUE(storage.fileRemove(*moved));
    EXPECT_FALSE(storage.fileExists(*moved, false));
}

TEST(FileSystem2Local, LinksDanglingChainsAndRings) {
    TestSupport::TempDir dir;
    const FileSystem2Local storage;
    dir.write("target.txt", "abc");
    fs::create_symlink("target.txt", dir / "l1");
    fs::create_symlink("l1", dir / "l2");
    fs::create_symlink("missing", dir / "dangling");
    fs::create_symlink("ringB", dir / "ringA");
    fs::create_symlink("ringA", dir / "ringB");

    EXPECT_EQ(storage.fileSymbolicLinkTarget(dir / "l2"), std::optional<std::string>("l1"));
    EXPECT_EQ(storage.fileSymbolicLinkTargetFileId(dir / "l2", false), dir / "l1");
    EXPECT_EQ(storage.fileSymbolicLinkTargetFileId(dir / "l2", true), dir / "target.txt");
    EXPECT_EQ(storage.fileSize(dir / "l2", true), std::optional<std::uint64_t>(3));
    const auto linkInfo = storage.fileInfo(dir / "l2", false);
    ASSERT_TRUE(linkInfo);
    EXPECT_EQ(linkInfo->type, Type::File | Type::SymbolicLink);
    EXPECT_FALSE(storage.fileSymbolicLinkTarget(dir / "target.txt"));

    // A dangling link resolves, and its target is tested without following.
    EXPECT_EQ(storage.fileSymbolicLinkTargetFileId(dir / "dangling", true), dir / "missing");
    EXPECT_FALSE(storage.fileExists(dir / "dangling", true));
    EXPECT_TRUE(storage.fileExists(dir / "dangling", false));

    // A ring ends: it resolves to nothing, and the frame falls back to the link itself.
    EXPECT_FALSE(storage.fileSymbolicLinkTargetFileId(dir / "ringA", true));
    EXPECT_TRUE(storage.fileExists(dir / "ringA", true));
    EXPECT_FALSE(storage.fileSize(dir / "ringA", true));
    EXPECT_FALSE(storage.directoryExists(dir / "ringA", true));
    EXPECT_FALSE(storage.directoryMakePath(dir / "ringA/x", false, StorageSystem::defaultDirectroyPermissions));

    // A chain of exactly the longest length resolves; one more does not.
    std::string previous = "target.txt";
    for (int i = 0; i <= FileSystem2::kMaxSymbolicLinkChain; ++i) {
        const std::string name = "c" + std::to_string(i);
        fs::create_symlink(previous, dir / name);
        previous = name;
    }
    EXPECT_EQ(storage.fileSymbolicLinkTargetFileId(dir / "c39", true), dir / "target.txt");
    EXPECT_FALSE(storage.fileSymbolicLinkTargetFileId(dir / "c40", true));

    // Directory links.
    dir.mkdir("folder");
    ASSERT_TRUE(storage.directorySymbolicLinkCreateAs("folder", dir / "dl"));
    EXPECT_TRUE(storage.directoryIsSymbolicLink(dir / "dl"));
    EXPECT_FALSE(storage.directoryIsSymbolicLink(dir / "l1"));
    EXPECT_EQ(storage.directorySymbolicLinkTargetDirectoryId(dir / "dl", true), dir / "folder");
    EXPECT_EQ(storage.fileSymbolicLinkCreate("target.txt", dir.path(), "made"), std::optional<std::string>("target.txt"));
    EXPECT_EQ(fs::read_symlink(dir / "made"), "target.txt");
}

TEST(FileSystem2Local, ListingsAndFilters) {
    TestSupport::TempDir dir;
    const FileSystem2Local storage;
    dir.write("a.txt", "1");
    dir.write("b.txt", "22");
    dir.write("c.dat", "333");
    dir.mkdir("sub");
    fs::create_symlink("nowhere", dir / "broken");

    EXPECT_EQ(storage.directoryListFileNames(dir.path(), "", kWildcard),
              (std::vector<std::string>{"a.txt", "b.txt", "broken", "c.dat", "sub"}));
    EXPECT_EQ(storage.directoryListFileNames(dir.path(), "*.txt", kWildcard),
              (std::vector<std::string>{"a.txt", "b.txt"}));
    EXPECT_EQ(storage.directoryListFileNames(dir.path(), "?.t?t", kWildcard),
              (std::vector<std::string>{"a.txt", "b.txt"}));
    EXPECT_TRUE(storage.directoryListFileNames(dir.path(), "txt", kRegExp).empty()); // whole names only
    EXPECT_EQ(storage.directoryListFileNames(dir.path(), "[ab]\\.txt|su.", kRegExp),
              (std::vector<std::string>{"a.txt", "b.txt", "sub"}));
    EXPECT_THROW(storage.directoryListFileNames(dir.path(), "(", kRegExp), std::regex_error);
    EXPECT_EQ(storage.directoryListFileNamesWithFilterPath(dir / "*.dat"), (std::vector<std::string>{"c.dat"}));
    // A long wildcard, and a regular expression, that backtracking would take forever on.
    EXPECT_TRUE(storage.directoryListFileNames(dir.path(), std::string(5000, '*') + "x", kWildcard).empty());
    dir.write(std::string(200, 'a'), "x");
    EXPECT_TRUE(storage.directoryListFileNames(dir.path(), "(a|a)*b", kRegExp).empty());
    EXPECT_EQ(DirectoryListing(dir / "*a*a*a*a*a*a*a*a*b").size(), 0u);
    ASSERT_TRUE(std::filesystem::remove(dir / std::string(200, 'a')));
    EXPECT_TRUE(storage.directoryListFileNames(dir / "a.txt", "", kWildcard).empty()); // a file is no directory

    const auto infos = storage.directoryFileInfoList(dir.path(), "", kWildcard);
    ASSERT_EQ(infos.size(), 5u);
    EXPECT_EQ(infos[1].size, 2u);
    EXPECT_EQ(infos[2].name, "broken");
    EXPECT_EQ(infos[2].fileId, dir / "broken");
    EXPECT_TRUE(infos[2].type.none());
    EXPECT_EQ(infos[4].type, StorageSystemFileType(Type::Directory));
    const auto list = storage.directoryList(dir.path(), "s*", kWildcard);
    ASSERT_EQ(list.size(), 1u);
    EXPECT_EQ(list[0].parentDirectoryId, dir.path());
    EXPECT_EQ(list[0].type, StorageSystemFileType(Type::Directory));
}

TEST(FileSystem2Local, DirectoryCreationAndRemoval) {
    TestSupport::TempDir dir;
    const FileSystem2Local storage;
    const auto perms = StorageSystem::defaultDirectroyPermissions;

    EXPECT_TRUE(storage.directoryMakePath(dir / "a/b/c", true, perms));
    EXPECT_TRUE(fs::is_directory(dir / "a/b/c"));
    EXPECT_FALSE(storage.directoryMakePath(dir / "a/b", true, perms));
    EXPECT_TRUE(storage.directoryMakePath(dir / "a/b", false, perms));
    EXPECT_FALSE(storage.directoryCreate(dir.path(), "a", true, perms));
    EXPECT_EQ(storage.directoryCreate(dir.path(), "a", false, perms), std::optional<std::string>(dir / "a"));
    EXPECT_FALSE(storage.directoryCreate(dir.path(), std::vector<std::string>{"x", "y"}, false, perms)); // one level only
    const auto made = storage.directoryCreate(dir.path(), "r", true, PosixFilePermissions(0750u));
    ASSERT_TRUE(made);
    EXPECT_EQ(modeOf(*made), 0750u);
    EXPECT_TRUE(storage.directoryInfo(*made, false).has_value());
    EXPECT_FALSE(storage.directoryInfo(dir.write("f"), false).has_value());

    // A recursive removal takes the tree and leaves what a link in it leads to.
    const std::string outside = dir.write("outside/keep.txt", "keep");
    dir.write("a/b/c/file", "x");
    fs::create_directory_symlink(dir / "outside", dir / "a/b/link");
    EXPECT_FALSE(storage.directoryRemove(dir / "a", false));
    EXPECT_TRUE(storage.directoryRemove(dir / "a", true));
    EXPECT_FALSE(fs::exists(dir / "a"));
    EXPECT_TRUE(fs::exists(outside));
    EXPECT_TRUE(storage.directoryRemove(dir / "missing", true));

    const auto renamed = storage.directoryRename(*made, "r2");
    ASSERT_TRUE(renamed);
    EXPECT_TRUE(fs::is_directory(*renamed));
}

TEST(FileSystem2Local, CopiesKeepWhatTheOptionsAsk) {
    TestSupport::TempDir dir;
    const FileSystem2Local one;
    const FileSystem2Local other; // another object: the copy goes through open files
    const ExposedLocal neutral;
    dir.mkdir("to");
    std::string content(3 * 1024 * 1024 + 17, '\0');
    for (std::size_t i = 0; i < content.size(); ++i)
        content[i] = static_cast<char>(i * 31 + i / 4096);
    const std::string source = dir.write("source.bin", content);
    ASSERT_TRUE(one.fileSetModTime(source, past()));
    ASSERT_TRUE(one.fileSetPermissions(source, PosixFilePermissions(0640u)));
    const auto everything = Copy::PreserveModTime | Copy::PreservePermissions | Copy::MakeExecutable;

    struct Road {
        const char* name;
        std::function<std::optional<std::string>(const std::string&, StorageSystemCopyOptions,
                                                  const StorageSystemProgress&)>
            copy;
    };
    const std::vector<Road> roads{
        {"same", [&](const std::string& name, auto options, const auto& progress) {
             return one.fileCopy(source, dir / "to", name, progress, options, std::nullopt);
         }},
        {"two", [&](const std::string& name, auto options, const auto& progress) {
             return one.fileCopy(source, other, dir / "to", name, progress, options, 65536);
         }},
        {"neutral", [&](const std::string& name, auto options, const auto& progress) {
             return neutral.neutralCopy(one, source, other, dir / "to", name, progress, options, 100000);
         }},
    };
    for (const Road& road : roads) {
        SCOPED_TRACE(road.name);
        std::uint64_t last = 0;
        int calls = 0;
        const auto full = road.copy(std::string(road.name) + ".all", everything, [&](std::uint64_t done, std::uint64_t total) {
            EXPECT_EQ(total, content.size());
            last = done;
            ++calls;
            return true;
        });
        ASSERT_TRUE(full);
        EXPECT_EQ(*full, dir / ("to/" + std::string(road.name) + ".all"));
        EXPECT_EQ(File::readWholeFile(*full, true), content);
        EXPECT_EQ(one.fileGetModTime(*full, false), past());
        EXPECT_EQ(modeOf(*full), 0751u);
        EXPECT_EQ(last, content.size());
        EXPECT_GE(calls, 2);

        const auto plain = road.copy(std::string(road.name) + ".exe", Copy::MakeExecutable, {});
        ASSERT_TRUE(plain);
        EXPECT_EQ(modeOf(*plain), 0777u);

        // Cancelled by its progress function.
        EXPECT_FALSE(road.copy(std::string(road.name) + ".cancel", everything,
                               [](std::uint64_t done, std::uint64_t) { return done == 0; }));
    }

    // Without PreserveModTime the copies through open files are new files.
    const auto fresh = one.fileCopy(source, other, dir / "to", "fresh", {}, {}, std::nullopt);
    ASSERT_TRUE(fresh);
    EXPECT_GT(one.fileGetModTime(*fresh, false), past());

    // Directories are not copied; links are recreated on request.
    EXPECT_FALSE(one.fileCopy(dir / "to", other, dir.path(), "copyOfTo", {}, everything, std::nullopt));
    fs::create_symlink("source.bin", dir / "link");
    const auto linkCopy = one.fileCopy(dir / "link", other, dir / "to", "link", {}, Copy::CopySymbolicLink, std::nullopt);
    EXPECT_EQ(linkCopy, dir / "to/link");
    EXPECT_EQ(fs::read_symlink(dir / "to/link"), "source.bin");
    EXPECT_EQ(neutral.neutralCopy(one, dir / "link", other, dir / "to", "link2", {}, Copy::CopySymbolicLink),
              std::optional<std::string>("source.bin")); // the link operations give the target text
    const auto readThrough = one.fileCopy(dir / "link", dir / "to", "through", {}, {}, std::nullopt);
    ASSERT_TRUE(readThrough);
    EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(*readThrough)));

    // An open-file copy: chunk size 0 and a file without Read fail before progress.
    const auto in = one.fileOpenBinary(source, Mode::Read, StorageSystem::defaultFilePermissions);
    const auto out = other.fileCreateAsBinary(dir / "to/manual", false, StorageSystem::defaultFilePermissions);
    ASSERT_TRUE(in && out);
    bool called = false;
    const auto spy = [&](std::uint64_t, std::uint64_t) { return called = true; };
    EXPECT_FALSE(in->copy(*out, spy, 0));
    EXPECT_FALSE(out->copy(*in, spy, std::nullopt));
    EXPECT_FALSE(called);
    EXPECT_TRUE(in->copy(*out, spy, 1ull << 40)); // a huge chunk costs no huge buffer
    EXPECT_TRUE(called);
}

TEST(FileSystem2Local, HostileIdsNeverCrash) {
    TestSupport::TempDir dir;
    const FileSystem2Local storage;
    const std::vector<std::string> ids{"", "..", "/", std::string("a\0b", 3), dir / std::string("x\0y", 3),
                                       std::string(100000, 'a'), dir / std::string(5000, 'n'),
                                       [] {
                                           std::string deep;
                                           for (int i = 0; i < 20000; ++i)
                                               deep += "/d";
                                           return deep;
                                       }()};
    const auto perms = StorageSystem::defaultDirectroyPermissions;
    dir.write("x", "keep");
    for (const std::string& id : ids) {
        SCOPED_TRACE(id.substr(0, 40));
        EXPECT_FALSE(storage.fileOpen(id, Mode::Read | Mode::NoCreate, perms) && id.find('\0') != std::string::npos);
        (void)storage.fileInfo(id, true);
        (void)storage.fileType(id, true);
        (void)storage.fileSymbolicLinkTargetFileId(id, true);
        (void)storage.directoryListFileNames(id, "*", kWildcard);
        (void)storage.directoryFileInfoList(id, "", kWildcard);
        (void)storage.pathChildId(id, {id, "x"});
        EXPECT_FALSE(storage.fileCopy(id, dir.path(), "copy", {}, {}, std::nullopt));
        storage.fileRemove(id);
        if (id != "" && id != ".." && id != "/") {
            EXPECT_FALSE(storage.directoryMakePath(id, false, perms));
        }
    }
    // Nothing landed in the scratch folder, and the NUL ids named nothing ("x" stays).
    EXPECT_EQ(storage.directoryListFileNames(dir.path(), "", kWildcard), std::vector<std::string>{"x"});
    EXPECT_TRUE(storage.directoryRemove("", true));
}

TEST(FileSystem2Local, OpenFileCopiesBetweenLocalStorages) {
    TestSupport::TempDir dir;
    std::string data;
    for (int i = 0; i < 300000; ++i)
        data += static_cast<char>('a' + i % 26);
    dir.write("source.txt", data);
    const FileSystem2Local from;
    const FileSystem2Local to;
    const auto read = StorageSystemFileOpenMode(Mode::Read) | Mode::NoCreate;
    const auto write = StorageSystemFileOpenMode(Mode::Write) | Mode::Truncate;
    {
        // From the source's position to the destination's, in chunks, and both go on from there.
        const auto in = from.fileOpenBinary(dir / "source.txt", read, StorageSystem::defaultFilePermissions);
        const auto out = to.fileOpenBinary(dir / "copy.txt", write, StorageSystem::defaultFilePermissions);
        ASSERT_TRUE(in && out);
        ASSERT_FALSE(in->seek(10)); // false: no error
        ASSERT_EQ(out->write("head", 4), 4u);
        std::vector<std::uint64_t> reports;
        EXPECT_TRUE(in->copy(*out, [&](std::uint64_t done, std::uint64_t) { reports.push_back(done); return true; },
                             std::uint64_t(65536)));
        ASSERT_EQ(out->write("tail", 4), 4u);
        EXPECT_TRUE(in->eof() || in->read(1).empty());
        EXPECT_GE(reports.size(), 5u); // before the first chunk and after each
        EXPECT_EQ(reports.front(), 0u);
        EXPECT_EQ(reports.back(), data.size() - 10);
    }
    EXPECT_EQ(File::readWholeFile(dir / "copy.txt", true), "head" + data.substr(10) + "tail");
    // A copy that its progress stops is false.
    const auto in = from.fileOpenBinary(dir / "source.txt", read, StorageSystem::defaultFilePermissions);
    const auto out = to.fileOpenBinary(dir / "stopped.txt", write, StorageSystem::defaultFilePermissions);
    EXPECT_FALSE(in->copy(*out, [](std::uint64_t done, std::uint64_t) { return done < 100000; }, std::uint64_t(65536)));
}

TEST(FileSystem2Local, DirectoriesRenameAndMoveWithoutReplacing) {
    TestSupport::TempDir dir;
    dir.write("a/x.txt", "x");
    dir.mkdir("dest");
    dir.write("taken/keep.txt", "keep");
    const FileSystem2Local storage;
    const auto moved = storage.directoryMove(dir / "a", dir / "dest");
    ASSERT_TRUE(moved.has_value());
    EXPECT_EQ(*moved, dir / "dest/a");
    EXPECT_EQ(File::readWholeFile(dir / "dest/a/x.txt", true), "x");
    EXPECT_FALSE(fs::exists(dir / "a"));
    const auto renamed = storage.directoryRename(dir / "dest/a", "b");
    ASSERT_TRUE(renamed.has_value());
    EXPECT_EQ(*renamed, dir / "dest/b");
    // What stands at the new name is never replaced, a folder with contents included.
    EXPECT_FALSE(storage.directoryRenameAs(dir / "dest/b", dir / "taken"));
    EXPECT_FALSE(storage.directoryMoveAs(dir / "dest/b", dir / "taken"));
    EXPECT_EQ(File::readWholeFile(dir / "taken/keep.txt", true), "keep");
    EXPECT_EQ(File::readWholeFile(dir / "dest/b/x.txt", true), "x");
    EXPECT_FALSE(storage.directoryMove(dir / "missing", dir / "dest").has_value());
}
