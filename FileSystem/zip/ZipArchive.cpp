// Opening, listing and finding, comments and the kinds of entries.

#include <FileSystem/zip/ZipArchive.h>

#include <FileSystem/files/Directory.h>
#include <FileSystem/files/File.h>
#include <FileSystem/paths/Path.h>
#include <FileSystem/paths/PathConverterBase.h>
#include <FileSystem/utilities/BuildInfo.h>
#include <FileSystem/zip/detail/Engine.h>
#include <FileSystem/zip/detail/EntryReader.h>
#include <FileSystem/zip/detail/Spool.h>
#include <FileSystem/zip/detail/WriteState.h>

#include <algorithm>
#include <chrono>
#include <map>
#include <thread>

namespace FileSystem {

const std::uint64_t ZipArchive::s_ChuckSize = 16384;
const std::string ZipArchive::s_zipCommentTesselID = "TesselZip-";
const std::string ZipArchive::s_zipCommentTesselPrefix =
    "TesselZip-" + Utilities::libraryVersion().toString() + "-";

// ---- Life ------------------------------------------------------------------------

ZipArchive::ZipArchive(std::uint64_t attempts) : m_attempts(attempts) {}

ZipArchive::ZipArchive(const std::string& fileName, std::uint64_t attempts)
    : m_fileName(fileName), m_attempts(attempts) {}

ZipArchive::ZipArchive(const std::string& fileName, OpenMode mode, std::uint64_t attempts) : m_attempts(attempts) {
    open(fileName, mode);
}

ZipArchive::ZipArchive(ZipArchive&& other) noexcept = default;

ZipArchive& ZipArchive::operator=(ZipArchive&& other) noexcept {
    if (this != &other) {
        close();
        m_handle = std::move(other.m_handle);
        m_currentCount = other.m_currentCount;
        m_progress = other.m_progress;
        m_fileName = std::move(other.m_fileName);
        m_mode = other.m_mode;
        m_entries = std::move(other.m_entries);
        m_ignoredExtensions = std::move(other.m_ignoredExtensions);
        m_ignoredFiles = std::move(other.m_ignoredFiles);
        m_filters = std::move(other.m_filters);
        m_compressionLevel = other.m_compressionLevel;
        m_attempts = other.m_attempts;
        m_password = std::move(other.m_password);
        m_write = std::move(other.m_write);
    }
    return *this;
}

ZipArchive::~ZipArchive() { close(); }

// ---- Opening -----------------------------------------------------------------------

bool ZipArchive::open(OpenMode mode) { return open(m_fileName, mode); }

bool ZipArchive::open(const std::string& fileName, OpenMode mode) {
    if (isOpen())
        return true;
    m_fileName = fileName;
    m_mode = mode;
    switch (mode) {
    case OpenMode::Create:
        return openEngine(true);
    case OpenMode::Add:
    case OpenMode::Read:
        return openEngine(false);
    }
    return false;
}

bool ZipArchive::openEngine(bool truncate) {
    if (m_fileName.empty())
        return false;
    const std::string native = toSystemPath(m_fileName);
    zip_t* archive = nullptr;
    if (m_mode == OpenMode::Read) {
        archive = detail::openArchive(native, detail::ArchiveAccess::Read);
        if (archive == nullptr)
            return false;
        m_currentCount = 0;
    } else {
        // The spool lies beside the archive: a folder that cannot take it
        // cannot take the archive either, and the open fails at once.
        if (!m_write)
            m_write = std::make_unique<WriteState>();
        if (!m_write->spool) {
            auto spool = std::make_shared<detail::Spool>();
            if (!spool->open(native))
                return false;
            m_write->spool = std::move(spool);
        }
        archive = detail::openArchive(native, truncate ? detail::ArchiveAccess::Replace : detail::ArchiveAccess::Add);
        if (archive == nullptr)
            return false;
        m_entries.clear();
        const zip_int64_t count = zip_get_num_entries(archive, 0);
        for (zip_int64_t i = 0; i < count; ++i)
            if (const char* name = zip_get_name(archive, static_cast<zip_uint64_t>(i), 0))
                m_entries.insert(Path::stripTrailingSlash(name));
    }
    // Closing without a commit throws away what was not committed.
    m_handle = std::unique_ptr<void, std::function<void(void*)>>(
        archive, [](void* handle) { zip_discard(static_cast<zip_t*>(handle)); });
    if (!m_password.empty())
        zip_set_default_password(archive, m_password.c_str());
    return true;
}

bool ZipArchive::commit() {
    if (!isZipping())
        return false;
    auto* archive = static_cast<zip_t*>(engine());
    if (zip_close(archive) != 0)
        return false; // the archive on disk is as it was; what was added stays pending
    m_handle.release(); // the engine let go of it
    m_write->entries.clear();
    m_write->spool->clear();
    // A writer goes on adding to what is on disk now.
    return openEngine(false);
}

std::unique_ptr<detail::EntryReader> ZipArchive::readerOf(std::uint64_t index, const std::string& password) const {
    if (m_write) {
        const auto spooled = m_write->entries.find(index);
        if (spooled != m_write->entries.end())
            return std::make_unique<detail::EntryReader>(spooled->second.first, spooled->second.second, password);
    }
    return std::make_unique<detail::EntryReader>(static_cast<zip_t*>(engine()), index, password);
}

bool ZipArchive::reopen() {
    if (isOpen())
        return true;
    return open(m_fileName, m_mode == OpenMode::Create ? OpenMode::Add : m_mode);
}

void ZipArchive::close() {
    if (!isOpen())
        return;
    if (isZipping()) {
        auto* archive = static_cast<zip_t*>(m_handle.release());
        if (zip_close(archive) != 0) {
            zip_discard(archive); // what was on disk stays as it was
        } else if (!File::exists(m_fileName)) {
            // The engine writes no file for an archive it was given nothing for:
            // an empty archive is still one.
            detail::writeEmptyArchive(toSystemPath(m_fileName));
        }
    }
    m_handle.reset();
    m_entries.clear();
    m_write.reset();
}

void ZipArchive::setPassword(const std::string& password) {
    m_password = password;
    if (auto* archive = static_cast<zip_t*>(engine()))
        zip_set_default_password(archive, password.empty() ? nullptr : password.c_str());
}

void ZipArchive::setDefaultCompressionLevel(int level) {
    m_compressionLevel = level == -1 ? -1 : std::clamp(level, 0, 9);
}

// ---- Listing and finding ------------------------------------------------------------

std::uint64_t ZipArchive::numberOfEntries() const {
    if (!isOpen())
        return 0;
    const zip_int64_t count = zip_get_num_entries(static_cast<zip_t*>(engine()), 0);
    return count < 0 ? 0 : static_cast<std::uint64_t>(count);
}

ZipArchive::FileInfo ZipArchive::fileInfoAt(std::uint64_t index) const {
    auto* archive = static_cast<zip_t*>(engine());
    FileInfo info;
    info.location = {index, index};
    zip_stat_t stat;
    zip_stat_init(&stat);
    if (zip_stat_index(archive, index, 0, &stat) == 0) {
        if (stat.valid & ZIP_STAT_NAME)
            info.name = stat.name;
        if (stat.valid & ZIP_STAT_SIZE)
            info.uncompressedSize = stat.size;
        if ((stat.valid & ZIP_STAT_ENCRYPTION_METHOD) &&
            (stat.encryption_method == ZIP_EM_AES_128 || stat.encryption_method == ZIP_EM_AES_192 ||
             stat.encryption_method == ZIP_EM_AES_256))
            info.aesVersion = 2;
    }
    zip_uint32_t length = 0;
    if (const char* comment = zip_file_get_comment(archive, index, &length, 0))
        info.comment.assign(comment, length);
    zip_uint8_t system = 0;
    zip_uint32_t attributes = 0;
    if (zip_file_get_external_attributes(archive, index, 0, &system, &attributes) == 0) {
        info.externalAttributes = attributes;
        info.versionMadeBy = std::uint32_t(system) << 8 | 45;
    }
    return info;
}

std::uint64_t ZipArchive::numberOfEntries(bool directories, bool symbolicLinks) const {
    return allEntries(directories, symbolicLinks).size();
}

std::vector<std::string> ZipArchive::allEntries(bool directories, bool symbolicLinks) const {
    std::vector<std::string> names;
    const std::uint64_t count = numberOfEntries();
    for (std::uint64_t i = 0; i < count; ++i) {
        const FileInfo info = fileInfoAt(i);
        if (!directories && isDirectory(info.name, info.externalAttributes, info.versionMadeBy))
            continue;
        if (!symbolicLinks && isSymbolicLink(info.name, info.externalAttributes, info.versionMadeBy))
            continue;
        names.push_back(info.name);
    }
    return names;
}

std::set<std::string> ZipArchive::entries(bool directories, bool symbolicLinks) const {
    const std::vector<std::string> names = allEntries(directories, symbolicLinks);
    return std::set<std::string>(names.begin(), names.end());
}

std::vector<std::string> ZipArchive::listEntries(bool directories) const { return allEntries(directories, true); }

std::optional<std::uint64_t> ZipArchive::locate(const std::string& name) const {
    if (!isOpen() || name.empty())
        return std::nullopt;
    const zip_int64_t index = zip_name_locate(static_cast<zip_t*>(engine()), name.c_str(), 0);
    if (index < 0)
        return std::nullopt;
    return static_cast<std::uint64_t>(index);
}

std::optional<std::uint64_t> ZipArchive::indexOf(const std::optional<ZipLocation>& location) const {
    if (!location || !isOpen() || location->entryNumber >= numberOfEntries())
        return std::nullopt;
    return location->entryNumber;
}

std::optional<ZipArchive::FileInfo> ZipArchive::getFileInfo(const std::string& name) const {
    if (name.empty() || !isOpen() || name.find('\0') != std::string::npos)
        return std::nullopt;
    auto index = locate(name);
    std::string candidate = name;
    if (!index && candidate.back() == '\\') {
        candidate.back() = '/';
        index = locate(candidate);
    }
    if (!index)
        index = candidate.back() == '/' ? locate(candidate.substr(0, candidate.size() - 1)) : locate(candidate + '/');
    if (!index)
        return std::nullopt;
    return fileInfoAt(*index);
}

std::optional<ZipArchive::FileInfo> ZipArchive::getFileInfo(const std::optional<ZipLocation>& location) const {
    const auto index = indexOf(location);
    if (!index)
        return std::nullopt;
    return fileInfoAt(*index);
}

std::vector<ZipArchive::FileInfo> ZipArchive::getAllFileInfos(bool directories) const {
    return findFileInfos([directories](const FileInfo& info) {
        return directories || !isDirectory(info.name, info.externalAttributes, info.versionMadeBy);
    });
}

std::vector<ZipArchive::FileInfo> ZipArchive::findFileInfos(const std::function<bool(const FileInfo&)>& predicate) const {
    std::vector<FileInfo> found;
    const std::uint64_t count = numberOfEntries();
    for (std::uint64_t i = 0; i < count; ++i) {
        FileInfo info = fileInfoAt(i);
        if (!predicate || predicate(info))
            found.push_back(std::move(info));
    }
    return found;
}

std::optional<ZipArchive::FileInfo> ZipArchive::findFileInfo(const std::function<bool(const FileInfo&)>& predicate) const {
    const std::uint64_t count = numberOfEntries();
    for (std::uint64_t i = 0; i < count; ++i) {
        FileInfo info = fileInfoAt(i);
        if (!predicate || predicate(info))
            return info;
    }
    return std::nullopt;
}

std::optional<ZipLocation> ZipArchive::findFileNameInZip(const std::string& name, bool files, bool directories) const {
    const auto index = locate(name);
    if (!index)
        return std::nullopt;
    const FileInfo info = fileInfoAt(*index);
    const bool folder = isDirectory(info.name, info.externalAttributes, info.versionMadeBy);
    if ((folder && !directories) || (!folder && !files))
        return std::nullopt;
    return info.location;
}

std::optional<ZipLocation> ZipArchive::findFileWithExtensionInZip(const std::string& extension) const {
    const auto found = findFileInfo([&extension](const FileInfo& info) {
        return !isDirectory(info.name, info.externalAttributes, info.versionMadeBy) &&
               Path::isExtension(info.name, extension);
    });
    if (!found)
        return std::nullopt;
    return found->location;
}

bool ZipArchive::containsEntryInZip(const std::string& name, bool directories) const {
    const auto info = getFileInfo(name);
    return info && (directories || !isDirectory(info->name, info->externalAttributes, info->versionMadeBy));
}

std::unique_ptr<ZipArchive::FileInZip> ZipArchive::openFile(const std::string& name) {
    return std::make_unique<FileInZip>(name, this);
}

std::unique_ptr<ZipArchive::FileInZip> ZipArchive::openFile(const std::optional<ZipLocation>& location) {
    const auto info = getFileInfo(location);
    if (!info)
        return nullptr;
    return std::make_unique<FileInZip>(*info, this);
}

// ---- Files and comments ----------------------------------------------------------------

bool ZipArchive::isZipFile(const std::string& path) {
    if (File::checkMagicNumber(path, std::vector<std::string>{std::string("PK\x03\x04", 4), std::string("PK\x05\x06", 4),
                                                              std::string("PK\x07\x08", 4)}))
        return true;
    ZipArchive archive(1);
    return archive.open(path, OpenMode::Read);
}

bool ZipArchive::isTesselFileComment(const std::string& comment) {
    return comment.compare(0, s_zipCommentTesselID.size(), s_zipCommentTesselID) == 0;
}

std::optional<Utilities::Version<4, int>> ZipArchive::getTesselVersionFromFileComment(const std::string& comment) {
    if (!isTesselFileComment(comment))
        return std::nullopt;
    const std::size_t dash = comment.find('-', s_zipCommentTesselID.size());
    if (dash == std::string::npos)
        return std::nullopt;
    const std::string text = comment.substr(s_zipCommentTesselID.size(), dash - s_zipCommentTesselID.size());
    const Utilities::Version<4, int> version(text, ".");
    for (int part : version.parts())
        if (part < 0)
            return std::nullopt;
    return version;
}

std::string ZipArchive::getTesselAdditionalComment(const std::string& comment) {
    if (!isTesselFileComment(comment))
        return {};
    const std::size_t dash = comment.find('-', s_zipCommentTesselID.size());
    return dash == std::string::npos ? std::string() : comment.substr(dash + 1);
}

std::optional<unsigned long> ZipArchive::computeCRCFromFile(const std::string& path) {
    if (File::isDirectory(path, true) || (File::exists(path) && File::isSymbolicLink(path)))
        return 0ul;
    return std::nullopt;
}

FilePointer ZipArchive::fopen(const std::string& path, const std::string& mode, std::uint64_t attempts) {
    for (std::uint64_t attempt = 0; attempt < attempts; ++attempt) {
        if (attempt > 0)
            std::this_thread::sleep_for(std::chrono::milliseconds(200));
        if (FilePointer file = FileSystem::fsopen(path, mode, ShareFlag::DenyNone))
            return file;
    }
    return nullptr;
}

// ---- Kinds of entries ---------------------------------------------------------------------

namespace {
constexpr std::uint32_t host(std::uint32_t versionMadeBy) { return versionMadeBy & 0xff00; }
bool endsWithSlash(const std::string& name) { return !name.empty() && name.back() == '/'; }
} // namespace

bool ZipArchive::isMsDos(std::uint32_t v) noexcept { return host(v) == 0; }
bool ZipArchive::isUnix(std::uint32_t v) noexcept { return host(v) == 0x300; }
bool ZipArchive::isNTFS(std::uint32_t v) noexcept { return host(v) == 0xa00; }
bool ZipArchive::isVFAT(std::uint32_t v) noexcept { return host(v) == 0xe00; }
bool ZipArchive::isWindows(std::uint32_t v) noexcept { return isMsDos(v) || isNTFS(v) || isVFAT(v); }
bool ZipArchive::isSupported(std::uint32_t v) noexcept { return isWindows(v) || isUnix(v); }

bool ZipArchive::isDirectory(const std::string& name, std::uint32_t attributes, std::uint32_t versionMadeBy) noexcept {
    if (name.empty())
        return false;
    if (isWindows(versionMadeBy) && (attributes & 0x10))
        return true;
    if (isUnix(versionMadeBy) && ((attributes & 0x10) || (attributes & 0xf0000000) == 0x40000000))
        return true;
    return endsWithSlash(name);
}

bool ZipArchive::isFile(const std::string& name, std::uint32_t attributes, std::uint32_t versionMadeBy) noexcept {
    if (name.empty())
        return false;
    if (isWindows(versionMadeBy) && !(attributes & 0x10))
        return true;
    if (isUnix(versionMadeBy) && (!(attributes & 0x10) || (attributes & 0xf0000000) == 0x80000000))
        return true;
    return !endsWithSlash(name);
}

bool ZipArchive::isSymbolicLink(const std::string& name, std::uint32_t attributes, std::uint32_t versionMadeBy) noexcept {
    return !name.empty() && isUnix(versionMadeBy) &&
           ((attributes & 0x10) || (attributes & 0xf0000000) == 0xa0000000);
}

std::uint32_t ZipArchive::getVersionMadeBy() noexcept { return 0x300 | 45; }

std::uint32_t ZipArchive::getDefaultFileAttributes() noexcept { return 0100644u << 16 | 0x80; }

std::uint32_t ZipArchive::getDefaultDirectoryAttributes() noexcept { return 040755u << 16 | 0x10; }

std::uint32_t ZipArchive::getDefaultSymbolicLinkAttributes() noexcept { return 0120777u << 16 | 0x80; }

std::uint32_t ZipArchive::getFileAttributes(const std::string& path) {
    const bool folder = Directory::exists(path);
    const std::uint32_t dos = folder ? 0x10 : (File::isReadOnly(path) ? 0x01 : 0x80);
    const std::uint32_t rights = File::getPosixFilePermissions(path, true).value() & 0777;
    return (std::uint32_t(folder ? 040000 : 0100000) | rights) << 16 | dos;
}

bool ZipArchive::setFileAttributes(const std::string& path, std::uint32_t attributes, std::uint32_t versionMadeBy) {
    if (isUnix(versionMadeBy)) {
        const std::uint32_t rights = (attributes >> 16) & 0777; // never set-id or sticky bits
        if (rights == 0)
            return true; // no rights recorded: keep what the file system gave
        return File::setPosixFilePermissions(path, PosixFilePermissions(rights));
    }
    if (isWindows(versionMadeBy) && (attributes & 0x01)) {
        const std::uint32_t rights = File::getPosixFilePermissions(path, true).value() & 0777;
        return File::setPosixFilePermissions(path, PosixFilePermissions(rights & ~0222u));
    }
    return true;
}

bool ZipArchive::createSymbolicLinkInZip(const std::string&, const std::string&) { return false; }

bool ZipArchive::createSymbolicLinkInZip(const std::string&, const std::string&, std::int64_t) { return false; }

namespace ZipHelper {

std::vector<std::string> extractTopLevel(const std::vector<std::string>& entries, const std::string& root,
                                         bool directoriesOnly) {
    const std::string base = Path::stripTrailingSlash(root);
    const std::string prefix = base.empty() ? std::string() : base + '/';
    std::vector<std::string> names;
    for (const std::string& entry : entries) {
        if (entry.compare(0, prefix.size(), prefix) != 0)
            continue;
        const std::string rest = entry.substr(prefix.size());
        const std::size_t slash = rest.find('/');
        if (rest.empty() || (directoriesOnly && (slash == std::string::npos || slash == 0)))
            continue;
        const std::string top = rest.substr(0, slash);
        if (!top.empty() && std::find(names.begin(), names.end(), top) == names.end())
            names.push_back(top);
    }
    return names;
}

} // namespace ZipHelper

} // namespace FileSystem
