#include <FileSystem/paths/Path.h>
#include <FileSystem/paths/PathMapper.h>

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <sstream>

using FileSystem::Path;
using FileSystem::PathMapper;
using FileSystem::PathMapperMapping;

namespace {

std::string serviceOf(const PathMapper& mapper, const std::string& path) {
    return mapper.toServicePath(path).value_or("<none>");
}

std::string mountedOf(const PathMapper& mapper, const std::string& path) {
    return mapper.toMountedPath(path).value_or("<none>");
}

} // namespace

TEST(PathMapper, MatchesWholeNamesAndPrefersTheLongestMapping) {
    PathMapper mapper;
    mapper.addMapping("/mnt/a", "//srv/a");
    EXPECT_EQ(serviceOf(mapper, "/mnt/a/b"), "//srv/a/b");
    EXPECT_EQ(serviceOf(mapper, "/mnt/a"), "//srv/a");
    EXPECT_EQ(serviceOf(mapper, "/mnt/ab"), "<none>");
    EXPECT_FALSE(mapper.isMountedPath("/mnt/ab"));
    EXPECT_FALSE(mapper.isMountedPath("/MNT/a/b")); // case counts
    // Inputs are taken in canonical form.
    EXPECT_EQ(serviceOf(mapper, "\\mnt\\a\\b\\"), "//srv/a/b");

    mapper.addMapping("/mnt", "//srv/root");
    EXPECT_EQ(serviceOf(mapper, "/mnt/a/x"), "//srv/a/x"); // longer wins, though earlier
    EXPECT_EQ(serviceOf(mapper, "/mnt/ab"), "//srv/root/ab");
    mapper.addMapping("/mnt/a", "//other/a");
    EXPECT_EQ(serviceOf(mapper, "/mnt/a/x"), "//other/a/x"); // of equal length the later

    // The reverse direction works by the service paths.
    EXPECT_TRUE(mapper.isServicePath("//srv/a/q"));
    EXPECT_FALSE(mapper.isServicePath("//srv/abc"));
    EXPECT_EQ(mountedOf(mapper, "//srv/root/z/y"), "/mnt/z/y");
    EXPECT_EQ(mountedOf(mapper, "\\\\srv\\a\\q"), "/mnt/a/q");
    EXPECT_EQ(mountedOf(mapper, "//nowhere/a"), "<none>");

    // An empty mapped path holds every rooted path, and nothing else.
    PathMapper root;
    root.addMapping(PathMapperMapping{"", "", "//srv/all"});
    EXPECT_EQ(serviceOf(root, "/x/y"), "//srv/all/x/y");
    EXPECT_EQ(serviceOf(root, "x/y"), "<none>");
    EXPECT_FALSE(root.isMountedPath(""));
}

TEST(PathMapper, AddingCanonicalisesAndInfersTheType) {
    PathMapper mapper;
    mapper.addMapping("C:\\data\\", "\\\\srv\\share\\");
    mapper.addMapping("/mnt/long", "\\\\?\\UNC\\srv\\long");
    mapper.addMapping("/mnt/nfs/", "host:/export/");
    mapper.addMapping("/mnt/local", "/srv/local");
    mapper.addMapping("smb", "/mnt/typed", "//srv/typed");
    const auto& data = mapper.data();
    ASSERT_EQ(data.size(), 5u);
    EXPECT_EQ(data[0].type, "cifs");
    EXPECT_EQ(data[0].mountedPath, "C:/data");
    EXPECT_EQ(data[0].servicePath, "//srv/share");
    EXPECT_EQ(data[1].type, "cifs");
    EXPECT_EQ(data[1].servicePath, "//srv/long");
    EXPECT_EQ(data[2].type, "nfs");
    EXPECT_EQ(data[2].mountedPath, "/mnt/nfs");
    EXPECT_EQ(data[2].servicePath, "host:/export");
    EXPECT_EQ(data[3].type, "");
    EXPECT_EQ(data[4].type, "smb");
    EXPECT_EQ(serviceOf(mapper, "C:/data/x"), "//srv/share/x");

    // Mappings given whole are taken as they are.
    PathMapper raw({PathMapperMapping{"t", "/a\\", "b"}});
    raw.addMapping(std::vector<PathMapperMapping>{{"u", "/c", "d"}, {"v", "/e", "f"}});
    ASSERT_EQ(raw.data().size(), 3u);
    EXPECT_EQ(raw.data()[0].mountedPath, "/a\\");
    EXPECT_EQ(raw.data()[2].type, "v");
}

