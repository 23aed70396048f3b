#pragma once

#include <FileSystem/Export.h>
#include <FileSystem/files/FileCloser.h>
#include <FileSystem/utilities/ToolProgress.h>
#include <FileSystem/utilities/Version.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace FileSystem {

namespace detail {
class EntryEncoder;
class EntryReader;
class Spool;
} // namespace detail

/// The place of an entry in the archive it came from (with this engine both
/// values hold the entry's index). Valid only for that archive.
struct FILESYSTEM_EXPORT ZipLocation {
    std::uint64_t centralDirectoryOffset = 0; ///< the entry's index
    std::uint64_t entryNumber = 0;            ///< the entry's index, which the archive reads
    /// Equal when both fields are.
    friend bool operator==(const ZipLocation&, const ZipLocation&) = default;
};

/// A zip archive, open either for reading or for writing.
///
/// Every entry written here carries the comment "TesselZip-<a.b.c.d>-<text>"
/// with the version of the library that wrote it, the Unix host in "version
/// made by" and the file's permission bits in its external attributes.
///
/// A writer reads, compresses, encrypts and checks what each add is given at
/// once, into a spool beside the archive (a file without a name that does not
/// outlive the process), and writes the archive at commit() (also at close()
/// and in the destructor): adding entries one at a time costs what they hold.
/// A write of the archive goes to a temporary file that replaces the archive
/// only when complete, so a failure or a crash leaves the archive as it was
/// before the commit. Listing, finding and reading the data of entries work on
/// a writer too: they see the entries it held when it opened and those added
/// since, before the commit.
///
/// Extraction never writes outside its target: an entry whose name is
/// absolute, names a drive or leaves the target through ".." is refused with
/// std::runtime_error("Zip Extract Failure : ..."), as is a link that would
/// lead outside once resolved on disk; no entry is written through a link, no
/// entry writes more bytes than it declares, every entry is checked (checksum,
/// AES authentication) before it counts, and a failed entry leaves nothing
/// under its name.
///
/// Operations that open, list, find or add report failure by their result;
/// the exceptions are named where they are thrown. One object is for one
/// thread at a time, `const` operations included.
class FILESYSTEM_EXPORT ZipArchive {
public:
    /// How an archive is opened.
    enum class OpenMode : int {
        Create = 0, ///< a new archive; an existing one is replaced at the first commit
        Add = 1,    ///< add to an existing archive, or create one
        Read = 2,   ///< read an existing archive
    };

    /// Levels on the zlib scale.
    enum CompressionLevel : int {
        DefaultCompression = -1, ///< zlib's default (6)
        NoCompression = 0,       ///< entries are stored
        BestSpeed = 1,           ///< the level of a new archive
        BestCompression = 9,     ///< the smallest entries
    };

    /// What the archive records about one entry.
    struct FileInfo {
        std::string name;                     ///< as stored (folders written here end in '/')
        ZipLocation location;                 ///< where the entry is in this archive
        std::string comment;                  ///< the entry's comment
        std::uint64_t uncompressedSize = 0;   ///< the size of the entry's data
        std::uint32_t externalAttributes = 0; ///< as stored: DOS bits in the low byte, a Unix host's mode in the high 16 bits
        std::uint32_t versionMadeBy = 0;      ///< the high byte is the host system
        int aesVersion = 0;                   ///< 0 when the entry is not AES-encrypted
    };

    /// A choice on a path (on disk for adds, in the archive for extraction):
    /// false leaves the item out.
    using Filter = std::function<bool(const std::string&)>;

    /// Adds `source` (a file or folder on disk) as `destination` (its path in the archive).
    struct AddToZipAsInfo {
        std::string source;      ///< a file or folder on disk
        std::string destination; ///< its path in the archive; may be empty only for a folder (its contents go to the top)
        bool recursive = true;   ///< a folder's whole tree (else its direct contents, subfolders empty)
        Filter filter;           ///< on disk paths; false leaves a file, or a folder with all below it, out
        bool keepLinks = false;  ///< carried along; links are always added as what they point to
    };
    /// Adds `source` into the folder `destination` of the archive, under its own last name.
    struct AddToZipInfo {
        std::string source;      ///< a file or folder on disk
        std::string destination; ///< the folder in the archive; empty for the top
        bool recursive = true;   ///< as in AddToZipAsInfo
        Filter filter;           ///< as in AddToZipAsInfo
        bool keepLinks = false;  ///< carried along, without effect
    };

