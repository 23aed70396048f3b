#include <FileSystem/runtime/Profiling.h>

#include <FileSystem/files/StreamUtilities.h>
#include <FileSystem/paths/Path.h>
#include <FileSystem/platform/ProcessMemory.h>
#include <FileSystem/platform/Threads.h>

#include <algorithm>
#include <charconv>
#include <ostream>
#include <string_view>
#include <utility>

#ifndef FILESYSTEM_BUILD_STAMP
#error "The build defines FILESYSTEM_BUILD_STAMP, the text that identifies the build"
#endif

namespace Profiling {

namespace {

constexpr std::size_t kLocationWidth = 80;
constexpr double kMegabyte = 1048576.0;

/// A number as the default floating format of a stream writes it with this
/// precision ("%g"), independent of the locale.
std::string formatNumber(double value, int precision) {
    char text[64];
    const auto result = std::to_chars(text, text + sizeof text, value, std::chars_format::general, precision);
    return std::string(text, result.ptr);
}

/// Spaces up to `column`; a line that is longer already stays as it is.
void padTo(std::string& line, std::size_t column) {
    if (line.size() < column)
        line.append(column - line.size(), ' ');
}

/// The memory column: the growth per visit in whole megabytes; empty without visits.
std::string memoryPerVisit(const ProfileSection& section) {
    if (section.visits <= 0)
        return {};
    return std::to_string(static_cast<std::uint64_t>(static_cast<double>(section.memory) /
                                                     (static_cast<double>(section.visits) * kMegabyte)));
}

/// The location as a JSON string body: double quotes are taken out; a
/// backslash or a control character is escaped so that the file stays JSON.
std::string jsonName(const std::string& location) {
    std::string out;
    out.reserve(location.size());
    for (const char c : location) {
        if (c == '"')
            continue;
        if (c == '\\') {
            out += "\\\\";
        } else if (static_cast<unsigned char>(c) < 0x20) {
            static const char hex[] = "0123456789abcdef";
            out += "\\u00";
            out += hex[(c >> 4) & 0xF];
            out += hex[c & 0xF];
        } else {
            out += c;
        }
    }
    return out;
}

} // namespace

std::string buildStamp() { return FILESYSTEM_BUILD_STAMP; }

// ---- ProfileSection -----------------------------------------------------------

ProfileSection::ProfileSection() = default;

ProfileSection::ProfileSection(const char* file, int line, const char* function, const std::string& name)
    : file(FileSystem::Path::getLastToken(file ? file : "")), function(function ? function : ""), name(name),
      line(line) {}

ProfileSection::~ProfileSection() = default;

std::string ProfileSection::location() const {
    std::string text = file;
    text += ':';
    text += std::to_string(line);
    text += ":\"";
    text += name;
    text += '"';
    return text;
}

bool ProfileSection::sameLocation(const ProfileSection& other) const {
    if (line == other.line && file == other.file && name == other.name)
        return true;
    // Different parts can still spell the same text (a ':' in a file name), so
    // the texts are compared, piece by piece, without building them.
    char lineText[2][16];
    const auto lineEnd0 = std::to_chars(lineText[0], lineText[0] + 16, line).ptr;
    const auto lineEnd1 = std::to_chars(lineText[1], lineText[1] + 16, other.line).ptr;
    const std::string_view a[] = {file, ":", {lineText[0], lineEnd0}, ":\"", name, "\""};
    const std::string_view b[] = {other.file, ":", {lineText[1], lineEnd1}, ":\"", other.name, "\""};
    std::size_t sizeA = 0, sizeB = 0;
    for (int i = 0; i < 6; ++i) {
        sizeA += a[i].size();
        sizeB += b[i].size();
    }
    if (sizeA != sizeB)
        return false;
    std::size_t pieceA = 0, pieceB = 0, atA = 0, atB = 0;
    for (std::size_t n = 0; n < sizeA; ++n) {
        while (atA == a[pieceA].size()) {
            ++pieceA;
            atA = 0;
        }
        while (atB == b[pieceB].size()) {
            ++pieceB;
            atB = 0;
        }
        if (a[pieceA][atA++] != b[pieceB][atB++])
            return false;
    }
    return true;
}

ProfileSection* ProfileSection::addChild(std::unique_ptr<ProfileSection> child) {
    if (!children.empty()) {
        ProfileSection& last = *children.back();
        if (last.children.empty() && last.sameLocation(*child)) {
            last.timer.restart();
            return &last;
        }
    }
    child->parent = this;
    children.push_back(std::move(child));
    return children.back().get();
}

// ---- Profiling: sections ------------------------------------------------------

Profiling::Profiling() = default;

Profiling::~Profiling() { m_active.store(false); }

Profiling* Profiling::instance() {
    static Profiling profiling;
    return &profiling;
}

std::uint64_t Profiling::threadIndexLocked(std::uint32_t osThreadId) {
    return m_threadIndices.try_emplace(osThreadId, m_threadIndices.size() + 1).first->second;
}

void Profiling::start(const char* file, int line, const char* function, const std::string& name) {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (!m_active.load(std::memory_order_relaxed)) {
            // A new profile. The name map goes too: its pointers lead into the
            // discarded tree.
            m_root.reset();
            m_currentSections.clear();
            m_startedSections.clear();
            m_sectionsByName.clear();
            m_active.store(true, std::memory_order_release);
        }
    }
    ProfileSection* section = startSection(file, line, function, name, true, std::string());
    if (section != nullptr) {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_startedSections[name] = section;
    }
}