TEST(PathMapper, ReadsMTabText) {
    const std::string text = "//srv/my\\040share /mnt/x cifs rw 0 0\n"
                             "srv:/export /mnt/nfs nfs rw,vers=3 0 0\n"
                             "drvfs /mnt/c 9p rw,path=C:\\;uid=0 0 0\n"
                             "/dev/sda1 / ext4 rw 0 0\n"
                             "D: /mnt/d drvfs rw 0 0\n"
                             "//srv/tab /mnt/with\\011tab\\134and\\\\back cifs rw 0 0\n";
    const PathMapper all = PathMapper::fromMTabData(text, {});
    const auto& data = all.data();
    ASSERT_EQ(data.size(), 5u);
    EXPECT_EQ(data[0].type, "cifs");
    EXPECT_EQ(data[0].mountedPath, "/mnt/x");
    EXPECT_EQ(data[0].servicePath, "//srv/my share");
    EXPECT_EQ(data[1].type, "nfs");
    EXPECT_EQ(data[1].servicePath, "srv:/export");
    EXPECT_EQ(data[2].type, "9p");
    EXPECT_EQ(data[2].mountedPath, "/mnt/c");
    EXPECT_EQ(data[2].servicePath, Path::makeKVLCanonicalPath(Path::convertToUNCPath("C:\\")));
    EXPECT_EQ(data[3].type, "drvfs");
    EXPECT_EQ(data[3].servicePath, "D:");
    // Both backslash escapes give a backslash, which canonical form turns into '/'.
    EXPECT_EQ(data[4].mountedPath, "/mnt/with\ttab/and/back");
    EXPECT_EQ(serviceOf(all, "/mnt/x/report.txt"), "//srv/my share/report.txt");
    EXPECT_EQ(mountedOf(all, "srv:/export/a"), "/mnt/nfs/a");

    // The type filter, from a stream too.
    std::istringstream in(text);
    const PathMapper nfsOnly = PathMapper::fromMTabData(in, {"nfs"});
    ASSERT_EQ(nfsOnly.data().size(), 1u);
    EXPECT_EQ(nfsOnly.data()[0].mountedPath, "/mnt/nfs");

    // From a file, and an unreadable file gives no mappings.
    TestSupport::TempDir dir;
    EXPECT_EQ(PathMapper::fromMTabFile(dir.write("mtab", text), {"cifs"}).data().size(), 2u);
    EXPECT_TRUE(PathMapper::fromMTabFile(dir / "missing", {}).data().empty());
    EXPECT_TRUE(PathMapper::fromMTabFile("", {}).data().empty());
}