    /// Extracts `entry` (a file or folder of the archive) as `destination` on disk.
    struct ExtractFromZipAsInfo {
        std::string entry;         ///< a file or folder of the archive; empty for all entries
        std::string destination;   ///< its path on disk; for a folder (or all entries) the folder nothing may leave, empty for the working folder
        bool recursive = true;     ///< also the folders below a folder (else only its direct contents)
        bool restoreLinks = false; ///< link entries become links (else files holding the link's text)
        Filter filter;             ///< on the entry name; false leaves the entry out
    };
    /// Extracts `entry` into the folder `destination`.
    struct ExtractFromZipInfo {
        std::string entry;         ///< a file or folder of the archive; empty for all entries
        std::string destination;   ///< the folder that receives it under its last name (created if missing)
        bool recursive = true;     ///< as in ExtractFromZipAsInfo
        bool restoreLinks = false; ///< as in ExtractFromZipAsInfo
        Filter filter;             ///< as in ExtractFromZipAsInfo
    };

    class FileInZip;

    /// The block size of every data loop of the class.
    static const std::uint64_t s_ChuckSize;
    /// "TesselZip-"
    static const std::string s_zipCommentTesselID;
    /// "TesselZip-" + the library's version + "-"
    static const std::string s_zipCommentTesselPrefix;

    /// An archive object that opens nothing yet. `attempts` is how often each
    /// source file of an add is tried, 200 ms apart, for files that another
    /// program holds for a moment (with 0 no file can be added).
    explicit ZipArchive(std::uint64_t attempts = 1);
    /// Stores the name of the archive for open(OpenMode); opens nothing.
    ZipArchive(const std::string& fileName, std::uint64_t attempts);
    /// Opens the archive at once (see open); isOpen() tells whether that worked.
    ZipArchive(const std::string& fileName, OpenMode mode, std::uint64_t attempts);
    /// Takes over the other archive, open or not, with what waits to be
    /// committed; the other one is left closed.
    ZipArchive(ZipArchive&& other) noexcept;
    /// Closes this archive (committing a writer, see close), then takes over the other one.
    ZipArchive& operator=(ZipArchive&& other) noexcept;
    ///@{
    /// One object per open archive: not copied.
    ZipArchive(const ZipArchive&) = delete;
    ZipArchive& operator=(const ZipArchive&) = delete;
    ///@}
    /// Closes the archive: a writer commits (see close).
    virtual ~ZipArchive();

    // ---- Opening -----------------------------------------------------------------
    /// Opens the stored file; true without change when already open.
    bool open(OpenMode mode);
    /// Opens an archive and stores its name and mode. True without change
    /// when already open (the old name and mode stay). False, and not open,
    /// when the name is empty, when Read finds no archive there, when Read or
    /// Add finds a file that is no archive, or, for a writer, when the
    /// archive's folder does not exist or cannot be written (the spool goes
    /// there). Throws nothing.
    bool open(const std::string& fileName, OpenMode mode);
    /// Opens the stored file again in its mode; a created archive reopens for
    /// adding, so a reopen never empties it. True when already open.
    bool reopen();
    /// Writes what a writer was given since it opened or last committed into the
    /// archive on disk, and reports whether that worked. Entries are added at
    /// once to a spool beside the archive, already compressed, encrypted and
    /// checked; the commit writes a new archive under a temporary name and
    /// renames it over the old one, so a process killed at any moment leaves
    /// the archive as it was before the commit. After a failed commit the added
    /// entries stay pending and a later commit may try again. After a
    /// successful one the writer goes on adding to the archive as it now stands
    /// (false, and closed, if it cannot open it again). False on a reader or a
    /// closed archive.
    bool commit();
    /// Commits a writer's archive (see commit) and lets go of it; the
    /// destructor does the same. A close cannot report: when its commit fails,
    /// what was added since the last commit is lost (commit first when that
    /// matters). A writer leaves an archive behind: one closed without entries
    /// is written as an empty archive, and so is a created one whose first
    /// commit fails. Filters, ignore lists, password and level stay for the
    /// next open.
    void close();
    ///@{
    /// Whether an archive is open.
    bool isOpen() const noexcept { return m_handle != nullptr; }
    explicit operator bool() const noexcept { return isOpen(); }
    ///@}
    /// Whether the archive is open for writing (Create or Add).
    bool isZipping() const noexcept { return isOpen() && m_mode != OpenMode::Read; }
    /// Whether the archive is open for reading.
    bool isUnzipping() const noexcept { return isOpen() && m_mode == OpenMode::Read; }
    /// The archive's path as last given (also after a failed open or a close).
    const std::string& getFileName() const noexcept { return m_fileName; }
    /// The mode of the last open (Read before any).
    OpenMode getOpenMode() const noexcept { return m_mode; }
    /// A receiver (not owned; null for none) of the progress of adds, in
    /// percent of bytes and entries; cancelling it, or a fatal error there,
    /// stops the add (the entries added before stay).
    void attachProgressInterface(Tools::ToolProgress* const progress) { m_progress = progress; }
    /// A password for the archive (empty: none): a reader uses it for
    /// encrypted entries that are read without one of their own (AES and
    /// traditional encryption); a writer encrypts the files that addToZip and
    /// addToZipAs add with WinZip AES-256, and FileInZip writers opened without
    /// a password use it. It stays for later opens.
    void setPassword(const std::string& password);

