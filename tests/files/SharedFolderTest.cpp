#include <FileSystem/environment/MachineInfo.h>
#include <FileSystem/files/SharedFolder.h>
#include <FileSystem/paths/Path.h>
#include <FileSystem/paths/PathMapper.h>
#include <FileSystem/platform/Shares.h>

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <cctype>
#include <cstdlib>
#include <unistd.h>

using FileSystem::Path;
using FileSystem::SharedFolder;

namespace {

/// A share name no other test run uses.
std::string uniqueShareName(const char* tag) {
    static int counter = 0;
    return std::string("fst") + tag + std::to_string(::getpid()) + "x" + std::to_string(++counter);
}

/// Removes the share with Samba's own tool at the end of the scope, whatever
/// the test did with it.
class ShareCleanup {
public:
    explicit ShareCleanup(std::string name) : m_name(std::move(name)) {}
    ~ShareCleanup() {
        try {
            if (!TestSupport::run({"net", "usershare", "info", m_name}).output.empty())
                TestSupport::run({"net", "usershare", "delete", m_name});
        } catch (...) {
        }
    }
    ShareCleanup(const ShareCleanup&) = delete;
    ShareCleanup& operator=(const ShareCleanup&) = delete;

private:
    std::string m_name;
};

/// Samba's record of a share as `net usershare info` prints it ("" when none).
std::string sambaRecord(const std::string& name) {
    return TestSupport::run({"net", "usershare", "info", name}).output;
}

bool sambaUserSharesAvailable() {
    return ::access("/usr/bin/net", X_OK) == 0 && ::access("/var/lib/samba/usershares", W_OK) == 0;
}

} // namespace

TEST(SharedFolder, RefusesNamesThatSambaWouldMisread) {
    TestSupport::TempDir dir;
    const std::string folder = dir.mkdir("bad");
    const std::string sentinel = "untouched";
    for (const std::string& name : {std::string(), std::string("a/b"), std::string("a\\b"), std::string("a\nb"),
                                    std::string("tab\there"), std::string("-option"), std::string("x:y"),
                                    std::string("pct%s"), std::string(81, 'n')}) {
        std::string error = sentinel;
        EXPECT_FALSE(SharedFolder::createShare(folder, name, error)) << name;
        EXPECT_EQ(error, "Error with the share name") << name;
        EXPECT_FALSE(SharedFolder::deleteShare(folder, name)) << name;
    }
    EXPECT_FALSE(SharedFolder::isShared(folder, "any"));
    EXPECT_FALSE(SharedFolder(folder, "x").isShared());
    EXPECT_EQ(SharedFolder(folder, "Name").getShareName(), "Name");
    EXPECT_EQ(SharedFolder(folder, "Name").getPath(), folder);
}

TEST(SharedFolder, SharesFindsConvertsAndRemovesARealShare) {
    if (!sambaUserSharesAvailable()) {
        if (std::getenv("FS_REQUIRE_SAMBA") != nullptr)
            FAIL() << "Samba's user shares are not set up (net, /var/lib/samba/usershares)";
        GTEST_SKIP() << "Samba's user-share tools are not installed";
    }
    TestSupport::TempDir dir;
    const std::string folder = dir.mkdir("Shared Folder");
    const std::string file = dir.write("Shared Folder/sub/report.txt");
    const std::string name = uniqueShareName("Sh");
    const std::string computer = FileSystem::MachineInfo::computername();
    ASSERT_FALSE(computer.empty());
    ShareCleanup cleanup(name);

    const SharedFolder shared(folder + "/", name);
    EXPECT_FALSE(shared.isShared());
    std::string error = "untouched";
    ASSERT_TRUE(shared.createShare(error));
    EXPECT_EQ(error, "untouched");
    // Samba holds the folder without the trailing slash it was given.
    const std::string record = sambaRecord(name);
    EXPECT_NE(record.find("path=" + folder + "\n"), std::string::npos) << record;

    EXPECT_TRUE(shared.isShared());
    EXPECT_TRUE(SharedFolder::isShared(folder + "/sub", "other name"));
    EXPECT_TRUE(shared.createShare(error)); // already shared: nothing to do

    // Names of the share, both ways; share names ignore case.
    const std::string unc = "//" + computer + "/" + name + "/sub/report.txt";
    EXPECT_EQ(Path::convertToUNCPath(file), unc);
    EXPECT_EQ(Path::convertToUNCPath(folder), "//" + computer + "/" + name);
    EXPECT_EQ(Path::convertFromUNCPath(unc), file);
    std::string upper = name, lower = name;
    for (char& c : upper)
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    for (char& c : lower)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    EXPECT_EQ(FileSystem::sys::localSharePath(lower).value_or(""), folder);
    EXPECT_EQ(FileSystem::sys::shareNameSpelling(computer, upper).value_or(""), name);
    EXPECT_FALSE(FileSystem::sys::shareNameSpelling("some-other-host", upper));

    // The machine's own mappings hold the share.
    const FileSystem::PathMapper mounts = FileSystem::PathMapper::fromMounts();
    EXPECT_EQ(mounts.toServicePath(file).value_or(""), unc);
    EXPECT_EQ(mounts.toMountedPath(unc).value_or(""), file);

    // The name cannot be taken by a second folder, and stays with the first.
    const std::string second = dir.mkdir("second");
    EXPECT_FALSE(SharedFolder::createShare(second, upper, error));
    EXPECT_EQ(error, "The share name is already in use on this machine.");
    EXPECT_NE(sambaRecord(name).find("path=" + folder + "\n"), std::string::npos);

    ASSERT_TRUE(shared.deleteShare());
    EXPECT_EQ(sambaRecord(name), "");
    EXPECT_FALSE(shared.isShared());
    EXPECT_FALSE(FileSystem::sys::localSharePath(name));
    EXPECT_EQ(Path::convertToUNCPath(file), file);
    EXPECT_EQ(Path::convertFromUNCPath(unc), unc);
    EXPECT_FALSE(shared.deleteShare());

    // A folder that does not exist cannot be shared.
    const std::string missingName = uniqueShareName("Mi");
    ShareCleanup cleanupMissing(missingName);
    EXPECT_FALSE(SharedFolder::createShare(dir / "missing", missingName, error));
    EXPECT_EQ(error, "Failed to share folder.");
}
