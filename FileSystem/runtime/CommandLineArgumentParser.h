#pragma once

// The command line of a program: handlers claim its arguments by their flags,
// and the parser can write the handlers' state back as a command line. Help,
// developer help and the version are built in; they do not end the program but
// leave a request to exit, which the caller reads after process().

#include <FileSystem/Export.h>
#include <FileSystem/runtime/ArgumentHandlers.h>

#include <cstdint>
#include <functional>
#include <iosfwd>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace FileSystem {

/// An argument of a command line that nothing accepts; the text is
/// "Invalid Argument : " and the argument.
class FILESYSTEM_EXPORT InvalidCommandLineArgument : public std::runtime_error {
public:
    /// Made with the text of the message.
    using std::runtime_error::runtime_error;
    ~InvalidCommandLineArgument() override;
};

/// Walks the arguments of a program and hands each to the first handler, in
/// the order of registration, that claims it. A program derives from the
/// parser and registers its flags with functions (addExecuteFunction), or uses
/// it as it is for the built-in flags alone:
///
/// | Flags                     | Level | Action                     |
/// |---------------------------|-------|----------------------------|
/// | "-help", "-help1", "-?"   | 1     | printHelp(Ordinary)        |
/// | "-help2"                  | 1     | printHelp(Further)         |
/// | "-devHelp", "-devHelp1"   | 201   | printDevHelp(Developer)    |
/// | "-devHelp2"               | 201   | printDevHelp(DeveloperFurther) |
/// | "-version"                | 1     | printVersion()             |
///
/// Help and version write to the output stream and request an exit. The walk
/// goes on behind them, and a flag given twice acts twice. After process() the
/// caller reads exitProgramRequested() and ends the program with that code.
/// An argument that no handler claims throws InvalidCommandLineArgument unless
/// unhandled arguments are ignored or the override accepts it.
///
/// A moved parser keeps its handlers, and the built-in ones act on the new
/// object; functions that a derived class registered keep what they captured.
class FILESYSTEM_EXPORT CommandLineArgumentParser {
public:
    /// Walks the arguments.
    using iterator = ArgumentHandlers::ArgumentHandlerAbstract::iterator;
    /// Receives generated arguments.
    using output_iterator = ArgumentHandlers::ArgumentHandlerAbstract::output_iterator;
    /// Decides on an argument that no handler claims: true when it is taken
    /// (it may move `current` on over what it consumes), false to throw.
    using UnhandledArgumentFunction = std::function<bool(iterator& current, iterator first, iterator last)>;
    /// The action of a flag; see ArgumentHandlers::ExecuteArgumentHandler.
    using Function = ArgumentHandlers::ExecuteArgumentHandler::Function;
    /// The state of a flag; see ArgumentHandlers::ExecuteArgumentHandler.
    using GenerateFunction = ArgumentHandlers::ExecuteArgumentHandler::GenerateFunction;

    /// Writes to standard output; with the built-in flags.
    CommandLineArgumentParser();
    /// Writes to `stream`; null writes nothing (help and version then only
    /// request the exit). Without `builtInFlags` the parser starts with no
    /// handler at all, so that a program may give those flags other meanings.
    explicit CommandLineArgumentParser(std::ostream* stream, bool builtInFlags = true);
    /// Writes to `stream`, which must outlive the parser.
    explicit CommandLineArgumentParser(std::ostream& stream, bool builtInFlags = true);
    /// Takes the handlers, settings and exit request; the other parser is left
    /// with no handlers.
    ///@{
    CommandLineArgumentParser(CommandLineArgumentParser&& other) noexcept;
    CommandLineArgumentParser& operator=(CommandLineArgumentParser&& other) noexcept;
    ///@}
    CommandLineArgumentParser(const CommandLineArgumentParser&) = delete;
    CommandLineArgumentParser& operator=(const CommandLineArgumentParser&) = delete;

    /// Ends the handlers with the parser.
    virtual ~CommandLineArgumentParser();

    /// The first line of the version: FileSystem::getApplicationName().
    virtual std::string getApplicationName() const;

protected:
    /// What an empty command line does: printHelp(Ordinary).
    virtual void onNoArguments();
    /// The exit code that help requests: 0.
    virtual int showHelpExitCode() const;
    /// The exit code that developer help requests: showHelpExitCode().
    virtual int showDevHelpExitCode() const;
    /// The exit code that the version requests: 0.
    virtual int showVersionExitCode() const;
    /// Walks [first, last): the first handler that claims an argument
    /// processes it, else onUnhandledArgument; the walk moves on by one when
    /// neither moved it.
    virtual void do_process(iterator first, iterator last);
    /// Each handler's generate in order, until an exit is requested.
    virtual void do_generate(output_iterator out) const;
    /// The text between the version and the flags in help; empty here.
    virtual std::string getHelpHeader(CommandLineArgumentLevel level) const;
    /// Nothing when unhandled arguments are ignored or `current` is `last`;
    /// else the override, if set, may take the argument; else throws
    /// InvalidCommandLineArgument("Invalid Argument : " + argument).
    virtual void onUnhandledArgument(iterator& current, iterator first, iterator last);

public:
    /// Walks `args` without the first `first` of them (none by default; a
    /// negative count is none). When no argument is left: onNoArguments(),
    /// unless setIgnoreNoArguments(true).
    ///@{
    void process(const std::vector<std::string>& args);
    void process(const std::vector<std::string>& args, std::uint64_t first);
    void process(const std::vector<std::string>& args, int first);
    void process(iterator first, iterator last);
    void operator()(const std::vector<std::string>& args) { process(args); }
    void operator()(const std::vector<std::string>& args, std::uint64_t first) { process(args, first); }
    void operator()(const std::vector<std::string>& args, int first) { process(args, first); }
    void operator()(iterator first, iterator last) { process(first, last); }
    ///@}

