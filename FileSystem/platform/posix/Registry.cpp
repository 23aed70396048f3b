// The registry of this system is a store of the library's own: a key is a
// folder, a value a small file in it. Every step goes through open folder
// descriptors one name at a time and never follows a link, so nothing planted
// in the store leads outside it. Names are compared without regard to the case
// of ASCII letters and kept as they were first written.
//
// File names: a key name as it is, a value name after '@'; the bytes 0-31,
// 127, '%', '/', '@' and a leading '.' are written as "%XX" (upper-case hex).
// Names that begin with '.' are never the store's, so the work files of a
// write (".<name>.fs-partial-...") never show.
//
// A value file: "FSRV", format 1, three zero bytes, the kind and the data's
// length (32 bits each, little-endian), the data, then the CRC-32 of all that
// came before. Anything else reads as no value.

#include <FileSystem/platform/Environment.h>
#include <FileSystem/platform/Folders.h>
#include <FileSystem/platform/Registry.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <pwd.h>
#include <unistd.h>

namespace FileSystem::sys::registry {

namespace {

constexpr std::size_t kNameMax = 255;
constexpr std::string_view kMagic = "FSRV";
constexpr unsigned char kFormat = 1;
constexpr std::size_t kHeaderSize = 16;
constexpr std::size_t kTrailerSize = 4;

bool mustEscape(unsigned char c, bool first) {
    return c < 0x20 || c == 0x7F || c == '%' || c == '/' || c == '@' || (first && c == '.');
}

int hexDigit(char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1; // lower case is not the store's form: one name, one file name
}

char folded(char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c; }

bool sameName(const std::string& a, const std::string& b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return folded(x) == folded(y);
           });
}

bool lessName(const std::string& a, const std::string& b) {
    const auto byFolded = [](char x, char y) {
        return static_cast<unsigned char>(folded(x)) < static_cast<unsigned char>(folded(y));
    };
    if (std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end(), byFolded))
        return true;
    if (std::lexicographical_compare(b.begin(), b.end(), a.begin(), a.end(), byFolded))
        return false;
    return a < b;
}

void putU32(std::string& out, std::uint32_t v) {
    for (int i = 0; i < 4; ++i)
        out.push_back(static_cast<char>((v >> (8 * i)) & 0xFF));
}

std::uint32_t getU32(std::string_view bytes, std::size_t at) {
    std::uint32_t v = 0;
    for (int i = 3; i >= 0; --i)
        v = (v << 8) | static_cast<unsigned char>(bytes[at + static_cast<std::size_t>(i)]);
    return v;
}

std::uint32_t crc32(std::string_view bytes) {
    static const std::array<std::uint32_t, 256> table = [] {
        std::array<std::uint32_t, 256> t{};
        for (std::uint32_t i = 0; i < 256; ++i) {
            std::uint32_t c = i;
            for (int k = 0; k < 8; ++k)
                c = (c & 1) ? 0xEDB88320u ^ (c >> 1) : c >> 1;
            t[i] = c;
        }
        return t;
    }();
    std::uint32_t crc = 0xFFFFFFFFu;
    for (char ch : bytes)
        crc = table[(crc ^ static_cast<unsigned char>(ch)) & 0xFF] ^ (crc >> 8);
    return crc ^ 0xFFFFFFFFu;
}

