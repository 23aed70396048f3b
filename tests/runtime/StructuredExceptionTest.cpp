// Faults under each policy happen for real in the fault probe, a child
// process; the tests read what it printed and how it ended.

#include <FileSystem/runtime/StructuredException.h>

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <vector>

namespace {

const std::string kSentence =
    "The software encountered an error and should be closed to avoid data corruption, crashes, or other adverse "
    "effects. Please contact support for help to resolve the issue, and include the last steps taken before the "
    "error occurred in your support request. ";

// The probe with this environment less any policy variable, plus `policy`.
// Sanitizers are told to leave the fault signals alone: they would take them
// before the library sees them (a build without sanitizers ignores this).
TestSupport::RunResult runProbe(const std::string& mode, const std::vector<std::string>& policy) {
    std::vector<std::string> environment;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string text = *entry;
        if (text.find("STRUCTURED_EXCEPTIONS") == std::string::npos && text.rfind("ASAN_OPTIONS=", 0) != 0 &&
            text.rfind("UBSAN_OPTIONS=", 0) != 0)
            environment.push_back(text);
    }
    for (const char* sanitizer : {"ASAN_OPTIONS", "UBSAN_OPTIONS"}) {
        const char* before = std::getenv(sanitizer);
        environment.push_back(std::string(sanitizer) + "=" + (before ? std::string(before) + ":" : "") +
                              "handle_segv=0:handle_sigbus=0:handle_sigfpe=0:handle_sigill=0:handle_abort=0");
    }
    environment.insert(environment.end(), policy.begin(), policy.end());
    return TestSupport::run({FS_TEST_FAULT_PROBE, mode}, &environment);
}

bool endedBy(const TestSupport::RunResult& result, int signal) {
    return WIFSIGNALED(result.status) && WTERMSIG(result.status) == signal;
}

int countOf(const std::string& text, const std::string& part) {
    int count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
        ++count;
    return count;
}

const std::vector<std::string> kTranslate = {"KV_TESSEL_DISABLE_STRUCTURED_EXCEPTIONS=yes"};
const std::vector<std::string> kReportFault = {"KV_TESSEL_DISABLE_STRUCTURED_EXCEPTIONS=REPORTFAULT"};

} // namespace

TEST(StructuredException, TextsAndClasses) {
    EXPECT_EQ(structured_exception().what(), kSentence + "[Unspecified Structured Exception]");
    EXPECT_EQ(access_violation().what(), kSentence + "[Access Violation]");
    EXPECT_EQ(divide_by_zero().what(), kSentence + "[Divide by zero error]");
    EXPECT_EQ(execute_handler().what(), kSentence + "[DLL load failed]");
    EXPECT_EQ(pure_virtual_exception().what(), kSentence + "[Pure Virtual Function Exception]");
    // Caught by its base, the message is still the derived one's.
    int here = 0;
    try {
        throw divide_by_zero(&here);
    } catch (const structured_exception& caught) {
        EXPECT_EQ(caught.address(), &here);
        EXPECT_EQ(caught.what(), kSentence + "[Divide by zero error]");
    }
}

TEST(StructuredException, TranslatesFaultsOnTheArmedThread) {
    // Twice each: the second fault is caught too, so throwing out of the
    // handler left the signal unblocked.
    const auto nullRead = runProbe("null", kTranslate);
    EXPECT_TRUE(nullRead.exitedWith(0)) << nullRead.output;
    const std::string caught = "caught access_violation " + kSentence + "[Access Violation]\n";
    EXPECT_EQ(nullRead.output, "armed\n" + caught + caught);

    const auto division = runProbe("divide", kTranslate);
    EXPECT_TRUE(division.exitedWith(0)) << division.output;
    EXPECT_EQ(countOf(division.output, "caught divide_by_zero " + kSentence + "[Divide by zero error]\n"), 2)
        << division.output;

    const auto pure = runProbe("pure", kTranslate);
    EXPECT_TRUE(pure.exitedWith(0)) << pure.output;
    EXPECT_NE(pure.output.find("caught pure_virtual_exception " + kSentence + "[Pure Virtual Function Exception]"),
              std::string::npos)
        << pure.output;

    const auto worker = runProbe("guard", kTranslate);
    EXPECT_TRUE(worker.exitedWith(0)) << worker.output;
    EXPECT_NE(worker.output.find("caught access_violation " + kSentence + "[Access Violation]\nname faulty worker\n"),
              std::string::npos)
        << worker.output;
}

