// The operations of Directory and File that walk a folder's contents or lean on
// the environment: sizes, removal, copies and moves of trees, links and
// executables.

#include <FileSystem/files/Directory.h>
#include <FileSystem/files/DirectoryListing.h>
#include <FileSystem/files/File.h>

#include <FileSystem/environment/EnvironmentVariableModel.h>
#include <FileSystem/paths/OSPaths.h>
#include <FileSystem/paths/Path.h>
#include <FileSystem/paths/PathConverterBase.h>
#include <FileSystem/platform/DirectoryEntries.h>
#include <FileSystem/platform/Files.h>
#include <FileSystem/platform/Folders.h>
#include <FileSystem/utilities/BuildInfo.h>

#include <algorithm>
#include <chrono>
#include <thread>

namespace FileSystem {

namespace {

std::string child(const std::string& folder, const std::string& name) {
    return (!folder.empty() && Path::hasTrailingSlash(folder)) ? folder + name : folder + '/' + name;
}

bool sameFolder(const sys::EntryStatus& a, const std::optional<sys::EntryStatus>& b) {
    return b && a.device == b->device && a.index == b->index;
}

/// Goes down into the folder of the destination that mirrors the source folder
/// just entered: made when missing, opened without following a link in its
/// place (what stands there as a link or file is never written through).
bool enterMirror(sys::FolderStack& out, const std::string& name) {
    out.top().createFolder(name);
    auto folder = out.top().openFolder(name);
    const auto status = folder ? folder->status() : std::nullopt;
    if (!status)
        return false;
    out.push(std::move(*folder), *status, name, false);
    return true;
}

/// Copies (and with `move` then removes) what lies below `source` into
/// `target`, by open folders on both sides. Links are followed in the source
/// unless they are copied as links; the destination's own folder (when it lies
/// inside the source) is passed over. False when any item was not done.
bool transferTree(sys::Folder source, sys::Folder target, bool recursive, bool copyLinks, bool move) {
    const auto destination = target.status();
    sys::TreeWalk::Options walkOptions;
    walkOptions.followLinks = !copyLinks;
    sys::TreeWalk walk(std::move(source), walkOptions);
    sys::FolderStack out(std::move(target));
    sys::CopyOptions copyOptions;
    copyOptions.copyLinkItself = copyLinks;
    bool ok = true;
    for (auto event = walk.next(); event != sys::TreeWalk::Event::End; event = walk.next()) {
        switch (event) {
        case sys::TreeWalk::Event::File:
            if (sys::copyFileAt(walk.folder(), walk.name(), out.top(), walk.name(), copyOptions) !=
                sys::CopyResult::Done)
                ok = false;
            else if (move && !walk.folder().removeFile(walk.name()))
                ok = false; // arrived, but the original stays
            break;
        case sys::TreeWalk::Event::Folder:
            if (recursive)
                walk.descend();
            break;
        case sys::TreeWalk::Event::Enter:
            if (sameFolder(walk.currentStatus(), destination)) {
                walk.skip(); // the copy is not copied into itself
            } else if (!enterMirror(out, walk.name())) {
                ok = false;
                walk.skip();
            }
            break;
        case sys::TreeWalk::Event::Leave:
            if (!out.pop())
                ok = false;
            // A folder whose items did not all arrive is not empty and stays.
            if (move && !walk.folder().removeFolder(walk.name()))
                ok = false;
            break;
        case sys::TreeWalk::Event::Unreadable:
            ok = false;
            break;
        case sys::TreeWalk::Event::Cycle:
            ok = ok && !move; // a copy leaves out what would go round a cycle
            break;
        default:
            break;
        }
    }
    return ok && !walk.lost();
}

template <class Test>
bool removeMatchingFiles(const std::string& path, bool stopAtFailure, Test test) {
    auto folder = sys::Folder::open(toSystemPath(path), true);
    if (!folder)
        return !File::exists(path); // nothing there, nothing to remove
    const auto entries = folder->entries();
    if (!entries)
        return false;
    bool result = true;
    for (const sys::DirectoryEntry& entry : *entries) {
        if (entry.kind == sys::DirectoryEntry::Kind::Directory || !test(entry.name))
            continue;
        if (entry.kind != sys::DirectoryEntry::Kind::Other) {
            // A folder, or a link to one, is no file here.
            const auto target = folder->targetStatusOf(entry.name);
            if (target && target->kind == sys::EntryStatus::Kind::Directory)
                continue;
        }
        if (!folder->removeFile(entry.name) && folder->statusOf(entry.name)) {
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
    std::uint64_t total = File::getFileSize(path);
    auto root = sys::Folder::open(toSystemPath(path), true);
    if (!root)
        return total;
    sys::TreeWalk::Options options;
    options.followLinks = true;
    sys::TreeWalk walk(std::move(*root), options);
    for (auto event = walk.next(); event != sys::TreeWalk::Event::End; event = walk.next()) {
        if (event == sys::TreeWalk::Event::Folder && recursive) {
            walk.descend();
        } else if (event == sys::TreeWalk::Event::File) {
            const auto status = walk.folder().targetStatusOf(walk.name());
            if (status && status->kind != sys::EntryStatus::Kind::Directory)
                total += status->size;
        }
    }
    return total;
}

bool Directory::remove(const std::string& path, bool recursive) {
    if (path.empty() || !exists(path))
        return false;
    const std::string native = toSystemPath(path);
    if (isSymbolicLink(path))
        return File::remove(path); // a link goes as a link, whatever it points to
    const auto gone = [&path] { return !File::exists(path); };
    for (int round = 0; round < 5; ++round) {
        // With contents: by open folders, so that nothing outside can be reached.
        if (recursive ? sys::removeTree(native) : sys::removeDirectory(native))
            return true;
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
    if (!exists(dest) && !create(dest, false, true))
        return false;
    auto source = sys::Folder::open(toSystemPath(src), true);
    auto target = sys::Folder::open(toSystemPath(dest), true);
    return source && target &&
           transferTree(std::move(*source), std::move(*target), recursive, copyLinksThemselves, false);
}

bool Directory::moveDirectory(const std::string& src, const std::string& dest) {
    if (src == dest || Path::compare(src, dest) || !exists(src))
        return false;
    if (!exists(dest) && !create(dest, false, true))
        return false;
    const std::string native = toSystemPath(src);
    auto source = sys::Folder::open(native, true);
    auto target = sys::Folder::open(toSystemPath(dest), true);
    // Item by item: copied (links as links), and removed once it arrived.
    const bool moved = source && target && transferTree(std::move(*source), std::move(*target), true, true, true);
    const bool removed = isSymbolicLink(src) ? sys::removeFile(native) : sys::removeDirectory(native);
    return moved && removed;
}

bool Directory::setReadWritePermissions(const std::string& path, bool recursive) {
    if (!recursive || File::isSymbolicLink(path) || !exists(path))
        return File::setReadWritePermissions(path);
    // Each folder gets its rights before it is entered, so that a folder that
    // could not be read before can be walked; nothing goes through a link.
    std::string name;
    auto parent = sys::openParent(toSystemPath(path), name);
    std::optional<sys::Folder> root;
    bool ok = false;
    if (parent) {
        ok = parent->addPermissions(name, 0666, 0777);
        root = parent->openFolder(name);
    } else if ((root = sys::Folder::open(toSystemPath(path), false))) {
        const auto status = root->status(); // "/" has no name in a parent
        ok = status && root->setOwnMode(status->mode | 0777);
    }
    if (!root)
        return false;
    sys::TreeWalk walk(std::move(*root), sys::TreeWalk::Options{});
    for (auto event = walk.next(); event != sys::TreeWalk::Event::End; event = walk.next()) {
        switch (event) {
        case sys::TreeWalk::Event::File:
            // Rights would go to what a link points to: links are passed over.
            if (walk.kind() != sys::DirectoryEntry::Kind::SymbolicLink &&
                !walk.folder().addPermissions(walk.name(), 0666, 0777))
                ok = false;
            break;
        case sys::TreeWalk::Event::Folder:
            if (!walk.folder().addPermissions(walk.name(), 0666, 0777))
                ok = false;
            walk.descend();
            break;
        case sys::TreeWalk::Event::Unreadable:
        case sys::TreeWalk::Event::Cycle:
            ok = false;
            break;
        default:
            break;
        }
    }
    return ok && !walk.lost();
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
