// Resolution of relative paths beneath an open root folder, done here rather
// than by the kernel: every component is opened with O_NOFOLLOW in the folder
// reached so far, links are read and spliced in by hand, and ".." pops the
// walk's own record of where it is, so no link, ".." or racing rename can lead
// outside the root.

#include <FileSystem/platform/Folders.h>
#include <FileSystem/platform/posix/Native.h>

#include <cerrno>
#include <deque>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace FileSystem::sys {

using posix::retryOnInterrupt;

namespace {

constexpr int kMaxLinks = 40;        // as the kernel allows in one lookup
constexpr std::size_t kOpenLevels = 64; // folders kept open on the way down

std::deque<std::string> componentsOf(const std::string& path) {
    std::deque<std::string> parts;
    std::size_t start = 0;
    while (start <= path.size()) {
        std::size_t end = path.find('/', start);
        if (end == std::string::npos)
            end = path.size();
        if (end > start)
            parts.emplace_back(path, start, end - start);
        start = end + 1;
    }
    return parts;
}

int openChildFolder(int parent, const std::string& name) {
    return retryOnInterrupt(
        [&] { return ::openat(parent, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC); });
}

/// Where a walk beneath the root stands: the names from the root down, and the
/// descriptors of the lowest levels (the higher ones are opened again from the
/// root when ".." climbs back to them).
class Walk {
public:
    explicit Walk(int root) : m_root(root) {}
    Walk(const Walk&) = delete;
    Walk& operator=(const Walk&) = delete;
    ~Walk() {
        for (const Level& level : m_levels)
            if (level.fd >= 0)
                ::close(level.fd);
    }

    int current() const { return m_levels.empty() ? m_root : m_levels.back().fd; }
    bool atRoot() const { return m_levels.empty(); }

    void descend(const std::string& name, int fd) {
        m_levels.push_back({name, fd});
        // Only the lowest levels stay open, so that depth costs no descriptors.
        if (m_levels.size() > kOpenLevels) {
            Level& old = m_levels[m_levels.size() - 1 - kOpenLevels];
            if (old.fd >= 0) {
                ::close(old.fd);
                old.fd = -1;
            }
        }
    }

    /// Back to the parent; false when that is above the root or can no longer be reached.
    bool ascend() {
        if (m_levels.empty())
            return false;
        ::close(m_levels.back().fd);
        m_levels.pop_back();
        if (m_levels.empty() || m_levels.back().fd >= 0)
            return true;
        // Open the folders again from the root, each by name without following links.
        int fd = m_root;
        for (Level& level : m_levels) {
            if (level.fd >= 0) {
                fd = level.fd;
                continue;
            }
            level.fd = openChildFolder(fd, level.name);
            if (level.fd < 0)
                return false;
            fd = level.fd;
        }
        return true;
    }

    /// Hands over the descriptor of where the walk stands (a new one for the root).
    int release() {
        if (m_levels.empty())
            return retryOnInterrupt([&] { return ::fcntl(m_root, F_DUPFD_CLOEXEC, 0); });
        const int fd = m_levels.back().fd;
        m_levels.pop_back();
        return fd;
    }

private:
    struct Level {
        std::string name;
        int fd;
    };
    int m_root;
    std::vector<Level> m_levels;
};


bool climbs(const std::deque<std::string>& parts) {
    for (const std::string& part : parts)
        if (part == "..")
            return true;
    return false;
}

enum class Step { Entered, Link, Missing, NotFolder, Failed };

/// Enters `name` below where the walk stands, or says why it cannot: a link is
/// spliced into `todo` (when it is relative), never followed by the system.
Step step(Walk& walk, const std::string& name, std::deque<std::string>& todo, int& links, bool followLinks) {
    const int fd = openChildFolder(walk.current(), name);
    if (fd >= 0) {
        walk.descend(name, fd);
        return Step::Entered;
    }
    const int error = errno;
    if (error == ENOENT)
        return Step::Missing;
    struct stat st {};
    if (::fstatat(walk.current(), name.c_str(), &st, AT_SYMLINK_NOFOLLOW) != 0)
        return errno == ENOENT ? Step::Missing : Step::Failed;
    if (!S_ISLNK(st.st_mode))
        return S_ISDIR(st.st_mode) ? Step::Failed : Step::NotFolder;
    if (!followLinks)
        return Step::Failed;
    const auto text = posix::readLinkAt(walk.current(), name);
    if (!text || text->empty() || (*text)[0] == '/' || ++links > kMaxLinks)
        return Step::Failed; // an absolute link always leaves the root
    std::deque<std::string> parts = componentsOf(*text);
    todo.insert(todo.begin(), parts.begin(), parts.end());
    return Step::Link;
}

} // namespace

bool Folder::setOwnMode(std::uint32_t mode) {
    return m_fd >= 0 && ::fchmod(m_fd, static_cast<mode_t>(mode & 07777)) == 0;
}

std::optional<Folder> openBeneath(const Folder& root, const std::string& path, bool create, std::uint32_t mode,
                                  bool followLinks) {
    if (!root || path.find('\0') != std::string::npos)
        return std::nullopt;
    Walk walk(root.descriptor());
    std::deque<std::string> todo = componentsOf(path);
    int links = 0;
    while (!todo.empty()) {
        const std::string name = std::move(todo.front());
        todo.pop_front();
        if (name == ".")
            continue;
        if (name == "..") {
            if (!walk.ascend())
                return std::nullopt;
            continue;
        }
        Step result = step(walk, name, todo, links, followLinks);
        if (result == Step::Missing && create) {
            if (::mkdirat(walk.current(), name.c_str(), static_cast<mode_t>(mode & 07777)) != 0 && errno != EEXIST)
                return std::nullopt;
            result = step(walk, name, todo, links, followLinks); // what stands there now, made by us or by a racer
        }
        if (result != Step::Entered && result != Step::Link)
            return std::nullopt;
    }
    const int fd = walk.release();
    if (fd < 0)
        return std::nullopt;
    return Folder(fd);
}

bool linkStaysBeneath(const Folder& root, const std::string& linkFolder, const std::string& target) {
    if (!root || target.empty() || target[0] == '/' || target.find('\0') != std::string::npos)
        return false;
    Walk walk(root.descriptor());
    std::deque<std::string> todo = componentsOf(linkFolder);
    const std::deque<std::string> targetParts = componentsOf(target);
    todo.insert(todo.end(), targetParts.begin(), targetParts.end());
    int links = 0;
    while (!todo.empty()) {
        const std::string name = std::move(todo.front());
        todo.pop_front();
        if (name == ".")
            continue;
        if (name == "..") {
            if (!walk.ascend())
                return false;
            continue;
        }
        switch (step(walk, name, todo, links, true)) {
        case Step::Entered:
        case Step::Link:
            break;
        case Step::Missing:
        case Step::NotFolder:
            // What does not exist yet (or lies below a file) is checked as text:
            // it may not climb. Whatever is made there later is checked when it is made.
            return !climbs(todo);
        case Step::Failed:
            return false;
        }
    }
    return true;
}

} // namespace FileSystem::sys
