#pragma once

// The switch for reproducible mathematical functions: on runtimes whose
// functions may take fused multiply-add paths, results can differ in the last
// bits from one processor to another; a simulation that must give the same
// numbers on every machine switches those paths off.

#include <FileSystem/Export.h>

#include <string>
#include <utility>

namespace FileSystem {

/// Asks for consistent mathematical functions (`enable` true switches the
/// fused multiply-add paths off). With `honourEnvironment` and the variable
/// `KV_TESSEL_FORCE_MATH_CONSISTENCY` present, with any value, they are
/// switched off whatever `enable` says.
///
/// The C runtime on Linux has no such paths and no such switch: the setting is
/// kept as a process-wide flag and reported by mathConsistencyString(), and it
/// changes no result.
FILESYSTEM_EXPORT void setMathConsistency(bool enable, bool honourEnvironment);

/// The state of the switch: `true` and "FMA3 CONTRACTION Enabled" while the
/// fused paths are allowed (the state at start), else `false` and
/// "FMA3 CONTRACTION Disabled".
FILESYSTEM_EXPORT std::pair<bool, std::string> mathConsistencyString();

} // namespace FileSystem
