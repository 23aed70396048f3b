#include <FileSystem/environment/EnvironmentVariableModel.h>
#include <FileSystem/environment/RuntimeEnvironment.h>
#include <FileSystem/runtime/CommandLineArgumentParser.h>
#include <FileSystem/utilities/BuildInfo.h>

#include <gtest/gtest.h>

#include <limits>
#include <map>
#include <sstream>

using namespace FileSystem;
using Args = std::vector<std::string>;
using Level = CommandLineArgumentLevel;

namespace {

// "-DNAME=value" definitions, written back the same way.
class DefineHandler : public ArgumentHandlers::ArgumentPrefixHandlerBase {
public:
    DefineHandler() : ArgumentPrefixHandlerBase({"-D"}, "define NAME=value", Level::Further) {}
    std::map<std::string, std::string> defines;

protected:
    void do_process(iterator& current, iterator) override {
        const std::string text = current->substr(2);
        const std::size_t equal = text.find('=');
        defines[text.substr(0, equal)] = equal == std::string::npos ? "" : text.substr(equal + 1);
    }
    void do_generate(output_iterator& out) const override {
        for (const auto& [name, value] : defines)
            *out++ = "-D" + name + "=" + value;
    }
    bool hasProcess() const override { return true; }
    bool hasGenerate() const override { return !defines.empty(); }
};

class SolverArguments : public CommandLineArgumentParser {
public:
    explicit SolverArguments(std::ostream* stream) : CommandLineArgumentParser(stream) {
        addExecuteFunction(
            "-input", {"-i"}, "the model to read", Level::Ordinary,
            [this](const std::string&, iterator& current, iterator end) {
                input = extractArgument(current, end, "-input needs a file");
            },
            [this]() { return input.empty() ? std::nullopt : std::optional<Args>(Args{input}); });
        addExecuteFunction(
            "-fast", "fewer iterations", Level::Further, [this](const std::string&, iterator&, iterator) { ++fast; },
            [this]() { return fast ? std::optional<Args>(Args{}) : std::nullopt; });
        addBasicExecuteFunction("-trace", "trace everything", Level::DeveloperFurther, {});
        defines = &addCustomHandler<DefineHandler>();
    }
    int helpCode = 0;
    int versionCode = 0;
    std::string input;
    int fast = 0;
    DefineHandler* defines;

protected:
    int showHelpExitCode() const override { return helpCode; }
    int showVersionExitCode() const override { return versionCode; }
};

std::string messageOf(CommandLineArgumentParser& parser, const Args& args) {
    try {
        parser.process(args);
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "no exception";
}

const std::string builtInHelp = "-help\n-help1\n-?\nshow help\n\n-help2\nshow help\n\n-version\nshow version\n\n";

} // namespace

TEST(CommandLineArgumentParser, EmptyCommandLineShowsHelpUnlessIgnored) {
    std::ostringstream out;
    CommandLineArgumentParser parser(out);
    parser.process(Args{});
    EXPECT_EQ(out.str(), parser.getVersion() + "\n\n" + builtInHelp + "\n");
    EXPECT_EQ(parser.exitProgramRequested(), 0);

    // Skipping every argument, or more, is an empty command line too.
    for (const auto skip : {std::uint64_t{2}, std::uint64_t{9}, std::numeric_limits<std::uint64_t>::max()}) {
        CommandLineArgumentParser skipped(nullptr);
        skipped.process(Args{"-x", "-y"}, skip);
        EXPECT_EQ(skipped.exitProgramRequested(), 0);
    }
    CommandLineArgumentParser skipped(nullptr);
    skipped.process(Args{"prog", "-version"}, 1);
    EXPECT_EQ(skipped.exitProgramRequested(), 0);
    EXPECT_EQ(messageOf(skipped, Args{"prog"}), "Invalid Argument : prog");

    std::ostringstream quiet;
    CommandLineArgumentParser ignoring(quiet);
    ignoring.setIgnoreNoArguments(true);
    ignoring.process(Args{"prog"}, 1);
    EXPECT_EQ(quiet.str(), "");
    EXPECT_FALSE(ignoring.exitProgramRequested());
}

TEST(CommandLineArgumentParser, HelpAndVersionRequestTheFirstExitAndTheWalkGoesOn) {
    testing::internal::CaptureStdout();
    SolverArguments silent(nullptr);
    silent.helpCode = 3;
    silent.process(Args{"-help", "-fast"});
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(silent.exitProgramRequested(), 3);
    EXPECT_EQ(silent.fast, 1);

    std::ostringstream out;
    SolverArguments parser(&out);
    parser.helpCode = 3;
    parser.versionCode = 4;
    parser.process(Args{"-help", "-version"});
    const std::string version = parser.getVersion();
    EXPECT_EQ(out.str(), version + "\n\n-help\n-help1\n-?\nshow help\n\n-help2\nshow help\n\n-version\nshow version\n\n"
                                   "-input\n-i\nthe model to read\n\n\n" +
                             version + "\n\n");
    EXPECT_EQ(parser.exitProgramRequested(), 3);

    std::ostringstream further;
    parser.setOutputStream(further);
    parser.process(Args{"-help2"});
    EXPECT_NE(further.str().find("-fast\nfewer iterations\n\n-D\ndefine NAME=value\n\n"), std::string::npos);
    EXPECT_EQ(further.str().find("-trace"), std::string::npos);
    EXPECT_EQ(further.str().find("-devHelp"), std::string::npos);

    const std::string expected = FileSystem::getApplicationName() + "\nRelease: " +
                                 Utilities::libraryVersion().toString() + "\nPlatform: Linux." +
                                 Utilities::toString(Utilities::buildPlatform().processor);
    EXPECT_EQ(version, expected);
}

TEST(CommandLineArgumentParser, DeveloperHelpShowsOnlyTheVersionWithoutTheVariable) {
    // The live environment also answers KV_ names from the name without the prefix.
    TemporaryEnvironmentVariable off("KV_TESSEL_CMDLINE_ENABLE_DEV_HELP", "");
    TemporaryEnvironmentVariable offToo("TESSEL_CMDLINE_ENABLE_DEV_HELP", "");
    std::ostringstream out;
    SolverArguments parser(&out);
    parser.helpCode = 5;
    parser.process(Args{"-devHelp"});
    EXPECT_EQ(out.str(), parser.getVersion() + "\n");
    EXPECT_EQ(parser.exitProgramRequested(), 5);

    TemporaryEnvironmentVariable on("KV_TESSEL_CMDLINE_ENABLE_DEV_HELP", "yes");
    for (const auto& [flag, showsTrace] : {std::pair{"-devHelp1", false}, std::pair{"-devHelp2", true}}) {
        std::ostringstream help;
        SolverArguments developer(&help);
        developer.process(Args{flag});
        EXPECT_NE(help.str().find("-devHelp\n-devHelp1\nshow help\n\n-devHelp2\nshow help\n\n"), std::string::npos);
        EXPECT_NE(help.str().find("-D\ndefine"), std::string::npos);
        EXPECT_EQ(help.str().find("-trace\ntrace everything") != std::string::npos, showsTrace) << flag;
        EXPECT_EQ(developer.exitProgramRequested(), 0);
    }
}

TEST(CommandLineArgumentParser, UnknownArgumentsThrowUnlessIgnoredOrTaken) {
    SolverArguments parser(nullptr);
    EXPECT_THROW(parser.process(Args{"-fast", "-nope"}), InvalidCommandLineArgument);
    EXPECT_EQ(messageOf(parser, Args{"-nope"}), "Invalid Argument : -nope");
    EXPECT_EQ(messageOf(parser, Args{"-helpX"}), "Invalid Argument : -helpX");

    Args taken;
    parser.setOverrideUnhandledArgument([&taken](auto& current, auto, auto last) {
        if (current->starts_with("-"))
            return false;
        taken.push_back(*current++);
        if (taken.back().ends_with(':') && current != last)
            taken.push_back(*current++); // "key: value" takes two
        return true;
    });
    parser.process(Args{"a.dat", "key:", "-fast", "-fast"});
    EXPECT_EQ(taken, (Args{"a.dat", "key:", "-fast"}));
    EXPECT_EQ(parser.fast, 2); // the first -fast went to the override
    EXPECT_EQ(messageOf(parser, Args{"b.dat", "-zzz"}), "Invalid Argument : -zzz");

    parser.setIgnoreUnhandledArguments(true);
    parser.process(Args{"-zzz", "-fast"});
    EXPECT_EQ(parser.fast, 3);
}

TEST(CommandLineArgumentParser, FlagsTakeValuesAndRepeat) {
    SolverArguments parser(nullptr);
    parser.process(Args{"-i", "a.dat", "-fast", "-input", "-fast", "-fast"});
    EXPECT_EQ(parser.input, "-fast"); // a value may look like a flag
    EXPECT_EQ(parser.fast, 2);
    EXPECT_EQ(messageOf(parser, Args{"-fast", "-input"}), "-input needs a file");
    EXPECT_EQ(parser.fast, 3);

    const Args args{"x"};
    auto current = args.cbegin();
    EXPECT_EQ(CommandLineArgumentParser::extractArgument(current, args.cend()), "x");
    EXPECT_EQ(CommandLineArgumentParser::extractArgument(current, args.cend()), std::nullopt);
    EXPECT_EQ(current, args.cend());
}

TEST(CommandLineArgumentParser, GenerateGivesTheStateBack) {
    SolverArguments parser(nullptr);
    EXPECT_EQ(parser.generate(), Args{});
    parser.process(Args{"-Dz=1", "-i", "model.dat", "-fast", "-Da=2", "-Dflag"});
    const Args generated = parser.generate();
    EXPECT_EQ(generated, (Args{"-input", "model.dat", "-fast", "-Da=2", "-Dflag=", "-Dz=1"}));

    SolverArguments again(nullptr);
    again.process(generated);
    EXPECT_EQ(again.defines->defines, parser.defines->defines);
    Args appended{"solver"};
    again.generate(std::back_inserter(appended));
    EXPECT_EQ(appended, (Args{"solver", "-input", "model.dat", "-fast", "-Da=2", "-Dflag=", "-Dz=1"}));

    again.process(Args{"-version"});
    EXPECT_EQ(again.generate(), Args{});
}

TEST(CommandLineArgumentParser, ConstructionAndMoves) {
    try {
        ArgumentHandlers::ExecuteArgumentHandler handler({}, "nothing", Level::Ordinary, {});
        ADD_FAILURE() << "a handler without flags was made";
    } catch (const std::logic_error& error) {
        EXPECT_STREQ(error.what(), "No empty flags allowed");
    }

    std::ostringstream out;
    CommandLineArgumentParser bare(out, false);
    EXPECT_EQ(messageOf(bare, Args{"-help"}), "Invalid Argument : -help");

    // The built-in flags act on the parser they were moved to, not on the one they came from.
    CommandLineArgumentParser original(out);
    CommandLineArgumentParser moved(std::move(original));
    moved.process(Args{"-version"});
    EXPECT_EQ(moved.exitProgramRequested(), 0);
    EXPECT_FALSE(original.exitProgramRequested());
    EXPECT_EQ(out.str(), moved.getVersion() + "\n\n");

    CommandLineArgumentParser source(nullptr);
    CommandLineArgumentParser assigned(nullptr);
    assigned = std::move(source);
    assigned.process(Args{"-help"});
    EXPECT_EQ(assigned.exitProgramRequested(), 0);
    EXPECT_FALSE(source.exitProgramRequested());
    EXPECT_EQ(messageOf(source, Args{"-help"}), "Invalid Argument : -help");
}
