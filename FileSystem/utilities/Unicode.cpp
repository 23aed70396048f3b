#include <FileSystem/utilities/Unicode.h>

#include <algorithm>
#include <cstdint>
#include <iterator>

namespace Utilities {

namespace {

struct CaseRun {
    std::uint16_t first;
    std::uint16_t last;
    std::uint8_t stride;
    std::int32_t delta;
};

#include "UnicodeCaseTables.inc"

template <std::size_t Size>
char32_t mapCodePoint(const CaseRun (&runs)[Size], char32_t c) noexcept {
    if (c > 0xFFFF)
        return c;
    // The last run that starts at or before c.
    auto it = std::upper_bound(std::begin(runs), std::end(runs), c,
                               [](char32_t value, const CaseRun& run) { return value < run.first; });
    if (it == std::begin(runs))
        return c;
    --it;
    if (c > it->last || (c - it->first) % it->stride != 0)
        return c;
    return char32_t(std::int32_t(c) + it->delta);
}

/// Decodes a well-formed UTF-8 sequence of one to three bytes (a code point of
/// the basic plane, no surrogate) at `pos`; returns its length or 0.
std::size_t decodeBasicPlane(std::string_view text, std::size_t pos, char32_t& out) noexcept {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char b0 = byte(pos);
    if (b0 < 0x80) {
        out = b0;
        return 1;
    }
    const auto continuation = [&](std::size_t i) { return i < text.size() && (byte(i) & 0xC0) == 0x80; };
    if (b0 >= 0xC2 && b0 <= 0xDF && continuation(pos + 1)) {
        out = char32_t((b0 & 0x1F) << 6 | (byte(pos + 1) & 0x3F));
        return 2;
    }
    if (b0 >= 0xE0 && b0 <= 0xEF && continuation(pos + 1) && continuation(pos + 2)) {
        const char32_t c = char32_t((b0 & 0x0F) << 12 | (byte(pos + 1) & 0x3F) << 6 | (byte(pos + 2) & 0x3F));
        if (c < 0x800 || (c >= 0xD800 && c <= 0xDFFF))
            return 0; // overlong or surrogate: not well-formed
        out = c;
        return 3;
    }
    return 0;
}

void appendUtf8(std::string& out, char32_t c) {
    if (c < 0x80) {
        out += char(c);
    } else if (c < 0x800) {
        out += char(0xC0 | (c >> 6));
        out += char(0x80 | (c & 0x3F));
    } else {
        out += char(0xE0 | (c >> 12));
        out += char(0x80 | ((c >> 6) & 0x3F));
        out += char(0x80 | (c & 0x3F));
    }
}

template <class Map>
std::string mapUtf8(std::string_view text, Map map) {
    std::string out;
    out.reserve(text.size());
    std::size_t pos = 0;
    while (pos < text.size()) {
        char32_t c = 0;
        const std::size_t length = decodeBasicPlane(text, pos, c);
        if (length == 0) {
            out += text[pos++];
            continue;
        }
        const char32_t mapped = map(c);
        if (mapped == c)
            out.append(text, pos, length);
        else
            appendUtf8(out, mapped);
        pos += length;
    }
    return out;
}

} // namespace

char32_t toLowerCodePoint(char32_t c) noexcept { return mapCodePoint(kLowerRuns, c); }
char32_t toUpperCodePoint(char32_t c) noexcept { return mapCodePoint(kUpperRuns, c); }

std::string toLowerUtf8(std::string_view text) { return mapUtf8(text, toLowerCodePoint); }
std::string toUpperUtf8(std::string_view text) { return mapUtf8(text, toUpperCodePoint); }

bool equalsIgnoreCaseUtf8(std::string_view a, std::string_view b) {
    if (a == b)
        return true;
    return toLowerUtf8(a) == toLowerUtf8(b);
}

} // namespace Utilities
