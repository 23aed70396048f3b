// Adding files and trees to an archive.

#include <FileSystem/zip/ZipArchive.h>

#include <FileSystem/files/Directory.h>
#include <FileSystem/files/DirectoryListing.h>
#include <FileSystem/files/File.h>
#include <FileSystem/paths/Path.h>
#include <FileSystem/utilities/detail/Percentages.h>
#include <FileSystem/zip/detail/EncryptedDeflater.h>
#include <FileSystem/zip/detail/Engine.h>

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

/// Why the data of an entry could not be written.
enum class Interruption { None, Cancelled, OpenFailed, ReadFailed };

/// What the sources of one add share.
struct AddShared {
    const Tools::ProgressFunction* progress = nullptr;
    std::string password; ///< non-empty: the sources deflate and encrypt their data themselves
    int level = -1;
    std::uint64_t attempts = 1;
    Interruption interruption = Interruption::None;
    std::size_t failedRecord = 0; ///< the record whose data failed
    std::string failedPath;
};

/// The data of a file on disk as the engine reads it when the archive is
/// written: opened then, read in blocks, with progress after each.
struct FileSource {
    std::string path;
    std::uint64_t size = 0;
    std::int64_t modified = 0;
    std::size_t record = 0;
    AddShared* shared = nullptr;
    Tracker* tracker = nullptr; // null once progress is no longer reported
    FilePointer file;
    std::uint64_t done = 0;
    zip_error_t error{};
    std::unique_ptr<detail::EncryptedDeflater> encoder; ///< for an entry encrypted here
    std::vector<unsigned char> block;

    zip_int64_t fail(Interruption why, int code) {
        if (shared->interruption == Interruption::None) {
            shared->interruption = why;
            shared->failedRecord = record;
            shared->failedPath = path;
        }
        zip_error_set(&error, code, 0);
        return -1;
    }
};

/// The next block of the file, with progress: bytes read, 0 at the recorded size, -1 on failure.
zip_int64_t readBlock(FileSource* source, void* data, zip_uint64_t length) {
    // Up to the size recorded when the add was planned.
    const std::uint64_t want = std::min<std::uint64_t>({length, source->size - source->done, ZipArchive::s_ChuckSize});
    if (want == 0)
        return 0;
    const std::size_t got = FileSystem::fread(data, 1, static_cast<std::size_t>(want), source->file);
    if (got == 0 && FileSystem::ferror(source->file))
        return source->fail(Interruption::ReadFailed, ZIP_ER_READ);
    source->done += got;
    if (source->tracker) {
        const bool going = source->tracker->count(got);
        const auto* progress = source->shared->progress;
        if (!going || (progress && *progress && !(*progress)(source->done, source->size)))
            return source->fail(Interruption::Cancelled, ZIP_ER_CANCELLED);
    }
    return static_cast<zip_int64_t>(got);
}

/// Stored bytes of an entry that is deflated and encrypted here.
zip_int64_t readEncoded(FileSource* source, void* data, zip_uint64_t length) {
    detail::EncryptedDeflater& encoder = *source->encoder;
    while (encoder.pending() == 0 && !encoder.isFinished()) {
        const zip_int64_t got = readBlock(source, source->block.data(), source->block.size());
        if (got < 0)
            return -1;
        const bool encoded = got == 0 ? encoder.finish()
                                      : encoder.put(source->block.data(), static_cast<std::size_t>(got));
        if (!encoded)
            return source->fail(Interruption::ReadFailed, ZIP_ER_INTERNAL);
    }
    return static_cast<zip_int64_t>(encoder.take(static_cast<unsigned char*>(data), static_cast<std::size_t>(length)));
}

