#pragma once

#include <FileSystem/Export.h>

#include <compare>
#include <cstdint>

namespace FileSystem {

/// A point in time of a file: seconds since 1970-01-01 UTC and nanoseconds
/// within the second.
struct FILESYSTEM_EXPORT FileTime {
    std::int64_t seconds = 0;     ///< seconds since 1970-01-01 00:00 UTC (negative before)
    std::int32_t nanoseconds = 0; ///< nanoseconds within the second, 0 to 999999999

    /// From a Windows FILETIME (100-nanosecond ticks since 1601-01-01).
    static constexpr FileTime fromWindowsTicks(std::uint64_t ticks) noexcept {
        return {static_cast<std::int64_t>(ticks / 10000000) - 11644473600,
                static_cast<std::int32_t>((ticks % 10000000) * 100)};
    }
    /// To a Windows FILETIME; nanoseconds are cut to whole ticks.
    constexpr std::uint64_t toWindowsTicks() const noexcept {
        return static_cast<std::uint64_t>((seconds + 11644473600) * 10000000 + nanoseconds / 100);
    }

    /// Times compare by seconds, then nanoseconds.
    ///@{
    friend constexpr auto operator<=>(const FileTime&, const FileTime&) noexcept = default;
    friend constexpr bool operator==(const FileTime&, const FileTime&) noexcept = default;
    ///@}
};

} // namespace FileSystem
