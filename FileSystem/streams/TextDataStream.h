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
    Canonical = 0,
    StreamFlags = 1,
};

/// The state of the text streams.
class FILESYSTEM_EXPORT TextDataStreamBase : public DataStreamBase {
public:
    TextDataStreamBase(const std::uint64_t& fileVersion, const std::uint64_t& version, TextNumberFormat format,
                       const std::locale& locale);

    /// Replaces the locale by the one of that name (std::runtime_error for an unknown name).
    void setLocale(const std::string& name) { m_locale = std::locale(name); }
    std::string getLocale() const { return m_locale.name(); }
    void setNumberFormat(TextNumberFormat format) noexcept { m_numberFormat = format; }
    TextNumberFormat getNumberFormat() const noexcept { return m_numberFormat; }
    /// Formatted streams end lines at `do_writeEOLSeparator` and indent; a
    /// reader must be set the same way as the writer was.
    void setFormatted(bool formatted) noexcept { m_formatted = formatted; }
    bool isFormatted() const noexcept { return m_formatted; }

protected:
    const std::locale& locale() const noexcept { return m_locale; }
    std::locale& locale() noexcept { return m_locale; }
    char separator() const noexcept { return m_separator; }
    static constexpr char newLine() noexcept { return 10; }
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

class FILESYSTEM_EXPORT TextDataOStream : public DataOStreamBase<TextDataOStream, DataOStream>,
                                          public TextDataStreamBase {
public:
    using DataOStreamBase::do_write;

    TextDataOStream(std::ostream& stream, const std::uint64_t& fileVersion, const std::uint64_t& version,
                    TextNumberFormat format, const std::locale& locale);
    TextDataOStream(std::ostream& stream, const std::uint64_t& fileVersion, TextNumberFormat format,
                    const std::locale& locale);
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
    /// Two hexadecimal digits per byte, most significant byte first, one token per element.
    bool do_writeBinaryData(const std::byte* data, std::uint64_t count, std::uint64_t elementSize,
                            Utilities::Endianness order) override;
    bool do_rawWrite(const char* data, std::uint64_t size) override;
    std::uint64_t do_getWriteIndent() const override { return m_writeIndent; }
    void do_setWriteIndent(std::uint64_t indent) override { m_writeIndent = indent; }

    template <class T>
    bool writeValues(const T* data, std::uint64_t count);
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

class FILESYSTEM_EXPORT TextDataIStream : public DataIStreamBase<TextDataIStream, DataIStream>,
                                          public TextDataStreamBase {
public:
    using DataIStreamBase::do_read;

    TextDataIStream(std::istream& stream, const std::uint64_t& fileVersion, const std::uint64_t& version,
                    TextNumberFormat format, const std::locale& locale);
    TextDataIStream(std::istream& stream, const std::uint64_t& fileVersion, TextNumberFormat format,
                    const std::locale& locale);
    TextDataIStream(TextDataIStream&&) = default;

    /// With checking on, reading a comment succeeds only when the text read is
    /// the text of the comment passed in.
    void setCheckComments(bool check) noexcept { m_checkComments = check; }
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

    bool do_read(DataStreamComment& comment) override;
    bool do_rawRead(char* data, std::uint64_t size) override;
    bool do_readBinaryData(std::byte* data, std::uint64_t count, std::uint64_t elementSize,
                           Utilities::Endianness order) override;
    int do_rawPeek() override;

    template <class T>
    bool readValues(T* data, std::uint64_t count);
    template <class T>
    bool readFixedValues(T* data, std::uint64_t count);

protected:
    bool do_checkComment(DataStreamComment& comment);
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
