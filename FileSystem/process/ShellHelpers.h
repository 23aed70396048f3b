#pragma once

// Quoting of command lines for four worlds: bash, PowerShell, the Windows
// command interpreter (cmd.exe) and the Windows argument parser
// (CommandLineToArgvW and the C runtime). Each world turns one argument into
// quoted text and back, and splits and composes whole lines; a small layer
// picks the world of an operating system. Pure text work: nothing here calls
// the system, so any host can prepare lines for any target.

#include <FileSystem/Export.h>
#include <FileSystem/utilities/OperatingSystem.h>

#include <string>
#include <vector>

/// \namespace FileSystem::ShellHelpers
/// Quoting, splitting and composing of command lines for bash, PowerShell,
/// cmd.exe and the Windows argument parser, and the choice among them by
/// operating system.

namespace FileSystem::ShellHelpers {

/// A command taken apart: the program and its arguments.
struct CommandInfo {
    std::string program;                ///< the program, as the first word of the line
    std::vector<std::string> arguments; ///< the words behind the program
};

/// Which references to environment variables stay live when an argument is
/// quoted (`$NAME` and `${NAME}` for bash, `%%NAME%` for cmd.exe).
enum class EnvVarOption : int {
    None = 0,     ///< nothing in the text is a reference; every character is taken literally
    Anywhere = 1, ///< a reference anywhere in the argument stays live
    AtStart = 2,  ///< a reference stays live only at the very first position of the argument
};

/// The rules of bash (and of POSIX shells for the forms it produces).
///
/// Quoting with EnvVarOption::None puts every character inside single quotes
/// and writes a single quote as a backslash and the quote outside them. Bash
/// gives back the exact bytes of any such text without a NUL, and so do
/// fromSingleQuotedEscapedArgument and `splitCommandLine(line, true)`.
///
/// With a live option, a `$` that opens a reference is written inside double
/// quotes so that bash expands it:
/// - `${...}` is copied up to its `}`; a missing `}` is added.
/// - A name that begins with a letter or digit takes the rest of the
///   argument, which bash then expands as one word. That rest stands inside
///   double quotes, so bash also expands a further `$` or a backtick in it,
///   with AtStart too, and reads a backslash there as in double quotes.
/// - A name that begins with `_` ends at its first character that isn't `_`,
///   and that character is dropped.
/// - A `$` at the end or before any other character is written twice: once
///   bare (closing an open quote) and once as a quoted character. Bash reads
///   the bare `$` and the single-quoted run behind it as an ANSI-C string,
///   which holds the `$` once.
///
/// \code
/// it's          None       'it'\''s'
/// $HOME/x       AtStart    "$HOME/x"
/// a$HOME        AtStart    'a$HOME'
/// a$HOME        Anywhere   'a'"$HOME"
/// ${A           Anywhere   "${A}"
/// $_a/b         Anywhere   "$_"'/b'
/// a$            Anywhere   'a'$'$'
/// \endcode
///
/// So with a live option the text read back equals the input only when each
/// live `$` opens a closed `${...}` or a letter or digit name whose rest holds
/// no double quote, and no other `$` is live.
namespace Bash {

/// The text in single quotes with each single quote written outside them as
/// a backslash and the quote; an empty text gives two single quotes. See the
/// namespace for the references that `option` keeps live.
FILESYSTEM_EXPORT std::string toSingleQuotedEscapedArgument(const std::string& text, EnvVarOption option);
/// Each text quoted as by the single form.
FILESYSTEM_EXPORT std::vector<std::string> toSingleQuotedEscapedArgument(const std::vector<std::string>& texts,
                                                                         EnvVarOption option);
/// As the first form; with `escapeSpaces` a space too is written outside the
/// quotes, after a backslash, as a single quote is.
FILESYSTEM_EXPORT std::string toSingleQuotedEscapedArgument(const std::string& text, bool escapeSpaces,
                                                            EnvVarOption option);

/// Removes one level of quoting: a single quote outside double quotes and a
/// double quote outside single quotes open and close quoting and are
/// dropped; a backslash outside both is dropped and takes the next character
/// literally. Inside double quotes a backslash is an ordinary character
/// (bash reads a backslash before a double quote, `$`, a backtick or a backslash there
/// as an escape). A trailing lone backslash disappears.
FILESYSTEM_EXPORT std::string fromSingleQuotedEscapedArgument(const std::string& text);
/// Each text read back as by the single form.
FILESYSTEM_EXPORT std::vector<std::string> fromSingleQuotedEscapedArgument(const std::vector<std::string>& texts);

/// Splits a line into words. Only the space separates words; a run of spaces
/// counts as one and spaces at the start or the end add no word. Single and
/// double quotes protect spaces, and a backslash outside quotes protects the
/// next character; inside double quotes a backslash is literal and every
/// double quote closes them. Quotes and backslashes stay in the words unless
/// `unescape` is true, which passes each word through
/// fromSingleQuotedEscapedArgument.
///
/// This agrees with bash's own word splitting on every line that
/// generateCommandLine makes with EnvVarOption::None, and on hand-written
/// lines made of ordinary characters, single-quoted runs, double-quoted runs
/// without a backslash, `$` or backtick inside, and backslashes outside
/// quotes that don't stand before a newline. It differs from bash on
/// purpose: tabs and newlines don't separate words, and no expansion
/// (variables, `~`, globs, braces, ANSI-C strings), comment or operator
/// (`;`, `|`, `&`, `<`, `>`, parentheses) is recognised.
FILESYSTEM_EXPORT std::vector<std::string> splitCommandLine(const std::string& text, bool unescape);
/// The first word of splitCommandLine is the program, the others the
/// arguments; an empty line gives an empty CommandInfo.
FILESYSTEM_EXPORT CommandInfo convertCommandLineToCommandInfo(const std::string& text, bool unescape);

/// The arguments quoted with toSingleQuotedEscapedArgument and joined by one
/// space. With EnvVarOption::None, `splitCommandLine(line, true)` gives the
/// arguments back.
FILESYSTEM_EXPORT std::string generateCommandLine(const std::vector<std::string>& arguments,
                                                  EnvVarOption option = EnvVarOption::None);
/// The program and the arguments, each quoted with the same option.
FILESYSTEM_EXPORT std::string generateCommandLine(const std::string& program, const std::vector<std::string>& arguments,
                                                  EnvVarOption option = EnvVarOption::None);
/// The same; `reserved` is accepted for callers that pass it and changes nothing.
FILESYSTEM_EXPORT std::string generateCommandLine(const std::string& program, bool reserved,
                                                  const std::vector<std::string>& arguments,
                                                  EnvVarOption option = EnvVarOption::None);
/// The program and the arguments of `info`.
FILESYSTEM_EXPORT std::string generateCommandLine(const CommandInfo& info, EnvVarOption option = EnvVarOption::None);
/// The same; `reserved` is accepted for callers that pass it and changes nothing.
FILESYSTEM_EXPORT std::string generateCommandLine(const CommandInfo& info, bool reserved,
                                                  EnvVarOption option = EnvVarOption::None);

/// "${" + name + "}".
FILESYSTEM_EXPORT std::string decorateEnvironmentVariable(const std::string& name);

} // namespace Bash

/// The rules of PowerShell's single-quoted strings, in which nothing expands.
///
/// The reverse operation is the plain rule "two single quotes give one, a
/// lone one disappears", read from left to right without tracking whether a
/// quote is open. It gives back what toSingleQuotedEscapedArgument made for
/// every text except one made of single quotes only: the empty text comes
/// back as one single quote, and one single quote as two.
///
/// \code
/// it's        'it''s'
/// a*b?[c]`d   a`*b`?`[c`]``d      (toWildCardEscapedArgument)
/// \endcode
namespace PowerShell {

/// A single quote, the text with each single quote doubled, a single quote;
/// an empty text gives two single quotes.
FILESYSTEM_EXPORT std::string toSingleQuotedEscapedArgument(const std::string& text);
/// Each text quoted as by the single form.
FILESYSTEM_EXPORT std::vector<std::string> toSingleQuotedEscapedArgument(const std::vector<std::string>& texts);
/// Two single quotes give one, a lone one disappears, everything else is copied.
FILESYSTEM_EXPORT std::string fromSingleQuotedEscapedArgument(const std::string& text);
/// Each text read back as by the single form.
FILESYSTEM_EXPORT std::vector<std::string> fromSingleQuotedEscapedArgument(const std::vector<std::string>& texts);

/// A backtick before each of the wildcard characters `*`, `?`, `[` and `]`
/// and before a backtick itself (the escape character), so that a path is
/// taken literally.
FILESYSTEM_EXPORT std::string toWildCardEscapedArgument(const std::string& text);
/// A backtick before one of those five characters is dropped and the
/// character kept; a backtick before anything else stays; a backtick at the
/// very end disappears. Gives back every text toWildCardEscapedArgument made.
FILESYSTEM_EXPORT std::string fromWildCardEscapedArgument(const std::string& text);

/// Splits a line at spaces outside single quotes (runs of spaces count as
/// one; spaces at the start or the end add no word). Each single quote
/// toggles quoting; quotes stay in the words unless `unescape` is true,
/// which passes each word through fromSingleQuotedEscapedArgument. Double
/// quotes, the backtick and tabs have no meaning here.
FILESYSTEM_EXPORT std::vector<std::string> splitCommandLine(const std::string& text, bool unescape);
/// The first word is the program, the others the arguments; an empty line
/// gives an empty CommandInfo.
FILESYSTEM_EXPORT CommandInfo convertCommandLineToCommandInfo(const std::string& text, bool unescape);

/// The arguments quoted with toSingleQuotedEscapedArgument and joined by one
/// space. `splitCommandLine(line, true)` gives them back unless one of them
/// is made of single quotes only, the empty text included (see the namespace).
FILESYSTEM_EXPORT std::string generateCommandLine(const std::vector<std::string>& arguments);
/// The program and the arguments, each quoted.
FILESYSTEM_EXPORT std::string generateCommandLine(const std::string& program,
                                                  const std::vector<std::string>& arguments);
/// The program and the arguments of `info`.
FILESYSTEM_EXPORT std::string generateCommandLine(const CommandInfo& info);

} // namespace PowerShell

/// The rules of the Windows command interpreter, cmd.exe.
///
/// A caret escapes the characters `^`, `|`, `<`, `>`, `%` and the double quote (`&` is left
/// as it is: inside the double quotes of toDoubleQuotedEscapedArgument it is
/// already harmless). With a live option a `%` that has a partner copies the
/// whole reference up to the partner unchanged; a `%` without a partner is
/// written as it is. The reverse operations treat a caret as an escape
/// inside double quotes too, so that an escaped double quote inside a quoted argument
/// doesn't end the quotes: this is the library's own convention for reading
/// its lines back, not how cmd.exe reads a caret inside quotes.
///
/// \code
/// a&b%        None       a&b^%
/// %A%^        Anywhere   %A%^^
/// x%A%<%      Anywhere   x%A%^<%
/// \endcode
///
/// With EnvVarOption::None the round trip through `splitCommandLine(line, true)`
/// is exact; with a live option it is exact unless a copied reference holds a
/// double quote or a caret.
namespace WindowsCmd {

/// The text with a caret before each of `^`, `|`, `<`, `>`, the double quote, and before a
/// `%` that isn't kept as a live reference (see the namespace).
FILESYSTEM_EXPORT std::string toEscapedArgument(const std::string& text, EnvVarOption option);
/// toEscapedArgument of the text in double quotes; an empty text gives two double quotes.
FILESYSTEM_EXPORT std::string toDoubleQuotedEscapedArgument(const std::string& text, EnvVarOption option);
/// Each text quoted as by the single form.
FILESYSTEM_EXPORT std::vector<std::string> toDoubleQuotedEscapedArgument(const std::vector<std::string>& texts,
                                                                         EnvVarOption option);
/// Drops every unescaped double quote; a caret is dropped and takes the next
/// character literally. A trailing lone caret disappears.
FILESYSTEM_EXPORT std::string fromDoubleQuotedEscapedArgument(const std::string& text);
/// Each text read back as by the single form.
FILESYSTEM_EXPORT std::vector<std::string> fromDoubleQuotedEscapedArgument(const std::vector<std::string>& texts);

/// Splits a line at unescaped spaces outside double quotes (runs of spaces
/// count as one; spaces at the start or the end add no word). An unescaped
/// double quote toggles quoting, a caret escapes the next character inside and
/// outside quotes. Quotes and carets stay in the words unless `unescape` is
/// true, which passes each word through fromDoubleQuotedEscapedArgument.
FILESYSTEM_EXPORT std::vector<std::string> splitCommandLine(const std::string& text, bool unescape);
/// The first word is the program, the others the arguments; an empty line
/// gives an empty CommandInfo.
FILESYSTEM_EXPORT CommandInfo convertCommandLineToCommandInfo(const std::string& text, bool unescape);

/// The arguments quoted with toDoubleQuotedEscapedArgument and joined by one space.
FILESYSTEM_EXPORT std::string generateCommandLine(const std::vector<std::string>& arguments,
                                                  EnvVarOption option = EnvVarOption::None);
/// The program and the arguments, each quoted with the same option.
FILESYSTEM_EXPORT std::string generateCommandLine(const std::string& program, const std::vector<std::string>& arguments,
                                                  EnvVarOption option = EnvVarOption::None);
/// The program and the arguments of `info`.
FILESYSTEM_EXPORT std::string generateCommandLine(const CommandInfo& info, EnvVarOption option = EnvVarOption::None);

/// The name between two percent signs.
FILESYSTEM_EXPORT std::string decorateEnvironmentVariable(const std::string& name);

} // namespace WindowsCmd

/// The rules of the Windows argument parser (CommandLineToArgvW and the C
/// runtime's startup code), for programs started without a shell.
///
/// Quoting puts the text in double quotes, writes a double quote with a
/// backslash before it and doubles a run of backslashes that stands before a
/// double quote. A run
/// of backslashes at the end of the text is deliberately not doubled, so it
/// stands right before the closing quote and the parser reads the last
/// backslash and that quote together as a literal quote: a text that ends in a
/// backslash does not come back. Every other text comes back exactly.
/// Unlike the system's parser, the reverse operations don't read two double
/// quotes inside quotes as a literal one, and only the space separates words.
///
/// \code
/// a\\"b\c     "a\\\\\"b\c"
/// dir\        "dir\"          read back as  dir"
/// \endcode
namespace WindowsCommandLineToArg {

/// The text in double quotes, with each double quote escaped by a backslash
/// and the backslash runs before a double quote doubled.
FILESYSTEM_EXPORT std::string toDoubleQuotedEscapedArgument(const std::string& text);
/// Each text quoted as by the single form.
FILESYSTEM_EXPORT std::vector<std::string> toDoubleQuotedEscapedArgument(const std::vector<std::string>& texts);
/// Drops every unescaped double quote. A run of n backslashes before a double
/// quote gives n/2 backslashes, and the quote is a literal one when n is odd;
/// a run before
/// anything else is copied as it stands.
FILESYSTEM_EXPORT std::string fromDoubleQuotedEscapedArgument(const std::string& text);
/// Each text read back as by the single form.
FILESYSTEM_EXPORT std::vector<std::string> fromDoubleQuotedEscapedArgument(const std::vector<std::string>& texts);

/// Splits a line at spaces outside double quotes (runs of spaces count as
/// one; spaces at the start or the end add no word). A double quote toggles quoting
/// unless an odd run of backslashes stands before it. Quotes and backslashes
/// stay in the words unless `unescape` is true, which passes each word
/// through fromDoubleQuotedEscapedArgument.
FILESYSTEM_EXPORT std::vector<std::string> splitCommandLine(const std::string& text, bool unescape);

/// Every argument quoted with toDoubleQuotedEscapedArgument, joined by one
/// space. `splitCommandLine(line, true)` gives them back unless one of them
/// ends in a backslash (see the namespace).
FILESYSTEM_EXPORT std::string generateCommandLine(const std::vector<std::string>& arguments);

} // namespace WindowsCommandLineToArg

// ---- The world of an operating system: WindowsCmd for Windows, Bash for Linux.

/// splitCommandLine of the system's shell; throws std::logic_error("Not
/// implemented") for a system other than Windows and Linux.
FILESYSTEM_EXPORT std::vector<std::string> splitCommandLine(const std::string& text, bool unescape,
                                                            Utilities::OperatingSystem os);
/// convertCommandLineToCommandInfo of the system's shell with `unescape`
/// true; throws std::logic_error("Not implemented") for another system.
FILESYSTEM_EXPORT CommandInfo convertCommandLineToCommandInfo(const std::string& text, Utilities::OperatingSystem os);
/// generateCommandLine of the system's shell; throws std::logic_error("Not
/// implemented") for a system other than Windows and Linux.
///@{
FILESYSTEM_EXPORT std::string generateCommandLine(const std::vector<std::string>& arguments, EnvVarOption option,
                                                  Utilities::OperatingSystem os);
FILESYSTEM_EXPORT std::string generateCommandLine(const std::string& program, const std::vector<std::string>& arguments,
                                                  EnvVarOption option, Utilities::OperatingSystem os);
FILESYSTEM_EXPORT std::string generateCommandLine(const CommandInfo& info, EnvVarOption option,
                                                  Utilities::OperatingSystem os);
///@}
/// One argument quoted for the system's shell (Bash::toSingleQuotedEscapedArgument
/// or WindowsCmd::toDoubleQuotedEscapedArgument); throws
/// std::logic_error("NOt supported"), spelled so, for a system other than
/// Windows and Linux.
FILESYSTEM_EXPORT std::string toQuotedEscapedArgument(const std::string& text, EnvVarOption option,
                                                      Utilities::OperatingSystem os);
/// A reference to the variable in the system's shell (Bash or WindowsCmd
/// decorateEnvironmentVariable); throws std::logic_error("Not implemented")
/// for another system.
FILESYSTEM_EXPORT std::string decorateEnvironmentVariable(const std::string& name, Utilities::OperatingSystem os);

} // namespace FileSystem::ShellHelpers
