// One entry of an archive as an object.

#include <FileSystem/zip/ZipArchive.h>

#include <FileSystem/zip/detail/Engine.h>
#include <FileSystem/zip/detail/EntryReader.h>

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

/// A writer's entry: its bytes gather in memory, then in a temporary file, and
/// go to the archive when the entry closes.
struct ZipArchive::FileInZip::Writer {
    static constexpr std::size_t kMemoryLimit = std::size_t(4) << 20;
    std::vector<char> memory;
    std::FILE* spill = nullptr;
    std::string password;
    int aesVersion = -1;
    std::string comment;
    bool finished = false;
    ~Writer() {
        if (spill != nullptr)
            std::fclose(spill);
    }
    bool append(const char* data, std::size_t size) {
        if (spill == nullptr && memory.size() + size > kMemoryLimit) {
            spill = std::tmpfile();
            if (spill == nullptr ||
                (!memory.empty() && std::fwrite(memory.data(), 1, memory.size(), spill) != memory.size()))
                return false;
            memory.clear();
            memory.shrink_to_fit();
        }
        if (spill != nullptr)
            return std::fwrite(data, 1, size, spill) == size;
        memory.insert(memory.end(), data, data + size);
        return true;
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
        auto* archive = static_cast<zip_t*>(getZipHandle());
        reader->data = std::make_unique<detail::EntryReader>(archive, *index,
                                                             password.empty() ? m_parent->m_password : password);
        if (!reader->data->isOpen())
            return false;
        m_reader = std::move(reader);
        m_open = true;
        return true;
    }
    auto writer = std::make_shared<Writer>();
    writer->password = password.empty() ? m_parent->m_password : password;
    writer->aesVersion = aesVersion < 0 ? 1 : aesVersion;
    writer->comment = s_zipCommentTesselPrefix + additionalComment;
    m_info->aesVersion = writer->aesVersion;
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
    auto* archive = static_cast<zip_t*>(getZipHandle());
    zip_source_t* source = nullptr;
    if (writer.spill != nullptr) {
        std::fflush(writer.spill);
        std::rewind(writer.spill);
        source = zip_source_filep(archive, writer.spill, 0, -1); // the engine closes the file
        if (source != nullptr)
            writer.spill = nullptr;
    } else {
        source = zip_source_buffer(archive, writer.memory.data(), writer.memory.size(), 0);
    }
    if (source == nullptr)
        return false;
    const zip_int64_t index = zip_file_add(archive, getPathInZip().c_str(), source, ZIP_FL_ENC_UTF_8 | ZIP_FL_OVERWRITE);
    if (index < 0) {
        zip_source_free(source);
        return false;
    }
    const auto now = static_cast<std::int64_t>(std::time(nullptr));
    bool described = detail::describeEntry(archive, static_cast<zip_uint64_t>(index), false,
                                           m_parent->m_compressionLevel, m_info->externalAttributes, now,
                                           writer.comment);
    if (described && !writer.password.empty()) {
        const zip_uint16_t method = writer.aesVersion == 0 ? ZIP_EM_TRAD_PKWARE : ZIP_EM_AES_256;
        described = zip_file_set_encryption(archive, static_cast<zip_uint64_t>(index), method,
                                            writer.password.c_str()) == 0;
    }
    if (!described) {
        zip_delete(archive, static_cast<zip_uint64_t>(index));
        return false;
    }
    // The entry is complete on disk before this returns.
    return m_parent->commit();
}

int ZipArchive::FileInZip::read(char* data, unsigned size) {
    if (!m_open || !m_reader || !m_reader->data || !isUnzipping())
        return 0;
    const std::int64_t got = m_reader->data->read(data, size);
    if (got <= 0)
        return got < 0 ? -1 : 0;
    m_reader->read += static_cast<std::uint64_t>(got);
    return static_cast<int>(got);
}

int ZipArchive::FileInZip::write(const char* data, unsigned size) {
    if (!m_open || !m_writer || m_writer->finished || !isZipping())
        return 0;
    return m_writer->append(data, size) ? static_cast<int>(size) : 0;
}

std::string ZipArchive::FileInZip::readAll() {
    std::string content;
    if (!isUnzipping() || (!m_open && !open()))
        return content;
    // Grown as the data comes, never beyond what the entry declares.
    const std::uint64_t declared = size();
    std::vector<char> buffer(static_cast<std::size_t>(ZipArchive::s_ChuckSize));
    while (content.size() < declared) {
        const int got = read(buffer.data(), static_cast<unsigned>(buffer.size()));
        if (got <= 0)
            break;
        content.append(buffer.data(), static_cast<std::size_t>(std::min<std::uint64_t>(got, declared - content.size())));
    }
    return content;
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
