#include <FileSystem/tabular/CSVParserBase.h>

#include <algorithm>
#include <climits>
#include <sstream>
#include <stdexcept>

namespace FileSystem {

namespace {

const std::string& emptyText() {
    static const std::string text;
    return text;
}

const std::vector<std::string>& emptyRow() {
    static const std::vector<std::string> row;
    return row;
}

int clampedSize(std::size_t size) noexcept {
    return static_cast<int>(std::min<std::size_t>(size, INT_MAX));
}

// Parses the front of `text` with a fresh stream (in the global locale), as
// operator>> does: white space first is skipped, anything behind is ignored.
template <class Number>
bool parseFront(const std::string& text, Number& value) {
    std::istringstream stream(text);
    Number parsed{};
    stream >> parsed;
    if (stream.fail())
        return false;
    value = parsed;
    return true;
}

// The first comma of the text becomes a full stop, which lets a decimal comma
// through; later commas end the number.
std::string withDecimalPoint(std::string text) {
    if (const auto comma = text.find(','); comma != std::string::npos)
        text[comma] = '.';
    return text;
}

} // namespace

CSVParserBase::Rows CSVParserBase::takeRawData() {
    Rows rows = std::move(m_rawData);
    m_rawData.clear();
    return rows;
}

void CSVParserBase::clearData() { m_rawData.clear(); }

int CSVParserBase::getNumberOfRows() const noexcept { return clampedSize(m_rawData.size()); }

const std::string& CSVParserBase::getValue(int row, int column) const {
    const std::vector<std::string>& cells = getRawRow(row);
    if (column < 0 || static_cast<std::size_t>(column) >= cells.size())
        return emptyText();
    return cells[static_cast<std::size_t>(column)];
}

const std::vector<std::string>& CSVParserBase::getRawRow(int row) const {
    if (row < 0 || static_cast<std::size_t>(row) >= m_rawData.size())
        return emptyRow();
    return m_rawData[static_cast<std::size_t>(row)];
}

bool CSVParserBase::isRowEmpty(int row) const { return getRawRow(row).empty(); }

int CSVParserBase::getRowColumnCount(int row) const { return clampedSize(getRawRow(row).size()); }

void CSVParserBase::removeRow(int row) {
    if (row >= 0 && static_cast<std::size_t>(row) < m_rawData.size())
        m_rawData.erase(m_rawData.begin() + row);
}

void CSVParserBase::setValue(const std::string& text, int row, int column) {
    if (row < 0 || column < 0)
        return;
    const auto r = static_cast<std::size_t>(row);
    const auto c = static_cast<std::size_t>(column);
    if (m_rawData.size() <= r)
        m_rawData.resize(r + 1);
    std::vector<std::string>& cells = m_rawData[r];
    if (cells.size() <= c)
        cells.resize(c + 1);
    cells[c] = text;
}

void CSVParserBase::addRow(const std::vector<std::string>& row) {
    m_rawData.push_back(row);
    m_numberOfColumns = std::max(m_numberOfColumns, clampedSize(row.size()));
}

void CSVParserBase::addColumn(std::vector<std::string>& values) {
    const std::size_t count = std::min(m_rawData.size(), values.size());
    const auto width = static_cast<std::size_t>(std::max(m_numberOfColumns, 0));
    for (std::size_t i = 0; i < count; ++i) {
        std::vector<std::string>& cells = m_rawData[i];
        if (cells.size() < width)
            cells.resize(width);
        cells.push_back(values[i]);
    }
    if (m_numberOfColumns < INT_MAX)
        ++m_numberOfColumns;
}

bool CSVParserBase::getNumericValue(int row, int column, double& value) const {
    const std::vector<std::string>& cells = getRawRow(row);
    if (column < 0 || static_cast<std::size_t>(column) >= cells.size())
        return false;
    return parseFront(withDecimalPoint(cells[static_cast<std::size_t>(column)]), value);
}

bool CSVParserBase::getNumericValue(int row, int column, float& value) const {
    const std::vector<std::string>& cells = getRawRow(row);
    if (column < 0 || static_cast<std::size_t>(column) >= cells.size())
        return false;
    return parseFront(withDecimalPoint(cells[static_cast<std::size_t>(column)]), value);
}

bool CSVParserBase::getNumericValue(int row, int column, std::int64_t& value) const {
    const std::vector<std::string>& cells = getRawRow(row);
    if (column < 0 || static_cast<std::size_t>(column) >= cells.size())
        return false;
    return parseFront(cells[static_cast<std::size_t>(column)], value);
}

std::optional<double> CSVParserBase::getNumericValue(int row, int column) const {
    double value = 0;
    if (!getNumericValue(row, column, value))
        return std::nullopt;
    return value;
}

std::map<std::string, int> CSVParserBase::generateHeaderMap() const {
    std::map<std::string, int> map;
    const std::vector<std::string>& header = getHeader();
    for (std::size_t i = 0; i < header.size(); ++i)
        map.emplace(header[i], clampedSize(i)); // a text seen before keeps its first column
    return map;
}

const std::vector<std::string>& CSVParserBase::getHeader() const { return getRawRow(0); }

std::optional<int> CSVParserBase::getHeaderIndex(const std::string& name) const {
    if (m_numberOfColumns < 1)
        return std::nullopt;
    const std::vector<std::string>& header = getHeader();
    const auto found = std::find(header.begin(), header.end(), name);
    if (found == header.end())
        return std::nullopt;
    return clampedSize(static_cast<std::size_t>(found - header.begin()));
}

std::vector<int> CSVParserBase::getHeaderIndices(const std::vector<std::string>& names) const {
    std::vector<int> indices;
    if (m_numberOfColumns < 1)
        return indices;
    indices.reserve(names.size());
    for (const std::string& name : names) {
        const std::optional<int> index = getHeaderIndex(name);
        if (!index)
            throw std::runtime_error("Missing Header '" + name + "'");
        indices.push_back(*index);
    }
    return indices;
}

} // namespace FileSystem
