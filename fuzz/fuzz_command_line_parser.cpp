// Arbitrary command lines through a parser with flags of each kind: a switch,
// values taken with and without a message, a count that its handler checks,
// prefix handlers, an exit of its own and, by choice, an override for plain
// words. The first byte of the input chooses the parser's settings; the rest,
// cut at NUL bytes, is the list of arguments. Only the documented exceptions
// may come out, and a walk that ends normally must generate arguments that
// give the same state again.

#include <FileSystem/environment/EnvironmentVariableModel.h>
#include <FileSystem/runtime/CommandLineArgumentParser.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

namespace {

using namespace FileSystem;
using Args = std::vector<std::string>;
using Level = CommandLineArgumentLevel;

void check(bool condition) {
    if (!condition)
        __builtin_trap();
}

const std::string missingInput = "-input needs a file";
const std::string badThreads = "-threads needs a count from 1 to 1024";

// "-DNAME=value" and "--define=NAME=value".
class Defines : public ArgumentHandlers::ArgumentPrefixHandlerBase {
public:
    Defines() : ArgumentPrefixHandlerBase({"-D", "--define="}, "define NAME=value", Level::Further) {}
    std::map<std::string, std::string> values;

protected:
    void do_process(iterator& current, iterator) override {
        const std::string text = current->substr(current->starts_with("-D") ? 2 : 9);
        const std::size_t equal = text.find('=');
        values[text.substr(0, equal)] = equal == std::string::npos ? "" : text.substr(equal + 1);
    }
    void do_generate(output_iterator& out) const override {
        for (const auto& [name, value] : values)
            *out++ = "-D" + name + "=" + value;
    }
    bool hasProcess() const override { return true; }
    bool hasGenerate() const override { return !values.empty(); }
};

class Parser : public CommandLineArgumentParser {
public:
    Parser(std::ostream* stream, bool positional) : CommandLineArgumentParser(stream) {
        addExecuteFunction(
            "-verbose", {"-v"}, "more output", Level::Ordinary,
            [this](const std::string&, iterator&, iterator) { verbose = true; },
            [this]() { return verbose ? std::optional<Args>(Args{}) : std::nullopt; });
        addExecuteFunction(
            "-input", "the model", Level::Ordinary,
            [this](const std::string&, iterator& current, iterator end) {
                input = extractArgument(current, end, missingInput);
            },
            [this]() { return input ? std::optional<Args>(Args{*input}) : std::nullopt; });
        addExecuteFunction(
            "-threads", {"-t", "-j"}, "threads to use", Level::Further,
            [this](const std::string&, iterator& current, iterator end) {
                const std::string text = extractArgument(current, end, missingInput);
                const auto digit = [](char c) { return c >= '0' && c <= '9'; };
                if (text.empty() || text.size() > 4 || !std::all_of(text.begin(), text.end(), digit) ||
                    std::stoi(text) < 1 || std::stoi(text) > 1024)
                    throw InvalidCommandLineArgument(badThreads);
                threads = std::stoi(text);
            },
            [this]() { return threads ? std::optional<Args>(Args{std::to_string(threads)}) : std::nullopt; });
        // An optional value: the next argument when it is no flag.
        addExecuteFunction(
            "-opt", "an optional value", Level::Developer,
            [this](const std::string&, iterator& current, iterator end) {
                option = "";
                if (current != end && !current->starts_with("-"))
                    option = extractArgument(current, end);
            },
            [this]() { return option ? std::optional<Args>(option->empty() ? Args{} : Args{*option}) : std::nullopt; });
        addBasicExecuteFunction("-quit", "ends the program", Level::Ordinary,
                                [this](const std::string&, iterator&, iterator) { requestExitProgram(9); });
        defines = &addCustomHandler<Defines>();
        if (positional)
            setOverrideUnhandledArgument([this](iterator& current, iterator, iterator) {
                if (current->starts_with("-"))
                    return false;
                words.push_back(*current++);
                return true;
            });
    }

    auto state() const { return std::tie(verbose, input, threads, option, defines->values, words); }

    bool verbose = false;
    std::optional<std::string> input;
    int threads = 0;
    std::optional<std::string> option;
    Defines* defines;
    Args words;

protected:
    // Plain words first: behind "-opt" they would be taken as its value.
    void do_generate(output_iterator out) const override {
        for (const std::string& word : words)
            *out++ = word;
        CommandLineArgumentParser::do_generate(out);
    }
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    if (size == 0)
        return 0;
    const std::uint8_t settings = bytes[0];
    const std::string text(reinterpret_cast<const char*>(bytes + 1), size - 1);
    Args args;
    for (std::size_t start = 0; !text.empty() && start <= text.size();) {
        const std::size_t end = std::min(text.find('\0', start), text.size());
        args.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    const bool ignoreUnhandled = settings & 1;
    const bool positional = settings & 4;
    const int first = settings >> 5;
    const TemporaryEnvironmentVariable devHelp("KV_TESSEL_CMDLINE_ENABLE_DEV_HELP", (settings & 8) ? "1" : "");

    std::ostringstream out;
    Parser parser((settings & 16) ? nullptr : &out, positional);
    parser.setIgnoreUnhandledArguments(ignoreUnhandled);
    parser.setIgnoreNoArguments(settings & 2);
    bool completed = false;
    try {
        parser.process(args, first);
        completed = true;
    } catch (const InvalidCommandLineArgument& error) {
        const std::string message = error.what();
        const std::string prefix = "Invalid Argument : ";
        const auto rest = args.begin() + std::min<std::size_t>(first, args.size());
        check(message == badThreads ||
              (!ignoreUnhandled && message.starts_with(prefix) &&
               std::find(rest, args.end(), message.substr(prefix.size())) != args.end()));
    } catch (const std::runtime_error& error) {
        check(error.what() == missingInput);
    } catch (...) {
        check(false);
    }
    // An exit request stops the handlers' part of generate.
    const Args generated = parser.generate();
    if (parser.exitProgramRequested())
        check(generated == parser.words);
    if (!completed || parser.exitProgramRequested())
        return 0;

    Parser again(nullptr, positional);
    again.setIgnoreNoArguments(true);
    try {
        again.process(generated);
    } catch (...) {
        check(false);
    }
    check(!again.exitProgramRequested());
    check(again.state() == parser.state());
    check(again.generate() == generated);
    return 0;
}
