#include <FileSystem/tabular/CSVParser.h>
#include <FileSystem/tabular/BinaryCSVParser.h>

#include <FileSystem/files/Directory.h>
#include <FileSystem/files/StreamUtilities.h>
#include <FileSystem/paths/Path.h>
#include <FileSystem/zip/ZipStream.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstdint>
#include <istream>
#include <iterator>
#include <memory>
#include <string_view>

namespace FileSystem {

namespace {

constexpr std::size_t kZipBufferSize = 16384;
constexpr std::size_t kReadBlock = std::size_t(1) << 16;
constexpr std::string_view kQuoteEntity = "&quot;";

unsigned char byteOf(char c) noexcept { return static_cast<unsigned char>(c); }

// Latin-1 bytes (code points 0 to 255) to UTF-8.
void latin1ToUTF8(std::string_view text, std::string& out) {
    out.clear();
    out.reserve(text.size() + text.size() / 2);
    for (const char c : text) {
        const unsigned char b = byteOf(c);
        if (b < 0x80) {
            out.push_back(c);
        } else {
            out.push_back(static_cast<char>(0xC0 | (b >> 6)));
            out.push_back(static_cast<char>(0x80 | (b & 0x3F)));
        }
    }
}

// UTF-8 to Latin-1: a code point above 255 becomes "_". A byte that does not
// start a well-formed sequence (shortest form, no surrogate, at most U+10FFFF)
// is taken as a Latin-1 character already and copied as it is.
void utf8ToLatin1(std::string_view text, std::string& out) {
    out.clear();
    out.reserve(text.size());
    const std::size_t size = text.size();
    for (std::size_t i = 0; i < size;) {
        const unsigned char lead = byteOf(text[i]);
        std::size_t length = 0;
        char32_t code = 0;
        if (lead < 0x80) {
            out.push_back(text[i++]);
            continue;
        }
        if (lead >= 0xC2 && lead <= 0xDF) {
            length = 2;
            code = lead & 0x1F;
        } else if (lead >= 0xE0 && lead <= 0xEF) {
            length = 3;
            code = lead & 0x0F;
        } else if (lead >= 0xF0 && lead <= 0xF4) {
            length = 4;
            code = lead & 0x07;
        }
        bool valid = length != 0 && i + length <= size;
        for (std::size_t k = 1; valid && k < length; ++k) {
            const unsigned char next = byteOf(text[i + k]);
            valid = (next & 0xC0) == 0x80;
            code = (code << 6) | (next & 0x3F);
        }
        if (valid) {
            const char32_t smallest = length == 2 ? 0x80 : length == 3 ? 0x800 : 0x10000;
            valid = code >= smallest && code <= 0x10FFFF && (code < 0xD800 || code > 0xDFFF);
        }
        if (!valid) {
            out.push_back(text[i++]);
            continue;
        }
        out.push_back(code <= 0xFF ? static_cast<char>(code) : '_');
        i += length;
    }
}

// Every "&quot;" of the text as a double quote.
void decodeQuoteEntity(std::string_view text, std::string& out) {
    out.clear();
    out.reserve(text.size());
    std::size_t from = 0;
    for (std::size_t at = text.find(kQuoteEntity); at != std::string_view::npos;
         at = text.find(kQuoteEntity, from)) {
        out.append(text.substr(from, at - from));
        out.push_back('"');
        from = at + kQuoteEntity.size();
    }
    out.append(text.substr(from));
}

bool hasHighBytes(std::string_view text) noexcept {
    return std::any_of(text.begin(), text.end(), [](char c) { return byteOf(c) >= 0x80; });
}

std::ios::openmode openModeOf(int flags) {
    std::ios::openmode mode{};
    if (flags & CSVParser::readFlag)
        mode |= std::ios::in;
    if (flags & CSVParser::writeFlag)
        mode |= std::ios::out;
    if (flags & CSVParser::binaryFlag)
        mode |= std::ios::binary;
    return mode;
}

// The cell and row state machine. Bytes come in blocks of any size; runs of
// bytes that change no state are appended to the cell at once, so the cost is
// a table look-up a byte and one allocation for each cell longer than the
// string's own small buffer.
class CellMachine {
public:
    struct Options {
        char skipRowPrefix; // 0: none
        bool skipEmptyCells;
        bool ignoreQuotes;
        bool quotedRowSeparators;
        bool trim;
        bool convertToUTF8;
    };

