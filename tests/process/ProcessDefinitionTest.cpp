#include <FileSystem/environment/EnvironmentVariableModel.h>
#include <FileSystem/process/ProcessDefinition.h>
#include <FileSystem/process/ProcessDefinitionMPIManager.h>

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

using namespace FileSystem;
using Utilities::OperatingSystem;

namespace {

std::string executable(const TestSupport::TempDir& dir, const std::string& name) {
    const std::string path = dir.write(name, "#!/bin/sh\n");
    ::chmod(path.c_str(), 0755);
    return path;
}

} // namespace

TEST(ProcessDefinition, PartsCopiesAndCommandLines) {
    ProcessDefinition empty;
    EXPECT_FALSE(empty);
    EXPECT_TRUE(empty.getArguments().empty());

    ProcessDefinition definition("/bin/tool", {"a b", "it's"}, "/work", EnvironmentVariableModel{{"X", "1"}});
    EXPECT_TRUE(definition);
    const ProcessDefinitionAbstract& abstract = definition;
    const ProcessDefinition copy(abstract);
    EXPECT_EQ(copy.getProgram(), "/bin/tool");
    EXPECT_EQ(copy.getArguments(), (std::vector<std::string>{"a b", "it's"}));
    EXPECT_EQ(copy.getWorkingDirectory(), "/work");
    EXPECT_EQ(copy.environment().getEnvironmentVariable("X", ""), "1");

    const ShellHelpers::CommandInfo info = definition.toCommandInfo();
    EXPECT_EQ(info.program, "/bin/tool");
    EXPECT_EQ(info.arguments.size(), 2u);
    EXPECT_EQ(definition.commandLine(ShellHelpers::EnvVarOption::None, OperatingSystem::Linux),
              R"('/bin/tool' 'a b' 'it'\''s')");
    EXPECT_THROW((void)definition.commandLine(ShellHelpers::EnvVarOption::None, OperatingSystem::Unknown),
                 std::logic_error);
}

TEST(ProcessDefinition, LocateProgramSearchOrder) {
    TestSupport::TempDir dir;
    const std::string work = dir.mkdir("work");
    const std::string first = dir.mkdir("first");
    const std::string second = dir.mkdir("second");
    executable(dir, "work/tool");
    executable(dir, "second/tool");
    executable(dir, "second/other");
    dir.write("first/other", "not executable");

    // "./tool" is looked for in the working directory.
    EXPECT_EQ(ProcessHelperFunctions::locateProgram("./tool", work, {}), work + "/tool");
    // The working directory comes before the search paths; empty and missing
    // search paths are skipped; a file without execute rights is no hit.
    EXPECT_EQ(ProcessHelperFunctions::locateProgram("tool", work, {first, second}), work + "/tool");
    EXPECT_EQ(ProcessHelperFunctions::locateProgram("other", work, {"", dir / "missing", first, second}),
              second + "/other");
    EXPECT_FALSE(ProcessHelperFunctions::locateProgram("absent", work, {first, second}));
    EXPECT_FALSE(ProcessHelperFunctions::locateProgram("", work, {second}));
    EXPECT_FALSE(ProcessHelperFunctions::locateProgram("./", work, {second}));

    // An absolute name answers for itself only.
    EXPECT_EQ(ProcessHelperFunctions::locateProgram(second + "/tool", "", {}), second + "/tool");
    EXPECT_FALSE(ProcessHelperFunctions::locateProgram(first + "/other", "", {second}));

    const ProcessDefinition definition("./tool", {}, work, EnvironmentVariableModel());
    EXPECT_EQ(ProcessHelperFunctions::locateProgram(definition, {}), work + "/tool");
}

