#include <FileSystem/files/SharedFolder.h>

#include <FileSystem/paths/Path.h>
#include <FileSystem/paths/PathConverterBase.h>
#include <FileSystem/platform/Shares.h>

namespace FileSystem {

bool SharedFolder::isShared(const std::string& path, const std::string&) {
    if (path.empty())
        return false;
    return Path::isNetworkPath(Path::convertToUNCPath(Path::appendTrailingSlash(path)));
}

bool SharedFolder::createShare(const std::string& path, const std::string& shareName, std::string& error) {
    if (isShared(path, shareName))
        return true;
    if (path.empty()) {
        error = "Failed to share folder.";
        return false;
    }
    const std::string folder =
        PathConverter::fromKVLPath(Path::stripTrailingSlash(Path::normaliseForSystem(path)), false);
    switch (sys::addShare(shareName, folder)) {
    case sys::ShareResult::Shared:
        return true;
    case sys::ShareResult::BadName:
        error = "Error with the share name";
        break;
    case sys::ShareResult::NameInUse:
        error = "The share name is already in use on this machine.";
        break;
    case sys::ShareResult::AccessDenied:
        error = "The user does not have permissions to perform this operation.";
        break;
    case sys::ShareResult::Failed:
        error = "Failed to share folder.";
        break;
    }
    return false;
}

bool SharedFolder::deleteShare(const std::string&, const std::string& shareName) {
    return sys::removeShare(shareName);
}

} // namespace FileSystem
