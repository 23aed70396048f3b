// The Path operations that decide what a path means: absolute or relative,
// which kind of network or long path, how two paths relate.

#include <FileSystem/paths/Path.h>

#include <FileSystem/paths/OSPaths.h>
#include <FileSystem/paths/PathConverterBase.h>
#include <FileSystem/platform/DirectoryEntries.h>
#include <FileSystem/platform/Shares.h>
#include <FileSystem/platform/Status.h>
#include <FileSystem/platform/Traits.h>
#include <FileSystem/utilities/Unicode.h>

#include <algorithm>

namespace FileSystem {

namespace {

bool isSeparator(char c) noexcept { return c == '/' || c == '\\'; }

bool endsWithSeparator(const std::string& text) noexcept { return !text.empty() && isSeparator(text.back()); }

/// A path that begins with a single separator names the root of the file
/// system on builds where that is so (not a `//` network prefix).
bool isRooted(const std::string& path) noexcept {
    return sys::kRootedPathIsAbsolute && !path.empty() && isSeparator(path.front()) &&
           Path::UNCPrefixLength(path) < 2;
}

/// The texts that stand for the base folder itself when made absolute.
bool namesBase(const std::string& path) {
    return path.empty() || path == "." || path == "./" || path == ".\\" || path == "\\." || path == "/.";
}

/// `base` and `rest` with exactly one separator between them.
std::string joinBase(const std::string& base, std::string rest) {
    const bool baseEnds = endsWithSeparator(base);
    const bool restStarts = !rest.empty() && isSeparator(rest.front());
    if (!baseEnds && !restStarts)
        rest.insert(rest.begin(), '/');
    else if (baseEnds && restStarts)
        rest.erase(0, 1);
    return base + rest;
}

/// Collapses every run of '/' that starts at or after `start` to one slash.
void collapseDoubleSlashes(std::string& text, std::size_t start) {
    std::size_t out = start;
    for (std::size_t in = start; in < text.size(); ++in) {
        if (text[in] == '/' && out > start && text[out - 1] == '/')
            continue;
        text[out++] = text[in];
    }
    if (out < text.size())
        text.resize(out);
}

/// Removes "/parent/.." again and again, each time at the first "/.." of the
/// text: a name that starts with two dots counts as "..", and the removal stops
/// at a "/.." that starts the text or has no earlier '/'. The text is built
/// left to right, so this runs in linear time.
///
/// With `wholeSegmentsOnly`, "/.." counts only when a '/' or the end follows,
/// so that names such as "..x" stay as they are.
std::string removeParentSegments(const std::string& text, bool wholeSegmentsOnly) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        out += text[i];
        const std::size_t n = out.size();
        if (n < 3 || out[n - 3] != '/' || out[n - 2] != '.' || out[n - 1] != '.')
            continue;
        if (wholeSegmentsOnly && i + 1 < text.size() && text[i + 1] != '/')
            continue;
        const std::size_t p = n - 3;
        const std::size_t q = p == 0 ? std::string::npos : out.rfind('/', p - 1);
        if (q == std::string::npos) {
            out.append(text, i + 1, std::string::npos);
            break;
        }
        out.resize(q);
    }
    return out;
}

} // namespace

// ---- Forms ---------------------------------------------------------------------

bool Path::isAbsolutePath() const {
    if (isRooted(m_path))
        return true;
    return m_path.size() >= 2 && (m_path[1] == ':' || UNCPrefixLength() >= 2);
}

bool Path::isAbsolutePath(const std::string& path) { return Path(path).isAbsolutePath(); }

bool Path::isSingleToken(const std::string& path) {
    return stripTrailingSlash(path).find_first_of("/\\") == std::string::npos;
}

