#include <FileSystem/paths/OSPaths.h>
#include <FileSystem/paths/PathConverterBase.h>

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <filesystem>

using namespace FileSystem;

TEST(PathConverter, WindowsFormsHoldOnEveryBuild) {
    EXPECT_EQ(WindowsLongPathConverter::fromKVLPath("C:", false), "\\\\?\\C:\\");
    EXPECT_EQ(WindowsLongPathConverter::fromKVLPath("C:/a/../b", false), "\\\\?\\C:\\b");
    EXPECT_EQ(WindowsLongPathConverter::fromKVLPath("//host/a", false), "\\\\?\\UNC\\host\\a");
    EXPECT_EQ(WindowsLongPathConverter::fromKVLPath("\\\\?\\C:\\a", false), "\\?\\C:\\a"); // not an input form
    EXPECT_EQ(WindowsLongPathConverter::fromKVLPath("a/b", true), "a\\b");
    EXPECT_EQ(WindowsLongPathConverter::fromKVLPath("C:", true), "C:\\");
    EXPECT_EQ(WindowsPathConverter::fromKVLPath("a/b", true), "a\\b");
    EXPECT_EQ(WindowsPathConverter::fromKVLPath("C:/x/./y/..", false), "C:\\x\\.");
    EXPECT_EQ(WindowsPathConverter::fromKVLPath("D:", false), "D:\\");

    EXPECT_EQ(WindowsLongPathConverter::toKVLPath("\\\\?\\UNC\\host\\a"), "//host/a");
    EXPECT_EQ(WindowsLongPathConverter::toKVLPath("\\\\?\\C:\\a"), "C:/a");
    EXPECT_EQ(WindowsPathConverter::toKVLPath("\\\\?\\C:\\a"), "C:/a");
    EXPECT_EQ(WindowsPathConverter::toKVLPath("\\\\host\\a"), "//host/a");
    EXPECT_EQ(WindowsPathConverter::toKVLPath("\\\\.\\pipe\\p"), "//./pipe/p"); // only \\?\ is stripped
}

TEST(PathConverter, UnixFormsAreAbsoluteAndNormalised) {
    EXPECT_EQ(UnixPathConverter::toKVLPath(""), "");
    EXPECT_EQ(UnixLongPathConverter::toKVLPath("a\\b"), "a/b");
    EXPECT_EQ(UnixPathConverter::fromKVLPath("/a//b/../c", false), "/a/c");
    EXPECT_EQ(UnixPathConverter::fromKVLPath("C:\\a\\..\\b", false), "C:/b");
    EXPECT_EQ(UnixPathConverter::fromKVLPath("rel\\x", true), "rel/x");
    EXPECT_EQ(UnixLongPathConverter::fromKVLPath("\\\\?\\UNC\\host\\share\\x", false), "//host/share/x");
    EXPECT_EQ(UnixLongPathConverter::fromKVLPath("//host/share/x", false), "//host/share/x");

    // Names that begin with dots reach the system unchanged (the text operation
    // of Path treats "..x" as ".." and cuts the dot of ".x").
    EXPECT_EQ(UnixPathConverter::fromKVLPath("/a/b/..x", false), "/a/b/..x");
    EXPECT_EQ(UnixPathConverter::fromKVLPath("/a/b/../..x/..", false), "/a");
    EXPECT_EQ(Path::removeRedundentRelativeSegments("/a/b/..x"), "/ax");
    EXPECT_EQ(WindowsPathConverter::fromKVLPath("C:/a/b/..x", false), "C:\\ax");

    TestSupport::CurrentDirectoryGuard guard;
    TestSupport::TempDir dir;
    std::filesystem::current_path(dir.path());
    const std::string cwd = OSPaths::getCurrentDirectory();
    EXPECT_EQ(LongPathConverter::fromKVLPath(".hidden", false), cwd + "/.hidden");
    EXPECT_EQ(LongPathConverter::fromKVLPath("./x", false), cwd + "/x");
    EXPECT_EQ(LongPathConverter::fromKVLPath("rel/x/../y", false), cwd + "/rel/y");
    EXPECT_EQ(PathConverter::fromKVLPath("", false), cwd + "/");
    EXPECT_EQ(LongPathConverter::toKVLPath(LongPathConverter::fromKVLPath("a/b", false)), cwd + "/a/b");
}

TEST(OSPaths, CurrentAndDefaultDirectory) {
    TestSupport::CurrentDirectoryGuard guard;
    TestSupport::TempDir dir;
    dir.mkdir("sub dir");
    OSPaths::setCurrentDirectory(dir.path());
    EXPECT_EQ(OSPaths::getCurrentDirectory(), std::filesystem::current_path().string());
    OSPaths::setCurrentDirectory("sub dir");
    EXPECT_EQ(OSPaths::getCurrentDirectory(), dir / "sub dir");
    OSPaths::setCurrentDirectory(dir / "missing"); // fails silently
    EXPECT_EQ(OSPaths::getCurrentDirectory(), dir / "sub dir");

    OSPaths::setDefaultCurrentDirectory(std::string("x/.."));
    EXPECT_EQ(OSPaths::getDefaultCurrentDirectory(), dir / "sub dir");
    OSPaths::setDefaultCurrentDirectory(std::nullopt);
    EXPECT_FALSE(OSPaths::getDefaultCurrentDirectory().has_value());

    dir.write("sub dir/file");
    EXPECT_EQ(OSPaths::getLongPathName("file"), dir / "sub dir/file");
    EXPECT_EQ(OSPaths::getLongPathName("missing\\x"), "missing\\x");
    EXPECT_EQ(OSPaths::getLongPathName(""), "");
}

TEST(OSPaths, VolumesComeFromTheMountTable) {
    TestSupport::TempDir dir;
    const auto roots = OSPaths::getRootPaths();
    EXPECT_NE(std::find(roots.begin(), roots.end(), "/"), roots.end());

    const std::string root = OSPaths::getRootPath(dir / "not/yet");
    ASSERT_FALSE(root.empty());
    EXPECT_TRUE(Path::startsWith(dir.path(), root));
    EXPECT_EQ(OSPaths::getVolumeRootFromPath(dir.path()), root);
    EXPECT_EQ(OSPaths::getRootPath("/"), "/");

    const std::string volume = OSPaths::getVolumeNameFromPath(dir.path());
    ASSERT_FALSE(volume.empty());
    const auto mountPoints = OSPaths::getVolumePathNames(volume);
    EXPECT_NE(std::find(mountPoints.begin(), mountPoints.end(), root), mountPoints.end());
    const auto volumes = OSPaths::getVolumeNames();
    EXPECT_NE(std::find(volumes.begin(), volumes.end(), volume), volumes.end());

    EXPECT_EQ(OSPaths::getVolumeNameFromPath("relative/x"), "");
    EXPECT_EQ(OSPaths::getVolumeNameFromPath("//host/share"), "");
    EXPECT_TRUE(OSPaths::getVolumePathNames("no such volume").empty());
    EXPECT_EQ(OSPaths::getRootPath(""), "");
}
