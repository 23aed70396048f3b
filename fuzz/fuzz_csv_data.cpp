// The CSV parser on text in memory: any bytes, with options drawn from the
// first byte. Beyond not crashing, the table must hold no more text than the
// input gave it and must count its columns right.

#include <FileSystem/tabular/CSVParser.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>

namespace {

struct Options {
    FileSystem::CSVParser parser;
    bool trim = false;
    bool convert = false;
};

// Bits of the first byte: separator (2), empty cells, quotes, row separator,
// quoted row separators, trim, conversion; the second byte is a prefix of rows to skip.
Options optionsOf(const std::uint8_t* bytes, std::size_t size) {
    const std::uint8_t flags = size > 0 ? bytes[0] : 0;
    static const char separators[] = {',', ';', '\t', '"'};
    Options options{FileSystem::CSVParser(separators[flags & 3], flags & 4, flags & 8, (flags & 16) ? '|' : '\n',
                                          flags & 32),
                    (flags & 64) != 0, (flags & 128) != 0};
    if (size > 1 && bytes[1] < 64)
        options.parser.skipRowsStartingWith(static_cast<char>(bytes[1]));
    if (flags & 1)
        options.parser.addSeparator(' ');
    return options;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    Options options = optionsOf(bytes, size);
    const std::size_t skip = std::min<std::size_t>(size, 2);
    const std::string text(reinterpret_cast<const char*>(bytes) + skip, size - skip);
    FileSystem::CSVParser& parser = options.parser;
    parser.parseData(text, options.trim, options.convert);

    std::size_t cellBytes = 0;
    std::size_t cells = 0;
    std::size_t widest = 0;
    for (const auto& row : parser.getRawData()) {
        if (row.empty())
            std::abort(); // empty rows never join the table
        widest = std::max(widest, row.size());
        cells += row.size();
        for (const auto& cell : row)
            cellBytes += cell.size();
    }
    if (widest != static_cast<std::size_t>(parser.getNumberOfColumns()))
        std::abort();
    // Every input byte lands in at most one cell (two after conversion).
    if (cellBytes > text.size() * (options.convert ? 2 : 1))
        std::abort();

    // The reads of the table and its text on the way out.
    const int rows = parser.getNumberOfRows();
    for (int row = 0; row < rows && row < 64; ++row) {
        parser.getRow(row);
        double d = 0;
        std::int64_t i = 0;
        parser.getNumericValue(row, 0, d);
        parser.getNumericValue(row, row % 4, i);
    }
    parser.generateHeaderMap();
    parser.toString(true);
    // The text written is linear in the table: a quote grows to "&quot;", a
    // cell gets at most two quotes and a separator, a row its row separator.
    const std::string written = parser.toString(false);
    if (written.size() > 6 * cellBytes + 3 * cells + static_cast<std::size_t>(rows))
        std::abort();
    // And it reads back with the same parser.
    FileSystem::CSVParser again(parser);
    again.clearData();
    again.parseData(written, options.trim, false);
    return 0;
}
