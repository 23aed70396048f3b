#include <FileSystem/environment/DynamicLibraryLinker.h>
#include <FileSystem/environment/MachineInfo.h>
#include <FileSystem/environment/RuntimeEnvironment.h>
#include <FileSystem/paths/OSPaths.h>
#include <FileSystem/paths/Path.h>

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <map>
#include <sstream>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

using namespace FileSystem;

namespace {

std::string unhex(const std::string& text) {
    std::string out;
    for (std::size_t i = 0; i + 1 < text.size(); i += 2)
        out += static_cast<char>(std::stoi(text.substr(i, 2), nullptr, 16));
    return out;
}

/// Runs the probe program with arguments and extra variables; its facts by key
/// ("arg" may come many times).
std::multimap<std::string, std::string> runProbe(const std::vector<std::string>& arguments,
                                                 const std::vector<std::string>& variables = {}) {
    int pipeFds[2];
    EXPECT_EQ(::pipe(pipeFds), 0);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, pipeFds[1], 1);
    posix_spawn_file_actions_addclose(&actions, pipeFds[0]);
    std::vector<char*> argv{const_cast<char*>(FS_TEST_PROBE)};
    for (const std::string& argument : arguments)
        argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);
    std::vector<std::string> environment;
    for (char** entry = environ; *entry; ++entry)
        if (std::string(*entry).rfind("INDEVSTUDIO=", 0) != 0 && std::string(*entry).rfind("DEVROOT=", 0) != 0)
            environment.emplace_back(*entry);
    environment.insert(environment.end(), variables.begin(), variables.end());
    std::vector<char*> envp;
    for (std::string& entry : environment)
        envp.push_back(entry.data());
    envp.push_back(nullptr);
    pid_t child = 0;
    EXPECT_EQ(::posix_spawn(&child, FS_TEST_PROBE, &actions, nullptr, argv.data(), envp.data()), 0);
    posix_spawn_file_actions_destroy(&actions);
    ::close(pipeFds[1]);
    std::string output;
    char buffer[4096];
    for (ssize_t n; (n = ::read(pipeFds[0], buffer, sizeof buffer)) > 0;)
        output.append(buffer, static_cast<std::size_t>(n));
    ::close(pipeFds[0]);
    int status = 0;
    ::waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    std::multimap<std::string, std::string> facts;
    std::istringstream lines(output);
    for (std::string key, value; lines >> key;) {
        std::getline(lines, value);
        facts.emplace(key, unhex(value.substr(value.empty() ? 0 : 1)));
    }
    return facts;
}

std::vector<std::string> all(const std::multimap<std::string, std::string>& facts, const std::string& key) {
    std::vector<std::string> values;
    for (auto [it, end] = facts.equal_range(key); it != end; ++it)
        values.push_back(it->second);
    return values;
}

} // namespace

TEST(ApplicationContext, AChildProcessKnowsItself) {
    const std::vector<std::string> arguments{"plain", "with space", "ünïcödé ✓", "", "tab\there"};
    const auto facts = runProbe(arguments);
    std::vector<std::string> expected{FS_TEST_PROBE};
    expected.insert(expected.end(), arguments.begin(), arguments.end());
    EXPECT_EQ(all(facts, "arg"), expected); // whole, and the second init changed nothing
    EXPECT_EQ(facts.find("raw")->second, "6");
    EXPECT_EQ(facts.find("app")->second, FS_TEST_PROBE);
    EXPECT_EQ(facts.find("file")->second, "app_probe");
    EXPECT_EQ(facts.find("name")->second, "app_probe");
    EXPECT_EQ(facts.find("dir")->second, Path::stripLastToken(FS_TEST_PROBE));
    EXPECT_EQ(facts.find("plugin")->second, Path::stripLastToken(FS_TEST_PROBE));
    EXPECT_EQ(facts.find("install")->second, Path::stripLastToken(FS_TEST_PROBE));
    EXPECT_EQ(facts.find("install-before")->second, "error: init application has to be invoked first");
    EXPECT_EQ(facts.find("ppid")->second, std::to_string(::getpid()));
    EXPECT_NE(facts.find("pid")->second, std::to_string(::getpid()));
    // The probe links the shared library, which holds the library's code.
    EXPECT_NE(Path::getLastToken(facts.find("module")->second).find("libFileSystem.so"), std::string::npos);
}

