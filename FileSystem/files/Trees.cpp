// The operations of Directory and File that walk a folder's contents or lean on
// the environment: sizes, removal, copies and moves of trees, links and
// executables.

#include <FileSystem/files/Directory.h>
#include <FileSystem/files/DirectoryListing.h>
#include <FileSystem/files/File.h>
#include <FileSystem/files/detail/Crawl.h>

#include <FileSystem/environment/EnvironmentVariableModel.h>
#include <FileSystem/paths/OSPaths.h>
#include <FileSystem/paths/Path.h>
#include <FileSystem/paths/PathConverterBase.h>
#include <FileSystem/platform/DirectoryEntries.h>
#include <FileSystem/platform/Files.h>
#include <FileSystem/utilities/BuildInfo.h>

#include <algorithm>
#include <chrono>
#include <thread>

namespace FileSystem {

namespace {

std::string child(const std::string& folder, const std::string& name) {
    return (!folder.empty() && Path::hasTrailingSlash(folder)) ? folder + name : folder + '/' + name;
}

/// The names of a folder without "." and "..".
std::vector<std::string> entriesOf(const std::string& path) {
    DirectoryListing listing(path);
    listing.clearInvalidFiles();
    return std::vector<std::string>(listing.begin(), listing.end());
}

std::uint64_t sizeOf(const std::string& native, bool recursive, detail::OpenFolders& open) {
    std::uint64_t total = 0;
    const auto entries = sys::readDirectory(native);
    if (!entries)
        return 0;
    for (const sys::DirectoryEntry& entry : *entries) {
        if (entry.name == "." || entry.name == "..")
            continue;
        const std::string path = native == "/" ? "/" + entry.name : native + "/" + entry.name;
        const auto data = sys::fileData(path);
        if (!data)
            continue;
        if (!data->directory) {
            total += data->size;
        } else if (recursive && open.enter(path)) {
            total += sizeOf(path, true, open);
            open.leave();
        }
    }
    return total;
}

bool copyTree(const std::string& src, const std::string& dest, bool recursive, bool copyLinksThemselves,
              const std::optional<detail::FolderIdentity>& destRoot, detail::OpenFolders& open) {
    if (!Directory::exists(src))
        return false;
    if (!Directory::exists(dest))
        Directory::create(dest, false, true);
    for (const std::string& name : entriesOf(src)) {
        const std::string from = child(src, name);
        const std::string to = child(dest, name);
        if (!File::isDirectory(from, !copyLinksThemselves)) {
            File::copyFile(from, to, false, copyLinksThemselves);
            continue;
        }
        const std::string native = toSystemPath(from);
        // Neither the destination (when it lies inside the source) nor a folder
        // that is open on the way down is copied again.
        if (!recursive || (destRoot && detail::folderIdentity(native) == destRoot) || !open.enter(native))
            continue;
        copyTree(from, to, true, copyLinksThemselves, destRoot, open);
        open.leave();
    }
    return true;
}

bool moveTree(const std::string& src, const std::string& dest, const std::optional<detail::FolderIdentity>& destRoot) {
    if (!Directory::exists(src))
        return false;
    if (!Directory::exists(dest))
        Directory::create(dest, false, true);
    for (const std::string& name : entriesOf(src)) {
        const std::string from = child(src, name);
        const std::string to = child(dest, name);
        if (!File::exists(from))
            continue;
        if (File::isSymbolicLink(from)) {
            // A link moves as a link (also a dangling one): what it points to stays where it is.
            if (File::copyFile(from, to, false, true))
                File::remove(from);
        } else if (!Path::isDotOrDotDot(from) && Directory::exists(from)) {
            if (destRoot && detail::folderIdentity(toSystemPath(from)) == destRoot)
                continue;
            if (moveTree(from, to, destRoot))
                Directory::remove(from, false);
        } else if (File::copyFile(from, to, false, false)) {
            File::remove(from);
        }
    }
    Directory::remove(src, false);
    return true;
}

bool setRightsBelow(const std::string& path) {
    bool result = true;
    for (const std::string& name : entriesOf(path)) {
        const std::string item = child(path, name);
        if (File::isSymbolicLink(item))
            continue; // rights go to what a link points to: never through a link
        if (Directory::exists(item))
            setRightsBelow(item);
        result = File::setReadWritePermissions(item);
    }
    return result;
}

template <class Test>
bool removeMatchingFiles(const std::string& path, bool stopAtFailure, Test test) {
    bool result = true;
    for (const std::string& name : entriesOf(path)) {
        const std::string item = child(path, name);
        if (Directory::exists(item) || !test(name))
            continue;
        if (!File::remove(item)) {
            result = false;
            if (stopAtFailure)
                return false;
        }
    }
    return result;
}

} // namespace

// ---- Directory -------------------------------------------------------------------

std::uint64_t Directory::GetSize(const std::string& path, bool recursive) {
    const std::string native = toSystemPath(path);
    detail::OpenFolders open;
    open.enter(native);
    return sizeOf(native, recursive, open) + File::getFileSize(path);
}

bool Directory::remove(const std::string& path, bool recursive) {
    if (path.empty() || !exists(path))
        return false;
    const std::string native = toSystemPath(path);
    if (isSymbolicLink(path))
        return File::remove(path); // a link goes as a link, whatever it points to
    const auto gone = [&path] { return !File::exists(path); };
    for (int round = 0; round < 5; ++round) {
        if (recursive) {
            detail::CrawlOptions options;
            options.followLinksToFolders = false;
            detail::crawl(
                path, false, [](const std::string& file) { return File::remove(file); }, {},
                [](const std::string& folder) { return sys::removeDirectory(toSystemPath(folder)); }, {}, false, true,
                options);
        } else {
            sys::removeDirectory(native);
        }
        if (gone())
            return true;
        if (round < 4)
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    return gone();
}

bool Directory::removeFiles(const std::string& path) {
    return removeMatchingFiles(path, false, [](const std::string&) { return true; });
}

bool Directory::removeFiles(const std::string& path, const std::string& prefix) {
    if (prefix.empty())
        return true;
    return removeMatchingFiles(path, true,
                               [&prefix](const std::string& name) { return name.compare(0, prefix.size(), prefix) == 0; });
}

bool Directory::removeFilesWithExtension(const std::string& path, const std::string& extension,
                                         const bool& ignoreCase) {
    const std::size_t start = extension.find_first_not_of('.');
    const std::string bare = start == std::string::npos ? std::string() : extension.substr(start);
    return removeMatchingFiles(path, true, [&](const std::string& name) {
        return ignoreCase ? Path::isExtension(name, bare)
                          : !Path::isDotOrDotDot(name) && Path::getFormatExtension(name, false) == bare;
    });
}

bool Directory::copyDirectory(const std::string& src, const std::string& dest, bool recursive,
                              bool copyLinksThemselves) {
    if (!exists(src))
        return false;
    if (!exists(dest))
        create(dest, false, true);
    detail::OpenFolders open;
    open.enter(toSystemPath(src));
    return copyTree(src, dest, recursive, copyLinksThemselves, detail::folderIdentity(toSystemPath(dest)), open);
}

bool Directory::moveDirectory(const std::string& src, const std::string& dest) {
    if (src == dest || Path::compare(src, dest) || !exists(src))
        return false;
    if (!exists(dest))
        create(dest, false, true);
    return moveTree(src, dest, detail::folderIdentity(toSystemPath(dest)));
}

bool Directory::setReadWritePermissions(const std::string& path, bool recursive) {
    if (!recursive || File::isSymbolicLink(path))
        return File::setReadWritePermissions(path);
    setRightsBelow(path);
    return File::setReadWritePermissions(path);
}

bool Directory::isEmpty(const std::string& path) { return DirectoryListing(path).empty(); }

bool Directory::createSymbolicLink(const std::string& target, const std::string& link) {
    return File::createSymbolicLink(target, link);
}

// ---- File ------------------------------------------------------------------------

bool File::createSymbolicLink(const std::string& target, const std::string& link) {
    if (File::exists(link)) {
        if (isSymbolicLink(link))
            Directory::remove(link, false);
        else if (Directory::exists(link))
            Directory::remove(link, true);
        if (exists(link))
            remove(link);
    }
    const std::string text = PathConverter::fromKVLPath(target, true);
    if (!sys::createSymbolicLink(text, toSystemPath(link)))
        return false;
    return isSymbolicLink(link) && getSymbolicLinkTarget(link) == text;
}

bool File::isExecutable(const std::string& path) {
    const std::vector<std::string> extensions = OSPaths::getExecutableExtensions();
    if (exists(path)) {
        if (sys::isExecutableFile(toSystemPath(path)))
            return true;
        const std::string extension = Path::getFormatExtension(path, true);
        return !extension.empty() && std::find(extensions.begin(), extensions.end(), extension) != extensions.end();
    }
    return std::any_of(extensions.begin(), extensions.end(),
                       [&path](const std::string& extension) { return exists(path + "." + extension); });
}

bool File::canExecute(const std::string& path) {
    const std::string value = SystemEnvironmentVariables::instance().getEnvironmentVariable("PATH", "");
    return canExecute(path, OSPaths::getCurrentDirectory(),
                      splitListEnvironmentVariableValue(value, Utilities::buildOperatingSystem()));
}

bool File::canExecute(const std::string& path, const std::string& directory, const std::list<std::string>& searchPath) {
    if (Path::isAbsolutePath(path))
        return isExecutable(path);
    const std::string expanded = parseEnvironmentVariables(path, Utilities::buildOperatingSystem());
    if (Path::isAbsolutePath(expanded))
        return isExecutable(expanded);
    const std::string base = directory.empty() ? OSPaths::getCurrentDirectory() : directory;
    if (isExecutable(child(base, expanded)))
        return true;
    if (expanded.find_first_of("/\\") != std::string::npos)
        return false;
    return std::any_of(searchPath.begin(), searchPath.end(), [&expanded](const std::string& folder) {
        return !folder.empty() && isExecutable(child(folder, expanded));
    });
}

} // namespace FileSystem
