#pragma once

#include <FileSystem/Export.h>

#include <string>
#include <string_view>

namespace Utilities {

/// Simple Unicode case mappings of one code point of the basic multilingual
/// plane; other values come back unchanged. Independent of any locale.
///@{
FILESYSTEM_EXPORT char32_t toLowerCodePoint(char32_t c) noexcept;
FILESYSTEM_EXPORT char32_t toUpperCodePoint(char32_t c) noexcept;
///@}

/// Case-maps every well-formed UTF-8 sequence of a basic-plane code point;
/// other code points and bytes that are not well-formed UTF-8 are copied.
/// The result may differ in length from the text.
///@{
FILESYSTEM_EXPORT std::string toLowerUtf8(std::string_view text);
FILESYSTEM_EXPORT std::string toUpperUtf8(std::string_view text);
///@}

/// True when both texts are equal after lower-casing per code point.
FILESYSTEM_EXPORT bool equalsIgnoreCaseUtf8(std::string_view a, std::string_view b);

} // namespace Utilities
