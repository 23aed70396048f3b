#pragma once

#include <FileSystem/Export.h>
#include <FileSystem/tabular/CSVParserBase.h>

#include <iosfwd>
#include <string>
#include <vector>

namespace FileSystem {

/// Reads a delimited text file into a table and writes it back.
///
/// Reading runs one state machine over the bytes: a row separator ends a row
/// (with the default line feed, a carriage return does too, so CR LF is one
/// row end followed by an empty line), a cell separator outside quotes ends a
/// cell, and a double quote at the start of a cell opens a quoted part, which
/// the next double quote closes. Within quotes separators are text, and so
/// are row separators unless quotedRowSeparators is off; a quote inside a
/// cell that did not start with one is text. A doubled quote is no escape:
/// a cell holds a double quote as the entity "&quot;", which reading turns
/// back into the quote. Empty lines add no row, a separator at the end of a
/// row adds no cell, and a UTF-8 byte order mark at the start is skipped.
/// There is no bad CSV: every input gives a table, in time and memory linear
/// in its size.
///
/// Finishing a cell within the text trims blanks (with `trim`), replaces the
/// entity (unless quotes are ignored) and converts Latin-1 to UTF-8 (with
/// `convertToUTF8`); the last cell of a text that does not end with a row
/// separator is only converted, and the last row of such a text is kept even
/// when it starts with the prefix of rows to skip.
///
/// A file may be plain or a compressed stream (ZipIOStream): parseFile() tries
/// the stream first unless told that the file is plain. Writing is plain:
/// cells are joined by the first separator, a cell that holds that separator
/// is written in double quotes, and a double quote is written as "&quot;".
class FILESYSTEM_EXPORT CSVParser : public CSVParserBase {
public:
    /// The open mode of reading in the flags that adjustFileIOFlags() passes on.
    static constexpr int readFlag = 1;
    /// The open mode of writing.
    static constexpr int writeFlag = 2;
    /// The binary open mode: no translation of line ends.
    static constexpr int binaryFlag = 32;

    /// Separator ",", empty cells kept, quotes honoured, rows ended by line
    /// feeds (and carriage returns), row separators allowed within quotes.
    CSVParser();
    /// A parser with the cell `separator` (the one written), whether empty
    /// cells within a row are dropped, whether double quotes are plain text,
    /// the row separator (10 or 13 stands for both) and whether a row
    /// separator within quotes belongs to the cell.
    CSVParser(char separator, bool skipEmptyCells, bool ignoreQuotes, char rowSeparator, bool quotedRowSeparators);
    /// Parsers copy and move member by member.
    ///@{
    CSVParser(const CSVParser&) = default;
    CSVParser(CSVParser&&) noexcept = default;
    CSVParser& operator=(const CSVParser&) = default;
    CSVParser& operator=(CSVParser&&) noexcept = default;
    ///@}
    /// Parsers are polymorphic.
    virtual ~CSVParser();

    /// The open mode for reading (readFlag) or writing (writeFlag) a plain
    /// file: here the flags as given.
    virtual int adjustFileIOFlags(int flags) const;

    /// Reads the file at `path` (compressed stream first, unless
    /// `plainFileOnly`, then plain) and appends its rows to the table; the
    /// number of columns becomes the widest row of this file. `trim` removes
    /// blanks around cells, `convertToUTF8` reads the bytes as Latin-1. False
    /// for an empty path, a file that cannot be opened, a read error or a
    /// compressed stream whose data fails its check (the rows read up to the
    /// failure stay).
    bool parseFile(const std::string& path, bool trim = false, bool convertToUTF8 = false,
                   bool plainFileOnly = false);
    /// Reads a text in memory as parseFile() reads a file's contents: the rows
    /// are appended and the number of columns becomes the widest row of the text.
    void parseData(const std::string& text, bool trim = false, bool convertToUTF8 = false);
    /// Appends the rows of the file at `path` as a default parser (separator
    /// ",") reads them, when the table has rows; the number of columns stays.
    /// With `firstRowMustMatch` the first rows of both tables (as getRow()
    /// gives them) must be equal, else nothing is appended and the result is
    /// false; with `skipFirstRow` the file's first row is left out. True also
    /// when the file cannot be read. On an empty table this is parseFile().
    bool appendFile(const std::string& path, bool skipFirstRow, bool firstRowMustMatch, bool trim = false,
                    bool convertToUTF8 = false, bool plainFileOnly = false);
    /// Chooses "," or ";" as the only separator by counting commas, semicolons
    /// and full stops outside double quotes in the file: semicolons win when
    /// there are more of them than commas, or more than half as many as commas
    /// while commas outnumber full stops; an empty file gives ",". The file is
    /// opened as by parseFile() and becomes the parser's file name; the table
    /// keeps its rows, and the number of columns is set to 0. False, with the
    /// separators unchanged, when the file cannot be opened.
    bool autodetectSeparator(const std::string& path);
    /// Adds a further cell separator for reading (writing uses the first).
    void addSeparator(char separator);
    /// Rows whose first character is `prefix` are skipped (all but an
    /// unterminated last row); 0 skips none.
    void skipRowsStartingWith(const char& prefix) noexcept { m_skipRowPrefix = prefix; }
    /// True for a character that ends a row: 10 and 13 when the row separator
    /// is either, else the row separator alone.
    bool isRowSeparator(char c) const noexcept;

    /// saveAs() on the path of the last file read, with `suffix` put between
    /// its name and its extension ("dir/a.csv" and "_new" give
    /// "dir/a_new.csv"). False when no file was read.
    bool save(const std::string& suffix, bool convertFromUTF8 = false);
    /// Writes the table to `path` as a plain file, making the missing folders
    /// above it; with `convertFromUTF8` the cells are written as Latin-1
    /// (a character beyond it becomes "_"). Unless quotes are ignored, the
    /// double quotes of the table's cells are replaced by "&quot;" in the
    /// table too. Each row ends with the row separator; a cell that holds the
    /// first separator is put in double quotes, nothing else is. False when
    /// the file cannot be opened or written.
    bool saveAs(const std::string& path, bool convertFromUTF8 = false);
    /// The text saveAs() would write, leaving the table as it is.
    std::string toString(bool convertFromUTF8 = false) const;
    /// One row as saveAs() would write it, without the row separator (empty
    /// outside the table).
    std::string getRow(int row) const;

    /// The name of the last file read, without folder and extension.
    const std::string& getFilename() const noexcept { return m_stem; }
    /// The path of the last file read, as it was given.
    const std::string& getOriginalFilename() const noexcept { return m_originalFilename; }

private:
    bool isSeparator(char c) const noexcept;
    static void skipUTF8BOM(std::istream& stream);
    /// Takes the path apart and opens it (stream first, unless plain only):
    /// the result is false when neither opened; `read` gets the open stream.
    template <class Reader>
    bool openAndRead(const std::string& path, bool plainFileOnly, Reader&& read);
    bool readTable(std::istream& stream, bool trim, bool convertToUTF8);
    void appendRowText(std::string& out, const std::vector<std::string>& row, bool convertFromUTF8) const;

    std::string m_stem;
    std::string m_directory;
    std::string m_originalFilename;
    std::string m_extension;
    bool m_skipEmptyCells = false;
    bool m_ignoreQuotes = false;
    bool m_quotedRowSeparators = true;
    char m_rowSeparator = '\n';
    char m_skipRowPrefix = 0;
    std::vector<char> m_separators{','};
};

} // namespace FileSystem
