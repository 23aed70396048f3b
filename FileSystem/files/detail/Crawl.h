#pragma once

// The tree walk behind fileCrawler (internal).

#include <FileSystem/files/DirectoryListing.h>

#include <string>

namespace FileSystem::detail {

struct CrawlOptions {
    /// Whether links to folders are walked as folders; without, a link is an
    /// item of its own, like a file.
    bool followLinksToFolders = true;
};

/// Walks by open folders, so that depth has no limit; a folder that cannot be
/// read makes the result false.
bool crawl(const std::string& root, bool stopOnFalse, const FileCrawlerFunction& onFile,
           const FileCrawlerFunction& onFolderEnter, const FileCrawlerFunction& onFolderLeave,
           const FileCrawlerFunction& filter, bool wildcardRoot, bool recursive, const CrawlOptions& options);

} // namespace FileSystem::detail
