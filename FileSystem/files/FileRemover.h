#pragma once

// Deleting lists of files and trees with exceptions and with patience.

#include <FileSystem/Export.h>

#include <functional>
#include <set>
#include <string>
#include <vector>

namespace Tools {
class ToolProgress;
}

namespace FileSystem {

/// Deletes files and trees, sparing files by extension, by name or by the
/// caller's filters; every folder that still holds a spared item stays. What
/// the system refuses is tried again (up to 5 rounds of 10 tries, 200 ms
/// apart), and what stayed is reported to the progress as
/// "Failed to Remove : " followed by its path.
///
/// The trees are walked and deleted through open folders: a link is deleted
/// as a link and never followed (also when it is the item itself), and a
/// folder swapped for a link while the work goes on is never entered, so
/// nothing outside the items is ever deleted.
///
/// One object serves one thread.
class FILESYSTEM_EXPORT FileRemover {
public:
    /// One item of a removal.
    struct RemoveFileInfo {
        /// The file or folder.
        std::string path;
        /// With a folder: its whole contents, else only the folder itself
        /// (which then goes only when it is empty).
        bool recursive = false;
        /// May be empty; false spares the path it is given.
        std::function<bool(const std::string&)> filter;
    };

    /// Sets the receiver of the work list, the percentage and the failures (may be null).
    void attachProgress(Tools::ToolProgress* progress) noexcept { m_progress = progress; }

    /// Spares files of this exact last name.
    void addIgnoreFile(const std::string& name) { m_ignoredNames.insert(name); }
    /// Forgets the spared names.
    void clearIgnoreFile() { m_ignoredNames.clear(); }
    /// Spares files with this extension, given with its dot (".log"); compared
    /// lower-cased, so ".LOG" files are spared too.
    void addIgnoreFileExtension(const std::string& extension);
    /// Forgets the spared extensions.
    void clearIgnoreFileExtension() { m_ignoredExtensions.clear(); }
    /// Adds a filter that every path must pass: false spares it.
    void addZipFileFilter(const std::function<bool(const std::string&)>& filter) { m_filters.push_back(filter); }
    /// Forgets the filters.
    void clearZipFileFilters() { m_filters.clear(); }

    /// Removes the items, each with its flag and filter. True when everything
    /// that was to go has gone (spared items are no failure); a missing item
    /// counts as gone.
    bool remove(const std::vector<RemoveFileInfo>& items);
    /// remove() of one item.
    ///@{
    bool remove(const std::string& path, bool recursive);
    bool remove(const std::string& path, bool recursive, const std::function<bool(const std::string&)>& filter);
    ///@}

    /// Removes the direct contents of each item's folder, each as an item of
    /// its own with the item's flag and filter; the folders themselves stay. A
    /// file path has no contents and changes nothing.
    bool removeChildren(const std::vector<RemoveFileInfo>& items);
    /// removeChildren() of one item.
    ///@{
    bool removeChildren(const std::string& path, bool recursive);
    bool removeChildren(const std::string& path, bool recursive,
                        const std::function<bool(const std::string&)>& filter);
    ///@}

private:
    bool isSpared(const std::string& path, const RemoveFileInfo& item) const;

    std::set<std::string> m_ignoredExtensions;
    std::set<std::string> m_ignoredNames;
    std::vector<std::function<bool(const std::string&)>> m_filters;
    Tools::ToolProgress* m_progress = nullptr;
};

} // namespace FileSystem
