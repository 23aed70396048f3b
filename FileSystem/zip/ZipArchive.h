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
    std::uint64_t centralDirectoryOffset = 0;
    std::uint64_t entryNumber = 0;
    friend bool operator==(const ZipLocation&, const ZipLocation&) = default;
};

/// A zip archive, open either for reading or for writing.
///
/// Every entry written here carries the comment "TesselZip-<a.b.c.d>-<text>"
/// with the version of the library that wrote it, the Unix host in "version
/// made by" and the file's permission bits in its external attributes.
///
/// A writer reads, compresses, encrypts and checks what each add is given at
/// once, into a spool beside the archive, and writes the archive at commit()
/// (also at close() and in the destructor): adding entries one at a time costs
/// what they hold. A write of the archive goes to a temporary file that replaces
/// the archive only when complete, so a failure or a crash leaves the archive
/// as it was before the commit.
///
/// Extraction never writes outside its target: an entry whose name is
/// absolute, names a drive or leaves the target through ".." is refused with
/// std::runtime_error("Zip Extract Failure : ..."), as is a link that would
/// lead outside once resolved on disk; no entry is written through a link, no
/// entry writes more bytes than it declares, every entry is checked (checksum,
/// AES authentication) before it counts, and a failed entry leaves nothing
/// under its name.
class FILESYSTEM_EXPORT ZipArchive {
public:
    enum class OpenMode : int {
        Create = 0, ///< a new archive; an existing one is replaced
        Add = 1,    ///< add to an existing archive, or create one
        Read = 2,
    };

    /// Levels on the zlib scale.
    enum CompressionLevel : int {
        DefaultCompression = -1,
        NoCompression = 0,
        BestSpeed = 1,
        BestCompression = 9,
    };

    struct FileInfo {
        std::string name; ///< as stored
        ZipLocation location;
        std::string comment;
        std::uint64_t uncompressedSize = 0;
        std::uint32_t externalAttributes = 0;
        std::uint32_t versionMadeBy = 0; ///< the high byte is the host system
        int aesVersion = 0;              ///< 0 when the entry is not AES-encrypted
    };

    using Filter = std::function<bool(const std::string&)>;

    /// Adds `source` (a file or folder on disk) as `destination` (its path in the archive).
    struct AddToZipAsInfo {
        std::string source;
        std::string destination;
        bool recursive = true;
        Filter filter;
        bool keepLinks = false; ///< carried along; links are always added as what they point to
    };
    /// Adds `source` into the folder `destination` of the archive.
    struct AddToZipInfo {
        std::string source;
        std::string destination;
        bool recursive = true;
        Filter filter;
        bool keepLinks = false;
    };

    /// Extracts `entry` (a file or folder of the archive) as `destination` on disk.
    struct ExtractFromZipAsInfo {
        std::string entry;
        std::string destination;
        bool recursive = true;     ///< also the folders below a folder (else only its direct contents)
        bool restoreLinks = false; ///< link entries become links (else files holding the link's text)
        Filter filter;             ///< on the entry name; false leaves the entry out
    };
    /// Extracts `entry` into the folder `destination`.
    struct ExtractFromZipInfo {
        std::string entry;
        std::string destination;
        bool recursive = true;
        bool restoreLinks = false;
        Filter filter;
    };

    class FileInZip;

    /// The block size of every data loop of the class.
    static const std::uint64_t s_ChuckSize;
    /// "TesselZip-"
    static const std::string s_zipCommentTesselID;
    /// "TesselZip-" + the library's version + "-"
    static const std::string s_zipCommentTesselPrefix;

    explicit ZipArchive(std::uint64_t attempts = 1);
    ZipArchive(const std::string& fileName, std::uint64_t attempts);
    ZipArchive(const std::string& fileName, OpenMode mode, std::uint64_t attempts);
    ZipArchive(ZipArchive&& other) noexcept;
    ZipArchive& operator=(ZipArchive&& other) noexcept;
    ZipArchive(const ZipArchive&) = delete;
    ZipArchive& operator=(const ZipArchive&) = delete;
    virtual ~ZipArchive();

