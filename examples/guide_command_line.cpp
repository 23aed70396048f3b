// Command lines: a solver's flags registered with functions, walked, checked
// and written back for a child process; help and version leave an exit request.
#include <FileSystem/runtime/CommandLineArgumentParser.h>

#include <iostream>
#include <sstream>

using namespace FileSystem;
using Args = std::vector<std::string>;

// A program derives from the parser and registers its flags in the constructor.
class SolverArguments : public CommandLineArgumentParser {
public:
    explicit SolverArguments(std::ostream& out) : CommandLineArgumentParser(out) {
        addExecuteFunction(
            "-input", {"-i"}, "the model to solve", CommandLineArgumentLevel::Ordinary,
            [this](const std::string&, iterator& current, iterator end) {
                input = extractArgument(current, end, "-input needs a file name");
            },
            // What generate writes: no value for nothing, else the arguments behind the flag.
            [this]() { return input.empty() ? std::nullopt : std::optional<Args>(Args{input}); });
        addExecuteFunction(
            "-threads", "threads to use", CommandLineArgumentLevel::Further,
            [this](const std::string&, iterator& current, iterator end) {
                const std::string count = extractArgument(current, end, "-threads needs a count");
                if (count.empty() || count.find_first_not_of("0123456789") != std::string::npos)
                    throw InvalidCommandLineArgument("Invalid Argument : -threads " + count);
                threads = std::stoi(count);
            },
            [this]() { return threads ? std::optional<Args>(Args{std::to_string(threads)}) : std::nullopt; });
    }

    std::string input;
    int threads = 0;
};

int main() {
    int failures = 0;
    const auto expect = [&failures](bool ok, const std::string& what) {
        std::cout << (ok ? "  ok: " : "  FAILED: ") << what << "\n";
        failures += !ok;
    };

    // A program would pass getApplicationArguments() and skip the program's own name with 1.
    std::ostringstream out;
    SolverArguments arguments(out);
    arguments.process(Args{"solver", "-i", "beam.model", "-threads", "8"}, 1);
    expect(arguments.input == "beam.model" && arguments.threads == 8, "flags and their values taken");
    expect(!arguments.exitProgramRequested(), "the program goes on");

    // The state written back as a command line, for a child process; another parser reads it the same.
    const Args forChild = arguments.generate();
    expect(forChild == Args({"-input", "beam.model", "-threads", "8"}), "generated with the main flags");
    std::ostringstream childOut;
    SolverArguments child(childOut);
    child.process(forChild);
    expect(child.input == arguments.input && child.threads == arguments.threads, "the child reads the same state");

    // Help does not end the program: it writes and requests an exit, and the caller ends.
    std::ostringstream help;
    SolverArguments asking(help);
    asking.process(Args{"-help", "-threads", "2"});
    std::cout << "  help:\n" << help.str();
    expect(asking.exitProgramRequested() == 0, "help requests exit code 0");
    expect(asking.threads == 2, "the flags behind -help are still processed");
    expect(help.str().find("-input\n-i\nthe model to solve\n") != std::string::npos &&
               help.str().find("-threads") == std::string::npos,
           "-help shows level 1; -threads is level 2 (-help2)");
    expect(asking.getVersion().find("\nRelease: ") != std::string::npos, "the version names the release");

    // An unknown flag, or a missing value, is an exception with a text for the user.
    SolverArguments wrong(out);
    try {
        wrong.process(Args{"-fast"});
        expect(false, "an unknown flag is refused");
    } catch (const InvalidCommandLineArgument& error) {
        expect(std::string(error.what()) == "Invalid Argument : -fast", "an unknown flag is refused");
    }
    try {
        wrong.process(Args{"-input"});
        expect(false, "a missing value is refused");
    } catch (const std::runtime_error& error) {
        expect(std::string(error.what()) == "-input needs a file name", "a missing value is refused");
    }

    // Words that are no flags may be taken by an override instead.
    Args files;
    wrong.setOverrideUnhandledArgument([&files](auto& current, auto, auto) {
        if (current->starts_with("-"))
            return false;
        files.push_back(*current++);
        return true;
    });
    wrong.process(Args{"a.model", "-threads", "4", "b.model"});
    expect(files == Args({"a.model", "b.model"}) && wrong.threads == 4, "plain words taken by the override");
    return failures == 0 ? 0 : 1;
}
