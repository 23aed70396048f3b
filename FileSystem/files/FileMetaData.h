#pragma once

#include <FileSystem/Export.h>
#include <FileSystem/utilities/Version.h>

#include <compare>
#include <cstdint>
#include <map>
#include <set>
#include <string>

namespace FileSystem {

/// A language and a code page, as a version record names its string tables.
/// Pairs order by language first, then code page.
struct FILESYSTEM_EXPORT LanguageCodePage {
    /// The language identifier (0x0409 is US English).
    std::uint16_t language = 0;
    /// The code page (1200 is UTF-16, 1252 Western European).
    std::uint16_t codePage = 0;

    /// Orders by language, then code page.
    ///@{
    friend constexpr auto operator<=>(const LanguageCodePage&, const LanguageCodePage&) noexcept = default;
    friend constexpr bool operator==(const LanguageCodePage&, const LanguageCodePage&) noexcept = default;
    ///@}
};

/// The texts of a version record, each read under the key that
/// FileMetaData::getKey gives. `Version` reads the key "Version" (not
/// "FileVersion").
enum class MetaDataType {
    Comments,
    CompanyName,
    FileDescription,
    Version,
    InternalName,
    LegalCopyright,
    LegalTrademarks,
    OriginalFilename,
    ProductName,
    ProductVersion,
    PrivateBuild,
    SpecialBuild,
};

/// The number of entries of MetaDataType.
inline constexpr int kMetaDataTypeCount = 12;

/// The version record of a Windows executable or library (the version
/// resource of a PE image): file and product version, the languages and code
/// pages it lists, and its texts for each of them.
///
/// The record is read from the file's bytes on every system. A file of another
/// format, or an image that is truncated or damaged anywhere in its headers,
/// resource tree or record, has no metadata: hasMetaData() is false, both
/// versions have every component -1 and no language is listed. Nothing throws.
class FILESYSTEM_EXPORT FileMetaData {
public:
    /// Reads the record of the file at `path` (any form of the library) at once.
    explicit FileMetaData(const std::string& path);

    /// True when the file has a sound version record.
    bool hasMetaData() const { return m_hasMetaData; }
    /// The product version of the fixed record; -1 components without a record.
    Utilities::Version<4, int> getProductVersion() const { return m_productVersion; }
    /// The file version of the fixed record; -1 components without a record.
    Utilities::Version<4, int> getFileVersion() const { return m_fileVersion; }
    /// The languages and code pages of the record's translation table.
    std::set<LanguageCodePage> getLanguageCodePages() const;
    /// The text of `type` for one language and code page; empty when absent.
    std::string getMetaData(const LanguageCodePage& languageCodePage, MetaDataType type) const;
    /// The text of `type` for each language and code page that has it.
    std::map<LanguageCodePage, std::string> getMetaData(MetaDataType type) const;
    /// The same as getMetaData(type).
    std::map<LanguageCodePage, std::string> getMetaDataAllCodes(MetaDataType type) const;

    /// The key under which a record holds the text of `type` ("CompanyName", ...).
    static const char* getKey(MetaDataType type);

private:
    bool m_hasMetaData = false;
    Utilities::Version<4, int> m_productVersion;
    Utilities::Version<4, int> m_fileVersion;
    std::map<LanguageCodePage, std::map<MetaDataType, std::string>> m_metaData;
};

} // namespace FileSystem