    // ---- Opening -----------------------------------------------------------------
    /// Opens the stored file; true without change when already open.
    bool open(OpenMode mode);
    bool open(const std::string& fileName, OpenMode mode);
    /// Opens the stored file again in its mode; a created archive reopens for adding.
    bool reopen();
    /// Writes what a writer was given since it opened or last committed into the
    /// archive on disk, and reports whether that worked (an addition to the
    /// design). Entries are added at once to a spool beside the archive, already
    /// compressed, encrypted and checked; the commit writes a new archive under a
    /// temporary name and renames it over the old one, so a process killed at any
    /// moment leaves the archive as it was before the commit. After a failed
    /// commit the added entries stay pending and a later commit may try again.
    /// False on a reader.
    bool commit();
    /// Commits a writer's archive (see commit) and lets go of it; the destructor does the same.
    void close();
    bool isOpen() const noexcept { return m_handle != nullptr; }
    explicit operator bool() const noexcept { return isOpen(); }
    bool isZipping() const noexcept { return isOpen() && m_mode != OpenMode::Read; }
    bool isUnzipping() const noexcept { return isOpen() && m_mode == OpenMode::Read; }
    const std::string& getFileName() const noexcept { return m_fileName; }
    OpenMode getOpenMode() const noexcept { return m_mode; }
    void attachProgressInterface(Tools::ToolProgress* const progress) { m_progress = progress; }
    /// A password for the archive: a reader uses it for encrypted entries that
    /// are read without one of their own (AES and traditional encryption); a
    /// writer encrypts the entries it adds with WinZip AES-256.
    void setPassword(const std::string& password);

    // ---- Listing and finding ---------------------------------------------------------
    // On a reader, the archive's entries. On a writer (an addition to the design),
    // the entries the archive held when it was opened and those added since, even
    // before they are committed; empty answers when the archive is not open.
    std::uint64_t size() const { return numberOfEntries(); }
    bool isEmpty() const { return numberOfEntries() == 0; }
    std::uint64_t numberOfEntries() const;
    std::uint64_t numberOfEntries(bool directories, bool symbolicLinks) const;
    std::set<std::string> entries(bool directories, bool symbolicLinks) const;
    /// The names in archive order, folders and links only when asked for.
    std::vector<std::string> allEntries(bool directories, bool symbolicLinks) const;
    std::vector<std::string> listEntries(bool directories) const;
    /// Whether an entry of that name exists (with `directories` folders count too).
    bool containsEntryInZip(const std::string& name, bool directories) const;
    /// The entry of a name; "dir" also finds "dir/", "dir/" finds "dir" and "dir\" finds "dir/".
    std::optional<FileInfo> getFileInfo(const std::string& name) const;
    std::optional<FileInfo> getFileInfo(const std::optional<ZipLocation>& location) const;
    std::vector<FileInfo> getAllFileInfos(bool directories) const;
    std::vector<FileInfo> findFileInfos(const std::function<bool(const FileInfo&)>& predicate) const;
    std::optional<FileInfo> findFileInfo(const std::function<bool(const FileInfo&)>& predicate) const;
    /// The entry of exactly that name that is a file (with `files`) or a folder (with `directories`).
    std::optional<ZipLocation> findFileNameInZip(const std::string& name, bool files, bool directories) const;
    /// The first file with that extension (compared as Path::isExtension does).
    std::optional<ZipLocation> findFileWithExtensionInZip(const std::string& extension) const;
    std::unique_ptr<FileInZip> openFile(const std::string& name);
    std::unique_ptr<FileInZip> openFile(const std::optional<ZipLocation>& location);
    /// -1 is kept; other values are clamped to 0 (stored) .. 9.
    void setDefaultCompressionLevel(int level);
    void setDefaultCompressionLevel(CompressionLevel level) { setDefaultCompressionLevel(static_cast<int>(level)); }
    int getDefaultCompressionLevel() const noexcept { return m_compressionLevel; }

