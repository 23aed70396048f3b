#include <FileSystem/environment/EnvironmentVariableModel.h>

#include <gtest/gtest.h>

using namespace FileSystem;
using Model = EnvironmentVariableModelROAbstract;
using Version = Model::Version;
using Utilities::OperatingSystem;
using Utilities::Platform;
using Utilities::Processor;
using Names = std::vector<std::string>;

namespace {
const Version kRelease{2025, 0, 1, 144071};
const Platform kWindows64(OperatingSystem::Windows, Processor::x86_64);
} // namespace

TEST(VariableNaming, FormingNames) {
    EXPECT_EQ(Model::createVersionString(kRelease), "2025_0_1_144071");
    EXPECT_EQ(Model::createVersionString(Version{2025, -1, 3, 4}), "2025");
    EXPECT_EQ(Model::createVersionString(Version()), "");
    EXPECT_EQ(Model::createVersionStringList(kRelease), (Names{"2025_0_1_144071", "2025_0_1", "2025_0", "2025"}));
    EXPECT_TRUE(Model::createVersionStringList(Version{-1, 0, 0, 0}).empty());
    EXPECT_EQ(Model::createVersionedEnvironmentVariable("FOO", kRelease), "FOO_R2025_0_1_144071");
    EXPECT_EQ(Model::createVersionedEnvironmentVariable("FOO", std::string()), "FOO");

    EXPECT_EQ(Model::createPlatformString(kWindows64), "WINDOWS_X86_64");
    EXPECT_EQ(Model::createPlatformString(Platform(OperatingSystem::Linux)), "LINUX");
    EXPECT_EQ(Model::createPlatformString(Platform(OperatingSystem::Unknown, Processor::x86_64)), "_X86_64");
    EXPECT_EQ(Model::createPlatformString(Platform()), "");
    EXPECT_EQ(Model::createPlatformStringList(kWindows64), (Names{"WINDOWS_X86_64", "WINDOWS"}));
    EXPECT_TRUE(Model::createPlatformStringList(Platform(OperatingSystem::Unknown, Processor::aarch64)).empty());
    EXPECT_EQ(Model::createPlatformEnvironmentVariable("FOO", std::string()), "FOO");
    EXPECT_EQ(Model::createVersionedPlatformEnvironmentVariable("FOO", kRelease, kWindows64),
              "FOO_WINDOWS_X86_64_R2025_0_1_144071");

    EXPECT_EQ(Model::defaultEnvironmentVariableVersion(), kRelease);
    EXPECT_EQ(Model::defaultOperatingSystem(), OperatingSystem::Linux);
    EXPECT_EQ(Model::defaultEvironmentVariableVersionPrefix(), "_R");
}

TEST(VariableNaming, TakingNamesApart) {
    EXPECT_EQ(Model::extractVersionStringFromVariable("FOO_R2025_0"), "2025_0");
    EXPECT_EQ(Model::extractVersionStringFromVariable("FOO_RELEASE"), "");
    EXPECT_EQ(Model::extractVersionStringFromVariable("FOO_R_1"), "");
    EXPECT_EQ(Model::extractVersionStringFromVariable("FOO_R"), "");
    EXPECT_EQ(Model::extractVersionStringFromVariable("FOO_R2025_"), "2025_");
    EXPECT_EQ(Model::extractVersionFromVariable("FOO_R2025_0"), (Version{2025, 0}));
    EXPECT_EQ(Model::extractVersionFromVariable("FOO"), Version());
    EXPECT_EQ(Model::stripVersionFromVariable("FOO_R2025_0"), "FOO_R");
    EXPECT_EQ(Model::stripVersionFromVariable("FOO"), "FOO");
    // Platform names can be formed, not read back.
    EXPECT_EQ(Model::extractPlatformStringFromVariable("FOO_WINDOWS_X86_64_R2025"), "");
    EXPECT_EQ(Model::extractPlatformFromVariable("FOO_LINUX"), Platform());
}

