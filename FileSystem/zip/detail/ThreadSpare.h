#pragma once

// One spare object per thread (internal): large buffers that one entry's coder
// leaves for the next, so that an archive of many entries does not allocate,
// clear and return them for each.

#include <memory>

namespace FileSystem::detail {

/// Keeps at most one `T` per thread. What is kept goes when the thread ends;
/// an object given back after that (by an archive that a static destroys at
/// exit) is simply deleted.
template <typename T>
class ThreadSpare {
public:
    /// The thread's spare, or null.
    static std::unique_ptr<T> take() noexcept {
        std::unique_ptr<T> object(t_spare);
        t_spare = nullptr;
        return object;
    }

    /// Keeps `object` as the thread's spare when it has none.
    static void give(std::unique_ptr<T> object) noexcept {
        if (t_spare != nullptr || t_ended)
            return;
        static thread_local Release release; // first use registers the release at thread end
        (void)release;
        t_spare = object.release();
    }

private:
    struct Release {
        ~Release() {
            delete t_spare;
            t_spare = nullptr;
            t_ended = true;
        }
    };

    // Plain pointers and flags: they stay usable after the thread's objects
    // with destructors are gone.
    static inline thread_local T* t_spare = nullptr;
    static inline thread_local bool t_ended = false;
};

} // namespace FileSystem::detail
