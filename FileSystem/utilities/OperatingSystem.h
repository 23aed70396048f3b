#pragma once

#include <FileSystem/Export.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace Utilities {

/// An operating system; the numbers are part of stored data.
enum class OperatingSystem : std::int32_t {
    Unknown = 0, ///< not known, or another one
    Windows = 1, ///< Windows
    Linux = 2,   ///< Linux
};

/// How a text is cased when it is produced.
enum class TextCase {
    Unchanged, ///< as written
    Upper,     ///< upper case
    Lower,     ///< lower case
};

/// "Windows" or "Linux" in the given case; the empty text for Unknown.
FILESYSTEM_EXPORT std::string toString(OperatingSystem system, TextCase textCase = TextCase::Unchanged);

/// Reads "Windows" or "Linux" in any case; anything else is Unknown.
FILESYSTEM_EXPORT OperatingSystem operatingSystemFromString(std::string_view text);

/// The text in the given case; only ASCII letters change (the classic locale's
/// rule), as the texts of this library are ASCII.
FILESYSTEM_EXPORT std::string applyTextCase(std::string text, TextCase textCase);

} // namespace Utilities
