#include <FileSystem/environment/EnvironmentVariableModel.h>
#include <FileSystem/environment/WindowsRegistry.h>
#include <FileSystem/platform/Registry.h>

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <random>
#include <thread>

using namespace FileSystem::WindowsRegistry;
namespace fs = std::filesystem;
namespace store = FileSystem::sys::registry;

namespace {

/// Points both hives at a scratch folder for the length of a test.
class WindowsRegistryTest : public ::testing::Test {
protected:
    TestSupport::TempDir dir;
    FileSystem::TemporaryEnvironmentVariable root{"KV_TESSEL_REGISTRY_ROOT", dir.path()};
    const std::string user = dir / "HKEY_CURRENT_USER";
};

/// Reaches the protected statics, to write values of any kind and length.
struct RawValue : KeyValueBase {
    using KeyValueBase::create;
    using KeyValueBase::getBinaryValue;
    using KeyValueBase::setBinaryValue;
};

std::string bytesOf(std::initializer_list<int> values) {
    std::string out;
    for (int v : values)
        out += static_cast<char>(v);
    return out;
}

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

} // namespace

TEST_F(WindowsRegistryTest, EveryKindOfValueRoundTrips) {
    const std::string key = "HKEY_CURRENT_USER\\Software\\Tessel";
    const std::string unicode = "Gr\xC3\xBC\xC3\x9F" "e \xE2\x82\xAC \xF0\x9F\x98\x80"; // Grüße € 😀

    for (const std::string& text : {std::string(), unicode}) {
        EXPECT_TRUE(StringValue(key, "text").set(text));
        EXPECT_EQ(StringValue(key, "text").get(), text);
    }
    EXPECT_EQ(StringValue(key, "text").type(), ValueType::String);
    // The data is what the registry holds: UTF-16 with a terminating zero.
    EXPECT_EQ(RawValue::getBinaryValue(key, "text", {ValueFilter::Any})->second,
              Helpers::stringToBinary(unicode) + std::string(2, '\0'));

    EXPECT_TRUE(ExpandableStringValue(key, "path").set("%HOME%\\bin"));
    EXPECT_EQ(ExpandableStringValue(key, "path").get(), "%HOME%\\bin");
    EXPECT_EQ(ExpandableStringValue(key, "path").type(), ValueType::ExpandableString);

    using List = std::vector<std::string>;
    for (const List& list : {List{}, List{""}, List{"a", "", "b", ""}, List{unicode, "x"}}) {
        EXPECT_TRUE(MultiStringValue(key, "list").set(list));
        EXPECT_EQ(MultiStringValue(key, "list").get(), list);
    }
    EXPECT_FALSE(MultiStringValue(key, "list").set({std::string("a\0b", 3)})); // a member cannot hold a zero
    EXPECT_EQ(MultiStringValue(key, "list").get(), (List{unicode, "x"}));

    EXPECT_TRUE(DWordValue(key, "dword").set(0xFEDCBA98u));
    EXPECT_EQ(DWordValue(key, "dword").get(), 0xFEDCBA98u);
    EXPECT_EQ(RawValue::getBinaryValue(key, "dword", {ValueFilter::DWord})->second, bytesOf({0x98, 0xBA, 0xDC, 0xFE}));
    EXPECT_TRUE(QWordValue(key, "qword").set(0x0123456789ABCDEFull));
    EXPECT_EQ(QWordValue(key, "qword").get(), 0x0123456789ABCDEFull);

    const std::string binary("\0\x01\xFF\0zero\0", 9);
    for (const std::string& bytes : {binary, std::string()}) {
        EXPECT_TRUE(BinaryValue(key, "bytes").set(bytes));
        EXPECT_EQ(BinaryValue(key, "bytes").get(), bytes);
    }

    // Names: the default value (empty), names that are no file names, and case.
    for (const std::string& name : {std::string(), std::string("."), std::string(".."), std::string("a/b"),
                                    std::string("%41@\\\n"), unicode}) {
        EXPECT_TRUE(StringValue(key, name).set("value of " + name)) << name;
        EXPECT_EQ(StringValue(key, name).get(), "value of " + name) << name;
    }
    EXPECT_EQ(DWordValue(key, "DWORD").get(), 0xFEDCBA98u);
    EXPECT_TRUE(DWordValue(key, "DWord").set(7));
    EXPECT_EQ(DWordValue(key, "dword").get(), 7u);
    EXPECT_EQ(Key::getChildValues(key),
              (List{"", "%41@\\\n", ".", "..", "a/b", "bytes", "dword", unicode, "list", "path", "qword", "text"}));

    EXPECT_TRUE(StringValue(key, "text").remove());
    EXPECT_FALSE(StringValue(key, "text").exists());
    EXPECT_FALSE(StringValue(key, "text").remove());
    EXPECT_FALSE(StringValue(key, std::string(300, 'x')).set("too long a name for the store"));
    EXPECT_FALSE(BinaryValue(key, "huge").set(std::string(store::kMaxValueData + 1, 'x')));
    EXPECT_FALSE(BinaryValue(key, "huge").exists());
}

