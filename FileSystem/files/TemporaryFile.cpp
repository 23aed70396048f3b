#include <FileSystem/files/TemporaryFile.h>

#include <FileSystem/environment/RuntimeEnvironment.h>
#include <FileSystem/files/Directory.h>
#include <FileSystem/files/File.h>
#include <FileSystem/paths/OSPaths.h>
#include <FileSystem/paths/Path.h>
#include <FileSystem/paths/PathConverterBase.h>
#include <FileSystem/platform/Files.h>

#include <chrono>
#include <random>
#include <stdexcept>
#include <utility>

namespace FileSystem {

namespace {

const char* const kNoNameMessage = "Failed to Generate a non existent temporary path";

// The application's name as known at the first temporary name of the process.
const std::string& applicationName() {
    static const std::string name = [] {
        std::string known;
        try {
            known = getApplicationName();
        } catch (...) {
            // Without an application context the library's own word names the files.
        }
        return known.empty() ? std::string("Tessel") : known;
    }();
    return name;
}

} // namespace

// ---- DeleteFileOnDestruction -------------------------------------------------------

DeleteFileOnDestruction::DeleteFileOnDestruction(const std::string& path) : m_path(path) {}

DeleteFileOnDestruction::DeleteFileOnDestruction(DeleteFileOnDestruction&& other) noexcept
    : m_delete(other.m_delete), m_path(std::exchange(other.m_path, std::string())) {}

DeleteFileOnDestruction& DeleteFileOnDestruction::operator=(DeleteFileOnDestruction&& other) noexcept {
    if (this != &other) {
        removeOwned();
        m_delete = other.m_delete;
        m_path = std::exchange(other.m_path, std::string());
    }
    return *this;
}

DeleteFileOnDestruction::~DeleteFileOnDestruction() { removeOwned(); }

void DeleteFileOnDestruction::removeOwned() noexcept {
    if (!m_delete || m_path.empty())
        return;
    try {
        // A link at the path is removed as a link, never followed into a folder.
        if (File::isDirectory(m_path, false))
            Directory::remove(m_path, true);
        else
            File::remove(m_path);
    } catch (...) {
    }
}

// ---- TemporaryCommon --------------------------------------------------------------------

std::string TemporaryCommon::getTemporaryFolder() {
    static const std::string folder = OSPaths::getTemporaryFolderPath();
    if (!folder.empty() && !Directory::exists(folder))
        Directory::create(folder, false, true);
    return folder;
}

std::string TemporaryCommon::generateUniqueKey(unsigned length) {
    static const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
    const auto nanoseconds = static_cast<std::uint64_t>(
        std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch())
            .count());
    std::uint32_t seed = static_cast<std::uint32_t>(nanoseconds & 0xFFFFFFFFu) % 2147483647u;
    std::minstd_rand generator(seed == 0 ? 1u : seed);
    std::uniform_int_distribution<std::size_t> index(0, alphabet.size() - 1);
    std::string key(length, 'A');
    for (char& c : key)
        c = alphabet[index(generator)];
    return key;
}

std::string TemporaryCommon::generateTemporaryName(const std::string& folder, const std::string& tag,
                                                   std::size_t attempts) {
    if (!folder.empty()) {
        const std::string prefix = Path::appendTrailingSlash(folder) + applicationName() + "-" + tag + "-";
        for (std::size_t attempt = 0; attempt < attempts; ++attempt) {
            const std::string candidate = prefix + generateUniqueKey(8);
            if (!File::exists(candidate))
                return PathConverter::toKVLPath(candidate);
        }
    }
    throw std::runtime_error(kNoNameMessage);
}

std::string TemporaryCommon::makeTemporary(const std::string& folder, const std::string& tag, bool create,
                                           std::size_t attempts, bool directory) {
    if (!create)
        return generateTemporaryName(folder, tag, attempts);
    if (!folder.empty() && !Directory::exists(folder))
        Directory::create(folder, false, true);
    for (std::size_t attempt = 0; attempt < attempts; ++attempt) {
        std::string name;
        try {
            name = generateTemporaryName(folder, tag, 1);
        } catch (const std::runtime_error&) {
            continue;
        }
        // Made with an exclusive create: of two processes that draw the same
        // name, one gets it and the other draws again.
        const std::string system = toSystemPath(name);
        if (directory ? sys::createPrivateDirectory(system) : sys::createPrivateFile(system))
            return name;
    }
    throw std::runtime_error(kNoNameMessage);
}

