#pragma once

// The reader of the version record of a Windows executable or library
// (internal): the version resource of a PE image, read from its bytes on every
// system.

#include <FileSystem/files/FileMetaData.h>

#include <array>
#include <cstdint>
#include <istream>
#include <map>
#include <string>

namespace FileSystem::detail {

/// What a version record holds, in the form that FileMetaData keeps.
struct VersionRecord {
    bool found = false;
    Utilities::Version<4, int> productVersion;
    Utilities::Version<4, int> fileVersion;
    std::map<LanguageCodePage, std::map<MetaDataType, std::string>> strings;
};

/// The version record of the PE image in `in` (read from the start, by seeking).
/// Everything in the image is checked against the stream's size before use: a
/// damaged or truncated image, or a record that is not sound as a whole, gives a
/// record with `found` false and empty versions.
VersionRecord readVersionRecord(std::istream& in);

} // namespace FileSystem::detail
