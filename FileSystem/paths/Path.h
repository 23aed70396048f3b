#pragma once

#include <FileSystem/Export.h>

#include <cstddef>
#include <string>
#include <vector>

namespace FileSystem {

/// A path as a value: one UTF-8 text and the algebra of path text.
///
/// The class enforces no normal form. `/` and the backslash are separators in every
/// operation, case is preserved, a drive is a first token ending in `:`, and a
/// trailing slash stays until it is stripped. A path may start with a reserved
/// prefix (`//host/share`, `\\?\C:`, `\\.\COM1`, `\\?\UNC\host`), which always belongs to the
/// first token.
///
/// Every operation has a member form that works on the object (members that
/// change the path return the changed text) and a static form on a string that
/// returns a new string. Any text is accepted; no operation fails.
class FILESYSTEM_EXPORT Path {
public:
    /// An empty path.
    Path() = default;
    /// A path of the text (a null `const char*` gives an empty path).
    ///@{
    Path(const std::string& path) : m_path(path) {}
    Path(std::string&& path) noexcept : m_path(std::move(path)) {}
    Path(const char* path) : m_path(path ? path : "") {}
    ///@}

    /// True when the text is empty.
    bool isEmpty() const noexcept { return m_path.empty(); }
    /// The text of the path.
    const std::string& get() const noexcept { return m_path; }

    // ---- Tokens and names ------------------------------------------------

    /// The last name ("c" of "/a/b/c/"); trailing slashes are ignored. A path of
    /// a reserved prefix alone gives the prefix ("//" too), "/" gives "".
    ///@{
    std::string getLastToken() const;
    static std::string getLastToken(const std::string& path);
    ///@}
    /// The first name ("a" of "/a/b", "C:" of "C:/a", "//host" of "//host/share");
    /// a reserved prefix belongs to it.
    ///@{
    std::string getFirstToken() const;
    static std::string getFirstToken(const std::string& path);
    ///@}

    /// The names between separators, in order; the prefix stays in the first
    /// one, and empty names (of doubled, leading or trailing slashes) are left
    /// out. The forms with a vector append to it.
    ///@{
    void getTokens(std::vector<std::string>& tokens) const;
    static void getTokens(const std::string& path, std::vector<std::string>& tokens);
    std::vector<std::string> getTokens() const;
    static std::vector<std::string> getTokens(const std::string& path);
    ///@}

    /// Removes the last name and the separator before it ("/a/b/c" gives "/a/b",
    /// "/a" gives ""); a path of one name becomes empty.
    ///@{
    const std::string& stripLastToken();
    static std::string stripLastToken(const std::string& path);
    ///@}
    /// Removes the first name and the separator after it ("a/b/c" gives "b/c").
    ///@{
    const std::string& stripFirstToken();
    static std::string stripFirstToken(const std::string& path);
    ///@}

    /// The last name without its extension ("report" of "/a/report.txt").
    ///@{
    std::string getBaseFileName() const;
    static std::string getBaseFileName(const std::string& path);
    ///@}

    /// True when the last name is "." or "..".
    ///@{
    bool isDotOrDotDot() const;
    static bool isDotOrDotDot(const std::string& path);
    ///@}
    /// True when the last name starts with a dot (".hidden", also "." and "..").
    ///@{
    bool isDotFile() const;
    static bool isDotFile(const std::string& path);
    ///@}

    /// Replaces the first occurrence of `oldPart` in the text by `newPart`; the
    /// text stays as it is when there is none.
    ///@{
    const std::string& replacePart(const std::string& oldPart, const std::string& newPart);
    static std::string replacePart(const std::string& path, const std::string& oldPart, const std::string& newPart);
    ///@}

    // ---- Extensions --------------------------------------------------------

    /// The last name's text from its last dot on (".gz" of "a.tar.gz"), lower-cased
    /// per code point with `lowerCase`; empty without a dot and for "." and "..".
    ///@{
    std::string getExtension(bool lowerCase) const;
    static std::string getExtension(const std::string& path, bool lowerCase);
    static std::string getExtension(const char* path, bool lowerCase);
    ///@}
    /// The extension without its dot ("gz"); a dot that starts the name is none,
    /// so ".profile" has no format extension.
    ///@{
    std::string getFormatExtension(bool lowerCase) const;
    static std::string getFormatExtension(const std::string& path, bool lowerCase);
    static std::string getFormatExtension(const char* path, bool lowerCase);
    ///@}
    /// True when getExtension() is not empty.
    ///@{
    bool hasExtension() const;
    static bool hasExtension(const std::string& path);
    ///@}
    /// Compares the format extension with `ext` (leading dots skipped), ignoring
    /// case per code point: "a.TXT" is of extension ".txt" and of "txt".
    ///@{
    bool isExtension(const std::string& ext) const;
    static bool isExtension(const std::string& path, const std::string& ext);
    ///@}
    /// Removes trailing slashes, then the extension (the last dot of the last
    /// name and what follows it).
    ///@{
    const std::string& stripExtension();
    static std::string stripExtension(const std::string& path);
    ///@}

