// Adding files and trees to an archive.

#include <FileSystem/zip/ZipArchive.h>

#include <FileSystem/files/Directory.h>
#include <FileSystem/files/DirectoryListing.h>
#include <FileSystem/files/File.h>
#include <FileSystem/paths/Path.h>
#include <FileSystem/utilities/detail/Percentages.h>
#include <FileSystem/zip/detail/EntryEncoder.h>
#include <FileSystem/zip/detail/Engine.h>
#include <FileSystem/zip/detail/EntryNames.h>
#include <FileSystem/zip/detail/Spool.h>
#include <FileSystem/zip/detail/WriteState.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <iostream>
#include <map>
#include <memory>
#include <stdexcept>
#include <vector>

namespace FileSystem {

/// One entry to write.
struct ZipArchive::Record {
    std::string entryName; ///< with a trailing '/' for a folder
    std::string diskPath;  ///< empty for a folder that was only inferred from its contents
    std::uint64_t size = 0;
    std::int64_t modified = 0;
    std::int64_t accessed = 0;
    std::int64_t created = 0;
    bool isDirectory = false;
    bool isImplicit = false;
    std::uint32_t attributes = 0;
};

namespace {

/// Bytes and entries done of a whole add, as percentages for a ToolProgress.
class Tracker {
public:
    explicit Tracker(Tools::ToolProgress* progress) : m_percentages(progress) {}

    void grow(std::uint64_t amount) { m_total += amount; }
    std::uint64_t total() const noexcept { return m_total; }
    std::uint64_t done() const noexcept { return m_done; }

    /// Counts work done; false when the receiver asks to stop.
    bool count(std::uint64_t amount) {
        m_done += amount;
        return m_percentages.report(m_done, m_total);
    }

private:
    detail::Percentages m_percentages;
    std::uint64_t m_total = 0;
    std::uint64_t m_done = 0;
};

/// Moves what the encoder has ready into the spool.
bool drain(detail::EntryEncoder& encoder, detail::Spool& spool) {
    unsigned char block[1 << 16];
    while (encoder.pending() > 0) {
        const std::size_t n = encoder.take(block, sizeof block);
        if (!spool.append(block, n))
            return false;
    }
    return true;
}

std::int64_t nowInSeconds() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    // Rounded to the nearest second, ties to even.
    return static_cast<std::int64_t>(std::nearbyint(std::chrono::duration<double>(now).count()));
}

} // namespace

bool ZipArchive::writeDirectoryEntry(const std::string& name, std::int64_t time, std::uint32_t attributes) {
    auto* archive = static_cast<zip_t*>(engine());
    const zip_int64_t index = zip_dir_add(archive, name.c_str(), ZIP_FL_ENC_UTF_8);
    return index >= 0 && detail::describeEntry(archive, static_cast<zip_uint64_t>(index), true, m_compressionLevel, attributes,
                                       time, s_zipCommentTesselPrefix);
}

// ---- The forms that end in addToZipAs ------------------------------------------------

bool ZipArchive::addToZip(const std::string& source, const std::string& destinationDirectory, bool recursive,
                          bool keepLinks, const Filter& filter, const Tools::ProgressFunction& progress) {
    return addToZip(std::vector<AddToZipInfo>{{source, destinationDirectory, recursive, filter, keepLinks}}, progress);
}

bool ZipArchive::addToZip(const std::string& source, const char* destinationDirectory, bool recursive, bool keepLinks,
                          const Filter& filter, const Tools::ProgressFunction& progress) {
    return addToZip(source, std::string(destinationDirectory ? destinationDirectory : ""), recursive, keepLinks,
                    filter, progress);
}

bool ZipArchive::addToZip(const std::string& source, bool recursive, bool keepLinks, const Filter& filter,
                          const Tools::ProgressFunction& progress) {
    return addToZip(source, std::string(), recursive, keepLinks, filter, progress);
}

bool ZipArchive::addToZip(const std::vector<std::string>& sources, const std::string& destinationDirectory,
                          bool recursive, bool keepLinks, const Filter& filter, const Tools::ProgressFunction& progress) {
    std::vector<AddToZipInfo> infos;
    for (const std::string& source : sources)
        infos.push_back({source, destinationDirectory, recursive, filter, keepLinks});
    return addToZip(infos, progress);
}

bool ZipArchive::addToZip(const std::vector<AddToZipInfo>& infos, const Tools::ProgressFunction& progress) {
    std::vector<AddToZipAsInfo> asInfos;
    for (const AddToZipInfo& info : infos) {
        const std::string name = Path::getLastToken(info.source);
        const std::string destination =
            info.destination.empty() ? name : Path::stripTrailingSlash(info.destination) + "/" + name;
        asInfos.push_back({info.source, destination, info.recursive, info.filter, info.keepLinks});
    }
    return addToZipAs(asInfos, progress);
}

bool ZipArchive::addToZipAs(const std::string& source, const std::string& destination, bool recursive,
                            bool keepLinks, const Filter& filter, const Tools::ProgressFunction& progress) {
    return addToZipAs(std::vector<AddToZipAsInfo>{{source, destination, recursive, filter, keepLinks}}, progress);
}

