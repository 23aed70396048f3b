#include <FileSystem/paths/detail/NetworkNames.h>

namespace FileSystem::detail {

namespace {

std::string withoutTrailingSlashes(std::string text) {
    while (text.size() > 1 && text.back() == '/')
        text.pop_back();
    return text;
}

/// The part of `path` behind `folder` ("" or starting with '/') when `folder`
/// holds `path`: equal to it, or followed in it by '/'.
std::optional<std::string> restBehind(const std::string& folder, const std::string& path) {
    if (folder == "/")
        return path;
    if (folder.empty() || path.compare(0, folder.size(), folder) != 0)
        return std::nullopt;
    if (path.size() != folder.size() && path[folder.size()] != '/')
        return std::nullopt;
    return path.substr(folder.size());
}

} // namespace

bool isSMBMountType(const std::string& type) { return type == "cifs" || type == "smb3" || type == "smbfs"; }

bool isNFSMountType(const std::string& type) { return type == "nfs" || type == "nfs4"; }

std::optional<std::string> universalNameOnMount(const std::string& path, const std::vector<sys::MountEntry>& mounts) {
    if (path.empty() || path[0] != '/')
        return std::nullopt;
    const sys::MountEntry* holder = nullptr;
    std::string holderPoint;
    std::string rest;
    // Later mounts cover earlier ones at the same place.
    for (const sys::MountEntry& mount : mounts) {
        const std::string point = withoutTrailingSlashes(mount.mountPoint);
        const auto behind = restBehind(point, path);
        if (behind && (!holder || point.size() >= holderPoint.size())) {
            holder = &mount;
            holderPoint = point;
            rest = *behind;
        }
    }
    if (!holder)
        return std::nullopt;
    if (holderPoint == "/")
        rest = path == "/" ? "" : path;
    if (isSMBMountType(holder->type)) {
        std::string server = holder->source;
        for (char& c : server)
            if (c == '\\')
                c = '/';
        server = withoutTrailingSlashes(server);
        // Only a server's share names the place: "//server/share".
        if (server.size() < 3 || server.compare(0, 2, "//") != 0 || server[2] == '/')
            return std::nullopt;
        return server + rest;
    }
    if (isNFSMountType(holder->type)) {
        const std::size_t colon = holder->source.find(':');
        if (colon == 0 || colon == std::string::npos)
            return std::nullopt;
        std::string source = withoutTrailingSlashes(holder->source);
        if (source.back() == ':')
            source += '/'; // the server's root export, "host:/"
        if (rest.empty() || source.back() != '/')
            return source + rest;
        return source + rest.substr(1);
    }
    return std::nullopt;
}

std::optional<std::string> universalNameOnShare(const std::string& path, const std::vector<sys::ShareEntry>& shares,
                                                const std::string& computer) {
    if (path.empty() || path[0] != '/' || computer.empty())
        return std::nullopt;
    const sys::ShareEntry* best = nullptr;
    std::string bestFolder;
    std::string rest;
    for (const sys::ShareEntry& share : shares) {
        if (share.name.empty() || share.name.find('$') != std::string::npos)
            continue;
        const std::string folder = withoutTrailingSlashes(share.path);
        const auto behind = restBehind(folder, path);
        if (behind && (!best || folder.size() > bestFolder.size())) {
            best = &share;
            bestFolder = folder;
            rest = folder != "/" ? *behind : (path == "/" ? "" : path);
        }
    }
    if (!best)
        return std::nullopt;
    return "//" + computer + '/' + best->name + rest;
}

std::optional<std::string> universalName(const std::string& path, const std::vector<sys::MountEntry>& mounts,
                                         const std::vector<sys::ShareEntry>& shares, const std::string& computer) {
    if (auto onMount = universalNameOnMount(path, mounts))
        return onMount;
    return universalNameOnShare(path, shares, computer);
}

} // namespace FileSystem::detail
