#pragma once

#include <cstdint>
#include <type_traits>

namespace Utilities {

/// A set of bits of the enumeration E, held in an unsigned 32-bit value.
/// The enumerators are bit masks; a set can hold any combination of them.
template <class E>
class Flags {
public:
    /// The enumeration of the bits.
    using Enum = E;
    /// The type that holds the bits.
    using ValueType = std::uint32_t;

    /// The empty set.
    constexpr Flags() noexcept = default;
    /// The bits of one enumerator.
    constexpr Flags(E flag) noexcept : m_value(static_cast<ValueType>(flag)) {}
    /// The bits of a number, as they are.
    constexpr explicit Flags(ValueType value) noexcept : m_value(value) {}

    /// The bits as a number.
    ///@{
    constexpr ValueType value() const noexcept { return m_value; }
    constexpr explicit operator ValueType() const noexcept { return m_value; }
    ///@}

    /// True when every bit of `flag` is set (a zero flag is always set).
    constexpr bool test(E flag) const noexcept {
        const auto bits = static_cast<ValueType>(flag);
        return (m_value & bits) == bits;
    }
    /// True when the sets share at least one bit.
    constexpr bool testAny(Flags other) const noexcept { return (m_value & other.m_value) != 0; }
    /// True when any bit is set.
    constexpr bool any() const noexcept { return m_value != 0; }
    /// True when no bit is set.
    constexpr bool none() const noexcept { return m_value == 0; }

    /// Sets the bits of `flag`, or clears them when `on` is false; returns the set.
    constexpr Flags& set(E flag, bool on = true) noexcept {
        if (on)
            m_value |= static_cast<ValueType>(flag);
        else
            m_value &= ~static_cast<ValueType>(flag);
        return *this;
    }
    /// Clears the bits of `flag`; returns the set.
    constexpr Flags& reset(E flag) noexcept { return set(flag, false); }

    /// Union, intersection and symmetric difference, in place or as a new set.
    ///@{
    constexpr Flags& operator|=(Flags other) noexcept { m_value |= other.m_value; return *this; }
    constexpr Flags& operator&=(Flags other) noexcept { m_value &= other.m_value; return *this; }
    constexpr Flags& operator^=(Flags other) noexcept { m_value ^= other.m_value; return *this; }
    friend constexpr Flags operator|(Flags a, Flags b) noexcept { return a |= b; }
    friend constexpr Flags operator&(Flags a, Flags b) noexcept { return a &= b; }
    friend constexpr Flags operator^(Flags a, Flags b) noexcept { return a ^= b; }
    friend constexpr Flags operator|(Flags a, E b) noexcept { return a |= Flags(b); }
    friend constexpr Flags operator&(Flags a, E b) noexcept { return a &= Flags(b); }
    ///@}
    /// The complement of all 32 bits (also those of no enumerator).
    constexpr Flags operator~() const noexcept { return Flags(~m_value); }

    /// Equal when the bits are equal.
    friend constexpr bool operator==(Flags a, Flags b) noexcept = default;

private:
    ValueType m_value = 0;
};

} // namespace Utilities