TEST(ApplicationContext, DevelopmentTrees) {
    const auto dev = runProbe({}, {"INDEVSTUDIO=1", "DEVROOT=/work/tree"});
    EXPECT_EQ(dev.find("install")->second, "/work/tree/source/Application");
    EXPECT_EQ(dev.find("plugin")->second, Path::stripLastToken(FS_TEST_PROBE));
    EXPECT_EQ(dev.find("install-before")->second, "error: init application has to be invoked first");
    const auto noRoot = runProbe({}, {"INDEVSTUDIO=1"});
    EXPECT_EQ(noRoot.find("install")->second, "/source/Application");
}

TEST(ApplicationContext, InThisProcess) {
    EXPECT_FALSE(stripWrapperAddedPathsFromEnvironment());
    std::string value = "/a:/b";
    EXPECT_FALSE(stripWrapperAddedPathsFromVariableValues(value));
    EXPECT_EQ(value, "/a:/b");
    configureDefaultFilePermissions();
    EXPECT_EQ(getApplicationPid(), ::getpid());
    EXPECT_EQ(getParentApplicationPid(), ::getppid());
    ASSERT_TRUE(getSessionId().has_value());
    EXPECT_EQ(*getSessionId(), ::getsid(0));
    EXPECT_EQ(getApplication(), std::filesystem::read_symlink("/proc/self/exe").string());
    EXPECT_EQ(&RuntimeEnvironment::get(), &RuntimeEnvironment::get());

    const std::vector<std::string> replaced{"/opt/x/tool", "-v"};
    EXPECT_EQ(initApplicationArguments(replaced), replaced);
    EXPECT_TRUE(initApplicationReady());
    EXPECT_EQ(initApplicationArguments(std::vector<std::string>{}).size(), 0u);
    EXPECT_FALSE(initApplicationReady());
    EXPECT_THROW(RuntimeEnvironment::pluginPath(), std::logic_error);
}

TEST(MachineInfo, SaneFactsOfThisHost) {
    EXPECT_GE(MachineInfo::numberOfProcessors(), 1u);
    EXPECT_GE(MachineInfo::numberOfPhysicalProcessors(), 1u);
    EXPECT_GE(MachineInfo::numberOfSockets(), 1u);
    EXPECT_LE(MachineInfo::numberOfSockets(), MachineInfo::numberOfPhysicalProcessors());
    EXPECT_GT(MachineInfo::getCurrentMemoryUsage(), 0u);
    EXPECT_GE(MachineInfo::getPeakMemoryUsage(), MachineInfo::getCurrentMemoryUsage());
    EXPECT_GE(MachineInfo::getTotalPhysicalMemory(), MachineInfo::getAvailablePhysicalMemory());
    EXPECT_GT(MachineInfo::getAvailablePhysicalMemory(), 0u);
    EXPECT_FALSE(MachineInfo::computername().empty());
    EXPECT_FALSE(MachineInfo::fqdn().empty());
    EXPECT_FALSE(MachineInfo::username().empty());
    EXPECT_EQ(MachineInfo::userHasElevatedPermissions(), ::geteuid() == 0);
    const std::string domain = MachineInfo::userdomain();
    EXPECT_EQ(MachineInfo::domainUserName(), domain.empty() ? MachineInfo::username()
                                                            : domain + "\\" + MachineInfo::username());

    TestSupport::TempDir dir;
    const auto space = MachineInfo::getDiskSpaceInfo(dir.path());
    ASSERT_TRUE(space.has_value());
    EXPECT_GE(space->total, space->free);
    EXPECT_GE(space->free, space->available);
    EXPECT_EQ(MachineInfo::getTotalDiskSpace(dir.path()), space->total);
    EXPECT_FALSE(MachineInfo::getDiskSpaceInfo(dir / "missing").has_value());
    EXPECT_EQ(MachineInfo::getFreeDiskSpace(dir / "missing"), 0u);
}