bool Path::isUNCPath() const { return UNCPrefixLength() >= 2; }
bool Path::isUNCPath(const std::string& path) { return UNCPrefixLength(path) >= 2; }
bool Path::isLongUNCPath() const { return UNCPrefixLength() >= 4; }
bool Path::isLongUNCPath(const std::string& path) { return UNCPrefixLength(path) >= 4; }
bool Path::isLongUNCNetworkPath() const { return UNCPrefixLength() >= 8; }
bool Path::isLongUNCNetworkPath(const std::string& path) { return UNCPrefixLength(path) >= 8; }

bool Path::isNFSPath() const {
    const std::string first = getFirstToken();
    return first.size() > 1 && first.back() == ':';
}

bool Path::isNFSPath(const std::string& path) { return Path(path).isNFSPath(); }

bool Path::isNetworkPath() const {
    if (m_path.empty())
        return false;
    if (UNCPrefixLength() >= 2)
        return true;
    return sys::isOnNetworkFileSystem(PathConverter::fromKVLPath(m_path, false));
}

bool Path::isNetworkPath(const std::string& path) { return Path(path).isNetworkPath(); }

// ---- Absolute and normalised --------------------------------------------------------

const std::string& Path::makePathAbsolute() {
    m_path = makePathAbsolute(m_path);
    return m_path;
}

std::string Path::makePathAbsolute(const std::string& path) {
    // The current directory is asked only when the path needs it.
    return namesBase(path) || !isAbsolutePath(path) ? makePathAbsolute(path, OSPaths::getCurrentDirectory()) : path;
}

std::string Path::makePathAbsolute(const std::string& path, const std::string& base) {
    if (base.empty())
        return path;
    if (namesBase(path))
        return endsWithSeparator(base) ? base : base + '/';
    if (isAbsolutePath(path))
        return path;
    std::string rest = path;
    // A plain one-character cut: "./a" becomes "/a" and ".hidden" becomes "hidden".
    if (rest.front() == '.' && rest.compare(0, 2, "..") != 0)
        rest.erase(0, 1);
    return joinBase(base, rest);
}

const std::string& Path::removeRedundentRelativeSegments() {
    std::string text = makeForwardSlashes(makePathAbsolute(m_path));
    // A leading network prefix keeps its two slashes.
    collapseDoubleSlashes(text, UNCPrefixLength(text) >= 2 ? 1 : 0);
    m_path = removeParentSegments(text, false);
    return m_path;
}

std::string Path::removeRedundentRelativeSegments(const std::string& path) {
    return Path(path).removeRedundentRelativeSegments();
}

std::string Path::normaliseForSystem(const std::string& path) {
    std::string text = path;
    if (namesBase(path) || !isAbsolutePath(path)) {
        const std::string base = OSPaths::getCurrentDirectory();
        if (!base.empty() && namesBase(path))
            text = endsWithSeparator(base) ? base : base + '/';
        else if (!base.empty())
            // Only a "./" or ".\" is cut: a name that starts with a dot keeps it.
            text = joinBase(base, path.size() >= 2 && path[0] == '.' && isSeparator(path[1]) ? path.substr(1) : path);
    }
    text = makeForwardSlashes(text);
    collapseDoubleSlashes(text, UNCPrefixLength(text) >= 2 ? 1 : 0);
    return removeParentSegments(text, true);
}

// ---- Relations ----------------------------------------------------------------------

std::string Path::lastCommonParentPath(const std::string& other) const { return lastCommonParentPath(m_path, other); }

std::string Path::lastCommonParentPath(const std::string& a, const std::string& b) {
    const std::vector<std::string> tokensA = getTokens(a);
    const std::vector<std::string> tokensB = getTokens(b);
    // Tokens drop the root of a rooted path; it leads the first candidate again.
    const std::string rootA = isRooted(a) ? "/" : "";
    const std::string rootB = isRooted(b) ? "/" : "";
    std::string result;
    const std::size_t count = std::min(tokensA.size(), tokensB.size());
    for (std::size_t i = 0; i < count; ++i) {
        const std::string candidateA = result.empty() ? rootA + tokensA[i] : result + '/' + tokensA[i];
        const std::string candidateB = result.empty() ? rootB + tokensB[i] : result + '/' + tokensB[i];
        if (!compare(candidateA, candidateB))
            break;
        result = candidateA;
    }
    return makeForwardSlashes(result);
}

