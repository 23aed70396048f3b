#include <FileSystem/files/File.h>

#include <FileSystem/files/Directory.h>
#include <FileSystem/files/FileCloser.h>
#include <FileSystem/files/StreamUtilities.h>
#include <FileSystem/paths/Path.h>
#include <FileSystem/paths/PathConverterBase.h>
#include <FileSystem/platform/Files.h>
#include <FileSystem/utilities/detail/Percentages.h>

#include <algorithm>
#include <iterator>
#include <sstream>

namespace FileSystem {

namespace {

FileTime toFileTime(const sys::TimeStamp& t) { return {t.seconds, t.nanoseconds}; }

std::optional<sys::TimeStamp> toTimeStamp(const std::optional<FileTime>& t) {
    if (!t)
        return std::nullopt;
    return sys::TimeStamp{t->seconds, t->nanoseconds};
}

/// The data of a file that is not a folder, as `getData` reports it.
std::optional<sys::FileData> fileData(const std::string& path) {
    auto data = sys::fileData(toSystemPath(path));
    if (!data || data->directory)
        return std::nullopt;
    return data;
}

} // namespace

bool File::exists(const std::string& path) { return sys::attributes(toSystemPath(path)).has_value(); }

bool File::isDirectory(const std::string& path, bool followLinks) {
    if (!exists(path))
        return false;
    if (!followLinks && isSymbolicLink(path))
        return false;
    if (Path::isDotOrDotDot(path))
        return false;
    return Directory::isDirectory(path, followLinks);
}

bool File::isRegularFile(const std::string& path) {
    const auto attributes = sys::attributes(toSystemPath(path));
    return attributes && attributes->regularFile;
}

bool File::isReadOnly(const std::string& path) {
    const auto attributes = sys::attributes(toSystemPath(path));
    return !attributes || attributes->readOnly;
}

bool File::canRead(const std::string& path) {
    if (Directory::isDirectory(path, true))
        return Directory::canRead(path);
    return sys::canOpenFile(toSystemPath(path), false);
}

bool File::canWrite(const std::string& path) {
    if (Directory::isDirectory(path, true))
        return Directory::canWrite(path);
    const std::string native = toSystemPath(path);
    const auto attributes = sys::attributes(native);
    return sys::canOpenFile(native, true) && attributes && !attributes->readOnly;
}

bool File::create(const std::string& path, bool failIfExists) {
    return sys::createFile(toSystemPath(path), failIfExists) && exists(path);
}

bool File::create(const char* path, bool failIfExists) { return create(std::string(path ? path : ""), failIfExists); }

bool File::remove(const std::string& path) {
    if (path.empty())
        return false;
    // Removing a name needs no write right on the file itself here, so its
    // mode is left alone (hard links to it share that mode).
    return sys::removeFile(toSystemPath(path)) || !exists(path);
}

bool File::rename(const std::string& oldPath, const std::string& newPath) {
    if (oldPath.empty() || newPath.empty())
        return false;
    const std::string from = toSystemPath(oldPath);
    const std::string to = toSystemPath(newPath);
    switch (sys::renameNoReplace(from, to)) {
    case sys::RenameResult::Done:
        return true;
    case sys::RenameResult::CrossDevice:
        break;
    default:
        return false;
    }
    // Another file system: copy with its times (never over an existing file),
    // then remove the original.
    sys::CopyOptions options;
    options.copyLinkItself = true;
    options.replaceExisting = false;
    options.keepTimes = true;
    if (sys::copyFile(from, to, options) != sys::CopyResult::Done)
        return false;
    if (sys::removeFile(from))
        return true;
    sys::removeFile(to);
    return false;
}

bool File::copyFile(const std::string& src, const std::string& dest, bool keepTimes, bool copyLinkItself,
                    const Tools::ProgressFunction& progress) {
    // The platform opens the source once and checks the copy (size, rights,
    // times, a link's text) before it takes the destination's name, and refuses
    // to copy a file onto itself.
    const std::string from = toSystemPath(src);
    const std::string to = toSystemPath(dest);
    sys::CopyOptions options;
    options.copyLinkItself = copyLinkItself;
    options.keepTimes = keepTimes;
    options.progress = progress ? &progress : nullptr;
    sys::CopyResult result = sys::copyFile(from, to, options);
    if (result == sys::CopyResult::NoFolder) {
        const std::string parent = Path::stripLastToken(dest);
        if (!parent.empty() && Directory::create(parent, false, true))
            result = sys::copyFile(from, to, options);
    }
    return result == sys::CopyResult::Done;
}

bool File::copyFile(const std::string& src, const char* dest, bool keepTimes, bool copyLinkItself,
                    const Tools::ProgressFunction& progress) {
    return copyFile(src, std::string(dest ? dest : ""), keepTimes, copyLinkItself, progress);
}

bool File::copyFileWithProgress(Tools::ToolProgress* progress, const std::string& src, const std::string& dest,
                                bool keepTimes, bool copyLinkItself) {
    detail::Percentages percentages(progress);
    return copyFile(src, dest, keepTimes, copyLinkItself,
                    [&percentages](std::uint64_t done, std::uint64_t total) { return percentages.report(done, total); });
}

bool File::setReadWritePermissions(const std::string& path) {
    const std::string native = toSystemPath(path);
    const auto mode = sys::fileMode(native);
    if (!mode || !exists(path))
        return false;
    const bool folder = Directory::exists(path);
    return sys::changeMode(native, (*mode & 07777) | (folder ? 0777u : 0666u));
}

std::string File::readWholeFile(const std::string& path, bool binary) {
    KVifstream in(path, binary ? std::ios::in | std::ios::binary : std::ios::in);
    if (!in)
        return {};
    std::ostringstream content;
    content << in.rdbuf();
    return content.str();
}

void File::dumpToFile(const std::string& path, const std::string& text) {
    KVofstream out(path, std::ios::out | std::ios::trunc);
    out << text;
}

bool File::getData(const std::string& path, std::uint64_t& size, FileTime& modified, FileTime& created,
                   FileTime& accessed) {
    const auto data = fileData(path);
    if (!data) {
        size = 0;
        modified = created = accessed = FileTime{};
        return false;
    }
    size = data->size;
    modified = toFileTime(data->modified);
    created = toFileTime(data->created);
    accessed = toFileTime(data->accessed);
    return true;
}

bool File::getData(const std::string& path, std::uint64_t& size) {
    FileTime modified, created, accessed;
    return getData(path, size, modified, created, accessed);
}

bool File::getData(const std::string& path, std::uint64_t& size, FileTime& modified) {
    FileTime created, accessed;
    return getData(path, size, modified, created, accessed);
}

bool File::getData(const std::string& path, std::uint64_t& size, FileTime& modified, FileTime& created) {
    FileTime accessed;
    return getData(path, size, modified, created, accessed);
}

bool File::getData(const std::string& path, std::uint64_t& size, std::int64_t& modified, std::int64_t& created,
                   std::int64_t& accessed) {
    FileTime m, c, a;
    const bool result = getData(path, size, m, c, a);
    modified = m.seconds;
    created = c.seconds;
    accessed = a.seconds;
    return result;
}

bool File::getData(const std::string& path, std::uint64_t& size, std::int64_t& modified) {
    std::int64_t created = 0, accessed = 0;
    return getData(path, size, modified, created, accessed);
}

bool File::getData(const std::string& path, std::uint64_t& size, std::int64_t& modified, std::int64_t& created) {
    std::int64_t accessed = 0;
    return getData(path, size, modified, created, accessed);
}

bool File::setData(const std::string& path, const std::optional<FileTime>& modified,
                   const std::optional<FileTime>& accessed) {
    if (!modified && !accessed)
        return false;
    return sys::setFileTimes(toSystemPath(path), toTimeStamp(modified), toTimeStamp(accessed));
}

std::uint64_t File::getFileSize(const std::string& path) {
    const auto data = fileData(path);
    return data ? data->size : 0;
}

std::int64_t File::getTimeLastModified(const std::string& path) { return getFileTimeLastModified(path).seconds; }

std::int64_t File::getTimeCreated(const std::string& path) { return getFileTimeCreated(path).seconds; }

FileTime File::getFileTimeLastModified(const std::string& path) {
    const auto data = fileData(path);
    return data ? toFileTime(data->modified) : FileTime{kInvalidTime, 0};
}

FileTime File::getFileTimeCreated(const std::string& path) {
    const auto data = fileData(path);
    return data ? toFileTime(data->created) : FileTime{kInvalidTime, 0};
}

bool File::isSymbolicLink(const std::string& path) {
    const auto attributes = sys::attributes(toSystemPath(path));
    return !attributes || attributes->symbolicLink;
}

std::string File::getSymbolicLinkTarget(const std::string& path) {
    return sys::readSymbolicLink(toSystemPath(path)).value_or(std::string());
}

bool File::checkMagicNumber(const std::string& path, const std::string& magic) {
    return checkMagicNumber(path, std::vector<std::string>{magic});
}

bool File::checkMagicNumber(const std::string& path, const std::vector<std::string>& magics) {
    FilePointer file = FileSystem::fopen(path, "rb+");
    if (!file)
        return false;
    std::size_t longest = 0;
    for (const std::string& magic : magics)
        longest = std::max(longest, magic.size());
    if (longest == 0)
        return true;
    std::string head(longest, '\0');
    head.resize(FileSystem::fread(head.data(), 1, longest, file));
    return std::any_of(magics.begin(), magics.end(), [&head](const std::string& magic) {
        return magic.empty() || (magic.size() <= head.size() && head.compare(0, magic.size(), magic) == 0);
    });
}

PosixFilePermissions File::getPosixFilePermissions(const std::string& path, bool) {
    const auto mode = sys::fileMode(toSystemPath(path));
    return PosixFilePermissions(mode ? (*mode & 07777u) : 0777u);
}

bool File::setPosixFilePermissions(const std::string& path, PosixFilePermissions permissions) {
    const std::string native = toSystemPath(path);
    const auto mode = sys::fileMode(native);
    return mode && sys::changeMode(native, (*mode & 0177000u) | permissions.value());
}

std::string posixFilePermissionsToString(PosixFilePermissions permissions) {
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text << std::oct << permissions.value();
    return text.str();
}

PosixFilePermissions posixFilePermissionsFromString(const std::string& text) {
    std::istringstream in(text);
    in.imbue(std::locale::classic());
    std::uint32_t value = 0;
    if (!(in >> std::oct >> value))
        return PosixFilePermissions();
    return PosixFilePermissions(value);
}

} // namespace FileSystem
