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
    None = 0,          ///< no stream: an empty container, or a base that is no form of its own
    Text = 1,          ///< readable tokens (TextDataOStream, TextDataIStream); header magic "TQTS"
    Binary = 16,       ///< raw fixed-width bytes (BinaryDataOStream, BinaryDataIStream); "TQBS"
    BinaryHex = 32,    ///< the binary bytes as hexadecimal digits; "TQB16S"
    BinaryBase64 = 48, ///< the binary bytes in Base64; "TQB64S"
};

/// How a layer above the streams encodes strings. The library only stores and
/// hands out the value; 1 is the default of every stream.
enum class StringMode : std::uint32_t {
    Default = 1, ///< the only mode: what every stream starts with
};

/// One comment, written and read as a single item. Binary streams drop it;
/// text streams write it so that a person can follow the data.
class FILESYSTEM_EXPORT DataStreamComment {
public:
    /// An empty comment, as a target for reading one.
    DataStreamComment() = default;
    /// A comment of that text.
    explicit DataStreamComment(std::string text) : m_text(std::move(text)) {}

    ///@{
    /// The text of the comment (a read replaces it).
    const std::string& text() const noexcept { return m_text; }
    std::string& text() noexcept { return m_text; }
    ///@}
    /// Replaces the text.
    void setText(std::string text) { m_text = std::move(text); }

    /// Comments are equal when their texts are.
    friend bool operator==(const DataStreamComment&, const DataStreamComment&) = default;

private:
    std::string m_text;
};

/// The root of all data streams: the state that readers and writers share.
/// A data stream writes to or reads from a standard stream that it does not
/// own, which must outlive it. No operation throws for a failed transfer:
/// results are false and good() turns false.
class FILESYSTEM_EXPORT DataStream {
public:
    /// Leaves the standard stream as it is (a Base64 writer writes its last group first).
    virtual ~DataStream() = default;

    /// The stream format version in force (1, the newest, unless a reader was
    /// made for an older one); 0 for an empty container.
    virtual std::uint64_t getVersion() const = 0;
    /// The version of the client's file, as given when the stream was made or
    /// read from its header line; 0 for an empty container.
    virtual std::uint64_t getFileVersion() const = 0;
    /// The string mode, StringMode::Default unless set otherwise.
    virtual StringMode getStringMode() = 0;
    /// Moves the standard stream's position to a byte offset (`seekp` or
    /// `seekg`); a position the stream cannot reach sets its failbit.
    virtual void seek(std::uint64_t position) = 0;
    /// The standard stream's byte offset (`tellp` or `tellg`); the largest
    /// value once the stream has failed, 0 for an empty container.
    virtual std::uint64_t position() const = 0;
    /// True only while no state bit of the standard stream is set (end of input counts).
    virtual bool good() const = 0;
    /// Sets the standard stream's state to exactly failbit.
    virtual void failStream() = 0;
    /// The form of the stream; None for an empty container.
    virtual DataStreamType dataStreamType() = 0;

protected:
    ///@{
    /// Only concrete streams are made, copied and moved.
    DataStream() = default;
    DataStream(const DataStream&) = default;
    DataStream(DataStream&&) = default;
    DataStream& operator=(const DataStream&) = default;
    DataStream& operator=(DataStream&&) = default;
    ///@}
};

/// An output data stream. Each array operation takes the first element and a
/// count, stops at the first element that fails and returns false then; the
/// elements before it stay written. A value that does not fit its width on the
/// stream (a `long` beyond 32 bits, a `wchar_t` above 0xFFFF) fails the
/// stream (failStream()).
class FILESYSTEM_EXPORT DataOStream : public DataStream {
public:
    ///@{
    /// Writes `count` integers in the fixed width of their type (8, 4, 2 or 1
    /// bytes): binary streams in their byte order, text streams as decimal
    /// tokens. True when all were written.
    virtual bool do_writeFixed(const unsigned long long* data, std::uint64_t count) = 0;
    virtual bool do_writeFixed(const long long* data, std::uint64_t count) = 0;
    virtual bool do_writeFixed(const unsigned int* data, std::uint64_t count) = 0;
    virtual bool do_writeFixed(const int* data, std::uint64_t count) = 0;
    virtual bool do_writeFixed(const unsigned short* data, std::uint64_t count) = 0;
    virtual bool do_writeFixed(const short* data, std::uint64_t count) = 0;
    virtual bool do_writeFixed(const unsigned char* data, std::uint64_t count) = 0;
    virtual bool do_writeFixed(const signed char* data, std::uint64_t count) = 0;
    ///@}