TEST_F(WindowsRegistryTest, ReadingsAcceptOnlyTheirKinds) {
    const std::string key = "HKEY_CURRENT_USER\\Kinds";
    ASSERT_TRUE(DWordValue(key, "number").set(42));
    EXPECT_FALSE(StringValue(key, "number").get());
    EXPECT_FALSE(StringValue(key, "number").exists());
    EXPECT_FALSE(QWordValue(key, "number").get());
    EXPECT_FALSE(BinaryValue(key, "number").get());
    EXPECT_FALSE(StringValue(key, "number").type());
    EXPECT_EQ(BinaryValue(key, "number", {ValueFilter::Any}).get(), bytesOf({42, 0, 0, 0}));
    EXPECT_EQ(BinaryValue(key, "number", {ValueFilter::String, ValueFilter::DWord}).type(), ValueType::DWord);
    EXPECT_FALSE(BinaryValue(key, "number", {}).exists());

    ASSERT_TRUE(StringValue(key, "text").set("x"));
    EXPECT_FALSE(ExpandableStringValue(key, "text").get());
    EXPECT_FALSE(MultiStringValue(key, "text").get());

    // Data of the wrong length is no number; text ends at its first zero.
    ASSERT_TRUE(RawValue::create(key, "short", bytesOf({1, 2, 3}), ValueType::DWord));
    EXPECT_TRUE(DWordValue(key, "short").exists());
    EXPECT_FALSE(DWordValue(key, "short").get());
    ASSERT_TRUE(RawValue::create(key, "cut", Helpers::stringToBinary(std::string("ab\0cd", 5)), ValueType::String));
    EXPECT_EQ(StringValue(key, "cut").get(), "ab");
    // Kinds without a filter of their own are read only with Any.
    ASSERT_TRUE(RawValue::create(key, "link", "x", static_cast<ValueType>(6)));
    EXPECT_FALSE(BinaryValue(key, "link", {ValueFilter::Binary, ValueFilter::None}).exists());
    EXPECT_EQ(BinaryValue(key, "link", {ValueFilter::Any}).type(), static_cast<ValueType>(6));

    // setBinaryValue writes only into an existing key; create makes the key.
    EXPECT_FALSE(RawValue::setBinaryValue(key + "\\Missing", "v", "x", ValueType::Binary));
    EXPECT_FALSE(Key::exists(key + "\\Missing"));
    EXPECT_TRUE(RawValue::setBinaryValue(key, "v", "x", ValueType::Binary));
    EXPECT_TRUE(RawValue::create(key + "\\Made\\Here", "v", "x", ValueType::Binary));
    EXPECT_TRUE(Key::exists(key + "\\Made"));
}

