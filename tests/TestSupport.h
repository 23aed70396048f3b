#pragma once

// Helpers shared by the tests: a private scratch folder and a guard that puts
// the current directory back.

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <system_error>
#include <unistd.h>

namespace TestSupport {

/// A fresh folder under the system's temporary folder, removed with all its
/// contents at the end of the scope.
class TempDir {
public:
    TempDir() {
        std::string pattern = (std::filesystem::temp_directory_path() / "fstest-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr)
            throw std::runtime_error("mkdtemp failed");
        m_path = pattern;
    }
    ~TempDir() {
        std::error_code ec;
        // Make everything writable again so that read-only test files go too.
        for (auto it = std::filesystem::recursive_directory_iterator(m_path, ec);
             !ec && it != std::filesystem::recursive_directory_iterator(); it.increment(ec))
            std::filesystem::permissions(it->path(), std::filesystem::perms::owner_all,
                                         std::filesystem::perm_options::add | std::filesystem::perm_options::nofollow, ec);
        std::filesystem::remove_all(m_path, ec);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::string& path() const { return m_path; }
    std::string operator/(const std::string& name) const { return m_path + "/" + name; }

    /// Writes a file below the folder (parents are created) and returns its path.
    std::string write(const std::string& name, const std::string& content = "x") const {
        const std::string full = *this / name;
        std::filesystem::create_directories(std::filesystem::path(full).parent_path());
        std::ofstream(full, std::ios::binary) << content;
        return full;
    }
    std::string mkdir(const std::string& name) const {
        const std::string full = *this / name;
        std::filesystem::create_directories(full);
        return full;
    }

private:
    std::string m_path;
};

/// Restores the process's current directory at the end of the scope.
class CurrentDirectoryGuard {
public:
    CurrentDirectoryGuard() : m_saved(std::filesystem::current_path()) {}
    ~CurrentDirectoryGuard() {
        std::error_code ec;
        std::filesystem::current_path(m_saved, ec);
    }
    CurrentDirectoryGuard(const CurrentDirectoryGuard&) = delete;
    CurrentDirectoryGuard& operator=(const CurrentDirectoryGuard&) = delete;

private:
    std::filesystem::path m_saved;
};

} // namespace TestSupport
