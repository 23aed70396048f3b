#pragma once

// The handlers of a command-line parser: each claims some arguments by their
// flags, acts on them while the parser walks the command line, and can write
// its state back as arguments.

#include <FileSystem/Export.h>

#include <cstdint>
#include <functional>
#include <iosfwd>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

namespace FileSystem {

/// How deep a help text goes. A handler is shown when its level is not above
/// the level asked for; the numbers between the named ones may be used too.
enum class CommandLineArgumentLevel : std::uint8_t {
    Ordinary = 1,          ///< ordinary help ("-help")
    Further = 2,           ///< further help ("-help2")
    Developer = 201,       ///< developer help ("-devHelp")
    DeveloperFurther = 202 ///< further developer help ("-devHelp2")
};

/// \namespace FileSystem::ArgumentHandlers
/// The handlers that a CommandLineArgumentParser hands arguments to.

namespace ArgumentHandlers {

/// One kind of argument of a command line.
class FILESYSTEM_EXPORT ArgumentHandlerAbstract {
public:
    /// Walks the arguments of a command line.
    using iterator = std::vector<std::string>::const_iterator;
    /// Receives generated arguments.
    using output_iterator = std::back_insert_iterator<std::vector<std::string>>;

    virtual ~ArgumentHandlerAbstract() = default;

    /// Writes the handler's help to `stream` when its level is not above `level`.
    virtual void printHelp(CommandLineArgumentLevel level, std::ostream& stream) const = 0;
    /// True when the handler claims `argument`.
    virtual bool isMyFlag(const std::string& argument) const = 0;
    /// The flags the handler answers to.
    virtual std::vector<std::string> getFlags() const = 0;
    /// Acts on the argument at `current`, which the handler claimed. It may
    /// move `current` on, up to `end`, over the arguments it consumes; the
    /// parser moves on by one when it does not.
    virtual void process(iterator& current, iterator end) = 0;
    /// Writes the arguments that give the handler's present state again.
    virtual void generate(output_iterator& out) const = 0;
    /// The flag written by generate.
    virtual std::string mainFlag() const = 0;
    /// Replaces the flag written by generate.
    virtual void setMainFlag(const std::string& flag) = 0;

protected:
    /// Handlers are made, copied and moved as their derived classes.
    ///@{
    ArgumentHandlerAbstract() = default;
    ArgumentHandlerAbstract(const ArgumentHandlerAbstract&) = default;
    ArgumentHandlerAbstract(ArgumentHandlerAbstract&&) = default;
    ArgumentHandlerAbstract& operator=(const ArgumentHandlerAbstract&) = default;
    ArgumentHandlerAbstract& operator=(ArgumentHandlerAbstract&&) = default;
    ///@}
};

/// A handler with a list of flags, a help text and a level, which claims an
/// argument equal to one of its flags. Derived classes say whether they act
/// and generate, and how.
class FILESYSTEM_EXPORT ArgumentHandlerBase : public ArgumentHandlerAbstract {
public:
    /// The main flag is the first of `flags`. Throws std::logic_error("No
    /// empty flags allowed") when `flags` is empty.
    ArgumentHandlerBase(std::vector<std::string> flags, std::string helpText, CommandLineArgumentLevel level);

    /// Each flag on a line of its own, then the help text and two line feeds;
    /// nothing when the handler's level is above `level`.
    void printHelp(CommandLineArgumentLevel level, std::ostream& stream) const override;
    /// True when `argument` equals one of the flags.
    bool isMyFlag(const std::string& argument) const override;
    std::vector<std::string> getFlags() const override { return m_flags; }
    /// do_process when the handler has an action.
    void process(iterator& current, iterator end) override;
    /// When the handler has something to generate: the main flag (if
    /// appendFlagAsArgument), then what do_generate writes.
    void generate(output_iterator& out) const override;
    std::string mainFlag() const override { return m_mainFlag; }
    void setMainFlag(const std::string& flag) override { m_mainFlag = flag; }

    /// The level at which the handler is shown.
    CommandLineArgumentLevel level() const { return m_level; }
    /// The help text.
    const std::string& helpText() const { return m_helpText; }

protected:
    /// The action on the argument at `current`; see process.
    virtual void do_process(iterator& current, iterator end) = 0;
    /// Writes the arguments behind the flag.
    virtual void do_generate(output_iterator& out) const = 0;
    /// Whether generate writes the main flag before the arguments; true here.
    virtual bool appendFlagAsArgument() const;
    /// Whether the handler acts on its arguments.
    virtual bool hasProcess() const = 0;
    /// Whether the handler has anything to generate now.
    virtual bool hasGenerate() const = 0;

private:
    std::vector<std::string> m_flags;
    std::string m_helpText;
    CommandLineArgumentLevel m_level;
    std::string m_mainFlag;
};

/// A handler of arguments that begin with one of its flags ("-D" claims
/// "-DNAME=value"). It writes no flag of its own in generate: do_generate
/// writes whole arguments.
class FILESYSTEM_EXPORT ArgumentPrefixHandlerBase : public ArgumentHandlerBase {
public:
    using ArgumentHandlerBase::ArgumentHandlerBase;

    /// True when `argument` begins with one of the flags.
    bool isMyFlag(const std::string& argument) const override;

protected:
    /// False: the generated arguments carry the prefix themselves.
    bool appendFlagAsArgument() const override;
};

/// A handler whose action and state are functions.
class FILESYSTEM_EXPORT ExecuteArgumentHandler : public ArgumentHandlerBase {
public:
    /// The action: gets the argument that was claimed, the iterator already
    /// behind it (to take values with CommandLineArgumentParser::extractArgument)
    /// and the end.
    using Function = std::function<void(const std::string& flag, iterator& current, iterator end)>;
    /// The state: no value when the handler generates nothing, else the
    /// arguments behind the main flag (an empty list for the flag alone).
    /// Asked twice per generate, so it should only read.
    using GenerateFunction = std::function<std::optional<std::vector<std::string>>()>;

    /// A handler that acts with `function` (none: the handler claims its flags
    /// and does nothing) and generates with `generateFunction` (none: nothing).
    ExecuteArgumentHandler(std::vector<std::string> flags, std::string helpText, CommandLineArgumentLevel level,
                           Function function, GenerateFunction generateFunction = {});

protected:
    /// Moves `current` on by one and calls the function with the argument it passed.
    void do_process(iterator& current, iterator end) override;
    void do_generate(output_iterator& out) const override;
    bool hasProcess() const override;
    bool hasGenerate() const override;

private:
    Function m_function;
    GenerateFunction m_generate;
};

} // namespace ArgumentHandlers

} // namespace FileSystem