TEST_F(WindowsRegistryTest, KeysAreCreatedListedAndRemoved) {
    const std::string deep = "HKEY_CURRENT_USER\\Software\\Tessel\\A\\B\\C\\D";
    EXPECT_FALSE(Key::exists(deep));
    EXPECT_FALSE(Key::create(deep + "\\E", false)); // its parent is missing
    EXPECT_TRUE(Key(deep).create());
    EXPECT_TRUE(Key::create(deep + "\\E", false));
    EXPECT_TRUE(Key::create(deep, false)); // an existing key is opened
    EXPECT_TRUE(Key::exists("HKEY_CURRENT_USER\\software\\TESSEL\\a\\b")); // case does not matter
    EXPECT_TRUE(fs::is_directory(user + "/Software/Tessel/A/B/C/D/E"));

    // Names that are no file names are names like others.
    const std::string parent = "HKEY_CURRENT_USER\\Software\\Tessel";
    for (const char* name : {"..", ".", "a/b", "@x", "%2F", "Zeta", "alpha"})
        EXPECT_TRUE(Key::create(parent + "\\" + name, true)) << name;
    EXPECT_TRUE(Key::create(parent + "\\ALPHA", true)); // the same key as "alpha"
    EXPECT_EQ(Key::getChildTokens(parent),
              (std::vector<std::string>{"%2F", ".", "..", "@x", "A", "a/b", "alpha", "Zeta"}));
    EXPECT_TRUE(Key::getChildValues(parent).empty());
    EXPECT_EQ(Key::getChildTokens("HKEY_CURRENT_USER"), std::vector<std::string>{"Software"});

    // Without recursion a key with subkeys stays, one without goes with its values.
    ASSERT_TRUE(StringValue(deep, "v").set("x"));
    EXPECT_FALSE(Key::remove(parent + "\\A", false));
    EXPECT_TRUE(Key::exists(deep));
    EXPECT_TRUE(Key::remove(deep + "\\E", false));
    EXPECT_TRUE(Key::remove(deep, false));
    EXPECT_FALSE(Key::exists(deep));
    EXPECT_FALSE(Key::remove(deep, false)); // no longer there
    ASSERT_TRUE(StringValue(parent + "\\A\\B", "v").set("x"));
    EXPECT_TRUE(Key::remove(parent + "\\a", true));
    EXPECT_FALSE(Key::exists(parent + "\\A"));
    EXPECT_FALSE(Key::remove("HKEY_CURRENT_USER", true)); // a root is never removed
    EXPECT_TRUE(Key::exists("HKEY_CURRENT_USER"));

    // The machine's hive follows the same root; the other roots have no store.
    EXPECT_TRUE(DWordValue("HKEY_LOCAL_MACHINE\\Software", "n").set(1));
    EXPECT_TRUE(fs::is_regular_file(dir / "HKEY_LOCAL_MACHINE/Software/@n"));
    for (const char* path : {"HKEY_CLASSES_ROOT\\x", "HKEY_USERS\\x", "HKEY_CURRENT_CONFIG", "HKEY_NOWHERE\\x",
                             "hkey_current_user\\x", "", "\\\\"}) {
        EXPECT_FALSE(Key::create(path, true)) << path;
        EXPECT_FALSE(Key::exists(path)) << path;
        EXPECT_FALSE(DWordValue(path, "n").set(1)) << path;
        EXPECT_TRUE(Key::getChildTokens(path).empty()) << path;
    }
    EXPECT_EQ(Key::rootHandle("HKEY_PERFORMANCE_NLSTEXT"), 0x80000060u);
    EXPECT_EQ(Key::rootHandle("HKEY_CLASSES_ROOT"), 0x80000000u);
    EXPECT_FALSE(Key::rootHandle("HKEY_FOO"));
}

TEST(WindowsRegistryPaths, TokensSplitAtBackslashesOnly) {
    const std::string path = "\\HKEY_CURRENT_USER\\\\Software\\a/b\\Last\\";
    EXPECT_EQ(Key::getTokens(path), (std::vector<std::string>{"HKEY_CURRENT_USER", "Software", "a/b", "Last"}));
    EXPECT_EQ(Key(path).getTokens(), Key::getTokens(path));
    EXPECT_EQ(Key::getFirstToken(path), "HKEY_CURRENT_USER");
    EXPECT_EQ(Key::getLastToken(path), "Last");
    EXPECT_EQ(Key::stripFirstToken(path), "Software\\a/b\\Last");
    EXPECT_EQ(Key::stripLastToken(path), "HKEY_CURRENT_USER\\Software\\a/b");
    EXPECT_EQ(Key::stripLastToken("Root"), "");
    EXPECT_EQ(Key::getLastToken("\\\\"), "");
    EXPECT_TRUE(Key::getTokens("").empty());
    EXPECT_EQ(Key::keySeparator(), '\\');
}

