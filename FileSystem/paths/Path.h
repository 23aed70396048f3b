#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace FileSystem {

/// A path as a value: one UTF-8 text and the algebra of path text.
///
/// The class enforces no normal form. `/` and `\` are separators in every
/// operation, case is preserved, a drive is a first token ending in `:`, and a
/// trailing slash stays until it is stripped. A path may start with a reserved
/// prefix (`//host`, `\\?\`, `\\.\`, `\\?\UNC\`), which always belongs to the
/// first token.
///
/// Every operation has a member form that works on the object (members that
/// change the path return the changed text) and a static form on a string that
/// returns a new string. Any text is accepted; no operation fails.
class Path {
public:
    Path() = default;
    Path(const std::string& path) : m_path(path) {}
    Path(std::string&& path) noexcept : m_path(std::move(path)) {}
    Path(const char* path) : m_path(path ? path : "") {}

    bool isEmpty() const noexcept { return m_path.empty(); }
    const std::string& get() const noexcept { return m_path; }

    // ---- Tokens and names ------------------------------------------------

    std::string getLastToken() const;
    static std::string getLastToken(const std::string& path);
    std::string getFirstToken() const;
    static std::string getFirstToken(const std::string& path);

    /// Appends the tokens (the prefix stays in the first one; no empty tokens).
    void getTokens(std::vector<std::string>& tokens) const;
    static void getTokens(const std::string& path, std::vector<std::string>& tokens);
    std::vector<std::string> getTokens() const;
    static std::vector<std::string> getTokens(const std::string& path);

    const std::string& stripLastToken();
    static std::string stripLastToken(const std::string& path);
    const std::string& stripFirstToken();
    static std::string stripFirstToken(const std::string& path);

    std::string getBaseFileName() const;
    static std::string getBaseFileName(const std::string& path);

    bool isDotOrDotDot() const;
    static bool isDotOrDotDot(const std::string& path);
    bool isDotFile() const;
    static bool isDotFile(const std::string& path);

    const std::string& replacePart(const std::string& oldPart, const std::string& newPart);
    static std::string replacePart(const std::string& path, const std::string& oldPart, const std::string& newPart);

    // ---- Extensions --------------------------------------------------------

    /// The last token's text from its last dot on (".gz"), lower-cased per
    /// code point when asked; empty for "." and "..".
    std::string getExtension(bool lowerCase) const;
    static std::string getExtension(const std::string& path, bool lowerCase);
    static std::string getExtension(const char* path, bool lowerCase);
    /// The extension without its dot; a dot that starts the name is none.
    std::string getFormatExtension(bool lowerCase) const;
    static std::string getFormatExtension(const std::string& path, bool lowerCase);
    static std::string getFormatExtension(const char* path, bool lowerCase);
    bool hasExtension() const;
    static bool hasExtension(const std::string& path);
    /// Compares the format extension with `ext` (leading dots skipped), ignoring case.
    bool isExtension(const std::string& ext) const;
    static bool isExtension(const std::string& path, const std::string& ext);
    const std::string& stripExtension();
    static std::string stripExtension(const std::string& path);

    // ---- Slashes and spaces ------------------------------------------------

    bool hasTrailingSlash() const;
    static bool hasTrailingSlash(const std::string& path);
    bool hasLeadingSlash() const;
    static bool hasLeadingSlash(const std::string& path);
    const std::string& stripTrailingSlash();
    static std::string stripTrailingSlash(const std::string& path);
    const std::string& appendTrailingSlash();
    static std::string appendTrailingSlash(const std::string& path);
    const std::string& stripLeadingSlash();
    static std::string stripLeadingSlash(const std::string& path);
    const std::string& prependLeadingSlash();
    static std::string prependLeadingSlash(const std::string& path);

    /// Removes white space (classic locale) from both ends.
    const std::string& stripEndSpaces();
    static std::string stripEndSpaces(const std::string& path);
    const std::string& stripEndSpacesAndReplaceEndDot();
    static std::string stripEndSpacesAndReplaceEndDot(const std::string& path);

    /// Makes a single name safe for a file system: control characters and the
    /// characters ?[]/\=+<>:;",*|^ become '_'; with `replaceDots` also ~#%&{}.
    std::string makeGoodFileName(bool replaceDots);
    static std::string makeGoodFileName(const std::string& name, bool replaceDots);
    static std::string makeGoodFileName(const char* name, bool replaceDots);

    /// A name beside an existing file that is free: "Report (1).txt".
    static std::string getDuplicationName(const std::string& path);

