#include <FileSystem/process/ShellHelpers.h>

#include <array>
#include <iterator>
#include <stdexcept>
#include <utility>

namespace FileSystem::ShellHelpers {

namespace {

// Character classes as tables made at compile time: nothing to initialise at
// run time, and safe to read from any thread.
using CharTable = std::array<bool, 256>;

constexpr CharTable makeTable(const char* members) {
    CharTable table{};
    for (; *members != '\0'; ++members)
        table[static_cast<unsigned char>(*members)] = true;
    return table;
}

constexpr CharTable makeAsciiAlnumTable() {
    CharTable table{};
    for (int c = '0'; c <= '9'; ++c)
        table[static_cast<std::size_t>(c)] = true;
    for (int c = 'a'; c <= 'z'; ++c)
        table[static_cast<std::size_t>(c)] = true;
    for (int c = 'A'; c <= 'Z'; ++c)
        table[static_cast<std::size_t>(c)] = true;
    return table;
}

constexpr CharTable s_asciiAlnum = makeAsciiAlnumTable();
// PowerShell's escape character and its wildcard characters.
constexpr CharTable s_powerShellWildcards = makeTable("`*?[]");
// What cmd.exe needs escaped with '^' ('%' is handled apart).
constexpr CharTable s_cmdSpecial = makeTable("^\"|<>");

constexpr bool in(const CharTable& table, char c) { return table[static_cast<unsigned char>(c)]; }

bool isLive(EnvVarOption option, std::size_t position) {
    return option == EnvVarOption::Anywhere || (option == EnvVarOption::AtStart && position == 0);
}

// Appends a word to a line, with one space before it unless the line is empty.
void appendWord(std::string& line, const std::string& word) {
    if (!line.empty())
        line += ' ';
    line += word;
}

// Collects the words of a line: a separator ends the current word, and an
// empty word (from a run of separators, or at the start or end) is not kept.
class WordCollector {
public:
    explicit WordCollector(std::size_t lineSize) { m_word.reserve(lineSize); }
    void add(char c) { m_word += c; }
    void add(const std::string& text, std::size_t position, std::size_t count) { m_word.append(text, position, count); }
    void endWord() {
        if (!m_word.empty()) {
            m_words.push_back(m_word);
            m_word.clear();
        }
    }
    template <typename Unescape>
    std::vector<std::string> finish(bool unescape, Unescape unescapeWord) {
        endWord();
        if (unescape)
            for (std::string& word : m_words)
                word = unescapeWord(word);
        return std::move(m_words);
    }

private:
    std::string m_word;
    std::vector<std::string> m_words;
};

CommandInfo toCommandInfo(std::vector<std::string> words) {
    CommandInfo info;
    if (words.empty())
        return info;
    info.program = std::move(words.front());
    info.arguments.assign(std::make_move_iterator(words.begin() + 1), std::make_move_iterator(words.end()));
    return info;
}

template <typename Function>
std::vector<std::string> mapTexts(const std::vector<std::string>& texts, Function function) {
    std::vector<std::string> result;
    result.reserve(texts.size());
    for (const std::string& text : texts)
        result.push_back(function(text));
    return result;
}

[[noreturn]] void notImplemented() { throw std::logic_error("Not implemented"); }

} // namespace

// ---- Bash ------------------------------------------------------------------------

namespace Bash {

namespace {

// The open quote of the output while an argument is written.
class QuoteState {
public:
    explicit QuoteState(std::string& out) : m_out(out) {}
    void closeDouble() {
        if (m_double) {
            m_out += '"';
            m_double = false;
        }
    }
    void closeSingle() {
        if (m_single) {
            m_out += '\'';
            m_single = false;
        }
    }
    void openSingle() {
        if (!m_single) {
            m_out += '\'';
            m_single = true;
        }
    }
    void openDouble() {
        if (!m_double) {
            m_out += '"';
            m_double = true;
        }
    }
    void closeAll() {
        closeDouble();
        closeSingle();
    }

private:
    std::string& m_out;
    bool m_single = false;
    bool m_double = false;
};

} // namespace

std::string toSingleQuotedEscapedArgument(const std::string& text, bool escapeSpaces, EnvVarOption option) {
    if (text.empty())
        return "''";
    std::string out;
    out.reserve(text.size() + 8);
    QuoteState quotes(out);
    const std::size_t size = text.size();
    std::size_t i = 0;
    while (i < size) {
        const char c = text[i];
        if (c == '$' && isLive(option, i)) {
            const char next = i + 1 < size ? text[i + 1] : '\0';
            const bool opensReference = next == '{' || next == '_' || in(s_asciiAlnum, next);
            if (!opensReference) {
                // A '$' that opens nothing: bare here, and once more quoted below.
                quotes.closeAll();
                out += '$';
            } else {
                quotes.closeSingle();
                quotes.openDouble();
                out += '$';
                const std::size_t nameStart = i + 1;
                if (text[nameStart] == '{') {
                    const std::size_t close = text.find('}', nameStart);
                    if (close == std::string::npos) {
                        out.append(text, nameStart, std::string::npos);
                        out += '}';
                        i = size;
                    } else {
                        out.append(text, nameStart, close - nameStart + 1);
                        i = close + 1;
                    }
                } else {
                    // A name that begins with a letter or digit runs to the end;
                    // one that begins with '_' ends at its first other character,
                    // which is dropped.
                    const bool runsToEnd = in(s_asciiAlnum, text[nameStart]);
                    std::size_t stop = nameStart;
                    while (stop < size && (runsToEnd || text[stop] == '_'))
                        ++stop;
                    out.append(text, nameStart, stop - nameStart);
                    i = stop < size ? stop + 1 : size;
                }
                continue;
            }
        }
        if (c == '\'' || (escapeSpaces && c == ' ')) {
            quotes.closeAll();
            out += '\\';
            out += c;
        } else {
            quotes.closeDouble();
            quotes.openSingle();
            out += c;
        }
        ++i;
    }
    quotes.closeAll();
    return out;
}

std::string toSingleQuotedEscapedArgument(const std::string& text, EnvVarOption option) {
    return toSingleQuotedEscapedArgument(text, false, option);
}

std::vector<std::string> toSingleQuotedEscapedArgument(const std::vector<std::string>& texts, EnvVarOption option) {
    return mapTexts(texts,
                    [option](const std::string& text) { return toSingleQuotedEscapedArgument(text, false, option); });
}

std::string fromSingleQuotedEscapedArgument(const std::string& text) {
    std::string out;
    out.reserve(text.size());
    bool single = false;
    bool dbl = false;
    bool escape = false;
    for (const char c : text) {
        if (!escape) {
            if (c == '\'' && !dbl) {
                single = !single;
                continue;
            }
            if (c == '"' && !single) {
                dbl = !dbl;
                continue;
            }
            if (c == '\\' && !single && !dbl) {
                escape = true;
                continue;
            }
        }
        out += c;
        escape = false;
    }
    return out;
}

std::vector<std::string> fromSingleQuotedEscapedArgument(const std::vector<std::string>& texts) {
    return mapTexts(texts, [](const std::string& text) { return fromSingleQuotedEscapedArgument(text); });
}

std::vector<std::string> splitCommandLine(const std::string& text, bool unescape) {
    WordCollector words(text.size());
    bool single = false;
    bool dbl = false;
    bool escaped = false;
    for (const char c : text) {
        if (escaped) {
            escaped = false;
        } else if (single) {
            single = c != '\'';
        } else if (dbl) {
            dbl = c != '"';
        } else if (c == '\\') {
            escaped = true;
        } else if (c == '\'') {
            single = true;
        } else if (c == '"') {
            dbl = true;
        } else if (c == ' ') {
            words.endWord();
            continue;
        }
        words.add(c);
    }
    return words.finish(unescape, [](const std::string& word) { return fromSingleQuotedEscapedArgument(word); });
}

CommandInfo convertCommandLineToCommandInfo(const std::string& text, bool unescape) {
    return toCommandInfo(splitCommandLine(text, unescape));
}

std::string generateCommandLine(const std::vector<std::string>& arguments, EnvVarOption option) {
    std::string line;
    for (const std::string& argument : arguments)
        appendWord(line, toSingleQuotedEscapedArgument(argument, false, option));
    return line;
}

std::string generateCommandLine(const std::string& program, const std::vector<std::string>& arguments,
                                EnvVarOption option) {
    std::string line = toSingleQuotedEscapedArgument(program, false, option);
    for (const std::string& argument : arguments)
        appendWord(line, toSingleQuotedEscapedArgument(argument, false, option));
    return line;
}

std::string generateCommandLine(const std::string& program, bool /*reserved*/,
                                const std::vector<std::string>& arguments, EnvVarOption option) {
    return generateCommandLine(program, arguments, option);
}

std::string generateCommandLine(const CommandInfo& info, EnvVarOption option) {
    return generateCommandLine(info.program, info.arguments, option);
}

std::string generateCommandLine(const CommandInfo& info, bool /*reserved*/, EnvVarOption option) {
    return generateCommandLine(info.program, info.arguments, option);
}

std::string decorateEnvironmentVariable(const std::string& name) { return "${" + name + "}"; }

} // namespace Bash

// ---- PowerShell ------------------------------------------------------------------

namespace PowerShell {

std::string toSingleQuotedEscapedArgument(const std::string& text) {
    std::string out;
    out.reserve(text.size() + 4);
    out += '\'';
    for (const char c : text) {
        if (c == '\'')
            out += '\'';
        out += c;
    }
    out += '\'';
    return out;
}

std::vector<std::string> toSingleQuotedEscapedArgument(const std::vector<std::string>& texts) {
    return mapTexts(texts, [](const std::string& text) { return toSingleQuotedEscapedArgument(text); });
}

std::string fromSingleQuotedEscapedArgument(const std::string& text) {
    std::string out;
    out.reserve(text.size());
    const std::size_t size = text.size();
    for (std::size_t i = 0; i < size; ++i) {
        if (text[i] != '\'') {
            out += text[i];
        } else if (i + 1 < size && text[i + 1] == '\'') {
            out += '\'';
            ++i;
        }
    }
    return out;
}

std::vector<std::string> fromSingleQuotedEscapedArgument(const std::vector<std::string>& texts) {
    return mapTexts(texts, [](const std::string& text) { return fromSingleQuotedEscapedArgument(text); });
}

std::string toWildCardEscapedArgument(const std::string& text) {
    std::string out;
    out.reserve(text.size() + 4);
    for (const char c : text) {
        if (in(s_powerShellWildcards, c))
            out += '`';
        out += c;
    }
    return out;
}

std::string fromWildCardEscapedArgument(const std::string& text) {
    std::string out;
    out.reserve(text.size());
    const std::size_t size = text.size();
    for (std::size_t i = 0; i < size; ++i) {
        if (text[i] == '`') {
            if (i + 1 == size)
                break;
            if (in(s_powerShellWildcards, text[i + 1]))
                ++i;
        }
        out += text[i];
    }
    return out;
}

std::vector<std::string> splitCommandLine(const std::string& text, bool unescape) {
    WordCollector words(text.size());
    bool single = false;
    for (const char c : text) {
        if (c == '\'')
            single = !single;
        else if (c == ' ' && !single) {
            words.endWord();
            continue;
        }
        words.add(c);
    }
    return words.finish(unescape, [](const std::string& word) { return fromSingleQuotedEscapedArgument(word); });
}

CommandInfo convertCommandLineToCommandInfo(const std::string& text, bool unescape) {
    return toCommandInfo(splitCommandLine(text, unescape));
}

std::string generateCommandLine(const std::vector<std::string>& arguments) {
    std::string line;
    for (const std::string& argument : arguments)
        appendWord(line, toSingleQuotedEscapedArgument(argument));
    return line;
}

std::string generateCommandLine(const std::string& program, const std::vector<std::string>& arguments) {
    std::string line = toSingleQuotedEscapedArgument(program);
    for (const std::string& argument : arguments)
        appendWord(line, toSingleQuotedEscapedArgument(argument));
    return line;
}

std::string generateCommandLine(const CommandInfo& info) { return generateCommandLine(info.program, info.arguments); }

} // namespace PowerShell

// ---- cmd.exe ---------------------------------------------------------------------

namespace WindowsCmd {

namespace {

void appendEscaped(std::string& out, const std::string& text, EnvVarOption option) {
    const std::size_t size = text.size();
    for (std::size_t i = 0; i < size; ++i) {
        const char c = text[i];
        if (c == '%') {
            if (isLive(option, i)) {
                const std::size_t partner = text.find('%', i + 1);
                if (partner != std::string::npos) {
                    out.append(text, i, partner - i + 1);
                    i = partner;
                } else {
                    out += '%';
                }
            } else {
                out += "^%";
            }
        } else {
            if (in(s_cmdSpecial, c))
                out += '^';
            out += c;
        }
    }
}

} // namespace

std::string toEscapedArgument(const std::string& text, EnvVarOption option) {
    std::string out;
    out.reserve(text.size() + 4);
    appendEscaped(out, text, option);
    return out;
}

std::string toDoubleQuotedEscapedArgument(const std::string& text, EnvVarOption option) {
    std::string out;
    out.reserve(text.size() + 6);
    out += '"';
    appendEscaped(out, text, option);
    out += '"';
    return out;
}

std::vector<std::string> toDoubleQuotedEscapedArgument(const std::vector<std::string>& texts, EnvVarOption option) {
    return mapTexts(texts, [option](const std::string& text) { return toDoubleQuotedEscapedArgument(text, option); });
}

std::string fromDoubleQuotedEscapedArgument(const std::string& text) {
    std::string out;
    out.reserve(text.size());
    bool escape = false;
    for (const char c : text) {
        if (!escape && c == '"')
            continue;
        if (!escape && c == '^') {
            escape = true;
            continue;
        }
        out += c;
        escape = false;
    }
    return out;
}

std::vector<std::string> fromDoubleQuotedEscapedArgument(const std::vector<std::string>& texts) {
    return mapTexts(texts, [](const std::string& text) { return fromDoubleQuotedEscapedArgument(text); });
}

std::vector<std::string> splitCommandLine(const std::string& text, bool unescape) {
    WordCollector words(text.size());
    bool quoted = false;
    bool escaped = false;
    for (const char c : text) {
        if (escaped) {
            escaped = false;
        } else if (c == '^') {
            escaped = true;
        } else if (c == '"') {
            quoted = !quoted;
        } else if (c == ' ' && !quoted) {
            words.endWord();
            continue;
        }
        words.add(c);
    }
    return words.finish(unescape, [](const std::string& word) { return fromDoubleQuotedEscapedArgument(word); });
}

CommandInfo convertCommandLineToCommandInfo(const std::string& text, bool unescape) {
    return toCommandInfo(splitCommandLine(text, unescape));
}

std::string generateCommandLine(const std::vector<std::string>& arguments, EnvVarOption option) {
    std::string line;
    for (const std::string& argument : arguments)
        appendWord(line, toDoubleQuotedEscapedArgument(argument, option));
    return line;
}

std::string generateCommandLine(const std::string& program, const std::vector<std::string>& arguments,
                                EnvVarOption option) {
    std::string line = toDoubleQuotedEscapedArgument(program, option);
    for (const std::string& argument : arguments)
        appendWord(line, toDoubleQuotedEscapedArgument(argument, option));
    return line;
}

std::string generateCommandLine(const CommandInfo& info, EnvVarOption option) {
    return generateCommandLine(info.program, info.arguments, option);
}

std::string decorateEnvironmentVariable(const std::string& name) { return "%" + name + "%"; }

} // namespace WindowsCmd

// ---- The Windows argument parser ----------------------------------------------------

namespace WindowsCommandLineToArg {

namespace {

std::size_t backslashRun(const std::string& text, std::size_t position) {
    std::size_t end = position;
    while (end < text.size() && text[end] == '\\')
        ++end;
    return end - position;
}

} // namespace

std::string toDoubleQuotedEscapedArgument(const std::string& text) {
    std::string out;
    out.reserve(text.size() + 6);
    out += '"';
    const std::size_t size = text.size();
    for (std::size_t i = 0; i < size;) {
        const char c = text[i];
        if (c == '\\') {
            const std::size_t run = backslashRun(text, i);
            i += run;
            // Only a run that a '"' follows is doubled; one at the end is not.
            out.append(i < size && text[i] == '"' ? 2 * run : run, '\\');
        } else {
            if (c == '"')
                out += '\\';
            out += c;
            ++i;
        }
    }
    out += '"';
    return out;
}

std::vector<std::string> toDoubleQuotedEscapedArgument(const std::vector<std::string>& texts) {
    return mapTexts(texts, [](const std::string& text) { return toDoubleQuotedEscapedArgument(text); });
}

std::string fromDoubleQuotedEscapedArgument(const std::string& text) {
    std::string out;
    out.reserve(text.size());
    const std::size_t size = text.size();
    for (std::size_t i = 0; i < size;) {
        const char c = text[i];
        if (c == '\\') {
            const std::size_t run = backslashRun(text, i);
            i += run;
            if (i < size && text[i] == '"') {
                out.append(run / 2, '\\');
                if (run % 2 == 1)
                    out += '"';
                ++i;
            } else {
                out.append(run, '\\');
            }
        } else {
            if (c != '"')
                out += c;
            ++i;
        }
    }
    return out;
}

std::vector<std::string> fromDoubleQuotedEscapedArgument(const std::vector<std::string>& texts) {
    return mapTexts(texts, [](const std::string& text) { return fromDoubleQuotedEscapedArgument(text); });
}

std::vector<std::string> splitCommandLine(const std::string& text, bool unescape) {
    WordCollector words(text.size());
    bool quoted = false;
    const std::size_t size = text.size();
    for (std::size_t i = 0; i < size;) {
        const char c = text[i];
        if (c == '\\') {
            const std::size_t run = backslashRun(text, i);
            words.add(text, i, run);
            i += run;
            if (i < size && text[i] == '"') {
                // An odd run makes the '"' literal; an even one leaves it a quote.
                if (run % 2 == 0)
                    quoted = !quoted;
                words.add('"');
                ++i;
            }
            continue;
        }
        if (c == '"')
            quoted = !quoted;
        else if (c == ' ' && !quoted) {
            words.endWord();
            ++i;
            continue;
        }
        words.add(c);
        ++i;
    }
    return words.finish(unescape, [](const std::string& word) { return fromDoubleQuotedEscapedArgument(word); });
}

std::string generateCommandLine(const std::vector<std::string>& arguments) {
    std::string line;
    for (const std::string& argument : arguments)
        appendWord(line, toDoubleQuotedEscapedArgument(argument));
    return line;
}

} // namespace WindowsCommandLineToArg

// ---- By operating system -------------------------------------------------------------

std::vector<std::string> splitCommandLine(const std::string& text, bool unescape, Utilities::OperatingSystem os) {
    switch (os) {
    case Utilities::OperatingSystem::Windows:
        return WindowsCmd::splitCommandLine(text, unescape);
    case Utilities::OperatingSystem::Linux:
        return Bash::splitCommandLine(text, unescape);
    default:
        notImplemented();
    }
}

CommandInfo convertCommandLineToCommandInfo(const std::string& text, Utilities::OperatingSystem os) {
    switch (os) {
    case Utilities::OperatingSystem::Windows:
        return WindowsCmd::convertCommandLineToCommandInfo(text, true);
    case Utilities::OperatingSystem::Linux:
        return Bash::convertCommandLineToCommandInfo(text, true);
    default:
        notImplemented();
    }
}

std::string generateCommandLine(const std::vector<std::string>& arguments, EnvVarOption option,
                                Utilities::OperatingSystem os) {
    switch (os) {
    case Utilities::OperatingSystem::Windows:
        return WindowsCmd::generateCommandLine(arguments, option);
    case Utilities::OperatingSystem::Linux:
        return Bash::generateCommandLine(arguments, option);
    default:
        notImplemented();
    }
}

std::string generateCommandLine(const std::string& program, const std::vector<std::string>& arguments,
                                EnvVarOption option, Utilities::OperatingSystem os) {
    switch (os) {
    case Utilities::OperatingSystem::Windows:
        return WindowsCmd::generateCommandLine(program, arguments, option);
    case Utilities::OperatingSystem::Linux:
        return Bash::generateCommandLine(program, arguments, option);
    default:
        notImplemented();
    }
}

std::string generateCommandLine(const CommandInfo& info, EnvVarOption option, Utilities::OperatingSystem os) {
    return generateCommandLine(info.program, info.arguments, option, os);
}

std::string toQuotedEscapedArgument(const std::string& text, EnvVarOption option, Utilities::OperatingSystem os) {
    switch (os) {
    case Utilities::OperatingSystem::Windows:
        return WindowsCmd::toDoubleQuotedEscapedArgument(text, option);
    case Utilities::OperatingSystem::Linux:
        return Bash::toSingleQuotedEscapedArgument(text, false, option);
    default:
        throw std::logic_error("NOt supported");
    }
}

std::string decorateEnvironmentVariable(const std::string& name, Utilities::OperatingSystem os) {
    switch (os) {
    case Utilities::OperatingSystem::Windows:
        return WindowsCmd::decorateEnvironmentVariable(name);
    case Utilities::OperatingSystem::Linux:
        return Bash::decorateEnvironmentVariable(name);
    default:
        notImplemented();
    }
}

} // namespace FileSystem::ShellHelpers
