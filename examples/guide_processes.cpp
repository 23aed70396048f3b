// Processes: command lines quoted for each shell, programs located, and MPI
// launches composed for the MPI installed here.
#include <FileSystem/FileSystem.h>

#include <filesystem>
#include <iostream>
#include <stdexcept>

using namespace FileSystem;
using Utilities::OperatingSystem;

int main() {
    int failures = 0;
    const auto expect = [&failures](bool ok, const std::string& what) {
        std::cout << (ok ? "  ok: " : "  FAILED: ") << what << "\n";
        failures += !ok;
    };

    // A command line for bash: every argument comes back as it was, whatever it holds.
    const std::vector<std::string> arguments{"input file.dat", "it's", "$HOME", "a\nb"};
    const std::string bashLine = ShellHelpers::generateCommandLine("solver", arguments,
                                                                   ShellHelpers::EnvVarOption::None,
                                                                   OperatingSystem::Linux);
    std::cout << "  bash: " << bashLine << "\n";
    const ShellHelpers::CommandInfo back =
        ShellHelpers::convertCommandLineToCommandInfo(bashLine, OperatingSystem::Linux);
    expect(back.program == "solver" && back.arguments == arguments, "the bash line splits back into the arguments");

    // The same command for cmd.exe on a Windows machine, and a variable left live for bash.
    std::cout << "  cmd.exe: "
              << ShellHelpers::generateCommandLine("solver", {"50%", "a|b"}, ShellHelpers::EnvVarOption::None,
                                                   OperatingSystem::Windows)
              << "\n";
    expect(ShellHelpers::toQuotedEscapedArgument("$HOME/runs", ShellHelpers::EnvVarOption::AtStart,
                                                 OperatingSystem::Linux) == "\"$HOME/runs\"",
           "a reference at the start stays live");

    // A process definition describes what to start; the caller starts it.
    const std::vector<std::string> searchPath = {"/usr/local/bin", "/usr/bin", "/bin"};
    const auto shell = ProcessHelperFunctions::locateProgram("sh", "", searchPath);
    expect(shell.has_value(), "sh found in the search path");
    const ProcessDefinition definition(shell.value_or("sh"), {"-c", "echo ready"}, "",
                                       EnvironmentVariableModel::fromSystem());
    std::cout << "  definition: " << definition.commandLine(ShellHelpers::EnvVarOption::None, OperatingSystem::Linux)
              << "\n";

    // MPI: the registry knows the distributions of this build and the names of solver variants.
    auto& mpi = ProcessDefinitionMPIManager::instance();
    expect(mpi.generateApplicationName(ProcessDefinitionMPIType::OpenMPI, "solver.exe", "exe") == "solver_OMPI.exe",
           "the Open MPI variant of a solver");
    expect(mpi.determineMPITypeFromApplicationName("/opt/solver_IMPI").second == ProcessDefinitionMPIType::IntelMPI,
           "the MPI of a variant from its name");
    std::cout << "  machine file: " << mpi.generateMachineFileContent(ProcessDefinitionMPIType::OpenMPI, 4);

    // A launch of two processes of the solver under this build's default MPI
    // (Open MPI). Without reporting, a missing installation leaves the launch
    // invalid instead of raising std::runtime_error with the reason.
    auto launch = mpi.createDefault(std::make_unique<ProcessDefinition>(definition), "", 2, "",
                                    /*reportErrors=*/false);
    expect(launch != nullptr, "a launch for the default MPI");
    if (launch && *launch) {
        std::cout << "  launch: " << launch->commandLine(ShellHelpers::EnvVarOption::None, OperatingSystem::Linux)
                  << "\n  library: " << launch->getLibrary() << "\n";
        expect(launch->getArguments().front() == "-np", "the launcher's arguments start with the count");
    } else {
        std::cout << "  no Open MPI installed here\n";
    }
    return failures == 0 ? 0 : 1;
}
