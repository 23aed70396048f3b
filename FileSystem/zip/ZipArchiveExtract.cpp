// Extraction of entries to disk and memory.

#include <FileSystem/zip/ZipArchive.h>

#include <FileSystem/environment/MachineInfo.h>
#include <FileSystem/files/Directory.h>
#include <FileSystem/files/File.h>
#include <FileSystem/paths/Path.h>
#include <FileSystem/zip/detail/Engine.h>
#include <FileSystem/paths/PathConverterBase.h>
#include <FileSystem/platform/Folders.h>
#include <FileSystem/platform/OpenFiles.h>
#include <FileSystem/zip/detail/EntryNames.h>
#include <FileSystem/zip/detail/EntryReader.h>

#include <algorithm>
#include <cstdio>
#include <memory>
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

using detail::isRootedOrDrive;
using detail::leavesItsFolder;

std::string joined(const std::string& folder, const std::string& name) {
    if (folder.empty())
        return name;
    return name.empty() ? folder : folder + "/" + name;
}

/// The permission bits that an entry's attributes ask for, given the bits of
/// what was made; empty when the entry records none.
std::optional<std::uint32_t> entryRights(std::uint32_t attributes, std::uint32_t versionMadeBy,
                                         std::uint32_t current) {
    if (ZipArchive::isUnix(versionMadeBy)) {
        const std::uint32_t rights = (attributes >> 16) & 0777; // never set-id or sticky bits
        if (rights != 0)
            return rights;
    } else if (ZipArchive::isWindows(versionMadeBy) && (attributes & 0x01)) {
        return current & 0777 & ~0222u; // read-only
    }
    return std::nullopt;
}

/// Writes one entry's data into `folder` under `name`: to a temporary name
/// first, renamed into place only once the whole entry has been read and
/// checked, so a failed entry leaves nothing under its name and a file that
/// stood there keeps its content.
void writeEntry(detail::EntryReader& data, const ZipArchive::FileInfo& info, sys::Folder& folder,
                const std::string& name, const std::string& shown) {
    if (const auto existing = folder.statusOf(name); existing && existing->kind == sys::EntryStatus::Kind::Directory)
        fail("Extract path already exists and is not a file : " + shown);
    const std::string folderPath = Path::stripLastToken(shown);
    if (const auto space = MachineInfo::getDiskSpaceInfo(folderPath.empty() ? std::string(".") : folderPath);
        space && space->free < info.uncompressedSize)
        fail("Insufficient space to extract file to " + shown + " There is " + std::to_string(space->available) +
             " B available, but " + std::to_string(info.uncompressedSize) + " B is needed.");
    if (!data.isOpen())
        fail("Failed to open entry : " + info.name + " (" + data.problem() + ")");

    const std::string temporary = sys::partialName(name);
    sys::OpenFile out = folder.createFile(temporary, 0666);
    if (!out)
        throw std::runtime_error("Failed to open for writing : " + shown);
    const auto discard = [&](const std::string& why) {
        out.close();
        folder.removeFile(temporary);
        fail(why);
    };
    // Large writes for large entries (fewer calls), small buffers for small ones.
    const auto chunk = static_cast<std::size_t>(std::clamp<std::uint64_t>(info.uncompressedSize, 4096, 1 << 18));
    const std::unique_ptr<char[]> buffer(new char[chunk]);
    std::uint64_t written = 0;
    for (;;) {
        // The reader never hands out more than the entry declares, and checks
        // the whole entry before it hands out the last byte.
        const std::int64_t got = data.read(buffer.get(), chunk);
        if (got < 0)
            discard("Failed to read from zip : " + info.name + " (" + data.problem() + ")");
        if (got == 0)
            break;
        if (!out.write(buffer.get(), static_cast<std::size_t>(got)))
            discard("Difference in written bytes and read bytes from zip");
        written += static_cast<std::uint64_t>(got);
    }
    if (written != info.uncompressedSize)
        discard("Written file size differs from filesize in zip " + std::to_string(written) + " instead of " +
                std::to_string(info.uncompressedSize));
    const auto status = out.status();
    if (!status)
        discard("Failed to write : " + shown);
    if (const auto rights = entryRights(info.externalAttributes, info.versionMadeBy, status->mode);
        rights && !out.setMode(*rights))
        discard("Failed to set the rights of : " + shown);
    if (!out.close())
        discard("Difference in written bytes and read bytes from zip");
    if (folder.rename(temporary, folder, name, true) != sys::RenameResult::Done) {
        folder.removeFile(temporary);
        fail("Extract path already exists and is not a file : " + shown);
    }
}

