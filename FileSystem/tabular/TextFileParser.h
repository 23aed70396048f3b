#pragma once

// A whole text file as a vector of lines, where a line ends at any of a set
// of separator strings chosen by the caller, written back with one separator.

#include <FileSystem/Export.h>

#include <cstdint>
#include <set>
#include <string>
#include <vector>

namespace FileSystem {

class KVifstream;
class KVofstream;

/// Reads a text file into lines and writes them back: for small editable
/// files. The file is read in binary mode: no byte is translated, and "\r" ends
/// a line only when it is one of the separators.
///
/// Subclasses may change how characters are read (readCharacter()) and how
/// lines are written (writeLine()).
class FILESYSTEM_EXPORT TextFileParser {
public:
    /// No file, no lines.
    TextFileParser() = default;
    /// Holds the lines, with no file name.
    explicit TextFileParser(const std::vector<std::string>& lines) : m_lines(lines) {}
    /// parseFile().
    TextFileParser(const std::string& fileName, bool skipEmpty, const std::set<std::string>& separators);
    virtual ~TextFileParser() = default;

    /// A plain value: copies and moves take the name and the lines.
    ///@{
    TextFileParser(const TextFileParser&) = default;
    TextFileParser(TextFileParser&&) = default;
    TextFileParser& operator=(const TextFileParser&) = default;
    TextFileParser& operator=(TextFileParser&&) = default;
    ///@}

    /// Reads the file into lines, replacing those held, and keeps its name.
    /// A line ends at any of `separators`; where two end at the same place, the
    /// longer wins ("\r\n" over "\r"), and where they start at the same place,
    /// the last in byte order is tried first ("\r\n" before "\n"). Empty lines
    /// are dropped with `skipEmpty`. The text after the last separator is the
    /// last line, so a file that ends with a separator has no empty last line;
    /// with no separators the whole file is one line. A file that cannot be
    /// opened leaves no lines, and a read failure ends the file early.
    void parseFile(const std::string& fileName, bool skipEmpty, const std::set<std::string>& separators);

    /// The name of the last file parsed; empty for a parser made from lines.
    const std::string& getFilename() const noexcept { return m_fileName; }

    /// The lines.
    ///@{
    void setData(const std::vector<std::string>& lines) { m_lines = lines; }
    std::vector<std::string> getData() const { return m_lines; }
    std::vector<std::string>& data() noexcept { return m_lines; }
    const std::vector<std::string>& data() const noexcept { return m_lines; }
    ///@}

    /// Iterators over the lines.
    ///@{
    std::vector<std::string>::iterator begin() noexcept { return m_lines.begin(); }
    std::vector<std::string>::iterator end() noexcept { return m_lines.end(); }
    std::vector<std::string>::const_iterator begin() const noexcept { return m_lines.begin(); }
    std::vector<std::string>::const_iterator end() const noexcept { return m_lines.end(); }
    std::vector<std::string>::const_iterator cbegin() const noexcept { return m_lines.cbegin(); }
    std::vector<std::string>::const_iterator cend() const noexcept { return m_lines.cend(); }
    std::vector<std::string>::reverse_iterator rbegin() noexcept { return m_lines.rbegin(); }
    std::vector<std::string>::reverse_iterator rend() noexcept { return m_lines.rend(); }
    std::vector<std::string>::const_reverse_iterator rbegin() const noexcept { return m_lines.rbegin(); }
    std::vector<std::string>::const_reverse_iterator rend() const noexcept { return m_lines.rend(); }
    std::vector<std::string>::const_reverse_iterator crbegin() const noexcept { return m_lines.crbegin(); }
    std::vector<std::string>::const_reverse_iterator crend() const noexcept { return m_lines.crend(); }
    ///@}

    /// The number of lines.
    std::uint64_t getNumberOfLines() const noexcept { return m_lines.size(); }
    /// A copy of a line; the empty string past the end.
    std::string getLine(std::uint64_t index) const;
    /// Removes a line; the result is the iterator after it.
    std::vector<std::string>::iterator erase(std::vector<std::string>::iterator line) { return m_lines.erase(line); }
    /// Appends a line.
    void addLine(const std::string& text) { m_lines.push_back(text); }

    /// saveAs() under the name of the last file parsed.
    bool save(const std::string& separator) { return saveAs(m_fileName, separator); }
    /// Writes every line followed by `separator` (the last too) to a file,
    /// replacing what it held; no lines give an empty file. False when the
    /// file cannot be opened, a line cannot be written or the data does not
    /// reach the file. The parser keeps its file name.
    bool saveAs(const std::string& fileName, const std::string& separator);

    /// Compares the lines byte by byte; file names do not count.
    ///@{
    bool operator==(const TextFileParser& other) const { return m_lines == other.m_lines; }
    bool operator!=(const TextFileParser& other) const { return !(*this == other); }
    ///@}

protected:
    /// The length of the longest separator; 0 for none.
    static std::uint64_t maxLengthSepeator(const std::set<std::string>& separators);

    /// Reads one character; empty at the end of the file or on a failure.
    virtual std::string readCharacter(KVifstream& stream);
    /// Writes a line as it stands (its separator included); false stops the save.
    virtual bool writeLine(KVofstream& stream, const std::string& text);

private:
    std::string m_fileName;
    std::vector<std::string> m_lines;
};

} // namespace FileSystem
