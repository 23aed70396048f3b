#include <FileSystem/process/ShellHelpers.h>

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <random>
#include <stdexcept>

using namespace FileSystem::ShellHelpers;
using Utilities::OperatingSystem;
using Args = std::vector<std::string>;
namespace Argv = FileSystem::ShellHelpers::WindowsCommandLineToArg;

namespace {

// What bash makes of `line` as the arguments of a command: each word as
// printf hands it back, NUL-terminated.
Args bashWords(const std::string& line, const std::vector<std::string>* environment = nullptr) {
    const auto result = TestSupport::run({"bash", "-c", "printf '%s\\0' " + line}, environment);
    EXPECT_TRUE(result.exitedWith(0)) << line;
    Args words;
    std::size_t start = 0;
    for (std::size_t end; (end = result.output.find('\0', start)) != std::string::npos; start = end + 1)
        words.push_back(result.output.substr(start, end - start));
    return words;
}

const Args s_hostile = {"plain", "", "it's", "\"double\"", "back\\slash\\", "$HOME", "${PATH}", "$(id)", "`id`",
                        "a b\tc\nd", "*", "~", "~root", "!", "!!", "-n", "--", "gr\xC3\xBC\xC3\x9F \xE2\x82\xAC",
                        "\xFF\xFE", "'", "''", "\\'", "a;b|c&d>e<f", "#x", "{a,b}", "%PATH%", "^", " ", "\\"};

// Lists of short arguments over an alphabet of the characters that matter to one world or another.
std::vector<Args> randomArgumentLists(unsigned seed) {
    static const std::string alphabet = " '\"\\$`*?[]~!%^&|<>{}_#;()\t\nab-\xC3\xA9";
    std::mt19937 random(seed);
    std::vector<Args> lists(200);
    for (Args& list : lists) {
        list.resize(random() % 5);
        for (std::string& argument : list)
            for (std::size_t n = random() % 9; n > 0; --n)
                argument += alphabet[random() % alphabet.size()];
    }
    return lists;
}

} // namespace

TEST(ShellHelpersBash, QuotesArgumentsAndKeepsChosenReferencesLive) {
    using Bash::toSingleQuotedEscapedArgument;
    EXPECT_EQ(toSingleQuotedEscapedArgument("", EnvVarOption::None), "''");
    EXPECT_EQ(toSingleQuotedEscapedArgument("it's", EnvVarOption::None), "'it'\\''s'");
    EXPECT_EQ(toSingleQuotedEscapedArgument("$HOME", EnvVarOption::None), "'$HOME'");
    EXPECT_EQ(toSingleQuotedEscapedArgument("a b'c", true, EnvVarOption::None), "'a'\\ 'b'\\''c'");
    EXPECT_EQ(toSingleQuotedEscapedArgument("$HOME/x", EnvVarOption::AtStart), "\"$HOME/x\"");
    EXPECT_EQ(toSingleQuotedEscapedArgument("a$HOME", EnvVarOption::AtStart), "'a$HOME'");
    EXPECT_EQ(toSingleQuotedEscapedArgument("a$HOME", EnvVarOption::Anywhere), "'a'\"$HOME\"");
    EXPECT_EQ(toSingleQuotedEscapedArgument("a$", EnvVarOption::Anywhere), "'a'$'$'");
    EXPECT_EQ(toSingleQuotedEscapedArgument("$ x", EnvVarOption::Anywhere), "$'$ x'");
    EXPECT_EQ(toSingleQuotedEscapedArgument("${A", EnvVarOption::Anywhere), "\"${A}\"");
    EXPECT_EQ(toSingleQuotedEscapedArgument("${A}'s ${B}", EnvVarOption::Anywhere), "\"${A}\"\\''s '\"${B}\"");
    // A name that begins with '_' ends at its first other character, which is dropped.
    EXPECT_EQ(toSingleQuotedEscapedArgument("$__x/y", EnvVarOption::Anywhere), "\"$__\"'/y'");
    EXPECT_EQ(toSingleQuotedEscapedArgument(Args{"a", "$B"}, EnvVarOption::AtStart), (Args{"'a'", "\"$B\""}));
    EXPECT_EQ(Bash::decorateEnvironmentVariable("PATH"), "${PATH}");
}

