#include <FileSystem/streams/BinaryDataStream.h>

#include <FileSystem/streams/detail/Wire.h>
#include <FileSystem/utilities/StreamResetter.h>

#include <algorithm>
#include <limits>
#include <optional>
#include <vector>

namespace FileSystem {

namespace {

using Utilities::Endianness;

constexpr std::uint64_t kMaxChunk = 0x7FFFFFFFFFFFFFFFull;

bool failedOrBad(const std::ios& stream) { return (stream.rdstate() & (std::ios::failbit | std::ios::badbit)) != 0; }

/// The opposite byte order of 1 and 2; None for anything else.
bool opposite(Endianness a, Endianness b) {
    return (a == Endianness::BigEndian && b == Endianness::LittleEndian) ||
           (a == Endianness::LittleEndian && b == Endianness::BigEndian);
}

/// The stream's standard streams write raw bytes in the classic locale; the
/// locale is only changed (and put back) when the stream has another one.
template <class Stream, class Transfer>
bool rawTransfer(Stream& stream, std::uint64_t size, Transfer transfer) {
    std::optional<Utilities::StreamResetter> resetter;
    if (stream.getloc() != std::locale::classic()) {
        resetter.emplace(stream);
        stream.imbue(std::locale::classic());
    }
    for (std::uint64_t done = 0; done < size;) {
        const std::uint64_t chunk = std::min(size - done, kMaxChunk);
        transfer(done, static_cast<std::streamsize>(chunk));
        if (failedOrBad(stream))
            return false;
        done += chunk;
    }
    return true;
}

} // namespace

// ---- Output --------------------------------------------------------------------

BinaryDataOStream::BinaryDataOStream(std::ostream& stream, const std::uint64_t& fileVersion,
                                     const std::uint64_t& version, Endianness endianness)
    : BinaryDataStreamBase(fileVersion, version, endianness), m_stream(&stream) {}

BinaryDataOStream::BinaryDataOStream(std::ostream& stream, const std::uint64_t& fileVersion, Endianness endianness)
    : BinaryDataOStream(stream, fileVersion, latestVersion(), endianness) {}

void BinaryDataOStream::seek(std::uint64_t position) { m_stream->seekp(std::streampos(std::streamoff(position))); }

std::uint64_t BinaryDataOStream::position() const { return static_cast<std::uint64_t>(std::streamoff(m_stream->tellp())); }

bool BinaryDataOStream::good() const { return m_stream->rdstate() == 0; }

void BinaryDataOStream::failStream() { m_stream->clear(std::ios::failbit); }

bool BinaryDataOStream::do_write(const DataStreamComment&) { return true; }

bool BinaryDataOStream::do_rawWrite(const char* data, std::uint64_t size) {
    return rawTransfer(*m_stream, size, [&](std::uint64_t done, std::streamsize chunk) { m_stream->write(data + done, chunk); });
}

template <class T>
bool BinaryDataOStream::writeValues(const T* data, std::uint64_t count) {
    using W = detail::WireType<T>;
    const bool little = getEndianness() == Endianness::LittleEndian;
    for (std::uint64_t i = 0; i < count; ++i) {
        W wire{};
        if (!detail::toWire(data[i], wire)) {
            failStream();
            return false;
        }
        unsigned char bytes[sizeof(W)];
        detail::storeBytes(wire, bytes, little);
        if (!do_rawWrite(reinterpret_cast<const char*>(bytes), sizeof(W)))
            return false;
    }
    return true;
}

bool BinaryDataOStream::do_writeBinaryData(const std::byte* data, std::uint64_t count, std::uint64_t elementSize,
                                           Endianness order) {
    const Endianness own = getEndianness();
    if (order == Endianness::None || (order != own && !opposite(order, own)) ||
        (elementSize != 0 && count > std::numeric_limits<std::uint64_t>::max() / elementSize)) {
        failStream();
        return false;
    }
    if (order == own)
        return do_rawWrite(data, count * elementSize);
    std::vector<std::byte> element(static_cast<std::size_t>(elementSize));
    for (std::uint64_t i = 0; i < count; ++i) {
        std::reverse_copy(data + i * elementSize, data + (i + 1) * elementSize, element.begin());
        if (!do_rawWrite(element.data(), elementSize))
            return false;
    }
    return true;
}

// ---- Input ---------------------------------------------------------------------

struct BinaryDataIStream::Restore {
    BinaryDataIStream* stream;
    void operator()(std::unique_ptr<AdditionalTransactionData>&& data) const {
        stream->rollbackAdditionaTransactionData(std::move(data));
    }
};

BinaryDataIStream::BinaryDataIStream(std::istream& stream, const std::uint64_t& fileVersion,
                                     const std::uint64_t& version, Endianness endianness)
    : BinaryDataStreamBase(fileVersion, version, endianness), m_stream(&stream) {}

BinaryDataIStream::BinaryDataIStream(std::istream& stream, const std::uint64_t& fileVersion, Endianness endianness)
    : BinaryDataIStream(stream, fileVersion, latestVersion(), endianness) {}

void BinaryDataIStream::seek(std::uint64_t position) { m_stream->seekg(std::streampos(std::streamoff(position))); }

std::uint64_t BinaryDataIStream::position() const { return static_cast<std::uint64_t>(std::streamoff(m_stream->tellg())); }

bool BinaryDataIStream::good() const { return m_stream->rdstate() == 0; }

void BinaryDataIStream::failStream() { m_stream->clear(std::ios::failbit); }

bool BinaryDataIStream::startTransaction() { return m_transactions.start(*m_stream, startAdditionalTransactionData()); }

bool BinaryDataIStream::rollbackAllTransactions() { return m_transactions.rollbackAll(*m_stream, Restore{this}); }

bool BinaryDataIStream::rollbackLastTransaction() { return m_transactions.rollbackLast(*m_stream, Restore{this}); }

bool BinaryDataIStream::commitLastTransaction() { return m_transactions.commitLast(); }

bool BinaryDataIStream::commitAllTransactions() { return m_transactions.commitAll(); }

bool BinaryDataIStream::hasActiveTransactions() const { return m_transactions.active(); }

std::unique_ptr<BinaryDataIStream::AdditionalTransactionData> BinaryDataIStream::startAdditionalTransactionData() {
    return nullptr;
}

void BinaryDataIStream::rollbackAdditionaTransactionData(std::unique_ptr<AdditionalTransactionData>&&) {}

bool BinaryDataIStream::do_read(DataStreamComment&) { return true; }

bool BinaryDataIStream::do_rawRead(char* data, std::uint64_t size) {
    return rawTransfer(*m_stream, size, [&](std::uint64_t done, std::streamsize chunk) { m_stream->read(data + done, chunk); });
}

int BinaryDataIStream::do_rawPeek() { return m_stream->peek(); }

template <class T>
bool BinaryDataIStream::readValues(T* data, std::uint64_t count) {
    using W = detail::WireType<T>;
    const bool little = getEndianness() == Endianness::LittleEndian;
    for (std::uint64_t i = 0; i < count; ++i) {
        // The element's own bytes first: a derived stream that reads nothing
        // into them (and says so only through good()) leaves the value as it was.
        W current{};
        detail::toWire(data[i], current);
        unsigned char bytes[sizeof(W)];
        detail::storeBytes(current, bytes, little);
        if (!do_rawRead(reinterpret_cast<char*>(bytes), sizeof(W)))
            return false;
        data[i] = detail::fromWire<T>(detail::loadBytes<W>(bytes, little));
    }
    return true;
}

bool BinaryDataIStream::do_readBinaryData(std::byte* data, std::uint64_t count, std::uint64_t elementSize,
                                          Endianness order) {
    const Endianness own = getEndianness();
    if (order == Endianness::None || (order != own && !opposite(order, own)) ||
        (elementSize != 0 && count > std::numeric_limits<std::uint64_t>::max() / elementSize)) {
        failStream();
        return false;
    }
    if (order == own)
        return do_rawRead(data, count * elementSize);
    // Each element is read in place and turned round there: no memory is
    // taken for an element size that the input may not even hold.
    for (std::uint64_t i = 0; i < count; ++i) {
        std::byte* element = data + i * elementSize;
        if (!do_rawRead(element, elementSize))
            return false;
        std::reverse(element, element + elementSize);
    }
    return !failedOrBad(*m_stream);
}

// Every element type that the typed operations hand over.
#define FILESYSTEM_BINARY_VALUES(T)                                                                                    \
    template bool BinaryDataOStream::writeValues<T>(const T*, std::uint64_t);                                          \
    template bool BinaryDataIStream::readValues<T>(T*, std::uint64_t);
FILESYSTEM_BINARY_VALUES(bool)
FILESYSTEM_BINARY_VALUES(char)
FILESYSTEM_BINARY_VALUES(signed char)
FILESYSTEM_BINARY_VALUES(unsigned char)
FILESYSTEM_BINARY_VALUES(short)
FILESYSTEM_BINARY_VALUES(unsigned short)
FILESYSTEM_BINARY_VALUES(int)
FILESYSTEM_BINARY_VALUES(unsigned int)
FILESYSTEM_BINARY_VALUES(long long)
FILESYSTEM_BINARY_VALUES(unsigned long long)
FILESYSTEM_BINARY_VALUES(float)
FILESYSTEM_BINARY_VALUES(double)
FILESYSTEM_BINARY_VALUES(long double)
FILESYSTEM_BINARY_VALUES(wchar_t)
FILESYSTEM_BINARY_VALUES(char16_t)
FILESYSTEM_BINARY_VALUES(char32_t)
#undef FILESYSTEM_BINARY_VALUES

} // namespace FileSystem