// ---- The worker --------------------------------------------------------------------------

bool ZipArchive::addToZipAs(const std::vector<AddToZipAsInfo>& infos, const Tools::ProgressFunction& progress) {
    if (!isZipping())
        return false;
    if (m_progress)
        m_progress->setRange(0); // the total is not known yet
    Tracker tracker(m_progress);
    std::map<std::string, Record> records;
    const std::string archiveName = Path::getLastToken(m_fileName);
    const std::set<std::string> entriesBefore = m_entries;

    // Folders above an entry that the archive does not have yet.
    const auto addParents = [&](const std::string& name, const std::string& childPath) {
        std::int64_t modified = 0, created = 0, accessed = 0;
        std::uint64_t size = 0;
        File::getData(childPath, size, modified, created, accessed);
        for (std::string parent = Path::stripLastToken(name); !parent.empty() && !m_entries.count(parent);
             parent = Path::stripLastToken(parent)) {
            m_entries.insert(parent);
            Record record;
            record.entryName = parent + "/";
            record.isDirectory = record.isImplicit = true;
            record.attributes = getDefaultDirectoryAttributes();
            record.modified = modified;
            record.accessed = accessed;
            record.created = created;
            records[parent] = record;
            tracker.grow(1);
        }
    };

    bool refused = false;
    for (const AddToZipAsInfo& info : infos) {
        const std::string source = Path::stripTrailingSlash(info.source);
        if (!File::isDirectory(source, true) && info.destination.empty())
            throw std::runtime_error("A file cannot have an empty path in zip.");
        const std::string destination = Path::stripTrailingSlash(info.destination);
        if (detail::escapesOnExtraction(destination)) {
            // An entry that an extraction would write outside its target is never made.
            refused = true;
            continue;
        }
        if (!File::exists(source))
            continue;
        const auto nameOf = [&](const std::string& path) {
            return Path::stripTrailingSlash(Path::stripLeadingSlash(Path::replacePart(path, source, destination)));
        };
        const auto onFile = [&](const std::string& path) {
            const std::string name = nameOf(path);
            if (name.empty() || m_entries.count(name))
                return true; // already in the archive
            std::uint64_t size = 0;
            if (File::getData(path, size) && !File::isRegularFile(path))
                return true; // a pipe, socket or device has no content to archive (and may never end)
            m_entries.insert(name);
            addParents(name, path);
            Record record;
            record.entryName = name;
            record.diskPath = path;
            record.attributes = getFileAttributes(path);
            File::getData(path, record.size, record.modified, record.created, record.accessed);
            records[name] = record;
            tracker.grow(record.size + 1);
            return true;
        };
        const auto onFolder = [&](const std::string& path) {
            const std::string name = nameOf(path);
            if (name.empty())
                return true;
            auto existing = records.find(name);
            if (existing != records.end() && !existing->second.isImplicit)
                return true;
            const bool wasImplicit = existing != records.end();
            if (!wasImplicit) {
                if (m_entries.count(name))
                    return true;
                m_entries.insert(name);
                addParents(name, path);
            }
            Record& record = records[name];
            record.entryName = name + "/";
            record.diskPath = path;
            record.isDirectory = true;
            record.isImplicit = false;
            record.attributes = getFileAttributes(path);
            std::uint64_t size = 0;
            File::getData(path, size, record.modified, record.created, record.accessed);
            if (!wasImplicit)
                tracker.grow(1);
            return true;
        };
        const auto onFilter = [&](const std::string& path) {
            // An archive never swallows itself (the name is compared first: it is cheap).
            if (Path::getLastToken(path) == archiveName && Path::compare(path, m_fileName))
                return false;
            if (!m_ignoredExtensions.empty() && m_ignoredExtensions.count(Path::getExtension(path, true)))
                return false;
            if (!m_ignoredFiles.empty() && m_ignoredFiles.count(Path::getLastToken(path)))
                return false;
            for (const Filter& filter : m_filters)
                if (filter && !filter(path))
                    return false;
            return !info.filter || info.filter(path);
        };
        fileCrawler(source, false, onFile, onFolder, {}, onFilter, false, info.recursive);
    }
    if (m_progress)
        m_progress->setRange(100);
    if (records.empty()) {
        m_entries = entriesBefore;
        return false;
    }

    // Each file is read, compressed, encrypted and checked now, into the spool;
    // the commit copies what the spool holds into the archive as it is.
    detail::Spool& spool = *m_write->spool;
    // Read in blocks of s_ChuckSize, each one reported to the progress function
    // (the encoder gathers them into the larger pieces its deflater wants).
    std::vector<unsigned char> block(static_cast<std::size_t>(s_ChuckSize));
    std::size_t scheduled = 0;
    // However the add ends (stopped, failed, thrown), the archive's names are
    // those it held and those that were really added: a name that was planned
    // but not added must not pass for an entry later.
    struct NamesGuard {
        std::set<std::string>& entries;
        std::set<std::string> names;
        ~NamesGuard() { entries = std::move(names); }
    } added{m_entries, entriesBefore};
    for (const auto& [key, record] : records) {
        const std::int64_t modified = record.modified != 0 ? record.modified : record.created;
        if (!tracker.count(1))
            return false;
        if (record.isDirectory) {
            if (writeDirectoryEntry(record.entryName, modified, record.attributes)) {
                ++scheduled;
                added.names.insert(key);
            }
            continue;
        }
        FilePointer file = ZipArchive::fopen(record.diskPath, "rb", m_attempts);
        if (!file) {
            const std::string message = "Failed to open for Reading : " + record.diskPath;
            std::cerr << message << std::endl;
            throw std::runtime_error(message);
        }
        detail::EntryEncoder encoder;
        const std::uint64_t offset = spool.size();
        // Deflated entries are encrypted here; the engine must see stored ones plain.
        const bool stored = m_compressionLevel == 0;
        if (!encoder.start(stored ? std::string() : m_password, m_compressionLevel))
            return false;
        // Up to the size recorded when the add was planned.
        for (std::uint64_t done = 0; done < record.size;) {
            const std::size_t want = static_cast<std::size_t>(std::min<std::uint64_t>(block.size(), record.size - done));
            const std::size_t got = FileSystem::fread(block.data(), 1, want, file);
            if (got == 0) {
                if (FileSystem::ferror(file))
                    return false;
                break; // the file became shorter: it holds what it has now
            }
            if (!encoder.put(block.data(), got) || !drain(encoder, spool))
                return false;
            done += got;
            if (!tracker.count(got) || (progress && !progress(done, record.size)))
                return false; // stopped: this entry is left out, those before it stay
        }
        if (!encoder.finish() || !drain(encoder, spool))
            return false;
        if (addSpooled(record.entryName, encoder, m_write->spool, offset, record.attributes, modified,
                       s_zipCommentTesselPrefix, stored ? m_password : std::string(), true)) {
            ++scheduled;
            added.names.insert(key);
        }
    }
    return !refused && scheduled == records.size() && tracker.done() == tracker.total();
}

