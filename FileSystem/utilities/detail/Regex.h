#pragma once

// Options of the regular expressions that come from callers' text (internal).

#include <regex>

namespace FileSystem::detail {

/// ECMAScript, matched in time polynomial in the name's length where the
/// standard library offers that (libstdc++'s breadth-first matcher): a pattern
/// such as "(a|a)*b" would otherwise backtrack for ages on a long name. In that
/// mode a back-reference is refused with std::regex_error (error_complexity).
inline constexpr std::regex::flag_type kUntrustedRegexFlags = std::regex::ECMAScript
#if defined(__GLIBCXX__)
                                                              | std::regex_constants::__polynomial
#endif
    ;

} // namespace FileSystem::detail
