#pragma once

// The serialisation layer's abstract streams: a typed, versioned,
// array-oriented write and read interface over standard streams.
//
// Widths on a stream are fixed and are not those of the host: bool and the
// char types take 1 byte; short, unsigned short, wchar_t and char16_t 2 bytes;
// int, unsigned int, long, unsigned long, char32_t and float 4 bytes; 64-bit
// integers, double and long double 8 bytes (long double as an IEEE double).
// On this 64-bit Linux host `long` and `wchar_t` are wider than on the stream:
// a value that does not fit makes the write fail.

#include <FileSystem/Export.h>
#include <FileSystem/utilities/Endianness.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace FileSystem {

/// The kind of a concrete stream; the numbers are part of the file formats.
enum class DataStreamType : std::uint32_t {
    None = 0,
    Text = 1,
    Binary = 16,
    BinaryHex = 32,
    BinaryBase64 = 48,
};

/// How a layer above the streams encodes strings. The library only stores and
/// hands out the value; 1 is the default of every stream.
enum class StringMode : std::uint32_t {
    Default = 1,
};

/// One comment, written and read as a single item. Binary streams drop it;
/// text streams write it so that a person can follow the data.
class FILESYSTEM_EXPORT DataStreamComment {
public:
    DataStreamComment() = default;
    explicit DataStreamComment(std::string text) : m_text(std::move(text)) {}

    const std::string& text() const noexcept { return m_text; }
    std::string& text() noexcept { return m_text; }
    void setText(std::string text) { m_text = std::move(text); }

    friend bool operator==(const DataStreamComment&, const DataStreamComment&) = default;

private:
    std::string m_text;
};

/// The root of all data streams.
class FILESYSTEM_EXPORT DataStream {
public:
    virtual ~DataStream() = default;

    virtual std::uint64_t getVersion() const = 0;
    virtual std::uint64_t getFileVersion() const = 0;
    virtual StringMode getStringMode() = 0;
    virtual void seek(std::uint64_t position) = 0;
    virtual std::uint64_t position() const = 0;
    /// True only while no state bit of the standard stream is set (end of input counts).
    virtual bool good() const = 0;
    /// Sets the standard stream's state to exactly failbit.
    virtual void failStream() = 0;
    virtual DataStreamType dataStreamType() = 0;

protected:
    DataStream() = default;
    DataStream(const DataStream&) = default;
    DataStream(DataStream&&) = default;
    DataStream& operator=(const DataStream&) = default;
    DataStream& operator=(DataStream&&) = default;
};

/// An output data stream. Each array operation takes the first element and a
/// count, stops at the first element that fails and returns false then; the
/// elements before it stay written.
class FILESYSTEM_EXPORT DataOStream : public DataStream {
public:
    virtual bool do_writeFixed(const unsigned long long* data, std::uint64_t count) = 0;
    virtual bool do_writeFixed(const long long* data, std::uint64_t count) = 0;
    virtual bool do_writeFixed(const unsigned int* data, std::uint64_t count) = 0;
    virtual bool do_writeFixed(const int* data, std::uint64_t count) = 0;
    virtual bool do_writeFixed(const unsigned short* data, std::uint64_t count) = 0;
    virtual bool do_writeFixed(const short* data, std::uint64_t count) = 0;
    virtual bool do_writeFixed(const unsigned char* data, std::uint64_t count) = 0;
    virtual bool do_writeFixed(const signed char* data, std::uint64_t count) = 0;

    virtual bool do_write(const DataStreamComment& comment) = 0;

    virtual bool do_write(const long double* data, std::uint64_t count) = 0;
    virtual bool do_write(const double* data, std::uint64_t count) = 0;
    virtual bool do_write(const float* data, std::uint64_t count) = 0;
    virtual bool do_write(const char32_t* data, std::uint64_t count) = 0;
    virtual bool do_write(const char16_t* data, std::uint64_t count) = 0;
    virtual bool do_write(const wchar_t* data, std::uint64_t count) = 0;
    virtual bool do_write(const unsigned char* data, std::uint64_t count) = 0;
    virtual bool do_write(const signed char* data, std::uint64_t count) = 0;
    /// Forwards to the signed char form.
    virtual bool do_write(const char* data, std::uint64_t count);
    virtual bool do_write(const bool* data, std::uint64_t count) = 0;