    /// Writes a comment for a person reading the data: text streams write it as
    /// one item, binary streams drop it. True unless the write failed.
    virtual bool do_write(const DataStreamComment& comment) = 0;

    ///@{
    /// Writes `count` values of the type in its width on the stream: floating
    /// values as IEEE bits (long double as a double), wide characters as 4- or
    /// 2-byte code units (a wchar_t above 0xFFFF fails), the char types as 1
    /// byte each; text streams write readable tokens instead (see
    /// TextDataOStream). True when all were written.
    virtual bool do_write(const long double* data, std::uint64_t count) = 0;
    virtual bool do_write(const double* data, std::uint64_t count) = 0;
    virtual bool do_write(const float* data, std::uint64_t count) = 0;
    virtual bool do_write(const char32_t* data, std::uint64_t count) = 0;
    virtual bool do_write(const char16_t* data, std::uint64_t count) = 0;
    virtual bool do_write(const wchar_t* data, std::uint64_t count) = 0;
    virtual bool do_write(const unsigned char* data, std::uint64_t count) = 0;
    virtual bool do_write(const signed char* data, std::uint64_t count) = 0;
    ///@}
    /// Forwards to the signed char form.
    virtual bool do_write(const char* data, std::uint64_t count);
    /// Writes `count` bool values, 1 byte each (text streams: 0 or 1); true when all were written.
    virtual bool do_write(const bool* data, std::uint64_t count) = 0;

    ///@{
    /// Writes integers as the do_writeFixed form of their width on the stream.
    /// `long` and `unsigned long` take 4 bytes: the first value that does not
    /// fit fails the stream and the write (those before it are written).
    virtual bool do_write(const unsigned long long* data, std::uint64_t count);
    virtual bool do_write(const unsigned long* data, std::uint64_t count);
    virtual bool do_write(const unsigned int* data, std::uint64_t count);
    virtual bool do_write(const unsigned short* data, std::uint64_t count);
    virtual bool do_write(const long long* data, std::uint64_t count);
    virtual bool do_write(const long* data, std::uint64_t count);
    virtual bool do_write(const int* data, std::uint64_t count);
    virtual bool do_write(const short* data, std::uint64_t count);
    ///@}

    /// Ends a line where the stream has lines (formatted text streams); true
    /// and nothing written elsewhere.
    virtual bool do_writeEOLSeparator() = 0;
    /// Writes `count` elements of `elementSize` bytes, stored in `order`: binary
    /// streams put each element in their own byte order, text streams write it
    /// as one hexadecimal token, most significant byte first. An order of None
    /// (or a size beyond 64 bits) fails the stream; false then.
    virtual bool do_writeBinaryData(const std::byte* data, std::uint64_t count, std::uint64_t elementSize,
                                    Utilities::Endianness order) = 0;
    /// Writes `size` bytes as they are, with no separator (hex and Base64
    /// streams still encode them); false when the standard stream fails.
    virtual bool do_rawWrite(const char* data, std::uint64_t size) = 0;
    /// The blanks that start each line of a formatted text stream; 0 elsewhere.
    virtual std::uint64_t do_getWriteIndent() const = 0;
    /// Sets the indentation of the lines that follow (formatted text streams;
    /// ignored by binary streams).
    virtual void do_setWriteIndent(std::uint64_t indent) = 0;
};