TEST(VariableNaming, TheFifteenNamesInOrder) {
    EnvironmentVariableModel model(OperatingSystem::Windows);
    const Names names = model.getPossibleVersionedPlatformEnvironmentVariables("N", kRelease, kWindows64);
    EXPECT_EQ(names, (Names{"N_WINDOWS_X86_64_R2025_0_1_144071", "N_WINDOWS_X86_64_R2025_0_1",
                            "N_WINDOWS_X86_64_R2025_0", "N_WINDOWS_X86_64_R2025", "N_WINDOWS_X86_64",
                            "N_WINDOWS_R2025_0_1_144071", "N_WINDOWS_R2025_0_1", "N_WINDOWS_R2025_0",
                            "N_WINDOWS_R2025", "N_WINDOWS", "N_R2025_0_1_144071", "N_R2025_0_1", "N_R2025_0",
                            "N_R2025", "N"}));
    EXPECT_EQ(model.getPossibleVersionedPlatformEnvironmentVariables("N", kRelease, Platform(OperatingSystem::Linux))
                  .size(),
              10u);
    EXPECT_EQ(model.getPossibleVersionedPlatformEnvironmentVariables("N", kRelease, Platform()).size(), 5u);
    EXPECT_EQ(model.getPossibleVersionedEnvironmentVariables("N", Version{-1, 0, 0, 0}), Names{"N"});
    EXPECT_EQ(model.getPossiblePlatformEnvironmentVariables("N", kWindows64),
              (Names{"N_WINDOWS_X86_64", "N_WINDOWS", "N"}));
    EXPECT_TRUE(model.getPossibleVersionedPlatformEnvironmentVariables("", kRelease, kWindows64).empty());

    // The most specific name that is set wins.
    model.setEnvironmentVariable("N", "plain");
    model.setEnvironmentVariable("N_R2025", "release");
    model.setEnvironmentVariable("N_WINDOWS", "windows");
    EXPECT_EQ(model.getVersionedPlatformEnvironmentVariable("N", "d", kRelease, kWindows64), "windows");
    EXPECT_EQ(model.getVersionedPlatformEnvironmentVariable("N", "d", kRelease, Platform(OperatingSystem::Linux)),
              "release");
    EXPECT_EQ(model.getActiveVersionedPlatformEnvironmentVariables("N", kRelease, kWindows64),
              (Names{"N_WINDOWS", "N_R2025", "N"}));
    EXPECT_EQ(model.getOptionalActiveVersionedEnvironmentVariable("N", kRelease), "N_R2025");
    EXPECT_EQ(model.getVersionedPlatformEnvironmentVariable("", "default", kRelease, kWindows64), "default");
}

TEST(VariableNaming, LookupsSettersAndTheHasFamily) {
    EnvironmentVariableModel model(OperatingSystem::Linux);
    EXPECT_EQ(model.getActiveVersionedEnvironmentVariable("FOO", kRelease), "FOO"); // nothing exists
    EXPECT_TRUE(model.setVersionedEnvironmentVariable("FOO", "x", kRelease));
    EXPECT_EQ(model.data().size(), 1u);
    EXPECT_TRUE(model.hasEnvironmentVariable("FOO_R2025_0_1_144071"));
    EXPECT_FALSE(model.getOptionalVersionedEnvironmentVariable("FOO", Version{2025, 0, 1, 7}).has_value());
    EXPECT_EQ(model.getVersionedEnvironmentVariable("FOO", "d", kRelease), "x");
    EXPECT_TRUE(model.hasVersionedEnvironmentVariable("FOO"));
    EXPECT_TRUE(model.hasVersionedPlatformEnvironmentVariable("FOO"));
    EXPECT_FALSE(model.hasPlatformEnvironmentVariable("FOO"));
    model.setPlatformEnvironmentVariable("BAR", "b", Model::defaultPlatform());
    EXPECT_TRUE(model.hasPlatformEnvironmentVariable("BAR"));
    model.setVersionedPlatformEnvironmentVariable("BAZ", "z");
    EXPECT_TRUE(model.hasVersionedPlatformEnvironmentVariable("BAZ"));

    // An empty name: two of the family ask the model for "", the third says no.
    model.setEnvironmentVariable("", "empty");
    EXPECT_TRUE(model.hasVersionedEnvironmentVariable(""));
    EXPECT_TRUE(model.hasPlatformEnvironmentVariable(""));
    EXPECT_FALSE(model.hasVersionedPlatformEnvironmentVariable(""));
}

TEST(VariableNaming, AllVersionsOfAName) {
    EnvironmentVariableModel model({{"FOO", "plain"},
                                    {"FOO_R2025", "a"},
                                    {"FOO_R2024_1", "b"},
                                    {"FOOBAR_R3", "c"},
                                    {"FOO_RELEASE", "skipped"},
                                    {"OTHER_R1", "skipped"}},
                                   OperatingSystem::Linux);
    const auto versions = model.getAllVersionedEnvironmentVariables("FOO");
    EXPECT_EQ(versions.size(), 4u);
    EXPECT_EQ(versions.at(Version()), "plain");
    EXPECT_EQ(versions.at(Version{2024, 1}), "b");
    EXPECT_EQ(versions.at(Version{3}), "c"); // only the beginning of the name is tested
    EXPECT_EQ(versions.begin()->second, "plain");

    const auto platforms = model.getAllPlatformEnvironmentVariables("FOO");
    ASSERT_EQ(platforms.size(), 1u);
    EXPECT_EQ(platforms.begin()->second, "plain");
    const auto both = model.getAllVersionedPlatformEnvironmentVariables("FOO");
    EXPECT_EQ(both.size(), 4u);
    EXPECT_EQ(both.at({Platform(), Version{2025}}), "a");

    EnvironmentVariableModel windows({{"foo", "lower"}}, OperatingSystem::Windows);
    EXPECT_EQ(windows.getAllVersionedEnvironmentVariables("FOO").at(Version()), "lower");

    const EnvironmentVariablePlatformSorter sorter;
    EXPECT_TRUE(sorter(Platform(OperatingSystem::Windows), Platform(OperatingSystem::Linux)));
    EXPECT_TRUE(sorter(Platform(OperatingSystem::Linux), Platform()));
    EXPECT_TRUE(sorter(Platform(OperatingSystem::Linux, Processor::aarch64), Platform(OperatingSystem::Linux)));
    EXPECT_TRUE(sorter({Platform(), Version{1}}, {Platform(), Version{2}}));
}
