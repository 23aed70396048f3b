#pragma once

// A process-wide section profiler: code opens and closes named sections around
// its work, the sections form one tree, and the tree is written as an indented
// text table, as CSV or as a trace file for event viewers.

#include <FileSystem/Export.h>
#include <FileSystem/runtime/OpTimer.h>

#include <atomic>
#include <cstdint>
#include <iosfwd>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace Profiling {

/// The text that identifies this build of the library, as the CSV and trace
/// reports carry it: the project's name and version, the build type, the
/// compiler and the platform (for example "FileSystem 2025.0.1.144071
/// RelWithDebInfo GNU-12.2.0 Linux-x86_64"). The build supplies it; it holds no
/// date or time, so that a build from the same sources is the same.
FILESYSTEM_EXPORT std::string buildStamp();

/// One node of the profiler's tree: where a section was opened, how often it
/// ended and how long it took. The profiler owns the nodes of its tree; a
/// node owns its children.
class FILESYSTEM_EXPORT ProfileSection {
public:
    /// An empty section (no location, nothing measured) whose timer starts now.
    ProfileSection();
    /// A section of `name`, opened at `line` of `file` in `function`; only the
    /// last token of `file` is kept (a null `file` or `function` counts as
    /// empty). Its timer starts now.
    ProfileSection(const char* file, int line, const char* function, const std::string& name);
    ProfileSection(const ProfileSection&) = delete;
    ProfileSection& operator=(const ProfileSection&) = delete;
    /// Deletes the children with all their descendants.
    ~ProfileSection();

    /// The location text: file, ":", line, ":\"", name, "\"" (`solver:120:"assemble"`).
    std::string location() const;
    /// True when both locations are the same text (the function does not count).
    bool sameLocation(const ProfileSection& other) const;
    /// Adds `child` after the last child. A repeat is merged instead: when the
    /// last child has no children and the same location as `child`, `child` is
    /// deleted, the last child's timer restarts, and the last child is returned.
    /// Otherwise `child` gets this section as its parent and is returned.
    ProfileSection* addChild(std::unique_ptr<ProfileSection> child);

    std::string file;      ///< last token of the source file path given
    std::string function;  ///< function name given; kept, never printed
    std::string name;      ///< the section's label
    std::int32_t line = 0; ///< source line given
    OpTimer timer;         ///< the last run: start and end on the steady clock
    /// Resident memory in bytes when the section started; replaced by the growth
    /// when it ends (0 when there was none); 0 when memory is not measured.
    std::uint64_t memory = 0;
    std::uint32_t osThreadId = 0;  ///< the system's id of the thread that created the section
    std::uint64_t threadIndex = 0; ///< the profiler's number for that thread, from 1
    ProfileSection* parent = nullptr;                       ///< null for the root
    std::vector<std::unique_ptr<ProfileSection>> children;  ///< in order of arrival
    std::int32_t visits = 0;    ///< times ended, or raised by ProfileSectionProxy::incrementVisitCount
    double totalTime = 0;       ///< seconds, summed over every end
    double selfTime = 0;        ///< seconds not spent in children; filled in by a report
    double totalPercent = 0;    ///< totalTime against the report's subject; filled in by a report
    double selfPercent = 0;     ///< selfTime against the report's subject; filled in by a report
};

/// The process-wide profiler, made at the first call of instance().
///
/// Inactive, it measures nothing and startSection() costs one atomic read: no
/// lock, no allocation, so the calls can stay in production code. start()
/// makes it active and discards the earlier tree. While active, every section
/// costs a lock of one mutex and, unless it repeats the section just ended at
/// the same place, one node of the tree: it is meant for coarse sections, not
/// inner loops.
///
/// Each thread has its own current section; a thread's first section hangs
/// under the named parent when one is given and known, or else under the root.
/// A section repeated right after itself (a loop) is one node with many
/// visits. Sections must close in the reverse order of opening, on the thread
/// that opened them: any other close switches the profiler off for the whole
/// process, silently; the tree then shows what was right up to that point.
///
/// Reports read the tree without regard for sections still being opened: make
/// them when the other threads are done.
class FILESYSTEM_EXPORT Profiling {
public:
    /// The profiler; made at the first call, thread-safe; lives until the
    /// process ends.
    static Profiling* instance();

    Profiling(const Profiling&) = delete;
    Profiling& operator=(const Profiling&) = delete;
    /// Deletes the tree.
    ~Profiling();

    /// Opens the section `name` with memory measuring and records it as the
    /// started section of that name (for end() and the reports). When the
    /// profiler is inactive it first discards the tree and becomes active; when
    /// it is active already, the section nests in the running profile.
    void start(const char* file, int line, const char* function, const std::string& name);

    /// Ends the calling thread's open sections, innermost first, up to and
    /// including the started section `name` (all of them when no section was
    /// started under that name). When the thread then has no open section the
    /// profiler becomes inactive; other threads' sections stay as they are.
    void end(const std::string& name);

    /// Opens a section on the calling thread; null while the profiler is
    /// inactive. With `measureMemory` the section records how much the resident
    /// memory grew while it ran. `parentName` names a section (the last one
    /// opened with that name) to hang under when the thread has no open section.
    /// The result may be an existing node: the previous section of the same
    /// place when this repeats it.
    ProfileSection* startSection(const char* file, int line, const char* function, const std::string& name,
                                 bool measureMemory = false, const std::string& parentName = std::string()) {
        // Inline, so that an inactive profiler costs the caller one atomic read.
        if (!m_active.load(std::memory_order_relaxed))
            return nullptr;
        return startActiveSection(file, line, function, name, measureMemory, parentName);
    }