bool ZipArchive::addSpooled(const std::string& name, const detail::EntryEncoder& encoder,
                            const std::shared_ptr<detail::Spool>& spool, std::uint64_t offset,
                            std::uint32_t attributes, std::int64_t modified, const std::string& comment,
                            const std::string& enginePassword, bool engineAes) {
    auto* archive = static_cast<zip_t*>(engine());
    detail::SpooledEntry entry;
    entry.offset = offset;
    entry.storedSize = encoder.storedSize();
    entry.plainSize = encoder.plainSize();
    entry.checksum = encoder.checksum();
    entry.deflated = encoder.isDeflated();
    entry.encrypted = encoder.isEncrypted();
    entry.modified = modified;
    zip_source_t* source = detail::spooledEntrySource(archive, spool, entry);
    if (source == nullptr)
        return false;
    const zip_int64_t added = zip_file_add(archive, name.c_str(), source, ZIP_FL_ENC_UTF_8 | ZIP_FL_OVERWRITE);
    if (added < 0) {
        zip_source_free(source);
        return false;
    }
    const auto index = static_cast<zip_uint64_t>(added);
    // The entry's methods are those of its stored bytes, so the engine copies them.
    const int level = entry.deflated ? (m_compressionLevel == 0 ? -1 : m_compressionLevel) : 0;
    bool described = detail::describeEntry(archive, index, false, level, attributes, modified, comment);
    if (described && entry.encrypted)
        described = zip_file_set_encryption(archive, index, ZIP_EM_AES_256, nullptr) == 0;
    else if (described && !enginePassword.empty())
        described = zip_file_set_encryption(archive, index, engineAes ? ZIP_EM_AES_256 : ZIP_EM_TRAD_PKWARE,
                                            enginePassword.c_str()) == 0;
    if (!described) {
        zip_delete(archive, index);
        return false;
    }
    m_write->entries[index] = {spool, entry};
    return true;
}

bool ZipArchive::createDirectoryInZip(const std::string& path) { return createDirectoryInZip(path, nowInSeconds()); }

bool ZipArchive::createDirectoryInZip(const std::string& path, std::int64_t time) {
    if (!isZipping())
        return false;
    if (path.empty())
        return true;
    const std::string name = Path::stripTrailingSlash(Path::stripLeadingSlash(path));
    if (detail::escapesOnExtraction(name))
        return false;
    if (name.empty() || m_entries.count(name))
        return true;
    std::set<std::string> levels;
    for (std::string level = name; !level.empty() && !m_entries.count(level); level = Path::stripLastToken(level))
        levels.insert(level);
    for (const std::string& level : levels) {
        if (!writeDirectoryEntry(level + "/", time, getDefaultDirectoryAttributes()))
            return false;
        m_entries.insert(level);
    }
    return true;
}

} // namespace FileSystem
