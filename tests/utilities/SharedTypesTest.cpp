#include <FileSystem/utilities/BuildInfo.h>
#include <FileSystem/utilities/Endianness.h>
#include <FileSystem/utilities/Flags.h>
#include <FileSystem/utilities/Unicode.h>

#include <gtest/gtest.h>

using namespace Utilities;

namespace {
enum class Bits : std::uint32_t { A = 1, B = 2, C = 4 };
}

TEST(SharedTypes, Flags) {
    Flags<Bits> set = Flags<Bits>(Bits::A) | Bits::C;
    EXPECT_EQ(set.value(), 5u);
    EXPECT_TRUE(set.test(Bits::A) && set.test(Bits::C) && !set.test(Bits::B));
    EXPECT_EQ((set & Bits::C).value(), 4u);
    set.reset(Bits::A);
    EXPECT_EQ(set, Flags<Bits>(Bits::C));
    EXPECT_TRUE(Flags<Bits>().none());
    EXPECT_EQ(sizeof(Flags<Bits>), 4u);
}

TEST(SharedTypes, VersionParsesPrintsAndComparesSigned) {
    const Version<4, int> v("2025.0.1.144071");
    EXPECT_EQ(v.toString(), "2025.0.1.144071");
    EXPECT_EQ(Version<4>("2025_0", "_").toString(), "2025.0.-1.-1");
    EXPECT_EQ(Version<3>("1-2.3", ".-").toString(), "1.2.3");
    EXPECT_EQ(Version<3>("1.x.3").toString(), "1.-1.3");
    EXPECT_EQ(Version<3>("1.2.3.4.5").toString(), "1.2.3");
    EXPECT_EQ(Version<3>("").toString(), "-1.-1.-1");
    EXPECT_EQ(Version<3>("99999999999").toString(), "-1.-1.-1"); // does not fit an int
    EXPECT_TRUE(Version<3>().isEmpty());

    EXPECT_LT((Version<4>{2025, 0, 1}), v); // a missing component (-1) is smaller
    EXPECT_LT((Version<4>{2024, 9, 9, 9}), v);
    EXPECT_GT((Version<4>{2025, 0, 2}), v);
    EXPECT_EQ((Version<4>{2025, 0, 1, 144071}), v);
}

TEST(SharedTypes, OperatingSystemAndPlatformTexts) {
    EXPECT_EQ(toString(OperatingSystem::Windows), "Windows");
    EXPECT_EQ(toString(OperatingSystem::Linux, TextCase::Upper), "LINUX");
    EXPECT_EQ(toString(OperatingSystem::Windows, TextCase::Lower), "windows");
    EXPECT_EQ(toString(OperatingSystem::Unknown), "");
    EXPECT_EQ(operatingSystemFromString("lInUx"), OperatingSystem::Linux);
    EXPECT_EQ(operatingSystemFromString("Win"), OperatingSystem::Unknown);

    EXPECT_EQ(processorFromString("X64"), Processor::x86_64);
    EXPECT_EQ(processorFromString("arm64"), Processor::aarch64);
    EXPECT_EQ(processorFromString("x32"), Processor::x86_32);
    EXPECT_EQ(processorFromString("ARM32"), Processor::aarch32);
    EXPECT_EQ(processorFromString("aarch64"), Processor::aarch64);
    EXPECT_EQ(processorFromString("sparc"), Processor::Unknown);

    const Platform platform(OperatingSystem::Windows, Processor::x86_64);
    EXPECT_EQ(platform.toString(), "Windows_x86_64");
    EXPECT_EQ(platform.toString(TextCase::Upper), "WINDOWS_X86_64");
    EXPECT_EQ(Platform::fromString("WINDOWS_X64"), platform);
    EXPECT_EQ(Platform::fromString("linux"), Platform(OperatingSystem::Linux));
    EXPECT_EQ(Platform(OperatingSystem::Linux).toString(), "Linux");

    EXPECT_EQ(buildOperatingSystem(), OperatingSystem::Linux);
    EXPECT_EQ(buildPlatform().operatingSystem, OperatingSystem::Linux);
    EXPECT_NE(buildPlatform().processor, Processor::Unknown);
    EXPECT_EQ(libraryVersion(), (Version<4, int>{2025, 0, 1, 144071}));
    EXPECT_EQ(hostEndianness(), Endianness::LittleEndian);
}

TEST(SharedTypes, UnicodeCaseMappingIsPerCodePoint) {
    EXPECT_EQ(toLowerUtf8("ABC ÄÖÜ ΣΑΒ ЖЯ İ"), "abc äöü σαβ жя i");
    EXPECT_EQ(toUpperUtf8("straße ǆ"), "STRAßE Ǆ"); // simple mappings only
    // Bytes that are not well-formed UTF-8, and code points beyond the basic plane, are copied.
    const std::string odd = "A\xC3\x28\xED\xA0\x80\xF0\x90\x90\xA8\xC0\xAF\xFF";
    EXPECT_EQ(toLowerUtf8(odd), "a\xC3\x28\xED\xA0\x80\xF0\x90\x90\xA8\xC0\xAF\xFF");
    EXPECT_TRUE(equalsIgnoreCaseUtf8("Ärger", "äRGER"));
    EXPECT_FALSE(equalsIgnoreCaseUtf8("a", "b"));
}