std::string Path::calculateRelativePath(const std::string& base) const { return calculateRelativePath(m_path, base); }

std::string Path::calculateRelativePath(const std::string& path, const std::string& base) {
    if (path.empty())
        return {};
    const std::vector<std::string> a = getTokens(removeRedundentRelativeSegments(path));
    const std::vector<std::string> b = getTokens(removeRedundentRelativeSegments(base));
    if (b.empty() || a.empty() || !Utilities::equalsIgnoreCaseUtf8(a.front(), b.front()))
        return makeForwardSlashes(path);
    std::string relative;
    std::size_t i = 1;
    bool differed = false;
    for (; i < a.size() && i < b.size(); ++i) {
        if (!differed && Utilities::equalsIgnoreCaseUtf8(a[i], b[i]))
            continue;
        differed = true;
        relative = "../" + (relative.empty() ? std::string() : relative + '/') + a[i];
    }
    for (std::size_t j = i; j < a.size(); ++j)
        relative = relative.empty() ? a[j] : relative + '/' + a[j];
    for (std::size_t j = i; j < b.size(); ++j)
        relative = relative.empty() ? std::string("..") : "../" + relative;
    return relative;
}

bool Path::compare(const std::string& a, const std::string& b) {
    const auto idA = sys::fileIdentity(LongPathConverter::fromKVLPath(a, false));
    if (!idA)
        return false;
    const auto idB = sys::fileIdentity(LongPathConverter::fromKVLPath(b, false));
    return idB && *idA == *idB;
}

bool Path::startsWith(const std::string& path, const std::string& prefix) {
    const std::vector<std::string> tokens = getTokens(removeRedundentRelativeSegments(path));
    const std::vector<std::string> prefixTokens = getTokens(removeRedundentRelativeSegments(prefix));
    if (prefixTokens.size() > tokens.size())
        return false;
    for (std::size_t i = 0; i < prefixTokens.size(); ++i)
        if (!Utilities::equalsIgnoreCaseUtf8(prefixTokens[i], tokens[i]))
            return false;
    return true;
}

// ---- Prefixes and network forms ------------------------------------------------------------

const std::string& Path::stripUNCPrefix() {
    if (m_path.compare(0, 4, "\\\\?\\") != 0 && m_path.compare(0, 4, "//?/") != 0)
        return m_path;
    m_path.erase(0, 4);
    if (m_path.compare(0, 3, "UNC") == 0) {
        m_path.erase(0, 3);
        if (!m_path.empty())
            m_path.insert(m_path.begin(), m_path.front());
    }
    return m_path;
}

std::string Path::stripUNCPrefix(const std::string& path) { return Path(path).stripUNCPrefix(); }

const std::string& Path::convertFromUNCPath() {
    if (m_path.compare(0, 2, "\\\\") != 0 && m_path.compare(0, 2, "//") != 0)
        return m_path;
    const std::vector<std::string> tokens = getTokens();
    if (tokens.size() < 2)
        return m_path;
    if (const auto sharePath = sys::localSharePath(tokens[1])) {
        m_path = PathConverter::toKVLPath(*sharePath);
        for (std::size_t i = 2; i < tokens.size(); ++i)
            m_path += '/' + tokens[i];
    }
    if (UNCPrefixLength() >= 4)
        stripUNCPrefix();
    return m_path;
}

std::string Path::convertFromUNCPath(const std::string& path) { return Path(path).convertFromUNCPath(); }

const std::string& Path::convertFromNetworkPath() { return convertFromUNCPath(); }