TEST(ProcessDefinition, AdditionalMPIArguments) {
    const auto parsed = ProcessDefinitionAdditionalMPIArguments::fromCommandLine(R"(-genv "A B" 1 -x ^"q)");
    EXPECT_EQ(parsed.arguments(), (std::vector<std::string>{"-genv", "A B", "1", "-x", "\"q"}));
    EXPECT_TRUE(parsed.contains("-genv"));
    EXPECT_FALSE(parsed.contains("-gen"));
    EXPECT_TRUE(parsed.containsAll({"-genv", "-x"}));
    EXPECT_FALSE(parsed.containsAll({"-genv", "-y"}));
    EXPECT_TRUE(parsed.containsAll({}));
    EXPECT_TRUE(parsed.containsAny({"-y", "-x"}));
    EXPECT_FALSE(parsed.containsAny({}));
    EXPECT_TRUE(parsed.containsNone({"-y", "-z"}));
    EXPECT_FALSE(parsed.containsNone({"1"}));

    // The versioned name of the library's release comes before the plain one.
    const std::string versioned = EnvironmentVariableModelROAbstract::createVersionedEnvironmentVariable(
        "KV_TESSEL_MPI_ARGS", EnvironmentVariableModelROAbstract::defaultEnvironmentVariableVersion());
    {
        TemporaryEnvironmentVariable plain("KV_TESSEL_MPI_ARGS", "-plain");
        EXPECT_EQ(ProcessDefinitionAdditionalMPIArguments::fromEnvironment().arguments(),
                  std::vector<std::string>{"-plain"});
        TemporaryEnvironmentVariable specific(versioned, "-v \"a b\"");
        EXPECT_EQ(ProcessDefinitionAdditionalMPIArguments::fromEnvironment().arguments(),
                  (std::vector<std::string>{"-v", "a b"}));
    }
    TemporaryEnvironmentVariable none("KV_TESSEL_MPI_ARGS", "");
    EXPECT_TRUE(ProcessDefinitionAdditionalMPIArguments::fromEnvironment().empty());
}

TEST(ProcessDefinitionMPIManager, TypeTextsAndApplicationNames) {
    using T = ProcessDefinitionMPIType;
    EXPECT_EQ(processDefinitionMPITypeToString(T::IntelMPI, false), "IntelMPI");
    EXPECT_EQ(processDefinitionMPITypeToString(T::IntelMPI, true), "IMPI");
    EXPECT_EQ(processDefinitionMPITypeToString(T::OpenMPI, true), "OMPI");
    EXPECT_EQ(processDefinitionMPITypeToString(T::None, false), "");
    EXPECT_EQ(processDefinitionMPITypeToString(static_cast<T>(42), false), "");
    EXPECT_EQ(processDefinitionMPITypeFromString("MSMPI", T::None), T::MicrosoftMPI);
    EXPECT_EQ(processDefinitionMPITypeFromString("MicrosoftMPI", T::None), T::MicrosoftMPI);
    EXPECT_EQ(processDefinitionMPITypeFromString("ompi", T::IntelMPI), T::IntelMPI);
    EXPECT_EQ(processDefinitionMPITypeFromString("", T::MPICH), T::MPICH);

    auto& manager = ProcessDefinitionMPIManager::instance();
    using Result = std::pair<std::string, T>;
    EXPECT_EQ(manager.determineMPITypeFromApplicationName("C:/apps/solver_IMPI.exe"), Result("solver", T::IntelMPI));
    EXPECT_EQ(manager.determineMPITypeFromApplicationName("/opt/solver"),
              Result("solver", ProcessDefinitionMPIManager::defaultType));
    EXPECT_EQ(manager.determineMPITypeFromApplicationName("my_solver"), Result("my", T::None));
    EXPECT_EQ(manager.determineMPITypeFromApplicationName("/a/b_MPICHCommonABI"), Result("b", T::MPICHCommonABI));

    EXPECT_EQ(manager.generateApplicationName(T::OpenMPI, "a.exe", "exe"), "a_OMPI.exe");
    EXPECT_EQ(manager.generateApplicationName(T::MPICH, "a", ""), "a_MPICH");
    EXPECT_EQ(manager.generateApplicationName(T::MicrosoftMPI, "a.exe", "exe"), "a.exe");
    EXPECT_EQ(manager.generateApplicationName(T::None, "a.exe", ""), "a");
}

namespace {

// A constructor of a made-up type, whose preferred type the test chooses.
class TestConstructor final : public ProcessDefinitionMPIConstructorAbstract {
public:
    TestConstructor(ProcessDefinitionMPIType type, ProcessDefinitionMPIType prefered)
        : m_type(type), m_prefered(prefered) {}
    ProcessDefinitionMPIType preferedType() const override { return m_prefered; }
    ProcessDefinitionMPIType namingType() const override { return m_type; }
    ProcessDefinitionMPIType type() const override { return m_type; }
    MPIDefinition definition() const override {
        MPIDefinition definition;
        definition.name = "test " + std::to_string(static_cast<int>(m_type));
        return definition;
    }
    std::unique_ptr<ProcessDefinitionMPIAbstract> create(std::unique_ptr<ProcessDefinitionAbstract>,
                                                         const std::string&, std::uint64_t, const std::string&,
                                                         const ProcessDefinitionAdditionalMPIArguments&,
                                                         bool) const override {
        return nullptr;
    }
    std::string generateMachineFileContent(const std::map<std::string, std::uint64_t>&) const override {
        return "test";
    }

private:
    ProcessDefinitionMPIType m_type;
    ProcessDefinitionMPIType m_prefered;
};

ProcessDefinitionMPIType type(int value) { return static_cast<ProcessDefinitionMPIType>(value); }

} // namespace