ProfileSection* Profiling::startActiveSection(const char* file, int line, const char* function,
                                              const std::string& name, bool measureMemory,
                                              const std::string& parentName) {
    // The node is made before the lock, so that threads wait for each other only
    // while the tree changes; its timer starts after the memory reading.
    const std::uint64_t baseline = measureMemory ? FileSystem::sys::residentSetSize() : 0;
    auto section = std::make_unique<ProfileSection>(file, line, function, name);
    section->memory = baseline;
    section->osThreadId = FileSystem::sys::osThreadId();

    std::lock_guard<std::mutex> lock(m_mutex);
    if (!m_active.load(std::memory_order_relaxed))
        return nullptr;
    const std::uint64_t index = threadIndexLocked(section->osThreadId);
    section->threadIndex = index;

    ProfileSection* namedParent = nullptr;
    if (!parentName.empty()) {
        const auto found = m_sectionsByName.find(parentName);
        if (found != m_sectionsByName.end())
            namedParent = found->second;
    }

    ProfileSection* result = nullptr;
    const auto current = m_currentSections.find(index);
    if (current != m_currentSections.end())
        result = current->second->addChild(std::move(section));
    else if (namedParent != nullptr)
        result = namedParent->addChild(std::move(section));
    else if (m_root)
        result = m_root->addChild(std::move(section));
    else {
        m_root = std::move(section);
        result = m_root.get();
    }

    m_currentSections[index] = result;
    m_sectionsByName[result->name] = result;
    return result;
}

void Profiling::endSection(ProfileSection* section) {
    if (!m_active.load(std::memory_order_relaxed))
        return;
    const std::uint32_t osThreadId = FileSystem::sys::osThreadId();

    std::lock_guard<std::mutex> lock(m_mutex);
    const auto thread = m_threadIndices.find(osThreadId);
    const auto current =
        thread == m_threadIndices.end() ? m_currentSections.end() : m_currentSections.find(thread->second);
    // Only the pointer is compared: a stale one may point at freed memory.
    if (section == nullptr || current == m_currentSections.end() || current->second != section) {
        m_active.store(false, std::memory_order_release);
        return;
    }

    section->timer.stop();
    section->totalTime += static_cast<double>(section->timer.endTime() - section->timer.startTime()) / 1e9;
    ++section->visits;
    if (section->memory != 0) {
        const std::uint64_t now = FileSystem::sys::residentSetSize();
        section->memory = now > section->memory ? now - section->memory : 0;
    }

    if (section->parent != nullptr)
        current->second = section->parent;
    else
        m_currentSections.erase(current);
}

