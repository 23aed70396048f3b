#include <FileSystem/paths/Path.h>
#include <FileSystem/paths/detail/NetworkNames.h>

#include "TestSupport.h"

#include <gtest/gtest.h>

using FileSystem::Path;
using FileSystem::sys::MountEntry;
using FileSystem::sys::ShareEntry;
namespace detail = FileSystem::detail;

namespace {

std::string onMount(const std::string& path, const std::vector<MountEntry>& mounts) {
    return detail::universalNameOnMount(path, mounts).value_or("<none>");
}

} // namespace

TEST(NetworkPath, MountedPathsTakeTheServersName) {
    const std::vector<MountEntry> mounts = {
        {"/dev/sda1", "/", "ext4", "rw"},
        {"//srv/share", "/mnt/smb", "cifs", "rw"},
        {"\\\\srv\\other\\", "/mnt/old", "smbfs", ""},
        {"nas:/export/home/", "/home/nfs", "nfs4", ""},
        {"nas:/", "/mnt/nasroot", "nfs", ""},
        {"tmpfs", "/mnt/smb/cache", "tmpfs", ""}, // a local mount inside the network one
        {"//srv/covered", "/mnt/twice", "cifs", ""},
        {"/dev/sdb1", "/mnt/twice", "ext4", ""}, // mounted later at the same place
        {"server-without-share", "/mnt/bad", "cifs", ""},
    };
    EXPECT_EQ(onMount("/mnt/smb", mounts), "//srv/share");
    EXPECT_EQ(onMount("/mnt/smb/a/b.txt", mounts), "//srv/share/a/b.txt");
    EXPECT_EQ(onMount("/mnt/smbx/a", mounts), "<none>"); // a name that only starts alike
    EXPECT_EQ(onMount("/mnt/smb/cache/x", mounts), "<none>");
    EXPECT_EQ(onMount("/mnt/old/x", mounts), "//srv/other/x");
    EXPECT_EQ(onMount("/home/nfs/u/f", mounts), "nas:/export/home/u/f");
    EXPECT_EQ(onMount("/mnt/nasroot", mounts), "nas:/");
    EXPECT_EQ(onMount("/mnt/nasroot/v", mounts), "nas:/v");
    EXPECT_EQ(onMount("/mnt/twice/y", mounts), "<none>");
    EXPECT_EQ(onMount("/mnt/bad/y", mounts), "<none>");
    EXPECT_EQ(onMount("/etc/passwd", mounts), "<none>");
    EXPECT_EQ(onMount("relative", mounts), "<none>");

    // A network file system at the root holds everything.
    EXPECT_EQ(onMount("/a/b", {{"//srv/root", "/", "cifs", ""}}), "//srv/root/a/b");
    EXPECT_EQ(onMount("/", {{"//srv/root", "/", "cifs", ""}}), "//srv/root");
}

TEST(NetworkPath, SharedFoldersTakeTheComputersName) {
    const std::vector<ShareEntry> shares = {
        {"Data$", "/srv/data"}, // hidden: never chosen
        {"Data", "/srv/data"},
        {"Deep", "/srv/data/deep/"},
        {"Other", "/srv/other"},
    };
    auto onShare = [&](const std::string& path) {
        return detail::universalNameOnShare(path, shares, "host").value_or("<none>");
    };
    EXPECT_EQ(onShare("/srv/data"), "//host/Data");
    EXPECT_EQ(onShare("/srv/data/a/b"), "//host/Data/a/b");
    EXPECT_EQ(onShare("/srv/data/deep/x"), "//host/Deep/x");
    EXPECT_EQ(onShare("/srv/datax"), "<none>");
    EXPECT_EQ(onShare("/srv/Other/a"), "<none>"); // names on disk are case-sensitive
    EXPECT_EQ(detail::universalNameOnShare("/srv/data", shares, "").value_or("<none>"), "<none>");
    EXPECT_EQ(detail::universalNameOnShare("/srv/data", {{"Hidden$", "/srv/data"}}, "host").value_or("<none>"),
              "<none>");

    // A network mount is asked first; the share rule answers for the rest.
    const std::vector<MountEntry> mounts = {{"/dev/sda1", "/", "ext4", ""}, {"//nas/x", "/srv/other", "cifs", ""}};
    EXPECT_EQ(detail::universalName("/srv/other/f", mounts, shares, "host").value_or(""), "//nas/x/f");
    EXPECT_EQ(detail::universalName("/srv/data/f", mounts, shares, "host").value_or(""), "//host/Data/f");
    EXPECT_FALSE(detail::universalName("/home/f", mounts, shares, "host"));
}

TEST(NetworkPath, ConversionKeepsWhatItCannotConvert) {
    EXPECT_EQ(Path::convertToUNCPath(""), "");
    EXPECT_EQ(Path::convertToUNCPath("\\\\srv\\share\\a"), "\\\\srv\\share\\a");
    EXPECT_EQ(Path::convertToUNCPath("\\\\srv/share/a"), "\\\\srv/share/a");
    EXPECT_EQ(Path::convertToUNCPath("//srv\\share\\a\\"), "//srv/share/a/");
    EXPECT_EQ(Path::convertToNetworkPath("//srv\\s"), "//srv/s");
    EXPECT_EQ(Path::convertToUNCPath("C:\\data"), "C:\\data"); // a drive names nothing here

    // A scratch folder is neither on a network mount nor shared.
    TestSupport::TempDir dir;
    const std::string file = dir.write("a b.txt");
    EXPECT_EQ(Path::convertToUNCPath(file), file);
    EXPECT_EQ(Path::convertToUNCPath(dir / "missing/x/"), dir / "missing/x/");

    Path member("//srv\\x");
    EXPECT_EQ(member.convertToUNCPath(), "//srv/x");
    EXPECT_EQ(member.get(), "//srv/x");
    Path other("//srv\\y");
    EXPECT_EQ(other.convertToNetworkPath(), "//srv/y");
}
