#include <FileSystem/environment/EnvironmentVariableModel.h>
#include <FileSystem/files/File.h>
#include <FileSystem/platform/Environment.h>

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <cstdlib>

using namespace FileSystem;
using Utilities::OperatingSystem;

namespace {

SystemEnvironmentVariables& live() { return SystemEnvironmentVariables::instance(); }

std::string parse(const std::string& text, const EnvironmentVariableModel& model, OperatingSystem os) {
    return parseEnvironmentVariables(text, model, os);
}

} // namespace

TEST(EnvironmentModel, StoresFollowTheirSystemsNamingRules) {
    EnvironmentVariableModel windows({{"Path", "C:\\bin"}, {"PATH", "second"}}, OperatingSystem::Windows);
    EXPECT_TRUE(windows.hasEnvironmentVariable("PATH"));
    EXPECT_EQ(windows.getEnvironmentVariable("path", "none"), "C:\\bin"); // the first of equal names stays
    EnvironmentVariableModel linux({{"Path", "/bin"}}, OperatingSystem::Linux);
    EXPECT_FALSE(linux.hasEnvironmentVariable("PATH"));
    EXPECT_EQ(EnvironmentVariableModel().data().key_comp().operatingSystem(), OperatingSystem::Linux);

    // A model keeps empty values; the live environment has no such state.
    linux.setEnvironmentVariable("EMPTY", "");
    EXPECT_TRUE(linux.hasEnvironmentVariable("EMPTY"));
    EXPECT_EQ(linux.getOptionalEnvironmentVariable("EMPTY"), std::string());
    EXPECT_TRUE(linux.setEnvironmentVariables(std::map<std::string, std::string>{{"A", "1"}, {"B", "2"}}));
    EXPECT_EQ(linux.getAllEnvironmentVariables().size(), 4u);

    const EnvironmentVariableModel copy(static_cast<const EnvironmentVariableModelROAbstract&>(windows));
    EXPECT_TRUE(copy.hasEnvironmentVariable("pAtH")); // keeps the comparator of the other model
    const auto map = EnvironmentVariableModel::data_type_to_map(windows.data());
    EXPECT_EQ(map.at("Path"), "C:\\bin");
}

TEST(EnvironmentModel, LiveEnvironmentAndItsFallback) {
    ::setenv("FS_TEST_FOO", "value", 1);
    ::unsetenv("KV_FS_TEST_FOO");
    EXPECT_TRUE(live().hasEnvironmentVariable("KV_FS_TEST_FOO"));
    EXPECT_EQ(live().getOptionalEnvironmentVariable("KV_KV_FS_TEST_FOO"), "value");
    EXPECT_EQ(live().getAllEnvironmentVariables().count("KV_FS_TEST_FOO"), 0u);
    EXPECT_EQ(live().getAllEnvironmentVariables().at("FS_TEST_FOO"), "value");
    EXPECT_EQ(EnvironmentVariableModel::fromSystem().getEnvironmentVariable("FS_TEST_FOO", ""), "value");
    EXPECT_FALSE(EnvironmentVariableModel::fromSystem().hasEnvironmentVariable("KV_FS_TEST_FOO"));
    EXPECT_FALSE(live().hasEnvironmentVariable("KV_")); // falls back to the empty name

    EXPECT_TRUE(live().setEnvironmentVariable("FS_TEST_FOO", ""));
    EXPECT_EQ(std::getenv("FS_TEST_FOO"), nullptr); // an empty value removes
    EXPECT_FALSE(live().setEnvironmentVariable("", "x"));
    try {
        live().setEnvironmentVariable("BAD=NAME", "x");
        FAIL() << "the system refuses such a name";
    } catch (const std::runtime_error& e) {
        EXPECT_EQ(std::string(e.what()), "error: SetEnvironmentVariable Error code : 22");
    }
    EXPECT_FALSE(live().hasEnvironmentVariable(std::string("A\0B", 3)));
}

