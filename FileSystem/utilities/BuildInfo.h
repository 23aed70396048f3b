#pragma once

#include <FileSystem/utilities/Platform.h>
#include <FileSystem/utilities/Version.h>

namespace Utilities {

/// The library's release version (2025.0.1.144071 in this release).
Version<4, int> libraryVersion();

/// The operating system the library was built for.
OperatingSystem buildOperatingSystem();

/// The operating system and the processor the library was compiled for.
Platform buildPlatform();

} // namespace Utilities