    // ---- Listing and finding ---------------------------------------------------------
    // On a reader, the archive's entries. On a writer, the entries the archive
    // held when it was opened and those added since, even before they are
    // committed; empty answers when the archive is not open. Names are compared
    // exactly (case included). Nothing here throws.

    /// The number of entries, as numberOfEntries() counts them.
    std::uint64_t size() const { return numberOfEntries(); }
    /// Whether the archive has no entries (also when it is not open).
    bool isEmpty() const { return numberOfEntries() == 0; }
    /// The number of entries, folders and links included; 0 when not open.
    std::uint64_t numberOfEntries() const;
    /// The number of names that allEntries gives.
    std::uint64_t numberOfEntries(bool directories, bool symbolicLinks) const;
    /// The names that allEntries gives, sorted.
    std::set<std::string> entries(bool directories, bool symbolicLinks) const;
    /// The names in archive order, folders and links only when asked for (by
    /// isDirectory and isSymbolicLink: without `symbolicLinks` the folders of
    /// a Unix host, which all folders written here are, are left out too).
    std::vector<std::string> allEntries(bool directories, bool symbolicLinks) const;
    /// allEntries with links.
    std::vector<std::string> listEntries(bool directories) const;
    /// Whether an entry of that name exists, found as getFileInfo finds it
    /// (with `directories` folders count too).
    bool containsEntryInZip(const std::string& name, bool directories) const;
    /// The entry of a name: "dir" also finds "dir/", "dir/" finds "dir", and a
    /// trailing backslash is tried as '/'. Empty for an empty name, a name with
    /// a NUL character, or no such entry.
    std::optional<FileInfo> getFileInfo(const std::string& name) const;
    /// The entry at a location of this archive; empty for none, or one past the last entry.
    std::optional<FileInfo> getFileInfo(const std::optional<ZipLocation>& location) const;
    /// Every entry in archive order; folders only with `directories`.
    std::vector<FileInfo> getAllFileInfos(bool directories) const;
    /// The entries that `predicate` accepts, in archive order (all for an empty predicate).
    std::vector<FileInfo> findFileInfos(const std::function<bool(const FileInfo&)>& predicate) const;
    /// The first entry that `predicate` accepts (the first entry for an empty predicate).
    std::optional<FileInfo> findFileInfo(const std::function<bool(const FileInfo&)>& predicate) const;
    /// The entry of exactly that name that is a file (with `files`) or a folder (with `directories`).
    std::optional<ZipLocation> findFileNameInZip(const std::string& name, bool files, bool directories) const;
    /// The first file with that extension (compared as Path::isExtension does).
    std::optional<ZipLocation> findFileWithExtensionInZip(const std::string& extension) const;
    /// An object for one entry (see FileInZip): on a reader the entry of that
    /// name (as getFileInfo finds it; the object cannot be opened when there is
    /// none), on a writer a new entry of that name. Never null.
    std::unique_ptr<FileInZip> openFile(const std::string& name);
    /// An object for the entry at a location of a reader; null when there is
    /// no entry there. On a writer the object cannot be opened.
    std::unique_ptr<FileInZip> openFile(const std::optional<ZipLocation>& location);
    ///@{
    /// The level of the entries added from now on: -1 is kept (zlib's
    /// default); other values are clamped to 0 (stored) .. 9.
    void setDefaultCompressionLevel(int level);
    void setDefaultCompressionLevel(CompressionLevel level) { setDefaultCompressionLevel(static_cast<int>(level)); }
    ///@}
    /// The level of new entries; 1 (BestSpeed) until set.
    int getDefaultCompressionLevel() const noexcept { return m_compressionLevel; }

    // ---- Writing (writers; false otherwise) -----------------------------------------
    // Every add ends in addToZipAs(const std::vector<AddToZipAsInfo>&, ...),
    // which says what an add does, returns and throws.

