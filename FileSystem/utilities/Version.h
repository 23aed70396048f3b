#pragma once

#include <array>
#include <charconv>
#include <compare>
#include <cstddef>
#include <initializer_list>
#include <string>
#include <string_view>
#include <type_traits>

namespace Utilities {

/// A version of N signed components, most significant first. A component of
/// -1 means "not given". Versions compare component by component as signed
/// integers, so a given component is greater than a missing one.
template <std::size_t N, class T = int>
class Version {
    static_assert(std::is_integral_v<T> && std::is_signed_v<T>, "components are signed integers");

public:
    /// The type of a component.
    using value_type = T;
    /// The number of components, N.
    static constexpr std::size_t size() noexcept { return N; }

    /// The empty version: every component -1.
    constexpr Version() noexcept { m_parts.fill(T(-1)); }

    /// The first components from the list; the rest stay -1, extra values are ignored.
    constexpr Version(std::initializer_list<T> parts) noexcept : Version() {
        std::size_t i = 0;
        for (T part : parts) {
            if (i == N)
                break;
            m_parts[i++] = part;
        }
    }

    /// Parses text such as "2025.0.1" or "2025_0_1": the text is split at every
    /// character of `separators`, and the pieces fill the components in order.
    /// A piece that is not a decimal integer of T leaves its component at -1;
    /// pieces beyond N are ignored.
    explicit Version(std::string_view text, std::string_view separators = ".") : Version() {
        std::size_t index = 0;
        std::size_t start = 0;
        while (index < N && start <= text.size()) {
            std::size_t end = text.find_first_of(separators, start);
            if (end == std::string_view::npos)
                end = text.size();
            m_parts[index++] = parseComponent(text.substr(start, end - start));
            start = end + 1;
        }
    }

    /// The version of a text, as the constructor from text reads it.
    static Version fromString(std::string_view text, std::string_view separators = ".") {
        return Version(text, separators);
    }

    /// Component `i` (0 is the most significant); `i` must be below N.
    ///@{
    constexpr T operator[](std::size_t i) const noexcept { return m_parts[i]; }
    constexpr T& operator[](std::size_t i) noexcept { return m_parts[i]; }
    constexpr T get(std::size_t i) const noexcept { return m_parts[i]; }
    constexpr void set(std::size_t i, T value) noexcept { m_parts[i] = value; }
    ///@}
    /// All components, most significant first.
    constexpr const std::array<T, N>& parts() const noexcept { return m_parts; }

    /// True when no component is given.
    constexpr bool isEmpty() const noexcept {
        for (T part : m_parts)
            if (part >= 0)
                return false;
        return true;
    }

    /// All components in decimal, joined by '.', missing ones as -1 ("2025.0.-1.-1").
    std::string toString() const {
        std::string text;
        for (std::size_t i = 0; i < N; ++i) {
            if (i)
                text += '.';
            text += std::to_string(m_parts[i]);
        }
        return text;
    }

    /// Versions compare component by component, most significant first.
    ///@{
    friend constexpr auto operator<=>(const Version&, const Version&) noexcept = default;
    friend constexpr bool operator==(const Version&, const Version&) noexcept = default;
    ///@}

private:
    static T parseComponent(std::string_view piece) noexcept {
        T value{};
        const char* first = piece.data();
        const char* last = piece.data() + piece.size();
        if (piece.empty())
            return T(-1);
        auto [end, error] = std::from_chars(first, last, value);
        if (error != std::errc() || end != last)
            return T(-1);
        return value;
    }

    std::array<T, N> m_parts;
};

} // namespace Utilities