std::string homeFolder() {
    if (auto home = environmentVariable("HOME"); home && !home->empty())
        return *home;
    struct passwd entry {};
    struct passwd* found = nullptr;
    std::string buffer(16384, '\0');
    if (::getpwuid_r(::geteuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found && found->pw_dir)
        return found->pw_dir;
    return {};
}

std::optional<Folder> openHive(const HiveLocation& hive, bool create) {
    if (hive.folder.empty())
        return std::nullopt;
    if (create && createFolders(hive.folder, hive.folderMode) == FolderCreation::Failed)
        return std::nullopt;
    return Folder::open(hive.folder, true);
}

bool isFolderEntry(const Folder& folder, const DirectoryEntry& entry) {
    if (entry.kind == DirectoryEntry::Kind::Directory)
        return true;
    if (entry.kind != DirectoryEntry::Kind::Unknown)
        return false;
    const auto status = folder.statusOf(entry.name);
    return status && status->kind == EntryStatus::Kind::Directory;
}

/// The file name under which `name` is kept in `folder`: its own form when
/// that is there, else the first (in byte order) whose name differs only in case.
std::optional<std::string> storedName(const Folder& folder, const std::string& name, bool value) {
    const std::string own = encodeName(name, value);
    if (own.empty())
        return std::nullopt;
    if (folder.statusOf(own))
        return own;
    if (errno != ENOENT)
        return std::nullopt;
    auto entries = folder.entries();
    if (!entries)
        return std::nullopt;
    std::optional<std::string> best;
    for (const DirectoryEntry& entry : *entries) {
        const auto decoded = decodeName(entry.name, value);
        if (decoded && sameName(*decoded, name) && (!best || entry.name < *best))
            best = entry.name;
    }
    return best;
}

/// Opens the folder of a key, making missing levels when asked (all of them,
/// or with `createParents` false only the last).
std::optional<Folder> openKey(const HiveLocation& hive, const std::vector<std::string>& names, bool create,
                              bool createParents = true) {
    auto folder = openHive(hive, create);
    for (std::size_t i = 0; folder && i < names.size(); ++i) {
        if (const auto stored = storedName(*folder, names[i], false)) {
            folder = folder->openFolder(*stored); // a link is never followed
            continue;
        }
        const std::string own = encodeName(names[i], false);
        if (own.empty() || !create || (!createParents && i + 1 < names.size()))
            return std::nullopt;
        if (!folder->createFolder(own, hive.folderMode | 0700) && errno != EEXIST)
            return std::nullopt;
        folder = folder->openFolder(own);
    }
    return folder;
}

std::optional<Value> readValueFile(const Folder& folder, const std::string& fileName) {
    OpenFile file = folder.openForReading(fileName); // regular files only, never through a link
    if (!file)
        return std::nullopt;
    // Read no more than the largest file the store writes, whatever the file says.
    const std::size_t limit = kHeaderSize + kMaxValueData + kTrailerSize;
    std::string bytes;
    char buffer[8192];
    for (;;) {
        const std::int64_t n = file.read(buffer, sizeof buffer);
        if (n < 0)
            return std::nullopt;
        if (n == 0)
            break;
        bytes.append(buffer, static_cast<std::size_t>(n));
        if (bytes.size() > limit)
            return std::nullopt;
    }
    return decodeValueFile(bytes);
}

} // namespace

HiveLocation hiveLocation(Hive hive, const std::string& overrideRoot) {
    const char* const rootName = hive == Hive::CurrentUser ? "HKEY_CURRENT_USER" : "HKEY_LOCAL_MACHINE";
    HiveLocation location;
    location.folderMode = hive == Hive::CurrentUser ? 0700 : 0755;
    if (!overrideRoot.empty()) {
        location.folder = overrideRoot + "/" + rootName;
    } else if (hive == Hive::LocalMachine) {
        location.folder = std::string("/etc/tessel/registry/") + rootName;
    } else {
        std::string config = environmentVariable("XDG_CONFIG_HOME").value_or("");
        if (config.empty() || config[0] != '/') { // a relative value is to be ignored
            const std::string home = homeFolder();
            config = home.empty() ? std::string() : home + "/.config";
        }
        if (!config.empty())
            location.folder = config + "/tessel/registry/" + rootName;
    }
    return location;
}

std::string encodeName(const std::string& name, bool value) {
    static const char* const hex = "0123456789ABCDEF";
    if (name.empty() && !value)
        return {};
    std::string out = value ? "@" : "";
    for (std::size_t i = 0; i < name.size(); ++i) {
        const auto c = static_cast<unsigned char>(name[i]);
        if (mustEscape(c, i == 0)) {
            out += '%';
            out += hex[c >> 4];
            out += hex[c & 15];
        } else {
            out += static_cast<char>(c);
        }
    }
    return out.size() > kNameMax ? std::string() : out;
}

std::optional<std::string> decodeName(const std::string& fileName, bool value) {
    std::size_t i = 0;
    if (value) {
        if (fileName.empty() || fileName[0] != '@')
            return std::nullopt;
        i = 1;
    } else if (fileName.empty()) {
        return std::nullopt;
    }
    std::string name;
    for (; i < fileName.size(); ++i) {
        const auto c = static_cast<unsigned char>(fileName[i]);
        if (c == '%') {
            const int high = i + 2 < fileName.size() ? hexDigit(fileName[i + 1]) : -1;
            const int low = high >= 0 ? hexDigit(fileName[i + 2]) : -1;
            if (low < 0)
                return std::nullopt;
            const auto decoded = static_cast<unsigned char>(high * 16 + low);
            if (!mustEscape(decoded, name.empty()))
                return std::nullopt; // not the form the store writes
            name += static_cast<char>(decoded);
            i += 2;
        } else if (mustEscape(c, name.empty())) {
            return std::nullopt;
        } else {
            name += static_cast<char>(c);
        }
    }
    return name;
}

std::string encodeValueFile(const Value& value) {
    std::string out(kMagic);
    out += static_cast<char>(kFormat);
    out.append(3, '\0');
    putU32(out, value.kind);
    putU32(out, static_cast<std::uint32_t>(value.data.size()));
    out += value.data;
    putU32(out, crc32(out));
    return out;
}