    /// Adds a file or folder on disk under its own last name inside the folder
    /// `destinationDirectory` of the archive ("" for the top). `keepLinks` has
    /// no effect; `filter` and `progress` as in addToZipAs.
    bool addToZip(const std::string& source, const std::string& destinationDirectory, bool recursive, bool keepLinks,
                  const Filter& filter = {}, const Tools::ProgressFunction& progress = {});
    /// The same; a null `destinationDirectory` is the top.
    bool addToZip(const std::string& source, const char* destinationDirectory, bool recursive, bool keepLinks,
                  const Filter& filter = {}, const Tools::ProgressFunction& progress = {});
    /// The same at the top of the archive.
    bool addToZip(const std::string& source, bool recursive, bool keepLinks, const Filter& filter = {},
                  const Tools::ProgressFunction& progress = {});
    /// Each source under its own last name inside `destinationDirectory`, in one add.
    bool addToZip(const std::vector<std::string>& sources, const std::string& destinationDirectory, bool recursive,
                  bool keepLinks, const Filter& filter = {}, const Tools::ProgressFunction& progress = {});
    /// Each source under its own last name inside its destination folder, in one add.
    bool addToZip(const std::vector<AddToZipInfo>& infos, const Tools::ProgressFunction& progress = {});
    /// Adds a file or folder on disk as `destination` in the archive (see the vector form).
    bool addToZipAs(const std::string& source, const std::string& destination, bool recursive, bool keepLinks,
                    const Filter& filter = {}, const Tools::ProgressFunction& progress = {});
    /// Adds files and folders (with their parents) in sorted order: each file
    /// is read, compressed and (with a password) encrypted into the spool now,
    /// and the archive holds it once committed. Names the archive already holds
    /// are not added again; the archive itself, pipes, sockets and devices,
    /// ignored names and extensions, and what a filter refuses are left out;
    /// links are added as what they point to; missing sources are skipped.
    /// `progress` gets the bytes done and the size of the file being read
    /// after each block of s_ChuckSize bytes. True when at least one entry was
    /// added and all were read whole. False on a reader, when nothing new was
    /// found, when a file fails to read or to go into the spool, or when
    /// `progress` or the attached ToolProgress stops the add (the entry being
    /// read is left out). Throws std::runtime_error for a file without a path
    /// in the archive (a source that is no folder, with an empty destination:
    /// "A file cannot have an empty path in zip.") and for a source file that
    /// cannot be opened ("Failed to open for Reading : <path>", also written
    /// to std::cerr). The entries added before a failure or a stop stay added.
    bool addToZipAs(const std::vector<AddToZipAsInfo>& infos, const Tools::ProgressFunction& progress = {});
    /// Folder entries for a path and its missing parents, with the current time.
    bool createDirectoryInZip(const std::string& path);
    /// Folder entries for a path and its missing parents, with a time in
    /// seconds since 1970. True also when they exist already or the path is
    /// empty; false on a reader or when an entry cannot be added.
    bool createDirectoryInZip(const std::string& path, std::int64_t time);
    ///@{
    /// Links cannot be written by this class: false.
    bool createSymbolicLinkInZip(const std::string& link, const std::string& target);
    bool createSymbolicLinkInZip(const std::string& link, const std::string& target, std::int64_t time);
    ///@}
    /// Leaves files and folders of that name (the last part of their path) out of later adds.
    void addIgnoreFileOnZip(const std::string& name) { m_ignoredFiles.insert(name); }
    /// Forgets the ignored names.
    void clearIgnoreFileOnZip() { m_ignoredFiles.clear(); }
    /// Leaves items with that extension out of later adds. With the dot: ".tmp".
    void addIgnoreFileExtensionOnZip(const std::string& extension) { m_ignoredExtensions.insert(extension); }
    /// Forgets the ignored extensions.
    void clearIgnoreFileExtensionOnZip() { m_ignoredExtensions.clear(); }
    /// A filter on disk paths for every later add, besides the add's own;
    /// false leaves a file, or a folder with all below it, out.
    void addZipFileFilter(const Filter& filter) { m_filters.push_back(filter); }
    /// Forgets the filters added with addZipFileFilter.
    void clearZipFileFilters() { m_filters.clear(); }

    // ---- Changing what the archive holds ---------------------------------------------
    // Removing and renaming work on the archive on disk, whatever the object is
    // open for: the object is closed first (a writer commits what it was given),
    // the archive is changed in one commit that replaces it only when the new
    // archive is whole, and the object is opened again in its mode (a created
    // archive reopens for adding), so a reader lists the new entries. A name
    // stands for the entry of that name and, for a folder, everything below it
    // ("a" takes "a/b.txt" along, not "ab.txt"). Entries that stay keep their
    // data as it is stored (not recompressed; encrypted ones stay encrypted),
    // their times and attributes, and are stamped with the current comment
    // prefix (an old comment is not kept).

