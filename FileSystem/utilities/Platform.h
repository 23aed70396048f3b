#pragma once

#include <FileSystem/Export.h>
#include <FileSystem/utilities/OperatingSystem.h>

#include <compare>
#include <cstdint>
#include <string>
#include <string_view>

namespace Utilities {

/// A processor architecture; the numbers are part of stored data.
enum class Processor : std::int32_t {
    Unknown = 0, ///< not known, or another one
    x86_32 = 1,  ///< 32-bit x86
    x86_64 = 2,  ///< 64-bit x86
    aarch32 = 3, ///< 32-bit ARM
    aarch64 = 4, ///< 64-bit ARM
};

/// "x86_32", "x86_64", "aarch32" or "aarch64" in the given case; empty for Unknown.
FILESYSTEM_EXPORT std::string toString(Processor processor, TextCase textCase = TextCase::Unchanged);

/// Reads a processor text in any case, also the aliases "x64", "arm64", "x32"
/// and "arm32"; anything else is Unknown.
FILESYSTEM_EXPORT Processor processorFromString(std::string_view text);

/// An operating system and a processor.
struct FILESYSTEM_EXPORT Platform {
    OperatingSystem operatingSystem = OperatingSystem::Unknown; ///< the system
    Processor processor = Processor::Unknown;                   ///< the processor

    /// An unknown system and processor.
    constexpr Platform() noexcept = default;
    /// A system and, optionally, a processor.
    constexpr Platform(OperatingSystem system, Processor cpu = Processor::Unknown) noexcept
        : operatingSystem(system), processor(cpu) {}

    /// The system, `separator`, the processor ("Linux_x86_64"). The separator
    /// and processor are left out when the processor is unknown ("Linux").
    std::string toString(TextCase textCase = TextCase::Unchanged, char separator = '_') const;

    /// Reads the text of `toString`: the system, then optionally '_' and a
    /// processor (aliases accepted), in any case; the text is split at its
    /// first '_'. Parts that cannot be read stay unknown.
    static Platform fromString(std::string_view text);

    /// Platforms compare by system, then processor, by their numbers.
    ///@{
    friend constexpr bool operator==(const Platform&, const Platform&) noexcept = default;
    friend constexpr auto operator<=>(const Platform&, const Platform&) noexcept = default;
    ///@}
};

} // namespace Utilities
