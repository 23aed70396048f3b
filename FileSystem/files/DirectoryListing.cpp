#include <FileSystem/files/DirectoryListing.h>

#include <FileSystem/utilities/detail/Regex.h>
#include <FileSystem/files/Directory.h>
#include <FileSystem/files/File.h>
#include <FileSystem/files/detail/Crawl.h>
#include <FileSystem/paths/Path.h>
#include <FileSystem/paths/PathConverterBase.h>
#include <FileSystem/platform/DirectoryEntries.h>
#include <FileSystem/platform/Files.h>
#include <FileSystem/platform/Folders.h>

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
    return std::regex(expression, detail::kUntrustedRegexFlags);
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

namespace {

/// The state of one crawl: its functions and its result so far.
struct Crawl {
    bool stopOnFalse;
    const FileCrawlerFunction& onFile;
    const FileCrawlerFunction& onFolderEnter;
    const FileCrawlerFunction& onFolderLeave;
    const FileCrawlerFunction& filter;
    bool recursive;
    bool ok = true;

    bool stopped() const { return stopOnFalse && !ok; }
};

/// Walks what lies below an open folder whose path the functions see as
/// `prefix` (its own entering and leaving are the caller's), by descriptors:
/// depth has no limit of the system's path length.
void crawlBelow(sys::Folder folder, const std::string& prefix, Crawl& crawl, bool followLinks,
                const std::vector<std::string>* names) {
    sys::TreeWalk::Options options;
    options.followLinks = followLinks;
    options.sorted = true;
    options.rootNames = names;
    sys::TreeWalk walk(std::move(folder), options);
    std::vector<std::string> paths{prefix}; // of the folders open on the way down
    std::string path;
    while (!crawl.stopped()) {
        const sys::TreeWalk::Event event = walk.next();
        if (event == sys::TreeWalk::Event::End) {
            crawl.ok = crawl.ok && !walk.lost();
            return;
        }
        if (event != sys::TreeWalk::Event::Enter && event != sys::TreeWalk::Event::Leave) {
            const std::string& name = walk.name();
            const std::string kvl = name.find('\\') == std::string::npos ? name : PathConverter::toKVLPath(name);
            path = paths.back().empty() ? kvl : childPath(paths.back(), kvl);
        }
        switch (event) {
        case sys::TreeWalk::Event::File:
            if (!crawl.filter || crawl.filter(path))
                crawl.ok = call(crawl.onFile, path) && crawl.ok;
            break;
        case sys::TreeWalk::Event::Folder:
            if (crawl.filter && !crawl.filter(path))
                break; // skipped with all below it
            crawl.ok = call(crawl.onFolderEnter, path) && crawl.ok;
            if (crawl.recursive)
                walk.descend();
            else
                crawl.ok = call(crawl.onFolderLeave, path) && crawl.ok;
            break;
        case sys::TreeWalk::Event::Enter:
            paths.push_back(path);
            break;
        case sys::TreeWalk::Event::Leave:
            crawl.ok = call(crawl.onFolderLeave, paths.back()) && crawl.ok;
            paths.pop_back();
            break;
        case sys::TreeWalk::Event::Unreadable:
            // What could not be read is reported; what vanished meanwhile is not.
            if (walk.name().empty()) {
                crawl.ok = false;
                break;
            }
            crawl.ok = walk.vanished() && crawl.ok;
            crawl.ok = call(crawl.onFolderLeave, path) && crawl.ok;
            break;
        case sys::TreeWalk::Event::Cycle:
            // Already open on the way down: not entered again.
            crawl.ok = call(crawl.onFolderLeave, path) && crawl.ok;
            break;
        default:
            break;
        }
    }
}

} // namespace

bool crawl(const std::string& root, bool stopOnFalse, const FileCrawlerFunction& onFile,
           const FileCrawlerFunction& onFolderEnter, const FileCrawlerFunction& onFolderLeave,
           const FileCrawlerFunction& filter, bool wildcardRoot, bool recursive, const CrawlOptions& options) {
    if (filter && !filter(root))
        return true;
    Crawl crawl{stopOnFalse, onFile, onFolderEnter, onFolderLeave, filter, recursive};
    const std::string rootNative = toSystemPath(root);
    const auto rootAttributes = sys::attributes(rootNative);
    const bool rootIsFolder = rootAttributes && rootAttributes->directory && !Path::isDotOrDotDot(root) &&
                              (options.followLinksToFolders || !rootAttributes->symbolicLink);
    if (rootIsFolder) {
        crawl.ok = call(onFolderEnter, root);
        if (crawl.stopped())
            return false;
        const std::string prefix =
            Path::hasTrailingSlash(root) && Path::stripTrailingSlash(root).empty() ? "/" : Path::stripTrailingSlash(root);
        if (auto folder = sys::Folder::open(rootNative, options.followLinksToFolders))
            crawlBelow(std::move(*folder), prefix, crawl, options.followLinksToFolders, nullptr);
        else
            crawl.ok = false;
        if (!crawl.stopped())
            crawl.ok = call(onFolderLeave, root) && crawl.ok;
        return crawl.ok;
    }
    if (rootAttributes)
        return call(onFile, root);
    if (!wildcardRoot || Path::getLastToken(root).find('*') == std::string::npos)
        return true;
    // The names that match the pattern, walked as the contents of their folder
    // (whose own entering and leaving are not reported).
    const std::string folder = Path::stripLastToken(root);
    const std::string folderNative = toSystemPath(folder.empty() ? std::string(".") : folder);
    auto opened = sys::Folder::open(folderNative, true);
    const auto entries = opened ? opened->entries() : std::nullopt;
    if (!entries)
        return !File::exists(folder.empty() ? std::string(".") : folder); // nothing there matches
    const std::string pattern = Path::getLastToken(root);
    std::vector<std::string> names;
    for (const sys::DirectoryEntry& entry : *entries)
        if (wildcardMatch(pattern, entry.name))
            names.push_back(entry.name);
    crawlBelow(std::move(*opened), folder, crawl, options.followLinksToFolders, &names);
    return crawl.ok;
}

} // namespace detail

bool fileCrawler(const std::string& root, bool stopOnFalse, const FileCrawlerFunction& onFile,
                 const FileCrawlerFunction& onFolderEnter, const FileCrawlerFunction& onFolderLeave,
                 const FileCrawlerFunction& filter, bool wildcardRoot, bool recursive) {
    return detail::crawl(root, stopOnFalse, onFile, onFolderEnter, onFolderLeave, filter, wildcardRoot, recursive,
                         detail::CrawlOptions{});
}

} // namespace FileSystem