    /// Removes the entry `name` and everything below it. True once the archive
    /// was written without them; false, with the archive untouched, when no
    /// entry matched, there is no archive, or the write failed or was cancelled
    /// through the attached ToolProgress. Throws std::runtime_error("Zip Modify
    /// Error : trying to rename/remove on an empty archive") for an archive
    /// without entries and ("Zip Modify Error : unzGotoNextFile error") for a
    /// file that is no archive; the object is then left closed.
    bool removeFromZip(const std::string& name);
    /// Renames the entry `name` and everything below it: `newName` replaces
    /// `name` at the front of each ("a" to "c" makes "a/b.txt" "c/b.txt").
    /// Leading slashes of `newName` are dropped, as an add drops them. Results
    /// and exceptions as removeFromZip; also false, with the archive untouched,
    /// when a new name is held by an entry that stays (or by two renamed
    /// entries): nothing is overwritten. Throws std::runtime_error before
    /// anything is touched for an empty new name ("Zip Rename Failure : cannot
    /// rename to an empty path") and for one that would lead out of the folder
    /// an extraction writes to, through a ".." or a drive ("Zip Rename Failure
    /// : the new path leaves the archive : <newName>").
    bool renameInZip(const std::string& name, const std::string& newName);
    /// Replaces the entry `destination` (and everything below it) by `source`
    /// from disk, added as addToZipAs adds it; a missing entry is simply added.
    /// Removal and add go into the archive in one commit: true once it holds
    /// the new entries; false, with the archive as it was, when the add fails
    /// (see addToZipAs) or the commit does. False, touching nothing, when the
    /// object reads (or, closed, would read) the archive: it cannot add.
    /// Throws what addToZipAs throws, with the archive unchanged.
    bool replaceInZip(const std::string& source, const std::string& destination, bool recursive);

    // ---- Extraction (readers, and writers for what they hold) ----------------------
    // Every tree form ends in extractFromZipAs(const std::vector<ExtractFromZipAsInfo>&, bool),
    // which says what an extraction does, returns and throws.

    /// Extracts an entry into the working folder, as the form with a target folder does.
    std::vector<std::string> extractFromZip(const std::string& entry, bool recursive, bool restoreLinks,
                                            const Filter& filter = {}) const;
    /// Extracts an entry into a folder (created if missing); the paths written.
    /// The entry keeps its last name there ("" extracts every entry into the
    /// folder). Throws std::runtime_error("Zip Extract Failure : Target is not a
    /// directory") when the target is a file, and as extractFromZipAs does.
    std::vector<std::string> extractFromZip(const std::string& entry, const std::string& targetDirectory, bool recursive,
                                            bool restoreLinks, const Filter& filter = {}) const;
    /// extractFromZip of each info in turn; links are restored where `restoreLinks` or the info asks.
    std::vector<std::string> extractFromZip(const std::vector<ExtractFromZipInfo>& infos, bool restoreLinks) const;
    /// Extracts an entry as `destination` (see ExtractFromZipAsInfo); the paths written.
    std::vector<std::string> extractFromZipAs(const std::string& entry, const std::string& destination, bool recursive,
                                              bool restoreLinks, const Filter& filter = {}) const;
    /// Extracts entries (existing files are overwritten); the paths written, in
    /// order. Links are restored where `restoreLinks` or the info asks. Entries
    /// are read with the archive's password (setPassword). Each file entry is
    /// written under a temporary name beside its place and renamed there only
    /// once the whole entry was read and checked; folders get their rights at
    /// the end. Throws std::runtime_error, most texts starting with "Zip
    /// Extract Failure : ", for an entry that would leave the target ("Entry
    /// leaves the target directory : <name>", "Link leaves the target
    /// directory : <name>", "Path goes through a link or a file : <path>"), a
    /// file where a folder must go or the reverse, too little disk space, an
    /// entry that cannot be opened (a wrong or missing password) or fails its
    /// checks, and a file that cannot be written ("Failed to open for writing
    /// : <path>"); what was written before stays. Nothing for an archive that
    /// is not open.
    std::vector<std::string> extractFromZipAs(const std::vector<ExtractFromZipAsInfo>& infos, bool restoreLinks) const;
    /// Extracts the file entry of exactly that name to `path` (see the location form).
    bool extractFileFromZip(const std::string& name, const std::string& path) const;
    /// Writes the entry's data to the file `path` (its folder must exist), as
    /// extractFromZipAs writes a file: checked before it replaces what stood
    /// there. False when there is no such entry or the archive is not open;
    /// true once written. Throws std::runtime_error as extractFromZipAs does,
    /// also "Zip Extract Failure : Extract path already exists and is not a
    /// file : <path>" when `path` is a folder.
    bool extractFileFromZip(const std::optional<ZipLocation>& location, const std::string& path) const;
    /// The data of the file entry of exactly that name (see the location form).
    std::optional<std::string> extractDataFromZip(const std::string& name) const;
    /// The data of an entry in memory, checked (checksum, AES authentication,
    /// size). Empty when there is no such entry, it cannot be opened (a wrong
    /// or missing password) or it fails a check; throws nothing.
    std::optional<std::string> extractDataFromZip(const std::optional<ZipLocation>& location) const;
    /// The bytes that extracting the whole archive would write.
    std::uint64_t getUnzippedSize(bool recursive, bool restoreLinks, const Filter& filter = {}) const;
    /// The bytes that the matching extraction would write: the sizes of the file
    /// and link entries it takes (folders count 0). 0 when not open; throws nothing.
    std::uint64_t getUnzippedSize(const std::string& entry, bool recursive, bool restoreLinks,
                                  const Filter& filter = {}) const;
    ///@{
    /// The bytes that the matching extraction of the infos would write.
    std::uint64_t getUnzippedSize(const std::vector<ExtractFromZipInfo>& infos, bool restoreLinks) const;
    std::uint64_t getUnzippedSize(const std::vector<ExtractFromZipAsInfo>& infos, bool restoreLinks) const;
    ///@}