TEST(WindowsRegistryHelpers, TextTravelsAsUtf16Bytes) {
    const std::string text = "A\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80"; // A é € 😀
    const std::string utf16 = bytesOf({0x41, 0, 0xE9, 0, 0xAC, 0x20, 0x3D, 0xD8, 0x00, 0xDE});
    EXPECT_EQ(Helpers::stringToBinary(text), utf16);
    EXPECT_EQ(Helpers::stringFromBinary(utf16), text);
    EXPECT_EQ(Helpers::stringFromBinary(utf16 + "x"), text); // a last odd byte is no character
    EXPECT_EQ(Helpers::stringFromBinary("A"), "");
    EXPECT_EQ(Helpers::stringToBinary(std::string("\0", 1)), std::string(2, '\0'));
    // A lone surrogate, and bytes that are no UTF-8, become U+FFFD.
    EXPECT_EQ(Helpers::stringFromBinary(bytesOf({0x00, 0xD8, 0x41, 0x00})), "\xEF\xBF\xBD" "A");
    EXPECT_EQ(Helpers::stringFromBinary(bytesOf({0x00, 0xDC})), "\xEF\xBF\xBD");
    EXPECT_EQ(Helpers::stringToBinary("\xC0\xAF" "b"), bytesOf({0xFD, 0xFF, 0xFD, 0xFF, 'b', 0}));  // overlong
    EXPECT_EQ(Helpers::stringToBinary("\xED\xA0\x80"), bytesOf({0xFD, 0xFF, 0xFD, 0xFF, 0xFD, 0xFF})); // surrogate
    EXPECT_EQ(Helpers::stringToBinary("\xE2\x82"), bytesOf({0xFD, 0xFF, 0xFD, 0xFF})); // cut short
}

TEST_F(WindowsRegistryTest, HostileStoreContentsReadAsNothing) {
    const std::string key = "HKEY_CURRENT_USER\\Hostile";
    ASSERT_TRUE(StringValue(key, "good").set("fine"));
    const std::string folder = user + "/Hostile";
    const std::string good = readFile(folder + "/@good");

    // Random bytes, a damaged copy, a cut copy, a lying length: no value, never listed.
    std::mt19937 random(7);
    std::string noise(500, '\0');
    for (char& c : noise)
        c = static_cast<char>(random());
    std::string flipped = good;
    flipped[17] ^= 1;
    std::string lying = good;
    lying[15] = '\x7F'; // a length of nearly 2 GiB
    int n = 0;
    for (const std::string& bytes : {noise, flipped, good.substr(0, good.size() - 1), lying, good + "x"}) {
        dir.write("HKEY_CURRENT_USER/Hostile/@bad" + std::to_string(n), bytes);
        EXPECT_FALSE(BinaryValue(key, "bad" + std::to_string(n), {ValueFilter::Any}).exists()) << n;
        EXPECT_FALSE(store::decodeValueFile(bytes)) << n;
        ++n;
    }
    dir.write("HKEY_CURRENT_USER/Hostile/@%2e", good);  // not the store's form of "."
    dir.write("HKEY_CURRENT_USER/Hostile/.hidden", good); // a work file's form
    dir.mkdir("HKEY_CURRENT_USER/Hostile/@folder");
    EXPECT_EQ(Key::getChildValues(key), std::vector<std::string>{"good"});
    EXPECT_EQ(Key::getChildTokens(key), std::vector<std::string>{});
    EXPECT_FALSE(StringValue(key, "folder").set("x")); // a folder in the value's place stays
    EXPECT_TRUE(fs::is_directory(folder + "/@folder"));

    // Links planted in the store lead nowhere: a key through a link does not
    // exist, and a write replaces a value link itself, never its target.
    const std::string outside = dir.mkdir("outside");
    const std::string secret = dir.write("outside/@secret", good);
    fs::create_directory_symlink(outside, folder + "/Escape");
    fs::create_symlink(secret, folder + "/@secret");
    EXPECT_FALSE(Key::exists(key + "\\Escape"));
    EXPECT_FALSE(StringValue(key + "\\Escape", "v").set("x"));
    EXPECT_FALSE(StringValue(key + "\\Escape\\Deeper", "v").set("x"));
    EXPECT_TRUE(Key::getChildValues(key + "\\Escape").empty());
    EXPECT_FALSE(StringValue(key, "secret").get());
    EXPECT_EQ(Key::getChildTokens(key), std::vector<std::string>{});
    EXPECT_TRUE(StringValue(key, "secret").set("replaced"));
    EXPECT_FALSE(fs::is_symlink(folder + "/@secret"));
    EXPECT_EQ(readFile(secret), good);

    // ".." is a name, not a way up; recursive removal removes links as links.
    EXPECT_TRUE(StringValue("HKEY_CURRENT_USER\\..\\..\\outside", "v").set("x"));
    EXPECT_TRUE(fs::is_regular_file(user + "/%2E./%2E./outside/@v"));
    EXPECT_FALSE(fs::exists(outside + "/@v"));
    EXPECT_TRUE(Key::remove(key, true));
    EXPECT_FALSE(fs::exists(folder));
    EXPECT_EQ(readFile(secret), good);
    EXPECT_TRUE(fs::is_directory(outside));

    // The name forms: one file name per name, and only the store's forms decode.
    EXPECT_EQ(store::encodeName("..", false), "%2E.");
    EXPECT_EQ(store::encodeName("", true), "@");
    EXPECT_EQ(store::encodeName("", false), "");
    for (const char* fileName : {"%2e", "%41", "%2", "a%", "@x", ".x", "a/b", "x\n"})
        EXPECT_FALSE(store::decodeName(fileName, false)) << fileName;
    EXPECT_FALSE(store::decodeName("plain", true));
    EXPECT_EQ(store::decodeName("%2E%2F%40%25", false), "./@%");
}

