#pragma once

#include <FileSystem/utilities/OperatingSystem.h>

#include <compare>
#include <cstdint>
#include <string>
#include <string_view>

namespace Utilities {

enum class Processor : std::int32_t {
    Unknown = 0,
    x86_32 = 1,
    x86_64 = 2,
    aarch32 = 3,
    aarch64 = 4,
};

/// "x86_32", "x86_64", "aarch32" or "aarch64" in the given case; empty for Unknown.
std::string toString(Processor processor, TextCase textCase = TextCase::Unchanged);

/// Reads a processor text in any case, also the aliases "x64", "arm64", "x32"
/// and "arm32"; anything else is Unknown.
Processor processorFromString(std::string_view text);

/// An operating system and a processor.
struct Platform {
    OperatingSystem operatingSystem = OperatingSystem::Unknown;
    Processor processor = Processor::Unknown;

    constexpr Platform() noexcept = default;
    constexpr Platform(OperatingSystem system, Processor cpu = Processor::Unknown) noexcept
        : operatingSystem(system), processor(cpu) {}

    /// The system, `separator`, the processor ("Linux_x86_64"). The separator
    /// and processor are left out when the processor is unknown ("Linux").
    std::string toString(TextCase textCase = TextCase::Unchanged, char separator = '_') const;

    /// Reads the text of `toString`: the system, then optionally '_' and a
    /// processor (aliases accepted), in any case. Parts that cannot be read stay
    /// unknown.
    static Platform fromString(std::string_view text);

    friend constexpr bool operator==(const Platform&, const Platform&) noexcept = default;
    friend constexpr auto operator<=>(const Platform&, const Platform&) noexcept = default;
};

} // namespace Utilities
