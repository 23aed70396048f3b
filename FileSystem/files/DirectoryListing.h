#pragma once

#include <FileSystem/Export.h>

#include <functional>
#include <regex>
#include <set>
#include <string>

namespace FileSystem {

/// The names in a folder, or the names that match a wildcard ("dir/*.txt":
/// `*` any run of characters, `?` exactly one, case-sensitive), read at once
/// into a set ordered by bytes. A folder's listing holds "." and "..". A path
/// that cannot be read gives an empty listing; an existing file gives its own
/// name. Links are listed like other entries, not followed. Nothing throws.
class FILESYSTEM_EXPORT DirectoryListing {
public:
    /// The set of names.
    using container_type = std::set<std::string>;
    /// Iterates over the names in byte order.
    using const_iterator = container_type::const_iterator;

    /// Reads the listing of `path` (a folder, a wildcard or a file name).
    explicit DirectoryListing(const std::string& path);
    virtual ~DirectoryListing() = default;
    /// Moves the names; a listing is not copied.
    ///@{
    DirectoryListing(DirectoryListing&&) = default;
    DirectoryListing& operator=(DirectoryListing&&) = default;
    DirectoryListing(const DirectoryListing&) = delete;
    DirectoryListing& operator=(const DirectoryListing&) = delete;
    ///@}

    /// The names in byte order.
    ///@{
    const_iterator begin() const { return m_entries.begin(); }
    const_iterator end() const { return m_entries.end(); }
    ///@}
    /// The number of names.
    std::size_t size() const { return m_entries.size(); }
    /// True when there is no name.
    bool empty() const { return m_entries.empty(); }
    /// True when the listing holds exactly this name.
    bool containsEntry(const std::string& name) const { return m_entries.count(name) != 0; }

    /// The path searched: the path given (without a trailing slash), with "/*"
    /// appended for a folder.
    std::string path() const { return m_searchPath; }
    /// The folder the names are in: the path itself for a folder, else the
    /// path without its last token.
    std::string parentPath() const { return m_parentPath; }
    /// The set of names, to read or to change.
    ///@{
    container_type& data() { return m_entries; }
    const container_type& data() const { return m_entries; }
    ///@}

    /// Removes "." and "..".
    void clearInvalidFiles();

    /// A regular expression for a wildcard: `*` any run, `?` zero or one
    /// character, every other character literal; case-sensitive.
    static std::regex createSearchFilter(const std::string& pattern);
    /// Removes the names that do not match the whole pattern (a wildcard as for
    /// createSearchFilter, or a regular expression).
    ///@{
    static void filterFiles(container_type& entries, const std::string& pattern);
    static void filterFiles(container_type& entries, const std::regex& filter);
    ///@}

private:
    bool openDirectory();
    void findFiles();

    std::string m_searchPath;
    std::string m_parentPath;
    container_type m_entries;
    std::string m_folder; ///< the folder that is read; empty for an exact name
};

/// A function of the crawl; an empty function counts as one that returns true.
using FileCrawlerFunction = std::function<bool(const std::string&)>;

/// Walks a tree. `onFile` sees each file, `onFolderEnter` and `onFolderLeave`
/// each folder before and after its contents (so the leaving function suits
/// deletion); `filter` false skips an item, and for a folder all below it.
/// Entries come in byte order; a folder's contents before its next sibling.
/// Links to folders are entered like folders, but never a folder that is
/// already open on the way down (a link cycle ends). With `wildcardRoot` a
/// root whose last token holds `*` walks the matching names. With
/// `stopOnFalse` the first false ends the walk. Without `recursive` only the
/// root's own entries are seen (a folder is entered and left without its
/// contents). The walk goes by open folders, so depth has no limit. A root
/// that is a file is given to `onFile` alone; a missing root does nothing.
/// The result is true unless a function said false or a folder could not be
/// read (one that vanished meanwhile is no failure).
FILESYSTEM_EXPORT bool fileCrawler(const std::string& root, bool stopOnFalse, const FileCrawlerFunction& onFile,
                                   const FileCrawlerFunction& onFolderEnter, const FileCrawlerFunction& onFolderLeave,
                                   const FileCrawlerFunction& filter, bool wildcardRoot, bool recursive);

} // namespace FileSystem
