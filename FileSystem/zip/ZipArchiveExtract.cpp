// Extraction of entries to disk and memory.

#include <FileSystem/zip/ZipArchive.h>

#include <FileSystem/environment/MachineInfo.h>
#include <FileSystem/files/Directory.h>
#include <FileSystem/files/File.h>
#include <FileSystem/paths/Path.h>
#include <FileSystem/zip/detail/Engine.h>
#include <FileSystem/zip/detail/EntryReader.h>

#include <stdexcept>
#include <vector>

namespace FileSystem {

namespace {

[[noreturn]] void fail(const std::string& what) { throw std::runtime_error("Zip Extract Failure : " + what); }

std::vector<std::string> segments(const std::string& path) {
    std::vector<std::string> parts;
    Path::getTokens(Path::makeForwardSlashes(path), parts);
    return parts;
}

/// Whether a relative path climbs above its start through "..".
bool leavesItsFolder(const std::string& relative) {
    int depth = 0;
    for (const std::string& part : segments(relative)) {
        if (part == "..") {
            if (--depth < 0)
                return true;
        } else if (part != ".") {
            ++depth;
        }
    }
    return false;
}

bool isRootedOrDrive(const std::string& name) {
    return (!name.empty() && (name[0] == '/' || name[0] == '\\')) || (name.size() >= 2 && name[1] == ':');
}

/// Refuses a path below `root` that would be reached through a link.
void refuseLinksOnTheWay(const std::string& root, const std::string& relative, bool includingLast) {
    std::string path = root;
    const std::vector<std::string> parts = segments(relative);
    for (std::size_t i = 0; i < parts.size(); ++i) {
        if (i + 1 == parts.size() && !includingLast)
            break;
        path = path.empty() ? parts[i] : path + "/" + parts[i];
        if (File::isSymbolicLink(path) && File::exists(path))
            fail("Path goes through a link : " + path);
    }
}

} // namespace

bool ZipArchive::extractEntry(std::uint64_t index, const std::string& path) const {
    if (!isUnzipping())
        return false;
    if (File::isDirectory(path, true))
        fail("Extract path already exists and is not a file : " + path);
    const FileInfo info = fileInfoAt(index);
    detail::EntryReader data(static_cast<zip_t*>(engine()), index, m_password);
    if (!data.isOpen())
        fail("Failed to open entry : " + info.name);

    const std::string folder = Path::stripLastToken(path);
    if (const auto space = MachineInfo::getDiskSpaceInfo(folder.empty() ? std::string(".") : folder);
        space && space->free < info.uncompressedSize)
        fail("Insufficient space to extract file to " + path + " There is " + std::to_string(space->available) +
             " B available, but " + std::to_string(info.uncompressedSize) + " B is needed.");

    // A link in the file's place is replaced, never written through.
    if (File::exists(path) && File::isSymbolicLink(path))
        File::remove(path);
    FilePointer out = ZipArchive::fopen(path, "wb", m_attempts);
    if (!out)
        throw std::runtime_error("Failed to open for writing : " + path);
    std::vector<char> buffer(static_cast<std::size_t>(s_ChuckSize));
    std::uint64_t written = 0;
    const auto sizeFailure = [&](std::uint64_t size) {
        fail("Written file size differs from filesize in zip " + std::to_string(size) + " instead of " +
             std::to_string(info.uncompressedSize));
    };
    for (;;) {
        const std::int64_t got = data.read(buffer.data(), buffer.size());
        if (got < 0)
            fail("Failed to read from zip : " + info.name);
        if (got == 0)
            break;
        // An entry never writes more than it declares.
        if (written + static_cast<std::uint64_t>(got) > info.uncompressedSize)
            sizeFailure(written + static_cast<std::uint64_t>(got));
        if (FileSystem::fwrite(buffer.data(), 1, static_cast<std::size_t>(got), out) != static_cast<std::size_t>(got))
            fail("Difference in written bytes and read bytes from zip");
        written += static_cast<std::uint64_t>(got);
    }
    if (FileSystem::fclose(out) != 0)
        fail("Difference in written bytes and read bytes from zip");
    if (written != info.uncompressedSize)
        sizeFailure(written);
    setFileAttributes(path, info.externalAttributes, info.versionMadeBy);
    return true;
}

bool ZipArchive::extractFileFromZip(const std::string& name, const std::string& path) const {
    const auto location = findFileNameInZip(name, true, false);
    return location && extractFileFromZip(location, path);
}

bool ZipArchive::extractFileFromZip(const std::optional<ZipLocation>& location, const std::string& path) const {
    const auto index = indexOf(location);
    return index && extractEntry(*index, path);
}

std::optional<std::string> ZipArchive::extractDataFromZip(const std::string& name) const {
    return extractDataFromZip(findFileNameInZip(name, true, false));
}

std::optional<std::string> ZipArchive::extractDataFromZip(const std::optional<ZipLocation>& location) const {
    const auto index = indexOf(location);
    if (!index)
        return std::nullopt;
    const std::uint64_t declared = fileInfoAt(*index).uncompressedSize;
    detail::EntryReader data(static_cast<zip_t*>(engine()), *index, m_password);
    if (!data.isOpen())
        return std::nullopt;
    // Grown as the data comes, never beyond what the entry declares.
    std::string content;
    std::vector<char> buffer(static_cast<std::size_t>(s_ChuckSize));
    for (;;) {
        const std::int64_t got = data.read(buffer.data(), buffer.size());
        if (got < 0 || content.size() + static_cast<std::uint64_t>(got) > declared)
            return std::nullopt;
        if (got == 0)
            break;
        content.append(buffer.data(), static_cast<std::size_t>(got));
    }
    if (content.size() != declared)
        return std::nullopt;
    return content;
}

void ZipArchive::extractEntries(const ExtractFromZipAsInfo& info, bool restoreLinks, std::vector<std::string>& written,
                                std::uint64_t* size) const {
    const std::string entry = Path::stripTrailingSlash(info.entry);
    const std::string destination = Path::stripTrailingSlash(info.destination);
    std::vector<std::pair<std::string, FileInfo>> folders; // their rights are set at the end
    const std::uint64_t count = numberOfEntries();
    for (std::uint64_t i = 0; i < count; ++i) {
        const FileInfo fileInfo = fileInfoAt(i);
        const std::string name = Path::stripTrailingSlash(fileInfo.name);
        if (name.empty())
            continue;
        std::string rest;
        if (entry.empty())
            rest = "/" + name;
        else if (name == entry)
            rest.clear();
        else if (name.compare(0, entry.size() + 1, entry + "/") == 0)
            rest = name.substr(entry.size());
        else
            continue;
        if (!info.recursive && segments(rest).size() > 1)
            continue;
        if (info.filter && !info.filter(fileInfo.name))
            continue;
        const bool folder = isDirectory(fileInfo.name, fileInfo.externalAttributes, fileInfo.versionMadeBy);
        if (size != nullptr) {
            if (!folder)
                *size += fileInfo.uncompressedSize;
            continue;
        }
        // Nothing is written outside the target.
        if (isRootedOrDrive(fileInfo.name) || leavesItsFolder(rest))
            fail("Entry leaves the target directory : " + fileInfo.name);
        const std::string path = destination.empty() ? Path::stripLeadingSlash(rest) : destination + rest;
        if (path.empty())
            fail("Entry has no path on disk : " + fileInfo.name);

        const bool link = !folder && restoreLinks && isUnix(fileInfo.versionMadeBy) &&
                          (fileInfo.externalAttributes & 0xf0000000) == 0xa0000000;
        refuseLinksOnTheWay(destination, rest, folder);
        if (folder) {
            if (File::exists(path) && !Directory::exists(path))
                fail("Extract path already exists and is not a directory : " + path);
            if (!Directory::exists(path) && !Directory::create(path, false, true))
                fail("Failed to create directory : " + path);
            folders.emplace_back(path, fileInfo);
            written.push_back(path);
            continue;
        }
        const std::string parent = Path::stripLastToken(path);
        if (!parent.empty() && !Directory::exists(parent) && !Directory::create(parent, false, true))
            fail("Failed to create parent path directory");
        if (link) {
            const auto target = extractDataFromZip(fileInfo.location);
            if (!target || target->empty())
                fail("Failed to read link : " + fileInfo.name);
            // The link must point into the target as well.
            const std::string linkFolder = Path::stripLastToken(rest);
            if (isRootedOrDrive(*target) || leavesItsFolder(linkFolder + "/" + *target))
                fail("Link leaves the target directory : " + fileInfo.name);
            if (!File::createSymbolicLink(*target, path))
                fail("Failed to create link : " + path);
        } else {
            extractEntry(i, path);
        }
        written.push_back(path);
    }
    for (auto it = folders.rbegin(); it != folders.rend(); ++it)
        setFileAttributes(it->first, it->second.externalAttributes, it->second.versionMadeBy);
}

std::vector<std::string> ZipArchive::extractFromZipAs(const std::vector<ExtractFromZipAsInfo>& infos,
                                                      bool restoreLinks) const {
    std::vector<std::string> written;
    if (!isUnzipping())
        return written;
    for (const ExtractFromZipAsInfo& info : infos)
        extractEntries(info, restoreLinks || info.restoreLinks, written, nullptr);
    return written;
}

std::vector<std::string> ZipArchive::extractFromZipAs(const std::string& entry, const std::string& destination,
                                                      bool recursive, bool restoreLinks, const Filter& filter) const {
    return extractFromZipAs(std::vector<ExtractFromZipAsInfo>{{entry, destination, recursive, restoreLinks, filter}},
                            restoreLinks);
}

std::vector<std::string> ZipArchive::extractFromZip(const std::string& entry, bool recursive, bool restoreLinks,
                                                    const Filter& filter) const {
    return extractFromZip(entry, std::string(), recursive, restoreLinks, filter);
}

std::vector<std::string> ZipArchive::extractFromZip(const std::string& entry, const std::string& targetDirectory,
                                                    bool recursive, bool restoreLinks, const Filter& filter) const {
    if (!targetDirectory.empty()) {
        if (File::exists(targetDirectory) && !File::isDirectory(targetDirectory, true))
            fail("Target is not a directory");
        if (!File::exists(targetDirectory) && !Directory::create(targetDirectory, false, true))
            fail("Failed to create directory");
    }
    const std::string last = Path::getLastToken(Path::stripTrailingSlash(entry));
    const std::string target = Path::stripTrailingSlash(targetDirectory);
    std::string destination = target.empty() ? last : (last.empty() ? target : target + "/" + last);
    return extractFromZipAs(std::vector<ExtractFromZipAsInfo>{{entry, destination, recursive, restoreLinks, filter}},
                            restoreLinks);
}

std::vector<std::string> ZipArchive::extractFromZip(const std::vector<ExtractFromZipInfo>& infos,
                                                    bool restoreLinks) const {
    std::vector<ExtractFromZipAsInfo> asInfos;
    for (const ExtractFromZipInfo& info : infos) {
        const std::string last = Path::getLastToken(Path::stripTrailingSlash(info.entry));
        const std::string target = Path::stripTrailingSlash(info.destination);
        asInfos.push_back({info.entry, target.empty() ? last : target + "/" + last, info.recursive, info.restoreLinks,
                           info.filter});
    }
    return extractFromZipAs(asInfos, restoreLinks);
}

std::uint64_t ZipArchive::getUnzippedSize(bool recursive, bool restoreLinks, const Filter& filter) const {
    return getUnzippedSize(std::string(), recursive, restoreLinks, filter);
}

std::uint64_t ZipArchive::getUnzippedSize(const std::string& entry, bool recursive, bool restoreLinks,
                                          const Filter& filter) const {
    return getUnzippedSize(std::vector<ExtractFromZipAsInfo>{{entry, "size", recursive, restoreLinks, filter}},
                           restoreLinks);
}

std::uint64_t ZipArchive::getUnzippedSize(const std::vector<ExtractFromZipInfo>& infos, bool restoreLinks) const {
    std::vector<ExtractFromZipAsInfo> asInfos;
    for (const ExtractFromZipInfo& info : infos)
        asInfos.push_back({info.entry, "size", info.recursive, info.restoreLinks, info.filter});
    return getUnzippedSize(asInfos, restoreLinks);
}

std::uint64_t ZipArchive::getUnzippedSize(const std::vector<ExtractFromZipAsInfo>& infos, bool restoreLinks) const {
    std::uint64_t size = 0;
    if (!isUnzipping())
        return 0;
    std::vector<std::string> unused;
    for (const ExtractFromZipAsInfo& info : infos)
        extractEntries(info, restoreLinks || info.restoreLinks, unused, &size);
    return size;
}

} // namespace FileSystem