TEST(ShellHelpersBash, LiveReferencesExpandInBash) {
    const std::vector<std::string> environment = {"A=v 1", "B=*", "HOME=/h"};
    const Args args = {"$A/x y", "${A}'s", "a$", "$HOME$B", "x${B}"};
    EXPECT_EQ(bashWords(Bash::generateCommandLine(args, EnvVarOption::Anywhere), &environment),
              (Args{"v 1/x y", "v 1's", "a$", "/h*", "x*"}));
    EXPECT_EQ(bashWords(Bash::generateCommandLine(args, EnvVarOption::AtStart), &environment),
              (Args{"v 1/x y", "v 1's", "a$", "/h*", "x${B}"}));
}

TEST(ShellHelpersBash, RealBashGivesBackEveryQuotedArgument) {
    EXPECT_EQ(bashWords(Bash::generateCommandLine(s_hostile)), s_hostile);
    std::string spaced;
    for (const std::string& argument : s_hostile)
        spaced += Bash::toSingleQuotedEscapedArgument(argument, true, EnvVarOption::None) + " ";
    EXPECT_EQ(bashWords(spaced), s_hostile);
    EXPECT_EQ(Bash::splitCommandLine(spaced, true), s_hostile);
    Args all;
    for (const Args& list : randomArgumentLists(7))
        all.insert(all.end(), list.begin(), list.end());
    EXPECT_EQ(bashWords(Bash::generateCommandLine(all)), all);
}

TEST(ShellHelpersBash, SplitAgreesWithBashInsideItsSubset) {
    const Args lines = {Bash::generateCommandLine(s_hostile),
                        Bash::generateCommandLine("prog", {"", "-x", "a'b"}),
                        "  a   b  ",
                        "'x  y' \"p q\" a\\ b \\\\ \\\" \\'",
                        "a\"b\"'c'd \"it's\" 'say \"hi\"' '' \"\" x''y",
                        "'back\\slash' \"\" -- \xC3\xA9t\xC3\xA9"};
    for (const std::string& line : lines)
        EXPECT_EQ(Bash::splitCommandLine(line, true), bashWords(line)) << line;
}

TEST(ShellHelpersBash, SplitAndUnquoteFollowTheLibraryRules) {
    EXPECT_EQ(Bash::splitCommandLine(" a\\ b 'c d'  \"e'f\" ", false), (Args{"a\\ b", "'c d'", "\"e'f\""}));
    EXPECT_TRUE(Bash::splitCommandLine("   ", true).empty());
    // Only spaces separate; inside double quotes a backslash is literal and '"' always closes.
    EXPECT_EQ(Bash::splitCommandLine("a\tb\nc \"x\\\" y\"", true), (Args{"a\tb\nc", "x\\", "y"}));
    EXPECT_EQ(Bash::fromSingleQuotedEscapedArgument("'a\\b'\\'\"\\$\"end\\"), "a\\b'\\$end");
    EXPECT_EQ(Bash::fromSingleQuotedEscapedArgument(Args{"'x'", "\\\\"}), (Args{"x", "\\"}));
    const CommandInfo info = Bash::convertCommandLineToCommandInfo("'my prog' -v 'a b'", true);
    EXPECT_EQ(info.program, "my prog");
    EXPECT_EQ(info.arguments, (Args{"-v", "a b"}));
    EXPECT_TRUE(Bash::convertCommandLineToCommandInfo("", true).program.empty());
    EXPECT_EQ(Bash::generateCommandLine(info, true, EnvVarOption::None), Bash::generateCommandLine(info));
    EXPECT_EQ(Bash::generateCommandLine("p", true, {"$A"}, EnvVarOption::Anywhere), "'p' \"$A\"");
    EXPECT_EQ(Bash::generateCommandLine(Args{}), "");
}

TEST(ShellHelpersPowerShell, QuotesUnquotesAndEscapesWildcards) {
    using namespace PowerShell;
    EXPECT_EQ(toSingleQuotedEscapedArgument("it's"), "'it''s'");
    EXPECT_EQ(toSingleQuotedEscapedArgument(""), "''");
    EXPECT_EQ(fromSingleQuotedEscapedArgument("'it''s'"), "it's");
    EXPECT_EQ(fromSingleQuotedEscapedArgument(Args{"'''a'''", "x'y"}), (Args{"'a'", "xy"}));
    // Texts of quotes only don't come back: the reverse rule doesn't track open quotes.
    EXPECT_EQ(fromSingleQuotedEscapedArgument(toSingleQuotedEscapedArgument("")), "'");
    EXPECT_EQ(fromSingleQuotedEscapedArgument(toSingleQuotedEscapedArgument("'")), "''");
    EXPECT_EQ(toWildCardEscapedArgument("a*b?[c]`d"), "a`*b`?`[c`]``d");
    EXPECT_EQ(fromWildCardEscapedArgument("a`*b`?`[c`]``d"), "a*b?[c]`d");
    EXPECT_EQ(fromWildCardEscapedArgument("`x`"), "`x");
    EXPECT_EQ(fromWildCardEscapedArgument("a`"), "a");
    EXPECT_EQ(splitCommandLine(" 'a b'  c\"d e\" ", false), (Args{"'a b'", "c\"d", "e\""}));
    const CommandInfo info = convertCommandLineToCommandInfo("'C:\\my app.exe' 'it''s'", true);
    EXPECT_EQ(info.program, "C:\\my app.exe");
    EXPECT_EQ(info.arguments, Args{"it's"});
    EXPECT_EQ(generateCommandLine(info), "'C:\\my app.exe' 'it''s'");
}

