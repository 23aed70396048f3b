#include <FileSystem/zip/detail/Engine.h>

#include <FileSystem/platform/Folders.h>
#include <FileSystem/platform/OpenFiles.h>

#include <cerrno>
#include <memory>
#include <optional>
#include <vector>

namespace FileSystem::detail {

namespace {

/// The archive's folder and its name in it.
struct Place {
    sys::Folder folder;
    std::string name;
    std::string path;
};

std::optional<Place> placeOf(const std::string& nativePath) {
    std::string name;
    auto folder = sys::openParent(nativePath, name);
    if (!folder)
        return std::nullopt;
    return Place{std::move(*folder), std::move(name), nativePath};
}

/// Writes `size` bytes as the whole content of the archive: under a temporary
/// name first, then renamed over it.
bool replaceWith(Place& place, const void* data, std::size_t size) {
    const std::string temporary = sys::partialName(place.name);
    sys::OpenFile out = place.folder.createFile(temporary, 0666);
    if (!out)
        return false;
    if (out.write(data, size) && out.close() &&
        place.folder.rename(temporary, place.folder, place.name, true) == sys::RenameResult::Done)
        return true;
    out.close();
    place.folder.removeFile(temporary);
    return false;
}

const unsigned char kEmptyArchive[22] = {'P', 'K', 5, 6}; // no disks, entries, directory or comment

/// The archive file as the engine's source: reads through a descriptor of the
/// archive, writes a new archive beside it.
struct ArchiveFile {
    Place place;
    bool writable = false;
    bool startEmpty = false; ///< what stands there is not read: a new archive replaces it
    sys::OpenFile in;
    std::uint64_t inSize = 0;
    std::uint64_t inPosition = 0;
    std::int64_t inModified = 0;
    sys::OpenFile out;
    std::string temporary;
    std::vector<unsigned char> pending; ///< written, not yet in `out`: the engine writes in small pieces
    zip_error_t error{};

    static constexpr std::size_t kWriteBuffer = std::size_t{1} << 20;

    bool flush() {
        const bool written = pending.empty() || out.write(pending.data(), pending.size());
        pending.clear();
        return written;
    }

    zip_int64_t write(const void* data, zip_uint64_t length) {
        if (pending.size() + length > kWriteBuffer && !flush())
            return fail(ZIP_ER_WRITE);
        if (length >= kWriteBuffer)
            return out.write(data, static_cast<std::size_t>(length)) ? static_cast<zip_int64_t>(length)
                                                                      : fail(ZIP_ER_WRITE);
        const auto* bytes = static_cast<const unsigned char*>(data);
        pending.insert(pending.end(), bytes, bytes + length);
        return static_cast<zip_int64_t>(length);
    }

    zip_int64_t fail(int code) {
        zip_error_set(&error, code, 0);
        return -1;
    }

    bool openInput() {
        if (in)
            return true;
        in = sys::openForReading(place.path);
        const auto status = in ? in.status() : std::nullopt;
        if (!status) {
            in = sys::OpenFile();
            return false;
        }
        inSize = status->size;
        inModified = status->modified.seconds;
        inPosition = 0;
        return true;
    }

    zip_int64_t seekWrite(void* data, zip_uint64_t length) {
        auto* args = ZIP_SOURCE_GET_ARGS(zip_source_args_seek_t, data, length, &error);
        if (args == nullptr)
            return -1;
        const sys::SeekFrom from = args->whence == SEEK_SET   ? sys::SeekFrom::Start
                                   : args->whence == SEEK_CUR ? sys::SeekFrom::Current
                                                              : sys::SeekFrom::End;
        return flush() && sys::seek(out, args->offset, from) ? 0 : fail(ZIP_ER_SEEK);
    }

