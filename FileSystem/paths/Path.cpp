#include <FileSystem/paths/Path.h>

#include <FileSystem/paths/OSPaths.h>
#include <FileSystem/paths/PathConverterBase.h>
#include <FileSystem/platform/Status.h>
#include <FileSystem/utilities/Unicode.h>

#include <algorithm>
#include <array>

namespace FileSystem {

namespace {

constexpr std::size_t npos = std::string::npos;
constexpr const char* kSeparators = "/\\";

bool isSeparator(char c) noexcept { return c == '/' || c == '\\'; }

/// White space of the classic locale: space, tab, line feed, vertical tab,
/// form feed, carriage return. Bytes of 128 and above never count.
bool isClassicSpace(char c) noexcept {
    return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

bool isClassicControl(char c) noexcept {
    const auto u = static_cast<unsigned char>(c);
    return u < 32 || u == 127;
}

/// The text behind the last separator of the whole text.
std::string_view afterLastSeparator(const std::string& text) noexcept {
    const std::size_t pos = text.find_last_of(kSeparators);
    return pos == npos ? std::string_view(text) : std::string_view(text).substr(pos + 1);
}

std::string replaceAll(std::string text, char from, char to) {
    std::replace(text.begin(), text.end(), from, to);
    return text;
}

/// A set of characters for fast membership tests.
class CharSet {
public:
    constexpr explicit CharSet(std::string_view chars) {
        for (char c : chars)
            m_in[static_cast<unsigned char>(c)] = true;
    }
    constexpr bool contains(char c) const { return m_in[static_cast<unsigned char>(c)]; }

private:
    std::array<bool, 256> m_in{};
};

constexpr CharSet kBadFileNameChars("?[]/\\=+<>:;\",*|^");
constexpr CharSet kBadFileNameCharsStrict("~#%&{}.");

} // namespace

// ---- Vocabulary ------------------------------------------------------------

std::size_t Path::UNCPrefixLength(const std::string& path) noexcept {
    if (path.size() < 2 || !isSeparator(path[0]) || !isSeparator(path[1]))
        return 0;
    if (path.size() < 4)
        return 2;
    if (path[2] == '?' && isSeparator(path[3])) {
        if (path.size() >= 8 && path.compare(4, 3, "UNC") == 0 && isSeparator(path[7]))
            return 8;
        return 4;
    }
    if (path[2] == '.' && isSeparator(path[3]))
        return 4;
    return 2;
}

std::size_t Path::lastNonSlash() const noexcept { return m_path.find_last_not_of(kSeparators); }

std::size_t Path::firstNonSlash() const noexcept { return m_path.find_first_not_of(kSeparators); }

/// The separator that ends the first token (npos when the token runs to the end).
std::size_t Path::firstTokenEnd() const noexcept {
    const std::size_t first = firstNonSlash();
    return m_path.find_first_of(kSeparators, std::max(UNCPrefixLength(), first));
}

// ---- Tokens and names --------------------------------------------------------

std::string Path::getLastToken() const {
    const std::size_t L = lastNonSlash();
    const std::size_t P = UNCPrefixLength();
    if (L == npos)
        return m_path.substr(0, P);
    const std::size_t F = firstNonSlash();
    const std::size_t S = F > P ? F : 0;
    const std::size_t R = m_path.find_last_of(kSeparators, L);
    if (R != npos && (R < S || R < P))
        return m_path.substr(S, L - S + 1);
    if (R != npos && R == P)
        return m_path.substr(0, L); // a doubled separator behind a long prefix
    if (R != npos)
        return m_path.substr(R + 1, L - R);
    return m_path.substr(S, L - S + 1);
}

std::string Path::getLastToken(const std::string& path) { return Path(path).getLastToken(); }

std::string Path::getFirstToken() const {
    const std::size_t L = lastNonSlash();
    const std::size_t P = UNCPrefixLength();
    if (L == npos)
        return m_path.substr(0, P);
    const std::size_t E = firstTokenEnd();
    const std::size_t T = P != 0 ? 0 : firstNonSlash();
    if (E == npos)
        return m_path.substr(T, L - T + 1);
    return m_path.substr(T, E - T);
}

std::string Path::getFirstToken(const std::string& path) { return Path(path).getFirstToken(); }

void Path::getTokens(std::vector<std::string>& tokens) const {
    std::size_t start = 0;
    std::size_t end = m_path.find_first_of(kSeparators, UNCPrefixLength());
    for (;;) {
        const std::size_t stop = end == npos ? m_path.size() : end;
        if (stop > start)
            tokens.push_back(m_path.substr(start, stop - start));
        if (end == npos)
            break;
        start = end + 1;
        end = m_path.find_first_of(kSeparators, start);
    }
}

void Path::getTokens(const std::string& path, std::vector<std::string>& tokens) { Path(path).getTokens(tokens); }

std::vector<std::string> Path::getTokens() const {
    std::vector<std::string> tokens;
    getTokens(tokens);
    return tokens;
}

std::vector<std::string> Path::getTokens(const std::string& path) { return Path(path).getTokens(); }

const std::string& Path::stripLastToken() {
    const std::size_t L = lastNonSlash();
    if (L == npos) {
        m_path.clear();
        return m_path;
    }
    const std::size_t R = m_path.find_last_of(kSeparators, L);
    if (R != npos && R >= UNCPrefixLength())
        m_path.resize(R);
    else
        m_path.clear();
    return m_path;
}

std::string Path::stripLastToken(const std::string& path) { return Path(path).stripLastToken(); }

const std::string& Path::stripFirstToken() {
    if (lastNonSlash() == npos) {
        m_path.clear();
        return m_path;
    }
    const std::size_t E = firstTokenEnd();
    if (E == npos)
        m_path.clear();
    else
        m_path.erase(0, E + 1);
    return m_path;
}

std::string Path::stripFirstToken(const std::string& path) { return Path(path).stripFirstToken(); }

std::string Path::getBaseFileName() const { return stripExtension(getLastToken()); }

std::string Path::getBaseFileName(const std::string& path) { return Path(path).getBaseFileName(); }

bool Path::isDotOrDotDot() const {
    const std::string_view name = afterLastSeparator(m_path);
    return name == "." || name == "..";
}

bool Path::isDotOrDotDot(const std::string& path) { return Path(path).isDotOrDotDot(); }

bool Path::isDotFile() const {
    const std::string_view name = afterLastSeparator(m_path);
    return !name.empty() && name.front() == '.';
}

bool Path::isDotFile(const std::string& path) { return Path(path).isDotFile(); }

const std::string& Path::replacePart(const std::string& oldPart, const std::string& newPart) {
    const std::size_t pos = m_path.find(oldPart);
    if (pos != npos)
        m_path.replace(pos, oldPart.size(), newPart);
    return m_path;
}

std::string Path::replacePart(const std::string& path, const std::string& oldPart, const std::string& newPart) {
    return Path(path).replacePart(oldPart, newPart);
}

// ---- Extensions ----------------------------------------------------------------

std::string Path::getExtension(bool lowerCase) const {
    if (isDotOrDotDot())
        return {};
    const std::string token = getLastToken();
    const std::size_t dot = token.rfind('.');
    if (dot == npos)
        return {};
    std::string ext = token.substr(dot);
    return lowerCase ? Utilities::toLowerUtf8(ext) : ext;
}

std::string Path::getExtension(const std::string& path, bool lowerCase) { return Path(path).getExtension(lowerCase); }

std::string Path::getExtension(const char* path, bool lowerCase) { return Path(path).getExtension(lowerCase); }

std::string Path::getFormatExtension(bool lowerCase) const {
    if (isDotOrDotDot())
        return {};
    const std::string token = getLastToken();
    const std::size_t dot = token.rfind('.');
    if (dot == npos || dot == 0)
        return {};
    std::string ext = token.substr(dot + 1);
    return lowerCase ? Utilities::toLowerUtf8(ext) : ext;
}

std::string Path::getFormatExtension(const std::string& path, bool lowerCase) {
    return Path(path).getFormatExtension(lowerCase);
}

std::string Path::getFormatExtension(const char* path, bool lowerCase) {
    return Path(path).getFormatExtension(lowerCase);
}

bool Path::hasExtension() const { return !getExtension(true).empty(); }

bool Path::hasExtension(const std::string& path) { return Path(path).hasExtension(); }

bool Path::isExtension(const std::string& ext) const {
    if (isDotOrDotDot())
        return false;
    const std::size_t start = ext.find_first_not_of('.');
    const std::string bare = start == npos ? std::string() : ext.substr(start);
    return Utilities::toLowerUtf8(bare) == getFormatExtension(true);
}

bool Path::isExtension(const std::string& path, const std::string& ext) { return Path(path).isExtension(ext); }

const std::string& Path::stripExtension() {
    stripTrailingSlash();
    // The extension as it stands is cut: lower-casing can change the byte
    // length of a character (the Kelvin sign becomes 'k'), and cutting by the
    // lower-cased length would split a character.
    const std::size_t length = getExtension(false).size();
    m_path.resize(m_path.size() - std::min(length, m_path.size()));
    return m_path;
}

std::string Path::stripExtension(const std::string& path) { return Path(path).stripExtension(); }

// ---- Slashes and spaces -----------------------------------------------------------

bool Path::hasTrailingSlash() const { return m_path.size() > UNCPrefixLength() && isSeparator(m_path.back()); }

bool Path::hasTrailingSlash(const std::string& path) { return Path(path).hasTrailingSlash(); }

bool Path::hasLeadingSlash() const { return !m_path.empty() && isSeparator(m_path.front()); }

bool Path::hasLeadingSlash(const std::string& path) { return Path(path).hasLeadingSlash(); }

const std::string& Path::stripTrailingSlash() {
    if (hasTrailingSlash()) {
        const std::size_t L = lastNonSlash();
        m_path.resize(L == npos ? 0 : L + 1);
    }
    return m_path;
}

std::string Path::stripTrailingSlash(const std::string& path) { return Path(path).stripTrailingSlash(); }

const std::string& Path::appendTrailingSlash() {
    if (!hasTrailingSlash())
        m_path += '/';
    return m_path;
}

std::string Path::appendTrailingSlash(const std::string& path) { return Path(path).appendTrailingSlash(); }

const std::string& Path::stripLeadingSlash() {
    const std::size_t F = firstNonSlash();
    m_path.erase(0, F == npos ? m_path.size() : F);
    return m_path;
}

std::string Path::stripLeadingSlash(const std::string& path) { return Path(path).stripLeadingSlash(); }

const std::string& Path::prependLeadingSlash() {
    if (!hasLeadingSlash())
        m_path.insert(m_path.begin(), '/');
    return m_path;
}

std::string Path::prependLeadingSlash(const std::string& path) { return Path(path).prependLeadingSlash(); }

const std::string& Path::stripEndSpaces() {
    const auto first = std::find_if_not(m_path.begin(), m_path.end(), isClassicSpace);
    m_path.erase(m_path.begin(), first);
    const auto last = std::find_if_not(m_path.rbegin(), m_path.rend(), isClassicSpace);
    m_path.erase(last.base(), m_path.end());
    return m_path;
}

std::string Path::stripEndSpaces(const std::string& path) { return Path(path).stripEndSpaces(); }

const std::string& Path::stripEndSpacesAndReplaceEndDot() {
    stripEndSpaces();
    std::replace_if(m_path.begin(), m_path.end(), isClassicControl, '_');
    if (!m_path.empty() && m_path.back() == '.')
        m_path.back() = '_';
    return m_path;
}

std::string Path::stripEndSpacesAndReplaceEndDot(const std::string& path) {
    return Path(path).stripEndSpacesAndReplaceEndDot();
}

std::string Path::makeGoodFileName(bool replaceDots) {
    stripEndSpaces();
    for (char& c : m_path) {
        if (isClassicControl(c) || kBadFileNameChars.contains(c) || (replaceDots && kBadFileNameCharsStrict.contains(c)))
            c = '_';
    }
    if (!replaceDots && !m_path.empty() && m_path.back() == '.')
        m_path.back() = '_';
    return m_path;
}

std::string Path::makeGoodFileName(const std::string& name, bool replaceDots) {
    return Path(name).makeGoodFileName(replaceDots);
}

std::string Path::makeGoodFileName(const char* name, bool replaceDots) {
    return Path(name).makeGoodFileName(replaceDots);
}

std::string Path::getDuplicationName(const std::string& path) {
    const auto exists = [](const std::string& candidate) {
        return sys::pathExists(LongPathConverter::fromKVLPath(candidate, false));
    };
    if (!exists(path))
        return path;
    const std::string extension = getExtension(path, true);
    const std::string base = stripExtension(path);
    for (unsigned long long n = 1;; ++n) {
        std::string candidate = base + " (" + std::to_string(n) + ")" + extension;
        if (!exists(candidate))
            return candidate;
    }
}

const std::string& Path::replaceSpacesWithUnderscores() {
    stripEndSpaces();
    std::replace(m_path.begin(), m_path.end(), ' ', '_');
    return m_path;
}

std::string Path::replaceSpacesWithUnderscores(const std::string& path) {
    return Path(path).replaceSpacesWithUnderscores();
}

const std::string& Path::replaceForwardSlashesWithUnderscores() {
    stripEndSpaces();
    std::replace(m_path.begin(), m_path.end(), '/', '_');
    return m_path;
}

std::string Path::replaceForwardSlashesWithUnderscores(const std::string& path) {
    return Path(path).replaceForwardSlashesWithUnderscores();
}

const std::string& Path::makeBackSlashes() {
    std::replace(m_path.begin(), m_path.end(), '/', '\\');
    return m_path;
}

std::string Path::makeBackSlashes(const std::string& path) { return replaceAll(path, '/', '\\'); }

const std::string& Path::makeForwardSlashes() {
    std::replace(m_path.begin(), m_path.end(), '\\', '/');
    return m_path;
}

std::string Path::makeForwardSlashes(const std::string& path) { return replaceAll(path, '\\', '/'); }

} // namespace FileSystem