    // ---- Writing (writers; false otherwise) -----------------------------------------
    bool addToZip(const std::string& source, const std::string& destinationDirectory, bool recursive, bool keepLinks,
                  const Filter& filter = {}, const Tools::ProgressFunction& progress = {});
    bool addToZip(const std::string& source, const char* destinationDirectory, bool recursive, bool keepLinks,
                  const Filter& filter = {}, const Tools::ProgressFunction& progress = {});
    bool addToZip(const std::string& source, bool recursive, bool keepLinks, const Filter& filter = {},
                  const Tools::ProgressFunction& progress = {});
    bool addToZip(const std::vector<std::string>& sources, const std::string& destinationDirectory, bool recursive,
                  bool keepLinks, const Filter& filter = {}, const Tools::ProgressFunction& progress = {});
    bool addToZip(const std::vector<AddToZipInfo>& infos, const Tools::ProgressFunction& progress = {});
    bool addToZipAs(const std::string& source, const std::string& destination, bool recursive, bool keepLinks,
                    const Filter& filter = {}, const Tools::ProgressFunction& progress = {});
    /// Adds files and folders (with their parents) in sorted order. True when
    /// at least one entry was written and all were. Throws std::runtime_error
    /// for a file without a path in the archive and for a source file that
    /// cannot be read ("Failed to open for Reading : <path>"); the entries
    /// before it stay written.
    bool addToZipAs(const std::vector<AddToZipAsInfo>& infos, const Tools::ProgressFunction& progress = {});
    /// Folder entries for a path and its missing parents, with the current time.
    bool createDirectoryInZip(const std::string& path);
    bool createDirectoryInZip(const std::string& path, std::int64_t time);
    /// Links cannot be written by this class: false.
    bool createSymbolicLinkInZip(const std::string& link, const std::string& target);
    bool createSymbolicLinkInZip(const std::string& link, const std::string& target, std::int64_t time);
    void addIgnoreFileOnZip(const std::string& name) { m_ignoredFiles.insert(name); }
    void clearIgnoreFileOnZip() { m_ignoredFiles.clear(); }
    /// With the dot: ".tmp".
    void addIgnoreFileExtensionOnZip(const std::string& extension) { m_ignoredExtensions.insert(extension); }
    void clearIgnoreFileExtensionOnZip() { m_ignoredExtensions.clear(); }
    void addZipFileFilter(const Filter& filter) { m_filters.push_back(filter); }
    void clearZipFileFilters() { m_filters.clear(); }

    // ---- Extraction (readers) ---------------------------------------------------------
    std::vector<std::string> extractFromZip(const std::string& entry, bool recursive, bool restoreLinks,
                                            const Filter& filter = {}) const;
    /// Extracts an entry into a folder (created if missing); the paths written.
    std::vector<std::string> extractFromZip(const std::string& entry, const std::string& targetDirectory, bool recursive,
                                            bool restoreLinks, const Filter& filter = {}) const;
    std::vector<std::string> extractFromZip(const std::vector<ExtractFromZipInfo>& infos, bool restoreLinks) const;
    std::vector<std::string> extractFromZipAs(const std::string& entry, const std::string& destination, bool recursive,
                                              bool restoreLinks, const Filter& filter = {}) const;
    /// Extracts entries (existing files are overwritten); the paths written, in order.
    std::vector<std::string> extractFromZipAs(const std::vector<ExtractFromZipAsInfo>& infos, bool restoreLinks) const;
    bool extractFileFromZip(const std::string& name, const std::string& path) const;
    bool extractFileFromZip(const std::optional<ZipLocation>& location, const std::string& path) const;
    std::optional<std::string> extractDataFromZip(const std::string& name) const;
    std::optional<std::string> extractDataFromZip(const std::optional<ZipLocation>& location) const;
    /// The bytes that the matching extraction would write.
    std::uint64_t getUnzippedSize(bool recursive, bool restoreLinks, const Filter& filter = {}) const;
    std::uint64_t getUnzippedSize(const std::string& entry, bool recursive, bool restoreLinks,
                                  const Filter& filter = {}) const;
    std::uint64_t getUnzippedSize(const std::vector<ExtractFromZipInfo>& infos, bool restoreLinks) const;
    std::uint64_t getUnzippedSize(const std::vector<ExtractFromZipAsInfo>& infos, bool restoreLinks) const;

    // ---- Files and comments ---------------------------------------------------------------
    /// Whether a file is a zip archive (by its signature, or because it opens as one).
    static bool isZipFile(const std::string& path);
    static bool isTesselFileComment(const std::string& comment);
    static std::optional<Utilities::Version<4, int>> getTesselVersionFromFileComment(const std::string& comment);
    static std::string getTesselAdditionalComment(const std::string& comment);
    static std::string getCurrentTesselFileCommentPrefix() { return s_zipCommentTesselPrefix; }
    /// 0 for a folder or a link; nothing for a regular file (no checksum is computed).
    static std::optional<unsigned long> computeCRCFromFile(const std::string& path);