    // The parser's own tests of a character, asked once for each byte value.
    template <class IsSeparator, class IsRowSeparator>
    CellMachine(IsSeparator isSeparator, IsRowSeparator isRowSeparator, const Options& options,
                CSVParserBase::Rows& rows)
        : m_rows(rows), m_skipEmptyCells(options.skipEmptyCells), m_ignoreQuotes(options.ignoreQuotes),
          m_quotedRowSeparators(options.quotedRowSeparators), m_trim(options.trim),
          m_convertToUTF8(options.convertToUTF8) {
        for (std::size_t c = 0; c < m_class.size(); ++c) {
            const auto character = static_cast<char>(static_cast<unsigned char>(c));
            m_class[c] = static_cast<std::uint8_t>((isSeparator(character) ? kSeparator : 0) |
                                                   (isRowSeparator(character) ? kRowSeparator : 0));
        }
        if (!m_ignoreQuotes) {
            m_class['"'] |= kQuote;
            m_class['&'] |= kAmpersand;
        }
        if (options.skipRowPrefix != 0)
            m_class[byteOf(options.skipRowPrefix)] |= kPrefix;
        for (std::size_t c = 0; c < m_class.size(); ++c)
            m_stopInQuotes[c] = (m_class[c] & (kQuote | kAmpersand)) != 0 ||
                                ((m_class[c] & kRowSeparator) != 0 && !m_quotedRowSeparators);
    }

    void feed(const char* data, std::size_t size) {
        const char* p = data;
        const char* const end = data + size;
        while (p < end) {
            const char* run = p;
            if (m_inQuotes) {
                while (run < end && !m_stopInQuotes[byteOf(*run)])
                    ++run;
            } else {
                while (run < end && m_class[byteOf(*run)] == 0)
                    ++run;
            }
            m_cell.append(p, run);
            if (run == end)
                break;
            step(*run);
            p = run + 1;
        }
    }

    // End of input: the last cell is converted but neither trimmed nor
    // decoded, and the last row is kept even when it was marked to skip.
    void finish() {
        if (!m_cell.empty())
            m_row.emplace_back(finishedCell(false));
        if (!m_row.empty())
            keepRow();
        m_row.clear();
        m_cell.clear();
        m_inQuotes = m_wasQuoted = m_skipRow = m_mayHoldEntity = false;
    }

    int widest() const noexcept { return m_widest; }

private:
    // kAmpersand marks cells that may hold the quote entity, so that no other cell is searched.
    enum : std::uint8_t { kSeparator = 1, kRowSeparator = 2, kQuote = 4, kPrefix = 8, kAmpersand = 16 };

    void step(char c) {
        const std::uint8_t kind = m_class[byteOf(c)];
        if (kind & kAmpersand)
            m_mayHoldEntity = true;
        if ((kind & kPrefix) && !m_inQuotes && m_cell.empty() && m_row.empty())
            m_skipRow = true;
        if (kind & kRowSeparator) {
            if (!m_inQuotes) {
                endRow();
                return;
            }
            if (!m_quotedRowSeparators) {
                m_inQuotes = false;
                endRow();
                return;
            }
            // Within quotes it is text; it may still be a quote or a separator.
        }
        if (kind & kQuote) {
            if (m_inQuotes) {
                m_inQuotes = false;
                m_wasQuoted = true;
            } else if (!m_cell.empty()) {
                m_cell.push_back(c);
            } else {
                m_inQuotes = true;
            }
            return;
        }
        if (!(kind & kSeparator) || m_inQuotes) {
            m_cell.push_back(c);
            return;
        }
        const std::string_view cell = finishedCell(true);
        if (!(m_skipEmptyCells && cell.empty() && !m_wasQuoted))
            m_row.emplace_back(cell);
        m_cell.clear();
        m_mayHoldEntity = false;
        m_wasQuoted = false;
    }

