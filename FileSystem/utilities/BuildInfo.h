#pragma once

#include <FileSystem/Export.h>
#include <FileSystem/utilities/Platform.h>
#include <FileSystem/utilities/Version.h>

namespace Utilities {

/// The library's release version (2025.0.1.144071 in this release).
FILESYSTEM_EXPORT Version<4, int> libraryVersion();

/// The operating system the library was built for (Unknown for one other
/// than Windows and Linux).
FILESYSTEM_EXPORT OperatingSystem buildOperatingSystem();

/// The operating system and the processor the library was compiled for.
FILESYSTEM_EXPORT Platform buildPlatform();

} // namespace Utilities