/// An input data stream, with transactions: a reader may start one, try to
/// read, and roll back to where it started.
class FILESYSTEM_EXPORT DataIStream : public DataStream {
public:
    /// Remembers the position (and what the stream needs besides); true
    /// (false for an empty container). Transactions nest.
    virtual bool startTransaction() = 0;
    /// Rolls back every open transaction, to where the first one started;
    /// false when the stream is bad beyond repair (badbit).
    virtual bool rollbackAllTransactions() = 0;
    /// Repairs a failed stream, then goes back to the last start; false when
    /// the stream is bad beyond repair. True also with no transaction open.
    virtual bool rollbackLastTransaction() = 0;
    /// Keeps what was read since the last start and forgets that start; true.
    virtual bool commitLastTransaction() = 0;
    /// Forgets every open transaction; true.
    virtual bool commitAllTransactions() = 0;
    /// Whether a transaction is open.
    virtual bool hasActiveTransactions() const = 0;

    ///@{
    /// Reads `count` integers of the fixed width of their type, as the
    /// matching do_writeFixed wrote them. False when the input ends first or
    /// holds no such value; the elements before stay read.
    virtual bool do_readFixed(unsigned long long* data, std::uint64_t count) = 0;
    virtual bool do_readFixed(long long* data, std::uint64_t count) = 0;
    virtual bool do_readFixed(unsigned int* data, std::uint64_t count) = 0;
    virtual bool do_readFixed(int* data, std::uint64_t count) = 0;
    virtual bool do_readFixed(unsigned short* data, std::uint64_t count) = 0;
    virtual bool do_readFixed(short* data, std::uint64_t count) = 0;
    virtual bool do_readFixed(unsigned char* data, std::uint64_t count) = 0;
    virtual bool do_readFixed(signed char* data, std::uint64_t count) = 0;
    ///@}

    /// Reads a comment where the writer wrote one: text streams read its text
    /// into `comment`, binary streams read nothing and leave it alone. True
    /// unless the read failed.
    virtual bool do_read(DataStreamComment& comment) = 0;

    ///@{
    /// Reads `count` values as the matching do_write wrote them. False when
    /// the input ends first or does not hold such a value; the elements
    /// before it stay read.
    virtual bool do_read(long double* data, std::uint64_t count) = 0;
    virtual bool do_read(double* data, std::uint64_t count) = 0;
    virtual bool do_read(float* data, std::uint64_t count) = 0;
    virtual bool do_read(char32_t* data, std::uint64_t count) = 0;
    virtual bool do_read(char16_t* data, std::uint64_t count) = 0;
    virtual bool do_read(wchar_t* data, std::uint64_t count) = 0;
    virtual bool do_read(unsigned char* data, std::uint64_t count) = 0;
    virtual bool do_read(signed char* data, std::uint64_t count) = 0;
    ///@}
    /// Forwards to the signed char form.
    virtual bool do_read(char* data, std::uint64_t count);
    /// Reads `count` bool values (any byte but 0 is true; text streams take 0 or 1 only).
    virtual bool do_read(bool* data, std::uint64_t count) = 0;

    ///@{
    /// Reads integers as the do_readFixed form of their width on the stream
    /// (`long` and `unsigned long` from 4 bytes).
    virtual bool do_read(unsigned long long* data, std::uint64_t count);
    virtual bool do_read(unsigned long* data, std::uint64_t count);
    virtual bool do_read(unsigned int* data, std::uint64_t count);
    virtual bool do_read(unsigned short* data, std::uint64_t count);
    virtual bool do_read(long long* data, std::uint64_t count);
    virtual bool do_read(long* data, std::uint64_t count);
    virtual bool do_read(int* data, std::uint64_t count);
    virtual bool do_read(short* data, std::uint64_t count);
    ///@}

    /// Reads exactly `size` bytes as they stand (hex and Base64 streams decode
    /// them first); false when the input ends first or does not decode.
    virtual bool do_rawRead(char* data, std::uint64_t size) = 0;
    /// Reads `count` elements of `elementSize` bytes, as do_writeBinaryData
    /// wrote them, and stores each in `order`. An order of None (or a size
    /// beyond 64 bits) fails the stream; false then, or when the input ends first.
    virtual bool do_readBinaryData(std::byte* data, std::uint64_t count, std::uint64_t elementSize,
                                   Utilities::Endianness order) = 0;
    /// The next byte without taking it, or -1 (at the end, or for an empty
    /// container). Hex and Base64 streams have no such byte: they throw std::logic_error.
    virtual int do_rawPeek() = 0;
};

} // namespace FileSystem