TEST(EnvironmentModel, TemporaryVariablePutsTheOldValueBack) {
    ::unsetenv("FS_TEST_TEMP");
    {
        TemporaryEnvironmentVariable guard("FS_TEST_TEMP", "inside");
        EXPECT_STREQ(std::getenv("FS_TEST_TEMP"), "inside");
    }
    EXPECT_EQ(std::getenv("FS_TEST_TEMP"), nullptr);

    ::setenv("FS_TEST_TEMP", "before", 1);
    {
        TemporaryEnvironmentVariable first("FS_TEST_TEMP", "one");
        TemporaryEnvironmentVariable moved(std::move(first)); // only `moved` restores
        EXPECT_STREQ(std::getenv("FS_TEST_TEMP"), "one");
    }
    EXPECT_STREQ(std::getenv("FS_TEST_TEMP"), "before");
    ::unsetenv("FS_TEST_TEMP");

    // The guard saves the variable itself, not what the "KV_" fallback answers.
    ::setenv("FS_TEST_FALL", "plain", 1);
    ::unsetenv("KV_FS_TEST_FALL");
    {
        TemporaryEnvironmentVariable guard("KV_FS_TEST_FALL", "inside");
        EXPECT_STREQ(std::getenv("KV_FS_TEST_FALL"), "inside");
    }
    EXPECT_EQ(std::getenv("KV_FS_TEST_FALL"), nullptr);
    EXPECT_STREQ(std::getenv("FS_TEST_FALL"), "plain");
    ::unsetenv("FS_TEST_FALL");

    // A variable set to an empty text is set again, to exactly that.
    ::setenv("FS_TEST_TEMP", "", 1);
    {
        TemporaryEnvironmentVariable guard("FS_TEST_TEMP", "inside");
    }
    ASSERT_NE(std::getenv("FS_TEST_TEMP"), nullptr);
    EXPECT_STREQ(std::getenv("FS_TEST_TEMP"), "");
    ::unsetenv("FS_TEST_TEMP");
}

TEST(EnvironmentModel, ExpansionInBothForms) {
    EnvironmentVariableModel model({{"A", ""}, {"B", "bee"}, {"PCT", "x%"}, {"HOME", "/home/u"}}, OperatingSystem::Linux);
    EXPECT_EQ(parse("a%%b", model, OperatingSystem::Windows), "a%%b");
    EXPECT_EQ(parse("%A%", model, OperatingSystem::Windows), "");
    EXPECT_EQ(parse("%Q%B%", model, OperatingSystem::Windows), "%Qbee"); // the closing % of Q opens B
    EXPECT_EQ(parse("[%B%][%UNKNOWN%][%B%]", model, OperatingSystem::Windows), "[bee][%UNKNOWN%][bee]");
    EXPECT_EQ(parse("%PCT%B%", model, OperatingSystem::Windows), "xbee"); // a value's last % takes part

    EXPECT_EQ(parse("$A-$B", EnvironmentVariableModel(OperatingSystem::Linux), OperatingSystem::Linux), "-");
    EXPECT_EQ(parse("${HOME}/x:$HOME_x:$B", model, OperatingSystem::Linux), "/home/u/x::bee");
    EXPECT_EQ(parse("${A B}$B", model, OperatingSystem::Linux), "${A B}$B");
    EXPECT_EQ(parse("${B", model, OperatingSystem::Linux), "${B");
    // A `$` that opens no reference stays, and the scan goes on behind it.
    EXPECT_EQ(parse("cost $5 $_x $ $B $", model, OperatingSystem::Linux), "cost  $_x $ bee $");
    EXPECT_EQ(parse("100% $B", model, OperatingSystem::Unknown), "100% $B");
    EXPECT_EQ(model.parseEnvironmentVariables("$B$B", OperatingSystem::Linux), "beebee");

    EXPECT_EQ(joinListEnvironmentVariableValue({"", "a"}, ";"), "a");
    EXPECT_EQ(joinListEnvironmentVariableValue({"a", ""}, OperatingSystem::Linux), "a:");
    EXPECT_EQ(joinListEnvironmentVariableValue({"a", "b"}, OperatingSystem::Windows), "a;b");
    EXPECT_EQ(splitListEnvironmentVariableValue("", ";"), std::list<std::string>{""});
    EXPECT_EQ(splitListEnvironmentVariableValue("a;", OperatingSystem::Windows), (std::list<std::string>{"a", ""}));
    EXPECT_EQ(splitListEnvironmentVariableValue("/a::/b", OperatingSystem::Linux),
              (std::list<std::string>{"/a", "", "/b"}));
}

