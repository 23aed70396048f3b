#include <FileSystem/runtime/CommandLineArgumentParser.h>

#include <FileSystem/environment/EnvironmentVariableModel.h>
#include <FileSystem/environment/RuntimeEnvironment.h>
#include <FileSystem/utilities/BuildInfo.h>

#include <algorithm>
#include <iostream>
#include <ostream>

namespace FileSystem {

namespace ArgumentHandlers {

// ---- Handlers ------------------------------------------------------------------

ArgumentHandlerBase::ArgumentHandlerBase(std::vector<std::string> flags, std::string helpText,
                                         CommandLineArgumentLevel level)
    : m_flags(std::move(flags)), m_helpText(std::move(helpText)), m_level(level) {
    if (m_flags.empty())
        throw std::logic_error("No empty flags allowed");
    m_mainFlag = m_flags.front();
}

void ArgumentHandlerBase::printHelp(CommandLineArgumentLevel level, std::ostream& stream) const {
    if (m_level > level)
        return;
    for (const std::string& flag : m_flags)
        stream << flag << '\n';
    stream << m_helpText << "\n\n";
}

bool ArgumentHandlerBase::isMyFlag(const std::string& argument) const {
    return std::find(m_flags.begin(), m_flags.end(), argument) != m_flags.end();
}

void ArgumentHandlerBase::process(iterator& current, iterator end) {
    if (hasProcess())
        do_process(current, end);
}

void ArgumentHandlerBase::generate(output_iterator& out) const {
    if (!hasGenerate())
        return;
    if (appendFlagAsArgument())
        *out++ = m_mainFlag;
    do_generate(out);
}

bool ArgumentHandlerBase::appendFlagAsArgument() const { return true; }

bool ArgumentPrefixHandlerBase::isMyFlag(const std::string& argument) const {
    const std::vector<std::string> flags = getFlags();
    return std::any_of(flags.begin(), flags.end(),
                       [&argument](const std::string& flag) { return argument.starts_with(flag); });
}

bool ArgumentPrefixHandlerBase::appendFlagAsArgument() const { return false; }

ExecuteArgumentHandler::ExecuteArgumentHandler(std::vector<std::string> flags, std::string helpText,
                                               CommandLineArgumentLevel level, Function function,
                                               GenerateFunction generateFunction)
    : ArgumentHandlerBase(std::move(flags), std::move(helpText), level), m_function(std::move(function)),
      m_generate(std::move(generateFunction)) {}

void ExecuteArgumentHandler::do_process(iterator& current, iterator end) {
    // The function gets the flag as a copy, with the iterator already behind it.
    const std::string flag = *current;
    ++current;
    m_function(flag, current, end);
}

void ExecuteArgumentHandler::do_generate(output_iterator& out) const {
    if (const auto arguments = m_generate())
        for (const std::string& argument : *arguments)
            *out++ = argument;
}

bool ExecuteArgumentHandler::hasProcess() const { return static_cast<bool>(m_function); }

bool ExecuteArgumentHandler::hasGenerate() const { return m_generate && m_generate().has_value(); }

} // namespace ArgumentHandlers

namespace {

using ArgumentHandlers::ArgumentHandlerBase;

// A built-in flag: acts on the parser that owns it, which a move changes.
class BuiltInHandler final : public ArgumentHandlerBase {
public:
    using Action = void (*)(const CommandLineArgumentParser&);

    BuiltInHandler(std::vector<std::string> flags, std::string helpText, CommandLineArgumentLevel level,
                   Action action)
        : ArgumentHandlerBase(std::move(flags), std::move(helpText), level), m_action(action) {}

