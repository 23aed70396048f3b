// What the library knows about this host and this application.

#include <FileSystem/FileSystem.h>

#include <iostream>

namespace {

std::string megabytes(std::uint64_t bytes) { return std::to_string(bytes >> 20) + " MiB"; }

} // namespace

int main(int argc, char** argv) {
    using namespace FileSystem;
    initApplicationArguments(argc, argv);

    std::cout << "Application\n"
              << "  name " << getApplicationName() << ", in " << getApplicationDirectory() << "\n"
              << "  process " << getApplicationPid() << ", parent " << getParentApplicationPid() << ", session "
              << getSessionId().value_or(-1) << ", service " << std::boolalpha << isRunningAsService() << "\n"
              << "  arguments";
    for (const std::string& argument : getApplicationArguments())
        std::cout << " [" << argument << "]";
    std::cout << "\n  install path " << RuntimeEnvironment::installPath() << "\n\n";

    std::cout << "Host\n"
              << "  " << MachineInfo::computername() << " (" << MachineInfo::fqdn() << "), domain '"
              << MachineInfo::userdomain() << "'\n"
              << "  user " << MachineInfo::domainUserName() << (MachineInfo::userHasElevatedPermissions() ? ", elevated" : "")
              << "\n"
              << "  processors " << MachineInfo::numberOfProcessors() << " logical, "
              << MachineInfo::numberOfPhysicalProcessors() << " cores, " << MachineInfo::numberOfSockets()
              << " sockets\n"
              << "  memory " << megabytes(MachineInfo::getAvailablePhysicalMemory()) << " of "
              << megabytes(MachineInfo::getTotalPhysicalMemory()) << " available; this process "
              << megabytes(MachineInfo::getCurrentMemoryUsage()) << " (peak "
              << megabytes(MachineInfo::getPeakMemoryUsage()) << ")\n"
              << "  dark mode " << RuntimeEnvironment::isOSDarkMode() << "\n\n";

    std::cout << "Disks\n";
    for (const std::string& root : OSPaths::getRootPaths()) {
        const auto space = MachineInfo::getDiskSpaceInfo(root);
        if (space && space->total > 0)
            std::cout << "  " << root << ": " << megabytes(space->available) << " free of "
                      << megabytes(space->total) << "\n";
    }

    const auto& environment = SystemEnvironmentVariables::instance();
    std::cout << "\nNames tried, in order, for the variable KV_TESSEL_MPI_ARGS on this platform ("
              << Utilities::buildPlatform().toString() << ", release "
              << Utilities::libraryVersion().toString() << "):\n";
    for (const std::string& name : environment.getPossibleVersionedPlatformEnvironmentVariables("KV_TESSEL_MPI_ARGS"))
        std::cout << "  " << name << (environment.hasEnvironmentVariable(name) ? "  (set)" : "") << "\n";
    return 0;
}
