// Thread names and their guards. Each test runs on a thread of its own, so
// that the names of the test runner's threads stay as they are.

#include <FileSystem/runtime/ThreadNames.h>

#include <FileSystem/platform/Faults.h>
#include <FileSystem/runtime/StructuredException.h>

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <thread>

using namespace FileSystem;

namespace {

void onOwnThread(const std::function<void()>& body) { std::thread(body).join(); }

} // namespace

TEST(ThreadNames, SetGetAndCutToTheLimit) {
    onOwnThread([] {
        EXPECT_TRUE(setCurrentThreadName("worker"));
        EXPECT_EQ(getCurrentThreadName(), "worker");
        // Linux keeps 15 bytes.
        EXPECT_TRUE(setCurrentThreadName("abcdefghijklmnopqrst"));
        EXPECT_EQ(getCurrentThreadName(), "abcdefghijklmno");
        // A character that does not fit whole is left out whole: 13 bytes, then
        // a 3-byte euro sign that would end at byte 16.
        EXPECT_TRUE(setCurrentThreadName("abcdefghijklm\xE2\x82\xAC"));
        EXPECT_EQ(getCurrentThreadName(), "abcdefghijklm");
        // Two-byte characters: seven fit (14 bytes).
        EXPECT_TRUE(setCurrentThreadName("\xC3\xA4\xC3\xA4\xC3\xA4\xC3\xA4\xC3\xA4\xC3\xA4\xC3\xA4\xC3\xA4"));
        EXPECT_EQ(getCurrentThreadName(), "\xC3\xA4\xC3\xA4\xC3\xA4\xC3\xA4\xC3\xA4\xC3\xA4\xC3\xA4");
        // Exactly at the limit, nothing is cut; a NUL ends the name.
        EXPECT_TRUE(setCurrentThreadName("123456789012\xE2\x82\xAC"));
        EXPECT_EQ(getCurrentThreadName(), "123456789012\xE2\x82\xAC");
        EXPECT_TRUE(setCurrentThreadName(std::string("ab\0cd", 5)));
        EXPECT_EQ(getCurrentThreadName(), "ab");
    });
}

TEST(ThreadNames, GuardsRestoreInReverseOnTheirOwnThread) {
    onOwnThread([] {
        ASSERT_TRUE(setCurrentThreadName(""));
        {
            const ThreadNameGuard outer("outer");
            EXPECT_EQ(getCurrentThreadName(), "outer");
            {
                const ThreadNameGuard inner("inner");
                EXPECT_EQ(getCurrentThreadName(), "inner");
                ThreadNameGuard::rename("renamed");
                EXPECT_EQ(getCurrentThreadName(), "renamed");
            }
            EXPECT_EQ(getCurrentThreadName(), "outer");
            const ThreadNameGuard unnamed;
            EXPECT_EQ(getCurrentThreadName(), "outer");
        }
        // The empty name from before comes back as an empty name.
        EXPECT_EQ(getCurrentThreadName(), "");
    });
}

TEST(ThreadNames, GuardEndedOnAnotherThreadRestoresNothing) {
    std::unique_ptr<ThreadNameGuard> guard;
    onOwnThread([&guard] {
        setCurrentThreadName("first");
        guard = std::make_unique<ThreadNameGuard>("second");
        EXPECT_TRUE(guard->isCurrentThreadMyThread());
        EXPECT_EQ(getCurrentThreadName(), "second");
    });
    onOwnThread([&guard] {
        setCurrentThreadName("bystander");
        EXPECT_FALSE(guard->isCurrentThreadMyThread());
        guard.reset();
        EXPECT_EQ(getCurrentThreadName(), "bystander");
    });
}

TEST(ThreadNames, SafeThreadGuardWithoutPolicyOnlyNames) {
    if (structured_exception::policy() == structured_exception::Policy::Translate ||
        structured_exception::policy() == structured_exception::Policy::ReportFault)
        GTEST_SKIP() << "the environment of this run selects a fault policy";
    onOwnThread([] {
        setCurrentThreadName("before");
        {
            const SafeThreadGuard guard("safe worker");
            EXPECT_EQ(getCurrentThreadName(), "safe worker");
            EXPECT_EQ(sys::threadFaultMode(), sys::FaultMode::None);
            SafeThreadGuard::install("renamed worker");
            EXPECT_EQ(getCurrentThreadName(), "renamed worker");
            EXPECT_EQ(sys::threadFaultMode(), sys::FaultMode::None);
        }
        EXPECT_EQ(getCurrentThreadName(), "before");
    });
}