TEST(ShellHelpersWindowsCmd, EscapesWithCaretsAndKeepsChosenReferences) {
    using namespace WindowsCmd;
    EXPECT_EQ(toEscapedArgument("a&b%", EnvVarOption::None), "a&b^%");
    EXPECT_EQ(toEscapedArgument("%A%^", EnvVarOption::Anywhere), "%A%^^");
    EXPECT_EQ(toEscapedArgument("x%A%<%", EnvVarOption::Anywhere), "x%A%^<%");
    EXPECT_EQ(toEscapedArgument("%A%%B%", EnvVarOption::AtStart), "%A%^%B^%");
    EXPECT_EQ(toEscapedArgument("|\"^>", EnvVarOption::None), "^|^\"^^^>");
    EXPECT_EQ(toDoubleQuotedEscapedArgument("", EnvVarOption::None), "\"\"");
    EXPECT_EQ(toDoubleQuotedEscapedArgument(Args{"a b", "%X%"}, EnvVarOption::Anywhere), (Args{"\"a b\"", "\"%X%\""}));
    EXPECT_EQ(fromDoubleQuotedEscapedArgument("\"a^\"b^^\"^"), "a\"b^");
    EXPECT_EQ(splitCommandLine("\"a ^\" b\" c^ d  \"\" ", false), (Args{"\"a ^\" b\"", "c^ d", "\"\""}));
    EXPECT_EQ(splitCommandLine("\"a ^\" b\" c^ d  \"\" ", true), (Args{"a \" b", "c d", ""}));
    EXPECT_EQ(generateCommandLine("my app", {"%A%"}, EnvVarOption::AtStart), "\"my app\" \"%A%\"");
    EXPECT_EQ(decorateEnvironmentVariable("PATH"), "%PATH%");
    // A live reference that holds a quote breaks the quoting of the line.
    EXPECT_NE(splitCommandLine(generateCommandLine(Args{"%A\" B%"}, EnvVarOption::Anywhere), true), Args{"%A\" B%"});
}

TEST(ShellHelpersWindowsCommandLineToArg, FollowsTheBackslashRules) {
    using namespace WindowsCommandLineToArg;
    EXPECT_EQ(toDoubleQuotedEscapedArgument("a\\\\\"b\\c"), "\"a\\\\\\\\\\\"b\\c\"");
    EXPECT_EQ(toDoubleQuotedEscapedArgument(""), "\"\"");
    // A trailing run is not doubled, so it escapes the closing quote.
    EXPECT_EQ(toDoubleQuotedEscapedArgument("dir\\"), "\"dir\\\"");
    EXPECT_EQ(fromDoubleQuotedEscapedArgument(toDoubleQuotedEscapedArgument("dir\\")), "dir\"");
    EXPECT_EQ(splitCommandLine(generateCommandLine({"a\\", "b"}), true), Args{"a\" b"});
    EXPECT_EQ(fromDoubleQuotedEscapedArgument("\\\\\\\"x\\\\\"y\\z"), "\\\"x\\y\\z");
    EXPECT_EQ(fromDoubleQuotedEscapedArgument(Args{"\"a b\"", "\\\\"}), (Args{"a b", "\\\\"}));
    EXPECT_EQ(splitCommandLine("  \"a \\\" b\"  c\\\\\"d e\" ", false), (Args{"\"a \\\" b\"", "c\\\\\"d e\""}));
    EXPECT_EQ(splitCommandLine("  \"a \\\" b\"  c\\\\\"d e\" ", true), (Args{"a \" b", "c\\d e"}));
}