void Profiling::end(const std::string& name) {
    const std::uint32_t osThreadId = FileSystem::sys::osThreadId();
    ProfileSection* started = nullptr;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        const auto found = m_startedSections.find(name);
        if (found != m_startedSections.end())
            started = found->second;
    }
    for (;;) {
        ProfileSection* current = nullptr;
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            if (!m_active.load(std::memory_order_relaxed))
                return; // nothing more ends while inactive
            const auto thread = m_threadIndices.find(osThreadId);
            if (thread != m_threadIndices.end()) {
                const auto open = m_currentSections.find(thread->second);
                if (open != m_currentSections.end())
                    current = open->second;
            }
            if (current == nullptr) {
                m_active.store(false, std::memory_order_release);
                return;
            }
        }
        endSection(current);
        if (current == started)
            break;
    }
    std::lock_guard<std::mutex> lock(m_mutex);
    const auto thread = m_threadIndices.find(osThreadId);
    if (thread == m_threadIndices.end() || m_currentSections.count(thread->second) == 0)
        m_active.store(false, std::memory_order_release);
}

// ---- ProfileSectionProxy ------------------------------------------------------

void ProfileSectionProxy::endSection() {
    if (!m_running)
        return;
    m_running = false;
    Profiling::instance()->endSection(m_section);
}

void ProfileSectionProxy::incrementVisitCount() {
    if (m_section == nullptr)
        return;
    Profiling& profiling = *Profiling::instance();
    std::lock_guard<std::mutex> lock(profiling.m_mutex);
    // Counted only while the section is still open on this thread: a new
    // profile may have discarded it, and then the pointer leads nowhere.
    const auto thread = profiling.m_threadIndices.find(FileSystem::sys::osThreadId());
    if (thread == profiling.m_threadIndices.end())
        return;
    const auto current = profiling.m_currentSections.find(thread->second);
    if (current == profiling.m_currentSections.end())
        return;
    for (ProfileSection* open = current->second; open != nullptr; open = open->parent)
        if (open == m_section) {
            ++open->visits;
            return;
        }
}

// ---- Profiling: reports -------------------------------------------------------

ProfileSection* Profiling::reportSubject(const std::string& name) {
    const auto found = m_startedSections.find(name);
    return found != m_startedSections.end() ? found->second : m_root.get();
}

void Profiling::replaceInMaps(const ProfileSection* folded, ProfileSection* survivor) {
    for (auto* map : {&m_sectionsByName, &m_startedSections})
        for (auto& [key, section] : *map)
            if (section == folded)
                section = survivor;
    for (auto& [index, section] : m_currentSections)
        if (section == folded)
            section = survivor;
}

void Profiling::mergeSiblings(ProfileSection& section, double minimumSeconds) {
    if (section.totalTime < minimumSeconds)
        return;
    std::map<std::string, ProfileSection*> first; // location to the first child there
    std::vector<std::unique_ptr<ProfileSection>> kept;
    for (auto& child : section.children) {
        const auto [entry, isNew] = first.try_emplace(child->location(), child.get());
        if (isNew) {
            kept.push_back(std::move(child));
            continue;
        }
        ProfileSection& earlier = *entry->second;
        earlier.totalTime += child->totalTime;
        earlier.visits += child->visits;
        earlier.memory += child->memory;
        for (auto& grandchild : child->children) {
            grandchild->parent = &earlier;
            earlier.children.push_back(std::move(grandchild));
        }
        replaceInMaps(child.get(), &earlier);
    }
    section.children = std::move(kept);
    for (auto& child : section.children)
        mergeSiblings(*child, minimumSeconds);
}