TEST_F(WindowsRegistryTest, ReplacementIsAtomic) {
    const std::string key = "HKEY_CURRENT_USER\\Atomic";
    const std::string first(200000, 'a'), second(300000, 'b');
    ASSERT_TRUE(BinaryValue(key, "v").set(first));
    std::atomic<bool> done{false};
    std::atomic<int> torn{0}, reads{0};
    std::thread reader([&] {
        while (!done) {
            const auto value = BinaryValue(key, "v").get();
            if (!value || (*value != first && *value != second))
                ++torn;
            ++reads;
        }
    });
    for (int i = 0; i < 40; ++i)
        EXPECT_TRUE(BinaryValue(key, "v").set(i % 2 ? first : second));
    done = true;
    reader.join();
    EXPECT_EQ(torn, 0);
    EXPECT_GT(reads, 0);
    // No work file stays behind.
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(user + "/Atomic"))
        names.push_back(entry.path().filename().string());
    EXPECT_EQ(names, std::vector<std::string>{"@v"});
}

TEST(WindowsRegistryStore, HivesLieInTheirFolders) {
    TestSupport::TempDir dir;
    FileSystem::TemporaryEnvironmentVariable config("XDG_CONFIG_HOME", dir.path());
    EXPECT_EQ(store::hiveLocation(store::Hive::CurrentUser, "").folder,
              dir.path() + "/tessel/registry/HKEY_CURRENT_USER");
    EXPECT_EQ(store::hiveLocation(store::Hive::LocalMachine, "").folder, "/etc/tessel/registry/HKEY_LOCAL_MACHINE");
    EXPECT_EQ(store::hiveLocation(store::Hive::LocalMachine, "/r").folder, "/r/HKEY_LOCAL_MACHINE");
    {
        FileSystem::TemporaryEnvironmentVariable relative("XDG_CONFIG_HOME", "relative");
        FileSystem::TemporaryEnvironmentVariable home("HOME", dir.path());
        EXPECT_EQ(store::hiveLocation(store::Hive::CurrentUser, "").folder,
                  dir.path() + "/.config/tessel/registry/HKEY_CURRENT_USER");
    }
    // Without the library's variable the user's hive is under the configuration folder.
    FileSystem::TemporaryEnvironmentVariable root("KV_TESSEL_REGISTRY_ROOT", "");
    ASSERT_TRUE(DWordValue("HKEY_CURRENT_USER\\T", "n").set(5));
    EXPECT_TRUE(fs::is_regular_file(dir / "tessel/registry/HKEY_CURRENT_USER/T/@n"));
    EXPECT_EQ((fs::status(dir / "tessel/registry/HKEY_CURRENT_USER").permissions() & fs::perms::group_all),
              fs::perms::none);
}
