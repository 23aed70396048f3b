#include <FileSystem/runtime/MathConsistency.h>

#include <gtest/gtest.h>

#include <cstdlib>

TEST(MathConsistency, SwitchAndTheVariableThatForcesIt) {
    ::unsetenv("KV_TESSEL_FORCE_MATH_CONSISTENCY");
    FileSystem::setMathConsistency(false, true);
    EXPECT_EQ(FileSystem::mathConsistencyString(), std::make_pair(true, std::string("FMA3 CONTRACTION Enabled")));
    FileSystem::setMathConsistency(true, true);
    EXPECT_EQ(FileSystem::mathConsistencyString(), std::make_pair(false, std::string("FMA3 CONTRACTION Disabled")));

    // The variable, with any value (even empty), forces consistency when honoured...
    ::setenv("KV_TESSEL_FORCE_MATH_CONSISTENCY", "", 1);
    FileSystem::setMathConsistency(false, true);
    EXPECT_FALSE(FileSystem::mathConsistencyString().first);
    // ...and is not consulted otherwise.
    FileSystem::setMathConsistency(false, false);
    EXPECT_EQ(FileSystem::mathConsistencyString().second, "FMA3 CONTRACTION Enabled");
    ::unsetenv("KV_TESSEL_FORCE_MATH_CONSISTENCY");
}
