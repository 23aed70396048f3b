// The quoting helpers of the four shell worlds on any text. The input is
// taken as one text and, cut at NUL bytes, as a list of arguments. Quoting
// and unquoting must give the text back where the rules promise it, a line
// made of arguments must split into them again, and the layer by operating
// system must agree with the world it picks.

#include <FileSystem/process/ShellHelpers.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace {

namespace SH = FileSystem::ShellHelpers;
using Args = std::vector<std::string>;

void check(bool condition) {
    if (!condition)
        __builtin_trap();
}

bool quotesOnly(const std::string& text) { return text.find_first_not_of('\'') == std::string::npos; }
bool endsInBackslash(const std::string& text) { return !text.empty() && text.back() == '\\'; }

template <typename Predicate>
bool any(const Args& args, Predicate predicate) {
    for (const std::string& arg : args)
        if (predicate(arg))
            return true;
    return false;
}

void bash(const std::string& text, const Args& args) {
    using namespace SH::Bash;
    check(fromSingleQuotedEscapedArgument(toSingleQuotedEscapedArgument(text, SH::EnvVarOption::None)) == text);
    check(fromSingleQuotedEscapedArgument(toSingleQuotedEscapedArgument(text, true, SH::EnvVarOption::None)) == text);
    check(splitCommandLine(toSingleQuotedEscapedArgument(text, true, SH::EnvVarOption::None), true) == Args{text});
    for (const auto option : {SH::EnvVarOption::Anywhere, SH::EnvVarOption::AtStart}) {
        const std::string quoted = toSingleQuotedEscapedArgument(text, option);
        // Without a '$' the options change nothing.
        if (text.find('$') == std::string::npos)
            check(quoted == toSingleQuotedEscapedArgument(text, SH::EnvVarOption::None));
        (void)splitCommandLine(generateCommandLine(args, option), true);
    }
    const Args words = splitCommandLine(text, false);
    for (const std::string& word : words)
        check(!word.empty() && word.size() <= text.size());
    check(splitCommandLine(generateCommandLine(args), true) == args);
    const Args unquoted = splitCommandLine(text, true);
    check(splitCommandLine(generateCommandLine(unquoted), true) == unquoted);
    const SH::CommandInfo info = convertCommandLineToCommandInfo(text, true);
    check(unquoted.empty() ? info.program.empty() && info.arguments.empty()
                           : info.program == unquoted.front() && info.arguments.size() + 1 == unquoted.size());
    check(SH::splitCommandLine(text, true, Utilities::OperatingSystem::Linux) == unquoted);
}

void powerShell(const std::string& text, const Args& args) {
    using namespace SH::PowerShell;
    if (!quotesOnly(text))
        check(fromSingleQuotedEscapedArgument(toSingleQuotedEscapedArgument(text)) == text);
    check(fromWildCardEscapedArgument(toWildCardEscapedArgument(text)) == text);
    (void)fromWildCardEscapedArgument(text);
    if (!any(args, quotesOnly))
        check(splitCommandLine(generateCommandLine(args), true) == args);
    (void)convertCommandLineToCommandInfo(text, true);
}

void windowsCmd(const std::string& text, const Args& args) {
    using namespace SH::WindowsCmd;
    check(fromDoubleQuotedEscapedArgument(toDoubleQuotedEscapedArgument(text, SH::EnvVarOption::None)) == text);
    check(splitCommandLine(generateCommandLine(args), true) == args);
    const Args unquoted = splitCommandLine(text, true);
    check(splitCommandLine(generateCommandLine(unquoted), true) == unquoted);
    check(SH::splitCommandLine(text, true, Utilities::OperatingSystem::Windows) == unquoted);
    for (const auto option : {SH::EnvVarOption::Anywhere, SH::EnvVarOption::AtStart}) {
        const std::string escaped = toEscapedArgument(text, option);
        if (text.find('%') == std::string::npos)
            check(escaped == toEscapedArgument(text, SH::EnvVarOption::None));
        check(SH::toQuotedEscapedArgument(text, option, Utilities::OperatingSystem::Windows) == '"' + escaped + '"');
    }
}

void commandLineToArg(const std::string& text, const Args& args) {
    using namespace SH::WindowsCommandLineToArg;
    if (!endsInBackslash(text))
        check(fromDoubleQuotedEscapedArgument(toDoubleQuotedEscapedArgument(text)) == text);
    if (!any(args, endsInBackslash))
        check(splitCommandLine(generateCommandLine(args), true) == args);
    (void)splitCommandLine(text, true);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(bytes), size);
    Args args;
    for (std::size_t start = 0; start <= size;) {
        const std::size_t end = std::min(text.find('\0', start), size);
        args.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    bash(text, args);
    powerShell(text, args);
    windowsCmd(text, args);
    commandLineToArg(text, args);
    return 0;
}