/// A folder made (or found) by an extraction, whose rights are set at the end.
struct MadeFolder {
    std::string relative; ///< below the target in the system's form; empty for the target itself
    std::string parent;   ///< the folder that holds it, below the target
    std::string name;     ///< its name in that folder
    std::uint64_t device = 0;
    std::uint64_t index = 0;
    std::uint32_t attributes = 0;
    std::uint32_t versionMadeBy = 0;
};

/// Sets the rights of the folders an extraction made, deepest first, each only
/// when the name still leads (without a link in its place) to the very folder
/// that was made.
void setFolderRights(sys::Folder& root, const std::vector<MadeFolder>& folders) {
    for (auto it = folders.rbegin(); it != folders.rend(); ++it) {
        std::optional<sys::Folder> opened;
        if (it->relative.empty()) {
            opened = sys::openBeneath(root, ".", false);
        } else if (auto parent = sys::openBeneath(root, it->parent, false)) {
            opened = parent->openFolder(it->name);
        }
        if (!opened)
            continue;
        const auto status = opened->status();
        if (!status || status->device != it->device || status->index != it->index)
            continue;
        if (const auto rights = entryRights(it->attributes, it->versionMadeBy, status->mode))
            opened->setOwnMode(*rights);
    }
}

} // namespace

bool ZipArchive::extractEntry(std::uint64_t index, const std::string& path) const {
    if (!isOpen())
        return false;
    if (File::isDirectory(path, true))
        fail("Extract path already exists and is not a file : " + path);
    const std::string name = Path::getLastToken(path);
    if (name.empty() || Path::isDotOrDotDot(name))
        fail("Extract path has no file name : " + path);
    std::string leaf;
    auto folder = sys::openParent(toSystemPath(path), leaf);
    if (!folder)
        throw std::runtime_error("Failed to open for writing : " + path);
    const auto data = readerOf(index, m_password);
    writeEntry(*data, fileInfoAt(index), *folder, leaf, path);
    return true;
}

bool ZipArchive::extractFileFromZip(const std::string& name, const std::string& path) const {
    const auto location = findFileNameInZip(name, true, false);
    return location && extractFileFromZip(location, path);
}

bool ZipArchive::extractFileFromZip(const std::optional<ZipLocation>& location, const std::string& path) const {
    const auto index = indexOf(location);
    if (!index)
        return false;
    const FileInfo info = fileInfoAt(*index);
    // A folder entry has no data to put in a file.
    return !isDirectory(info.name, info.externalAttributes, info.versionMadeBy) && extractEntry(*index, path);
}

std::optional<std::string> ZipArchive::extractDataFromZip(const std::string& name) const {
    return extractDataFromZip(findFileNameInZip(name, true, false));
}

std::optional<std::string> ZipArchive::extractDataFromZip(const std::optional<ZipLocation>& location) const {
    const auto index = indexOf(location);
    if (!index)
        return std::nullopt;
    const std::uint64_t declared = fileInfoAt(*index).uncompressedSize;
    const auto reader = readerOf(*index, m_password);
    detail::EntryReader& data = *reader;
    if (!data.isOpen())
        return std::nullopt;
    // Grown as the data comes: the reader never hands out more than the entry
    // declares, and fails when the entry does not check out.
    std::string content;
    std::vector<char> buffer(static_cast<std::size_t>(s_ChuckSize));
    for (;;) {
        const std::int64_t got = data.read(buffer.data(), buffer.size());
        if (got < 0)
            return std::nullopt;
        if (got == 0)
            break;
        content.append(buffer.data(), static_cast<std::size_t>(got));
    }
    if (content.size() != declared)
        return std::nullopt;
    return content;
}