    // An empty cell at a row end makes no cell, so a trailing separator adds nothing.
    void endRow() {
        if (!m_cell.empty())
            m_row.emplace_back(finishedCell(true));
        if (!m_row.empty() && !m_skipRow)
            keepRow();
        m_row.clear();
        m_cell.clear();
        m_mayHoldEntity = false;
        m_wasQuoted = false;
        m_skipRow = false;
    }

    // The row joins the table with exactly its cells; the working row keeps its room.
    void keepRow() {
        m_rows.emplace_back(std::make_move_iterator(m_row.begin()), std::make_move_iterator(m_row.end()));
        m_widest = std::max(m_widest, static_cast<int>(std::min<std::size_t>(m_row.size(), INT_MAX)));
    }

    // The cell's text after trimming and decoding (within the text) and conversion.
    std::string_view finishedCell(bool withinText) {
        std::string_view text = m_cell;
        if (withinText && m_trim) {
            const auto first = text.find_first_not_of(' ');
            if (first != std::string_view::npos) // blanks alone stay as they are
                text = text.substr(first, text.find_last_not_of(' ') - first + 1);
        }
        if (withinText && m_mayHoldEntity && text.find(kQuoteEntity) != std::string_view::npos) {
            decodeQuoteEntity(text, m_decoded);
            text = m_decoded;
        }
        if (m_convertToUTF8 && hasHighBytes(text)) {
            latin1ToUTF8(text, m_converted);
            text = m_converted;
        }
        return text;
    }

    CSVParserBase::Rows& m_rows;
    std::array<std::uint8_t, 256> m_class{};
    std::array<bool, 256> m_stopInQuotes{};
    bool m_skipEmptyCells;
    bool m_ignoreQuotes;
    bool m_quotedRowSeparators;
    bool m_trim;
    bool m_convertToUTF8;

