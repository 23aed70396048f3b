#include <FileSystem/streams/DataStreamContainer.h>

#include <FileSystem/streams/detail/Wire.h>

#include <vector>

namespace FileSystem {

using Utilities::Endianness;

// ---- Containers: forward to get(), or answer for an empty container ----------

#define FORWARD(Class, Result, Name, Params, Args, Empty)                                                              \
    Result Class::Name Params {                                                                                        \
        auto* stream = get();                                                                                          \
        return stream ? stream->Name Args : Empty;                                                                     \
    }
#define FORWARD_CONST(Class, Result, Name, Params, Args, Empty)                                                        \
    Result Class::Name Params const {                                                                                  \
        auto* stream = get();                                                                                          \
        return stream ? stream->Name Args : Empty;                                                                     \
    }
#define FORWARD_VOID(Class, Name, Params, Args)                                                                        \
    void Class::Name Params {                                                                                          \
        if (auto* stream = get())                                                                                      \
            stream->Name Args;                                                                                         \
    }
#define FORWARD_VALUES(Class, Name, T) FORWARD(Class, bool, Name, (T * data, std::uint64_t count), (data, count), false)

#define FORWARD_STREAM_COMMON(Class)                                                                                   \
    FORWARD_CONST(Class, std::uint64_t, getVersion, (), (), 0)                                                         \
    FORWARD_CONST(Class, std::uint64_t, getFileVersion, (), (), 0)                                                     \
    FORWARD(Class, StringMode, getStringMode, (), (), StringMode(0))                                                   \
    FORWARD_VOID(Class, seek, (std::uint64_t position), (position))                                                   \
    FORWARD_CONST(Class, std::uint64_t, position, (), (), 0)                                                           \
    FORWARD_CONST(Class, bool, good, (), (), false)                                                                    \
    FORWARD_VOID(Class, failStream, (), ())                                                                            \
    FORWARD(Class, DataStreamType, dataStreamType, (), (), DataStreamType::None)

FORWARD_STREAM_COMMON(DataOStreamContainerBase)
FORWARD_VALUES(DataOStreamContainerBase, do_writeFixed, const unsigned long long)
FORWARD_VALUES(DataOStreamContainerBase, do_writeFixed, const long long)
FORWARD_VALUES(DataOStreamContainerBase, do_writeFixed, const unsigned int)
FORWARD_VALUES(DataOStreamContainerBase, do_writeFixed, const int)
FORWARD_VALUES(DataOStreamContainerBase, do_writeFixed, const unsigned short)
FORWARD_VALUES(DataOStreamContainerBase, do_writeFixed, const short)
FORWARD_VALUES(DataOStreamContainerBase, do_writeFixed, const unsigned char)
FORWARD_VALUES(DataOStreamContainerBase, do_writeFixed, const signed char)
FORWARD(DataOStreamContainerBase, bool, do_write, (const DataStreamComment& comment), (comment), false)
FORWARD_VALUES(DataOStreamContainerBase, do_write, const long double)
FORWARD_VALUES(DataOStreamContainerBase, do_write, const double)
FORWARD_VALUES(DataOStreamContainerBase, do_write, const float)
FORWARD_VALUES(DataOStreamContainerBase, do_write, const char32_t)
FORWARD_VALUES(DataOStreamContainerBase, do_write, const char16_t)
FORWARD_VALUES(DataOStreamContainerBase, do_write, const wchar_t)
FORWARD_VALUES(DataOStreamContainerBase, do_write, const unsigned char)
FORWARD_VALUES(DataOStreamContainerBase, do_write, const signed char)
FORWARD_VALUES(DataOStreamContainerBase, do_write, const char)
FORWARD_VALUES(DataOStreamContainerBase, do_write, const bool)
FORWARD_VALUES(DataOStreamContainerBase, do_write, const unsigned long long)
FORWARD_VALUES(DataOStreamContainerBase, do_write, const unsigned long)
FORWARD_VALUES(DataOStreamContainerBase, do_write, const unsigned int)
FORWARD_VALUES(DataOStreamContainerBase, do_write, const unsigned short)
FORWARD_VALUES(DataOStreamContainerBase, do_write, const long long)
FORWARD_VALUES(DataOStreamContainerBase, do_write, const long)
FORWARD_VALUES(DataOStreamContainerBase, do_write, const int)
FORWARD_VALUES(DataOStreamContainerBase, do_write, const short)
FORWARD(DataOStreamContainerBase, bool, do_writeEOLSeparator, (), (), false)
FORWARD(DataOStreamContainerBase, bool, do_writeBinaryData,
        (const std::byte* data, std::uint64_t count, std::uint64_t elementSize, Endianness order),
        (data, count, elementSize, order), false)
FORWARD(DataOStreamContainerBase, bool, do_rawWrite, (const char* data, std::uint64_t size), (data, size), false)
FORWARD_CONST(DataOStreamContainerBase, std::uint64_t, do_getWriteIndent, (), (), 0)
FORWARD_VOID(DataOStreamContainerBase, do_setWriteIndent, (std::uint64_t indent), (indent))

FORWARD_STREAM_COMMON(DataIStreamContainerBase)
FORWARD(DataIStreamContainerBase, bool, startTransaction, (), (), false)
FORWARD(DataIStreamContainerBase, bool, rollbackAllTransactions, (), (), false)
FORWARD(DataIStreamContainerBase, bool, rollbackLastTransaction, (), (), false)
FORWARD(DataIStreamContainerBase, bool, commitLastTransaction, (), (), false)
FORWARD(DataIStreamContainerBase, bool, commitAllTransactions, (), (), false)
FORWARD_CONST(DataIStreamContainerBase, bool, hasActiveTransactions, (), (), false)
FORWARD_VALUES(DataIStreamContainerBase, do_readFixed, unsigned long long)
FORWARD_VALUES(DataIStreamContainerBase, do_readFixed, long long)
FORWARD_VALUES(DataIStreamContainerBase, do_readFixed, unsigned int)
FORWARD_VALUES(DataIStreamContainerBase, do_readFixed, int)
FORWARD_VALUES(DataIStreamContainerBase, do_readFixed, unsigned short)
FORWARD_VALUES(DataIStreamContainerBase, do_readFixed, short)
FORWARD_VALUES(DataIStreamContainerBase, do_readFixed, unsigned char)
FORWARD_VALUES(DataIStreamContainerBase, do_readFixed, signed char)
FORWARD(DataIStreamContainerBase, bool, do_read, (DataStreamComment & comment), (comment), false)
FORWARD_VALUES(DataIStreamContainerBase, do_read, long double)
FORWARD_VALUES(DataIStreamContainerBase, do_read, double)
FORWARD_VALUES(DataIStreamContainerBase, do_read, float)
FORWARD_VALUES(DataIStreamContainerBase, do_read, char32_t)
FORWARD_VALUES(DataIStreamContainerBase, do_read, char16_t)
FORWARD_VALUES(DataIStreamContainerBase, do_read, wchar_t)
FORWARD_VALUES(DataIStreamContainerBase, do_read, unsigned char)
FORWARD_VALUES(DataIStreamContainerBase, do_read, signed char)
FORWARD_VALUES(DataIStreamContainerBase, do_read, char)
FORWARD_VALUES(DataIStreamContainerBase, do_read, bool)
FORWARD_VALUES(DataIStreamContainerBase, do_read, unsigned long long)
FORWARD_VALUES(DataIStreamContainerBase, do_read, unsigned long)
FORWARD_VALUES(DataIStreamContainerBase, do_read, unsigned int)
FORWARD_VALUES(DataIStreamContainerBase, do_read, unsigned short)
FORWARD_VALUES(DataIStreamContainerBase, do_read, long long)
FORWARD_VALUES(DataIStreamContainerBase, do_read, long)
FORWARD_VALUES(DataIStreamContainerBase, do_read, int)
FORWARD_VALUES(DataIStreamContainerBase, do_read, short)
FORWARD(DataIStreamContainerBase, bool, do_rawRead, (char* data, std::uint64_t size), (data, size), false)
FORWARD(DataIStreamContainerBase, bool, do_readBinaryData,
        (std::byte * data, std::uint64_t count, std::uint64_t elementSize, Endianness order),
        (data, count, elementSize, order), false)
FORWARD(DataIStreamContainerBase, int, do_rawPeek, (), (), -1)

// ---- Binary adapters ----------------------------------------------------------------

template <class T>
bool DataOStreamBinaryAdapter::writeElements(const T* data, std::uint64_t count) {
    using W = detail::WireType<T>;
    std::vector<unsigned char> bytes(static_cast<std::size_t>(count) * sizeof(W));
    for (std::uint64_t i = 0; i < count; ++i) {
        W wire{};
        if (!detail::toWire(data[i], wire)) {
            if (i > 0)
                m_stream->do_writeBinaryData(reinterpret_cast<const std::byte*>(bytes.data()), i, sizeof(W), m_endianness);
            m_stream->failStream();
            return false;
        }
        // Little-endian in memory, as on the processors the format was made for.
        detail::storeBytes(wire, bytes.data() + i * sizeof(W), true);
    }
    return m_stream->do_writeBinaryData(reinterpret_cast<const std::byte*>(bytes.data()), count, sizeof(W), m_endianness);
}

template <class T>
bool DataIStreamBinaryAdapter::readElements(T* data, std::uint64_t count) {
    using W = detail::WireType<T>;
    std::vector<unsigned char> bytes(static_cast<std::size_t>(count) * sizeof(W));
    const bool result =
        m_stream->do_readBinaryData(reinterpret_cast<std::byte*>(bytes.data()), count, sizeof(W), m_endianness);
    if (result)
        for (std::uint64_t i = 0; i < count; ++i)
            data[i] = detail::fromWire<T>(detail::loadBytes<W>(bytes.data() + i * sizeof(W), true));
    return result;
}

#define ADAPT_WRITE(Name, T)                                                                                           \
    bool DataOStreamBinaryAdapter::Name(const T* data, std::uint64_t count) { return writeElements(data, count); }
#define ADAPT_READ(Name, T)                                                                                            \
    bool DataIStreamBinaryAdapter::Name(T* data, std::uint64_t count) { return readElements(data, count); }
#define ADAPT_BOTH(T)                                                                                                  \
    ADAPT_WRITE(do_write, T)                                                                                           \
    ADAPT_READ(do_read, T)
#define ADAPT_FIXED(T)                                                                                                 \
    ADAPT_WRITE(do_writeFixed, T)                                                                                      \
    ADAPT_READ(do_readFixed, T)                                                                                        \
    ADAPT_BOTH(T)

ADAPT_FIXED(unsigned long long)
ADAPT_FIXED(long long)
ADAPT_FIXED(unsigned int)
ADAPT_FIXED(int)
ADAPT_FIXED(unsigned short)
ADAPT_FIXED(short)
ADAPT_FIXED(unsigned char)
ADAPT_FIXED(signed char)
ADAPT_BOTH(long double)
ADAPT_BOTH(double)
ADAPT_BOTH(float)
ADAPT_BOTH(char32_t)
ADAPT_BOTH(char16_t)
ADAPT_BOTH(wchar_t)
ADAPT_BOTH(char)
ADAPT_BOTH(bool)
ADAPT_BOTH(unsigned long)
ADAPT_BOTH(long)

bool DataOStreamBinaryAdapter::do_rawWrite(const char* data, std::uint64_t size) {
    return m_stream->do_writeBinaryData(reinterpret_cast<const std::byte*>(data), size, 1, m_endianness);
}

bool DataIStreamBinaryAdapter::do_rawRead(char* data, std::uint64_t size) {
    return m_stream->do_readBinaryData(reinterpret_cast<std::byte*>(data), size, 1, m_endianness);
}

DataStreamType DataOStreamBinaryAdapter::dataStreamType() { return DataStreamType::Binary; }
DataStreamType DataIStreamBinaryAdapter::dataStreamType() { return DataStreamType::Binary; }

// The rest goes to the wrapped stream as it is.
#undef FORWARD_STREAM_COMMON
#define FORWARD_STREAM_COMMON(Class)                                                                                   \
    std::uint64_t Class::getVersion() const { return m_stream->getVersion(); }                                         \
    std::uint64_t Class::getFileVersion() const { return m_stream->getFileVersion(); }                                 \
    StringMode Class::getStringMode() { return m_stream->getStringMode(); }                                            \
    void Class::seek(std::uint64_t position) { m_stream->seek(position); }                                             \
    std::uint64_t Class::position() const { return m_stream->position(); }                                             \
    bool Class::good() const { return m_stream->good(); }                                                              \
    void Class::failStream() { m_stream->failStream(); }

FORWARD_STREAM_COMMON(DataOStreamBinaryAdapter)
FORWARD_STREAM_COMMON(DataIStreamBinaryAdapter)

bool DataOStreamBinaryAdapter::do_write(const DataStreamComment& comment) { return m_stream->do_write(comment); }
bool DataOStreamBinaryAdapter::do_writeEOLSeparator() { return m_stream->do_writeEOLSeparator(); }
bool DataOStreamBinaryAdapter::do_writeBinaryData(const std::byte* data, std::uint64_t count, std::uint64_t elementSize,
                                                  Endianness order) {
    return m_stream->do_writeBinaryData(data, count, elementSize, order);
}
std::uint64_t DataOStreamBinaryAdapter::do_getWriteIndent() const { return m_stream->do_getWriteIndent(); }
void DataOStreamBinaryAdapter::do_setWriteIndent(std::uint64_t indent) { m_stream->do_setWriteIndent(indent); }

bool DataIStreamBinaryAdapter::startTransaction() { return m_stream->startTransaction(); }
bool DataIStreamBinaryAdapter::rollbackAllTransactions() { return m_stream->rollbackAllTransactions(); }
bool DataIStreamBinaryAdapter::rollbackLastTransaction() { return m_stream->rollbackLastTransaction(); }
bool DataIStreamBinaryAdapter::commitLastTransaction() { return m_stream->commitLastTransaction(); }
bool DataIStreamBinaryAdapter::commitAllTransactions() { return m_stream->commitAllTransactions(); }
bool DataIStreamBinaryAdapter::hasActiveTransactions() const { return m_stream->hasActiveTransactions(); }
bool DataIStreamBinaryAdapter::do_read(DataStreamComment& comment) { return m_stream->do_read(comment); }
bool DataIStreamBinaryAdapter::do_readBinaryData(std::byte* data, std::uint64_t count, std::uint64_t elementSize,
                                                 Endianness order) {
    return m_stream->do_readBinaryData(data, count, elementSize, order);
}
int DataIStreamBinaryAdapter::do_rawPeek() { return m_stream->do_rawPeek(); }

} // namespace FileSystem