zip_int64_t fileSourceCallback(void* state, void* data, zip_uint64_t length, zip_source_cmd_t command) {
    auto* source = static_cast<FileSource*>(state);
    switch (command) {
    case ZIP_SOURCE_OPEN:
        source->file = ZipArchive::fopen(source->path, "rb", source->shared->attempts);
        if (!source->file)
            return source->fail(Interruption::OpenFailed, ZIP_ER_OPEN);
        source->done = 0;
        if (!source->shared->password.empty()) {
            source->encoder = std::make_unique<detail::EncryptedDeflater>();
            source->block.resize(static_cast<std::size_t>(ZipArchive::s_ChuckSize));
            if (!source->encoder->start(source->shared->password, source->shared->level))
                return source->fail(Interruption::ReadFailed, ZIP_ER_INTERNAL);
        }
        if (source->tracker && !source->tracker->count(1))
            return source->fail(Interruption::Cancelled, ZIP_ER_CANCELLED);
        return 0;
    case ZIP_SOURCE_READ:
        return source->encoder ? readEncoded(source, data, length) : readBlock(source, data, length);
    case ZIP_SOURCE_CLOSE:
        source->file.reset();
        return 0;
    case ZIP_SOURCE_STAT: {
        auto* stat = static_cast<zip_stat_t*>(data);
        zip_stat_init(stat);
        stat->mtime = static_cast<time_t>(source->modified);
        stat->valid |= ZIP_STAT_MTIME;
        if (!source->shared->password.empty()) {
            // Data already in its stored form: the engine copies it as it is.
            stat->comp_method = ZIP_CM_DEFLATE;
            stat->encryption_method = ZIP_EM_AES_256;
            stat->valid |= ZIP_STAT_COMP_METHOD | ZIP_STAT_ENCRYPTION_METHOD;
            if (source->encoder && source->encoder->isFinished()) {
                stat->size = source->encoder->plainSize();
                stat->comp_size = source->encoder->storedSize();
                stat->crc = source->encoder->checksum();
                stat->valid |= ZIP_STAT_SIZE | ZIP_STAT_COMP_SIZE | ZIP_STAT_CRC;
            }
        }
        return sizeof(zip_stat_t);
    }
    case ZIP_SOURCE_ERROR:
        return zip_error_to_data(&source->error, data, length);
    case ZIP_SOURCE_FREE:
        delete source;
        return 0;
    case ZIP_SOURCE_SUPPORTS:
        return zip_source_make_command_bitmap(ZIP_SOURCE_OPEN, ZIP_SOURCE_READ, ZIP_SOURCE_CLOSE, ZIP_SOURCE_STAT,
                                              ZIP_SOURCE_ERROR, ZIP_SOURCE_FREE, -1);
    default:
        zip_error_set(&source->error, ZIP_ER_OPNOTSUPP, 0);
        return -1;
    }
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

    for (const AddToZipAsInfo& info : infos) {
        const std::string source = Path::stripTrailingSlash(info.source);
        if (!File::isDirectory(source, true) && info.destination.empty())
            throw std::runtime_error("A file cannot have an empty path in zip.");
        const std::string destination = Path::stripTrailingSlash(info.destination);
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

    AddShared shared;
    shared.progress = &progress;
    shared.attempts = m_attempts;
    if (m_compressionLevel != 0)
        shared.password = m_password;
    shared.level = m_compressionLevel;
    const std::vector<const Record*> ordered = [&] {
        std::vector<const Record*> list;
        for (const auto& [key, record] : records)
            list.push_back(&record);
        return list;
    }();

    // Schedules records [0, end) on the engine; their data is read when the archive is written.
    const auto schedule = [&](std::size_t end, Tracker* track) {
        auto* archive = static_cast<zip_t*>(engine());
        std::size_t scheduled = 0;
        for (std::size_t i = 0; i < end; ++i) {
            const Record& record = *ordered[i];
            const std::int64_t modified = record.modified != 0 ? record.modified : record.created;
            if (record.isDirectory) {
                if (track)
                    track->count(1);
                if (!writeDirectoryEntry(record.entryName, modified, record.attributes))
                    continue;
                ++scheduled;
                continue;
            }
            auto* state = new FileSource{record.diskPath, record.size, modified, i, &shared, track, nullptr, 0, {}, nullptr, {}};
            zip_error_init(&state->error);
            zip_source_t* source = zip_source_function(archive, fileSourceCallback, state);
            if (source == nullptr) {
                delete state;
                continue;
            }
            const zip_int64_t index = zip_file_add(archive, record.entryName.c_str(), source,
                                                   ZIP_FL_ENC_UTF_8 | ZIP_FL_OVERWRITE);
            if (index < 0) {
                zip_source_free(source);
                continue;
            }
            const bool described = detail::describeEntry(archive, static_cast<zip_uint64_t>(index), false,
                                                         m_compressionLevel, record.attributes, modified,
                                                         s_zipCommentTesselPrefix);
            // With a password set on the archive, new entries are encrypted with
            // AES-256: deflated ones by their source, stored ones by the engine.
            const char* enginePassword = shared.password.empty() ? m_password.c_str() : nullptr;
            if (described && (m_password.empty() || zip_file_set_encryption(archive, static_cast<zip_uint64_t>(index),
                                                                            ZIP_EM_AES_256, enginePassword) == 0))
                ++scheduled;
        }
        return scheduled;
    };

    const std::size_t scheduled = schedule(ordered.size(), &tracker);
    bool written = commit();
    if (!written && shared.interruption != Interruption::None) {
        // Keep what was complete before the entry that stopped the add.
        const Interruption why = shared.interruption;
        const std::size_t keep = shared.failedRecord;
        shared.interruption = Interruption::None;
        shared.progress = nullptr;
        if (keep > 0) {
            schedule(keep, nullptr);
            commit();
        }
        if (why == Interruption::OpenFailed) {
            const std::string message = "Failed to open for Reading : " + shared.failedPath;
            std::cerr << message << std::endl;
            throw std::runtime_error(message);
        }
        return false;
    }
    return written && scheduled == ordered.size() && tracker.done() == tracker.total();
}

bool ZipArchive::createDirectoryInZip(const std::string& path) { return createDirectoryInZip(path, nowInSeconds()); }

bool ZipArchive::createDirectoryInZip(const std::string& path, std::int64_t time) {
    if (!isZipping())
        return false;
    if (path.empty())
        return true;
    const std::string name = Path::stripTrailingSlash(Path::stripLeadingSlash(path));
    if (name.empty() || m_entries.count(name))
        return true;
    std::set<std::string> levels;
    for (std::string level = name; !level.empty() && !m_entries.count(level); level = Path::stripLastToken(level))
        levels.insert(level);
    for (const std::string& level : levels) {
        if (!writeDirectoryEntry(level + "/", time, getDefaultDirectoryAttributes())) {
            commit();
            return false;
        }
    }
    return commit();
}

} // namespace FileSystem
