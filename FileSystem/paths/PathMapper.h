#pragma once

#include <FileSystem/Export.h>

#include <iosfwd>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace FileSystem {

/// One pair of a path as a client machine mounts it and the path as the
/// machine that serves it names it. Both are kept in canonical form: forward
/// slashes, no long prefix, no trailing slash.
struct FILESYSTEM_EXPORT PathMapperMapping {
    std::string type;        ///< the kind of mount, such as "cifs" or "nfs"; may be empty
    std::string mountedPath; ///< the path on the client
    std::string servicePath; ///< the path on the server
};

/// Translates between mounted paths (as a client sees them) and service paths
/// (as the serving machine sees them).
class FILESYSTEM_EXPORT PathMapperAbstract {
public:
    virtual ~PathMapperAbstract() = default;
    /// Whether the path lies at or below a mounted path this mapper knows.
    virtual bool isMountedPath(const std::string& path) const = 0;
    /// Whether the path lies at or below a service path this mapper knows.
    virtual bool isServicePath(const std::string& path) const = 0;
    /// The service path for a mounted path; empty when none maps it.
    virtual std::optional<std::string> toServicePath(const std::string& path) const = 0;
    /// The mounted path for a service path; empty when none maps it.
    virtual std::optional<std::string> toMountedPath(const std::string& path) const = 0;
};

/// The mapper of a machine that sees the same paths as the server: every path
/// is both mounted and service path, and maps to itself.
class FILESYSTEM_EXPORT PathMapperIdentity : public PathMapperAbstract {
public:
    /// Always true.
    bool isMountedPath(const std::string& path) const override;
    /// Always true.
    bool isServicePath(const std::string& path) const override;
    /// The path itself.
    std::optional<std::string> toServicePath(const std::string& path) const override;
    /// The path itself.
    std::optional<std::string> toMountedPath(const std::string& path) const override;
};

/// The mapper by network names: network paths are both mounted and service
/// paths, and a network path maps to its universal name (Path::convertToUNCPath).
class FILESYSTEM_EXPORT PathMapperUNC : public PathMapperAbstract {
public:
    /// Path::isNetworkPath.
    bool isMountedPath(const std::string& path) const override;
    /// Path::isNetworkPath.
    bool isServicePath(const std::string& path) const override;
    /// The universal name of a network path; empty for any other path.
    std::optional<std::string> toServicePath(const std::string& path) const override;
    /// The universal name of a network path; empty for any other path.
    std::optional<std::string> toMountedPath(const std::string& path) const override;
};

/// A mapper by a list of mappings. A path matches a mapping when the
/// mapping's path is a leading part of the path's canonical form (byte for
/// byte, case counts) that ends at the path's end or at a '/'; "/mnt/a" holds
/// "/mnt/a/b" but not "/mnt/ab". Of the mappings that match, the one with the
/// longest path wins, and of equal ones the later. An empty mapped path holds
/// every path that starts with '/'.
class FILESYSTEM_EXPORT PathMapper : public PathMapperAbstract {
public:
    /// A mapper without mappings.
    PathMapper() = default;
    /// A mapper with these mappings, taken as they are.
    explicit PathMapper(const std::vector<PathMapperMapping>& mappings) : m_mappings(mappings) {}

    /// Whether a mapping's mounted path holds the path.
    bool isMountedPath(const std::string& path) const override;
    /// Whether a mapping's service path holds the path.
    bool isServicePath(const std::string& path) const override;
    /// The matching mapping's service path followed by the rest of the path.
    std::optional<std::string> toServicePath(const std::string& path) const override;
    /// The matching mapping's mounted path followed by the rest of the path.
    std::optional<std::string> toMountedPath(const std::string& path) const override;

    /// Appends a mapping with both paths made canonical. Without a type it is
    /// inferred from the service path: "cifs" for a network path (`//server`,
    /// `\\?\UNC\server`), else "nfs" for `host:/export`, else none.
    ///@{
    void addMapping(const std::string& mounted, const std::string& service);
    void addMapping(const std::string& type, const std::string& mounted, const std::string& service);
    ///@}
    /// Appends mappings as they are given.
    ///@{
    void addMapping(const PathMapperMapping& mapping);
    void addMapping(const std::vector<PathMapperMapping>& mappings);
    ///@}
    /// The mappings, in the order they were added.
    const std::vector<PathMapperMapping>& data() const noexcept { return m_mappings; }

    /// The mappings of this machine: its network mounts (read from its mount
    /// table by the rules of fromMTabData) and the folders it shares, each of
    /// type "cifs" to `//computer/share`.
    static PathMapper fromMounts();
    /// The mappings of an mtab-style file; an unreadable file gives none.
    /// `types` limits the file system types taken ("drvfs", "9p", "cifs",
    /// "nfs"); an empty set takes all of them.
    static PathMapper fromMTabFile(const std::string& path, const std::set<std::string>& types);
    /// The mappings of mtab-style text: lines of "source mountpoint type
    /// options ...", fields separated by single spaces, with the escapes
    /// `\040` (space), `\011` (tab), `\012` (line feed), `\134` and `\\`
    /// (backslash). Lines that fit no rule are skipped.
    ///@{
    static PathMapper fromMTabData(const std::string& text, const std::set<std::string>& types);
    static PathMapper fromMTabData(std::istream& in, const std::set<std::string>& types);
    ///@}
    /// The mappings of a CSV file (separator ',', rows ended by line feeds):
    /// a row of two cells is (mounted, service), one of three (type, mounted,
    /// service); other rows are skipped, and with `hasHeader` the first row is.
    /// An unreadable file gives none.
    static PathMapper fromCSVFile(const std::string& path, bool hasHeader);
    /// The same for CSV text in memory.
    static PathMapper fromCSVData(const std::string& text, bool hasHeader);

    /// Whether fromMTabData takes mounts of this type.
    static bool supportedMTabType(const std::string& type);
    /// Undoes the escapes of mtab text in one pass (see fromMTabData).
    static std::string decodeMTab(const std::string& text);

private:
    std::optional<std::size_t> bestMatch(const std::string& canonical, bool byMountedPath) const;
    void addMount(const std::string& type, const std::string& source, const std::string& mountPoint,
                  const std::string& options);

    std::vector<PathMapperMapping> m_mappings;
};

} // namespace FileSystem