void Profiling::computeShares(ProfileSection& section, double baseSeconds, double minimumSeconds) {
    if (section.totalTime < minimumSeconds)
        return;
    double inChildren = 0;
    for (const auto& child : section.children)
        inChildren += child->totalTime;
    section.selfTime = std::max(0.0, section.totalTime - inChildren);
    if (baseSeconds > 0) {
        section.totalPercent = section.totalTime * 100 / baseSeconds;
        section.selfPercent = section.selfTime * 100 / baseSeconds;
    } else {
        section.totalPercent = 100;
        section.selfPercent = 100;
    }
    for (const auto& child : section.children)
        computeShares(*child, baseSeconds, minimumSeconds);
}

void Profiling::dumpToFile(const std::string& name, const std::string& fileName, bool lists, double minimumSeconds) {
    FileSystem::KVofstream file(fileName);
    if (!file)
        return;
    dumpToFile(name, file, lists, minimumSeconds);
}

void Profiling::dumpToFile(const std::string& name, std::ostream& stream, bool lists, double minimumSeconds) {
    end(name);
    std::lock_guard<std::mutex> lock(m_mutex);
    std::string header = "Location";
    padTo(header, kLocationWidth);
    stream << header << "# visits  Total time  Self time   Total %   Self %    Memory (MB) \n";
    ProfileSection* subject = reportSubject(name);
    if (subject == nullptr)
        return;
    mergeSiblings(*subject, minimumSeconds);
    computeShares(*subject, subject->totalTime, minimumSeconds);
    dumpSectionTree(stream, *subject, 0, minimumSeconds);
    if (lists)
        dumpSectionLists(stream, *subject, minimumSeconds);
}

void Profiling::dumpToCSVFile(const std::string& name, std::ostream& stream, double minimumSeconds) {
    end(name);
    std::lock_guard<std::mutex> lock(m_mutex);
    stream << "Build: " << buildStamp() << '\n';
    stream << "Location,# visits,Total time,Self time,Total %,Self %,Memory (MB)\n";
    ProfileSection* subject = reportSubject(name);
    if (subject == nullptr)
        return;
    mergeSiblings(*subject, minimumSeconds);
    computeShares(*subject, subject->totalTime, minimumSeconds);
    dumpSectionTreeCSV(stream, *subject, 0, minimumSeconds);
}

void Profiling::dumpToJSONFile(const std::string& name, std::ostream& stream, double minimumSeconds) {
    end(name);
    std::lock_guard<std::mutex> lock(m_mutex);
    stream << "{\n\"traceEvents\": [\n";
    if (const ProfileSection* subject = reportSubject(name))
        dumpSectionTreeJSON(stream, *subject, minimumSeconds);
    // The empty object keeps the comma after the last event legal.
    stream << "{}],\n\"otherData\": {\"version\": \"" << jsonName(buildStamp()) << "\"}\n}\n";
}

void Profiling::dumpSectionTree(std::ostream& stream, const ProfileSection& section, int level,
                                double minimumSeconds) {
    if (section.totalTime < minimumSeconds)
        return;
    dumpSectionLine(stream, section, level);
    for (const auto& child : section.children)
        dumpSectionTree(stream, *child, level + 1, minimumSeconds);
}

