#include <FileSystem/storage/FileSystem2Zip.h>

#include <FileSystem/storage/FileSystem2Local.h>

#include <stdexcept>

namespace FileSystem {

namespace {

using TypeFlag = StorageSystemFileTypeFlag;
using OpenFlag = StorageSystemFileOpenModeFlag;

[[noreturn]] void notImplemented() { throw std::logic_error("Not implemented"); }

} // namespace

FileSystem2Zip::FileSystem2Zip(const std::string& archive, StorageSystemFileOpenMode mode,
                               std::optional<ZipArchive::CompressionLevel> level) {
    if (mode.test(OpenFlag::Read)) {
        m_archive = std::make_unique<ZipArchive>(1);
        m_archive->open(archive, ZipArchive::OpenMode::Read);
    } else if (mode.test(OpenFlag::Write)) {
        m_archive = std::make_unique<ZipArchive>(1);
        if (level)
            m_archive->setDefaultCompressionLevel(*level);
        m_archive->open(archive, mode.test(OpenFlag::Append) ? ZipArchive::OpenMode::Add : ZipArchive::OpenMode::Create);
    }
}

FileSystem2Zip::FileSystem2Zip(FileSystem2Zip&& other) noexcept : m_archive(std::move(other.m_archive)) {}

FileSystem2Zip& FileSystem2Zip::operator=(FileSystem2Zip&& other) noexcept {
    if (this != &other)
        m_archive = std::move(other.m_archive);
    return *this;
}

FileSystem2Zip::~FileSystem2Zip() = default;

// ---- What the archive answers ----------------------------------------------------

bool FileSystem2Zip::do_isReadable() const { return m_archive && m_archive->isUnzipping(); }

bool FileSystem2Zip::do_isWriteable() const { return m_archive && m_archive->isZipping(); }

bool FileSystem2Zip::do_isValid() const { return m_archive && m_archive->isOpen(); }

std::optional<ZipArchive::FileInfo> FileSystem2Zip::entryOf(const std::string& id) const {
    if (!m_archive)
        return std::nullopt;
    return m_archive->getFileInfo(id);
}

std::unique_ptr<StorageSystemFile> FileSystem2Zip::do_fileOpen(const std::string&, StorageSystemFileOpenMode,
                                                               PosixFilePermissions) const {
    return nullptr;
}

bool FileSystem2Zip::do_fileExists(const std::string&) const {
    // Whatever the archive holds: entries are found with fileType or directoryExists.
    return false;
}

std::optional<std::uint64_t> FileSystem2Zip::do_fileSize(const std::string& id) const {
    const auto entry = entryOf(id);
    if (!entry)
        return std::nullopt;
    return entry->uncompressedSize;
}

std::optional<StorageSystemFileType> FileSystem2Zip::do_fileType(const std::string& id) const {
    const auto entry = entryOf(id);
    if (!entry)
        return std::nullopt;
    StorageSystemFileType type;
    const std::uint32_t attributes = entry->externalAttributes;
    const std::uint32_t host = entry->versionMadeBy;
    // The folder test comes first: a Unix folder also passes the link test,
    // and is no link.
    if (ZipArchive::isDirectory(entry->name, attributes, host))
        return type | TypeFlag::Directory;
    if (ZipArchive::isFile(entry->name, attributes, host))
        type = type | TypeFlag::File;
    if (ZipArchive::isSymbolicLink(entry->name, attributes, host))
        type = type | TypeFlag::SymbolicLink;
    return type;
}

std::optional<PosixFilePermissions> FileSystem2Zip::do_fileGetPermissions(const std::string& id) const {
    const auto entry = entryOf(id);
    if (!entry)
        return std::nullopt;
    if (ZipArchive::isUnix(entry->versionMadeBy))
        return PosixFilePermissions((entry->externalAttributes >> 16) & 07777);
    return PosixFilePermissions(0666);
}

bool FileSystem2Zip::do_directoryExists(const std::string& id) const {
    const auto entry = entryOf(id);
    return entry && ZipArchive::isDirectory(entry->name, entry->externalAttributes, entry->versionMadeBy);
}

// ---- What a writer does ----------------------------------------------------------

bool FileSystem2Zip::do_directoryCreateAs(const std::string& id, bool, PosixFilePermissions) const {
    return m_archive && m_archive->createDirectoryInZip(id);
}

bool FileSystem2Zip::do_fileSymbolicLinkCreateAs(const std::string&, const std::string&) const { return false; }

bool FileSystem2Zip::do_directorySymbolicLinkCreateAs(const std::string&, const std::string&) const { return false; }

bool FileSystem2Zip::do_fileCopyAs(const StorageSystem& source, const std::string& id, const FileSystem2& destination,
                                   const std::string& newId, const StorageSystemProgress& progress,
                                   StorageSystemCopyOptions options, const std::optional<std::uint64_t>&) const {
    // Only files from the local disk come in; nothing goes out.
    if (!do_isWriteable() || dynamic_cast<const FileSystem2Local*>(&source) == nullptr || &destination != this)
        return false;
    try {
        return m_archive->addToZipAs(id, newId, false, options.test(StorageSystemCopyOptionFlag::CopySymbolicLink), {},
                                     progress);
    } catch (const std::runtime_error&) {
        // A source that cannot be read, or no name in the archive: storages report by result.
        return false;
    }
}

// ---- Not implemented ---------------------------------------------------------------

bool FileSystem2Zip::do_fileRemove(const std::string&) const { notImplemented(); }

bool FileSystem2Zip::do_fileRenameAs(const std::string&, const std::string&) const { notImplemented(); }

bool FileSystem2Zip::do_fileSetPermissions(const std::string&, const PosixFilePermissions&) const { notImplemented(); }

std::optional<StorageSystemTimePoint> FileSystem2Zip::do_fileGetModTime(const std::string&) const { notImplemented(); }

bool FileSystem2Zip::do_fileSetModTime(const std::string&, const StorageSystemTimePoint&) const { notImplemented(); }

bool FileSystem2Zip::do_directoryRemove(const std::string&) const { notImplemented(); }

bool FileSystem2Zip::do_directoryRemove(const std::string&, bool) const { notImplemented(); }

std::vector<StorageSystemFileInfo> FileSystem2Zip::do_directoryFileInfoList(const std::string&, const std::string&,
                                                                            StorageSystemDirectoryFilterType) const {
    notImplemented();
}

std::optional<StorageSystemFileInfo> FileSystem2Zip::do_fileInfo(const std::string&) const { notImplemented(); }

std::optional<StorageSystemStorageInfo> FileSystem2Zip::do_fileStorageInfo(const std::string&) const {
    notImplemented();
}

std::optional<std::string> FileSystem2Zip::do_directorySymbolicLinkTarget(const std::string&) const {
    notImplemented();
}

std::optional<std::string> FileSystem2Zip::do_fileSymbolicLinkTarget(const std::string&) const { notImplemented(); }

} // namespace FileSystem