TEST(ShellHelpers, LinesGiveBackTheirArgumentsWhereTheRulesAllow) {
    for (const Args& args : randomArgumentLists(11)) {
        EXPECT_EQ(Bash::splitCommandLine(Bash::generateCommandLine(args), true), args);
        EXPECT_EQ(WindowsCmd::splitCommandLine(WindowsCmd::generateCommandLine(args), true), args);
        bool quotesOnly = false;
        bool trailingBackslash = false;
        for (const std::string& argument : args) {
            quotesOnly |= argument.find_first_not_of('\'') == std::string::npos;
            trailingBackslash |= !argument.empty() && argument.back() == '\\';
        }
        if (!quotesOnly) {
            EXPECT_EQ(PowerShell::splitCommandLine(PowerShell::generateCommandLine(args), true), args);
        }
        if (!trailingBackslash) {
            EXPECT_EQ(Argv::splitCommandLine(Argv::generateCommandLine(args), true), args);
        }
        if (!args.empty()) {
            const Args rest(args.begin() + 1, args.end());
            const std::string line = Bash::generateCommandLine(args[0], rest);
            const CommandInfo info = Bash::convertCommandLineToCommandInfo(line, true);
            EXPECT_EQ(info.program, args[0]);
            EXPECT_EQ(info.arguments, rest);
        }
    }
}

TEST(ShellHelpers, DispatchesByOperatingSystem) {
    const Args args = {"a b", "%X%", "$Y"};
    EXPECT_EQ(generateCommandLine(args, EnvVarOption::Anywhere, OperatingSystem::Linux), "'a b' '%X%' \"$Y\"");
    EXPECT_EQ(generateCommandLine(args, EnvVarOption::Anywhere, OperatingSystem::Windows), "\"a b\" \"%X%\" \"$Y\"");
    EXPECT_EQ(generateCommandLine("p", args, EnvVarOption::None, OperatingSystem::Linux), "'p' 'a b' '%X%' '$Y'");
    EXPECT_EQ(generateCommandLine(CommandInfo{"p", {"^"}}, EnvVarOption::None, OperatingSystem::Windows),
              "\"p\" \"^^\"");
    EXPECT_EQ(splitCommandLine("a\\ b ^c", true, OperatingSystem::Linux), (Args{"a b", "^c"}));
    EXPECT_EQ(splitCommandLine("a\\ b ^c", true, OperatingSystem::Windows), (Args{"a\\", "b", "c"}));
    EXPECT_EQ(convertCommandLineToCommandInfo("'p' 'x'", OperatingSystem::Linux).arguments, Args{"x"});
    EXPECT_EQ(convertCommandLineToCommandInfo("\"p\" ^\"x", OperatingSystem::Windows).arguments, Args{"\"x"});
    EXPECT_EQ(toQuotedEscapedArgument("it's", EnvVarOption::None, OperatingSystem::Linux), "'it'\\''s'");
    EXPECT_EQ(toQuotedEscapedArgument("%A%", EnvVarOption::None, OperatingSystem::Windows), "\"^%A^%\"");
    EXPECT_EQ(decorateEnvironmentVariable("V", OperatingSystem::Linux), "${V}");
    EXPECT_EQ(decorateEnvironmentVariable("V", OperatingSystem::Windows), "%V%");

    const auto message = [](const auto& call) -> std::string {
        try {
            call();
        } catch (const std::logic_error& error) {
            return error.what();
        }
        return "no exception";
    };
    const auto unknown = OperatingSystem::Unknown;
    EXPECT_EQ(message([&] { splitCommandLine("a", true, unknown); }), "Not implemented");
    EXPECT_EQ(message([&] { convertCommandLineToCommandInfo("a", unknown); }), "Not implemented");
    EXPECT_EQ(message([&] { generateCommandLine(args, EnvVarOption::None, unknown); }), "Not implemented");
    EXPECT_EQ(message([&] { generateCommandLine("p", args, EnvVarOption::None, unknown); }), "Not implemented");
    EXPECT_EQ(message([&] { generateCommandLine(CommandInfo{}, EnvVarOption::None, unknown); }), "Not implemented");
    EXPECT_EQ(message([&] { decorateEnvironmentVariable("V", unknown); }), "Not implemented");
    EXPECT_EQ(message([&] { toQuotedEscapedArgument("a", EnvVarOption::None, unknown); }), "NOt supported");
    EXPECT_EQ(message([&] { toQuotedEscapedArgument("a", EnvVarOption::None, static_cast<OperatingSystem>(7)); }),
              "NOt supported");
}
