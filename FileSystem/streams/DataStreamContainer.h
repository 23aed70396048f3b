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
/// value operations and `good()` are false, getters 0, and `seek`,
/// `failStream` and `do_setWriteIndent` do nothing.
class FILESYSTEM_EXPORT DataOStreamContainerBase : public DataOStream {
public:
    FILESYSTEM_DATA_OSTREAM_OPERATIONS
    virtual DataOStream* get() const = 0;
};

class FILESYSTEM_EXPORT DataIStreamContainerBase : public DataIStream {
public:
    FILESYSTEM_DATA_ISTREAM_OPERATIONS
    virtual DataIStream* get() const = 0;
};

/// Owns a concrete output stream (not the standard stream beneath it).
class FILESYSTEM_EXPORT DataOStreamContainer : public DataOStreamContainerBase {
public:
    DataOStreamContainer() = default;
    explicit DataOStreamContainer(std::unique_ptr<DataOStream> stream) : m_stream(std::move(stream)) {}
    DataOStreamContainer(DataOStreamContainer&& other) noexcept = default;
    DataOStreamContainer& operator=(DataOStreamContainer&& other) noexcept = default;
    DataOStream* get() const override { return m_stream.get(); }

private:
    std::unique_ptr<DataOStream> m_stream;
};

/// Owns a concrete input stream (not the standard stream beneath it).
class FILESYSTEM_EXPORT DataIStreamContainer : public DataIStreamContainerBase {
public:
    DataIStreamContainer() = default;
    explicit DataIStreamContainer(std::unique_ptr<DataIStream> stream) : m_stream(std::move(stream)) {}
    DataIStreamContainer(DataIStreamContainer&& other) noexcept = default;
    DataIStreamContainer& operator=(DataIStreamContainer&& other) noexcept = default;
    DataIStream* get() const override { return m_stream.get(); }

private:
    std::unique_ptr<DataIStream> m_stream;
};

/// Writes every value as one binary-data operation of the wrapped stream, in
/// the adapter's byte order: over a text stream all values become hexadecimal
/// tokens (floating values keep every bit), over a binary stream they stand in
/// the adapter's order rather than the stream's.
class FILESYSTEM_EXPORT DataOStreamBinaryAdapter : public DataOStream {
public:
    DataOStreamBinaryAdapter(DataOStream& stream, Utilities::Endianness endianness)
        : m_stream(&stream), m_endianness(endianness) {}
    FILESYSTEM_DATA_OSTREAM_OPERATIONS
    DataOStream* get() const { return m_stream; }

private:
    template <class T>
    bool writeElements(const T* data, std::uint64_t count);
    DataOStream* m_stream;
    Utilities::Endianness m_endianness;
};

/// The reading partner of DataOStreamBinaryAdapter.
class FILESYSTEM_EXPORT DataIStreamBinaryAdapter : public DataIStream {
public:
    DataIStreamBinaryAdapter(DataIStream& stream, Utilities::Endianness endianness)
        : m_stream(&stream), m_endianness(endianness) {}
    FILESYSTEM_DATA_ISTREAM_OPERATIONS
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
