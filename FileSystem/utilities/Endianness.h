#pragma once

#include <bit>
#include <cstdint>

namespace Utilities {

/// Byte order of data on a stream. `None` is not valid for data.
enum class Endianness : std::uint32_t {
    None = 0,
    BigEndian = 1,
    LittleEndian = 2,
};

/// The byte order of the processor this library was compiled for.
constexpr Endianness hostEndianness() noexcept {
    return std::endian::native == std::endian::big ? Endianness::BigEndian : Endianness::LittleEndian;
}

} // namespace Utilities
