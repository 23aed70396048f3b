#include <FileSystem/files/BackupStore.h>

#include <FileSystem/files/DirectoryListing.h>
#include <FileSystem/files/File.h>
#include <FileSystem/files/StreamUtilities.h>
#include <FileSystem/paths/Path.h>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <iomanip>
#include <sstream>

namespace FileSystem {

namespace {

const char* const kWorkingName = "Working";
const char* const kDeletedFile = ".deleted.txt";
// A line of ".deleted.txt" longer than this is no path of ours.
constexpr std::size_t kMaxDeletedLine = 5000;

// A source path as the folder path it is stored at: forward slashes, no
// redundant segments, no drive colon, no leading separators. Empty when the
// path would leave the backup folder ("../x") or names nothing.
std::string folderForm(const std::string& path) {
    std::string text = Path::removeRedundentRelativeSegments(Path::makeForwardSlashes(path));
    if (text.size() > 1 && text[1] == ':')
        text.erase(1, 1);
    const std::size_t first = text.find_first_not_of('/');
    text.erase(0, first == std::string::npos ? text.size() : first);
    std::size_t start = 0;
    while (start <= text.size()) {
        std::size_t end = text.find('/', start);
        if (end == std::string::npos)
            end = text.size();
        const std::string segment = text.substr(start, end - start);
        if (segment == ".." || segment == ".")
            return {};
        start = end + 1;
    }
    return text;
}

// The names of a folder's listing without "." and "..".
std::vector<std::string> entriesOf(const std::string& folder) {
    std::vector<std::string> entries;
    for (const std::string& name : DirectoryListing(folder))
        if (name != "." && name != "..")
            entries.push_back(name);
    return entries;
}

// A folder of its own, not a link to one: walks never leave the tree they were given.
bool isRealDirectory(const std::string& path) { return File::isDirectory(path, false); }

bool sameState(const std::string& first, const std::string& second) {
    std::uint64_t firstSize = 0;
    std::uint64_t secondSize = 0;
    std::int64_t firstTime = 0;
    std::int64_t secondTime = 0;
    return File::getData(first, firstSize, firstTime) && File::getData(second, secondSize, secondTime) &&
           firstSize == secondSize && firstTime == secondTime;
}

bool isBackupName(const std::string& name) {
    int day = 0, month = 0, year = 0, hour = 0, minute = 0, second = 0;
    return BackupStore::extractBackupDate(name, day, month, year, hour, minute, second);
}

} // namespace

BackupStore::BackupStore(const std::string& root, BackupProgress* progress)
    : m_progress(progress), m_root(root.empty() ? std::string() : Path::removeRedundentRelativeSegments(root)),
      m_working(m_root.getPath().empty() ? std::string() : m_root.getPath() + "/" + kWorkingName) {
    const std::string rootPath = m_root.getPath();
    if (rootPath.empty())
        return;
    if (!Directory::exists(rootPath))
        Directory::create(rootPath, false, true);
    for (const std::string& name : entriesOf(rootPath))
        if (isBackupName(name) && isRealDirectory(rootPath + "/" + name))
            m_backupNames.push_back(name);
    std::sort(m_backupNames.begin(), m_backupNames.end());
}

// ---- Messages and names ---------------------------------------------------------------

void BackupStore::reportError(const std::string& message) const {
    if (m_progress != nullptr)
        m_progress->reportError(message);
}

void BackupStore::reportProgress(const std::string& message) const {
    if (m_progress != nullptr)
        m_progress->reportProgress(message);
}

bool BackupStore::locationValid() const {
    if (!m_root.getPath().empty())
        return true;
    reportError("Backup location is not valid.");
    return false;
}

std::string BackupStore::makeBackupName(int day, int month, int year, int hour, int minute, int second) {
    std::ostringstream name;
    name << std::setfill('0') << std::setw(4) << year << '-' << std::setw(2) << month << '-' << std::setw(2) << day
         << '-' << std::setw(2) << hour << '-' << std::setw(2) << minute << '-' << std::setw(2) << second;
    return name.str();
}

bool BackupStore::extractBackupDate(const std::string& name, int& day, int& month, int& year, int& hour, int& minute,
                                    int& second) {
    return std::sscanf(name.c_str(), "%d-%d-%d-%d-%d-%d", &year, &month, &day, &hour, &minute, &second) == 6;
}

std::string BackupStore::getNthBackupName(std::size_t n) const {
    return n < m_backupNames.size() ? m_backupNames[n] : std::string();
}

std::string BackupStore::getBackupPath(const std::string& name, const std::string& path) const {
    const std::string stored = folderForm(path);
    if (stored.empty() || name.empty())
        return {};
    return m_root.getPath() + "/" + name + "/" + stored;
}

// ---- Looking back through the backups ---------------------------------------------------------

std::string BackupStore::getBackedUpPath(const std::string& path, const std::string& backupName) const {
    bool started = backupName.empty();
    for (auto name = m_backupNames.rbegin(); name != m_backupNames.rend(); ++name) {
        started = started || *name == backupName;
        if (!started)
            continue;
        const std::string stored = getBackupPath(*name, path);
        if (!stored.empty() && File::exists(stored))
            return stored;
    }
    return {};
}

void BackupStore::getBackedUpFiles(const std::string& path, const std::string& backupName,
                                   std::set<std::string>& out) const {
    bool started = backupName.empty();
    for (auto name = m_backupNames.rbegin(); name != m_backupNames.rend(); ++name) {
        started = started || *name == backupName;
        if (!started)
            continue;
        const std::string stored = getBackupPath(*name, path);
        if (stored.empty() || !isRealDirectory(stored))
            continue;
        for (const std::string& entry : entriesOf(stored))
            out.insert(stored + "/" + entry);
    }
}

void BackupStore::getSetDeletedItems(const std::string& name, std::set<std::string>& out, bool asFolderForm) const {
    KVifstream in(m_root.getPath() + "/" + name + "/" + kDeletedFile);
    std::string line;
    while (in && std::getline(in, line)) {
        if (line.empty() || line.size() >= kMaxDeletedLine)
            continue;
        std::string item = Path::removeRedundentRelativeSegments(Path::makeForwardSlashes(line));
        if (asFolderForm)
            item = folderForm(item);
        if (!item.empty())
            out.insert(item);
    }
}

// ---- Backing up -------------------------------------------------------------------------------

bool BackupStore::startNewBackup(int day, int month, int year, int hour, int minute, int second) {
    m_deletedItems.clear();
    if (!locationValid())
        return false;
    if (!m_currentName.empty()) {
        reportError("Backup is already running.");
        return false;
    }
    const std::string name = makeBackupName(day, month, year, hour, minute, second);
    if (Directory::exists(m_root.getPath() + "/" + name)) {
        reportError("Backup name already exists. " + name);
        return false;
    }
    m_currentName = name;
    // Leftovers of a backup that broke off are dropped.
    if (File::exists(m_working.getPath()))
        Directory::remove(m_working.getPath(), true);
    if (!Directory::create(m_working.getPath(), false, true)) {
        reportError("failed to create backup sub-folder. " + m_working.getPath());
        return false;
    }
    return true;
}

bool BackupStore::addFile(const std::string& path, int& count) {
    if (!locationValid())
        return false;
    if (m_currentName.empty()) {
        reportError("Backup is not running so cannot add file to backup.");
        return false;
    }
    const std::string latest = getBackedUpPath(path, "");
    if (!latest.empty() && sameState(latest, path))
        return true;
    reportProgress("Backup File: " + path);
    const std::string destination = getBackupPath(kWorkingName, path);
    if (!destination.empty() && File::copyFile(path, destination, true, false, {})) {
        ++count;
        return true;
    }
    reportError("failed to copy file to backup. " + path);
    return false;
}

bool BackupStore::addFolder(const std::string& path, int& count) {
    if (!locationValid())
        return false;
    if (m_currentName.empty()) {
        reportError("Backup is not running so cannot add folder to backup.");
        return false;
    }
    bool ok = true;
    const std::vector<std::string> entries = entriesOf(path);
    for (const std::string& entry : entries) {
        const std::string full = path + "/" + entry;
        if (isRealDirectory(full))
            ok = addFolder(full, count) && ok;
        else if (!File::isDirectory(full, true)) // a link to a folder is not followed
            ok = addFile(full, count) && ok;
    }
    std::set<std::string> stored;
    getBackedUpFiles(path, "", stored);
    for (const std::string& item : stored) {
        const std::string token = Path::getLastToken(item);
        if (std::find(entries.begin(), entries.end(), token) == entries.end())
            m_deletedItems.insert(path + "/" + token);
    }
    return ok;
}

bool BackupStore::finishBackup() {
    if (!locationValid())
        return false;
    if (m_currentName.empty()) {
        reportError("Backup is not running so cannot finish backup.");
        return false;
    }
    const std::string working = m_working.getPath();
    if (!m_deletedItems.empty()) {
        KVofstream out(working + "/" + kDeletedFile);
        for (const std::string& item : m_deletedItems)
            out << item << '\n';
        m_deletedItems.clear();
    }
    if (entriesOf(working).empty()) {
        // Nothing changed: no backup is recorded.
        Directory::remove(working, true);
    } else {
        const std::string finished = m_root.getPath() + "/" + m_currentName;
        if (!Directory::rename(working, finished) && !Directory::moveDirectory(working, finished)) {
            reportError("failed to create backup sub-folder. " + finished);
            m_currentName.clear();
            return false;
        }
        m_backupNames.push_back(m_currentName);
        std::sort(m_backupNames.begin(), m_backupNames.end());
    }
    m_currentName.clear();
    return true;
}

// ---- Restoring --------------------------------------------------------------------------------

bool BackupStore::startRestore(int day, int month, int year, int hour, int minute, int second) {
    return startRestore(makeBackupName(day, month, year, hour, minute, second));
}

bool BackupStore::startRestore(const std::string& name) {
    if (!locationValid())
        return false;
    if (!m_currentName.empty()) {
        reportError("Backup is already running.");
        return false;
    }
    if (name.empty() || !isBackupName(name) || !isRealDirectory(m_root.getPath() + "/" + name)) {
        reportError("Backup does not exist.");
        return false;
    }
    m_currentName = name;
    return true;
}

bool BackupStore::shouldRestoreFile(const std::string& path, const std::string& name, bool& notInBackup) const {
    const std::string stored = getBackedUpPath(path, name);
    if (stored.empty()) {
        notInBackup = true;
        return false;
    }
    return !sameState(stored, path);
}

bool BackupStore::restoreFile(const std::string& path, int& count, bool& notInBackup) {
    if (!locationValid())
        return false;
    if (m_currentName.empty()) {
        reportError("Restore is not running so cannot restore file from backup.");
        return false;
    }
    if (!shouldRestoreFile(path, m_currentName, notInBackup))
        return true;
    reportProgress("Restore File: " + path);
    if (File::copyFile(getBackedUpPath(path, m_currentName), path, true, false, {})) {
        ++count;
        return true;
    }
    reportError("Failed to restore file from backup. " + path);
    return false;
}

bool BackupStore::restoreFolder(const std::string& path, int& count) {
    if (!locationValid())
        return false;
    if (m_currentName.empty()) {
        reportError("Restore is not running so cannot restore folder from backup.");
        return false;
    }
    std::set<std::string> deleted;
    getSetDeletedItems(m_currentName, deleted, false);
    bool ok = true;
    const std::vector<std::string> entries = entriesOf(path);
    for (const std::string& entry : entries) {
        const std::string full = path + "/" + entry;
        if (isRealDirectory(full)) {
            ok = restoreFolder(full, count) && ok;
            continue;
        }
        bool notInBackup = false;
        ok = restoreFile(full, count, notInBackup) && ok;
        if (notInBackup || deleted.count(Path::removeRedundentRelativeSegments(full)) != 0) {
            reportProgress("Delete File: " + full);
            ok = File::remove(full) && ok;
        }
    }
    std::set<std::string> stored;
    getBackedUpFiles(path, m_currentName, stored);
    for (const std::string& item : stored) {
        const std::string token = Path::getLastToken(item);
        const std::string full = path + "/" + token;
        if (std::find(entries.begin(), entries.end(), token) != entries.end() ||
            deleted.count(Path::removeRedundentRelativeSegments(full)) != 0)
            continue;
        if (isRealDirectory(item)) {
            ok = restoreFolder(full, count) && ok;
        } else {
            bool notInBackup = false;
            ok = restoreFile(full, count, notInBackup) && ok;
        }
    }
    return ok;
}

void BackupStore::getFilesToRestore(const std::string& backupName, const std::string& path,
                                    std::set<std::string>& toRestore, std::set<std::string>& toDelete) const {
    // The same decisions as restoreFolder, with the backup's own record of
    // what was gone, so that the dry run names what the restore does.
    std::set<std::string> deleted;
    getSetDeletedItems(backupName.empty() && !m_backupNames.empty() ? m_backupNames.back() : backupName, deleted,
                       false);
    const std::function<void(const std::string&)> visit = [&](const std::string& item) {
        const bool liveFolder = isRealDirectory(item);
        const std::string stored = getBackedUpPath(item, backupName);
        if (!liveFolder && (stored.empty() || !isRealDirectory(stored))) {
            const bool gone = deleted.count(Path::removeRedundentRelativeSegments(item)) != 0;
            bool notInBackup = false;
            const bool restore = shouldRestoreFile(item, backupName, notInBackup);
            if ((notInBackup || gone) && File::exists(item))
                toDelete.insert(item);
            else if (restore && !gone)
                toRestore.insert(item);
            return;
        }
        const std::vector<std::string> entries = liveFolder ? entriesOf(item) : std::vector<std::string>();
        for (const std::string& entry : entries)
            visit(item + "/" + entry);
        std::set<std::string> backedUp;
        getBackedUpFiles(item, backupName, backedUp);
        for (const std::string& child : backedUp) {
            const std::string token = Path::getLastToken(child);
            const std::string full = item + "/" + token;
            if (std::find(entries.begin(), entries.end(), token) == entries.end() &&
                deleted.count(Path::removeRedundentRelativeSegments(full)) == 0)
                visit(full);
        }
    };
    visit(path);
}

bool BackupStore::finishRestore() {
    if (!locationValid())
        return false;
    if (m_currentName.empty()) {
        reportError("Restore is not running so cannot finish restore.");
        return false;
    }
    m_currentName.clear();
    return true;
}

// ---- Thinning -----------------------------------------------------------------------------------

bool BackupStore::moveFiles(const std::string& from, const std::string& to, const std::string& base,
                            const std::set<std::string>& deleted) {
    if (from == to || !File::exists(from))
        return false;
    for (const std::string& entry : entriesOf(from)) {
        if (entry.front() == '.')
            continue;
        const std::string source = from + "/" + entry;
        const std::string target = to + "/" + entry;
        // Backups hold files and folders only; a link planted in one is not followed.
        if (File::isSymbolicLink(source))
            continue;
        if (isRealDirectory(source)) {
            moveFiles(source, target, base, deleted);
            continue;
        }
        if (File::exists(target))
            continue;
        const std::string relative = source.substr(std::min(source.size(), base.size() + 1));
        if (deleted.count(relative) != 0)
            continue;
        File::copyFile(source, target, false, false, {});
        reportProgress("Preserve Old File: " + relative);
    }
    return true;
}

bool BackupStore::thinBackups(std::size_t keep) {
    if (m_root.getPath().empty() || keep == 0)
        return false;
    const std::string root = m_root.getPath();
    while (m_backupNames.size() > keep) {
        const std::string oldest = m_backupNames[0];
        const std::string next = m_backupNames[1];
        std::set<std::string> deleted;
        getSetDeletedItems(next, deleted, true);
        reportProgress("Remove old backup. " + oldest);
        if (!moveFiles(root + "/" + oldest, root + "/" + next, root + "/" + oldest, deleted)) {
            reportError("Failed to remove old backup. " + oldest);
            return false;
        }
        Directory::remove(root + "/" + oldest, true);
        m_backupNames.pop_front();
    }
    return true;
}

} // namespace FileSystem
