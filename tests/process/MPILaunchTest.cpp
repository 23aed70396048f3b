// Locating MPI installations, checking their versions, composing launches,
// and running them for real with the MPIs installed on the machine.

#include <FileSystem/environment/EnvironmentVariableModel.h>
#include <FileSystem/files/File.h>
#include <FileSystem/paths/Path.h>
#include <FileSystem/process/ProcessDefinitionIntelMPIWindows.h>
#include <FileSystem/process/ProcessDefinitionMPICHLinux.h>
#include <FileSystem/process/ProcessDefinitionMPIManager.h>
#include <FileSystem/process/ProcessDefinitionMPIOpenMPILinux.h>
#include <FileSystem/process/ProcessDefinitionMicrosoftMPIWindows.h>

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <sys/stat.h>

using namespace FileSystem;
using T = ProcessDefinitionMPIType;

namespace {

std::unique_ptr<ProcessDefinition> child(const std::string& program, std::vector<std::string> arguments = {},
                                         const std::string& workingDirectory = "") {
    return std::make_unique<ProcessDefinition>(program, std::move(arguments), workingDirectory,
                                               EnvironmentVariableModel::fromSystem());
}

// A fake installation: root/lib holds the stand-in library under `library`,
// root/bin the launcher `program` (a shell script).
std::string fakeInstallation(const TestSupport::TempDir& dir, const std::string& library, const std::string& program) {
    const std::string root = dir.mkdir("mpi");
    dir.mkdir("mpi/lib");
    std::filesystem::create_symlink(std::string(FS_TEST_FAKE_MPI_LIB_DIR) + "/" + library, root + "/lib/" + library);
    if (!program.empty()) {
        const std::string launcher = dir.write("mpi/bin/" + program, "#!/bin/sh\n");
        ::chmod(launcher.c_str(), 0755);
    }
    return root;
}

std::string frontOfList(const std::string& value) { return value.substr(0, value.find(':')); }

std::string message(const std::function<void()>& action) {
    try {
        action();
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "(nothing raised)";
}

} // namespace

TEST(MPILocation, VersionTexts) {
    using V = MPIDefinition::Version;
    EXPECT_EQ(MPILocaterFunctions::parseLibraryVersionText("Open MPI v4.1.4, package: Debian OpenMPI, ident: 4.1.4"),
              (V{4, 1, 4}));
    EXPECT_EQ(MPILocaterFunctions::parseLibraryVersionText("MPICH Version:\t4.0.2\nMPICH Release date: x"),
              (V{4, 0, 2}));
    EXPECT_EQ(MPILocaterFunctions::parseLibraryVersionText("Intel(R) MPI Library 2021.6 for Linux* OS\n"),
              (V{2021, 6}));
    EXPECT_EQ(MPILocaterFunctions::parseLibraryVersionText("Intel(R) MPI Library 2019 Update 8"), (V{2019}));
    EXPECT_EQ(MPILocaterFunctions::parseLibraryVersionText("MVAPICH2 Version      :\t2.3.7\n"), (V{2, 3, 7}));
    EXPECT_FALSE(MPILocaterFunctions::parseLibraryVersionText("no version here."));
    EXPECT_FALSE(MPILocaterFunctions::parseLibraryVersionText(""));
    // Numbers too large for a component are no version.
    EXPECT_EQ(MPILocaterFunctions::parseLibraryVersionText("v99999999999.1 then 3.2"), (V{3, 2}));
}

TEST(MPILocation, FakeInstallationFoundCheckedAndConfigured) {
    TestSupport::TempDir dir;
    const std::string root = fakeInstallation(dir, "libmpi.so.40", "mpirun");
    TemporaryEnvironmentVariable rootVariable("KV_TESSEL_OMPI_ROOT", root);
    TemporaryEnvironmentVariable version("FS_FAKE_MPI_VERSION", "Open MPI v4.1.4, package: fake");

    ProcessDefinitionMPIOpenMPILinux launch(child("/bin/true", {"x"}, "/w"), "/launch", 3, "hosts",
                                            ProcessDefinitionAdditionalMPIArguments({"--bind-to", "none"}));
    ASSERT_TRUE(launch);
    EXPECT_EQ(launch.getLibrary(), root + "/lib/libmpi.so.40");
    EXPECT_EQ(launch.getProgram(), root + "/bin/mpirun");
    EXPECT_EQ(launch.getWorkingDirectory(), "/launch");
    EXPECT_EQ(launch.getArguments(), (std::vector<std::string>{"-np", "3", "-machinefile", "hosts", "-wdir", "/w",
                                                               "--bind-to", "none", "/bin/true", "x"}));
    // The installation lies below its root variable: the launch's environment
    // is set up for it, and the child's variables stay.
    const EnvironmentVariableModel& environment = launch.environment();
    EXPECT_EQ(environment.getEnvironmentVariable("MPI_HOME", ""), root);
    EXPECT_EQ(environment.getEnvironmentVariable("MPI_BIN", ""), root + "/bin");
    EXPECT_EQ(environment.getEnvironmentVariable("MPI_LIB", ""), root + "/lib");
    EXPECT_EQ(frontOfList(environment.getEnvironmentVariable("PATH", "")), root + "/bin");
    EXPECT_EQ(frontOfList(environment.getEnvironmentVariable("LD_LIBRARY_PATH", "")), root + "/lib");
    EXPECT_NE(environment.getEnvironmentVariable("PATH", "").find("/usr/bin"), std::string::npos);
    EXPECT_EQ(environment.getEnvironmentVariable("FS_FAKE_MPI_VERSION", ""), "Open MPI v4.1.4, package: fake");
    EXPECT_TRUE(ProcessDefinitionMPIOpenMPILinux::isLibraryMatch(launch.getLibrary()));
    EXPECT_FALSE(ProcessDefinitionMPIOpenMPILinux::isLibraryMatch(root + "2/lib/libmpi.so.40"));
}

TEST(MPILocation, EnvironmentOnlyForItsOwnInstallations) {
    TestSupport::TempDir dir;
    const std::string root = fakeInstallation(dir, "libmpi.so.40", "mpirun");
    // Found through MPI_HOME, which is not this distribution's own root: the
    // installation is taken to be set up already.
    TemporaryEnvironmentVariable home("MPI_HOME", root);
    ProcessDefinitionMPIOpenMPILinux plain(child("/bin/true"), "", 0, "", ProcessDefinitionAdditionalMPIArguments());
    ASSERT_TRUE(plain);
    EXPECT_EQ(plain.getLibrary(), root + "/lib/libmpi.so.40");
    EXPECT_FALSE(plain.environment().hasEnvironmentVariable("MPI_BIN"));
    EXPECT_EQ(plain.getArguments(), std::vector<std::string>{"/bin/true"});

    TemporaryEnvironmentVariable always("KV_TESSEL_MPI_ENV_CONFIG", "1");
    ProcessDefinitionMPIOpenMPILinux configured(child("/bin/true"), "", 0, "",
                                                ProcessDefinitionAdditionalMPIArguments());
    EXPECT_EQ(configured.environment().getEnvironmentVariable("MPI_BIN", ""), root + "/bin");
}

TEST(MPILocation, VersionChecksAndTheirMessages) {
    TestSupport::TempDir dir;
    const std::string root = fakeInstallation(dir, "libmpi.so.40", "mpirun");
    TemporaryEnvironmentVariable rootVariable("KV_TESSEL_OMPI_ROOT", root);
    const ProcessDefinitionAdditionalMPIArguments none;

    {
        TemporaryEnvironmentVariable version("FS_FAKE_MPI_VERSION", "Open MPI v1.10.7");
        EXPECT_EQ(message([&] { ProcessDefinitionMPIOpenMPILinux(child("/bin/true"), "", 2, "", none); }),
                  "Error : MPI failure - Installed OpenMPI MPI version 1.10.7 is not supported. Update to OpenMPI MPI "
                  "version 2 or newer, or contact support.");
        // Without reporting the launch stays invalid and silent.
        ProcessDefinitionMPIOpenMPILinux silent(child("/bin/true"), "", 2, "", none, false);
        EXPECT_FALSE(silent);
        EXPECT_EQ(silent.getProgram(), "");
        // The check can be switched off.
        TemporaryEnvironmentVariable noCheck("KV_TESSEL_MPI_NO_VERS_CHECK", "1");
        EXPECT_TRUE(ProcessDefinitionMPIOpenMPILinux(child("/bin/true"), "", 2, "", none));
    }
    {
        TemporaryEnvironmentVariable version("FS_FAKE_MPI_VERSION", "unknown build");
        EXPECT_EQ(message([&] { ProcessDefinitionMPIOpenMPILinux(child("/bin/true"), "", 2, "", none); }),
                  "Error : MPI failure - Unable to locate libmpi.so.40 of OpenMPI MPI. Check installation of Microsoft "
                  "MPI. Check the installation of OpenMPI MPI ,or contact support. Note : a version 2 or newer is "
                  "required. ");
        EXPECT_TRUE(ProcessDefinitionMPIOpenMPILinux(child("/bin/true"), "", 2, "", none, false));
    }
    {
        // The library is there, the launcher is not, and PATH has none either.
        std::filesystem::remove(root + "/bin/mpirun");
        TemporaryEnvironmentVariable version("FS_FAKE_MPI_VERSION", "Open MPI v4.1.4");
        TemporaryEnvironmentVariable path("PATH", dir / "nothing");
        EXPECT_EQ(message([&] { ProcessDefinitionMPIOpenMPILinux(child("/bin/true"), "", 2, "", none); }),
                  "Error : MPI failure - unable to locate mpirun for OpenMPI MPI ( library version: 4.1.4). Check the "
                  "installation of OpenMPI MPI, or contact support. Note : a version 2 or newer is required. ");
        EXPECT_FALSE(ProcessDefinitionMPIOpenMPILinux(child("/bin/true"), "", 2, "", none, false));
    }
}

TEST(MPILocation, MPICHFamilyOnAFakeInstallation) {
    TestSupport::TempDir dir;
    const std::string root = fakeInstallation(dir, "libmpi.so.12", "mpiexec.hydra");
    TemporaryEnvironmentVariable rootVariable("KV_TESSEL_MPICH_ROOT", root);
    TemporaryEnvironmentVariable version("FS_FAKE_MPI_VERSION", "MPICH Version:\t3.0.4\n");

    EXPECT_EQ(message([&] {
                  ProcessDefinitionMPICHLinux(child("/bin/true"), "", 2, "", ProcessDefinitionAdditionalMPIArguments());
              }),
              "Error : MPI failure - Installed MPICH MPI version 3.0.4 is not supported. Update to MPICH MPI version "
              "3.1 or newer, or contact support.");

    TemporaryEnvironmentVariable newer("FS_FAKE_MPI_VERSION", "MPICH Version:\t3.1\n");
    ProcessDefinitionMPICHLinux launch(child("/bin/prog", {"a"}, "/w"), "", 4, "m.txt",
                                       ProcessDefinitionAdditionalMPIArguments({"-genv", "X", "1"}));
    ASSERT_TRUE(launch);
    EXPECT_EQ(launch.getProgram(), root + "/bin/mpiexec.hydra");
    EXPECT_EQ(launch.getArguments(), (std::vector<std::string>{"-n", "4", "-machinefile", "m.txt", "-wdir", "/w",
                                                               "-genv", "X", "1", "/bin/prog", "a"}));
    launch.setPrintAllExitCodes(true);
    EXPECT_EQ(launch.getArguments()[4], "-print-all-exitcodes");
    EXPECT_EQ(launch.environment().getEnvironmentVariable("MPI_HOME", ""), root);
    EXPECT_EQ(frontOfList(launch.environment().getEnvironmentVariable("LD_LIBRARY_PATH", "")), root + "/lib");

    // Options that the additional arguments hold are not given twice.
    launch.setPrintAllExitCodes(false);
    ProcessDefinitionMPICHLinux held(child("/bin/prog", {}, "/w"), "", 4, "m.txt",
                                     ProcessDefinitionAdditionalMPIArguments({"-np", "2", "-f", "h", "-wdir", "/x"}));
    EXPECT_EQ(held.getArguments(), (std::vector<std::string>{"-np", "2", "-f", "h", "-wdir", "/x", "/bin/prog"}));
}

TEST(MPILaunchArguments, WindowsDefinitionsAndMachineFiles) {
    using Machines = std::map<std::string, std::uint64_t>;
    const Machines machines{{"node2", 8}, {"node1", 4}};
    EXPECT_EQ(ProcessDefinitionMPIOpenMPILinux::generateMachineFileContent(machines), "node1 slots=4\nnode2 slots=8\n");
    EXPECT_EQ(ProcessDefinitionMicrosoftMPIWindows::generateMachineFileContent(machines), "node1 4\nnode2 8\n");
    EXPECT_EQ(ProcessDefinitionIntelMPIWindows::generateMachineFileContent(machines), "node1:4\nnode2:8\n");
    EXPECT_EQ(ProcessDefinitionMPICHLinux::generateMachineFileContent(machines), "node1:4\nnode2:8\n");

    // No Microsoft MPI here: the launch names the bare launcher for the
    // Windows machine to find, and its arguments are complete.
    TemporaryEnvironmentVariable layout("KV_TESSEL_MPI_MICROSOFT_AFFINITY_LAYOUT", "");
    TemporaryEnvironmentVariable autoAffinity("KV_TESSEL_MPI_MICROSOFT_AUTO_AFFINITY", "");
    ProcessDefinitionMicrosoftMPIWindows microsoft(child("C:/apps/solver.exe", {"in.dat"}, "C:/runs/a b"), "", 4,
                                                   "", ProcessDefinitionAdditionalMPIArguments());
    EXPECT_TRUE(microsoft);
    EXPECT_EQ(microsoft.getProgram(), "mpiexec.exe");
    EXPECT_EQ(microsoft.getArguments(),
              (std::vector<std::string>{"/np", "4", "/affinity_layout", "3:P:L", "/wdir", "C:\\runs\\a b",
                                        "C:/apps/solver.exe", "in.dat"}));
    {
        TemporaryEnvironmentVariable off("KV_TESSEL_MPI_MICROSOFT_AUTO_AFFINITY", "false");
        EXPECT_EQ(microsoft.getArguments()[2], "/wdir");
        TemporaryEnvironmentVariable chosen("KV_TESSEL_MPI_MICROSOFT_AFFINITY_LAYOUT", "1:L");
        EXPECT_EQ(microsoft.getArguments()[3], "1:L");
    }
    {
        TemporaryEnvironmentVariable on("KV_TESSEL_MPI_MICROSOFT_AUTO_AFFINITY", "1");
        ProcessDefinitionMicrosoftMPIWindows held(child("s.exe"), "", 2, "hosts.txt",
                                                  ProcessDefinitionAdditionalMPIArguments({"-n", "2", "-aa", "-affinity"}));
        EXPECT_EQ(held.getArguments(), (std::vector<std::string>{"/machinefile", "hosts.txt", "-n", "2", "-aa",
                                                                 "-affinity", "s.exe"}));
    }

    ProcessDefinitionIntelMPIWindows intel(child("s.exe", {}, "C:/w"), "", 2, "m", ProcessDefinitionAdditionalMPIArguments());
    EXPECT_EQ(intel.getProgram(), "mpiexec.exe");
    EXPECT_EQ(intel.getArguments(), (std::vector<std::string>{"-n", "2", "-machinefile", "m", "-wdir", "C:/w", "s.exe"}));
}

namespace {

struct RealMPI {
    T type;
    const char* rankProgram;
    const char* libraryName;
};

// Runs a launch as composed, with its own environment, and returns what it printed.
TestSupport::RunResult runLaunch(const ProcessDefinitionMPIAbstract& launch) {
    std::vector<std::string> argv{launch.getProgram()};
    for (const std::string& argument : launch.getArguments())
        argv.push_back(argument);
    std::vector<std::string> environment;
    for (const auto& [name, value] : launch.environment().getAllEnvironmentVariables())
        environment.push_back(name + "=" + value);
    return TestSupport::run(argv, &environment);
}

void checkRealLaunch(const RealMPI& mpi) {
    if (std::string(mpi.rankProgram).empty()) {
        if (std::getenv("FS_REQUIRE_MPI") != nullptr)
            FAIL() << "the MPI compiler wrapper was not found when the tests were configured";
        GTEST_SKIP() << "this MPI is not installed";
    }
    auto program = child(mpi.rankProgram, {"two words"});
    // Open MPI refuses to run as root unless told twice.
    program->environment().setEnvironmentVariable("OMPI_ALLOW_RUN_AS_ROOT", "1");
    program->environment().setEnvironmentVariable("OMPI_ALLOW_RUN_AS_ROOT_CONFIRM", "1");

    auto launch = ProcessDefinitionMPIManager::instance().create(mpi.type, std::move(program), "", 2, "",
                                                                 ProcessDefinitionAdditionalMPIArguments());
    ASSERT_TRUE(launch);
    ASSERT_TRUE(*launch);
    EXPECT_EQ(Path::getLastToken(launch->getLibrary()), mpi.libraryName);
    const auto version = MPILocaterFunctions::libraryVersion(launch->getLibrary());
    ASSERT_TRUE(version);
    const auto definition = ProcessDefinitionMPIManager::instance().getMPIDefinition(mpi.type);
    EXPECT_GE(*version, definition->minimumVersion);
    EXPECT_TRUE(File::isExecutable(launch->getProgram())) << launch->getProgram();

    const TestSupport::RunResult result = runLaunch(*launch);
    EXPECT_TRUE(result.exitedWith(0)) << result.output;
    EXPECT_NE(result.output.find("rank 0 of 2: two words\n"), std::string::npos) << result.output;
    EXPECT_NE(result.output.find("rank 1 of 2: two words\n"), std::string::npos) << result.output;
}

} // namespace

TEST(MPILaunch, OpenMPIRunsForReal) {
    checkRealLaunch({T::OpenMPI, FS_TEST_MPI_RANK_OPENMPI, "libmpi.so.40"});
}

TEST(MPILaunch, MPICHRunsForReal) {
    // Debian's MPICH: the library "libmpich.so.12", the launcher in /usr/bin.
    checkRealLaunch({T::MPICH, FS_TEST_MPI_RANK_MPICH, "libmpich.so.12"});
    if (std::string(FS_TEST_MPI_RANK_MPICH).empty())
        return;
    // Through MPI_HOME the launcher is found in its bin folder.
    TemporaryEnvironmentVariable home("MPI_HOME", "/usr");
    auto launch = ProcessDefinitionMPIManager::instance().create(T::MPICH, child(FS_TEST_MPI_RANK_MPICH), "", 2, "");
    ASSERT_TRUE(launch && *launch);
    EXPECT_EQ(launch->getProgram(), "/usr/bin/mpiexec.hydra");
}