    std::vector<std::string> m_row;
    std::string m_cell;
    std::string m_decoded;
    std::string m_converted;
    bool m_inQuotes = false;
    bool m_wasQuoted = false;
    bool m_skipRow = false;
    bool m_mayHoldEntity = false; // an ampersand was met since the cell began
    int m_widest = 0;
};

constexpr std::string_view kUTF8Mark = "\xEF\xBB\xBF";

} // namespace

// ---- CSVParser -----------------------------------------------------------------------

CSVParser::CSVParser() : CSVParser(',', false, false, '\n', true) {}

CSVParser::CSVParser(char separator, bool skipEmptyCells, bool ignoreQuotes, char rowSeparator,
                     bool quotedRowSeparators)
    : m_skipEmptyCells(skipEmptyCells), m_ignoreQuotes(ignoreQuotes), m_quotedRowSeparators(quotedRowSeparators),
      m_rowSeparator(rowSeparator), m_separators{separator} {}

CSVParser::~CSVParser() = default;

int CSVParser::adjustFileIOFlags(int flags) const { return flags; }

void CSVParser::addSeparator(char separator) { m_separators.push_back(separator); }

bool CSVParser::isRowSeparator(char c) const noexcept {
    if (m_rowSeparator == '\n' || m_rowSeparator == '\r')
        return c == '\n' || c == '\r';
    return c == m_rowSeparator;
}

bool CSVParser::isSeparator(char c) const noexcept {
    return std::find(m_separators.begin(), m_separators.end(), c) != m_separators.end();
}

void CSVParser::skipUTF8BOM(std::istream& stream) {
    char mark[3] = {};
    stream.read(mark, 3);
    if (stream.gcount() == 3 && std::string_view(mark, 3) == kUTF8Mark)
        return;
    stream.clear();
    stream.seekg(0);
}

template <class Reader>
bool CSVParser::openAndRead(const std::string& path, bool plainFileOnly, Reader&& read) {
    m_originalFilename = path;
    if (path.empty())
        return false;
    setNumberOfColumns(0);
    const std::string name = Path::getLastToken(path);
    m_stem = Path::getBaseFileName(name);
    m_extension = Path::getExtension(name, false);
    m_directory = Path::stripLastToken(path);

    if (!plainFileOnly) {
        ZipIOStream zipped(path, static_cast<int>(std::ios::in), std::string(), 1, kZipBufferSize);
        if (zipped.good()) {
            skipUTF8BOM(zipped);
            const bool whole = read(zipped);
            // Closing checks the entry: data that failed its check is no whole file.
            return zipped.close() && whole;
        }
    }
    KVifstream plain(path, openModeOf(adjustFileIOFlags(readFlag)));
    if (!plain.good())
        return false;
    skipUTF8BOM(plain);
    return read(plain);
}

bool CSVParser::readTable(std::istream& stream, bool trim, bool convertToUTF8) {
    CellMachine machine([this](char c) { return isSeparator(c); }, [this](char c) { return isRowSeparator(c); },
                        {m_skipRowPrefix, m_skipEmptyCells, m_ignoreQuotes, m_quotedRowSeparators, trim,
                         convertToUTF8},
                        getRawData());
    const auto block = std::make_unique<char[]>(kReadBlock);
    while (stream.read(block.get(), static_cast<std::streamsize>(kReadBlock)) || stream.gcount() > 0)
        machine.feed(block.get(), static_cast<std::size_t>(stream.gcount()));
    machine.finish();
    setNumberOfColumns(machine.widest());
    return !stream.bad();
}

bool CSVParser::parseFile(const std::string& path, bool trim, bool convertToUTF8, bool plainFileOnly) {
    return openAndRead(path, plainFileOnly,
                       [&](std::istream& stream) { return readTable(stream, trim, convertToUTF8); });
}

void CSVParser::parseData(const std::string& text, bool trim, bool convertToUTF8) {
    std::string_view data = text;
    if (data.substr(0, kUTF8Mark.size()) == kUTF8Mark)
        data.remove_prefix(kUTF8Mark.size());
    CellMachine machine([this](char c) { return isSeparator(c); }, [this](char c) { return isRowSeparator(c); },
                        {m_skipRowPrefix, m_skipEmptyCells, m_ignoreQuotes, m_quotedRowSeparators, trim,
                         convertToUTF8},
                        getRawData());
    machine.feed(data.data(), data.size());
    machine.finish();
    setNumberOfColumns(machine.widest());
}

bool CSVParser::appendFile(const std::string& path, bool skipFirstRow, bool firstRowMustMatch, bool trim,
                           bool convertToUTF8, bool plainFileOnly) {
    if (getRawData().empty())
        return parseFile(path, trim, convertToUTF8, plainFileOnly);
    CSVParser other;
    other.parseFile(path, trim, convertToUTF8, false);
    if (other.getRawData().empty())
        return true;
    if (firstRowMustMatch && getRow(0) != other.getRow(0))
        return false;
    Rows rows = other.takeRawData();
    Rows& mine = getRawData();
    const auto first = rows.begin() + (skipFirstRow ? 1 : 0);
    mine.insert(mine.end(), std::make_move_iterator(first), std::make_move_iterator(rows.end()));
    return true;
}

bool CSVParser::autodetectSeparator(const std::string& path) {
    std::uint64_t commas = 0;
    std::uint64_t semicolons = 0;
    std::uint64_t stops = 0;
    bool opened = false;
    bool anyRead = false;
    const bool whole = openAndRead(path, false, [&](std::istream& stream) {
        opened = true;
        const auto block = std::make_unique<char[]>(kReadBlock);
        bool outside = true; // a double quote toggles it
        while (stream.read(block.get(), static_cast<std::streamsize>(kReadBlock)) || stream.gcount() > 0) {
            const auto count = static_cast<std::size_t>(stream.gcount());
            anyRead = true;
            for (std::size_t i = 0; i < count; ++i) {
                switch (block[i]) {
                case '"':
                    outside = !outside;
                    break;
                case ',':
                    commas += outside;
                    break;
                case ';':
                    semicolons += outside;
                    break;
                case '.':
                    stops += outside;
                    break;
                default:
                    break;
                }
            }
        }
        return !stream.bad();
    });
    if (!opened)
        return false;
    // Full stops count so that decimal points with a few commas stay with commas.
    const bool semicolon = anyRead && (commas < semicolons || (semicolons > commas / 2 && commas > stops));
    m_separators.assign(1, semicolon ? ';' : ',');
    return whole;
}

void CSVParser::appendRowText(std::string& out, const std::vector<std::string>& row, bool convertFromUTF8) const {
    const char separator = m_separators.empty() ? ',' : m_separators.front();
    std::string encoded;
    std::string converted;
    bool first = true;
    for (const std::string& cell : row) {
        if (!first)
            out.push_back(separator);
        first = false;
        std::string_view text = cell;
        if (!m_ignoreQuotes && text.find('"') != std::string_view::npos) {
            encoded.clear();
            for (const char c : text) {
                if (c == '"')
                    encoded.append(kQuoteEntity);
                else
                    encoded.push_back(c);
            }
            text = encoded;
        }
        if (convertFromUTF8) {
            utf8ToLatin1(text, converted);
            text = converted;
        }
        if (text.find(separator) != std::string_view::npos) {
            out.push_back('"');
            out.append(text);
            out.push_back('"');
        } else {
            out.append(text);
        }
    }
}

std::string CSVParser::getRow(int row) const {
    std::string text;
    appendRowText(text, getRawRow(row), false);
    return text;
}

std::string CSVParser::toString(bool convertFromUTF8) const {
    std::string text;
    for (auto row = beginRows(); row != endRows(); ++row) {
        appendRowText(text, *row, convertFromUTF8);
        text.push_back(m_rowSeparator);
    }
    return text;
}

bool CSVParser::save(const std::string& suffix, bool convertFromUTF8) {
    if (m_originalFilename.empty())
        return false;
    // A file named without a folder is saved beside it, not at the root.
    const std::string name = m_stem + suffix + m_extension;
    return saveAs(m_directory.empty() ? name : m_directory + "/" + name, convertFromUTF8);
}

bool CSVParser::saveAs(const std::string& path, bool convertFromUTF8) {
    if (path.empty())
        return false;
    const std::string folder = Path::stripLastToken(path);
    if (!folder.empty() && !Directory::exists(folder))
        Directory::create(folder, false, true);
    KVofstream out(path, openModeOf(adjustFileIOFlags(writeFlag)));
    if (!out.good())
        return false;
    // The table itself keeps its quotes as the entity from now on.
    if (!m_ignoreQuotes) {
        for (auto& row : getRawData()) {
            for (auto& cell : row) {
                if (cell.find('"') == std::string::npos)
                    continue;
                std::string encoded;
                for (const char c : cell) {
                    if (c == '"')
                        encoded.append(kQuoteEntity);
                    else
                        encoded.push_back(c);
                }
                cell = std::move(encoded);
            }
        }
    }
    constexpr std::size_t kFlushAt = std::size_t(1) << 20;
    std::string text;
    for (auto row = beginRows(); row != endRows() && out.good(); ++row) {
        appendRowText(text, *row, convertFromUTF8);
        text.push_back(m_rowSeparator);
        if (text.size() >= kFlushAt) {
            out.write(text.data(), static_cast<std::streamsize>(text.size()));
            text.clear();
        }
    }
    out.write(text.data(), static_cast<std::streamsize>(text.size()));
    out.close();
    return out.good();
}

// ---- BinaryCSVParser -----------------------------------------------------------------

int BinaryCSVParser::adjustFileIOFlags(int flags) const { return flags | binaryFlag; }

} // namespace FileSystem