    zip_int64_t handle(void* data, zip_uint64_t length, zip_source_cmd_t command) {
        switch (command) {
        case ZIP_SOURCE_OPEN:
            if (!openInput())
                return fail(ZIP_ER_OPEN);
            inPosition = 0;
            return 0;
        case ZIP_SOURCE_READ: {
            const std::int64_t got = sys::readAt(in, data, static_cast<std::size_t>(length), inPosition);
            if (got < 0)
                return fail(ZIP_ER_READ);
            inPosition += static_cast<std::uint64_t>(got);
            return got;
        }
        case ZIP_SOURCE_CLOSE:
            return 0;
        case ZIP_SOURCE_SEEK: {
            const zip_int64_t position =
                zip_source_seek_compute_offset(inPosition, inSize, data, length, &error);
            if (position < 0)
                return -1;
            inPosition = static_cast<std::uint64_t>(position);
            return 0;
        }
        case ZIP_SOURCE_TELL:
            return static_cast<zip_int64_t>(inPosition);
        case ZIP_SOURCE_STAT: {
            if (startEmpty || !openInput()) {
                // How the engine learns that there is no archive yet: it then starts a new one.
                zip_error_set(&error, ZIP_ER_READ, ENOENT);
                return -1;
            }
            auto* stat = static_cast<zip_stat_t*>(data);
            zip_stat_init(stat);
            stat->size = inSize;
            stat->mtime = static_cast<time_t>(inModified);
            stat->valid |= ZIP_STAT_SIZE | ZIP_STAT_MTIME;
            return sizeof(zip_stat_t);
        }
        case ZIP_SOURCE_BEGIN_WRITE: {
            temporary = sys::partialName(place.name);
            out = place.folder.createFile(temporary, 0666);
            if (!out)
                return fail(ZIP_ER_TMPOPEN);
            // The new archive keeps the rights of the one it replaces.
            if (!startEmpty && openInput())
                if (const auto status = in.status())
                    out.setMode(status->mode & 0777);
            return 0;
        }
        case ZIP_SOURCE_WRITE:
            return write(data, length);
        case ZIP_SOURCE_SEEK_WRITE:
            return seekWrite(data, length);
        case ZIP_SOURCE_TELL_WRITE: {
            const auto position = sys::seek(out, 0, sys::SeekFrom::Current);
            return position ? static_cast<zip_int64_t>(*position + pending.size()) : fail(ZIP_ER_TELL);
        }
        case ZIP_SOURCE_COMMIT_WRITE: {
            const bool closed = flush() && out.close();
            pending = {};
            if (!closed || place.folder.rename(temporary, place.folder, place.name, true) != sys::RenameResult::Done) {
                place.folder.removeFile(temporary);
                return fail(ZIP_ER_RENAME);
            }
            // What stands there now is the archive just written.
            in = sys::OpenFile();
            startEmpty = false;
            return 0;
        }
        case ZIP_SOURCE_ROLLBACK_WRITE:
            pending = {};
            out.close();
            place.folder.removeFile(temporary);
            return 0;
        case ZIP_SOURCE_REMOVE:
            // An archive whose last entry went stays an archive, without entries.
            in = sys::OpenFile();
            return replaceWith(place, kEmptyArchive, sizeof kEmptyArchive) ? 0 : fail(ZIP_ER_REMOVE);
        case ZIP_SOURCE_ERROR:
            return zip_error_to_data(&error, data, length);
        case ZIP_SOURCE_FREE:
            return 0;
        case ZIP_SOURCE_SUPPORTS:
            if (!writable)
                return zip_source_make_command_bitmap(ZIP_SOURCE_OPEN, ZIP_SOURCE_READ, ZIP_SOURCE_CLOSE,
                                                      ZIP_SOURCE_SEEK, ZIP_SOURCE_TELL, ZIP_SOURCE_STAT,
                                                      ZIP_SOURCE_ERROR, ZIP_SOURCE_FREE, ZIP_SOURCE_SUPPORTS, -1);
            return zip_source_make_command_bitmap(
                ZIP_SOURCE_OPEN, ZIP_SOURCE_READ, ZIP_SOURCE_CLOSE, ZIP_SOURCE_SEEK, ZIP_SOURCE_TELL, ZIP_SOURCE_STAT,
                ZIP_SOURCE_ERROR, ZIP_SOURCE_FREE, ZIP_SOURCE_BEGIN_WRITE, ZIP_SOURCE_COMMIT_WRITE,
                ZIP_SOURCE_ROLLBACK_WRITE, ZIP_SOURCE_WRITE, ZIP_SOURCE_SEEK_WRITE, ZIP_SOURCE_TELL_WRITE,
                ZIP_SOURCE_REMOVE, ZIP_SOURCE_SUPPORTS, -1);
        default:
            return fail(ZIP_ER_OPNOTSUPP);
        }
    }
};

zip_int64_t archiveCallback(void* state, void* data, zip_uint64_t length, zip_source_cmd_t command) {
    auto* file = static_cast<ArchiveFile*>(state);
    const zip_int64_t result = file->handle(data, length, command);
    if (command == ZIP_SOURCE_FREE)
        delete file;
    return result;
}

} // namespace

zip_t* openArchive(const std::string& nativePath, ArchiveAccess access) {
    auto place = placeOf(nativePath);
    if (!place)
        return nullptr;
    auto file = std::make_unique<ArchiveFile>();
    file->place = std::move(*place);
    file->writable = access != ArchiveAccess::Read;
    file->startEmpty = access == ArchiveAccess::Replace;
    zip_error_init(&file->error);
    zip_error_t error;
    zip_error_init(&error);
    zip_source_t* source = zip_source_function_create(archiveCallback, file.get(), &error);
    if (source == nullptr) {
        zip_error_fini(&error);
        return nullptr;
    }
    file.release(); // the source owns it from here on
    // A created archive replaces the old one when it is written, also when it
    // was given nothing: the engine then asks the source to remove the archive,
    // which writes an empty one in its place.
    const int flags = access == ArchiveAccess::Read      ? ZIP_RDONLY
                      : access == ArchiveAccess::Replace ? ZIP_CREATE | ZIP_TRUNCATE
                      : access == ArchiveAccess::Modify  ? 0
                                                         : ZIP_CREATE;
    zip_t* archive = zip_open_from_source(source, flags, &error);
    if (archive == nullptr)
        zip_source_free(source);
    zip_error_fini(&error);
    return archive;
}

bool describeEntry(zip_t* archive, zip_uint64_t index, bool directory, int level, std::uint32_t attributes,
                   std::int64_t modified, const std::string& comment) {
    if (!directory) {
        const bool stored = level == 0;
        // The engine reads a level of 0 as its default; -1 asks for that default.
        if (zip_set_file_compression(archive, index, stored ? ZIP_CM_STORE : ZIP_CM_DEFLATE,
                                     stored || level < 0 ? 0 : static_cast<zip_uint32_t>(level)) != 0)
            return false;
    }
    return zip_file_set_external_attributes(archive, index, 0, ZIP_OPSYS_UNIX, attributes) == 0 &&
           zip_file_set_comment(archive, index, comment.data(), static_cast<zip_uint16_t>(comment.size()),
                                ZIP_FL_ENC_UTF_8) == 0 &&
           zip_file_set_mtime(archive, index, static_cast<time_t>(modified), 0) == 0;
}

bool writeEmptyArchive(const std::string& nativePath) {
    auto place = placeOf(nativePath);
    return place && replaceWith(*place, kEmptyArchive, sizeof kEmptyArchive);
}

} // namespace FileSystem::detail