    // ---- Slashes and spaces ------------------------------------------------

    /// True when the path ends in a separator that is not part of a reserved prefix.
    ///@{
    bool hasTrailingSlash() const;
    static bool hasTrailingSlash(const std::string& path);
    ///@}
    /// True when the path starts with a separator.
    ///@{
    bool hasLeadingSlash() const;
    static bool hasLeadingSlash(const std::string& path);
    ///@}
    /// Removes all trailing separators (not those of a reserved prefix).
    ///@{
    const std::string& stripTrailingSlash();
    static std::string stripTrailingSlash(const std::string& path);
    ///@}
    /// Appends '/' unless the path already ends in a separator.
    ///@{
    const std::string& appendTrailingSlash();
    static std::string appendTrailingSlash(const std::string& path);
    ///@}
    /// Removes all leading separators.
    ///@{
    const std::string& stripLeadingSlash();
    static std::string stripLeadingSlash(const std::string& path);
    ///@}
    /// Puts '/' in front unless the path already starts with a separator.
    ///@{
    const std::string& prependLeadingSlash();
    static std::string prependLeadingSlash(const std::string& path);
    ///@}

    /// Removes white space (classic locale) from both ends.
    ///@{
    const std::string& stripEndSpaces();
    static std::string stripEndSpaces(const std::string& path);
    ///@}
    /// Removes white space from both ends, then turns control characters and a
    /// final dot into '_'.
    ///@{
    const std::string& stripEndSpacesAndReplaceEndDot();
    static std::string stripEndSpacesAndReplaceEndDot(const std::string& path);
    ///@}

    /// Makes a single name safe for a file system: white space goes from both
    /// ends, control characters and `?[]/\=+<>:;",*|^` become '_'; with
    /// `replaceDots` also `~#%&{}` and every dot, without it only a final dot.
    ///@{
    std::string makeGoodFileName(bool replaceDots);
    static std::string makeGoodFileName(const std::string& name, bool replaceDots);
    static std::string makeGoodFileName(const char* name, bool replaceDots);
    ///@}

    /// The path itself when nothing exists there, else the first free name
    /// "base (n)" with the extension in lower case: "Report (1).txt" beside
    /// "Report.txt".
    static std::string getDuplicationName(const std::string& path);

    /// Removes white space from both ends, then turns spaces into '_'.
    ///@{
    const std::string& replaceSpacesWithUnderscores();
    static std::string replaceSpacesWithUnderscores(const std::string& path);
    ///@}
    /// Removes white space from both ends, then turns '/' into '_'.
    ///@{
    const std::string& replaceForwardSlashesWithUnderscores();
    static std::string replaceForwardSlashesWithUnderscores(const std::string& path);
    ///@}
    /// Turns every `/` into a backslash.
    ///@{
    const std::string& makeBackSlashes();
    static std::string makeBackSlashes(const std::string& path);
    ///@}
    /// Turns every backslash into `/`.
    ///@{
    const std::string& makeForwardSlashes();
    static std::string makeForwardSlashes(const std::string& path);
    ///@}

    // ---- Forms ---------------------------------------------------------------

    /// True for a path that starts at a root: "/a" (on this system), a drive
    /// ("C:", any second character ':'), or a reserved prefix.
    ///@{
    bool isAbsolutePath() const;
    static bool isAbsolutePath(const std::string& path);
    ///@}
    /// True when the path without trailing slashes holds no separator.
    static bool isSingleToken(const std::string& path);
    /// True when the path starts with a reserved prefix (two separators).
    ///@{
    bool isUNCPath() const;
    static bool isUNCPath(const std::string& path);
    ///@}
    /// True when the path starts with a long prefix. Such paths read `\\?\C:/a` or
    /// `\\.\COM1`.
    ///@{
    bool isLongUNCPath() const;
    static bool isLongUNCPath(const std::string& path);
    ///@}
    /// True when the path starts with the long network prefix (as `\\?\UNC\host`).
    ///@{
    bool isLongUNCNetworkPath() const;
    static bool isLongUNCNetworkPath(const std::string& path);
    ///@}
    /// A test of form only: the first token is longer than one character and ends in ':'.
    ///@{
    bool isNFSPath() const;
    static bool isNFSPath(const std::string& path);
    ///@}
    /// True for a path with a reserved prefix, or one that the system places on
    /// a network file system; false for the empty path and when it cannot tell.
    ///@{
    bool isNetworkPath() const;
    static bool isNetworkPath(const std::string& path);
    ///@}

