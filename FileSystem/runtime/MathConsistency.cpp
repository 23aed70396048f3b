#include <FileSystem/runtime/MathConsistency.h>

#include <FileSystem/platform/Environment.h>

#include <atomic>

namespace FileSystem {

namespace {

// Whether the fused multiply-add paths are allowed; allowed at start, as the
// runtimes that have the switch begin.
std::atomic<bool> fusedPathsAllowed{true};

} // namespace

void setMathConsistency(bool enable, bool honourEnvironment) {
    // Present with any value, an empty one included.
    if (honourEnvironment && sys::environmentVariable("KV_TESSEL_FORCE_MATH_CONSISTENCY").has_value()) {
        fusedPathsAllowed = false;
        return;
    }
    fusedPathsAllowed = !enable;
}

std::pair<bool, std::string> mathConsistencyString() {
    if (fusedPathsAllowed)
        return {true, "FMA3 CONTRACTION Enabled"};
    return {false, "FMA3 CONTRACTION Disabled"};
}

} // namespace FileSystem
