#pragma once

#include <FileSystem/Export.h>
#include <FileSystem/tabular/CSVParser.h>

namespace FileSystem {

/// A CSVParser that opens its plain files in binary mode, so that no line
/// ends are translated on the way in or out.
class FILESYSTEM_EXPORT BinaryCSVParser : public CSVParser {
public:
    /// As CSVParser().
    BinaryCSVParser() = default;
    /// As CSVParser's constructor of the same arguments.
    BinaryCSVParser(char separator, bool skipEmptyCells, bool ignoreQuotes, char rowSeparator,
                    bool quotedRowSeparators)
        : CSVParser(separator, skipEmptyCells, ignoreQuotes, rowSeparator, quotedRowSeparators) {}

    /// The flags with binaryFlag added.
    int adjustFileIOFlags(int flags) const override;
};

} // namespace FileSystem