    /// Puts `base` (by default the current directory) in front of a relative
    /// path. An absolute path comes back unchanged; "", "." and "./" give the
    /// base with a trailing slash; a leading dot that does not start ".." is
    /// cut ("./a" and ".a" both give "base/a"). An empty base changes nothing.
    ///@{
    const std::string& makePathAbsolute();
    static std::string makePathAbsolute(const std::string& path);
    static std::string makePathAbsolute(const std::string& path, const std::string& base);
    ///@}
    /// Makes the path absolute, turns it to forward slashes and removes doubled
    /// slashes and "/parent/.." segments (a name that starts with ".." counts as
    /// ".."). A network prefix keeps its two slashes.
    ///@{
    const std::string& removeRedundentRelativeSegments();
    static std::string removeRedundentRelativeSegments(const std::string& path);
    ///@}

    /// The absolute, normalised form in which this build hands a path to the
    /// system. Like removeRedundentRelativeSegments, except that names are never
    /// changed: a leading ".name" keeps its dot, and only a whole ".." segment
    /// removes its parent ("/a/..x" stays), so that an operation on such a file
    /// reaches that file and no other.
    static std::string normaliseForSystem(const std::string& path);

    /// The longest leading part, token by token, at which both paths name the
    /// same existing file or folder on disk; empty when there is none.
    ///@{
    std::string lastCommonParentPath(const std::string& other) const;
    static std::string lastCommonParentPath(const std::string& a, const std::string& b);
    ///@}
    /// The path relative to `base`, with forward slashes ("../b/c"). Both are
    /// normalised first, and names compare ignoring case; when the first tokens
    /// differ (another drive or root) the path itself comes back with forward
    /// slashes. An empty path gives "".
    ///@{
    std::string calculateRelativePath(const std::string& base) const;
    static std::string calculateRelativePath(const std::string& path, const std::string& base);
    ///@}
    /// True when both paths name the same file on disk (both must exist).
    static bool compare(const std::string& a, const std::string& b);
    /// True when the tokens of the normalised prefix lead those of the
    /// normalised path, ignoring case.
    static bool startsWith(const std::string& path, const std::string& prefix);

    /// Removes a long prefix: `\\?\C:\a` gives `C:\a`, `\\?\UNC\host\share`
    /// gives `\\host\share`; other paths stay as they are.
    ///@{
    const std::string& stripUNCPrefix();
    static std::string stripUNCPrefix(const std::string& path);
    ///@}
    /// Turns a path on a share of this computer ("//host/share/rest") back into
    /// the local path of the share; other paths keep their text, less a long prefix.
    ///@{
    const std::string& convertFromUNCPath();
    static std::string convertFromUNCPath(const std::string& path);
    ///@}
    /// The same as convertFromUNCPath.
    ///@{
    const std::string& convertFromNetworkPath();
    static std::string convertFromNetworkPath(const std::string& path);
    ///@}
    /// The name by which other machines reach a local path. A path on a
    /// network mount becomes the server's path from the mount table
    /// (`//server/share/rest` for SMB, `host:/export/rest` for NFS); a path in
    /// a folder that this computer shares becomes `//computer/share/rest`;
    /// links are followed first. Results use forward slashes. An empty path
    /// and one that starts with two backslashes stay as they are, one that
    /// starts with `//` only has its backslashes turned into `/`, and any
    /// other path that is neither mounted nor shared stays as it is.
    ///@{
    const std::string& convertToUNCPath();
    static std::string convertToUNCPath(const std::string& path);
    ///@}
    /// The same as convertToUNCPath.
    ///@{
    const std::string& convertToNetworkPath();
    static std::string convertToNetworkPath(const std::string& path);
    ///@}
    /// Makes a path usable below another folder: a drive's colon and leading
    /// separators go ("C:/a" becomes "C/a", "/a" becomes "a").
    ///@{
    const std::string& convertStartToFolder();
    static std::string convertStartToFolder(const std::string& path);
    ///@}
    /// False when the system's form of the path is longer than 32767 bytes or
    /// one of its names longer than 255.
    ///@{
    bool isPathLengthCorrect() const;
    static bool isPathLengthCorrect(const std::string& path);
    ///@}
    /// Makes the path absolute and gives its existing part the spelling it has
    /// on disk (an exact match first, else one that differs only in case); the
    /// names from the first one that is not found on stay as given.
    ///@{
    const std::string& correctCaptialization();
    static std::string correctCaptialization(const std::string& path);
    ///@}
    /// Forward slashes, no long prefix, no trailing slash.
    static std::string makeKVLCanonicalPath(const std::string& path);

    /// The length of the reserved prefix. It is 0 for none, 2 for two separators
    /// (`//host`), 4 for a long prefix (`\\?\C:`, `\\.\COM1`) and 8 for the long
    /// network prefix (`\\?\UNC\host`).
    ///@{
    static std::size_t UNCPrefixLength(const std::string& path) noexcept;
    static std::size_t firstTokenPrefixLength(const std::string& path) noexcept { return UNCPrefixLength(path); }
    ///@}

    /// Equal when the texts are equal byte for byte.
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
