#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace Utilities {

enum class OperatingSystem : std::int32_t {
    Unknown = 0,
    Windows = 1,
    Linux = 2,
};

/// How a text is cased when it is produced.
enum class TextCase {
    Unchanged,
    Upper,
    Lower,
};

/// "Windows" or "Linux" in the given case; the empty text for Unknown.
std::string toString(OperatingSystem system, TextCase textCase = TextCase::Unchanged);

/// Reads "Windows" or "Linux" in any case; anything else is Unknown.
OperatingSystem operatingSystemFromString(std::string_view text);

/// ASCII case change in the classic locale, used by the texts of this library.
std::string applyTextCase(std::string text, TextCase textCase);

} // namespace Utilities
