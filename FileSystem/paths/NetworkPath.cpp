// The network name of a local path: the one Path operation that needs the
// mount table, the local shares and the computer's name.

#include <FileSystem/paths/Path.h>

#include <FileSystem/environment/MachineInfo.h>
#include <FileSystem/paths/PathConverterBase.h>
#include <FileSystem/paths/detail/NetworkNames.h>
#include <FileSystem/platform/Mounts.h>
#include <FileSystem/platform/Shares.h>

namespace FileSystem {

const std::string& Path::convertToUNCPath() {
    if (m_path.empty() || m_path.compare(0, 2, "\\\\") == 0)
        return m_path;
    if (m_path.compare(0, 2, "//") == 0)
        return makeForwardSlashes();
    // Only a path under the file system's root can be mounted or shared; a
    // drive path ("C:/a") names nothing here.
    const std::string absolute = normaliseForSystem(m_path);
    if (absolute.empty() || absolute[0] != '/' || UNCPrefixLength(absolute) >= 2)
        return m_path;
    const std::string resolved =
        PathConverter::toKVLPath(sys::resolvedPath(PathConverter::fromKVLPath(absolute, false)));
    // Share records may name their folder through a link too.
    std::vector<sys::ShareEntry> shares = sys::localShares();
    for (sys::ShareEntry& share : shares)
        share.path = PathConverter::toKVLPath(sys::resolvedPath(share.path));
    const auto universal = detail::universalName(resolved, sys::mountTable(), shares, MachineInfo::computername());
    if (!universal)
        return m_path;
    const bool trailingSlash = hasTrailingSlash();
    m_path = *universal;
    if (trailingSlash && m_path.back() != '/')
        m_path += '/';
    return m_path;
}

std::string Path::convertToUNCPath(const std::string& path) { return Path(path).convertToUNCPath(); }

const std::string& Path::convertToNetworkPath() { return convertToUNCPath(); }

std::string Path::convertToNetworkPath(const std::string& path) { return convertToUNCPath(path); }

} // namespace FileSystem
