#include <FileSystem/platform/Process.h>

#include <gtest/gtest.h>

#include <chrono>

using FileSystem::sys::runProgram;
using namespace std::chrono_literals;

TEST(RunProgram, CollectsBothStreamsAndTheExitCode) {
    // Arguments reach the program as they are: no shell splits or expands them.
    const auto echo = runProgram({"sh", "-c", "printf '%s|' \"$@\"; echo err >&2; exit 3", "sh", "a b", "$HOME", "*"},
                                 {}, 1024, 10s);
    ASSERT_TRUE(echo);
    EXPECT_EQ(echo->exitCode, 3);
    EXPECT_EQ(echo->output, "a b|$HOME|*|");
    EXPECT_EQ(echo->errors, "err\n");

    // Overrides replace a variable of the environment and add new ones.
    const auto env = runProgram({"sh", "-c", "echo \"$PATH:$FS_RUN_TEST\""}, {"PATH=/usr/bin:/bin", "FS_RUN_TEST=1"},
                                1024, 10s);
    ASSERT_TRUE(env);
    EXPECT_EQ(env->output, "/usr/bin:/bin:1\n");

    // Output beyond the limit is read and dropped; the program still ends normally.
    const auto big = runProgram({"sh", "-c", "head -c 200000 /dev/zero; echo done >&2"}, {}, 1000, 10s);
    ASSERT_TRUE(big);
    EXPECT_EQ(big->output.size(), 1000u);
    EXPECT_EQ(big->errors, "done\n");
    EXPECT_EQ(big->exitCode, 0);
}

TEST(RunProgram, FailsForMissingProgramsSignalsAndTimeouts) {
    EXPECT_FALSE(runProgram({}, {}, 10, 1s));
    EXPECT_FALSE(runProgram({"fs-no-such-program-here"}, {}, 10, 1s));
    EXPECT_FALSE(runProgram({"sh", "-c", "echo x", std::string("a\0b", 3)}, {}, 10, 1s));
    EXPECT_FALSE(runProgram({"sh", "-c", "kill -TERM $$"}, {}, 10, 5s));

    // A program that hangs on, also one that keeps its output open, is killed at the deadline.
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(runProgram({"sleep", "30"}, {}, 10, 300ms));
    EXPECT_FALSE(runProgram({"sh", "-c", "exec 1>&- 2>&-; sleep 30"}, {}, 10, 300ms));
    EXPECT_LT(std::chrono::steady_clock::now() - start, 5s);
}
