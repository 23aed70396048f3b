#pragma once

#include <FileSystem/utilities/Flags.h>

#include <cstdint>
#include <string>

namespace FileSystem {

/// POSIX permission bits, in their usual octal values.
enum class PosixFilePermissionFlag : std::uint32_t {
    None = 0,
    OthersExecute = 01,
    OthersWrite = 02,
    OthersRead = 04,
    OthersAll = 07,
    GroupExecute = 010,
    GroupWrite = 020,
    GroupRead = 040,
    GroupAll = 070,
    OwnerExecute = 0100,
    OwnerWrite = 0200,
    OwnerRead = 0400,
    OwnerAll = 0700,
    All = 0777,
    Sticky = 01000,
    SetGroupId = 02000,
    SetUserId = 04000,
};

using PosixFilePermissions = Utilities::Flags<PosixFilePermissionFlag>;

constexpr PosixFilePermissions operator|(PosixFilePermissionFlag a, PosixFilePermissionFlag b) noexcept {
    return PosixFilePermissions(a) | b;
}

/// The bits as an octal number without a leading zero ("644").
std::string posixFilePermissionsToString(PosixFilePermissions permissions);

/// Reads an octal number ("644", "0755"); text that is not one gives no bits.
PosixFilePermissions posixFilePermissionsFromString(const std::string& text);

} // namespace FileSystem