    // ---- Files and comments ---------------------------------------------------------------
    /// Whether a file is a zip archive (by its signature, or because it opens as one).
    static bool isZipFile(const std::string& path);
    /// Whether an entry comment starts with "TesselZip-" (was written by this library).
    static bool isTesselFileComment(const std::string& comment);
    /// The four-part version in "TesselZip-<a.b.c.d>-..."; empty when the
    /// comment is not of that form or a part is missing or no number.
    static std::optional<Utilities::Version<4, int>> getTesselVersionFromFileComment(const std::string& comment);
    /// The text behind "TesselZip-<version>-"; empty when the comment is not of that form.
    static std::string getTesselAdditionalComment(const std::string& comment);
    /// s_zipCommentTesselPrefix, which starts the comment of every entry written here.
    static std::string getCurrentTesselFileCommentPrefix() { return s_zipCommentTesselPrefix; }
    /// 0 for a folder or a link; nothing for a regular file (no checksum is computed).
    static std::optional<unsigned long> computeCRCFromFile(const std::string& path);

    // ---- Kinds of entries, by (name, external attributes, version made by) -------------------
    /// Host 0 (MS-DOS and FAT) in the high byte of `versionMadeBy`.
    static bool isMsDos(std::uint32_t versionMadeBy) noexcept;
    /// Host 3 (Unix).
    static bool isUnix(std::uint32_t versionMadeBy) noexcept;
    /// Host 10 (NTFS).
    static bool isNTFS(std::uint32_t versionMadeBy) noexcept;
    /// Host 14 (VFAT).
    static bool isVFAT(std::uint32_t versionMadeBy) noexcept;
    /// MS-DOS, NTFS or VFAT.
    static bool isWindows(std::uint32_t versionMadeBy) noexcept;
    /// A Windows host or Unix: the hosts whose attributes this class reads.
    static bool isSupported(std::uint32_t versionMadeBy) noexcept;
    /// A folder entry: on a Windows host the folder bit 0x10; on Unix that bit
    /// or the folder type in the mode; otherwise a name that ends in '/'. An
    /// empty name is no folder.
    static bool isDirectory(const std::string& name, std::uint32_t attributes, std::uint32_t versionMadeBy) noexcept;
    /// A file entry: on a Windows host the folder bit clear; on Unix that bit
    /// clear or the regular-file type in the mode; otherwise a name that does
    /// not end in '/'. Test isDirectory first: some entries answer both.
    static bool isFile(const std::string& name, std::uint32_t attributes, std::uint32_t versionMadeBy) noexcept;
    /// A link entry: Unix host only, the link type in the mode or the folder
    /// bit 0x10, so a Unix folder counts as a link too (see allEntries).
    static bool isSymbolicLink(const std::string& name, std::uint32_t attributes, std::uint32_t versionMadeBy) noexcept;