    /// Ends `section`, which must be the calling thread's innermost open
    /// section: its time and a visit are added, and its parent becomes the
    /// thread's open section. Any other pointer (null, another thread's, one
    /// that ended already) switches the profiler off. Nothing while inactive.
    void endSection(ProfileSection* section);

    /// True between start() and the end of profiling.
    bool isActive() const noexcept { return m_active.load(std::memory_order_acquire); }

    /// Writes the text report of the section started as `name` (the whole tree
    /// when `name` is unknown) to the file `fileName`; nothing when the file
    /// cannot be opened. See the other dumpToFile().
    void dumpToFile(const std::string& name, const std::string& fileName, bool lists, double minimumSeconds);

    /// Writes the text report: end(name) first, then the subject (the section
    /// started as `name`, or the root when `name` is unknown) with repeated
    /// siblings folded together, as a table with a column of locations (80
    /// wide, two more spaces of indent per level) and the columns "# visits",
    /// "Total time", "Self time" (seconds), "Total %", "Self %" (of the
    /// subject's total) and "Memory (MB)" (growth per visit), numbers with four
    /// significant digits. Sections below `minimumSeconds` of total time are
    /// left out with their descendants. With `lists`, two flat tables follow:
    /// every location once (summed), from the largest total time down, and,
    /// after an empty line, from the largest self time down.
    void dumpToFile(const std::string& name, std::ostream& stream, bool lists, double minimumSeconds);

    /// Writes the report as CSV: a line "Build: " and buildStamp(), a header
    /// line, then one line per section as in the text report (the location,
    /// indented and not quoted, then the numbers with six significant digits).
    void dumpToCSVFile(const std::string& name, std::ostream& stream, double minimumSeconds);

    /// Writes the subject's tree as it stands (nothing folded) in the
    /// trace-event format that event viewers load: one complete event ("ph":
    /// "X") per section, with the thread's index as "tid" and start and duration
    /// in microseconds (a section still open lasts until now); the name is the
    /// location without its double quotes. The build stamp goes to "otherData".
    void dumpToJSONFile(const std::string& name, std::ostream& stream, double minimumSeconds);

private:
    friend class ProfileSectionProxy;

    Profiling();

    /// startSection() once the profiler was seen active.
    ProfileSection* startActiveSection(const char* file, int line, const char* function, const std::string& name,
                                       bool measureMemory, const std::string& parentName);
    /// The subject of a report: the section started as `name`, else the root.
    ProfileSection* reportSubject(const std::string& name);
    /// Folds later siblings of the same location into the first, recursively.
    void mergeSiblings(ProfileSection& section, double minimumSeconds);
    /// Fills in self time and the percentages against `baseSeconds`, recursively.
    void computeShares(ProfileSection& section, double baseSeconds, double minimumSeconds);
    /// Points the profiler's maps at `survivor` where they held `folded`.
    void replaceInMaps(const ProfileSection* folded, ProfileSection* survivor);
    /// The calling thread's index; a new thread gets the next one. Under the mutex.
    std::uint64_t threadIndexLocked(std::uint32_t osThreadId);

    void dumpSectionTree(std::ostream& stream, const ProfileSection& section, int level, double minimumSeconds);
    void dumpSectionLists(std::ostream& stream, const ProfileSection& subject, double minimumSeconds);
    void dumpSectionLine(std::ostream& stream, const ProfileSection& section, int level);
    void dumpSectionTreeCSV(std::ostream& stream, const ProfileSection& section, int level, double minimumSeconds);
    void dumpSectionLineCSV(std::ostream& stream, const ProfileSection& section, int level);
    void dumpSectionTreeJSON(std::ostream& stream, const ProfileSection& section, double minimumSeconds);
    void dumpSectionLineJSON(std::ostream& stream, const ProfileSection& section);

    std::atomic<bool> m_active{false};
    std::map<std::uint64_t, ProfileSection*> m_currentSections; ///< thread index to its innermost open section
    std::map<std::string, ProfileSection*> m_sectionsByName;    ///< section name to the last section of that name
    std::map<std::uint32_t, std::uint64_t> m_threadIndices;     ///< system thread id to thread index
    std::unique_ptr<ProfileSection> m_root;
    std::map<std::string, ProfileSection*> m_startedSections; ///< name to the section opened by start()
    std::mutex m_mutex;
};

/// A section for the length of a scope: the constructor opens it (nothing when
/// the profiler is inactive), endSection() or the destructor closes it, once.
class FILESYSTEM_EXPORT ProfileSectionProxy {
public:
    /// Opens a section with Profiling::startSection() and these arguments.
    /// Inline, like the check of startSection(), so that an inactive profiler
    /// costs a scope next to nothing.
    ProfileSectionProxy(const char* file, int line, const char* function, const std::string& name,
                        bool measureMemory = false, const std::string& parentName = std::string())
        : m_section(Profiling::instance()->startSection(file, line, function, name, measureMemory, parentName)) {
        m_running = m_section != nullptr;
    }
    ProfileSectionProxy(const ProfileSectionProxy&) = delete;
    ProfileSectionProxy& operator=(const ProfileSectionProxy&) = delete;
    /// Closes the section unless endSection() did.
    ~ProfileSectionProxy() {
        if (m_running)
            endSection();
    }

    /// Closes the section now; later calls do nothing.
    void endSection();
    /// Counts one more visit of the section (for work done in a loop inside one
    /// section); nothing when no section was opened.
    void incrementVisitCount();
    /// The section, null when the profiler was inactive at the opening.
    ProfileSection* section() const noexcept { return m_section; }

private:
    bool m_running = false;
    ProfileSection* m_section = nullptr;
};

} // namespace Profiling