TEST(ProcessDefinitionMPIManager, RegistryAndPreferredChains) {
    using T = ProcessDefinitionMPIType;
    auto& manager = ProcessDefinitionMPIManager::instance();

    // This build's registrations, in type order.
    std::vector<std::string> names;
    for (const MPIDefinition& definition : manager.getAllMPIDefinitions())
        names.push_back(definition.name);
    EXPECT_EQ(names, (std::vector<std::string>{"Intel MPI", "MPICH MPI", "MVAPICH2 MPI", "MPICH Generic MPI",
                                               "OpenMPI MPI"}));
    EXPECT_FALSE(manager.mpiAvailable(T::MicrosoftMPI));
    EXPECT_TRUE(manager.mpiAvailable(T::OpenMPI));
    EXPECT_EQ(manager.getMPIDefinition(T::OpenMPI)->program, "mpirun");
    EXPECT_FALSE(manager.getMPIDefinition(T::MicrosoftMPI));
    EXPECT_EQ(manager.generateMachineFileContent(T::MicrosoftMPI, 4), "");
    EXPECT_EQ(manager.generateMachineFileContent(T::OpenMPI, 4), "localhost slots=4\n");
    EXPECT_EQ(manager.generateMachineFileContent(T::MPICH, {{"b", 2}, {"a", 1}}), "a:1\nb:2\n");

    // A type that is taken stays with its first constructor.
    EXPECT_EQ(manager.registerConstructor(std::make_unique<TestConstructor>(T::MPICH, T::None)), nullptr);
    EXPECT_EQ(manager.getMPIDefinition(T::MPICH)->name, "MPICH MPI");
    EXPECT_EQ(manager.registerConstructor(nullptr), nullptr);

    // Chains of preferred types: 20 -> 21 -> itself; 22 -> 23 (missing); 24 <-> 25.
    std::vector<ProcessDefinitionMPIConstructorAbstract*> added;
    added.push_back(manager.registerConstructor(std::make_unique<TestConstructor>(type(21), type(21))));
    added.push_back(manager.registerConstructor(std::make_unique<TestConstructor>(type(20), type(21))));
    added.push_back(manager.registerConstructor(std::make_unique<TestConstructor>(type(22), type(23))));
    added.push_back(manager.registerConstructor(std::make_unique<TestConstructor>(type(24), type(25))));
    added.push_back(manager.registerConstructor(std::make_unique<TestConstructor>(type(25), type(24))));
    for (auto* constructor : added)
        ASSERT_NE(constructor, nullptr);
    EXPECT_EQ(manager.getPreferedMPIType(type(20)), type(21));
    EXPECT_EQ(manager.getPreferedMPIType(type(22)), T::None);
    EXPECT_EQ(manager.getPreferedMPIType(type(24)), T::None); // a circle ends, with nothing
    EXPECT_TRUE(manager.mpiAvailable(type(22)));
    EXPECT_FALSE(manager.mpiAvailable(type(22), true));
    EXPECT_EQ(manager.findConstructor(type(20)), added[1]);

    for (auto* constructor : added) {
        auto owned = manager.unregisterConstructor(constructor);
        EXPECT_EQ(owned.get(), constructor);
    }
    EXPECT_EQ(manager.unregisterConstructor(added[0]), nullptr);
    EXPECT_FALSE(manager.mpiAvailable(type(20)));

    // Without Open MPI registered its variant has no suffix and no launch.
    auto* openMPI = const_cast<ProcessDefinitionMPIConstructorAbstract*>(manager.findConstructor(T::OpenMPI));
    auto owned = manager.unregisterConstructor(openMPI);
    ASSERT_TRUE(owned);
    EXPECT_EQ(manager.generateApplicationName(T::OpenMPI, "a.exe", "exe"), "a.exe");
    EXPECT_EQ(manager.createDefault(std::make_unique<ProcessDefinition>("x", std::vector<std::string>{}, "",
                                                                        EnvironmentVariableModel()),
                                    "", 2, ""),
              nullptr);
    EXPECT_EQ(manager.registerConstructor(std::move(owned)), openMPI);

    EXPECT_EQ(manager.createBasedOnApplicatioName(nullptr, "", 2, ""), nullptr);
    EXPECT_EQ(manager.create(T::OpenMPI, nullptr, "", 2, ""), nullptr);
}
