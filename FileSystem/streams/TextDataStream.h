#pragma once

// The human-readable data streams: each value is a token, tokens are divided by
// one blank, and in formatted mode they are laid out in lines with indentation.
// Numbers go through the num_put and num_get facets of the stream's locale.

#include <FileSystem/Export.h>
#include <FileSystem/streams/DataStreamBase.h>
#include <FileSystem/streams/DataStreamTransactions.h>

#include <cstdint>
#include <istream>
#include <locale>
#include <ostream>
#include <string>

namespace FileSystem {

/// How numbers are written. Canonical: integers in decimal, float in
/// scientific form with 9 digits, double with 17 (every bit comes back). Any
/// other value uses the flags of the standard stream as they stand.
enum class TextNumberFormat : std::uint32_t {
    Canonical = 0,   ///< decimal integers; float with precision 9, double with 17, in scientific form
    StreamFlags = 1, ///< the format flags and precision that the standard stream has
};

/// The state of the text streams.
class FILESYSTEM_EXPORT TextDataStreamBase : public DataStreamBase {
public:
    /// The versions as DataStreamBase takes them, the number format, and the
    /// locale whose facets write and read the numbers. Not formatted.
    TextDataStreamBase(const std::uint64_t& fileVersion, const std::uint64_t& version, TextNumberFormat format,
                       const std::locale& locale);