void Profiling::dumpSectionLists(std::ostream& stream, const ProfileSection& subject, double minimumSeconds) {
    // Every location once, its sections summed.
    std::map<std::string, std::unique_ptr<ProfileSection>> byLocation;
    std::vector<const ProfileSection*> pending{&subject};
    while (!pending.empty()) {
        const ProfileSection& section = *pending.back();
        pending.pop_back();
        if (section.totalTime < minimumSeconds)
            continue;
        auto& entry = byLocation[section.location()];
        if (!entry) {
            entry = std::make_unique<ProfileSection>();
            entry->file = section.file;
            entry->line = section.line;
            entry->name = section.name;
        }
        entry->visits += section.visits;
        entry->totalTime += section.totalTime;
        entry->selfTime += section.selfTime;
        entry->totalPercent += section.totalPercent;
        entry->selfPercent += section.selfPercent;
        entry->memory += section.memory;
        for (const auto& child : section.children)
            pending.push_back(child.get());
    }
    std::vector<const ProfileSection*> entries;
    for (const auto& [location, entry] : byLocation)
        entries.push_back(entry.get());

    std::stable_sort(entries.begin(), entries.end(),
                     [](const ProfileSection* a, const ProfileSection* b) { return a->totalTime > b->totalTime; });
    for (const ProfileSection* entry : entries)
        dumpSectionLine(stream, *entry, 0);
    stream << '\n';
    std::stable_sort(entries.begin(), entries.end(),
                     [](const ProfileSection* a, const ProfileSection* b) { return a->selfTime > b->selfTime; });
    for (const ProfileSection* entry : entries)
        dumpSectionLine(stream, *entry, 0);
}

void Profiling::dumpSectionLine(std::ostream& stream, const ProfileSection& section, int level) {
    std::string line(2 * static_cast<std::size_t>(level), ' ');
    line += section.location();
    padTo(line, kLocationWidth);
    line += std::to_string(section.visits);
    padTo(line, kLocationWidth + 10);
    line += formatNumber(section.totalTime, 4);
    padTo(line, kLocationWidth + 22);
    line += formatNumber(section.selfTime, 4);
    padTo(line, kLocationWidth + 34);
    line += formatNumber(section.totalPercent, 4);
    padTo(line, kLocationWidth + 44);
    line += formatNumber(section.selfPercent, 4);
    padTo(line, kLocationWidth + 54);
    line += memoryPerVisit(section);
    padTo(line, kLocationWidth + 66);
    line += '\n';
    stream << line;
}

void Profiling::dumpSectionTreeCSV(std::ostream& stream, const ProfileSection& section, int level,
                                   double minimumSeconds) {
    if (section.totalTime < minimumSeconds)
        return;
    dumpSectionLineCSV(stream, section, level);
    for (const auto& child : section.children)
        dumpSectionTreeCSV(stream, *child, level + 1, minimumSeconds);
}

void Profiling::dumpSectionLineCSV(std::ostream& stream, const ProfileSection& section, int level) {
    // Six significant digits: what a stream writes by default.
    std::string line(2 * static_cast<std::size_t>(level), ' ');
    line += section.location();
    line += ',';
    line += std::to_string(section.visits);
    for (const double value : {section.totalTime, section.selfTime, section.totalPercent, section.selfPercent}) {
        line += ',';
        line += formatNumber(value, 6);
    }
    line += ',';
    line += memoryPerVisit(section);
    line += '\n';
    stream << line;
}

void Profiling::dumpSectionTreeJSON(std::ostream& stream, const ProfileSection& section, double minimumSeconds) {
    if (section.totalTime < minimumSeconds)
        return;
    dumpSectionLineJSON(stream, section);
    for (const auto& child : section.children)
        dumpSectionTreeJSON(stream, *child, minimumSeconds);
}

void Profiling::dumpSectionLineJSON(std::ostream& stream, const ProfileSection& section) {
    const std::uint64_t tid = section.threadIndex != 0 ? section.threadIndex : section.osThreadId;
    const std::int64_t start = section.timer.startTime() / 1000;
    const std::int64_t duration = section.timer.elapsedNanoseconds() / 1000;
    std::string line = "{ \"pid\": 1, \"tid\": ";
    line += std::to_string(tid);
    line += ", \"ts\": ";
    line += std::to_string(start);
    line += ", \"dur\": ";
    line += std::to_string(duration);
    line += ", \"ph\": \"X\", \"name\": \"";
    line += jsonName(section.location());
    line += "\"  },\n";
    stream << line;
}

} // namespace Profiling