TEST(PathMapper, SkipsHostileMTabLines) {
    const std::string text = std::string("\n"
                                         "//srv/a /mnt/a\n"                       // too few fields
                                         "//srv/b /mnt/b ext4 rw 0 0\n"           // unsupported type
                                         "//srv/c  /mnt/c cifs rw\n"              // doubled space: type is "/mnt/c"
                                         "drvfs /mnt/e 9p rw,uid=0 0 0\n"         // drvfs without its path
                                         "//srv/f\\04 /mnt/f\\ cifs rw 0 0\n"     // broken escapes stay
                                         "//srv/g\\999\\ /mnt/g\\\\\\ nfs\n"      // more broken ones, no options
                                         "drvfs /mnt/h 9p ,path=E:\\\n"           // the second spelling of the option
                                         "\\040 \\040 cifs\n"                     // escapes only
                                         "x y c\\151fs\n") +                      // only the listed escapes decode
                             std::string("a\0b /mnt/nul cifs\n", 18);
    const PathMapper mapper = PathMapper::fromMTabData(text, {});
    const auto& data = mapper.data();
    ASSERT_EQ(data.size(), 5u);
    EXPECT_EQ(data[0].servicePath, "//srv/f/04");
    EXPECT_EQ(data[0].mountedPath, "/mnt/f");
    EXPECT_EQ(data[1].type, "nfs");
    EXPECT_EQ(data[1].servicePath, "//srv/g/999");
    EXPECT_EQ(data[2].mountedPath, "/mnt/h");
    EXPECT_EQ(data[2].servicePath, "E:");
    EXPECT_EQ(data[3].mountedPath, " ");
    EXPECT_EQ(data[4].mountedPath, "/mnt/nul");

    EXPECT_EQ(PathMapper::decodeMTab("a\\040b\\011c\\012d\\134e\\\\f"), "a b\tc\nd\\e\\f");
    EXPECT_EQ(PathMapper::decodeMTab("\\0401\\\\\\040"), " 1\\ ");
    EXPECT_EQ(PathMapper::decodeMTab("\\04"), "\\04");
    EXPECT_EQ(PathMapper::decodeMTab("\\"), "\\");
    EXPECT_EQ(PathMapper::decodeMTab("\\041"), "\\041");
}

TEST(PathMapper, ReadsMappingCSV) {
    const std::string rows = "/mnt/a,//srv/a\n"
                             "nfs,/mnt/n,host:/n\n"
                             "only one\n"
                             "1,2,3,4\n"
                             "\"/mnt/with,comma\",//srv/q\n";
    const PathMapper plain = PathMapper::fromCSVData(rows, false);
    ASSERT_EQ(plain.data().size(), 3u);
    EXPECT_EQ(plain.data()[0].type, "cifs");
    EXPECT_EQ(plain.data()[1].type, "nfs");
    EXPECT_EQ(plain.data()[1].servicePath, "host:/n");
    EXPECT_EQ(plain.data()[2].mountedPath, "/mnt/with,comma");

    // With a header its first row goes, even a row that would map.
    EXPECT_EQ(PathMapper::fromCSVData(rows, true).data().size(), 2u);
    TestSupport::TempDir dir;
    const std::string file = dir.write("map.csv", "mounted,service\r\n/mnt/b,//srv/b\r\n");
    const PathMapper fromFile = PathMapper::fromCSVFile(file, true);
    ASSERT_EQ(fromFile.data().size(), 1u);
    EXPECT_EQ(serviceOf(fromFile, "/mnt/b/c"), "//srv/b/c");
    EXPECT_EQ(PathMapper::fromCSVFile(file, false).data().size(), 2u);
    EXPECT_TRUE(PathMapper::fromCSVFile(dir / "missing.csv", false).data().empty());
}

TEST(PathMapper, IdentityAndNetworkNameMappers) {
    TestSupport::TempDir dir;
    const FileSystem::PathMapperIdentity identity;
    EXPECT_TRUE(identity.isMountedPath("rel/x") && identity.isServicePath(""));
    EXPECT_EQ(identity.toServicePath("a\\b").value_or(""), "a\\b");
    EXPECT_EQ(identity.toMountedPath("//h/s").value_or(""), "//h/s");

    const FileSystem::PathMapperUNC unc;
    EXPECT_TRUE(unc.isMountedPath("\\\\srv\\share\\a"));
    EXPECT_FALSE(unc.isServicePath(dir.path())); // a local scratch folder
    EXPECT_FALSE(unc.toServicePath(dir.path()).has_value());
    EXPECT_EQ(unc.toServicePath("//srv\\share\\a").value_or(""), "//srv/share/a");
    EXPECT_EQ(unc.toMountedPath("\\\\srv\\share").value_or(""), "\\\\srv\\share");
}