    void bind(const CommandLineArgumentParser* parser) { m_parser = parser; }

protected:
    void do_process(iterator& current, iterator) override {
        ++current;
        m_action(*m_parser);
    }
    void do_generate(output_iterator&) const override {}
    bool hasProcess() const override { return m_parser != nullptr; }
    bool hasGenerate() const override { return false; }

private:
    Action m_action;
    const CommandLineArgumentParser* m_parser = nullptr;
};

} // namespace

InvalidCommandLineArgument::~InvalidCommandLineArgument() = default;

// ---- Construction ----------------------------------------------------------------

CommandLineArgumentParser::CommandLineArgumentParser() : CommandLineArgumentParser(&std::cout, true) {}

CommandLineArgumentParser::CommandLineArgumentParser(std::ostream* stream, bool builtInFlags)
    : m_stream(stream), m_builtInFlags(builtInFlags) {
    if (m_builtInFlags)
        addBuiltInHandlers();
}

CommandLineArgumentParser::CommandLineArgumentParser(std::ostream& stream, bool builtInFlags)
    : CommandLineArgumentParser(&stream, builtInFlags) {}

CommandLineArgumentParser::CommandLineArgumentParser(CommandLineArgumentParser&& other) noexcept
    : m_handlers(std::move(other.m_handlers)), m_stream(other.m_stream), m_exitRequest(other.m_exitRequest),
      m_builtInFlags(other.m_builtInFlags), m_ignoreUnhandledArguments(other.m_ignoreUnhandledArguments),
      m_ignoreNoArguments(other.m_ignoreNoArguments),
      m_overrideUnhandledArgument(std::move(other.m_overrideUnhandledArgument)) {
    other.m_handlers.clear();
    bindBuiltInHandlers();
}

CommandLineArgumentParser& CommandLineArgumentParser::operator=(CommandLineArgumentParser&& other) noexcept {
    if (this == &other)
        return *this;
    m_handlers = std::move(other.m_handlers);
    other.m_handlers.clear();
    m_stream = other.m_stream;
    m_exitRequest = other.m_exitRequest;
    m_builtInFlags = other.m_builtInFlags;
    m_ignoreUnhandledArguments = other.m_ignoreUnhandledArguments;
    m_ignoreNoArguments = other.m_ignoreNoArguments;
    m_overrideUnhandledArgument = std::move(other.m_overrideUnhandledArgument);
    bindBuiltInHandlers();
    return *this;
}

CommandLineArgumentParser::~CommandLineArgumentParser() = default;

void CommandLineArgumentParser::addBuiltInHandlers() {
    using Level = CommandLineArgumentLevel;
    const auto add = [this](std::vector<std::string> flags, const char* help, Level level,
                            BuiltInHandler::Action action) {
        addHandler(std::make_unique<BuiltInHandler>(std::move(flags), help, level, action));
    };
    add({"-help", "-help1", "-?"}, "show help", Level::Ordinary,
        [](const CommandLineArgumentParser& parser) { parser.printHelp(Level::Ordinary); });
    add({"-help2"}, "show help", Level::Ordinary,
        [](const CommandLineArgumentParser& parser) { parser.printHelp(Level::Further); });
    add({"-devHelp", "-devHelp1"}, "show help", Level::Developer,
        [](const CommandLineArgumentParser& parser) { parser.printDevHelp(Level::Developer); });
    add({"-devHelp2"}, "show help", Level::Developer,
        [](const CommandLineArgumentParser& parser) { parser.printDevHelp(Level::DeveloperFurther); });
    add({"-version"}, "show version", Level::Ordinary,
        [](const CommandLineArgumentParser& parser) { parser.printVersion(); });
    bindBuiltInHandlers();
}

void CommandLineArgumentParser::bindBuiltInHandlers() {
    if (!m_builtInFlags)
        return;
    for (const auto& handler : m_handlers)
        if (auto* builtIn = dynamic_cast<BuiltInHandler*>(handler.get()))
            builtIn->bind(this);
}

void CommandLineArgumentParser::addHandler(std::unique_ptr<ArgumentHandlers::ArgumentHandlerAbstract> handler) {
    if (!handler)
        throw std::logic_error("No handler given");
    m_handlers.push_back(std::move(handler));
}

// ---- Overridable steps -----------------------------------------------------------

std::string CommandLineArgumentParser::getApplicationName() const { return FileSystem::getApplicationName(); }

void CommandLineArgumentParser::onNoArguments() { printHelp(CommandLineArgumentLevel::Ordinary); }

int CommandLineArgumentParser::showHelpExitCode() const { return 0; }

int CommandLineArgumentParser::showDevHelpExitCode() const { return showHelpExitCode(); }

int CommandLineArgumentParser::showVersionExitCode() const { return 0; }

void CommandLineArgumentParser::do_process(iterator first, iterator last) {
    // `<` rather than `!=`: a handler that steps past the end ends the walk.
    for (iterator current = first; current < last;) {
        const iterator before = current;
        if (ArgumentHandlers::ArgumentHandlerAbstract* handler = findHandler(*current))
            handler->process(current, last);
        else
            onUnhandledArgument(current, first, last);
        if (current == before)
            ++current;
    }
}

void CommandLineArgumentParser::do_generate(output_iterator out) const {
    for (const auto& handler : m_handlers) {
        if (m_exitRequest)
            return;
        handler->generate(out);
    }
}

std::string CommandLineArgumentParser::getHelpHeader(CommandLineArgumentLevel) const { return {}; }

void CommandLineArgumentParser::onUnhandledArgument(iterator& current, iterator first, iterator last) {
    if (m_ignoreUnhandledArguments || current == last)
        return;
    if (m_overrideUnhandledArgument && m_overrideUnhandledArgument(current, first, last))
        return;
    throw InvalidCommandLineArgument("Invalid Argument : " + *current);
}

// ---- Processing and generating ---------------------------------------------------

void CommandLineArgumentParser::process(const std::vector<std::string>& args) { process(args.begin(), args.end()); }

void CommandLineArgumentParser::process(const std::vector<std::string>& args, std::uint64_t first) {
    const auto skip = static_cast<std::ptrdiff_t>(std::min<std::uint64_t>(first, args.size()));
    process(args.begin() + skip, args.end());
}

void CommandLineArgumentParser::process(const std::vector<std::string>& args, int first) {
    process(args, static_cast<std::uint64_t>(std::max(first, 0)));
}

void CommandLineArgumentParser::process(iterator first, iterator last) {
    if (first < last)
        do_process(first, last);
    else if (!m_ignoreNoArguments)
        onNoArguments();
}

std::vector<std::string> CommandLineArgumentParser::generate() const {
    std::vector<std::string> arguments;
    do_generate(std::back_inserter(arguments));
    return arguments;
}

void CommandLineArgumentParser::generate(output_iterator out) const { do_generate(out); }

void CommandLineArgumentParser::setOutputToStdOut() { m_stream = &std::cout; }

void CommandLineArgumentParser::setOverrideUnhandledArgument(UnhandledArgumentFunction function) {
    m_overrideUnhandledArgument = std::move(function);
}

// ---- Help and version ------------------------------------------------------------

void CommandLineArgumentParser::printHelp(CommandLineArgumentLevel level) const {
    if (m_stream) {
        *m_stream << getVersion() << '\n' << getHelpHeader(level) << '\n';
        for (const auto& handler : m_handlers)
            handler->printHelp(level, *m_stream);
        *m_stream << std::endl;
    }
    requestExitProgram(showHelpExitCode());
}

void CommandLineArgumentParser::printDevHelp(CommandLineArgumentLevel level) const {
    // Any value counts, but the live environment takes an empty one for unset.
    if (SystemEnvironmentVariables::instance().hasEnvironmentVariable("KV_TESSEL_CMDLINE_ENABLE_DEV_HELP")) {
        printHelp(level);
        return;
    }
    if (m_stream)
        *m_stream << getVersion() << '\n';
    requestExitProgram(showDevHelpExitCode());
}

void CommandLineArgumentParser::printVersion() const {
    if (m_stream)
        *m_stream << getVersion() << '\n' << std::endl;
    requestExitProgram(showVersionExitCode());
}

std::string CommandLineArgumentParser::getVersion() const {
    const std::string platform =
        EnvironmentVariableModelROAbstract::defaultPlatform().toString(Utilities::TextCase::Unchanged, '.');
    return getApplicationName() + "\nRelease: " + Utilities::libraryVersion().toString() + "\nPlatform: " + platform;
}

std::optional<std::string> CommandLineArgumentParser::extractArgument(iterator& current, iterator end) {
    if (current == end)
        return std::nullopt;
    return *current++;
}

std::string CommandLineArgumentParser::extractArgument(iterator& current, iterator end,
                                                       const std::string& errorMessage) {
    std::optional<std::string> argument = extractArgument(current, end);
    if (!argument)
        throw std::runtime_error(errorMessage);
    return std::move(*argument);
}

// ---- Registration ----------------------------------------------------------------

void CommandLineArgumentParser::requestExitProgram(int code) const {
    if (!m_exitRequest)
        m_exitRequest = code;
}

ArgumentHandlers::ArgumentHandlerAbstract* CommandLineArgumentParser::findHandler(const std::string& argument) const {
    for (const auto& handler : m_handlers)
        if (handler->isMyFlag(argument))
            return handler.get();
    return nullptr;
}

bool CommandLineArgumentParser::hasHandler(const std::string& argument) const {
    return findHandler(argument) != nullptr;
}

void CommandLineArgumentParser::addBasicExecuteFunction(const std::string& flag, const std::string& helpText,
                                                        CommandLineArgumentLevel level, Function function) {
    addExecuteFunction(flag, helpText, level, std::move(function), {});
}

void CommandLineArgumentParser::addBasicExecuteFunction(const std::string& mainFlag,
                                                        const std::vector<std::string>& flags,
                                                        const std::string& helpText, CommandLineArgumentLevel level,
                                                        Function function) {
    addExecuteFunction(mainFlag, flags, helpText, level, std::move(function), {});
}

void CommandLineArgumentParser::addExecuteFunction(const std::string& flag, const std::string& helpText,
                                                   CommandLineArgumentLevel level, Function function,
                                                   GenerateFunction generateFunction) {
    addHandler(std::make_unique<ArgumentHandlers::ExecuteArgumentHandler>(
        std::vector<std::string>{flag}, helpText, level, std::move(function), std::move(generateFunction)));
}

void CommandLineArgumentParser::addExecuteFunction(const std::string& mainFlag, const std::vector<std::string>& flags,
                                                   const std::string& helpText, CommandLineArgumentLevel level,
                                                   Function function, GenerateFunction generateFunction) {
    addHandler(std::make_unique<ArgumentHandlers::ExecuteArgumentHandler>(
        createFlagsList(mainFlag, flags), helpText, level, std::move(function), std::move(generateFunction)));
}

std::vector<std::string> CommandLineArgumentParser::createFlagsList(const std::string& mainFlag,
                                                                    const std::vector<std::string>& flags) {
    std::vector<std::string> list{mainFlag};
    for (const std::string& flag : flags)
        if (std::find(list.begin(), list.end(), flag) == list.end())
            list.push_back(flag);
    return list;
}

} // namespace FileSystem