    const std::string& replaceSpacesWithUnderscores();
    static std::string replaceSpacesWithUnderscores(const std::string& path);
    const std::string& replaceForwardSlashesWithUnderscores();
    static std::string replaceForwardSlashesWithUnderscores(const std::string& path);
    const std::string& makeBackSlashes();
    static std::string makeBackSlashes(const std::string& path);
    const std::string& makeForwardSlashes();
    static std::string makeForwardSlashes(const std::string& path);

    // ---- Forms ---------------------------------------------------------------

    bool isAbsolutePath() const;
    static bool isAbsolutePath(const std::string& path);
    static bool isSingleToken(const std::string& path);
    bool isUNCPath() const;
    static bool isUNCPath(const std::string& path);
    bool isLongUNCPath() const;
    static bool isLongUNCPath(const std::string& path);
    bool isLongUNCNetworkPath() const;
    static bool isLongUNCNetworkPath(const std::string& path);
    /// A test of form only: the first token is longer than one character and ends in ':'.
    bool isNFSPath() const;
    static bool isNFSPath(const std::string& path);
    /// Asks the system whether the path lies on another machine.
    bool isNetworkPath() const;
    static bool isNetworkPath(const std::string& path);

    /// Puts `base` (by default the current directory) in front of a relative path.
    const std::string& makePathAbsolute();
    static std::string makePathAbsolute(const std::string& path);
    static std::string makePathAbsolute(const std::string& path, const std::string& base);
    /// Makes the path absolute, turns it to forward slashes and removes doubled
    /// slashes and "/parent/.." segments.
    const std::string& removeRedundentRelativeSegments();
    static std::string removeRedundentRelativeSegments(const std::string& path);

    /// The absolute, normalised form in which this build hands a path to the
    /// system. Like removeRedundentRelativeSegments, except that names are never
    /// changed: a leading ".name" keeps its dot, and only a whole ".." segment
    /// removes its parent ("/a/..x" stays), so that an operation on such a file
    /// reaches that file and no other.
    static std::string normaliseForSystem(const std::string& path);

    /// The longest leading part that both paths share on disk; empty when none.
    std::string lastCommonParentPath(const std::string& other) const;
    static std::string lastCommonParentPath(const std::string& a, const std::string& b);
    /// The path relative to `base`, with forward slashes ("../b/c").
    std::string calculateRelativePath(const std::string& base) const;
    static std::string calculateRelativePath(const std::string& path, const std::string& base);
    /// True when both paths name the same file on disk (both must exist).
    static bool compare(const std::string& a, const std::string& b);
    /// True when the normalised prefix's tokens lead the path's, ignoring case.
    static bool startsWith(const std::string& path, const std::string& prefix);

    const std::string& stripUNCPrefix();
    static std::string stripUNCPrefix(const std::string& path);
    /// Turns a path on a share of this computer back into the local path.
    const std::string& convertFromUNCPath();
    static std::string convertFromUNCPath(const std::string& path);
    const std::string& convertFromNetworkPath();
    static std::string convertFromNetworkPath(const std::string& path);
    /// Makes a path usable below another folder: "C:/a" becomes "C/a".
    const std::string& convertStartToFolder();
    static std::string convertStartToFolder(const std::string& path);
    /// False when the path or one of its names is too long for a file system.
    bool isPathLengthCorrect() const;
    static bool isPathLengthCorrect(const std::string& path);
    /// Gives the existing part of the path the spelling it has on disk.
    const std::string& correctCaptialization();
    static std::string correctCaptialization(const std::string& path);
    /// Forward slashes, no long prefix, no trailing slash.
    static std::string makeKVLCanonicalPath(const std::string& path);

    /// The length of the reserved prefix: 0, 2 (`//`), 4 (`\\?\`, `\\.\`) or 8 (`\\?\UNC\`).
    static std::size_t UNCPrefixLength(const std::string& path) noexcept;
    static std::size_t firstTokenPrefixLength(const std::string& path) noexcept { return UNCPrefixLength(path); }

    friend bool operator==(const Path&, const Path&) = default;

private:
    static bool isPathSeparator(char c) noexcept { return c == '/' || c == '\\'; }
    std::size_t lastNonSlash() const noexcept;
    std::size_t firstNonSlash() const noexcept;
    std::size_t UNCPrefixLength() const noexcept { return UNCPrefixLength(m_path); }
    std::size_t firstTokenEnd() const noexcept;

    std::string m_path;
};

} // namespace FileSystem
