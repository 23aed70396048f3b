#pragma once

#include <FileSystem/Export.h>
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

/// A set of permission bits.
using PosixFilePermissions = Utilities::Flags<PosixFilePermissionFlag>;

/// The set of both flags.
constexpr PosixFilePermissions operator|(PosixFilePermissionFlag a, PosixFilePermissionFlag b) noexcept {
    return PosixFilePermissions(a) | b;
}

/// The bits as an octal number without a leading zero ("644"; "0" for none).
FILESYSTEM_EXPORT std::string posixFilePermissionsToString(PosixFilePermissions permissions);

/// Reads an octal number ("644", "0755"; leading white space is skipped and
/// reading stops at the first character that is no octal digit); text that
/// does not start with one gives no bits.
FILESYSTEM_EXPORT PosixFilePermissions posixFilePermissionsFromString(const std::string& text);

} // namespace FileSystem