    // ---- Kinds of entries, by (name, external attributes, version made by) -------------------
    static bool isMsDos(std::uint32_t versionMadeBy) noexcept;
    static bool isUnix(std::uint32_t versionMadeBy) noexcept;
    static bool isNTFS(std::uint32_t versionMadeBy) noexcept;
    static bool isVFAT(std::uint32_t versionMadeBy) noexcept;
    static bool isWindows(std::uint32_t versionMadeBy) noexcept;
    static bool isSupported(std::uint32_t versionMadeBy) noexcept;
    static bool isDirectory(const std::string& name, std::uint32_t attributes, std::uint32_t versionMadeBy) noexcept;
    static bool isFile(const std::string& name, std::uint32_t attributes, std::uint32_t versionMadeBy) noexcept;
    static bool isSymbolicLink(const std::string& name, std::uint32_t attributes, std::uint32_t versionMadeBy) noexcept;

    /// Unix host, version 4.5.
    static std::uint32_t getVersionMadeBy() noexcept;
    static std::uint32_t getDefaultFileAttributes() noexcept;
    static std::uint32_t getDefaultDirectoryAttributes() noexcept;
    static std::uint32_t getDefaultSymbolicLinkAttributes() noexcept;
    /// The DOS attribute byte a file would have on Windows (folder 0x10,
    /// read-only 0x01, else 0x80), with its permission bits above.
    static std::uint32_t getFileAttributes(const std::string& path);
    /// Applies the rights of an entry to the file extracted from it.
    static bool setFileAttributes(const std::string& path, std::uint32_t attributes, std::uint32_t versionMadeBy);
    /// Opens a C stream, trying `attempts` times 200 ms apart; null for 0 attempts.
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
    bool m_truncatePending = false; ///< a created archive replaces the old one at its first write
    std::unique_ptr<WriteState> m_write; ///< a writer's spool and what waits in it
};

/// One entry of an archive as an object: a reader or a writer of it.
class FILESYSTEM_EXPORT ZipArchive::FileInZip {
public:
    /// On a reader the entry of that name; on a writer a new entry of that name.
    FileInZip(const std::string& path, ZipArchive* parent);
    FileInZip(const FileInfo& info, ZipArchive* parent);
    FileInZip(const FileInZip& other);
    FileInZip& operator=(const FileInZip& other);
    ~FileInZip();

    /// A reader opens the entry's data (with the password for an encrypted
    /// entry; a folder cannot be opened). A writer starts the entry: with a
    /// password it is encrypted (WinZip AES-256 unless `aesVersion` is 0, which
    /// asks for traditional encryption); its comment is the library's prefix
    /// followed by `additionalComment`.
    bool open(const std::string& password = {}, int aesVersion = -1, const std::string& additionalComment = {});
    /// Ends the entry; a writer's entry then joins the archive, which holds it
    /// once committed or closed. False when a write or the close failed.
    bool close();
    bool isOpen() const noexcept { return m_open; }
    int read(char* data, unsigned size);
    int write(const char* data, unsigned size);
    std::string readAll();
    /// With `inArchive` the entry's place in the archive, else the bytes read so far.
    std::uint64_t tell(bool inArchive) const;
    /// Selects the entry at a place of the archive (not a place within the entry).
    bool seek(std::uint64_t position) const;
    std::uint64_t size() const;
    bool eof() const;
    bool isZipping() const;
    bool isUnzipping() const;
    std::uint64_t maxPasswordLength() const;
    static std::uint64_t maxPasswordLength(int aesVersion);
    std::string getPathInZip() const;
    ZipArchive* getParent() const noexcept { return m_parent; }
    int getAESVersion() const;
    bool isMsdos() const;
    bool isUnix() const;
    bool isDir() const;
    bool isFile() const;
    bool isSymbolicLink() const;
    bool isTesselFileComment() const;
    std::optional<Utilities::Version<4, int>> getTesselVersionFromFileComment() const;
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
