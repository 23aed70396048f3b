#pragma once

#include <FileSystem/Export.h>
#include <FileSystem/process/ParallelThread.h>

namespace FileSystem {

/// ParallelThread over the OpenMP runtime of the compiler, from the companion
/// library FileSystemOpenMP (CMake target FileSystem::FileSystemOpenMP, which
/// also gives its users the compiler's OpenMP flags, so that their parallel
/// regions run on the same runtime).
///
/// The maximum is OpenMP's number of threads of the next parallel region of
/// the calling thread (omp_set_num_threads, omp_get_max_threads); the thread
/// number and count are those of the calling thread's team.
class FILESYSTEM_EXPORT ParallelThreadOpenMP : public ParallelThread {
protected:
    /// The OpenMP operations (see the class description).
    ///@{
    ParallelThreadType do_getType() const override;
    bool do_isValid() const override;
    /// Refuses counts below 1.
    bool do_setMaxNumberOfThreads(int count) override;
    int do_getMaxNumberOfThreads() const override;
    int do_getThreadNumber() const override;
    int do_getNumberOfThreads() const override;
    bool do_inParallel() const override;
    /// "OpenMP 4.5 (201511)": the OpenMP version the compiler implements, and
    /// its date.
    std::string do_getVersionInfo() const override;
    ///@}
};

/// Registers ParallelThreadOpenMP with ParallelThreadManager:
///
///     FileSystem::ParallelThreadOpenMPInstaller::install();
class FILESYSTEM_EXPORT ParallelThreadOpenMPInstaller : public ParallelThreadManager {
public:
    ParallelThreadOpenMPInstaller() = delete;

    /// Makes an OpenMP implementation the manager's active one and returns
    /// it. Raises std::logic_error "Attempting to attach second comm" when an
    /// implementation is registered already.
    static ParallelThreadOpenMP* install();
    /// Gives the implementation that install() registered back to the
    /// trivial one; false when none is registered.
    static bool uninstall();
};

} // namespace FileSystem
