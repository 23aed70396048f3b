// One entry of an archive as an object.

#include <FileSystem/zip/ZipArchive.h>

#include <FileSystem/paths/Path.h>
#include <FileSystem/paths/PathConverterBase.h>
#include <FileSystem/zip/detail/Engine.h>
#include <FileSystem/zip/detail/EntryEncoder.h>
#include <FileSystem/zip/detail/EntryNames.h>
#include <FileSystem/zip/detail/EntryReader.h>
#include <FileSystem/zip/detail/Spool.h>
#include <FileSystem/zip/detail/WriteState.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <limits>
#include <vector>

namespace FileSystem {

/// A reader's open data.
struct ZipArchive::FileInZip::Reader {
    std::unique_ptr<detail::EntryReader> data;
    std::uint64_t read = 0;
};

/// A writer's entry: its bytes are compressed and encrypted as they come; the
/// stored bytes gather in memory, then (past a few MiB) in a spool of the
/// entry's own, and go into the archive's spool when the entry closes, so that
/// several entries may be written at once.
struct ZipArchive::FileInZip::Writer {
    static constexpr std::size_t kMemoryLimit = std::size_t(4) << 20;
    detail::EntryEncoder encoder;
    std::vector<unsigned char> memory;
    std::shared_ptr<detail::Spool> spill;
    std::string nativeArchivePath;
    std::string enginePassword; ///< encryption done by the engine at the commit
    bool engineAes = false;
    std::string comment;
    bool failed = false;
    bool finished = false;

    /// Moves what the encoder has ready to memory or the spill.
    bool drain() {
        if (!spill && memory.size() + encoder.pending() > kMemoryLimit) {
            spill = std::make_shared<detail::Spool>();
            if (!spill->open(nativeArchivePath) || !spill->append(memory.data(), memory.size()))
                return false;
            memory.clear();
            memory.shrink_to_fit();
        }
        unsigned char block[1 << 16];
        while (encoder.pending() > 0) {
            const std::size_t n = encoder.take(block, sizeof block);
            if (spill && !spill->append(block, n))
                return false;
            if (!spill)
                memory.insert(memory.end(), block, block + n);
        }
        return true;
    }

