#pragma once

#include <FileSystem/Export.h>
#include <FileSystem/files/Directory.h>

#include <cstddef>
#include <deque>
#include <set>
#include <string>

namespace FileSystem {

/// Receives the messages of a BackupStore; an application implements it.
class FILESYSTEM_EXPORT BackupProgress {
public:
    BackupProgress() = default;
    /// Copies as the derived class allows.
    ///@{
    BackupProgress(const BackupProgress&) = default;
    BackupProgress& operator=(const BackupProgress&) = default;
    ///@}
    virtual ~BackupProgress() = default;
    /// What the store is doing ("Backup File: <path>", ...).
    virtual void reportProgress(const std::string& message) = 0;
    /// Why an operation failed; called once before the operation returns false.
    virtual void reportError(const std::string& message) = 0;
};

/// Dated, incremental backups of files and folders under one root folder.
///
/// Each finished backup is a folder "YYYY-MM-DD-hh-mm-ss" below the root that
/// holds the files that changed since the last backup holding them, at their
/// source path taken as a folder path ("/proj/a.txt" lies in "proj/a.txt",
/// "C:/proj/a.txt" in "C/proj/a.txt"), and ".deleted.txt", the source paths
/// that were gone at this backup, one a line. The backup under way is built
/// in "Working" and renamed at the end. A file's state in a backup is found by
/// looking from that backup back to the oldest; thinBackups removes the
/// oldest backups and carries forward what the later ones rely on.
///
/// The root's content is untrusted: backup folders are only recognised by
/// their names, links in them are never followed, a source path that would
/// leave the backup folder ("../x") is refused, and ".deleted.txt" only ever
/// decides about files below the folder being restored.
///
/// Operations answer by their result, after one message to the receiver
/// (which may be null). One store serves one thread.
class FILESYSTEM_EXPORT BackupStore {
public:
    /// A store on `root` (created when missing); the names of the backups
    /// there are read. `progress` is not owned and may be null.
    BackupStore(const std::string& root, BackupProgress* progress);
    /// Copies share only the disk; each keeps its own list.
    ///@{
    BackupStore(const BackupStore&) = default;
    BackupStore& operator=(const BackupStore&) = default;
    ///@}
    virtual ~BackupStore() = default;

    /// Starts a backup of that time in the working folder (leftovers of a
    /// broken backup are dropped). False when the root is not valid, a backup
    /// or restore is running, or a backup of that name exists.
    bool startNewBackup(int day, int month, int year, int hour, int minute, int second);
    /// Stores a file unless the newest backup holding it has it with the same
    /// size and modification second; `count` goes up for a stored file.
    bool addFile(const std::string& path, int& count);
    /// Stores what changed in a folder, recursively, and records what is gone
    /// since the last backup. Goes on past a failed item; false when one failed.
    bool addFolder(const std::string& path, int& count);
    /// Ends the backup: nothing changed leaves no backup; otherwise the working
    /// folder becomes the backup of the name.
    bool finishBackup();
    /// Where the state of `path` lies as of the backup `backupName` (the newest
    /// when empty), looking back to the oldest; empty when no backup holds it.
    std::string getBackedUpPath(const std::string& path, const std::string& backupName) const;

    /// Starts restoring the backup of that time, or of that name.
    ///@{
    bool startRestore(int day, int month, int year, int hour, int minute, int second);
    bool startRestore(const std::string& name);
    ///@}
    /// Puts back the state of a file as of the restored backup, when it
    /// differs (size or modification second). A file that no backup up to
    /// that one holds is left alone, with `notInBackup` set.
    bool restoreFile(const std::string& path, int& count, bool& notInBackup);
    /// Puts a folder back to its state as of the restored backup: files are
    /// restored, files that it did not hold (or that it recorded as gone) are
    /// deleted, and missing ones brought back.
    bool restoreFolder(const std::string& path, int& count);
    /// What restoring `path` from the backup `backupName` would copy and
    /// delete; nothing changes on disk.
    void getFilesToRestore(const std::string& backupName, const std::string& path, std::set<std::string>& toRestore,
                           std::set<std::string>& toDelete) const;
    /// Ends the restore.
    bool finishRestore();

    /// "YYYY-MM-DD-hh-mm-ss" (mind the order of the arguments: day, month, year).
    static std::string makeBackupName(int day, int month, int year, int hour, int minute, int second);
    /// The date of a backup name; false unless all six numbers are there.
    static bool extractBackupDate(const std::string& name, int& day, int& month, int& year, int& hour, int& minute,
                                  int& second);

    /// The number of backups.
    std::size_t getNumberOfBackups() const noexcept { return m_backupNames.size(); }
    /// The name of backup `n`, 0 being the oldest; empty past the last.
    std::string getNthBackupName(std::size_t n) const;
    /// Removes the oldest backups until `keep` remain, carrying forward into the
    /// next backup each file it relies on. False for `keep` of 0, an invalid
    /// root, or a failure.
    bool thinBackups(std::size_t keep);

private:
    std::string getBackupPath(const std::string& name, const std::string& path) const;
    void getBackedUpFiles(const std::string& path, const std::string& name, std::set<std::string>& out) const;
    bool shouldRestoreFile(const std::string& path, const std::string& name, bool& notInBackup) const;
    bool moveFiles(const std::string& from, const std::string& to, const std::string& base,
                   const std::set<std::string>& deleted);
    void getSetDeletedItems(const std::string& name, std::set<std::string>& out, bool asFolderForm) const;
    void reportError(const std::string& message) const;
    void reportProgress(const std::string& message) const;
    bool locationValid() const;

    BackupProgress* m_progress = nullptr;
    Directory m_root;
    Directory m_working;
    std::string m_currentName;
    std::set<std::string> m_deletedItems;
    std::deque<std::string> m_backupNames;
};

} // namespace FileSystem
