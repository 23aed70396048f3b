#pragma once

// Streams that stand for other streams: containers that own a concrete stream
// and forward every operation to it, and adapters that turn every value into
// one binary-data operation of the stream they wrap.

#include <FileSystem/Export.h>
#include <FileSystem/streams/DataStream.h>

#include <memory>

namespace FileSystem {

#define FILESYSTEM_DATA_OSTREAM_OPERATIONS                                                                             \
    std::uint64_t getVersion() const override;                                                                         \
    std::uint64_t getFileVersion() const override;                                                                     \
    StringMode getStringMode() override;                                                                               \
    void seek(std::uint64_t position) override;                                                                        \
    std::uint64_t position() const override;                                                                           \
    bool good() const override;                                                                                        \
    void failStream() override;                                                                                        \
    DataStreamType dataStreamType() override;                                                                          \
    bool do_writeFixed(const unsigned long long* data, std::uint64_t count) override;                                  \
    bool do_writeFixed(const long long* data, std::uint64_t count) override;                                           \
    bool do_writeFixed(const unsigned int* data, std::uint64_t count) override;                                        \
    bool do_writeFixed(const int* data, std::uint64_t count) override;                                                 \
    bool do_writeFixed(const unsigned short* data, std::uint64_t count) override;                                      \
    bool do_writeFixed(const short* data, std::uint64_t count) override;                                               \
    bool do_writeFixed(const unsigned char* data, std::uint64_t count) override;                                       \
    bool do_writeFixed(const signed char* data, std::uint64_t count) override;                                         \
    bool do_write(const DataStreamComment& comment) override;                                                          \
    bool do_write(const long double* data, std::uint64_t count) override;                                              \
    bool do_write(const double* data, std::uint64_t count) override;                                                   \
    bool do_write(const float* data, std::uint64_t count) override;                                                    \
    bool do_write(const char32_t* data, std::uint64_t count) override;                                                 \
    bool do_write(const char16_t* data, std::uint64_t count) override;                                                 \
    bool do_write(const wchar_t* data, std::uint64_t count) override;                                                  \
    bool do_write(const unsigned char* data, std::uint64_t count) override;                                            \
    bool do_write(const signed char* data, std::uint64_t count) override;                                              \
    bool do_write(const char* data, std::uint64_t count) override;                                                     \
    bool do_write(const bool* data, std::uint64_t count) override;                                                     \
    bool do_write(const unsigned long long* data, std::uint64_t count) override;                                       \
    bool do_write(const unsigned long* data, std::uint64_t count) override;                                            \
    bool do_write(const unsigned int* data, std::uint64_t count) override;                                             \
    bool do_write(const unsigned short* data, std::uint64_t count) override;                                           \
    bool do_write(const long long* data, std::uint64_t count) override;                                                \
    bool do_write(const long* data, std::uint64_t count) override;                                                     \
    bool do_write(const int* data, std::uint64_t count) override;                                                      \
    bool do_write(const short* data, std::uint64_t count) override;                                                    \
    bool do_writeEOLSeparator() override;                                                                              \
    bool do_writeBinaryData(const std::byte* data, std::uint64_t count, std::uint64_t elementSize,                     \
                            Utilities::Endianness order) override;                                                     \
    bool do_rawWrite(const char* data, std::uint64_t size) override;                                                   \
    std::uint64_t do_getWriteIndent() const override;                                                                  \
    void do_setWriteIndent(std::uint64_t indent) override;

#define FILESYSTEM_DATA_ISTREAM_OPERATIONS                                                                             \
    std::uint64_t getVersion() const override;                                                                         \
    std::uint64_t getFileVersion() const override;                                                                     \
    StringMode getStringMode() override;                                                                               \
    void seek(std::uint64_t position) override;                                                                        \
    std::uint64_t position() const override;                                                                           \
    bool good() const override;                                                                                        \
    void failStream() override;                                                                                        \
    DataStreamType dataStreamType() override;                                                                          \
    bool startTransaction() override;                                                                                  \
    bool rollbackAllTransactions() override;                                                                           \
    bool rollbackLastTransaction() override;                                                                           \
    bool commitLastTransaction() override;                                                                             \
    bool commitAllTransactions() override;                                                                             \
    bool hasActiveTransactions() const override;                                                                       \
    bool do_readFixed(unsigned long long* data, std::uint64_t count) override;                                         \
    bool do_readFixed(long long* data, std::uint64_t count) override;                                                  \
    bool do_readFixed(unsigned int* data, std::uint64_t count) override;                                               \
    bool do_readFixed(int* data, std::uint64_t count) override;                                                        \
    bool do_readFixed(unsigned short* data, std::uint64_t count) override;                                             \
    bool do_readFixed(short* data, std::uint64_t count) override;                                                      \
    bool do_readFixed(unsigned char* data, std::uint64_t count) override;                                              \
    bool do_readFixed(signed char* data, std::uint64_t count) override;                                                \
    bool do_read(DataStreamComment& comment) override;                                                                 \
    bool do_read(long double* data, std::uint64_t count) override;                                                     \
    bool do_read(double* data, std::uint64_t count) override;                                                          \
    bool do_read(float* data, std::uint64_t count) override;                                                           \
    bool do_read(char32_t* data, std::uint64_t count) override;                                                        \
    bool do_read(char16_t* data, std::uint64_t count) override;                                                        \
    bool do_read(wchar_t* data, std::uint64_t count) override;                                                         \
    bool do_read(unsigned char* data, std::uint64_t count) override;                                                   \
    bool do_read(signed char* data, std::uint64_t count) override;                                                     \
    bool do_read(char* data, std::uint64_t count) override;                                                            \
    bool do_read(bool* data, std::uint64_t count) override;                                                            \
    bool do_read(unsigned long long* data, std::uint64_t count) override;                                              \
    bool do_read(unsigned long* data, std::uint64_t count) override;                                                   \
    bool do_read(unsigned int* data, std::uint64_t count) override;                                                    \
    bool do_read(unsigned short* data, std::uint64_t count) override;                                                  \
    bool do_read(long long* data, std::uint64_t count) override;                                                       \
    bool do_read(long* data, std::uint64_t count) override;                                                            \
    bool do_read(int* data, std::uint64_t count) override;                                                             \
    bool do_read(short* data, std::uint64_t count) override;                                                           \
    bool do_rawRead(char* data, std::uint64_t size) override;                                                          \
    bool do_readBinaryData(std::byte* data, std::uint64_t count, std::uint64_t elementSize,                            \
                           Utilities::Endianness order) override;                                                      \
    int do_rawPeek() override;

/// Forwards every operation to the stream that `get()` names. With no stream,
/// value operations and `good()` are false, getters 0 (the type None), and
/// `seek`, `failStream` and `do_setWriteIndent` do nothing.
class FILESYSTEM_EXPORT DataOStreamContainerBase : public DataOStream {
public:
    FILESYSTEM_DATA_OSTREAM_OPERATIONS
    /// The stream that every operation goes to; null for an empty container.
    virtual DataOStream* get() const = 0;
};

/// Forwards every operation to the stream that `get()` names. With no stream,
/// value operations, transactions and `good()` are false, getters 0 (the type
/// None), `do_rawPeek` -1, and `seek` and `failStream` do nothing.
class FILESYSTEM_EXPORT DataIStreamContainerBase : public DataIStream {
public:
    FILESYSTEM_DATA_ISTREAM_OPERATIONS
    /// The stream that every operation goes to; null for an empty container.
    virtual DataIStream* get() const = 0;
};

/// Owns a concrete output stream (not the standard stream beneath it).
class FILESYSTEM_EXPORT DataOStreamContainer : public DataOStreamContainerBase {
public:
    /// An empty container (as the factory gives for a failure).
    DataOStreamContainer() = default;
    /// Takes the stream; a null one gives an empty container.
    explicit DataOStreamContainer(std::unique_ptr<DataOStream> stream) : m_stream(std::move(stream)) {}
    /// Takes the other container's stream; the other one is left empty.
    DataOStreamContainer(DataOStreamContainer&& other) noexcept = default;
    /// Destroys the stream held so far (a Base64 writer writes its last group
    /// then) and takes the other container's.
    DataOStreamContainer& operator=(DataOStreamContainer&& other) noexcept = default;
    DataOStream* get() const override { return m_stream.get(); }

private:
    std::unique_ptr<DataOStream> m_stream;
};

/// Owns a concrete input stream (not the standard stream beneath it).
class FILESYSTEM_EXPORT DataIStreamContainer : public DataIStreamContainerBase {
public:
    /// An empty container (as the factory gives for a failure).
    DataIStreamContainer() = default;
    /// Takes the stream; a null one gives an empty container.
    explicit DataIStreamContainer(std::unique_ptr<DataIStream> stream) : m_stream(std::move(stream)) {}
    /// Takes the other container's stream; the other one is left empty.
    DataIStreamContainer(DataIStreamContainer&& other) noexcept = default;
    /// Destroys the stream held so far and takes the other container's.
    DataIStreamContainer& operator=(DataIStreamContainer&& other) noexcept = default;
    DataIStream* get() const override { return m_stream.get(); }

private:
    std::unique_ptr<DataIStream> m_stream;
};

/// Writes every array of values as one binary-data operation of the wrapped
/// stream: the values' bytes in their width on the stream, laid out
/// little-endian, handed over as if stored in the adapter's byte order. Over a
/// binary stream of the adapter's order they so stand little-endian, over one
/// of the other order big-endian; over a text stream a little-endian adapter
/// writes each value as one hexadecimal token, most significant digit first,
/// and floating values keep every bit. A value that does not fit its width
/// fails the wrapped stream (the values before it are written). Raw bytes go
/// through the same operation with elements of 1 byte; comments, line ends,
/// indentation and the stream's state go to the wrapped stream as they are.
/// The type is always Binary.
class FILESYSTEM_EXPORT DataOStreamBinaryAdapter : public DataOStream {
public:
    /// Wraps `stream` (not owned; it must outlive the adapter) with the byte
    /// order that values are handed over in; None fails every value write.
    DataOStreamBinaryAdapter(DataOStream& stream, Utilities::Endianness endianness)
        : m_stream(&stream), m_endianness(endianness) {}
    FILESYSTEM_DATA_OSTREAM_OPERATIONS
    /// The wrapped stream.
    DataOStream* get() const { return m_stream; }

private:
    template <class T>
    bool writeElements(const T* data, std::uint64_t count);
    DataOStream* m_stream;
    Utilities::Endianness m_endianness;
};

/// The reading partner of DataOStreamBinaryAdapter: over the same kind of
/// stream and with the same byte order it reads the values back. An array
/// whose read fails leaves the values untouched. Transactions, comments,
/// peeks and the stream's state go to the wrapped stream as they are.
class FILESYSTEM_EXPORT DataIStreamBinaryAdapter : public DataIStream {
public:
    /// Wraps `stream` (not owned; it must outlive the adapter) with the
    /// writer's byte order.
    DataIStreamBinaryAdapter(DataIStream& stream, Utilities::Endianness endianness)
        : m_stream(&stream), m_endianness(endianness) {}
    FILESYSTEM_DATA_ISTREAM_OPERATIONS
    /// The wrapped stream.
    DataIStream* get() const { return m_stream; }

private:
    template <class T>
    bool readElements(T* data, std::uint64_t count);
    DataIStream* m_stream;
    Utilities::Endianness m_endianness;
};

#undef FILESYSTEM_DATA_OSTREAM_OPERATIONS
#undef FILESYSTEM_DATA_ISTREAM_OPERATIONS

} // namespace FileSystem