TEST(MachineInfo, ProcessorOverrides) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            ::setenv("KV_TESSEL_MACHINE_CORES", "3", 1);
            ::setenv("TESSEL_MACHINE_SOCKETS", "2", 1); // through the KV_ fallback
            const bool ok = MachineInfo::numberOfProcessors() == 3 && MachineInfo::numberOfSockets() == 2;
            ::setenv("KV_TESSEL_MACHINE_CORES", "5", 1);
            std::exit(ok && RuntimeEnvironment::numberOfProcessors() == 3 ? 0 : 1); // read once
        },
        ::testing::ExitedWithCode(0), "");
    EXPECT_EXIT(
        {
            ::setenv("KV_TESSEL_MACHINE_PHYSCORES", "many", 1);
            int thrown = 0;
            for (int i = 0; i < 2; ++i) {
                try {
                    MachineInfo::numberOfPhysicalProcessors();
                } catch (const std::invalid_argument&) {
                    ++thrown; // on each first use
                }
            }
            std::exit(thrown == 2 ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "");
}

TEST(DynamicLibraryLinker, LoadsBySearchPathsAndFindsFunctions) {
    const std::string plugin = FS_TEST_PLUGIN;
    const std::string folder = Path::stripLastToken(plugin);
    const std::string name = Path::getLastToken(plugin);
    using Answer = int (*)();

    DynamicLibraryLinker linker;
    EXPECT_FALSE(linker.open(name)); // not on any search path
    EXPECT_FALSE(linker.isOpen());
    EXPECT_EQ(linker.getFunctionPointer("fs_test_plugin_answer"), nullptr);
    {
        OverrideSearchPaths override(linker, {"/nonexistent", folder});
        ASSERT_TRUE(linker.open(name));
    }
    EXPECT_TRUE(linker.getPreferedSearchPaths().empty()); // put back
    EXPECT_TRUE(linker.isOpenedByMe());
    EXPECT_EQ(linker.getPath(), plugin);
    auto answer = reinterpret_cast<Answer>(linker.getFunctionPointer("fs_test_plugin_answer"));
    ASSERT_NE(answer, nullptr);
    EXPECT_EQ(answer(), 42);
    EXPECT_EQ(DynamicLibraryLinker::getPathFromAddress(reinterpret_cast<const void*>(answer)), plugin);
    EXPECT_EQ(linker.getFunctionPointer("no_such_function"), nullptr);
    EXPECT_TRUE(linker.close());
    EXPECT_FALSE(linker.close());

    DynamicLibraryLinker::addSearchPath(folder, true);
    EXPECT_EQ(DynamicLibraryLinker::getSearchPaths().front(), folder);
    DynamicLibraryLinker fromProcessList = DynamicLibraryLinker::fromFile(name);
    EXPECT_TRUE(fromProcessList.isOpen());
    DynamicLibraryLinker::removeSearchPath(folder);
    EXPECT_TRUE(DynamicLibraryLinker::getSearchPaths().empty());

    OSPaths::setDLLDirectory(folder);
    DynamicLibraryLinker fromDllFolder = DynamicLibraryLinker::fromFile(name, DynamicLibraryLinker::OpenMode::Lazy);
    OSPaths::resetDLLDirectory();
    EXPECT_TRUE(fromDllFolder.isOpen());
    EXPECT_TRUE(DynamicLibraryLinker::fromFile(plugin).isOpen()); // an absolute path directly
    EXPECT_TRUE(DynamicLibraryLinker::fromFile("libm.so.6").isOpen()); // the system's own search
}

TEST(DynamicLibraryLinker, TheApplicationAndForeignHandles) {
    DynamicLibraryLinker application = DynamicLibraryLinker::fromApplication();
    EXPECT_TRUE(application.isOpen());
    EXPECT_FALSE(application.isOpenedByMe());
    EXPECT_EQ(application.getPath(), std::filesystem::read_symlink("/proc/self/exe").string());
    EXPECT_NE(DynamicLibraryLinker::getApplicationFunctionPointer("malloc"), nullptr);

    // The library's code lies in the module it was linked into: this test program
    // links it statically (the probe, linked with the shared library, shows that one).
    const std::string own = DynamicLibraryLinker::getPathFromAddress(
        reinterpret_cast<const void*>(static_cast<std::string (*)(const std::string&)>(&Path::getLastToken)));
    EXPECT_EQ(own, std::filesystem::read_symlink("/proc/self/exe").string());
    EXPECT_EQ(DynamicLibraryLinker::getHandleFromAddress(nullptr), nullptr);

    DynamicLibraryLinker libm = DynamicLibraryLinker::fromFile("libm.so.6");
    DynamicLibraryLinker borrowed = DynamicLibraryLinker::fromHandle(libm.getHandle());
    EXPECT_TRUE(borrowed.close()); // lets go without closing
    using Cos = double (*)(double);
    auto cosine = reinterpret_cast<Cos>(libm.getFunctionPointer("cos"));
    ASSERT_NE(cosine, nullptr);
    EXPECT_EQ(cosine(0.0), 1.0);

    const std::string plugin = FS_TEST_PLUGIN;
    void* handle = DynamicLibraryLinker::fromFile(plugin).getHandle(); // closed again at once
    EXPECT_EQ(handle != nullptr, true);
    DynamicLibraryLinker kept = DynamicLibraryLinker::fromFile(plugin);
    EXPECT_TRUE(DynamicLibraryLinker::forceClose(plugin));
    EXPECT_FALSE(DynamicLibraryLinker::forceClose(plugin)); // no longer loaded
    kept.close(false);
    EXPECT_FALSE(DynamicLibraryLinker::close(nullptr, true));
}
