#include <FileSystem/openmp/ParallelThreadOpenMP.h>

#include <omp.h>

namespace FileSystem {

ParallelThreadType ParallelThreadOpenMP::do_getType() const { return ParallelThreadType::OpenMP; }
bool ParallelThreadOpenMP::do_isValid() const { return true; }

bool ParallelThreadOpenMP::do_setMaxNumberOfThreads(int count) {
    if (count < 1)
        return false; // OpenMP leaves such a value undefined
    omp_set_num_threads(count);
    return true;
}

int ParallelThreadOpenMP::do_getMaxNumberOfThreads() const { return omp_get_max_threads(); }
int ParallelThreadOpenMP::do_getThreadNumber() const { return omp_get_thread_num(); }
int ParallelThreadOpenMP::do_getNumberOfThreads() const { return omp_get_num_threads(); }
bool ParallelThreadOpenMP::do_inParallel() const { return omp_in_parallel() != 0; }

std::string ParallelThreadOpenMP::do_getVersionInfo() const {
    // _OPENMP is the release date of the OpenMP version the compiler implements.
    constexpr long date = _OPENMP;
    const char* version = date >= 202111 ? "5.2"
                          : date >= 202011 ? "5.1"
                          : date >= 201811 ? "5.0"
                          : date >= 201511 ? "4.5"
                          : date >= 201307 ? "4.0"
                          : date >= 201107 ? "3.1"
                          : date >= 200805 ? "3.0"
                                           : "";
    return std::string("OpenMP ") + (*version ? std::string(version) + " (" : "(") + std::to_string(date) + ")";
}

namespace {
ParallelThreadOpenMP* s_installed = nullptr;
}

ParallelThreadOpenMP* ParallelThreadOpenMPInstaller::install() {
    auto thread = std::make_unique<ParallelThreadOpenMP>();
    ParallelThreadOpenMP* raw = thread.get();
    registerThread(std::move(thread));
    s_installed = raw;
    return raw;
}

bool ParallelThreadOpenMPInstaller::uninstall() {
    if (s_installed == nullptr || !unregisterThread(s_installed))
        return false;
    s_installed = nullptr;
    return true;
}

} // namespace FileSystem
