#include <FileSystem/files/detail/VersionRecord.h>

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string_view>
#include <vector>

namespace FileSystem::detail {

namespace {

// Offsets and constants of the PE format.
constexpr std::uint32_t kResourceTypeVersion = 16; // RT_VERSION
constexpr std::uint32_t kVersionResourceId = 1;    // VS_VERSION_INFO
constexpr std::uint32_t kHighBit = 0x80000000u;
constexpr std::uint32_t kFixedSignature = 0xFEEF04BDu;
constexpr std::size_t kFixedRecordSize = 52;
constexpr std::uint32_t kMaxRecordSize = 0xFFFF;
constexpr std::size_t kSectionHeaderSize = 40;

std::uint16_t u16(std::string_view bytes, std::size_t at) {
    return static_cast<std::uint16_t>(static_cast<unsigned char>(bytes[at]) |
                                      static_cast<unsigned char>(bytes[at + 1]) << 8);
}

std::uint32_t u32(std::string_view bytes, std::size_t at) {
    return static_cast<std::uint32_t>(u16(bytes, at)) | static_cast<std::uint32_t>(u16(bytes, at + 2)) << 16;
}

std::size_t align4(std::size_t at) { return (at + 3) & ~std::size_t(3); }

/// Reads ranges of a stream whose size is known; a range beyond the end fails
/// before anything is allocated.
class Source {
public:
    explicit Source(std::istream& in) : m_in(in) {
        m_in.clear();
        m_in.seekg(0, std::ios::end);
        const auto end = m_in.tellg();
        m_size = end < 0 ? 0 : static_cast<std::uint64_t>(end);
    }
    std::uint64_t size() const { return m_size; }

    bool read(std::uint64_t offset, std::uint64_t length, std::string& out) {
        if (offset > m_size || length > m_size - offset)
            return false;
        out.resize(static_cast<std::size_t>(length));
        m_in.clear();
        m_in.seekg(static_cast<std::streamoff>(offset));
        m_in.read(out.data(), static_cast<std::streamsize>(length));
        return m_in && static_cast<std::uint64_t>(m_in.gcount()) == length;
    }

private:
    std::istream& m_in;
    std::uint64_t m_size = 0;
};

struct Section {
    std::uint64_t address = 0; // relative virtual address
    std::uint64_t extent = 0;  // bytes present in the file
    std::uint64_t offset = 0;  // in the file
};

/// The image: its sections, so that relative virtual addresses can be read.
class Image {
public:
    explicit Image(std::istream& in) : m_source(in) {}

    /// Reads the headers and the section table; false for anything that is not
    /// a complete PE image. Gives the address and size of the resource tree.
    bool open(std::uint32_t& resourceAddress) {
        std::string dos;
        if (!m_source.read(0, 64, dos) || dos[0] != 'M' || dos[1] != 'Z')
            return false;
        const std::uint64_t pe = u32(dos, 0x3C);
        std::string header;
        if (!m_source.read(pe, 24, header) || header.compare(0, 4, std::string_view("PE\0\0", 4)) != 0)
            return false;
        const std::uint16_t sectionCount = u16(header, 6);
        const std::uint16_t optionalSize = u16(header, 20);
        std::string optional;
        if (!m_source.read(pe + 24, optionalSize, optional) || optionalSize < 2)
            return false;
        std::size_t countAt = 0;
        switch (u16(optional, 0)) {
        case 0x10B: countAt = 92; break;  // PE32
        case 0x20B: countAt = 108; break; // PE32+
        default: return false;
        }
        const std::size_t directories = countAt + 4;
        const std::size_t resourceEntry = directories + 2 * 8;
        if (optional.size() < resourceEntry + 8 || u32(optional, countAt) < 3)
            return false;
        if (u32(optional, 60) > m_source.size()) // SizeOfHeaders
            return false;
        resourceAddress = u32(optional, resourceEntry);

        std::string table;
        if (!m_source.read(pe + 24 + optionalSize, std::uint64_t(sectionCount) * kSectionHeaderSize, table))
            return false;
        m_sections.clear();
        for (std::size_t i = 0; i < sectionCount; ++i) {
            const std::size_t at = i * kSectionHeaderSize;
            const std::uint32_t virtualSize = u32(table, at + 8);
            const std::uint32_t rawSize = u32(table, at + 16);
            const std::uint32_t rawOffset = u32(table, at + 20);
            // Every section's bytes must be there: a truncated image is damaged.
            if (rawSize != 0 && (rawOffset > m_source.size() || rawSize > m_source.size() - rawOffset))
                return false;
            Section section;
            section.address = u32(table, at + 12);
            section.extent = virtualSize != 0 && virtualSize < rawSize ? virtualSize : rawSize;
            section.offset = rawOffset;
            m_sections.push_back(section);
        }
        return true;
    }

