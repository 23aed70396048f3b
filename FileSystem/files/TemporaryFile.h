#pragma once

#include <FileSystem/Export.h>

#include <cstddef>
#include <optional>
#include <string>

namespace FileSystem {

/// Owns a name on disk for the length of a scope: at the end the file, or the
/// folder with everything in it, is removed (links inside are removed as
/// links, nothing outside is touched). Failures at the end are ignored.
class FILESYSTEM_EXPORT DeleteFileOnDestruction {
public:
    /// Owns `path` (which may be empty: then nothing is removed).
    explicit DeleteFileOnDestruction(const std::string& path);
    /// Takes over the other object's name; the other one then owns none.
    DeleteFileOnDestruction(DeleteFileOnDestruction&& other) noexcept;
    /// Removes this object's own name first (when asked to), then takes over the other's.
    DeleteFileOnDestruction& operator=(DeleteFileOnDestruction&& other) noexcept;
    DeleteFileOnDestruction(const DeleteFileOnDestruction&) = delete;
    DeleteFileOnDestruction& operator=(const DeleteFileOnDestruction&) = delete;
    /// Removes the name when the flag is set; never throws.
    virtual ~DeleteFileOnDestruction();

    /// The owned path.
    const std::string& getPath() const noexcept { return m_path; }
    /// Whether the name is removed at the end (true at first).
    ///@{
    void setDeleteOnDestruction(bool remove) noexcept { m_delete = remove; }
    bool isDeleteOnDestruction() const noexcept { return m_delete; }
    ///@}
    /// True when a path is owned.
    bool success() const noexcept { return !m_path.empty(); }
    /// success().
    explicit operator bool() const noexcept { return success(); }

protected:
    /// Replaces the owned path (the old one is not removed).
    void setFileName(const std::string& path) { m_path = path; }

private:
    void removeOwned() noexcept;

    bool m_delete = true;
    std::string m_path;
};

/// What temporary files and folders share: the temporary folder and fresh names.
class FILESYSTEM_EXPORT TemporaryCommon : public DeleteFileOnDestruction {
public:
    using DeleteFileOnDestruction::DeleteFileOnDestruction;
    /// Moves as DeleteFileOnDestruction does.
    ///@{
    TemporaryCommon(TemporaryCommon&&) noexcept = default;
    TemporaryCommon& operator=(TemporaryCommon&&) noexcept = default;
    ///@}

protected:
    /// OSPaths::getTemporaryFolderPath() (read once per process), made when missing.
    static std::string getTemporaryFolder();
    /// A name in `folder` that nothing has yet: "<folder>/<application>-<tag>-<8 of A-Z, 0-9>"
    /// ("Tessel" when the application has no name), after at most `attempts`
    /// draws. Throws std::runtime_error "Failed to Generate a non existent
    /// temporary path" when every draw is taken, when `attempts` is 0 or
    /// `folder` is empty.
    static std::string generateTemporaryName(const std::string& folder, const std::string& tag, std::size_t attempts);
    /// Makes a fresh name and, with `create`, the file or folder under it,
    /// atomically and for the owner only; throws as generateTemporaryName.
    static std::string makeTemporary(const std::string& folder, const std::string& tag, bool create,
                                     std::size_t attempts, bool directory);

private:
    /// `length` characters of A-Z and 0-9 from a generator seeded by the steady clock.
    static std::string generateUniqueKey(unsigned length);
};

/// A fresh folder of its own for the length of a scope, removed with all it
/// holds at the end. Only its owner may enter it (mode 0700).
class FILESYSTEM_EXPORT TemporaryDirectory : public TemporaryCommon {
public:
    /// In the temporary folder, tagged "TesselTempDir". With `create` false only
    /// the name is chosen. Throws std::runtime_error "Failed to Generate a non
    /// existent temporary path" when no fresh name is made in `attempts`.
    explicit TemporaryDirectory(bool create = true, std::size_t attempts = 100);
    /// The same with a tag of the caller's.
    ///@{
    explicit TemporaryDirectory(const std::string& tag, bool create = true, std::size_t attempts = 100);
    explicit TemporaryDirectory(const char* tag, bool create = true, std::size_t attempts = 100);
    ///@}
    /// The same in a folder of the caller's (made when missing).
    ///@{
    TemporaryDirectory(const std::string& folder, const std::string& tag, bool create = true,
                       std::size_t attempts = 100);
    TemporaryDirectory(const char* folder, const char* tag, bool create = true, std::size_t attempts = 100);
    TemporaryDirectory(const std::string& folder, const char* tag, bool create = true, std::size_t attempts = 100);
    ///@}
    /// Moves as DeleteFileOnDestruction does.
    ///@{
    TemporaryDirectory(TemporaryDirectory&&) noexcept = default;
    TemporaryDirectory& operator=(TemporaryDirectory&&) noexcept = default;
    ///@}
};

/// A fresh empty file for the length of a scope, removed at the end. Only its
/// owner may read and write it (mode 0600).
class FILESYSTEM_EXPORT TemporaryFile : public TemporaryCommon {
public:
    /// In the temporary folder, tagged "TesselTempFile". With `create` false only
    /// the name is chosen. Throws std::runtime_error "Failed to Generate a non
    /// existent temporary path" when no fresh name is made in `attempts`.
    explicit TemporaryFile(bool create = true, std::size_t attempts = 100);
    /// The same with a tag of the caller's.
    ///@{
    explicit TemporaryFile(const std::string& tag, bool create = true, std::size_t attempts = 100);
    explicit TemporaryFile(const char* tag, bool create = true, std::size_t attempts = 100);
    ///@}
    /// The same in a folder of the caller's (made when missing).
    ///@{
    TemporaryFile(const std::string& folder, const std::string& tag, bool create = true, std::size_t attempts = 100);
    TemporaryFile(const char* folder, const char* tag, bool create = true, std::size_t attempts = 100);
    TemporaryFile(const std::string& folder, const char* tag, bool create = true, std::size_t attempts = 100);
    ///@}
    /// Moves as DeleteFileOnDestruction does.
    ///@{
    TemporaryFile(TemporaryFile&&) noexcept = default;
    TemporaryFile& operator=(TemporaryFile&&) noexcept = default;
    ///@}
};

/// Moves a file out of the way ("dir/name" to "dir/_name") for the length of a
/// scope and puts it back at the end, unless a file was made at its name in
/// the meantime (that one wins) or the moved file is gone. A missing path or a
/// folder is left alone. The move never replaces a file already at "_name";
/// then the file stays where it is and nothing is put back.
class FILESYSTEM_EXPORT FileRenameAndRestore {
public:
    /// Moves the file at `path` aside.
    explicit FileRenameAndRestore(const std::string& path);
    /// Takes over the duty to restore; the other object then restores nothing.
    FileRenameAndRestore(FileRenameAndRestore&& other) noexcept;
    /// Restores this object's file first, then takes over the other's duty.
    FileRenameAndRestore& operator=(FileRenameAndRestore&& other) noexcept;
    FileRenameAndRestore(const FileRenameAndRestore&) = delete;
    FileRenameAndRestore& operator=(const FileRenameAndRestore&) = delete;
    /// Puts the file back; never throws.
    virtual ~FileRenameAndRestore();

    /// The path the file came from.
    const std::string& getOriginalPath() const noexcept { return m_originalPath; }
    /// Where the file was moved; empty when nothing was moved.
    const std::optional<std::string>& getTemporaryPath() const noexcept { return m_temporaryPath; }

private:
    void restore() noexcept;

    std::string m_originalPath;
    std::optional<std::string> m_temporaryPath;
};

} // namespace FileSystem
