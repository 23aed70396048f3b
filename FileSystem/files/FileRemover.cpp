#include <FileSystem/files/FileRemover.h>

#include <FileSystem/paths/Path.h>
#include <FileSystem/paths/PathConverterBase.h>
#include <FileSystem/platform/Errors.h>
#include <FileSystem/platform/Folders.h>
#include <FileSystem/utilities/ToolProgress.h>

#include <cerrno>
#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <thread>

namespace FileSystem {

namespace {

constexpr int kRounds = 5;
constexpr int kTries = 10;
constexpr auto kPause = std::chrono::milliseconds(200);

std::string withoutTrailingSlashes(std::string path) {
    while (path.size() > 1 && (path.back() == '/' || path.back() == '\\'))
        path.pop_back();
    return path;
}

// An item's place on disk: its folder, kept open for the whole removal, or,
// for a file or link item, nothing but its path.
struct Root {
    std::string native;                // the item's path in the system's form
    std::optional<sys::Folder> folder; // set for a folder item
};

// One thing to delete: a name below an item's folder (relative path), or with
// an empty relative path the item itself.
struct Pending {
    std::shared_ptr<Root> root;
    std::string relative;
    bool folder = false;
};

enum class Outcome { Removed, Busy, Refused };

// After a failed removal of `name` in `folder`: gone anyway, worth another
// try later, or refused for good.
Outcome afterFailure(sys::Folder& folder, const std::string& name) {
    const int code = sys::lastErrorRecord().code;
    if (!folder.statusOf(name) && errno == ENOENT)
        return Outcome::Removed;
    return sys::mayPassWithTime(code) ? Outcome::Busy : Outcome::Refused;
}

Outcome removeIn(sys::Folder& folder, const std::string& name, bool isFolder) {
    if (isFolder ? folder.removeFolder(name) : folder.removeFile(name))
        return Outcome::Removed;
    return afterFailure(folder, name);
}

// Deletes the item itself by its name in the folder above it. A folder item
// goes only as a folder: a link that took its place meanwhile stays.
Outcome removeItself(const Pending& pending) {
    std::string name;
    auto parent = sys::openParent(pending.root->native, name);
    if (!parent)
        return errno == ENOENT ? Outcome::Removed : Outcome::Refused;
    return removeIn(*parent, name, pending.folder);
}

// Deletes a name below an item's folder, reaching the folder that holds it by
// descriptors from the item's folder, through no link.
Outcome removeBelow(const Pending& pending) {
    const std::string parentPath = Path::stripLastToken(pending.relative);
    const std::string name = Path::getLastToken(pending.relative);
    if (parentPath.empty())
        return removeIn(*pending.root->folder, name, pending.folder);
    auto parent = sys::openBeneath(*pending.root->folder, parentPath, false);
    if (!parent) // gone with the folder above it, or that is no folder of the tree any more
        return errno == ENOENT ? Outcome::Removed : Outcome::Refused;
    return removeIn(*parent, name, pending.folder);
}

Outcome removeOnce(const Pending& pending) {
    return pending.relative.empty() ? removeItself(pending) : removeBelow(pending);
}

// Marks the folders above a spared relative path as holding it, up to the
// item's folder (the empty path).
void protectParents(std::set<std::string>& protectedFolders, const std::string& relative) {
    std::string parent = relative;
    while (!parent.empty()) {
        parent = Path::stripLastToken(parent);
        if (!protectedFolders.insert(parent).second)
            return;
    }
}

std::string join(const std::string& folder, const std::string& name) {
    return folder.empty() ? name : folder + "/" + name;
}

} // namespace

void FileRemover::addIgnoreFileExtension(const std::string& extension) {
    // The same form as Path::getExtension(path, true): the dot included, lower case.
    m_ignoredExtensions.insert(Path::getExtension("x" + extension, true));
}

bool FileRemover::isSpared(const std::string& path, const RemoveFileInfo& item) const {
    if (!m_ignoredExtensions.empty() && m_ignoredExtensions.count(Path::getExtension(path, true)) != 0)
        return true;
    if (!m_ignoredNames.empty() && m_ignoredNames.count(Path::getLastToken(path)) != 0)
        return true;
    for (const auto& filter : m_filters)
        if (filter && !filter(path))
            return true;
    return item.filter && !item.filter(path);
}

bool FileRemover::remove(const std::vector<RemoveFileInfo>& items) {
    if (m_progress != nullptr) {
        std::vector<std::string> paths;
        for (const RemoveFileInfo& item : items)
            paths.push_back(item.path);
        m_progress->announceWorkList(paths);
        m_progress->setProgress(0, std::string());
    }

    // Collect first: the table is keyed by the path as the caller would write it.
    std::map<std::string, Pending> table;
    for (const RemoveFileInfo& item : items) {
        const std::string path = withoutTrailingSlashes(item.path);
        if (path.empty())
            continue;
        auto root = std::make_shared<Root>();
        root->native = toSystemPath(path);
        std::string name;
        auto parent = sys::openParent(root->native, name);
        const auto status = parent ? parent->statusOf(name) : std::nullopt;
        if (!status)
            continue; // nothing there
        if (status->kind != sys::EntryStatus::Kind::Directory) {
            if (!isSpared(path, item)) // a file, or a link: removed as a name
                table[path] = Pending{root, std::string(), false};
            continue;
        }
        root->folder = parent->openFolder(name);
        if (!root->folder)
            continue; // replaced by something else since
        auto walked = sys::openBeneath(*root->folder, ".", false);
        if (!walked)
            continue;

        std::set<std::string> protectedFolders;
        std::vector<std::string> below; // relative path of the folder the walk is in
        std::map<std::string, Pending> found;
        sys::TreeWalk walk(std::move(*walked), sys::TreeWalk::Options{false, true, nullptr});
        for (auto event = walk.next(); event != sys::TreeWalk::Event::End; event = walk.next()) {
            const std::string here = below.empty() ? std::string() : below.back();
            switch (event) {
            case sys::TreeWalk::Event::File: {
                const std::string relative = join(here, walk.name());
                if (isSpared(path + "/" + relative, item))
                    protectParents(protectedFolders, relative);
                else if (item.recursive)
                    found[path + "/" + relative] = Pending{root, relative, false};
                break;
            }
            case sys::TreeWalk::Event::Folder: {
                const std::string relative = join(here, walk.name());
                if (isSpared(path + "/" + relative, item))
                    protectParents(protectedFolders, relative); // kept whole, not entered
                else if (item.recursive)
                    walk.descend();
                break;
            }
            case sys::TreeWalk::Event::Enter:
                below.push_back(join(here, walk.name()));
                break;
            case sys::TreeWalk::Event::Leave:
                below.pop_back();
                if (protectedFolders.count(here) == 0)
                    found[path + "/" + here] = Pending{root, here, true};
                break;
            case sys::TreeWalk::Event::Unreadable:
                // A folder that cannot be read is tried as it is; its removal then reports it.
                if (!walk.name().empty() && protectedFolders.count(join(here, walk.name())) == 0)
                    found[path + "/" + join(here, walk.name())] = Pending{root, join(here, walk.name()), true};
                break;
            default:
                break;
            }
        }
        if (protectedFolders.count(std::string()) == 0)
            found[path] = Pending{root, std::string(), true};
        table.merge(found);
    }
    if (m_progress != nullptr && !table.empty())
        m_progress->setProgress(100, std::string());

    // In reverse order of paths every name comes before the folder that holds
    // it. A folder with a name below it still in the table cannot go in this
    // round and is not tried; a refusal that waiting does not change is not
    // tried again within the round.
    for (int round = 0; round < kRounds && !table.empty(); ++round) {
        for (auto it = table.end(); it != table.begin();) {
            --it;
            if (it->second.folder) {
                const auto below = table.lower_bound(it->first + "/");
                if (below != table.end() && below->first.compare(0, it->first.size() + 1, it->first + "/") == 0)
                    continue;
            }
            Outcome outcome = Outcome::Busy;
            for (int attempt = 1; attempt <= kTries && outcome == Outcome::Busy; ++attempt) {
                outcome = removeOnce(it->second);
                if (outcome == Outcome::Busy && attempt < kTries)
                    std::this_thread::sleep_for(kPause);
            }
            if (outcome == Outcome::Removed)
                it = table.erase(it);
        }
    }
    if (m_progress != nullptr)
        for (const auto& entry : table)
            m_progress->setProgress(100, "Failed to Remove : " + entry.first);
    return table.empty();
}

bool FileRemover::remove(const std::string& path, bool recursive) { return remove({{path, recursive, {}}}); }

bool FileRemover::remove(const std::string& path, bool recursive,
                         const std::function<bool(const std::string&)>& filter) {
    return remove({{path, recursive, filter}});
}

bool FileRemover::removeChildren(const std::vector<RemoveFileInfo>& items) {
    std::vector<RemoveFileInfo> children;
    for (const RemoveFileInfo& item : items) {
        const std::string path = withoutTrailingSlashes(item.path);
        auto folder = sys::Folder::open(toSystemPath(path), false);
        const auto entries = folder ? folder->entries() : std::nullopt;
        if (!entries)
            continue; // a file, or nothing: no contents
        for (const sys::DirectoryEntry& entry : *entries)
            children.push_back({path + "/" + entry.name, item.recursive, item.filter});
    }
    return remove(children);
}

bool FileRemover::removeChildren(const std::string& path, bool recursive) {
    return removeChildren({{path, recursive, {}}});
}

bool FileRemover::removeChildren(const std::string& path, bool recursive,
                                 const std::function<bool(const std::string&)>& filter) {
    return removeChildren({{path, recursive, filter}});
}

} // namespace FileSystem