    /// The arguments that give the handlers' present state again.
    std::vector<std::string> generate() const;
    /// The same, appended to `out`.
    void generate(output_iterator out) const;

    /// The exit code of the first request to end the program; none when the
    /// program should go on.
    std::optional<int> exitProgramRequested() const { return m_exitRequest; }

    /// Writes to `stream` from now on; it must outlive the parser.
    void setOutputStream(std::ostream& stream) { m_stream = &stream; }
    /// Writes to standard output from now on.
    void setOutputToStdOut();
    /// Where help and version go; null for nowhere.
    std::ostream* getStream() const { return m_stream; }

    /// Drops arguments that no handler claims instead of throwing.
    void setIgnoreUnhandledArguments(bool ignore) { m_ignoreUnhandledArguments = ignore; }
    /// Does nothing for an empty command line instead of onNoArguments().
    void setIgnoreNoArguments(bool ignore) { m_ignoreNoArguments = ignore; }
    /// Asks `function` about arguments that no handler claims before throwing.
    void setOverrideUnhandledArgument(UnhandledArgumentFunction function);

    /// Writes the version, the help header and the help of each handler up to
    /// `level`, then requests an exit with showHelpExitCode(). Without a
    /// stream it only requests the exit.
    void printHelp(CommandLineArgumentLevel level) const;
    /// printHelp when KV_TESSEL_CMDLINE_ENABLE_DEV_HELP is set; else writes
    /// the version alone and requests an exit with showDevHelpExitCode().
    void printDevHelp(CommandLineArgumentLevel level) const;
    /// Writes the version and an empty line and requests an exit with
    /// showVersionExitCode().
    void printVersion() const;
    /// Three lines, without a final line feed: the application's name,
    /// "Release: " and the library's release ("2025.0.1.144071"), and
    /// "Platform: " and the system and processor joined by a full stop
    /// ("Linux.x86_64").
    std::string getVersion() const;

    /// The argument at `current`, moving on; no value at `end`.
    static std::optional<std::string> extractArgument(iterator& current, iterator end);
    /// The argument at `current`, moving on; throws
    /// std::runtime_error(errorMessage) at `end`.
    static std::string extractArgument(iterator& current, iterator end, const std::string& errorMessage);

protected:
    /// Requests the program's end with `code`; the first request stands.
    void requestExitProgram(int code) const;
    /// The first handler that claims `argument`; null when none does.
    ArgumentHandlers::ArgumentHandlerAbstract* findHandler(const std::string& argument) const;
    /// True when a handler claims `argument`.
    bool hasHandler(const std::string& argument) const;

    /// Registers `flag`, or `mainFlag` with the further `flags`, acting with
    /// `function`; such a flag generates nothing.
    ///@{
    void addBasicExecuteFunction(const std::string& flag, const std::string& helpText, CommandLineArgumentLevel level,
                                 Function function);
    void addBasicExecuteFunction(const std::string& mainFlag, const std::vector<std::string>& flags,
                                 const std::string& helpText, CommandLineArgumentLevel level, Function function);
    ///@}
    /// Registers `flag`, or `mainFlag` with the further `flags`, acting with
    /// `function` and generating the main flag and the arguments that
    /// `generateFunction` gives, when it gives a value.
    ///@{
    void addExecuteFunction(const std::string& flag, const std::string& helpText, CommandLineArgumentLevel level,
                            Function function, GenerateFunction generateFunction);
    void addExecuteFunction(const std::string& mainFlag, const std::vector<std::string>& flags,
                            const std::string& helpText, CommandLineArgumentLevel level, Function function,
                            GenerateFunction generateFunction);
    ///@}
    /// Registers a handler of a class of its own (a prefix handler, say), made
    /// from `arguments`; the parser owns it.
    template <class Handler, class... Arguments>
    Handler& addCustomHandler(Arguments&&... arguments) {
        auto handler = std::make_unique<Handler>(std::forward<Arguments>(arguments)...);
        Handler& result = *handler;
        addHandler(std::move(handler));
        return result;
    }
    /// `mainFlag`, then those of `flags` that are not yet in the list.
    static std::vector<std::string> createFlagsList(const std::string& mainFlag, const std::vector<std::string>& flags);

private:
    void addHandler(std::unique_ptr<ArgumentHandlers::ArgumentHandlerAbstract> handler);
    void addBuiltInHandlers();
    void bindBuiltInHandlers();

    std::vector<std::unique_ptr<ArgumentHandlers::ArgumentHandlerAbstract>> m_handlers;
    std::ostream* m_stream = nullptr;
    mutable std::optional<int> m_exitRequest;
    bool m_builtInFlags = true; ///< whether the constructor registered the built-in flags
    bool m_ignoreUnhandledArguments = false;
    bool m_ignoreNoArguments = false;
    UnhandledArgumentFunction m_overrideUnhandledArgument;
};

} // namespace FileSystem
