#pragma once

#include <FileSystem/Export.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace Tools {

/// Called as a long operation goes on with the amount done and the total;
/// returning false stops the operation.
using ProgressFunction = std::function<bool(std::uint64_t done, std::uint64_t total)>;

namespace Progress {

/// A second, finer progress line beside the main one (for example the file
/// within a batch). Receivers that show no such line use AdditionalProgressNone.
class FILESYSTEM_EXPORT AdditionalProgressAbstract {
public:
    virtual ~AdditionalProgressAbstract() = default;

    /// Sets the largest value of the line (100 for percentages).
    virtual void setAdditionalRange(int maximum) = 0;
    /// Reports a value (0 to the range) with a text, which may be empty.
    virtual void setAdditionalProgress(int percentage, const std::string& text) = 0;
};

/// Accepts and drops everything.
class FILESYSTEM_EXPORT AdditionalProgressNone : public AdditionalProgressAbstract {
public:
    void setAdditionalRange(int) override {}
    void setAdditionalProgress(int, const std::string&) override {}
};

/// Keeps the last range, percentage and text, for receivers that show them
/// when they get to it.
class FILESYSTEM_EXPORT AdditionalProgressBase : public AdditionalProgressAbstract {
public:
    void setAdditionalRange(int maximum) override { m_range = maximum; }
    void setAdditionalProgress(int percentage, const std::string& text) override {
        m_percentage = percentage;
        m_text = text;
    }

    /// The last range (100 until one is set), value and text.
    ///@{
    int additionalRange() const { return m_range; }
    int additionalPercentage() const { return m_percentage; }
    const std::string& additionalText() const { return m_text; }
    ///@}

private:
    int m_range = 100;
    int m_percentage = 0;
    std::string m_text;
};

} // namespace Progress

/// A receiver of progress from long operations. The library only borrows it:
/// the caller owns it and keeps it alive for the call.
///
/// A range of 0 means that the amount of work is not known yet; a range of 100
/// means that percentages follow.
class FILESYSTEM_EXPORT ToolProgress {
public:
    virtual ~ToolProgress() = default;

    /// Sets the largest value of the progress: 0 while the amount of work is
    /// not known, 100 for percentages.
    virtual void setRange(int maximum) = 0;
    /// Reports a percentage (0 to the range) with a text, which may be empty.
    virtual void setProgress(int percentage, const std::string& text) = 0;
    /// True when the user asked the operation to stop.
    virtual bool isCancelled() const = 0;
    /// True when a fatal error happened elsewhere and the work should end.
    virtual bool hadFatalError() const = 0;
    /// Names the items that the operation is about to work on.
    virtual void announceWorkList(const std::vector<std::string>& items) = 0;

    /// The finer progress line; by default one that drops everything.
    virtual Progress::AdditionalProgressAbstract& additionalProgress() {
        static thread_local Progress::AdditionalProgressNone none;
        return none;
    }
};

} // namespace Tools
