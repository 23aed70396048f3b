#pragma once

// The fixed widths of values on a data stream and their bytes in either order,
// independent of the host (internal).

#include <bit>
#include <cstdint>
#include <cstring>
#include <type_traits>

namespace FileSystem::detail {

/// The unsigned integer that holds a value of T as it stands on a stream.
template <class T>
struct Wire;
template <> struct Wire<bool> { using type = std::uint8_t; };
template <> struct Wire<char> { using type = std::uint8_t; };
template <> struct Wire<signed char> { using type = std::uint8_t; };
template <> struct Wire<unsigned char> { using type = std::uint8_t; };
template <> struct Wire<short> { using type = std::uint16_t; };
template <> struct Wire<unsigned short> { using type = std::uint16_t; };
template <> struct Wire<char16_t> { using type = std::uint16_t; };
template <> struct Wire<wchar_t> { using type = std::uint16_t; };
template <> struct Wire<int> { using type = std::uint32_t; };
template <> struct Wire<unsigned int> { using type = std::uint32_t; };
template <> struct Wire<char32_t> { using type = std::uint32_t; };
template <> struct Wire<float> { using type = std::uint32_t; };
template <> struct Wire<long long> { using type = std::uint64_t; };
template <> struct Wire<unsigned long long> { using type = std::uint64_t; };
template <> struct Wire<double> { using type = std::uint64_t; };
template <> struct Wire<long double> { using type = std::uint64_t; };
template <> struct Wire<long> { using type = std::uint32_t; };
template <> struct Wire<unsigned long> { using type = std::uint32_t; };

template <class T>
using WireType = typename Wire<T>::type;

/// The stream form of a value; false when the value does not fit its width on
/// the stream (a wide character above 0xFFFF, a long beyond 32 bits).
template <class T>
bool toWire(const T& value, WireType<T>& out) {
    using W = WireType<T>;
    if constexpr (std::is_same_v<T, bool>) {
        std::memcpy(&out, &value, 1); // the byte in memory, unchanged
    } else if constexpr (std::is_same_v<T, float>) {
        out = std::bit_cast<W>(value);
    } else if constexpr (std::is_same_v<T, double>) {
        out = std::bit_cast<W>(value);
    } else if constexpr (std::is_same_v<T, long double>) {
        out = std::bit_cast<W>(static_cast<double>(value));
    } else if constexpr (std::is_same_v<T, wchar_t>) {
        if (static_cast<std::int64_t>(value) < 0 || static_cast<std::int64_t>(value) > 0xFFFF)
            return false;
        out = static_cast<W>(value);
    } else if constexpr (std::is_same_v<T, long>) {
        if (value < INT32_MIN || value > INT32_MAX)
            return false;
        out = static_cast<W>(static_cast<std::int32_t>(value));
    } else if constexpr (std::is_same_v<T, unsigned long>) {
        if (value > UINT32_MAX)
            return false;
        out = static_cast<W>(value);
    } else {
        out = static_cast<W>(value);
    }
    return true;
}

/// The value of a stream form.
template <class T>
T fromWire(WireType<T> wire) {
    if constexpr (std::is_same_v<T, bool>) {
        return wire != 0;
    } else if constexpr (std::is_same_v<T, float> || std::is_same_v<T, double>) {
        return std::bit_cast<T>(wire);
    } else if constexpr (std::is_same_v<T, long double>) {
        return static_cast<long double>(std::bit_cast<double>(wire));
    } else if constexpr (std::is_same_v<T, long>) {
        return static_cast<long>(static_cast<std::int32_t>(wire));
    } else if constexpr (std::is_signed_v<T> && !std::is_same_v<T, wchar_t>) {
        return static_cast<T>(static_cast<std::make_signed_t<WireType<T>>>(wire));
    } else {
        return static_cast<T>(wire);
    }
}

/// The bytes of an unsigned integer, little-endian or big-endian.
template <class U>
void storeBytes(U value, unsigned char* out, bool littleEndian) {
    for (std::size_t i = 0; i < sizeof(U); ++i) {
        const unsigned char byte = static_cast<unsigned char>(value >> (8 * i));
        out[littleEndian ? i : sizeof(U) - 1 - i] = byte;
    }
}

template <class U>
U loadBytes(const unsigned char* in, bool littleEndian) {
    U value = 0;
    for (std::size_t i = 0; i < sizeof(U); ++i)
        value |= static_cast<U>(in[littleEndian ? i : sizeof(U) - 1 - i]) << (8 * i);
    return value;
}

} // namespace FileSystem::detail
