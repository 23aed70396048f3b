#pragma once

// Whole percentages of a task for a progress receiver (internal).

#include <FileSystem/utilities/ToolProgress.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>

namespace FileSystem::detail {

/// Reports work done as whole percentages: each once, never going down. The
/// answer is false when the receiver was cancelled or had a fatal error;
/// without a receiver the work always goes on.
class Percentages {
public:
    explicit Percentages(Tools::ToolProgress* progress) : m_progress(progress) {}

    bool report(std::uint64_t done, std::uint64_t total) {
        if (m_progress == nullptr)
            return true;
        if (total > 0) {
            const double fraction = std::clamp(double(done) / double(total), 0.0, 1.0);
            const int percentage = std::clamp(static_cast<int>(std::floor(100.0 * fraction)), 0, 100);
            if (percentage > m_last) {
                m_last = percentage;
                m_progress->setProgress(percentage, std::string());
            }
        }
        return !m_progress->isCancelled() && !m_progress->hadFatalError();
    }

private:
    Tools::ToolProgress* m_progress;
    int m_last = -1;
};

} // namespace FileSystem::detail