    /// The bytes at a relative virtual address; they must lie in the file
    /// part of one section.
    bool read(std::uint64_t address, std::uint64_t length, std::string& out) {
        for (const Section& section : m_sections) {
            if (address < section.address || address - section.address > section.extent ||
                length > section.extent - (address - section.address))
                continue;
            return m_source.read(section.offset + (address - section.address), length, out);
        }
        return false;
    }

private:
    Source m_source;
    std::vector<Section> m_sections;
};

/// One entry of a resource directory: its id (or name offset) and where it leads.
struct DirectoryEntry {
    std::uint32_t name;
    std::uint32_t target;
};

/// The entries of the resource directory at `offset` in the tree.
std::optional<std::vector<DirectoryEntry>> directoryAt(Image& image, std::uint64_t tree, std::uint32_t offset) {
    std::string header;
    if (!image.read(tree + offset, 16, header))
        return std::nullopt;
    const std::uint64_t count = std::uint64_t(u16(header, 12)) + u16(header, 14);
    std::string raw;
    if (!image.read(tree + offset + 16, count * 8, raw))
        return std::nullopt;
    std::vector<DirectoryEntry> entries;
    entries.reserve(static_cast<std::size_t>(count));
    for (std::size_t i = 0; i < count; ++i)
        entries.push_back({u32(raw, i * 8), u32(raw, i * 8 + 4)});
    return entries;
}

/// The bytes of the version resource: the tree has three fixed levels (type,
/// name, language). The name 1 is taken when there, else the first name; the
/// first language.
bool versionResource(Image& image, std::uint32_t tree, std::string& data) {
    if (tree == 0)
        return false;
    std::uint32_t offset = 0;
    for (int level = 0; level < 3; ++level) {
        const auto entries = directoryAt(image, tree, offset);
        if (!entries || entries->empty())
            return false;
        const DirectoryEntry* chosen = nullptr;
        if (level < 2) {
            const std::uint32_t wanted = level == 0 ? kResourceTypeVersion : kVersionResourceId;
            for (const DirectoryEntry& entry : *entries) {
                if (entry.name == wanted) {
                    chosen = &entry;
                    break;
                }
            }
        }
        if (chosen == nullptr && level > 0)
            chosen = &entries->front();
        if (chosen == nullptr)
            return false;
        const bool subdirectory = (chosen->target & kHighBit) != 0;
        if (subdirectory != (level < 2))
            return false;
        offset = chosen->target & ~kHighBit;
    }
    std::string leaf; // IMAGE_RESOURCE_DATA_ENTRY
    if (!image.read(std::uint64_t(tree) + offset, 16, leaf))
        return false;
    // The root block's length has 16 bits: nothing of the record lies beyond.
    return image.read(u32(leaf, 0), std::min<std::uint32_t>(u32(leaf, 4), kMaxRecordSize), data);
}

/// One block of the record: length, value length, type, key, value, children.
struct Block {
    std::size_t end = 0;
    std::u16string key;
    std::size_t value = 0;
    std::size_t valueSize = 0;
    std::size_t children = 0;
};

enum class Step { Read, End, Damaged };

/// The block at `at`, which must end by `limit`. A zero length ends a list
/// (padding); a length that is too small or runs past the parent is damage.
Step readBlock(std::string_view data, std::size_t at, std::size_t limit, Block& block) {
    if (at > limit || limit - at < 6)
        return Step::End;
    const std::size_t length = u16(data, at);
    if (length == 0)
        return Step::End;
    if (length < 6 || length > limit - at)
        return Step::Damaged;
    block.end = at + length;
    const std::size_t valueLength = u16(data, at + 2);
    const bool text = u16(data, at + 4) == 1;
    block.key.clear();
    std::size_t pos = at + 6;
    bool terminated = false;
    while (pos + 2 <= block.end) {
        const char16_t c = u16(data, pos);
        pos += 2;
        if (c == 0) {
            terminated = true;
            break;
        }
        block.key.push_back(c);
    }
    if (!terminated)
        return Step::Damaged;
    block.value = std::min(align4(pos), block.end);
    // Text values count characters; some writers count bytes there, so the
    // value is cut at the block's end rather than refused.
    block.valueSize = std::min(text ? valueLength * std::size_t(2) : valueLength, block.end - block.value);
    block.children = std::min(align4(block.value + block.valueSize), block.end);
    return Step::Read;
}

/// Calls `onBlock` for each block of the list in [from, to); false on damage.
template <class Function>
bool forEachBlock(std::string_view data, std::size_t from, std::size_t to, Function onBlock) {
    Block block;
    for (std::size_t at = from; at < to; at = align4(block.end)) {
        const Step step = readBlock(data, at, to, block);
        if (step == Step::End)
            break;
        if (step == Step::Damaged)
            return false;
        onBlock(block);
    }
    return true;
}

bool keyIs(const std::u16string& key, std::string_view name) {
    if (key.size() != name.size())
        return false;
    for (std::size_t i = 0; i < key.size(); ++i) {
        char16_t c = key[i];
        char n = name[i];
        if (c >= u'A' && c <= u'Z')
            c = char16_t(c - u'A' + u'a');
        if (n >= 'A' && n <= 'Z')
            n = char(n - 'A' + 'a');
        if (c != char16_t(n))
            return false;
    }
    return true;
}

/// A string table's key: language and code page as eight hexadecimal digits.
std::optional<LanguageCodePage> tableKey(const std::u16string& key) {
    if (key.size() != 8)
        return std::nullopt;
    std::uint32_t value = 0;
    for (char16_t c : key) {
        int digit;
        if (c >= u'0' && c <= u'9')
            digit = c - u'0';
        else if (c >= u'a' && c <= u'f')
            digit = c - u'a' + 10;
        else if (c >= u'A' && c <= u'F')
            digit = c - u'A' + 10;
        else
            return std::nullopt;
        value = value << 4 | std::uint32_t(digit);
    }
    return LanguageCodePage{std::uint16_t(value >> 16), std::uint16_t(value & 0xFFFF)};
}

void appendUtf8(std::string& out, char32_t c) {
    if (c < 0x80) {
        out += char(c);
    } else if (c < 0x800) {
        out += char(0xC0 | c >> 6);
        out += char(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        out += char(0xE0 | c >> 12);
        out += char(0x80 | (c >> 6 & 0x3F));
        out += char(0x80 | (c & 0x3F));
    } else {
        out += char(0xF0 | c >> 18);
        out += char(0x80 | (c >> 12 & 0x3F));
        out += char(0x80 | (c >> 6 & 0x3F));
        out += char(0x80 | (c & 0x3F));
    }
}

/// The UTF-16 text of a value up to its first NUL, in UTF-8; a lone surrogate
/// becomes U+FFFD.
std::string textValue(std::string_view data, const Block& block) {
    std::string text;
    const std::size_t count = block.valueSize / 2;
    for (std::size_t i = 0; i < count; ++i) {
        char32_t c = u16(data, block.value + 2 * i);
        if (c == 0)
            break;
        if (c >= 0xD800 && c < 0xDC00 && i + 1 < count) {
            const char32_t low = u16(data, block.value + 2 * (i + 1));
            if (low >= 0xDC00 && low < 0xE000) {
                c = 0x10000 + ((c - 0xD800) << 10) + (low - 0xDC00);
                ++i;
            }
        }
        if (c >= 0xD800 && c < 0xE000)
            c = 0xFFFD;
        appendUtf8(text, c);
    }
    return text;
}

std::optional<MetaDataType> keyType(const std::u16string& key) {
    for (int i = 0; i < kMetaDataTypeCount; ++i) {
        const auto type = static_cast<MetaDataType>(i);
        if (keyIs(key, FileMetaData::getKey(type)))
            return type;
    }
    return std::nullopt;
}

Utilities::Version<4, int> versionOf(std::uint32_t high, std::uint32_t low) {
    return {int(high >> 16), int(high & 0xFFFF), int(low >> 16), int(low & 0xFFFF)};
}

/// Reads the record from the bytes of the version resource; nothing when any
/// block of it is damaged.
VersionRecord parseRecord(std::string_view data) {
    Block root;
    if (readBlock(data, 0, data.size(), root) != Step::Read || !keyIs(root.key, "VS_VERSION_INFO") ||
        root.valueSize < kFixedRecordSize || u32(data, root.value) != kFixedSignature)
        return {};
    VersionRecord record;
    record.found = true;
    record.fileVersion = versionOf(u32(data, root.value + 8), u32(data, root.value + 12));
    record.productVersion = versionOf(u32(data, root.value + 16), u32(data, root.value + 20));

    std::map<LanguageCodePage, std::map<MetaDataType, std::string>> tables;
    std::optional<Block> translation;
    bool sound = true;
    sound = forEachBlock(data, root.children, root.end, [&](const Block& part) {
        if (!sound)
            return;
        if (keyIs(part.key, "StringFileInfo")) {
            sound = forEachBlock(data, part.children, part.end, [&](const Block& table) {
                const auto key = tableKey(table.key);
                // The first table of a language and code page counts, as its
                // first string of each key.
                const bool known = key && tables.count(*key) != 0;
                std::map<MetaDataType, std::string> strings;
                if (!forEachBlock(data, table.children, table.end, [&](const Block& string) {
                        if (const auto type = keyType(string.key); type && !strings.count(*type))
                            strings.emplace(*type, textValue(data, string));
                    }))
                    sound = false;
                else if (key && !known)
                    tables.emplace(*key, std::move(strings));
            }) && sound;
        } else if (keyIs(part.key, "VarFileInfo")) {
            sound = forEachBlock(data, part.children, part.end, [&](const Block& var) {
                if (!translation && keyIs(var.key, "Translation"))
                    translation = var;
            }) && sound;
        }
    }) && sound;
    if (!sound)
        return {};

    if (translation && translation->valueSize >= 4) {
        for (std::size_t i = 0; i + 4 <= translation->valueSize; i += 4) {
            const LanguageCodePage pair{u16(data, translation->value + i), u16(data, translation->value + i + 2)};
            // A pair listed twice copies its table once.
            const auto [entry, added] = record.strings.try_emplace(pair);
            if (const auto table = tables.find(pair); added && table != tables.end())
                entry->second = table->second;
        }
    }
    return record;
}

} // namespace

VersionRecord readVersionRecord(std::istream& in) {
    Image image(in);
    std::uint32_t tree = 0;
    std::string data;
    if (!image.open(tree) || !versionResource(image, tree, data))
        return {};
    return parseRecord(data);
}

} // namespace FileSystem::detail
