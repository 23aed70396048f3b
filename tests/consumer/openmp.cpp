// The OpenMP companion gives its users the compiler's OpenMP flags: without
// them the region below would not run in parallel.
#include <FileSystem/openmp/ParallelThreadOpenMP.h>

#include <iostream>

int main() {
    using namespace FileSystem;
    ParallelThreadOpenMPInstaller::install();
    ParallelThreadManager& threads = ParallelThreadManager::instance();
    threads.setMaxNumberOfThreads(2);
    int inParallel = 0;
#pragma omp parallel num_threads(2)
    {
#pragma omp atomic
        inParallel += threads.inParallel() ? 1 : 0;
    }
    std::cout << threads.getVersionInfo() << ": " << inParallel << " threads\n";
    return threads.getType() == ParallelThreadType::OpenMP && inParallel == 2 ? 0 : 1;
}