std::string Path::convertFromNetworkPath(const std::string& path) { return convertFromUNCPath(path); }

const std::string& Path::convertStartToFolder() {
    if (m_path.size() >= 2 && m_path[1] == ':')
        m_path.erase(1, 1);
    return stripLeadingSlash();
}

std::string Path::convertStartToFolder(const std::string& path) { return Path(path).convertStartToFolder(); }

bool Path::isPathLengthCorrect() const {
    constexpr std::size_t kMaxPath = 32767;
    constexpr std::size_t kMaxName = 255;
    if (LongPathConverter::fromKVLPath(m_path, false).size() > kMaxPath)
        return false;
    for (const std::string& token : getTokens())
        if (token.size() > kMaxName)
            return false;
    return true;
}

bool Path::isPathLengthCorrect(const std::string& path) { return Path(path).isPathLengthCorrect(); }

std::string Path::makeKVLCanonicalPath(const std::string& path) {
    Path canonical(makeForwardSlashes(path));
    canonical.stripUNCPrefix();
    return canonical.stripTrailingSlash();
}

// ---- Spelling on disk ----------------------------------------------------------------

namespace {

/// The name in `folder` that is spelled exactly as `name`, or else one that
/// equals it ignoring case; empty when there is neither.
std::optional<std::string> findSpelling(const std::string& folder, const std::string& name) {
    const std::string native = PathConverter::fromKVLPath(folder, true);
    const std::string child = (endsWithSeparator(native) ? native : native + '/') + name;
    if (Path::isDotOrDotDot(name))
        return sys::pathExists(child) ? std::optional<std::string>(name) : std::nullopt;
    const auto entries = sys::readDirectory(native);
    if (!entries) // a folder that can be searched but not read
        return sys::pathExists(child) ? std::optional<std::string>(name) : std::nullopt;
    for (const sys::DirectoryEntry& entry : *entries)
        if (entry.name == name)
            return name;
    for (const sys::DirectoryEntry& entry : *entries)
        if (!Path::isDotOrDotDot(entry.name) && Utilities::equalsIgnoreCaseUtf8(entry.name, name))
            return entry.name;
    return std::nullopt;
}

} // namespace

const std::string& Path::correctCaptialization() {
    makePathAbsolute();
    stripUNCPrefix();
    std::vector<std::string> tokens = getTokens();
    std::size_t next = 0;
    std::string root;
    const bool rooted = isRooted(m_path);
    if (rooted) {
        // The file system's root: every token is looked up.
    } else if (UNCPrefixLength() >= 2) {
        const std::string server = stripLeadingSlash(tokens[0]);
        root = tokens[0];
        next = 1;
        if (tokens.size() > 1) {
            const auto spelling = sys::shareNameSpelling(server, tokens[1]);
            root += '/' + (spelling && !spelling->empty() ? *spelling : tokens[1]);
            next = 2;
        }
    } else if (!tokens.empty()) {
        root = tokens[0];
        next = 1;
        for (const std::string& mount : OSPaths::getVolumePathNames(OSPaths::getVolumeNameFromPath(tokens[0]))) {
            if (mount.size() > 2 && mount[1] == ':') {
                root = mount;
                break;
            }
        }
    }
    std::string walked = stripTrailingSlash(root);
    for (; next < tokens.size(); ++next) {
        const auto found = findSpelling(walked.empty() && rooted ? "/" : walked, tokens[next]);
        if (!found)
            break;
        walked += '/' + *found;
    }
    std::string result = PathConverter::toKVLPath(walked);
    if (rooted && result.empty())
        result = "/";
    for (; next < tokens.size(); ++next) {
        if (!result.empty() && result.back() != '/')
            result += '/';
        result += tokens[next];
    }
    m_path = result;
    return m_path;
}

std::string Path::correctCaptialization(const std::string& path) { return Path(path).correctCaptialization(); }

} // namespace FileSystem