std::optional<Value> decodeValueFile(std::string_view bytes) {
    if (bytes.size() < kHeaderSize + kTrailerSize || bytes.substr(0, 4) != kMagic ||
        static_cast<unsigned char>(bytes[4]) != kFormat || bytes[5] != 0 || bytes[6] != 0 || bytes[7] != 0)
        return std::nullopt;
    const std::uint32_t length = getU32(bytes, 12);
    if (length > kMaxValueData || bytes.size() != kHeaderSize + length + kTrailerSize)
        return std::nullopt;
    const std::size_t end = kHeaderSize + length;
    if (crc32(bytes.substr(0, end)) != getU32(bytes, end))
        return std::nullopt;
    Value value;
    value.kind = getU32(bytes, 8);
    value.data.assign(bytes.substr(kHeaderSize, length));
    return value;
}

bool createKey(const HiveLocation& hive, const std::vector<std::string>& names, bool createParents) {
    return openKey(hive, names, true, createParents).has_value();
}

bool keyExists(const HiveLocation& hive, const std::vector<std::string>& names) {
    return openKey(hive, names, false).has_value();
}

bool removeKey(const HiveLocation& hive, const std::vector<std::string>& names, bool recursive) {
    if (names.empty())
        return false;
    auto parent = openKey(hive, std::vector<std::string>(names.begin(), names.end() - 1), false);
    if (!parent)
        return false;
    const auto stored = storedName(*parent, names.back(), false);
    if (!stored)
        return false;
    auto key = parent->openFolder(*stored);
    if (!key)
        return false;
    if (recursive) {
        removeContents(std::move(*key));
    } else {
        const auto entries = key->entries();
        if (!entries)
            return false;
        for (const DirectoryEntry& entry : *entries)
            if (isFolderEntry(*key, entry))
                return false; // a key with subkeys stays
        for (const DirectoryEntry& entry : *entries)
            key->removeFile(entry.name);
    }
    return parent->removeFolder(*stored);
}

std::optional<std::vector<std::string>> subkeys(const HiveLocation& hive, const std::vector<std::string>& names) {
    const auto key = openKey(hive, names, false);
    const auto entries = key ? key->entries() : std::nullopt;
    if (!entries)
        return std::nullopt;
    std::vector<std::string> out;
    for (const DirectoryEntry& entry : *entries)
        if (auto name = decodeName(entry.name, false); name && isFolderEntry(*key, entry))
            out.push_back(std::move(*name));
    std::sort(out.begin(), out.end(), lessName);
    return out;
}

std::optional<std::vector<std::string>> values(const HiveLocation& hive, const std::vector<std::string>& names) {
    const auto key = openKey(hive, names, false);
    const auto entries = key ? key->entries() : std::nullopt;
    if (!entries)
        return std::nullopt;
    std::vector<std::string> out;
    for (const DirectoryEntry& entry : *entries)
        if (auto name = decodeName(entry.name, true); name && readValueFile(*key, entry.name))
            out.push_back(std::move(*name));
    std::sort(out.begin(), out.end(), lessName);
    return out;
}

std::optional<Value> readValue(const HiveLocation& hive, const std::vector<std::string>& names,
                               const std::string& valueName) {
    const auto key = openKey(hive, names, false);
    const auto stored = key ? storedName(*key, valueName, true) : std::nullopt;
    return stored ? readValueFile(*key, *stored) : std::nullopt;
}

bool writeValue(const HiveLocation& hive, const std::vector<std::string>& names, const std::string& valueName,
                const Value& value, bool createKey) {
    if (value.data.size() > kMaxValueData || encodeName(valueName, true).empty())
        return false;
    auto key = openKey(hive, names, createKey);
    if (!key)
        return false;
    const std::string target = storedName(*key, valueName, true).value_or(encodeName(valueName, true));
    // The new file is written whole under a work name and renamed over the old
    // one: a reader sees the old value or the new one, never a part.
    const std::string work = partialName(target);
    OpenFile file = key->createFile(work, 0666);
    if (!file)
        return false;
    const std::string bytes = encodeValueFile(value);
    const bool written = file.write(bytes.data(), bytes.size()) && ::fsync(file.descriptor()) == 0 && file.close();
    if (!written || key->rename(work, *key, target, true) != RenameResult::Done) {
        key->removeFile(work);
        return false;
    }
    return true;
}

bool removeValue(const HiveLocation& hive, const std::vector<std::string>& names, const std::string& valueName) {
    auto key = openKey(hive, names, false);
    const auto stored = key ? storedName(*key, valueName, true) : std::nullopt;
    return stored && key->removeFile(*stored);
}

} // namespace FileSystem::sys::registry
