#include <FileSystem/paths/OSPaths.h>

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <cstdlib>

using namespace FileSystem;

namespace {

/// The overrides are read once per process: each check runs in a process of its own.
template <class Check>
void inFreshProcess(Check check) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(std::exit(check() ? 0 : 1), ::testing::ExitedWithCode(0), "");
}

} // namespace

TEST(OSFolders, OverridesComeFirst) {
    inFreshProcess([] {
        const std::string dir = "/data/site";
        ::setenv("KV_TESSEL_TEMP_DIR", (dir + "/tmp").c_str(), 1);
        ::setenv("TESSEL_ALLUSERS_HOME_DIR", (dir + "/all").c_str(), 1); // found through the KV_ fallback
        ::setenv("KV_TESSEL_CURRENT_USER_APP_DIR", (dir + "/user").c_str(), 1);
        ::setenv("KV_TESSEL_USER_HOME_DIR", (dir + "/home").c_str(), 1);
        const bool first = OSPaths::getTemporaryFolderPath() == dir + "/tmp" &&
                           OSPaths::getAppFolderAllUsers() == dir + "/all" &&
                           OSPaths::getAppFolderCurrentUser() == dir + "/user" &&
                           OSPaths::getHomeFolderUser(false) == dir + "/home";
        ::setenv("KV_TESSEL_TEMP_DIR", "/elsewhere", 1);
        return first && OSPaths::getTemporaryFolderPath() == dir + "/tmp"; // taken once
    });
}

TEST(OSFolders, SystemConventionsWithoutOverrides) {
    inFreshProcess([] {
        TestSupport::TempDir dir;
        dir.mkdir("home");
        dir.write("config/user-dirs.dirs", "# written by xdg-user-dirs-update\nXDG_DOCUMENTS_DIR=\"$HOME/My Docs\"\n");
        for (const char* name : {"KV_TESSEL_TEMP_DIR", "TESSEL_TEMP_DIR", "KV_TESSEL_ALLUSERS_HOME_DIR",
                                 "TESSEL_ALLUSERS_HOME_DIR", "KV_TESSEL_CURRENT_USER_APP_DIR",
                                 "TESSEL_CURRENT_USER_APP_DIR", "KV_TESSEL_USER_HOME_DIR", "TESSEL_USER_HOME_DIR",
                                 "XDG_DATA_HOME"})
            ::unsetenv(name);
        ::setenv("HOME", (dir / "home").c_str(), 1);
        ::setenv("XDG_CONFIG_HOME", (dir / "config").c_str(), 1);
        ::setenv("XDG_DATA_DIRS", "/opt/share:/usr/share", 1);
        ::setenv("TMPDIR", (dir / "t").c_str(), 1);
        const std::string documents = OSPaths::getHomeFolderUser(true);
        return documents == dir / "home/My Docs" && std::filesystem::is_directory(dir / "home/My Docs") &&
               OSPaths::getTemporaryFolderPath() == dir / "t" && OSPaths::getAppFolderAllUsers() == "/opt/share" &&
               OSPaths::getAppFolderCurrentUser() == dir / "home/.local/share";
    });
    inFreshProcess([] {
        const std::string dir = "/nowhere";
        ::unsetenv("KV_TESSEL_TEMP_DIR");
        ::unsetenv("TESSEL_TEMP_DIR");
        ::unsetenv("TMPDIR");
        ::unsetenv("XDG_CONFIG_HOME");
        ::setenv("HOME", (dir + "/plainhome").c_str(), 1);
        ::unsetenv("KV_TESSEL_USER_HOME_DIR");
        ::unsetenv("TESSEL_USER_HOME_DIR");
        return OSPaths::getTemporaryFolderPath() == "/tmp" && OSPaths::getHomeFolderUser(false) == dir + "/plainhome";
    });
}

TEST(OSFolders, ExtensionsAndLibraryFolder) {
    ::setenv("PATHEXT", ".COM;.exe;;bat;.Py;.", 1);
    EXPECT_EQ(OSPaths::getExecutableExtensions(), (std::vector<std::string>{"com", "exe", "py"}));
    ::unsetenv("PATHEXT");
    EXPECT_TRUE(OSPaths::getExecutableExtensions().empty());

    EXPECT_EQ(OSPaths::getWindowsDirectory(), "");
    EXPECT_EQ(OSPaths::getSystemDirectory(), "");
    OSPaths::setDLLDirectory("/opt/plugins/x/..");
    EXPECT_EQ(OSPaths::getDLLDirectory(), "/opt/plugins");
    OSPaths::resetDLLDirectory();
    EXPECT_EQ(OSPaths::getDLLDirectory(), "");
}