    /// Appends the entry's stored bytes to `spool`; where they start there.
    std::optional<std::uint64_t> moveTo(detail::Spool& spool) {
        const std::uint64_t offset = spool.size();
        if (!spill)
            return spool.append(memory.data(), memory.size()) ? std::optional<std::uint64_t>(offset) : std::nullopt;
        std::vector<unsigned char> block(std::size_t(1) << 20);
        for (std::uint64_t done = 0; done < spill->size();) {
            const std::int64_t got = spill->readAt(block.data(), block.size(), done);
            if (got <= 0 || !spool.append(block.data(), static_cast<std::size_t>(got)))
                return std::nullopt;
            done += static_cast<std::uint64_t>(got);
        }
        return offset;
    }
};

ZipArchive::FileInZip::FileInZip(const std::string& path, ZipArchive* parent) : m_parent(parent) {
    if (parent != nullptr && parent->isUnzipping()) {
        m_info = parent->getFileInfo(path);
    } else {
        m_info = FileInfo{};
        m_info->name = path;
        m_info->externalAttributes = getDefaultFileAttributes();
        m_info->versionMadeBy = getVersionMadeBy();
    }
}

ZipArchive::FileInZip::FileInZip(const FileInfo& info, ZipArchive* parent) : m_parent(parent) {
    if (parent == nullptr || !parent->isZipping())
        m_info = info;
}

ZipArchive::FileInZip::FileInZip(const FileInZip& other) = default;

ZipArchive::FileInZip& ZipArchive::FileInZip::operator=(const FileInZip& other) = default;

ZipArchive::FileInZip::~FileInZip() {
    if (m_open && m_parent != nullptr && m_parent->isOpen())
        close();
}

void* ZipArchive::FileInZip::getZipHandle() const { return m_parent ? m_parent->engine() : nullptr; }

bool ZipArchive::FileInZip::open(const std::string& password, int aesVersion, const std::string& additionalComment) {
    if (m_parent == nullptr || getZipHandle() == nullptr || !m_info)
        return false;
    if (m_parent->isUnzipping()) {
        const auto index = m_parent->indexOf(m_info->location);
        if (!index || isDir())
            return false;
        m_parent->m_currentCount = *index;
        auto reader = std::make_shared<Reader>();
        reader->data = m_parent->readerOf(*index, password.empty() ? m_parent->m_password : password);
        if (!reader->data->isOpen())
            return false;
        m_reader = std::move(reader);
        m_open = true;
        return true;
    }
    if (detail::escapesOnExtraction(m_info->name))
        return false; // an entry that an extraction would write outside its target is never made
    auto writer = std::make_shared<Writer>();
    const std::string secret = password.empty() ? m_parent->m_password : password;
    const int version = aesVersion < 0 ? 1 : aesVersion;
    // AES of deflated entries is done here as the data comes; traditional
    // encryption, and AES of stored entries, by the engine at the commit.
    const bool engineEncrypts = version == 0 || m_parent->m_compressionLevel == 0;
    if (engineEncrypts) {
        writer->enginePassword = secret;
        writer->engineAes = version != 0;
    }
    if (!writer->encoder.start(engineEncrypts ? std::string() : secret, m_parent->m_compressionLevel))
        return false;
    writer->nativeArchivePath = toSystemPath(m_parent->m_fileName);
    writer->comment = s_zipCommentTesselPrefix + additionalComment;
    m_info->aesVersion = secret.empty() ? 0 : version;
    m_writer = std::move(writer);
    m_open = true;
    return true;
}

bool ZipArchive::FileInZip::close() {
    if (!m_open || m_parent == nullptr || !m_parent->isOpen())
        return false;
    if (m_reader) {
        const bool wasOpen = m_reader->data != nullptr;
        m_reader->data.reset();
        return wasOpen;
    }
    if (!m_writer || m_writer->finished)
        return false;
    Writer& writer = *m_writer;
    writer.finished = true;
    if (writer.failed || !writer.encoder.finish() || !writer.drain())
        return false;
    // The entry joins the archive's spool and is written at the commit.
    const auto offset = writer.moveTo(*m_parent->m_write->spool);
    if (!offset)
        return false;
    const auto now = static_cast<std::int64_t>(std::time(nullptr));
    const bool added = m_parent->addSpooled(getPathInZip(), writer.encoder, m_parent->m_write->spool, *offset,
                                            m_info->externalAttributes, now, writer.comment, writer.enginePassword,
                                            writer.engineAes);
    if (added)
        m_parent->m_entries.insert(Path::stripTrailingSlash(getPathInZip()));
    return added;
}

int ZipArchive::FileInZip::read(char* data, unsigned size) {
    if (!m_open || !m_reader || !m_reader->data || !isUnzipping())
        return 0;
    // The count must fit the int that is returned.
    const std::int64_t got = m_reader->data->read(data, std::min<unsigned>(size, 1u << 30));
    if (got <= 0)
        return got < 0 ? -1 : 0;
    m_reader->read += static_cast<std::uint64_t>(got);
    return static_cast<int>(got);
}

int ZipArchive::FileInZip::write(const char* data, unsigned size) {
    if (!m_open || !m_writer || m_writer->finished || m_writer->failed || !isZipping())
        return 0;
    const auto* bytes = reinterpret_cast<const unsigned char*>(data);
    if (!m_writer->encoder.put(bytes, size) || !m_writer->drain()) {
        m_writer->failed = true; // the entry can no longer be whole: its close fails
        return 0;
    }
    return static_cast<int>(size);
}

std::string ZipArchive::FileInZip::readAll() {
    std::string content;
    if (!isUnzipping() || (!m_open && !open()))
        return content;
    // Grown as the data comes (the reader never hands out more than the entry
    // declares); the whole entry is checked before the last bytes arrive, and a
    // failed check gives nothing.
    std::vector<char> buffer(static_cast<std::size_t>(ZipArchive::s_ChuckSize));
    for (;;) {
        const int got = read(buffer.data(), static_cast<unsigned>(buffer.size()));
        if (got < 0)
            return {};
        if (got == 0)
            break;
        content.append(buffer.data(), static_cast<std::size_t>(got));
    }
    return content.size() == size() ? content : std::string();
}

std::uint64_t ZipArchive::FileInZip::tell(bool inArchive) const {
    if (!isUnzipping())
        return 0;
    if (inArchive)
        return m_info ? m_info->location.entryNumber : 0;
    return m_reader ? m_reader->read : 0;
}

bool ZipArchive::FileInZip::seek(std::uint64_t position) const {
    if (!isUnzipping() || position >= m_parent->numberOfEntries())
        return false;
    m_parent->m_currentCount = position;
    return true;
}

std::uint64_t ZipArchive::FileInZip::size() const { return m_info ? m_info->uncompressedSize : 0; }

bool ZipArchive::FileInZip::eof() const { return m_reader && m_reader->read == size(); }

bool ZipArchive::FileInZip::isZipping() const { return m_parent != nullptr && m_parent->isZipping(); }

bool ZipArchive::FileInZip::isUnzipping() const { return m_parent != nullptr && m_parent->isUnzipping(); }

std::uint64_t ZipArchive::FileInZip::maxPasswordLength() const {
    return m_info ? maxPasswordLength(m_info->aesVersion) : 0;
}

std::uint64_t ZipArchive::FileInZip::maxPasswordLength(int aesVersion) {
    return aesVersion > 0 ? 128 : std::numeric_limits<std::uint64_t>::max();
}

std::string ZipArchive::FileInZip::getPathInZip() const { return m_info ? m_info->name : std::string(); }

int ZipArchive::FileInZip::getAESVersion() const { return isUnzipping() && m_info ? m_info->aesVersion : -1; }

bool ZipArchive::FileInZip::isMsdos() const { return m_info && (m_info->versionMadeBy >> 8) == 0; }
bool ZipArchive::FileInZip::isUnix() const { return m_info && (m_info->versionMadeBy >> 8) == 3; }

bool ZipArchive::FileInZip::isDir() const {
    return m_info && ZipArchive::isDirectory(m_info->name, m_info->externalAttributes, m_info->versionMadeBy);
}

bool ZipArchive::FileInZip::isFile() const {
    return m_info && ZipArchive::isFile(m_info->name, m_info->externalAttributes, m_info->versionMadeBy);
}

bool ZipArchive::FileInZip::isSymbolicLink() const {
    return m_info && ZipArchive::isSymbolicLink(m_info->name, m_info->externalAttributes, m_info->versionMadeBy);
}

bool ZipArchive::FileInZip::isTesselFileComment() const {
    return m_info && ZipArchive::isTesselFileComment(m_info->comment);
}

std::optional<Utilities::Version<4, int>> ZipArchive::FileInZip::getTesselVersionFromFileComment() const {
    return m_info ? ZipArchive::getTesselVersionFromFileComment(m_info->comment) : std::nullopt;
}

std::string ZipArchive::FileInZip::getTesselAdditionalComment() const {
    return m_info ? ZipArchive::getTesselAdditionalComment(m_info->comment) : std::string();
}

} // namespace FileSystem
