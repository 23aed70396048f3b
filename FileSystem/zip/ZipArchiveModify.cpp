// Removing, renaming and replacing entries of an archive on disk.
//
// The engine changes an archive by writing a new one beside it and renaming it
// over the old one at the commit; entries that stay are copied as they are
// stored. So a change needs no copy of the archive elsewhere, and a failure at
// any point leaves the old archive whole.

#include <FileSystem/zip/ZipArchive.h>

#include <FileSystem/files/File.h>
#include <FileSystem/paths/Path.h>
#include <FileSystem/paths/PathConverterBase.h>
#include <FileSystem/utilities/detail/Percentages.h>
#include <FileSystem/zip/detail/Engine.h>
#include <FileSystem/zip/detail/EntryNames.h>
#include <FileSystem/zip/detail/Spool.h>
#include <FileSystem/zip/detail/WriteState.h>

#include <algorithm>
#include <memory>
#include <set>
#include <stdexcept>
#include <vector>

namespace FileSystem {

namespace {

/// Throws away an engine handle's changes unless it was committed and released.
struct Discard {
    void operator()(zip_t* archive) const { zip_discard(archive); }
};
using EngineHandle = std::unique_ptr<zip_t, Discard>;

/// Whether an entry belongs to what `name` stands for: the entry itself, or
/// anything below it when it is a folder.
bool matches(const std::string& entry, const std::string& name) {
    return entry == name || entry.compare(0, name.size() + 1, name + "/") == 0;
}

/// The name without a trailing slash: a folder and a file of one name are one name.
std::string keyOf(const std::string& entry) { return Path::stripTrailingSlash(entry); }

/// The commit's progress as percentages for a ToolProgress, which may cancel it.
struct CommitProgress {
    explicit CommitProgress(Tools::ToolProgress* progress) : receiver(progress), percentages(progress) {}
    Tools::ToolProgress* receiver;
    detail::Percentages percentages;
    bool stop = false;

