#include <FileSystem/zip/detail/Spool.h>

#include <FileSystem/platform/OpenFiles.h>

#include <algorithm>
#include <cstring>

namespace FileSystem::detail {

bool Spool::open(const std::string& nativeArchivePath) {
    std::string name;
    auto folder = sys::openParent(nativeArchivePath, name);
    m_file = folder ? sys::createAnonymousFile(*folder) : sys::OpenFile();
    m_size = 0;
    return isOpen();
}

bool Spool::append(const void* data, std::size_t size) {
    if (!m_file || !m_file.write(data, size))
        return false;
    m_size += size;
    return true;
}

std::int64_t Spool::readAt(void* data, std::size_t size, std::uint64_t offset) {
    if (!m_file)
        return -1;
    if (size >= kReadAhead)
        return sys::readAt(m_file, data, size, offset);
    // The engine copies entries in small pieces: they are served from a large
    // read of what follows.
    if (offset < m_aheadOffset || offset + size > m_aheadOffset + m_aheadSize) {
        m_ahead.resize(kReadAhead);
        const std::int64_t got = sys::readAt(m_file, m_ahead.data(), kReadAhead, offset);
        if (got < 0) {
            m_aheadSize = 0;
            return -1;
        }
        m_aheadOffset = offset;
        m_aheadSize = static_cast<std::size_t>(got);
    }
    const std::size_t n = std::min<std::uint64_t>(size, m_aheadOffset + m_aheadSize - offset);
    std::memcpy(data, m_ahead.data() + (offset - m_aheadOffset), n);
    return static_cast<std::int64_t>(n);
}

bool Spool::clear() {
    m_size = 0;
    m_aheadSize = 0;
    m_ahead = {};
    return m_file && sys::resize(m_file, 0) && sys::seek(m_file, 0, sys::SeekFrom::Start).has_value();
}

namespace {

struct EntryState {
    std::shared_ptr<Spool> spool;
    SpooledEntry entry;
    std::uint64_t position = 0;
    zip_error_t error{};
};

zip_int64_t entryCallback(void* state, void* data, zip_uint64_t length, zip_source_cmd_t command) {
    auto* source = static_cast<EntryState*>(state);
    switch (command) {
    case ZIP_SOURCE_OPEN:
        source->position = 0;
        return 0;
    case ZIP_SOURCE_READ: {
        const std::uint64_t want = std::min<std::uint64_t>(length, source->entry.storedSize - source->position);
        if (want == 0)
            return 0;
        const std::int64_t got =
            source->spool->readAt(data, static_cast<std::size_t>(want), source->entry.offset + source->position);
        if (got <= 0) { // the spool never ends before the entry does
            zip_error_set(&source->error, ZIP_ER_READ, 0);
            return -1;
        }
        source->position += static_cast<std::uint64_t>(got);
        return got;
    }
    case ZIP_SOURCE_CLOSE:
        return 0;
    case ZIP_SOURCE_STAT: {
        auto* stat = static_cast<zip_stat_t*>(data);
        zip_stat_init(stat);
        stat->size = source->entry.plainSize;
        stat->comp_size = source->entry.storedSize;
        stat->crc = source->entry.checksum;
        stat->mtime = static_cast<time_t>(source->entry.modified);
        stat->comp_method = source->entry.deflated ? ZIP_CM_DEFLATE : ZIP_CM_STORE;
        stat->encryption_method = source->entry.encrypted ? ZIP_EM_AES_256 : ZIP_EM_NONE;
        stat->valid |= ZIP_STAT_SIZE | ZIP_STAT_COMP_SIZE | ZIP_STAT_CRC | ZIP_STAT_MTIME | ZIP_STAT_COMP_METHOD |
                       ZIP_STAT_ENCRYPTION_METHOD;
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

} // namespace

zip_source_t* spooledEntrySource(zip_t* archive, const std::shared_ptr<Spool>& spool, const SpooledEntry& entry) {
    auto* state = new EntryState{spool, entry, 0, {}};
    zip_error_init(&state->error);
    zip_source_t* source = zip_source_function(archive, entryCallback, state);
    if (source == nullptr)
        delete state;
    return source;
}

} // namespace FileSystem::detail