    // The integer forms write as their fixed form of the same width on the stream.
    virtual bool do_write(const unsigned long long* data, std::uint64_t count);
    virtual bool do_write(const unsigned long* data, std::uint64_t count);
    virtual bool do_write(const unsigned int* data, std::uint64_t count);
    virtual bool do_write(const unsigned short* data, std::uint64_t count);
    virtual bool do_write(const long long* data, std::uint64_t count);
    virtual bool do_write(const long* data, std::uint64_t count);
    virtual bool do_write(const int* data, std::uint64_t count);
    virtual bool do_write(const short* data, std::uint64_t count);

    /// Ends a line where the stream has lines.
    virtual bool do_writeEOLSeparator() = 0;
    /// Writes `count` elements of `elementSize` bytes, stored in `order`.
    virtual bool do_writeBinaryData(const std::byte* data, std::uint64_t count, std::uint64_t elementSize,
                                    Utilities::Endianness order) = 0;
    virtual bool do_rawWrite(const char* data, std::uint64_t size) = 0;
    virtual std::uint64_t do_getWriteIndent() const = 0;
    virtual void do_setWriteIndent(std::uint64_t indent) = 0;
};

/// An input data stream, with transactions: a reader may start one, try to
/// read, and roll back to where it started.
class FILESYSTEM_EXPORT DataIStream : public DataStream {
public:
    /// Remembers the position (and what the stream needs besides); true.
    virtual bool startTransaction() = 0;
    virtual bool rollbackAllTransactions() = 0;
    /// Repairs a failed stream, then goes back to the last start; false when
    /// the stream is bad beyond repair.
    virtual bool rollbackLastTransaction() = 0;
    virtual bool commitLastTransaction() = 0;
    virtual bool commitAllTransactions() = 0;
    virtual bool hasActiveTransactions() const = 0;

    virtual bool do_readFixed(unsigned long long* data, std::uint64_t count) = 0;
    virtual bool do_readFixed(long long* data, std::uint64_t count) = 0;
    virtual bool do_readFixed(unsigned int* data, std::uint64_t count) = 0;
    virtual bool do_readFixed(int* data, std::uint64_t count) = 0;
    virtual bool do_readFixed(unsigned short* data, std::uint64_t count) = 0;
    virtual bool do_readFixed(short* data, std::uint64_t count) = 0;
    virtual bool do_readFixed(unsigned char* data, std::uint64_t count) = 0;
    virtual bool do_readFixed(signed char* data, std::uint64_t count) = 0;

    virtual bool do_read(DataStreamComment& comment) = 0;

    virtual bool do_read(long double* data, std::uint64_t count) = 0;
    virtual bool do_read(double* data, std::uint64_t count) = 0;
    virtual bool do_read(float* data, std::uint64_t count) = 0;
    virtual bool do_read(char32_t* data, std::uint64_t count) = 0;
    virtual bool do_read(char16_t* data, std::uint64_t count) = 0;
    virtual bool do_read(wchar_t* data, std::uint64_t count) = 0;
    virtual bool do_read(unsigned char* data, std::uint64_t count) = 0;
    virtual bool do_read(signed char* data, std::uint64_t count) = 0;
    /// Forwards to the signed char form.
    virtual bool do_read(char* data, std::uint64_t count);
    virtual bool do_read(bool* data, std::uint64_t count) = 0;

    // The integer forms read their fixed form of the same width on the stream.
    virtual bool do_read(unsigned long long* data, std::uint64_t count);
    virtual bool do_read(unsigned long* data, std::uint64_t count);
    virtual bool do_read(unsigned int* data, std::uint64_t count);
    virtual bool do_read(unsigned short* data, std::uint64_t count);
    virtual bool do_read(long long* data, std::uint64_t count);
    virtual bool do_read(long* data, std::uint64_t count);
    virtual bool do_read(int* data, std::uint64_t count);
    virtual bool do_read(short* data, std::uint64_t count);

    virtual bool do_rawRead(char* data, std::uint64_t size) = 0;
    virtual bool do_readBinaryData(std::byte* data, std::uint64_t count, std::uint64_t elementSize,
                                   Utilities::Endianness order) = 0;
    /// The next byte without taking it, or -1.
    virtual int do_rawPeek() = 0;
};

} // namespace FileSystem
