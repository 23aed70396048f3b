// The MPI companion links and loads from the installed tree; MPI answers its
// version before it is initialised, so no launcher is needed.
#include <FileSystem/mpi/ParallelProcessMPI.h>

#include <iostream>

int main() {
    using namespace FileSystem;
    const ParallelProcessMPI* mpi = ParallelProcessMPIInstaller::install();
    ParallelProcessManager& manager = ParallelProcessManager::instance();
    const std::string version = manager.getVersionInfo();
    std::cout << version << '\n';
    return mpi && manager.getType() == ParallelProcessType::MPI && !version.empty() &&
                   mpi->communicator(ParallelProcessLevel::World) == MPI_COMM_NULL
               ? 0
               : 1;
}