void ZipArchive::extractEntries(const ExtractFromZipAsInfo& info, const std::string& below, bool restoreLinks,
                                std::vector<std::string>& written, std::uint64_t* size) const {
    const std::string entry = Path::stripTrailingSlash(info.entry);
    const std::string target = Path::stripTrailingSlash(info.destination);
    std::optional<sys::Folder> root; // opened at the first entry that writes
    std::vector<MadeFolder> folders; // their rights are set at the end
    const auto openRoot = [&]() -> sys::Folder& {
        if (!root) {
            if (!target.empty() && !File::exists(target) && !Directory::create(target, false, true))
                fail("Failed to create directory : " + target);
            root = sys::Folder::open(toSystemPath(target.empty() ? std::string(".") : target), true);
            if (!root)
                fail("Failed to open directory : " + target);
        }
        return *root;
    };
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
        // Nothing is written outside the target, whatever the names say.
        const std::string relative = Path::stripLeadingSlash(joined(below, Path::stripLeadingSlash(rest)));
        if (isRootedOrDrive(fileInfo.name) || leavesItsFolder(rest) || leavesItsFolder(relative))
            fail("Entry leaves the target directory : " + fileInfo.name);
        const std::string shown = joined(target, relative);
        const std::string leaf = Path::getLastToken(relative);
        const std::string parentRelative = Path::stripLastToken(relative);
        const std::string nativeLeaf = PathConverter::fromKVLPath(leaf, true);
        const std::string nativeParent = PathConverter::fromKVLPath(parentRelative, true);

        if (relative.empty() || Path::isDotOrDotDot(leaf)) {
            // The target itself: a folder entry names it; a file entry is written at the target path.
            if (folder) {
                const auto status = openRoot().status();
                if (status)
                    folders.push_back({"", "", "", status->device, status->index, fileInfo.externalAttributes,
                                       fileInfo.versionMadeBy});
                written.push_back(shown);
                continue;
            }
            if (!relative.empty() || target.empty())
                fail("Entry has no path on disk : " + fileInfo.name);
            extractEntry(i, target);
            written.push_back(target);
            continue;
        }

        // Folders are made as needed; nothing is written through a link or
        // below a file (both are refused).
        std::optional<sys::Folder> parent = sys::openBeneath(openRoot(), nativeParent, true);
        if (!parent)
            fail("Path goes through a link or a file : " + shown);
        const bool link = !folder && restoreLinks && isUnix(fileInfo.versionMadeBy) &&
                          (fileInfo.externalAttributes & 0xf0000000) == 0xa0000000;
        if (folder) {
            std::optional<sys::Folder> made = parent->openFolder(nativeLeaf);
            if (!made && !parent->statusOf(nativeLeaf)) {
                parent->createFolder(nativeLeaf);
                made = parent->openFolder(nativeLeaf);
            }
            if (!made)
                fail("Extract path already exists and is not a directory : " + shown);
            if (const auto status = made->status())
                folders.push_back({sys::joinPath(nativeParent, nativeLeaf), nativeParent, nativeLeaf, status->device, status->index, fileInfo.externalAttributes,
                                   fileInfo.versionMadeBy});
            written.push_back(shown);
            continue;
        }
        if (link) {
            const auto text = extractDataFromZip(fileInfo.location);
            if (!text || text->empty())
                fail("Failed to read link : " + fileInfo.name);
            // Where the link leads, resolved on disk with every link already
            // there followed, must lie inside the target.
            const std::string linkTarget = PathConverter::fromKVLPath(*text, true);
            if (isRootedOrDrive(*text) || !sys::linkStaysBeneath(*root, nativeParent, linkTarget))
                fail("Link leaves the target directory : " + fileInfo.name);
            const std::string temporary = sys::partialName(nativeLeaf);
            if (!parent->createLink(linkTarget, temporary))
                fail("Failed to create link : " + shown);
            if (parent->rename(temporary, *parent, nativeLeaf, true) != sys::RenameResult::Done) {
                parent->removeFile(temporary);
                fail("Extract path already exists and is not a file : " + shown);
            }
        } else {
            const auto data = readerOf(i, m_password);
            writeEntry(*data, fileInfo, *parent, nativeLeaf, shown);
        }
        written.push_back(shown);
    }
    if (root)
        setFolderRights(*root, folders);
}

std::vector<std::string> ZipArchive::extractFromZipAs(const std::vector<ExtractFromZipAsInfo>& infos,
                                                      bool restoreLinks) const {
    std::vector<std::string> written;
    if (!isOpen())
        return written;
    for (const ExtractFromZipAsInfo& info : infos)
        extractEntries(info, std::string(), restoreLinks || info.restoreLinks, written, nullptr);
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
    return extractFromZip(std::vector<ExtractFromZipInfo>{{entry, targetDirectory, recursive, restoreLinks, filter}},
                          restoreLinks);
}

std::vector<std::string> ZipArchive::extractFromZip(const std::vector<ExtractFromZipInfo>& infos,
                                                    bool restoreLinks) const {
    std::vector<std::string> written;
    if (!isOpen())
        return written;
    for (const ExtractFromZipInfo& info : infos) {
        // The entry's last name goes inside the target folder, which nothing may leave.
        const std::string target = Path::stripTrailingSlash(info.destination);
        if (!target.empty() && File::exists(target) && !File::isDirectory(target, true))
            fail("Target is not a directory");
        const std::string last = Path::getLastToken(Path::stripTrailingSlash(info.entry));
        extractEntries({info.entry, target, info.recursive, info.restoreLinks, info.filter}, last,
                       restoreLinks || info.restoreLinks, written, nullptr);
    }
    return written;
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
    if (!isOpen())
        return 0;
    std::vector<std::string> unused;
    for (const ExtractFromZipAsInfo& info : infos)
        extractEntries(info, std::string(), restoreLinks || info.restoreLinks, unused, &size);
    return size;
}

} // namespace FileSystem
