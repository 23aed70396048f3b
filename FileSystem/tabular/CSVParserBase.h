#pragma once

#include <FileSystem/Export.h>

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace FileSystem {

/// A table of text cells in memory: rows of strings, which may differ in
/// width, with typed reads of a cell, growth on write and lookup of columns by
/// the texts of the first row. It knows nothing of files; CSVParser fills it.
///
/// Rows and columns are counted from 0. A read outside the table gives an
/// empty text or an empty row, never an exception. Rows are not padded:
/// getRowColumnCount() of a row may be less (or, after setValue(), more) than
/// getNumberOfColumns().
class FILESYSTEM_EXPORT CSVParserBase {
public:
    /// The rows of a table.
    using Rows = std::vector<std::vector<std::string>>;
    /// Iterates over the rows.
    using RowIterator = Rows::const_iterator;

    /// An empty table of no columns.
    CSVParserBase() = default;
    /// Tables are values.
    ///@{
    CSVParserBase(const CSVParserBase&) = default;
    CSVParserBase(CSVParserBase&&) noexcept = default;
    CSVParserBase& operator=(const CSVParserBase&) = default;
    CSVParserBase& operator=(CSVParserBase&&) noexcept = default;
    ///@}
    /// Not virtual: a table is not deleted through this type.
    ~CSVParserBase() = default;

    /// The rows; row 0 is the header where the caller treats it so.
    ///@{
    Rows& getRawData() noexcept { return m_rawData; }
    const Rows& getRawData() const noexcept { return m_rawData; }
    ///@}
    /// Moves the rows out; the table is left without rows, and its number of
    /// columns stays.
    Rows takeRawData();
    /// Removes all rows; the number of columns stays.
    void clearData();

    /// The number of rows.
    int getNumberOfRows() const noexcept;
    /// The largest row width seen by addRow(), addColumn() and the parsers (0 at first).
    int getNumberOfColumns() const noexcept { return m_numberOfColumns; }

    /// The cell, or a shared empty text when either index is outside the table.
    const std::string& getValue(int row, int column) const;
    /// The row, or a shared empty row when the index is outside the table.
    const std::vector<std::string>& getRawRow(int row) const;
    /// True when the row has no cells (also for a row outside the table).
    bool isRowEmpty(int row) const;
    /// The number of cells of the row (0 outside the table).
    int getRowColumnCount(int row) const;
    /// Removes the row (nothing outside the table); the number of columns stays.
    void removeRow(int row);

    /// Stores `text` in a cell; a negative index does nothing. Missing rows and
    /// cells up to the one named are added empty. The number of columns stays.
    void setValue(const std::string& text, int row, int column);
    /// Appends a row and raises the number of columns to its width.
    void addRow(const std::vector<std::string>& row);
    /// Adds one column: the rows and `values` are walked side by side up to
    /// the end of the shorter; each such row is padded with empty cells up to
    /// the number of columns and then gets its value. The number of columns
    /// then grows by one, however many values there were.
    void addColumn(std::vector<std::string>& values);

    /// Reads a cell as a number: false (the target untouched) outside the
    /// table or when the cell does not start with a number. The first comma of
    /// the cell counts as a decimal point; leading white space is skipped and
    /// text behind the number is ignored ("12abc" gives 12, "1,5" gives 1.5).
    ///@{
    bool getNumericValue(int row, int column, double& value) const;
    bool getNumericValue(int row, int column, float& value) const;
    ///@}
    /// Reads a cell as a signed integer, as the form for double but with no
    /// decimal comma ("1,5" gives 1).
    bool getNumericValue(int row, int column, std::int64_t& value) const;
    /// The cell as a double, or no value.
    std::optional<double> getNumericValue(int row, int column) const;

    /// Each text of row 0 with its column; a text found twice keeps its first
    /// column. Empty without rows.
    std::map<std::string, int> generateHeaderMap() const;
    /// Row 0 (a shared empty row when there is none).
    const std::vector<std::string>& getHeader() const;
    /// The column of the first cell of row 0 that equals `name` byte for byte;
    /// no value when there is none or the number of columns is below 1.
    std::optional<int> getHeaderIndex(const std::string& name) const;
    /// The column of each name in turn (see getHeaderIndex()); empty when the
    /// number of columns is below 1. Throws std::runtime_error "Missing Header
    /// '<name>'" for the first name not found.
    std::vector<int> getHeaderIndices(const std::vector<std::string>& names) const;

    /// The first row.
    RowIterator beginRows() const noexcept { return m_rawData.cbegin(); }
    /// Behind the last row.
    RowIterator endRows() const noexcept { return m_rawData.cend(); }

protected:
    /// Sets the number of columns.
    void setNumberOfColumns(int columns) noexcept { m_numberOfColumns = columns; }

private:
    Rows m_rawData;
    int m_numberOfColumns = 0;
};

} // namespace FileSystem
