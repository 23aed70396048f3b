#pragma once

// The tree walk behind fileCrawler and the tree operations (internal).

#include <FileSystem/files/DirectoryListing.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace FileSystem::detail {

struct CrawlOptions {
    /// Whether links to folders are walked as folders. Operations that delete
    /// walk without: a link is then an item of its own, like a file.
    bool followLinksToFolders = true;
};

bool crawl(const std::string& root, bool stopOnFalse, const FileCrawlerFunction& onFile,
           const FileCrawlerFunction& onFolderEnter, const FileCrawlerFunction& onFolderLeave,
           const FileCrawlerFunction& filter, bool wildcardRoot, bool recursive, const CrawlOptions& options);

/// Where a folder lives, to recognise it when a link leads back to it.
struct FolderIdentity {
    std::uint64_t device = 0;
    std::uint64_t index = 0;
    friend bool operator==(const FolderIdentity&, const FolderIdentity&) = default;
};

/// The identity of a folder (links followed); empty when it cannot be read.
std::optional<FolderIdentity> folderIdentity(const std::string& path);

/// The folders open on the way down a walk.
class OpenFolders {
public:
    /// False (and nothing is added) when the folder is already open: entering
    /// it again would go round a link cycle.
    bool enter(const std::string& path);
    void leave();
    bool contains(const std::optional<FolderIdentity>& id) const;

private:
    std::vector<std::optional<FolderIdentity>> m_open;
};

} // namespace FileSystem::detail
