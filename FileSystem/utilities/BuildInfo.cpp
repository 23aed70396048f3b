#include <FileSystem/utilities/BuildInfo.h>

namespace Utilities {

Version<4, int> libraryVersion() {
    return {FILESYSTEM_VERSION_MAJOR, FILESYSTEM_VERSION_MINOR, FILESYSTEM_VERSION_PATCH,
            FILESYSTEM_VERSION_TWEAK};
}

OperatingSystem buildOperatingSystem() {
#if defined(_WIN32)
    return OperatingSystem::Windows;
#elif defined(__linux__)
    return OperatingSystem::Linux;
#else
    return OperatingSystem::Unknown;
#endif
}

Platform buildPlatform() {
#if defined(__x86_64__) || defined(_M_X64)
    constexpr Processor processor = Processor::x86_64;
#elif defined(__i386__) || defined(_M_IX86)
    constexpr Processor processor = Processor::x86_32;
#elif defined(__aarch64__) || defined(_M_ARM64)
    constexpr Processor processor = Processor::aarch64;
#elif defined(__arm__) || defined(_M_ARM)
    constexpr Processor processor = Processor::aarch32;
#else
    constexpr Processor processor = Processor::Unknown;
#endif
    return Platform(buildOperatingSystem(), processor);
}

} // namespace Utilities