    /// Unix host, version 4.5.
    static std::uint32_t getVersionMadeBy() noexcept;
    /// A regular file with the rights 0644, DOS "normal" (0x80).
    static std::uint32_t getDefaultFileAttributes() noexcept;
    /// A folder with the rights 0755, DOS folder bit (0x10).
    static std::uint32_t getDefaultDirectoryAttributes() noexcept;
    /// A link with the rights 0777, DOS "normal" (0x80).
    static std::uint32_t getDefaultSymbolicLinkAttributes() noexcept;
    /// The DOS attribute byte a file would have on Windows (folder 0x10,
    /// read-only 0x01, else 0x80), with its mode (type and permission bits)
    /// in the high 16 bits; links are followed.
    static std::uint32_t getFileAttributes(const std::string& path);
    /// Applies the rights of an entry to the file extracted from it: a Unix
    /// host's permission bits (never set-id or sticky; none recorded keeps
    /// the file's), or a Windows host's read-only bit (the write bits go).
    /// False when the rights cannot be set.
    static bool setFileAttributes(const std::string& path, std::uint32_t attributes, std::uint32_t versionMadeBy);
    /// Opens a C stream that others may share, trying `attempts` times 200 ms
    /// apart; null when every try failed, and for 0 attempts.
    static FilePointer fopen(const std::string& path, const std::string& mode, std::uint64_t attempts);

private:
    friend class FileInZip;
    struct Record;

    struct WriteState;

    void* engine() const noexcept { return m_handle.get(); }
    bool openEngine(bool truncate);
    /// A reader of the data of entry `index`: from the archive, or from the
    /// spool for an entry added since the last commit.
    FILESYSTEM_NO_EXPORT std::unique_ptr<detail::EntryReader> readerOf(std::uint64_t index,
                                                                       const std::string& password) const;
    /// Adds an entry whose stored bytes the encoder wrote into `spool` from `offset` on;
    /// a non-empty password asks the engine to encrypt them at the commit (traditional
    /// encryption, or AES for stored entries, whose bytes the engine must see plain).
    FILESYSTEM_NO_EXPORT bool addSpooled(const std::string& name, const detail::EntryEncoder& encoder,
                                         const std::shared_ptr<detail::Spool>& spool, std::uint64_t offset,
                                         std::uint32_t attributes, std::int64_t modified, const std::string& comment,
                                         const std::string& enginePassword, bool engineAes);
    FileInfo fileInfoAt(std::uint64_t index) const;
    std::optional<std::uint64_t> locate(const std::string& name) const;
    std::optional<std::uint64_t> indexOf(const std::optional<ZipLocation>& location) const;
    bool writeDirectoryEntry(const std::string& name, std::int64_t time, std::uint32_t attributes);
    /// Removes (no `newName`) or renames the entries that `name` stands for, in
    /// one commit of the archive on disk; the object is closed and reopened.
    bool modifyInZip(const std::string& name, const std::optional<std::string>& newName);
    /// Throws away what a writer changed since its last commit and opens the archive again.
    bool discardPending();
    bool extractEntry(std::uint64_t index, const std::string& path) const;
    /// Extracts what `info.entry` names to `below` inside the folder `info.destination`
    /// (empty `below`: to that folder itself); nothing is ever written outside that folder.
    void extractEntries(const ExtractFromZipAsInfo& info, const std::string& below, bool restoreLinks,
                        std::vector<std::string>& written, std::uint64_t* size) const;

    std::unique_ptr<void, std::function<void(void*)>> m_handle;
    mutable std::uint64_t m_currentCount = 0; ///< the reader's current entry
    Tools::ToolProgress* m_progress = nullptr;
    std::string m_fileName;
    OpenMode m_mode = OpenMode::Read;
    std::set<std::string> m_entries; ///< a writer's names in the archive, without trailing slash
    std::set<std::string> m_ignoredExtensions;
    std::set<std::string> m_ignoredFiles;
    std::vector<Filter> m_filters;
    int m_compressionLevel = 1;
    std::uint64_t m_attempts = 1;
    std::string m_password;
    std::unique_ptr<WriteState> m_write; ///< a writer's spool and what waits in it
};

/// One entry of an archive as an object: a reader or a writer of it, as its
/// archive (the parent, not owned, which must outlive it) is one. Several
/// entries may be read or written at once. Nothing here throws.
class FILESYSTEM_EXPORT ZipArchive::FileInZip {
public:
    /// On a reader the entry of that name (as getFileInfo finds it; none: the
    /// object cannot be opened); on a writer, or without an open parent, a new
    /// file entry of that name.
    FileInZip(const std::string& path, ZipArchive* parent);
    /// The entry that `info` describes; on a writer the record is dropped and
    /// the object cannot be opened.
    FileInZip(const FileInfo& info, ZipArchive* parent);
    /// Shares the other object's entry and open data: reading through either
    /// goes on where the other stopped, and an entry is added once.
    FileInZip(const FileInZip& other);
    /// The same as the copy constructor.
    FileInZip& operator=(const FileInZip& other);
    /// Closes the entry when it is open and the parent still is (a writer's
    /// entry then joins the archive).
    ~FileInZip();