    /// Replaces the locale by the one of that name (std::runtime_error for an unknown name).
    void setLocale(const std::string& name) { m_locale = std::locale(name); }
    /// The name of the stream's locale ("C" for the classic one, "*" for an unnamed one).
    std::string getLocale() const { return m_locale.name(); }
    /// Sets how the numbers that follow are written and read.
    void setNumberFormat(TextNumberFormat format) noexcept { m_numberFormat = format; }
    /// How numbers are written and read.
    TextNumberFormat getNumberFormat() const noexcept { return m_numberFormat; }
    /// Formatted streams end lines at `do_writeEOLSeparator` and indent; a
    /// reader must be set the same way as the writer was.
    void setFormatted(bool formatted) noexcept { m_formatted = formatted; }
    /// Whether the stream is formatted (false until set).
    bool isFormatted() const noexcept { return m_formatted; }

protected:
    ///@{
    /// The locale whose facets write and read numbers; it is imbued on the
    /// standard stream only for the length of an operation.
    const std::locale& locale() const noexcept { return m_locale; }
    std::locale& locale() noexcept { return m_locale; }
    ///@}
    /// The character between tokens, a blank.
    char separator() const noexcept { return m_separator; }
    /// The line feed that ends a line of a formatted stream.
    static constexpr char newLine() noexcept { return 10; }
    /// The carriage return, which a formatted reader also takes as a line end.
    static constexpr char altNewLine() noexcept { return 13; }
    /// The separator; in formatted mode also the line ends.
    bool isSeparator(char c) const noexcept;
    /// The same; in formatted mode the end of input counts as well.
    bool isSeparator(int c) const noexcept;
    /// In the canonical format: integers in decimal.
    void configureNumberFormat(std::ios_base& stream) const;

private:
    std::locale m_locale;
    char m_separator = ' ';
    TextNumberFormat m_numberFormat;
    bool m_formatted = false;
};

/// Writes values as readable tokens, each followed by one blank: integers in
/// decimal, bool as 0 or 1, floating values by the number format (non-finite
/// ones as the locale writes them), wide characters as hexadecimal code units,
/// and a char array as its characters in one token. Comments are kept. A
/// formatted stream puts the blank off until the next token, so that
/// do_writeEOLSeparator can end the line instead, and indents each new line by
/// do_getWriteIndent() blanks. The standard stream's format and locale are
/// left as they were after every operation.
class FILESYSTEM_EXPORT TextDataOStream : public DataOStreamBase<TextDataOStream, DataOStream>,
                                          public TextDataStreamBase {
public:
    using DataOStreamBase::do_write;

    /// A writer on `stream` (not owned; it must outlive the writer) with the
    /// versions, number format and locale given. Writes nothing yet.
    TextDataOStream(std::ostream& stream, const std::uint64_t& fileVersion, const std::uint64_t& version,
                    TextNumberFormat format, const std::locale& locale);
    /// The same with the latest format version.
    TextDataOStream(std::ostream& stream, const std::uint64_t& fileVersion, TextNumberFormat format,
                    const std::locale& locale);
    /// Takes over the other writer's standard stream and state.
    TextDataOStream(TextDataOStream&&) = default;

    std::uint64_t getVersion() const override { return DataStreamBase::getVersion(); }
    std::uint64_t getFileVersion() const override { return DataStreamBase::getFileVersion(); }
    StringMode getStringMode() override { return DataStreamBase::getStringMode(); }
    void seek(std::uint64_t position) override;
    std::uint64_t position() const override;
    bool good() const override;
    void failStream() override;
    DataStreamType dataStreamType() override { return DataStreamType::Text; }

    /// A bare token, or a quoted string when it holds a quote, a blank or (formatted) a line end.
    bool do_write(const DataStreamComment& comment) override;
    /// Ends the line behind the last value (formatted streams only).
    bool do_writeEOLSeparator() override;
    /// Two hexadecimal digits per byte, most significant byte first, one token
    /// per element; an order of None fails the stream.
    bool do_writeBinaryData(const std::byte* data, std::uint64_t count, std::uint64_t elementSize,
                            Utilities::Endianness order) override;
    /// Writes the characters as they are, behind a separator or indentation
    /// that is still due, with none after them.
    bool do_rawWrite(const char* data, std::uint64_t size) override;
    std::uint64_t do_getWriteIndent() const override { return m_writeIndent; }
    void do_setWriteIndent(std::uint64_t indent) override { m_writeIndent = indent; }

    /// The tokens of the value types (see the class); false when a write
    /// fails or a wide character does not fit its code unit.
    template <class T>
    bool writeValues(const T* data, std::uint64_t count);
    /// Integers as decimal tokens through the locale's num_put facet.
    template <class T>
    bool writeFixedValues(const T* data, std::uint64_t count);

private:
    bool writeSeparator();
    bool delayedWriteSeparator();
    template <class T>
    bool do_writeInteger(const T* data, std::uint64_t count);
    bool do_writeBoolean(const bool* data, std::uint64_t count);
    template <class T>
    bool do_writeFloating(const T* data, std::uint64_t count, std::streamsize precision);
    bool writeCharacters(const char* data, std::uint64_t count);
    bool streamOk() const;

    bool m_separatorPending = false;
    bool m_indentPending = false;
    std::uint64_t m_writeIndent = 0;
    std::ostream* m_stream;
};

/// The reading partner of TextDataOStream: each value is a token followed by
/// the separator (or, formatted, a line end and the next line's indentation;
/// the end of input ends the last token). Integers out of the range of their
/// type are clamped to it; floating values also accept the words NAN, INF,
/// INFINITY, -INF and -INFINITY in any case. A token that is no value of the
/// type fails the read (false).
class FILESYSTEM_EXPORT TextDataIStream : public DataIStreamBase<TextDataIStream, DataIStream>,
                                          public TextDataStreamBase {
public:
    using DataIStreamBase::do_read;

    /// A reader on `stream` (not owned; it must outlive the reader) with the
    /// versions, number format and locale of the writer. Reads nothing yet.
    TextDataIStream(std::istream& stream, const std::uint64_t& fileVersion, const std::uint64_t& version,
                    TextNumberFormat format, const std::locale& locale);
    /// The same with the latest format version.
    TextDataIStream(std::istream& stream, const std::uint64_t& fileVersion, TextNumberFormat format,
                    const std::locale& locale);
    /// Takes over the other reader's standard stream, state and open transactions.
    TextDataIStream(TextDataIStream&&) = default;

    /// With checking on, reading a comment succeeds only when the text read is
    /// the text of the comment passed in.
    void setCheckComments(bool check) noexcept { m_checkComments = check; }
    /// Whether comments are checked (off until set).
    bool isCheckComments() const noexcept { return m_checkComments; }

    std::uint64_t getVersion() const override { return DataStreamBase::getVersion(); }
    std::uint64_t getFileVersion() const override { return DataStreamBase::getFileVersion(); }
    StringMode getStringMode() override { return DataStreamBase::getStringMode(); }
    void seek(std::uint64_t position) override;
    std::uint64_t position() const override;
    bool good() const override;
    void failStream() override;
    DataStreamType dataStreamType() override { return DataStreamType::Text; }

    bool startTransaction() override;
    bool rollbackAllTransactions() override;
    bool rollbackLastTransaction() override;
    bool commitLastTransaction() override;
    bool commitAllTransactions() override;
    bool hasActiveTransactions() const override;

    /// Reads a bare token, or a quoted string with backslash escapes, into the
    /// comment; with checking on, false unless it is the comment's own text.
    bool do_read(DataStreamComment& comment) override;
    /// Reads exactly `size` characters as they stand, separators included.
    bool do_rawRead(char* data, std::uint64_t size) override;
    bool do_readBinaryData(std::byte* data, std::uint64_t count, std::uint64_t elementSize,
                           Utilities::Endianness order) override;
    int do_rawPeek() override;

    /// The tokens of the value types, as TextDataOStream writes them.
    template <class T>
    bool readValues(T* data, std::uint64_t count);
    /// Decimal integers through the locale's num_get facet, clamped to the type.
    template <class T>
    bool readFixedValues(T* data, std::uint64_t count);

protected:
    /// do_readComment, then true only when the text read equals the comment's text before.
    bool do_checkComment(DataStreamComment& comment);
    /// Reads a comment's text into `comment`; false when the stream failed.
    bool do_readComment(DataStreamComment& comment);

private:
    struct NoExtra {};
    bool readSeparator();
    /// Whether a token starts here (not the end of input, not a separator).
    bool tokenAhead();
    template <class T>
    bool do_readInteger(T* data, std::uint64_t count);
    bool do_readBoolean(bool* data, std::uint64_t count);
    template <class T>
    bool do_readFloating(T* data, std::uint64_t count, std::streamsize precision);
    bool readCharacters(char* data, std::uint64_t count);

    std::istream* m_stream;
    bool m_checkComments = false;
    DataIStreamTransactionStack<NoExtra> m_transactions;
};

} // namespace FileSystem