TEST(StructuredException, FaultsElsewhereAreLeftAlone) {
    // A thread that did not arm dies of the fault as without the library.
    const auto unarmed = runProbe("thread", kTranslate);
    EXPECT_TRUE(endedBy(unarmed, SIGSEGV)) << unarmed.status;
    EXPECT_EQ(unarmed.output, "armed\n");

    // Neither policy variable, or only the REPORT one: install arms nothing.
    for (const auto& policy : {std::vector<std::string>{}, std::vector<std::string>{"KV_TESSEL_REPORT_STRUCTURED_EXCEPTIONS=1"}}) {
        const auto result = runProbe("null", policy);
        EXPECT_TRUE(endedBy(result, SIGSEGV)) << result.status;
        EXPECT_EQ(result.output, "armed\n");
    }

    // A pure virtual call on an unarmed thread ends as the C++ runtime ends it.
    const auto pure = runProbe("pure", {});
    EXPECT_TRUE(endedBy(pure, SIGABRT)) << pure.status;
    EXPECT_NE(pure.output.find("pure virtual method called"), std::string::npos) << pure.output;
}

TEST(StructuredException, PolicyIsReadOnce) {
    // Set after the first look, the translating variable changes nothing.
    const auto result = runProbe("late", {});
    EXPECT_EQ(result.output, "policy 1\npolicy 1\n");
    EXPECT_TRUE(endedBy(result, SIGSEGV)) << result.status;
}

TEST(StructuredException, ReportsTheFaultAndEndsByItsSignal) {
    const auto result = runProbe("null", kReportFault);
    EXPECT_TRUE(endedBy(result, SIGSEGV)) << result.status;
    EXPECT_EQ(result.output.rfind("armed\nfault - fault_probe\n#0 ", 0), 0u) << result.output;
    // The first frame is the faulting function, with its file and line.
    std::istringstream lines(result.output.substr(result.output.find("#0 ")));
    std::string first;
    std::getline(lines, first);
    EXPECT_NE(first.find("readThroughNull"), std::string::npos) << result.output;
    EXPECT_NE(first.find("fault_probe.cpp:"), std::string::npos) << result.output;
    EXPECT_NE(result.output.find(" in main"), std::string::npos) << result.output;

    // A stack overflow is reported too (on the alternate stack).
    const auto overflow = runProbe("overflow", kReportFault);
    EXPECT_TRUE(endedBy(overflow, SIGSEGV)) << overflow.status;
    EXPECT_NE(overflow.output.find("fault - fault_probe\n#0 "), std::string::npos) << overflow.output.substr(0, 2000);
    EXPECT_NE(overflow.output.find("recurseForever"), std::string::npos) << overflow.output.substr(0, 2000);
}

namespace {

__attribute__((noinline)) std::string traceFromHelper() {
    std::string trace = FileSystem::stacktrace();
    trace += ""; // keeps the call from being a tail call
    return trace;
}

} // namespace

TEST(StructuredException, StackTraceNamesTheCallers) {
    const std::string trace = traceFromHelper();
    ASSERT_EQ(trace.rfind("#0 0x", 0), 0u) << trace;
    const std::size_t helper = trace.find("traceFromHelper");
    const std::size_t test = trace.find("StackTraceNamesTheCallers");
    // The helper is the first frame (the capture's own frames are left out),
    // the test's body further out.
    EXPECT_LT(helper, trace.find('\n')) << trace;
    EXPECT_NE(test, std::string::npos) << trace;
    EXPECT_GT(test, helper) << trace;
    EXPECT_NE(trace.find("StructuredExceptionTest.cpp:"), std::string::npos) << trace;
    EXPECT_EQ(trace.back(), '\n');
}