    void attach(zip_t* archive) {
        if (receiver == nullptr)
            return;
        zip_register_progress_callback_with_state(
            archive, 0.01,
            [](zip_t*, double fraction, void* state) {
                auto* self = static_cast<CommitProgress*>(state);
                if (!self->percentages.report(static_cast<std::uint64_t>(fraction * 10000.0), 10000))
                    self->stop = true;
            },
            nullptr, this);
        zip_register_cancel_callback_with_state(
            archive,
            [](zip_t*, void* state) -> int {
                auto* self = static_cast<CommitProgress*>(state);
                return self->stop || self->receiver->isCancelled() || self->receiver->hadFatalError();
            },
            nullptr, this);
    }
};

} // namespace

bool ZipArchive::removeFromZip(const std::string& name) { return modifyInZip(name, std::nullopt); }

bool ZipArchive::renameInZip(const std::string& name, const std::string& newName) {
    // An added entry loses its leading slashes too: "/c" is "c".
    const std::string target = Path::stripLeadingSlash(newName);
    if (Path::stripTrailingSlash(target).empty())
        throw std::runtime_error("Zip Rename Failure : cannot rename to an empty path");
    if (detail::isRootedOrDrive(target) || detail::leavesItsFolder(target))
        throw std::runtime_error("Zip Rename Failure : the new path leaves the archive : " + newName);
    return modifyInZip(name, target);
}

bool ZipArchive::modifyInZip(const std::string& name, const std::optional<std::string>& newName) {
    close();
    if (m_progress)
        m_progress->setRange(0); // the amount of work is not known yet
    EngineHandle archive;
    const auto done = [this, &archive](bool result) {
        archive.reset(); // what was not committed is thrown away
        reopen();        // in the mode it had; a created archive reopens for adding
        return result;
    };

    if (!m_fileName.empty())
        archive.reset(detail::openArchive(toSystemPath(m_fileName), detail::ArchiveAccess::Modify));
    if (!archive) {
        if (!m_fileName.empty() && File::exists(m_fileName))
            throw std::runtime_error("Zip Modify Error : unzGotoNextFile error");
        return done(false); // no archive there: nothing to change
    }
    const zip_int64_t count = zip_get_num_entries(archive.get(), 0);
    if (count <= 0)
        throw std::runtime_error("Zip Modify Error : trying to rename/remove on an empty archive");

    // The plan: which entries go or get which name.
    const std::string from = Path::stripTrailingSlash(name);
    const std::optional<std::string> to =
        newName ? std::optional<std::string>(Path::stripTrailingSlash(*newName)) : std::nullopt;
    std::vector<zip_uint64_t> matched;
    std::vector<std::string> renamed;
    std::set<std::string> staying;
    for (zip_uint64_t index = 0; index < static_cast<zip_uint64_t>(count); ++index) {
        const char* text = zip_get_name(archive.get(), index, 0);
        if (text == nullptr)
            return done(false);
        const std::string entry = text;
        if (!matches(entry, from)) {
            staying.insert(keyOf(entry));
            continue;
        }
        matched.push_back(index);
        if (to)
            renamed.push_back(Path::replacePart(entry, from, *to));
    }
    if (m_progress)
        m_progress->setRange(100); // percentages of the commit follow
    if (matched.empty())
        return done(false); // the archive was not touched

    // Every entry that stays carries this library's stamp. Stamped before any
    // rename: this engine frees a renamed entry's comment twice when it is set afterwards.
    std::vector<bool> removed(static_cast<std::size_t>(count), false);
    if (!to)
        for (const zip_uint64_t index : matched)
            removed[static_cast<std::size_t>(index)] = true;
    for (zip_uint64_t index = 0; index < static_cast<zip_uint64_t>(count); ++index)
        if (!removed[static_cast<std::size_t>(index)] &&
            zip_file_set_comment(archive.get(), index, s_zipCommentTesselPrefix.data(),
                                 static_cast<zip_uint16_t>(s_zipCommentTesselPrefix.size()), ZIP_FL_ENC_UTF_8) != 0)
            return done(false);

    if (!to) {
        for (const zip_uint64_t index : matched)
            if (zip_delete(archive.get(), index) != 0)
                return done(false);
    } else if (*to != from) {
        // A rename never overwrites: a new name held by an entry that stays, or
        // given to two entries, refuses the whole rename.
        std::set<std::string> taken = staying;
        for (const std::string& entry : renamed)
            if (!taken.insert(keyOf(entry)).second)
                return done(false);
        // Through names of their own first, so that an entry may take a name
        // that another renamed entry only gives up later in the list.
        // (The engine keeps a folder's name a folder's name: with its trailing slash.)
        for (std::size_t i = 0; i < matched.size(); ++i) {
            std::string passing = "\x7f" "fs-rename-" + std::to_string(i);
            if (!renamed[i].empty() && renamed[i].back() == '/')
                passing += '/';
            if (zip_file_rename(archive.get(), matched[i], passing.c_str(), ZIP_FL_ENC_UTF_8) != 0)
                return done(false);
        }
        for (std::size_t i = 0; i < matched.size(); ++i)
            if (zip_file_rename(archive.get(), matched[i], renamed[i].c_str(), ZIP_FL_ENC_UTF_8) != 0)
                return done(false);
    }
    CommitProgress progress(m_progress);
    progress.attach(archive.get());
    if (zip_close(archive.get()) != 0)
        return done(false); // the old archive stands as it was
    archive.release(); // the engine let go of it
    return done(true);
}

bool ZipArchive::replaceInZip(const std::string& source, const std::string& destination, bool recursive) {
    // A reader cannot add: it refuses before anything goes.
    if (!isOpen() && m_mode != OpenMode::Read && !reopen())
        return false;
    if (!isZipping())
        return false;
    // What was added before is committed first, so that a failure below takes back only this replace.
    if (!commit())
        return false;
    auto* archive = static_cast<zip_t*>(engine());
    const std::string from = Path::stripTrailingSlash(destination);
    const zip_int64_t count = zip_get_num_entries(archive, 0);
    for (zip_uint64_t index = 0; index < static_cast<zip_uint64_t>(std::max<zip_int64_t>(count, 0)); ++index) {
        const char* text = zip_get_name(archive, index, 0);
        if (text == nullptr || !matches(text, from))
            continue;
        const std::string key = keyOf(text);
        if (zip_delete(archive, index) != 0) {
            discardPending();
            return false;
        }
        m_entries.erase(key);
    }
    bool added = false;
    try {
        added = addToZipAs(source, destination, recursive, false, {}, {});
    } catch (...) {
        discardPending();
        throw;
    }
    if (!added) {
        discardPending();
        return false;
    }
    // Removal and add go into the archive together.
    if (commit())
        return true;
    discardPending();
    return false;
}

bool ZipArchive::discardPending() {
    m_handle.reset(); // the engine forgets every change since the last commit
    m_entries.clear();
    if (m_write) {
        m_write->entries.clear();
        if (m_write->spool)
            m_write->spool->clear();
    }
    return openEngine(false);
}

} // namespace FileSystem