    /// A reader opens the entry's data (with the password for an encrypted
    /// entry; a folder cannot be opened). A writer starts the entry: with a
    /// password it is encrypted (WinZip AES-256 unless `aesVersion` is 0, which
    /// asks for traditional encryption); its comment is the library's prefix
    /// followed by `additionalComment`. An empty password stands for the
    /// archive's (setPassword). False without an open parent or a record, for
    /// a folder, or when the data cannot be opened (a wrong or missing
    /// password, a method that is not supported).
    bool open(const std::string& password = {}, int aesVersion = -1, const std::string& additionalComment = {});
    /// Ends the entry; a writer's entry then joins the archive, which holds it
    /// once committed or closed (it replaces an entry of the same name, and
    /// carries the time of the close). False when a write or the close failed,
    /// when the entry is not open or its parent is closed, and for a writer's
    /// second close.
    bool close();
    /// Whether the entry was opened; it stays true after close().
    bool isOpen() const noexcept { return m_open; }
    /// Reads up to `size` bytes (at most 2^30 a call) of an open reader: the
    /// count, 0 at the end or when not open for reading, -1 when the data is
    /// damaged or fails a check (the check of the whole entry comes before its
    /// last bytes are handed out).
    int read(char* data, unsigned size);
    /// Compresses (and encrypts) `size` bytes into the open writer's entry:
    /// `size`, or 0 when not open for writing or when the data could not be
    /// kept (the entry then fails at close()).
    int write(const char* data, unsigned size);
    /// The entry's whole data, opening it first if needed (with the archive's
    /// password); empty when not a reader, the entry cannot be opened, or its
    /// data fails a check or differs from its size.
    std::string readAll();
    /// With `inArchive` the entry's place in the archive, else the bytes read so far.
    /// 0 on a writer.
    std::uint64_t tell(bool inArchive) const;
    /// Makes the entry at index `position` the reader's current entry; it
    /// moves nothing within this entry and does not change the entry this
    /// object reads. False on a writer or past the last entry.
    bool seek(std::uint64_t position) const;
    /// The entry's uncompressed size as recorded; 0 without a record and for a writer's new entry.
    std::uint64_t size() const;
    /// Whether a reader has read as many bytes as the entry's size.
    bool eof() const;
    /// Whether the parent is open for writing.
    bool isZipping() const;
    /// Whether the parent is open for reading.
    bool isUnzipping() const;
    /// maxPasswordLength of the entry's AES version; 0 without a record.
    std::uint64_t maxPasswordLength() const;
    /// 128 for an AES version above 0; otherwise the largest value (no limit).
    static std::uint64_t maxPasswordLength(int aesVersion);
    /// The entry's name; empty without a record.
    std::string getPathInZip() const;
    /// The archive the entry belongs to.
    ZipArchive* getParent() const noexcept { return m_parent; }
    /// On a reader the entry's AES version (2 for a WinZip AES entry, else 0);
    /// -1 on a writer or without a record.
    int getAESVersion() const;
    /// Whether the entry was made on an MS-DOS host (host byte 0).
    bool isMsdos() const;
    /// Whether the entry was made on a Unix host (host byte 3; new entries written here are).
    bool isUnix() const;
    /// ZipArchive::isDirectory of the entry; false without a record.
    bool isDir() const;
    /// ZipArchive::isFile of the entry; false without a record.
    bool isFile() const;
    /// ZipArchive::isSymbolicLink of the entry; false without a record.
    bool isSymbolicLink() const;
    /// ZipArchive::isTesselFileComment of the entry's comment; false without a record.
    bool isTesselFileComment() const;
    /// ZipArchive::getTesselVersionFromFileComment of the entry's comment; empty without a record.
    std::optional<Utilities::Version<4, int>> getTesselVersionFromFileComment() const;
    /// ZipArchive::getTesselAdditionalComment of the entry's comment; empty without a record.
    std::string getTesselAdditionalComment() const;

private:
    void* getZipHandle() const;
    struct Writer;
    struct Reader;

    bool m_open = false;
    ZipArchive* m_parent = nullptr;
    std::optional<FileInfo> m_info;
    std::shared_ptr<Reader> m_reader;
    std::shared_ptr<Writer> m_writer;
};

namespace ZipHelper {
/// The names directly below `root` among entry names (each once, in order);
/// with `directoriesOnly` only those that have entries below them.
FILESYSTEM_EXPORT std::vector<std::string> extractTopLevel(const std::vector<std::string>& entries,
                                                           const std::string& root, bool directoriesOnly);
} // namespace ZipHelper

} // namespace FileSystem