namespace {

/// The Windows form as one edits the text in place: look for the next '%'
/// from the resume position, replace, resume on the value's last character
/// (for an empty value, on the character before it).
std::string windowsInPlace(std::string text, const EnvironmentVariableModel& model) {
    std::size_t from = 0;
    for (;;) {
        const std::size_t p = text.find('%', from);
        const std::size_t q = p == std::string::npos ? p : text.find('%', p + 1);
        if (q == std::string::npos)
            return text;
        const auto value = model.getOptionalEnvironmentVariable(text.substr(p + 1, q - p - 1));
        if (!value) {
            from = q;
            continue;
        }
        text.replace(p, q - p + 1, *value);
        from = value->empty() ? (p == 0 ? 0 : p - 1) : p + value->size() - 1;
    }
}

} // namespace

TEST(EnvironmentModel, ExpansionEdgesAndLargeTexts) {
    const EnvironmentVariableModel model({{"E", ""}, {"H", "h"}, {"P", "%"}, {"Q", "q%"}, {"", "blank"}},
                                         OperatingSystem::Windows);
    // An empty value at the very start does not end the scan.
    EXPECT_EQ(parse("%E%%H%", model, OperatingSystem::Windows), "h");
    EXPECT_EQ(parse("%E%", model, OperatingSystem::Windows), "");
    EXPECT_EQ(parse("%E%%E%x%H%", model, OperatingSystem::Windows), "xh");
    EXPECT_EQ(parse("%E%%", model, OperatingSystem::Windows), "%");

    // Every text over a small alphabet expands as the in-place edit does.
    const std::string alphabet = "%EHPQx";
    for (std::size_t length = 0; length <= 6; ++length) {
        std::vector<std::size_t> digits(length, 0);
        for (;;) {
            std::string text;
            for (std::size_t d : digits)
                text += alphabet[d];
            ASSERT_EQ(parse(text, model, OperatingSystem::Windows), windowsInPlace(text, model)) << text;
            std::size_t i = 0;
            while (i < length && ++digits[i] == alphabet.size())
                digits[i++] = 0;
            if (i == length)
                break;
        }
    }

    // 200,000 references of each form, mixed with unknown names and plain text.
    constexpr int kCount = 200000;
    std::string windows, windowsExpected, linux, linuxExpected;
    for (int i = 0; i < kCount; ++i) {
        windows += i % 3 == 0 ? "%NOPE%," : "%H%%E%,";
        windowsExpected += i % 3 == 0 ? "%NOPE%," : "h,";
        linux += i % 2 == 0 ? "${H}$NOPE/" : "$H.";
        linuxExpected += i % 2 == 0 ? "h/" : "h.";
    }
    EXPECT_EQ(parse(windows, model, OperatingSystem::Windows), windowsExpected);
    const EnvironmentVariableModel linuxModel({{"H", "h"}}, OperatingSystem::Linux);
    EXPECT_EQ(parse(linux, linuxModel, OperatingSystem::Linux), linuxExpected);
}

TEST(EnvironmentModel, PersistentFileLines) {
    TestSupport::TempDir dir;
    const std::string file = dir.write("environment", "# comment\nPATH=\"/usr/bin\"\nFOO=old\nexport BAR=1\n");
    EXPECT_TRUE(sys::updateEnvironmentFile(file, "FOO", "new value"));
    EXPECT_TRUE(sys::updateEnvironmentFile(file, "NEW", "plain"));
    EXPECT_TRUE(sys::updateEnvironmentFile(file, "BAR", ""));
    EXPECT_EQ(File::readWholeFile(file, true), "# comment\nPATH=\"/usr/bin\"\nFOO=\"new value\"\nNEW=plain\n");
    EXPECT_FALSE(sys::updateEnvironmentFile(file, "Q", "has \" quote"));
    EXPECT_TRUE(sys::updateEnvironmentFile(dir / "fresh", "ONE", "1"));
    EXPECT_EQ(File::readWholeFile(dir / "fresh", true), "ONE=1\n");
    EXPECT_FALSE(sys::updateEnvironmentFile(dir / "no/folder/file", "ONE", "1"));
}
