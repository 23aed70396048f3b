#include <FileSystem/streams/DataStreamEncryptedAdapter.h>

#include <FileSystem/streams/detail/Wire.h>

#include <algorithm>
#include <cstring>
#include <vector>

namespace FileSystem {

using Utilities::Endianness;

namespace {

// A block is read in pieces of this size, so that a length prefix larger than
// the input costs no more memory than the input holds.
constexpr std::uint64_t kReadChunk = 64 * 1024;

bool byteCount(std::uint64_t count, std::uint64_t elementSize, std::uint64_t& bytes) {
    return !__builtin_mul_overflow(count, elementSize, &bytes) && bytes <= SIZE_MAX;
}

} // namespace

// ---- Output ------------------------------------------------------------------------

bool DataOStreamEncryptedAdapter::do_writeBinaryData(const std::byte* data, std::uint64_t count,
                                                     std::uint64_t elementSize, Endianness order) {
    std::uint64_t size = 0;
    if (order == Endianness::None || !byteCount(count, elementSize, size)) {
        m_stream->failStream();
        return false;
    }
    const auto block = m_crypter.encrypt(std::span(data, static_cast<std::size_t>(size)));
    if (!block)
        return false;
    const unsigned long long length = block->size();
    return m_stream->do_write(&length, 1) && m_stream->do_writeBinaryData(block->data(), length, 1, order);
}

template <class T>
bool DataOStreamEncryptedAdapter::writeElements(const T* data, std::uint64_t count) {
    using W = detail::WireType<T>;
    std::vector<unsigned char> bytes(static_cast<std::size_t>(count) * sizeof(W));
    for (std::uint64_t i = 0; i < count; ++i) {
        W wire{};
        if (!detail::toWire(data[i], wire)) {
            m_stream->failStream();
            return false;
        }
        detail::storeBytes(wire, bytes.data() + i * sizeof(W), true);
    }
    return do_writeBinaryData(reinterpret_cast<const std::byte*>(bytes.data()), count, sizeof(W),
                              Endianness::LittleEndian);
}

bool DataOStreamEncryptedAdapter::do_rawWrite(const char* data, std::uint64_t size) {
    return do_writeBinaryData(reinterpret_cast<const std::byte*>(data), size, 1, Endianness::LittleEndian);
}

// ---- Input --------------------------------------------------------------------------

bool DataIStreamEncryptedAdapter::do_readBinaryData(std::byte* data, std::uint64_t count, std::uint64_t elementSize,
                                                    Endianness order) {
    std::uint64_t size = 0;
    if (order == Endianness::None || !byteCount(count, elementSize, size)) {
        m_stream->failStream();
        return false;
    }
    unsigned long long length = 0;
    if (!m_stream->do_read(&length, 1))
        return false;

    // The block grows with what the stream really delivers.
    std::vector<std::byte> block;
    while (block.size() < length) {
        const std::size_t piece = static_cast<std::size_t>(std::min<std::uint64_t>(kReadChunk, length - block.size()));
        const std::size_t offset = block.size();
        block.resize(offset + piece);
        if (!m_stream->do_readBinaryData(block.data() + offset, piece, 1, order))
            return false;
    }

    const auto plain = m_crypter.decrypt(block);
    if (!plain || plain->size() != size)
        return false;
    if (size > 0)
        std::memcpy(data, plain->data(), plain->size());
    return true;
}

template <class T>
bool DataIStreamEncryptedAdapter::readElements(T* data, std::uint64_t count) {
    using W = detail::WireType<T>;
    std::vector<unsigned char> bytes(static_cast<std::size_t>(count) * sizeof(W));
    if (!do_readBinaryData(reinterpret_cast<std::byte*>(bytes.data()), count, sizeof(W), Endianness::LittleEndian))
        return false;
    for (std::uint64_t i = 0; i < count; ++i)
        data[i] = detail::fromWire<T>(detail::loadBytes<W>(bytes.data() + i * sizeof(W), true));
    return true;
}

bool DataIStreamEncryptedAdapter::do_rawRead(char* data, std::uint64_t size) {
    return do_readBinaryData(reinterpret_cast<std::byte*>(data), size, 1, Endianness::LittleEndian);
}

// ---- Every value goes through one block ------------------------------------------------

#define ENCRYPT_WRITE(Name, T)                                                                                         \
    bool DataOStreamEncryptedAdapter::Name(const T* data, std::uint64_t count) { return writeElements(data, count); }
#define ENCRYPT_READ(Name, T)                                                                                          \
    bool DataIStreamEncryptedAdapter::Name(T* data, std::uint64_t count) { return readElements(data, count); }
#define ENCRYPT_BOTH(T)                                                                                                \
    ENCRYPT_WRITE(do_write, T)                                                                                         \
    ENCRYPT_READ(do_read, T)
#define ENCRYPT_FIXED(T)                                                                                               \
    ENCRYPT_WRITE(do_writeFixed, T)                                                                                    \
    ENCRYPT_READ(do_readFixed, T)                                                                                      \
    ENCRYPT_BOTH(T)

ENCRYPT_FIXED(unsigned long long)
ENCRYPT_FIXED(long long)
ENCRYPT_FIXED(unsigned int)
ENCRYPT_FIXED(int)
ENCRYPT_FIXED(unsigned short)
ENCRYPT_FIXED(short)
ENCRYPT_FIXED(unsigned char)
ENCRYPT_FIXED(signed char)
ENCRYPT_BOTH(long double)
ENCRYPT_BOTH(double)
ENCRYPT_BOTH(float)
ENCRYPT_BOTH(char32_t)
ENCRYPT_BOTH(char16_t)
ENCRYPT_BOTH(wchar_t)
ENCRYPT_BOTH(char)
ENCRYPT_BOTH(bool)
ENCRYPT_BOTH(unsigned long)
ENCRYPT_BOTH(long)

#undef ENCRYPT_FIXED
#undef ENCRYPT_BOTH
#undef ENCRYPT_READ
#undef ENCRYPT_WRITE

// ---- The rest goes to the wrapped stream as it is ------------------------------------------

#define FORWARD_STREAM_COMMON(Class)                                                                                   \
    std::uint64_t Class::getVersion() const { return m_stream->getVersion(); }                                         \
    std::uint64_t Class::getFileVersion() const { return m_stream->getFileVersion(); }                                 \
    StringMode Class::getStringMode() { return m_stream->getStringMode(); }                                            \
    void Class::seek(std::uint64_t position) { m_stream->seek(position); }                                             \
    std::uint64_t Class::position() const { return m_stream->position(); }                                             \
    bool Class::good() const { return m_stream->good(); }                                                              \
    void Class::failStream() { m_stream->failStream(); }                                                               \
    DataStreamType Class::dataStreamType() { return DataStreamType::Binary; }

FORWARD_STREAM_COMMON(DataOStreamEncryptedAdapter)
FORWARD_STREAM_COMMON(DataIStreamEncryptedAdapter)
#undef FORWARD_STREAM_COMMON

bool DataOStreamEncryptedAdapter::do_write(const DataStreamComment& comment) { return m_stream->do_write(comment); }
bool DataOStreamEncryptedAdapter::do_writeEOLSeparator() { return m_stream->do_writeEOLSeparator(); }
std::uint64_t DataOStreamEncryptedAdapter::do_getWriteIndent() const { return m_stream->do_getWriteIndent(); }
void DataOStreamEncryptedAdapter::do_setWriteIndent(std::uint64_t indent) { m_stream->do_setWriteIndent(indent); }

bool DataIStreamEncryptedAdapter::startTransaction() { return m_stream->startTransaction(); }
bool DataIStreamEncryptedAdapter::rollbackAllTransactions() { return m_stream->rollbackAllTransactions(); }
bool DataIStreamEncryptedAdapter::rollbackLastTransaction() { return m_stream->rollbackLastTransaction(); }
bool DataIStreamEncryptedAdapter::commitLastTransaction() { return m_stream->commitLastTransaction(); }
bool DataIStreamEncryptedAdapter::commitAllTransactions() { return m_stream->commitAllTransactions(); }
bool DataIStreamEncryptedAdapter::hasActiveTransactions() const { return m_stream->hasActiveTransactions(); }
bool DataIStreamEncryptedAdapter::do_read(DataStreamComment& comment) { return m_stream->do_read(comment); }
int DataIStreamEncryptedAdapter::do_rawPeek() { return m_stream->do_rawPeek(); }

} // namespace FileSystem
