#include <FileSystem/streams/TextDataStream.h>

#include <FileSystem/streams/detail/Wire.h>
#include <FileSystem/utilities/BinaryTextEncoder.h>
#include <FileSystem/utilities/StreamResetter.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <vector>

namespace FileSystem {

namespace {

using Utilities::Endianness;
using Utilities::StreamResetter;

constexpr std::uint64_t kMaxChunk = 0x7FFFFFFFFFFFFFFFull;

bool failedOrBad(const std::ios& stream) { return (stream.rdstate() & (std::ios::failbit | std::ios::badbit)) != 0; }

template <class T>
constexpr bool isWideCharacter = std::is_same_v<T, wchar_t> || std::is_same_v<T, char16_t> || std::is_same_v<T, char32_t>;

template <class T>
constexpr bool is64Bit = std::is_same_v<T, long long> || std::is_same_v<T, unsigned long long>;

/// The type in which num_put writes an integer of type T.
template <class T>
using PutValue = std::conditional_t<is64Bit<T>, T, std::conditional_t<std::is_signed_v<T>, long, unsigned long>>;

/// The type in which num_get reads an integer of type T: its own overload
/// where the facet has one, else the long type of its sign.
template <class T>
using GetValue = std::conditional_t<is64Bit<T> || std::is_same_v<T, unsigned short> || std::is_same_v<T, unsigned int>,
                                    T, std::conditional_t<std::is_signed_v<T>, long, unsigned long>>;

/// Limits a parsed value to the range of T.
template <class T, class V>
T clampTo(V value) {
    if constexpr (std::is_same_v<T, V>) {
        return value;
    } else {
        if (value < static_cast<V>(std::numeric_limits<T>::min()))
            return std::numeric_limits<T>::min();
        if (value > static_cast<V>(std::numeric_limits<T>::max()))
            return std::numeric_limits<T>::max();
        return static_cast<T>(value);
    }
}

/// The words that stand for values the number syntax has none for.
std::optional<double> nonFiniteWord(const std::string& word) {
    if (word == "NAN" || (word.size() >= 5 && word.compare(0, 4, "NAN(") == 0 && word.back() == ')'))
        return std::numeric_limits<double>::quiet_NaN();
    if (word == "INF" || word == "INFINITY")
        return std::numeric_limits<double>::infinity();
    if (word == "-INF" || word == "-INFINITY")
        return -std::numeric_limits<double>::infinity();
    return std::nullopt;
}

} // namespace

// ---- Shared state --------------------------------------------------------------

TextDataStreamBase::TextDataStreamBase(const std::uint64_t& fileVersion, const std::uint64_t& version,
                                       TextNumberFormat format, const std::locale& locale)
    : DataStreamBase(fileVersion, version), m_locale(locale), m_numberFormat(format) {}

bool TextDataStreamBase::isSeparator(char c) const noexcept {
    return c == m_separator || (m_formatted && (c == newLine() || c == altNewLine()));
}

bool TextDataStreamBase::isSeparator(int c) const noexcept {
    if (c == std::char_traits<char>::eof())
        return m_formatted;
    return isSeparator(static_cast<char>(c));
}

void TextDataStreamBase::configureNumberFormat(std::ios_base& stream) const {
    if (m_numberFormat == TextNumberFormat::Canonical)
        stream.setf(std::ios::dec, std::ios::basefield);
}

// ---- Output --------------------------------------------------------------------

TextDataOStream::TextDataOStream(std::ostream& stream, const std::uint64_t& fileVersion, const std::uint64_t& version,
                                 TextNumberFormat format, const std::locale& locale)
    : TextDataStreamBase(fileVersion, version, format, locale), m_stream(&stream) {}

TextDataOStream::TextDataOStream(std::ostream& stream, const std::uint64_t& fileVersion, TextNumberFormat format,
                                 const std::locale& locale)
    : TextDataOStream(stream, fileVersion, latestVersion(), format, locale) {}

void TextDataOStream::seek(std::uint64_t position) { m_stream->seekp(std::streampos(std::streamoff(position))); }

std::uint64_t TextDataOStream::position() const { return static_cast<std::uint64_t>(std::streamoff(m_stream->tellp())); }

bool TextDataOStream::good() const { return m_stream->rdstate() == 0; }

void TextDataOStream::failStream() { m_stream->clear(std::ios::failbit); }

bool TextDataOStream::streamOk() const { return !failedOrBad(*m_stream); }

bool TextDataOStream::writeSeparator() {
    if (isFormatted())
        m_separatorPending = true;
    else
        m_stream->put(separator());
    return streamOk();
}

bool TextDataOStream::delayedWriteSeparator() {
    if (isFormatted()) {
        if (m_separatorPending) {
            m_separatorPending = false;
            m_stream->put(separator());
        } else if (m_indentPending) {
            m_indentPending = false;
            for (std::uint64_t i = 0; i < m_writeIndent && streamOk(); ++i)
                m_stream->put(separator());
        }
    }
    return streamOk();
}

bool TextDataOStream::do_writeEOLSeparator() {
    if (!isFormatted() || !m_separatorPending)
        return true;
    StreamResetter resetter(*m_stream);
    Utilities::imbueIfNeeded(*m_stream, locale());
    m_separatorPending = false;
    m_stream->put(newLine());
    m_indentPending = true;
    return streamOk();
}

bool TextDataOStream::do_rawWrite(const char* data, std::uint64_t size) {
    if (!delayedWriteSeparator())
        return false;
    StreamResetter resetter(*m_stream);
    Utilities::imbueIfNeeded(*m_stream, locale());
    for (std::uint64_t done = 0; done < size;) {
        const std::uint64_t chunk = std::min(size - done, kMaxChunk);
        m_stream->write(data + done, static_cast<std::streamsize>(chunk));
        if (!streamOk())
            return false;
        done += chunk;
    }
    return true;
}

bool TextDataOStream::writeCharacters(const char* data, std::uint64_t count) {
    return delayedWriteSeparator() && do_rawWrite(data, count) && writeSeparator();
}

bool TextDataOStream::do_write(const DataStreamComment& comment) {
    Utilities::imbueIfNeeded(*m_stream, locale());
    const std::string& text = comment.text();
    const bool quote = std::any_of(text.begin(), text.end(), [this](char c) {
        return c == '"' || c == separator() || (isFormatted() && (c == newLine() || c == altNewLine()));
    });
    if (!delayedWriteSeparator())
        return false;
    if (!quote) {
        if (!do_rawWrite(text.data(), text.size()))
            return false;
    } else {
        std::string quoted;
        quoted.reserve(text.size() + 2);
        quoted += '"';
        for (char c : text) {
            if (c == '\\' || c == '"')
                quoted += '\\';
            quoted += c;
        }
        quoted += '"';
        if (!do_rawWrite(quoted.data(), quoted.size()))
            return false;
    }
    return writeSeparator();
}

template <class T>
bool TextDataOStream::do_writeInteger(const T* data, std::uint64_t count) {
    StreamResetter resetter(*m_stream);
    const auto& facet = std::use_facet<std::num_put<char>>(locale());
    for (std::uint64_t i = 0; i < count; ++i) {
        Utilities::imbueIfNeeded(*m_stream, locale());
        if (!delayedWriteSeparator())
            return false;
        configureNumberFormat(*m_stream);
        if (facet.put(std::ostreambuf_iterator<char>(*m_stream), *m_stream, m_stream->fill(),
                      static_cast<PutValue<T>>(data[i]))
                .failed())
            m_stream->setstate(std::ios::badbit);
        if (!writeSeparator())
            return false;
    }
    return streamOk();
}

bool TextDataOStream::do_writeBoolean(const bool* data, std::uint64_t count) {
    StreamResetter resetter(*m_stream);
    const auto& facet = std::use_facet<std::num_put<char>>(locale());
    for (std::uint64_t i = 0; i < count; ++i) {
        Utilities::imbueIfNeeded(*m_stream, locale());
        if (!delayedWriteSeparator())
            return false;
        m_stream->unsetf(std::ios::boolalpha); // the number 0 or 1
        configureNumberFormat(*m_stream);
        if (facet.put(std::ostreambuf_iterator<char>(*m_stream), *m_stream, m_stream->fill(), data[i]).failed())
            m_stream->setstate(std::ios::badbit);
        if (!writeSeparator())
            return false;
    }
    return streamOk();
}

template <class T>
bool TextDataOStream::do_writeFloating(const T* data, std::uint64_t count, std::streamsize precision) {
    StreamResetter resetter(*m_stream);
    const auto& facet = std::use_facet<std::num_put<char>>(locale());
    for (std::uint64_t i = 0; i < count; ++i) {
        Utilities::imbueIfNeeded(*m_stream, locale());
        if (!delayedWriteSeparator())
            return false;
        if (getNumberFormat() == TextNumberFormat::Canonical) {
            m_stream->precision(precision);
            m_stream->setf(std::ios::scientific, std::ios::floatfield);
        }
        if (facet.put(std::ostreambuf_iterator<char>(*m_stream), *m_stream, m_stream->fill(),
                      static_cast<double>(data[i]))
                .failed())
            m_stream->setstate(std::ios::badbit);
        if (!writeSeparator())
            return false;
    }
    return streamOk();
}

bool TextDataOStream::do_writeBinaryData(const std::byte* data, std::uint64_t count, std::uint64_t elementSize,
                                         Endianness order) {
    if (order == Endianness::None) {
        failStream();
        return false;
    }
    const Utilities::BinaryTextEncoderHex encoder(true);
    std::vector<std::byte> element(static_cast<std::size_t>(elementSize));
    std::string text;
    for (std::uint64_t i = 0; i < count; ++i) {
        std::copy_n(data + i * elementSize, elementSize, element.begin());
        if (order == Endianness::LittleEndian)
            std::reverse(element.begin(), element.end()); // the most significant byte first
        if (!delayedWriteSeparator())
            return false;
        text.clear();
        encoder.encodeTo(element, text);
        m_stream->write(text.data(), static_cast<std::streamsize>(text.size()));
        if (!writeSeparator())
            return false;
    }
    return true;
}

template <class T>
bool TextDataOStream::writeValues(const T* data, std::uint64_t count) {
    if constexpr (std::is_same_v<T, bool>) {
        return do_writeBoolean(data, count);
    } else if constexpr (std::is_same_v<T, float>) {
        return do_writeFloating(data, count, 9);
    } else if constexpr (std::is_floating_point_v<T>) {
        return do_writeFloating(data, count, 17);
    } else if constexpr (isWideCharacter<T>) {
        // Code units as hexadecimal, through the binary-data form.
        using W = detail::WireType<T>;
        std::vector<unsigned char> bytes(static_cast<std::size_t>(count) * sizeof(W));
        for (std::uint64_t i = 0; i < count; ++i) {
            W wire{};
            if (!detail::toWire(data[i], wire)) {
                // The elements before this one are written; this one fails the stream.
                if (i > 0 && !do_writeBinaryData(reinterpret_cast<const std::byte*>(bytes.data()), i, sizeof(W),
                                                 Endianness::LittleEndian))
                    return false;
                failStream();
                return false;
            }
            detail::storeBytes(wire, bytes.data() + i * sizeof(W), true);
        }
        return do_writeBinaryData(reinterpret_cast<const std::byte*>(bytes.data()), count, sizeof(W),
                                  Endianness::LittleEndian);
    } else {
        static_assert(sizeof(T) == 1, "the remaining forms are runs of characters");
        return writeCharacters(reinterpret_cast<const char*>(data), count);
    }
}

template <class T>
bool TextDataOStream::writeFixedValues(const T* data, std::uint64_t count) {
    return do_writeInteger(data, count);
}

// ---- Input ---------------------------------------------------------------------

TextDataIStream::TextDataIStream(std::istream& stream, const std::uint64_t& fileVersion, const std::uint64_t& version,
                                 TextNumberFormat format, const std::locale& locale)
    : TextDataStreamBase(fileVersion, version, format, locale), m_stream(&stream) {}

TextDataIStream::TextDataIStream(std::istream& stream, const std::uint64_t& fileVersion, TextNumberFormat format,
                                 const std::locale& locale)
    : TextDataIStream(stream, fileVersion, latestVersion(), format, locale) {}

void TextDataIStream::seek(std::uint64_t position) { m_stream->seekg(std::streampos(std::streamoff(position))); }

std::uint64_t TextDataIStream::position() const { return static_cast<std::uint64_t>(std::streamoff(m_stream->tellg())); }

bool TextDataIStream::good() const { return m_stream->rdstate() == 0; }

void TextDataIStream::failStream() { m_stream->clear(std::ios::failbit); }

bool TextDataIStream::startTransaction() { return m_transactions.start(*m_stream, NoExtra{}); }

bool TextDataIStream::rollbackAllTransactions() {
    return m_transactions.rollbackAll(*m_stream, [](NoExtra) {});
}

bool TextDataIStream::rollbackLastTransaction() {
    return m_transactions.rollbackLast(*m_stream, [](NoExtra) {});
}

bool TextDataIStream::commitLastTransaction() { return m_transactions.commitLast(); }

bool TextDataIStream::commitAllTransactions() { return m_transactions.commitAll(); }

bool TextDataIStream::hasActiveTransactions() const { return m_transactions.active(); }

int TextDataIStream::do_rawPeek() { return m_stream->peek(); }

bool TextDataIStream::readSeparator() {
    if (failedOrBad(*m_stream))
        return false;
    constexpr int eof = std::char_traits<char>::eof();
    if (m_stream->peek() == eof)
        return true; // the last token of a file needs no separator
    const int c = m_stream->get();
    if (failedOrBad(*m_stream))
        return false;
    if (c == static_cast<unsigned char>(separator()))
        return true;
    if (!isFormatted() || (c != newLine() && c != altNewLine()))
        return false;
    if (c == altNewLine() && m_stream->peek() == newLine())
        m_stream->get();
    // The indentation of the next line.
    while (m_stream->peek() == static_cast<unsigned char>(separator()))
        m_stream->get();
    return true;
}

bool TextDataIStream::tokenAhead() {
    const int c = m_stream->rdbuf()->sgetc();
    if (c == std::char_traits<char>::eof()) {
        m_stream->setstate(std::ios::eofbit | std::ios::failbit); // the end of the input
        return false;
    }
    // A separator where a number should start: an empty token (as on a blank line).
    return !isSeparator(static_cast<char>(c));
}

bool TextDataIStream::do_rawRead(char* data, std::uint64_t size) {
    for (std::uint64_t done = 0; done < size;) {
        const std::uint64_t chunk = std::min(size - done, kMaxChunk);
        m_stream->read(data + done, static_cast<std::streamsize>(chunk));
        if (failedOrBad(*m_stream))
            return false;
        done += chunk;
    }
    return !failedOrBad(*m_stream);
}

bool TextDataIStream::readCharacters(char* data, std::uint64_t count) {
    return do_rawRead(data, count) && readSeparator();
}

template <class T>
bool TextDataIStream::do_readInteger(T* data, std::uint64_t count) {
    StreamResetter resetter(*m_stream);
    const auto& facet = std::use_facet<std::num_get<char>>(locale());
    for (std::uint64_t i = 0; i < count; ++i) {
        Utilities::imbueIfNeeded(*m_stream, locale());
        if (failedOrBad(*m_stream))
            return false;
        if (!tokenAhead())
            return false;
        configureNumberFormat(*m_stream);
        std::ios::iostate error = std::ios::goodbit;
        GetValue<T> value{};
        facet.get(std::istreambuf_iterator<char>(*m_stream), std::istreambuf_iterator<char>(), *m_stream, error,
                  value);
        // A failure with the value 0 means that no digits were converted: a sign
        // alone ("-", "+") is no number. Otherwise the facet's verdict is
        // dropped: out of range is clamped, and a bad token shows at the separator.
        if ((error & std::ios::failbit) && value == 0) {
            m_stream->setstate(std::ios::failbit);
            return false;
        }
        data[i] = clampTo<T>(value);
        if (!readSeparator())
            return false;
    }
    return true;
}

bool TextDataIStream::do_readBoolean(bool* data, std::uint64_t count) {
    StreamResetter resetter(*m_stream);
    const auto& facet = std::use_facet<std::num_get<char>>(locale());
    for (std::uint64_t i = 0; i < count; ++i) {
        Utilities::imbueIfNeeded(*m_stream, locale());
        if (failedOrBad(*m_stream))
            return false;
        if (!tokenAhead())
            return false;
        m_stream->unsetf(std::ios::boolalpha);
        m_stream->setf(std::ios::dec, std::ios::basefield);
        std::ios::iostate error = std::ios::goodbit;
        bool value = false;
        facet.get(std::istreambuf_iterator<char>(*m_stream), std::istreambuf_iterator<char>(), *m_stream, error,
                  value);
        if (error & std::ios::failbit)
            return false; // neither 0 nor 1
        data[i] = value;
        if (!readSeparator())
            return false;
    }
    return true;
}

template <class T>
bool TextDataIStream::do_readFloating(T* data, std::uint64_t count, std::streamsize precision) {
    StreamResetter resetter(*m_stream);
    const auto& facet = std::use_facet<std::num_get<char>>(locale());
    const auto& ctype = std::use_facet<std::ctype<char>>(locale());
    constexpr int eof = std::char_traits<char>::eof();
    for (std::uint64_t i = 0; i < count; ++i) {
        Utilities::imbueIfNeeded(*m_stream, locale());
        if (getNumberFormat() == TextNumberFormat::Canonical) {
            m_stream->precision(precision);
            m_stream->setf(std::ios::scientific, std::ios::floatfield);
        }
        if (failedOrBad(*m_stream))
            return false;
        const std::streampos start = m_stream->tellg();
        std::ios::iostate error = std::ios::goodbit;
        double value = 0;
        facet.get(std::istreambuf_iterator<char>(*m_stream), std::istreambuf_iterator<char>(), *m_stream, error,
                  value);
        const std::streampos end = m_stream->tellg();
        const bool moved = end != start;
        bool parsed = moved && !(error & std::ios::failbit);
        if (!parsed && moved) {
            // A token that starts like a number but is none.
            m_stream->seekg(start);
            if (end - start > 1)
                return false;
        }
        if (!parsed) {
            // Maybe a word for a value without digits.
            std::string word;
            for (;;) {
                const int c = m_stream->peek();
                if (isSeparator(c))
                    break;
                m_stream->get();
                if (c == eof || failedOrBad(*m_stream))
                    break;
                word += ctype.toupper(static_cast<char>(c));
            }
            const auto special = word.empty() ? std::nullopt : nonFiniteWord(word);
            if (!special) {
                m_stream->setstate(error);
                return false;
            }
            value = *special;
        }
        if (failedOrBad(*m_stream))
            return false;
        data[i] = static_cast<T>(value);
        if (!readSeparator())
            return false;
    }
    return true;
}

bool TextDataIStream::do_readBinaryData(std::byte* data, std::uint64_t count, std::uint64_t elementSize,
                                        Endianness order) {
    if (order == Endianness::None || elementSize > kMaxChunk) {
        failStream();
        return false;
    }
    // The digits of an element are read in pieces and decoded straight into
    // it: no memory is taken for an element size that the input may not hold.
    char piece[512];
    for (std::uint64_t i = 0; i < count; ++i) {
        std::byte* element = data + i * elementSize;
        Utilities::BinaryTextEncoderHex::Decoder decoder;
        std::uint64_t written = 0;
        for (std::uint64_t remaining = elementSize * 2; remaining > 0;) {
            const std::size_t size = static_cast<std::size_t>(std::min<std::uint64_t>(remaining, sizeof piece));
            if (!do_rawRead(piece, size))
                return false;
            remaining -= size;
            const auto decoded = decoder.feed(std::span<const char>(piece, size), element + written);
            if (!decoded) {
                failStream();
                return false;
            }
            written += *decoded;
        }
        if (written != elementSize) { // white space inside the token
            failStream();
            return false;
        }
        if (order == Endianness::LittleEndian)
            std::reverse(element, element + elementSize);
        if (!readSeparator())
            return false;
    }
    return true;
}

bool TextDataIStream::do_readComment(DataStreamComment& comment) {
    StreamResetter resetter(*m_stream);
    Utilities::imbueIfNeeded(*m_stream, locale());
    std::string& text = comment.text();
    text.clear();
    constexpr int eof = std::char_traits<char>::eof();
    if (m_stream->peek() == '"') {
        m_stream->get();
        for (;;) {
            int c = m_stream->get();
            if (c == eof)
                break;
            if (c == '\\') {
                c = m_stream->get();
                if (c == eof)
                    break;
            } else if (c == '"') {
                break;
            }
            text += static_cast<char>(c);
        }
    } else {
        for (;;) {
            const int c = m_stream->peek();
            if (isSeparator(c))
                break;
            m_stream->get();
            if (c == eof || failedOrBad(*m_stream))
                break;
            text += static_cast<char>(c);
        }
    }
    return !failedOrBad(*m_stream) && readSeparator();
}

bool TextDataIStream::do_checkComment(DataStreamComment& comment) {
    const std::string expected = comment.text();
    return do_readComment(comment) && comment.text() == expected;
}

bool TextDataIStream::do_read(DataStreamComment& comment) {
    return m_checkComments ? do_checkComment(comment) : do_readComment(comment);
}

template <class T>
bool TextDataIStream::readValues(T* data, std::uint64_t count) {
    if constexpr (std::is_same_v<T, bool>) {
        return do_readBoolean(data, count);
    } else if constexpr (std::is_same_v<T, float>) {
        return do_readFloating(data, count, 9);
    } else if constexpr (std::is_floating_point_v<T>) {
        return do_readFloating(data, count, 17);
    } else if constexpr (isWideCharacter<T>) {
        using W = detail::WireType<T>;
        for (std::uint64_t i = 0; i < count; ++i) {
            unsigned char bytes[sizeof(W)];
            if (!do_readBinaryData(reinterpret_cast<std::byte*>(bytes), 1, sizeof(W), Endianness::LittleEndian))
                return false;
            data[i] = detail::fromWire<T>(detail::loadBytes<W>(bytes, true));
        }
        return true;
    } else {
        static_assert(sizeof(T) == 1, "the remaining forms are runs of characters");
        return readCharacters(reinterpret_cast<char*>(data), count);
    }
}

template <class T>
bool TextDataIStream::readFixedValues(T* data, std::uint64_t count) {
    return do_readInteger(data, count);
}

#define FILESYSTEM_TEXT_VALUES(T)                                                                                      \
    template bool TextDataOStream::writeValues<T>(const T*, std::uint64_t);                                            \
    template bool TextDataIStream::readValues<T>(T*, std::uint64_t);
FILESYSTEM_TEXT_VALUES(bool)
FILESYSTEM_TEXT_VALUES(signed char)
FILESYSTEM_TEXT_VALUES(unsigned char)
FILESYSTEM_TEXT_VALUES(float)
FILESYSTEM_TEXT_VALUES(double)
FILESYSTEM_TEXT_VALUES(long double)
FILESYSTEM_TEXT_VALUES(wchar_t)
FILESYSTEM_TEXT_VALUES(char16_t)
FILESYSTEM_TEXT_VALUES(char32_t)
#undef FILESYSTEM_TEXT_VALUES

#define FILESYSTEM_TEXT_FIXED(T)                                                                                       \
    template bool TextDataOStream::writeFixedValues<T>(const T*, std::uint64_t);                                       \
    template bool TextDataIStream::readFixedValues<T>(T*, std::uint64_t);
FILESYSTEM_TEXT_FIXED(signed char)
FILESYSTEM_TEXT_FIXED(unsigned char)
FILESYSTEM_TEXT_FIXED(short)
FILESYSTEM_TEXT_FIXED(unsigned short)
FILESYSTEM_TEXT_FIXED(int)
FILESYSTEM_TEXT_FIXED(unsigned int)
FILESYSTEM_TEXT_FIXED(long long)
FILESYSTEM_TEXT_FIXED(unsigned long long)
#undef FILESYSTEM_TEXT_FIXED

} // namespace FileSystem