// ---- TemporaryDirectory and TemporaryFile --------------------------------------------------

TemporaryDirectory::TemporaryDirectory(bool create, std::size_t attempts)
    : TemporaryDirectory(getTemporaryFolder(), std::string("TesselTempDir"), create, attempts) {}
TemporaryDirectory::TemporaryDirectory(const std::string& tag, bool create, std::size_t attempts)
    : TemporaryDirectory(getTemporaryFolder(), tag, create, attempts) {}
TemporaryDirectory::TemporaryDirectory(const char* tag, bool create, std::size_t attempts)
    : TemporaryDirectory(std::string(tag ? tag : ""), create, attempts) {}
TemporaryDirectory::TemporaryDirectory(const std::string& folder, const std::string& tag, bool create,
                                       std::size_t attempts)
    : TemporaryCommon(makeTemporary(folder, tag, create, attempts, true)) {}
TemporaryDirectory::TemporaryDirectory(const char* folder, const char* tag, bool create, std::size_t attempts)
    : TemporaryDirectory(std::string(folder ? folder : ""), std::string(tag ? tag : ""), create, attempts) {}

TemporaryDirectory::TemporaryDirectory(const std::string& folder, const char* tag, bool create, std::size_t attempts)
    : TemporaryDirectory(folder, std::string(tag ? tag : ""), create, attempts) {}

TemporaryFile::TemporaryFile(bool create, std::size_t attempts)
    : TemporaryFile(getTemporaryFolder(), std::string("TesselTempFile"), create, attempts) {}
TemporaryFile::TemporaryFile(const std::string& tag, bool create, std::size_t attempts)
    : TemporaryFile(getTemporaryFolder(), tag, create, attempts) {}
TemporaryFile::TemporaryFile(const char* tag, bool create, std::size_t attempts)
    : TemporaryFile(std::string(tag ? tag : ""), create, attempts) {}
TemporaryFile::TemporaryFile(const std::string& folder, const std::string& tag, bool create, std::size_t attempts)
    : TemporaryCommon(makeTemporary(folder, tag, create, attempts, false)) {}
TemporaryFile::TemporaryFile(const char* folder, const char* tag, bool create, std::size_t attempts)
    : TemporaryFile(std::string(folder ? folder : ""), std::string(tag ? tag : ""), create, attempts) {}
TemporaryFile::TemporaryFile(const std::string& folder, const char* tag, bool create, std::size_t attempts)
    : TemporaryFile(folder, std::string(tag ? tag : ""), create, attempts) {}

// ---- FileRenameAndRestore -----------------------------------------------------------------

FileRenameAndRestore::FileRenameAndRestore(const std::string& path) : m_originalPath(path) {
    if (path.empty() || !File::exists(path) || File::isDirectory(path, true))
        return;
    // "_" goes in front of the last name, in the same folder.
    const std::size_t separator = path.find_last_of("/\\");
    const std::size_t nameStart = separator == std::string::npos ? 0 : separator + 1;
    std::string aside = path.substr(0, nameStart) + "_" + path.substr(nameStart);
    // A failed move keeps no name: a file that someone else has at "_name" is
    // never moved to the original path at the end.
    if (File::rename(path, aside))
        m_temporaryPath = std::move(aside);
}

FileRenameAndRestore::FileRenameAndRestore(FileRenameAndRestore&& other) noexcept
    : m_originalPath(std::move(other.m_originalPath)), m_temporaryPath(std::exchange(other.m_temporaryPath, std::nullopt)) {}

FileRenameAndRestore& FileRenameAndRestore::operator=(FileRenameAndRestore&& other) noexcept {
    if (this != &other) {
        restore();
        m_originalPath = std::move(other.m_originalPath);
        m_temporaryPath = std::exchange(other.m_temporaryPath, std::nullopt);
    }
    return *this;
}

FileRenameAndRestore::~FileRenameAndRestore() { restore(); }

void FileRenameAndRestore::restore() noexcept {
    try {
        if (m_temporaryPath && File::exists(*m_temporaryPath) && !File::exists(m_originalPath))
            File::rename(*m_temporaryPath, m_originalPath);
    } catch (...) {
    }
    m_temporaryPath.reset();
}

} // namespace FileSystem
