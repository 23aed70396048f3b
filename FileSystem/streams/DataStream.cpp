#include <FileSystem/streams/DataStream.h>

#include <algorithm>
#include <limits>
#include <type_traits>

namespace FileSystem {

namespace {

/// Writes host values of a wider type (`long` on this host) in their narrower
/// form on the stream. A value that does not fit fails the stream; the values
/// before it are written.
template <class Narrow, class Wide>
bool writeNarrowed(DataOStream& stream, const Wide* data, std::uint64_t count) {
    if constexpr (sizeof(Wide) == sizeof(Narrow)) {
        return stream.do_writeFixed(reinterpret_cast<const Narrow*>(data), count);
    } else {
        constexpr std::uint64_t kChunk = 256;
        Narrow buffer[kChunk];
        for (std::uint64_t done = 0; done < count;) {
            const std::uint64_t n = std::min(kChunk, count - done);
            std::uint64_t fitting = 0;
            for (; fitting < n; ++fitting) {
                const Wide value = data[done + fitting];
                if (value < Wide(std::numeric_limits<Narrow>::min()) || value > Wide(std::numeric_limits<Narrow>::max()))
                    break;
                buffer[fitting] = static_cast<Narrow>(value);
            }
            if (fitting > 0 && !stream.do_writeFixed(buffer, fitting))
                return false;
            if (fitting < n) {
                stream.failStream();
                return false;
            }
            done += n;
        }
        return true;
    }
}

/// Reads values of the stream's narrower form into a wider host type.
template <class Narrow, class Wide>
bool readWidened(DataIStream& stream, Wide* data, std::uint64_t count) {
    if constexpr (sizeof(Wide) == sizeof(Narrow)) {
        return stream.do_readFixed(reinterpret_cast<Narrow*>(data), count);
    } else {
        for (std::uint64_t i = 0; i < count; ++i) {
            Narrow value{};
            if (!stream.do_readFixed(&value, 1))
                return false;
            data[i] = value;
        }
        return true;
    }
}

} // namespace

bool DataOStream::do_write(const char* data, std::uint64_t count) {
    return do_write(reinterpret_cast<const signed char*>(data), count);
}
bool DataOStream::do_write(const unsigned long long* data, std::uint64_t count) { return do_writeFixed(data, count); }
bool DataOStream::do_write(const unsigned long* data, std::uint64_t count) {
    return writeNarrowed<unsigned int>(*this, data, count);
}
bool DataOStream::do_write(const unsigned int* data, std::uint64_t count) { return do_writeFixed(data, count); }
bool DataOStream::do_write(const unsigned short* data, std::uint64_t count) { return do_writeFixed(data, count); }
bool DataOStream::do_write(const long long* data, std::uint64_t count) { return do_writeFixed(data, count); }
bool DataOStream::do_write(const long* data, std::uint64_t count) { return writeNarrowed<int>(*this, data, count); }
bool DataOStream::do_write(const int* data, std::uint64_t count) { return do_writeFixed(data, count); }
bool DataOStream::do_write(const short* data, std::uint64_t count) { return do_writeFixed(data, count); }

bool DataIStream::do_read(char* data, std::uint64_t count) {
    return do_read(reinterpret_cast<signed char*>(data), count);
}
bool DataIStream::do_read(unsigned long long* data, std::uint64_t count) { return do_readFixed(data, count); }
bool DataIStream::do_read(unsigned long* data, std::uint64_t count) {
    return readWidened<unsigned int>(*this, data, count);
}
bool DataIStream::do_read(unsigned int* data, std::uint64_t count) { return do_readFixed(data, count); }
bool DataIStream::do_read(unsigned short* data, std::uint64_t count) { return do_readFixed(data, count); }
bool DataIStream::do_read(long long* data, std::uint64_t count) { return do_readFixed(data, count); }
bool DataIStream::do_read(long* data, std::uint64_t count) { return readWidened<int>(*this, data, count); }
bool DataIStream::do_read(int* data, std::uint64_t count) { return do_readFixed(data, count); }
bool DataIStream::do_read(short* data, std::uint64_t count) { return do_readFixed(data, count); }

} // namespace FileSystem
