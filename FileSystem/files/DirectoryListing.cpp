#include <FileSystem/files/DirectoryListing.h>

#include <FileSystem/files/Directory.h>
#include <FileSystem/files/File.h>
#include <FileSystem/files/detail/Crawl.h>
#include <FileSystem/paths/Path.h>
#include <FileSystem/paths/PathConverterBase.h>
#include <FileSystem/platform/DirectoryEntries.h>
#include <FileSystem/platform/Files.h>
#include <FileSystem/platform/Status.h>

#include <algorithm>
#include <array>

namespace FileSystem {

namespace {

/// The wildcard match of the system's own search: `*` any run of characters,
/// `?` exactly one, all else literal and case-sensitive.
bool wildcardMatch(const std::string& pattern, const std::string& name) {
    std::size_t p = 0, n = 0, star = std::string::npos, resume = 0;
    while (n < name.size()) {
        if (p < pattern.size() && (pattern[p] == '?' || pattern[p] == name[n])) {
            ++p;
            ++n;
        } else if (p < pattern.size() && pattern[p] == '*') {
            star = p++;
            resume = n;
        } else if (star != std::string::npos) {
            p = star + 1;
            n = ++resume;
        } else {
            return false;
        }
    }
    while (p < pattern.size() && pattern[p] == '*')
        ++p;
    return p == pattern.size();
}

bool isDotOrDotDotName(const std::string& name) { return name == "." || name == ".."; }

std::string childPath(const std::string& folder, const std::string& name) {
    return (!folder.empty() && folder.back() == '/') ? folder + name : folder + '/' + name;
}

bool call(const FileCrawlerFunction& function, const std::string& path) { return !function || function(path); }

} // namespace

// ---- Listing -------------------------------------------------------------------

DirectoryListing::DirectoryListing(const std::string& path) : m_searchPath(path) {
    m_parentPath = Directory::exists(path) ? path : Path::stripLastToken(path);
    if (openDirectory())
        findFiles();
}

bool DirectoryListing::openDirectory() {
    if (m_searchPath.empty())
        return false;
    if (m_searchPath.size() > 1 && m_searchPath.back() == '/')
        m_searchPath.pop_back();
    if (File::isDirectory(m_searchPath, true)) {
        m_folder = m_searchPath;
        m_searchPath += m_searchPath.back() == '/' ? "*" : "/*";
        return true;
    }
    if (Path::getLastToken(m_searchPath).find('*') != std::string::npos) {
        m_folder = Path::stripLastToken(m_searchPath);
        if (m_folder.empty())
            m_folder = Path::hasLeadingSlash(m_searchPath) ? "/" : ".";
        return true;
    }
    return File::exists(m_searchPath);
}

void DirectoryListing::findFiles() {
    const std::string pattern = Path::getLastToken(m_searchPath);
    if (m_folder.empty()) {
        // An exact name: the entry itself.
        m_entries.insert(PathConverter::toKVLPath(pattern));
        return;
    }
    const auto entries = sys::readDirectory(toSystemPath(m_folder));
    if (!entries)
        return;
    const bool everything = pattern == "*";
    for (const sys::DirectoryEntry& entry : *entries)
        if (everything || wildcardMatch(pattern, entry.name))
            m_entries.insert(PathConverter::toKVLPath(entry.name));
}

void DirectoryListing::clearInvalidFiles() {
    m_entries.erase(".");
    m_entries.erase("..");
}

std::regex DirectoryListing::createSearchFilter(const std::string& pattern) {
    static const std::array<std::string, 256> replacements = [] {
        std::array<std::string, 256> table;
        const std::pair<char, const char*> rules[] = {
            {'\\', "\\\\"}, {'.', "\\."}, {'$', "\\$"}, {'|', "\\|"}, {'(', "\\("}, {'{', "\\{"}, {'[', "\\["},
            {')', "\\)"},   {'}', "\\}"}, {']', "\\]"}, {'*', ".*"},  {'+', "\\+"}, {'?', ".?"},  {'/', "\\/"}};
        for (const auto& [c, text] : rules)
            table[static_cast<unsigned char>(c)] = text;
        return table;
    }();
    std::string expression;
    expression.reserve(pattern.size() * 2);
    for (char c : pattern) {
        const std::string& replacement = replacements[static_cast<unsigned char>(c)];
        if (replacement.empty())
            expression += c;
        else
            expression += replacement;
    }
    return std::regex(expression);
}

void DirectoryListing::filterFiles(container_type& entries, const std::string& pattern) {
    filterFiles(entries, createSearchFilter(pattern));
}

void DirectoryListing::filterFiles(container_type& entries, const std::regex& filter) {
    for (auto it = entries.begin(); it != entries.end();)
        it = std::regex_match(*it, filter) ? std::next(it) : entries.erase(it);
}

// ---- Walking ---------------------------------------------------------------------

namespace detail {

std::optional<FolderIdentity> folderIdentity(const std::string& path) {
    const auto id = sys::fileIdentity(path);
    if (!id)
        return std::nullopt;
    return FolderIdentity{id->device, id->index};
}

bool OpenFolders::enter(const std::string& path) {
    const auto id = folderIdentity(path);
    if (id && contains(id))
        return false;
    m_open.push_back(id);
    return true;
}

void OpenFolders::leave() {
    if (!m_open.empty())
        m_open.pop_back();
}

bool OpenFolders::contains(const std::optional<FolderIdentity>& id) const {
    return id && std::find(m_open.begin(), m_open.end(), id) != m_open.end();
}

namespace {

struct Frame {
    std::string path;   ///< as the functions see it
    std::string prefix; ///< what children's paths start with
    std::string native; ///< the system's form of the folder
    std::vector<sys::DirectoryEntry> entries;
    std::size_t next = 0;
    bool patternRoot = false;
};

Frame makeFrame(const std::string& path, const std::string& native) {
    Frame frame;
    frame.path = path;
    frame.prefix = Path::hasTrailingSlash(path) && Path::stripTrailingSlash(path).empty() ? "/" : Path::stripTrailingSlash(path);
    frame.native = native;
    if (auto entries = sys::readDirectory(native)) {
        for (auto& entry : *entries) {
            if (isDotOrDotDotName(entry.name))
                continue;
            if (entry.name.find('\\') != std::string::npos)
                entry.name = PathConverter::toKVLPath(entry.name);
            frame.entries.push_back(std::move(entry));
        }
        std::sort(frame.entries.begin(), frame.entries.end(),
                  [](const sys::DirectoryEntry& a, const sys::DirectoryEntry& b) { return a.name < b.name; });
    }
    return frame;
}

/// Whether an entry is walked as a folder. The kind the folder records spares
/// a question to the system for most entries.
bool walksAsFolder(const sys::DirectoryEntry& entry, const std::string& native, const CrawlOptions& options) {
    switch (entry.kind) {
    case sys::DirectoryEntry::Kind::Directory:
        return true;
    case sys::DirectoryEntry::Kind::Other:
        return false;
    default:
        break;
    }
    const auto attributes = sys::attributes(native);
    if (!attributes)
        return false; // vanished: seen as a file
    if (attributes->symbolicLink && !options.followLinksToFolders)
        return false;
    return attributes->directory;
}

} // namespace

bool crawl(const std::string& root, bool stopOnFalse, const FileCrawlerFunction& onFile,
           const FileCrawlerFunction& onFolderEnter, const FileCrawlerFunction& onFolderLeave,
           const FileCrawlerFunction& filter, bool wildcardRoot, bool recursive, const CrawlOptions& options) {
    if (filter && !filter(root))
        return true;
    bool ok = true;
    std::vector<Frame> stack;
    OpenFolders open;
    const std::string rootNative = toSystemPath(root);
    const auto rootAttributes = sys::attributes(rootNative);
    const bool rootIsFolder = rootAttributes && rootAttributes->directory && !Path::isDotOrDotDot(root) &&
                              (options.followLinksToFolders || !rootAttributes->symbolicLink);
    if (!rootIsFolder) {
        if (rootAttributes)
            return call(onFile, root);
        if (!wildcardRoot || Path::getLastToken(root).find('*') == std::string::npos)
            return true;
        // The names that match the pattern, in a frame of their own.
        const std::string folder = Path::stripLastToken(root);
        Frame frame;
        frame.path = folder;
        frame.prefix = folder;
        frame.native = toSystemPath(folder.empty() ? std::string(".") : folder);
        frame.patternRoot = true;
        DirectoryListing listing(root);
        listing.clearInvalidFiles();
        for (const std::string& name : listing)
            frame.entries.push_back({name, sys::DirectoryEntry::Kind::Unknown});
        open.enter(frame.native);
        stack.push_back(std::move(frame));
    } else {
        ok = call(onFolderEnter, root);
        open.enter(rootNative);
        stack.push_back(makeFrame(root, rootNative));
    }

    while (!stack.empty() && !(stopOnFalse && !ok)) {
        Frame& top = stack.back();
        if (top.next < top.entries.size()) {
            const sys::DirectoryEntry& entry = top.entries[top.next++];
            const std::string path = top.prefix.empty() ? entry.name : childPath(top.prefix, entry.name);
            const std::string native = childPath(top.native, entry.name);
            if (!walksAsFolder(entry, native, options)) {
                if (!filter || filter(path))
                    ok = call(onFile, path) && ok;
                continue;
            }
            if (filter && !filter(path))
                continue;
            ok = call(onFolderEnter, path) && ok;
            // A folder that is already open on the way down is not entered again.
            if (recursive && open.enter(native))
                stack.push_back(makeFrame(path, native));
            else
                ok = call(onFolderLeave, path) && ok;
        } else {
            if (!(top.patternRoot && stack.size() == 1))
                ok = call(onFolderLeave, top.path) && ok;
            stack.pop_back();
            open.leave();
        }
    }
    return ok;
}

} // namespace detail

bool fileCrawler(const std::string& root, bool stopOnFalse, const FileCrawlerFunction& onFile,
                 const FileCrawlerFunction& onFolderEnter, const FileCrawlerFunction& onFolderLeave,
                 const FileCrawlerFunction& filter, bool wildcardRoot, bool recursive) {
    return detail::crawl(root, stopOnFalse, onFile, onFolderEnter, onFolderLeave, filter, wildcardRoot, recursive,
                         detail::CrawlOptions{});
}

} // namespace FileSystem
