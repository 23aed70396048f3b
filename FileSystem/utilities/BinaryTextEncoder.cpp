#include <FileSystem/utilities/BinaryTextEncoder.h>

#include <array>
#include <cstring>

namespace Utilities {

namespace {

constexpr char kHexUpper[] = "0123456789ABCDEF";
constexpr char kHexLower[] = "0123456789abcdef";
constexpr char kBase64[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

constexpr std::uint8_t kSkip = 0xFE;
constexpr std::uint8_t kInvalid = 0xFF;

/// White space of the classic locale.
constexpr bool isSpace(unsigned char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r'; }

constexpr std::array<std::uint8_t, 256> makeHexTable() {
    std::array<std::uint8_t, 256> table{};
    for (auto& entry : table)
        entry = kInvalid;
    for (int c = 0; c < 256; ++c)
        if (isSpace(static_cast<unsigned char>(c)))
            table[c] = kSkip;
    for (int i = 0; i < 10; ++i)
        table['0' + i] = static_cast<std::uint8_t>(i);
    for (int i = 0; i < 6; ++i) {
        table['a' + i] = static_cast<std::uint8_t>(10 + i);
        table['A' + i] = static_cast<std::uint8_t>(10 + i);
    }
    return table;
}

constexpr std::array<std::uint8_t, 256> makeBase64Table() {
    std::array<std::uint8_t, 256> table{};
    for (auto& entry : table)
        entry = kInvalid;
    for (int c = 0; c < 256; ++c)
        if (isSpace(static_cast<unsigned char>(c)))
            table[c] = kSkip;
    table['='] = kSkip;
    for (int i = 0; i < 64; ++i)
        table[static_cast<unsigned char>(kBase64[i])] = static_cast<std::uint8_t>(i);
    return table;
}

constexpr auto kHexTable = makeHexTable();
constexpr auto kBase64Table = makeBase64Table();

/// Two Base64 digits for every 12 bits, as they stand in memory.
const std::array<std::array<char, 2>, 4096>& base64Pairs() {
    static const auto table = [] {
        std::array<std::array<char, 2>, 4096> pairs{};
        for (int i = 0; i < 4096; ++i)
            pairs[i] = {kBase64[i >> 6], kBase64[i & 63]};
        return pairs;
    }();
    return table;
}

} // namespace

// ---- Hexadecimal ---------------------------------------------------------------

void BinaryTextEncoderHex::encodeTo(std::span<const std::byte> data, std::string& out) const {
    const char* digits = m_option ? kHexUpper : kHexLower;
    const std::size_t start = out.size();
    out.resize(start + data.size() * 2);
    char* write = out.data() + start;
    for (std::byte b : data) {
        const auto value = static_cast<unsigned char>(b);
        *write++ = digits[value >> 4];
        *write++ = digits[value & 0x0F];
    }
}

std::optional<std::string> BinaryTextEncoderHex::encode(std::span<const std::byte> data) const {
    std::string text;
    encodeTo(data, text);
    return text;
}

std::optional<std::size_t> BinaryTextEncoderHex::Decoder::feed(std::span<const char> text, std::byte* out) {
    const auto* in = reinterpret_cast<const unsigned char*>(text.data());
    const std::size_t size = text.size();
    auto* write = reinterpret_cast<unsigned char*>(out);
    std::size_t i = 0;
    while (i < size) {
        // Pairs of digits go straight through.
        if (m_high < 0) {
            while (i + 8 <= size) {
                const std::uint8_t a = kHexTable[in[i]], b = kHexTable[in[i + 1]], c = kHexTable[in[i + 2]],
                                   d = kHexTable[in[i + 3]], e = kHexTable[in[i + 4]], f = kHexTable[in[i + 5]],
                                   g = kHexTable[in[i + 6]], h = kHexTable[in[i + 7]];
                if ((a | b | c | d | e | f | g | h) & 0xF0)
                    break;
                write[0] = static_cast<unsigned char>(a << 4 | b);
                write[1] = static_cast<unsigned char>(c << 4 | d);
                write[2] = static_cast<unsigned char>(e << 4 | f);
                write[3] = static_cast<unsigned char>(g << 4 | h);
                write += 4;
                i += 8;
            }
            if (i >= size)
                break;
        }
        // White space and the pairs that it interrupts: one character at a time.
        const std::uint8_t value = kHexTable[in[i++]];
        if (value == kSkip)
            continue;
        if (value == kInvalid)
            return std::nullopt;
        if (m_high < 0) {
            m_high = value;
        } else {
            *write++ = static_cast<unsigned char>(m_high << 4 | value);
            m_high = -1;
        }
    }
    return static_cast<std::size_t>(write - reinterpret_cast<unsigned char*>(out));
}

std::optional<std::vector<std::byte>> BinaryTextEncoderHex::decode(std::span<const char> text) const {
    std::vector<std::byte> bytes(text.size() / 2);
    Decoder decoder;
    const auto written = decoder.feed(text, bytes.data());
    if (!written)
        return std::nullopt;
    bytes.resize(*written); // an odd last digit is dropped
    return bytes;
}

// ---- Base64 --------------------------------------------------------------------

std::optional<std::string> BinaryTextEncoderBase64::encode(std::span<const std::byte> data) const {
    std::string text;
    if (!encodeTo(data, text))
        return std::nullopt;
    return text;
}

bool BinaryTextEncoderBase64::encodeTo(std::span<const std::byte> data, std::string& text) const {
    if (data.size() >= 0xBFFFFFFFFFFFFFFEull)
        return false;
    text.reserve(text.size() + (data.size() + 2) / 3 * 4);
    const auto* in = reinterpret_cast<const unsigned char*>(data.data());
    const auto& pairs = base64Pairs();
    // The text is made in pieces that stay in the cache and then appended, so
    // that the output memory is written once.
    constexpr std::size_t kGroups = 4096;
    char piece[kGroups * 4];
    std::size_t i = 0;
    while (i + 3 <= data.size()) {
        const std::size_t groups = std::min(kGroups, (data.size() - i) / 3);
        char* out = piece;
        for (std::size_t g = 0; g < groups; ++g, i += 3, out += 4) {
            const std::uint32_t v = std::uint32_t(in[i]) << 16 | std::uint32_t(in[i + 1]) << 8 | in[i + 2];
            std::memcpy(out, pairs[v >> 12].data(), 2);
            std::memcpy(out + 2, pairs[v & 0xFFF].data(), 2);
        }
        text.append(piece, groups * 4);
    }
    const std::size_t rest = data.size() - i;
    if (rest > 0) {
        const std::uint32_t v = std::uint32_t(in[i]) << 16 | (rest == 2 ? std::uint32_t(in[i + 1]) << 8 : 0);
        text += kBase64[v >> 18];
        text += kBase64[(v >> 12) & 63];
        if (rest == 2)
            text += kBase64[(v >> 6) & 63];
        if (m_option)
            text.append(rest == 2 ? 1 : 2, '=');
    }
    return true;
}

std::optional<std::size_t> BinaryTextEncoderBase64::Decoder::feed(std::span<const char> text, std::byte* out) {
    const auto* in = reinterpret_cast<const unsigned char*>(text.data());
    const std::size_t size = text.size();
    auto* const begin = reinterpret_cast<unsigned char*>(out);
    unsigned char* write = begin;
    for (std::size_t i = 0; i < size;) {
        // Whole groups of four digits go straight through.
        if (m_digits == 0) {
            while (i + 8 <= size) {
                const std::uint8_t a = kBase64Table[in[i]], b = kBase64Table[in[i + 1]],
                                   c = kBase64Table[in[i + 2]], d = kBase64Table[in[i + 3]],
                                   e = kBase64Table[in[i + 4]], f = kBase64Table[in[i + 5]],
                                   g = kBase64Table[in[i + 6]], h = kBase64Table[in[i + 7]];
                if ((a | b | c | d | e | f | g | h) & 0xC0)
                    break;
                const std::uint32_t v = std::uint32_t(a) << 18 | std::uint32_t(b) << 12 | std::uint32_t(c) << 6 | d;
                const std::uint32_t w = std::uint32_t(e) << 18 | std::uint32_t(f) << 12 | std::uint32_t(g) << 6 | h;
                write[0] = static_cast<unsigned char>(v >> 16);
                write[1] = static_cast<unsigned char>(v >> 8);
                write[2] = static_cast<unsigned char>(v);
                write[3] = static_cast<unsigned char>(w >> 16);
                write[4] = static_cast<unsigned char>(w >> 8);
                write[5] = static_cast<unsigned char>(w);
                write += 6;
                i += 8;
            }
            if (i >= size)
                break;
        }
        // White space, '=' and groups that they interrupt: one character at a time.
        const std::uint8_t value = kBase64Table[in[i++]];
        if (value == kSkip)
            continue;
        if (value == kInvalid)
            return std::nullopt;
        m_bits = m_bits << 6 | value;
        if (++m_digits == 4) {
            write[0] = static_cast<unsigned char>(m_bits >> 16);
            write[1] = static_cast<unsigned char>(m_bits >> 8);
            write[2] = static_cast<unsigned char>(m_bits);
            write += 3;
            m_bits = 0;
            m_digits = 0;
        }
    }
    return static_cast<std::size_t>(write - begin);
}

std::size_t BinaryTextEncoderBase64::Decoder::finish(std::byte* out) {
    std::size_t written = 0;
    if (m_digits == 2) {
        out[written++] = static_cast<std::byte>(m_bits >> 4);
    } else if (m_digits == 3) {
        out[written++] = static_cast<std::byte>(m_bits >> 10);
        out[written++] = static_cast<std::byte>(m_bits >> 2);
    }
    m_bits = 0;
    m_digits = 0; // a lone digit is dropped
    return written;
}

bool BinaryTextEncoderBase64::Decoder::feed(std::span<const char> text, std::vector<std::byte>& out) {
    const std::size_t start = out.size();
    out.resize(start + maxOutput(text.size()));
    const auto written = feed(text, out.data() + start);
    out.resize(start + written.value_or(0));
    return written.has_value();
}

void BinaryTextEncoderBase64::Decoder::finish(std::vector<std::byte>& out) {
    std::byte tail[2];
    const std::size_t written = finish(tail);
    out.insert(out.end(), tail, tail + written);
}

std::optional<std::vector<std::byte>> BinaryTextEncoderBase64::decode(std::span<const char> text) const {
    std::vector<std::byte> bytes;
    bytes.reserve(text.size() / 4 * 3 + 2);
    Decoder decoder;
    if (!decoder.feed(text, bytes))
        return std::nullopt;
    decoder.finish(bytes);
    return bytes;
}

} // namespace Utilities
