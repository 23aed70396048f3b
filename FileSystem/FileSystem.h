#pragma once

// Every public header of the library.

#include <FileSystem/paths/OSPaths.h>
#include <FileSystem/paths/Path.h>
#include <FileSystem/paths/PathConverterBase.h>

#include <FileSystem/utilities/BuildInfo.h>
#include <FileSystem/utilities/Endianness.h>
#include <FileSystem/utilities/Flags.h>
#include <FileSystem/utilities/OperatingSystem.h>
#include <FileSystem/utilities/Platform.h>
#include <FileSystem/utilities/ToolProgress.h>
#include <FileSystem/utilities/Unicode.h>
#include <FileSystem/utilities/Version.h>
