#include <FileSystem/files/FileMetaData.h>

#include <FileSystem/files/File.h>
#include <FileSystem/files/StreamUtilities.h>
#include <FileSystem/files/detail/VersionRecord.h>

namespace FileSystem {

FileMetaData::FileMetaData(const std::string& path) {
    // Only a plain file: opening a pipe or a device could block or never end.
    if (!File::isRegularFile(path))
        return;
    KVifstreamBinary in(path);
    if (!in)
        return;
    detail::VersionRecord record = detail::readVersionRecord(in);
    if (!record.found)
        return;
    m_hasMetaData = true;
    m_productVersion = record.productVersion;
    m_fileVersion = record.fileVersion;
    m_metaData = std::move(record.strings);
}

std::set<LanguageCodePage> FileMetaData::getLanguageCodePages() const {
    std::set<LanguageCodePage> pairs;
    for (const auto& entry : m_metaData)
        pairs.insert(entry.first);
    return pairs;
}

std::string FileMetaData::getMetaData(const LanguageCodePage& languageCodePage, MetaDataType type) const {
    const auto language = m_metaData.find(languageCodePage);
    if (language == m_metaData.end())
        return {};
    const auto text = language->second.find(type);
    return text == language->second.end() ? std::string() : text->second;
}

std::map<LanguageCodePage, std::string> FileMetaData::getMetaData(MetaDataType type) const {
    std::map<LanguageCodePage, std::string> texts;
    for (const auto& [pair, strings] : m_metaData)
        if (const auto text = strings.find(type); text != strings.end())
            texts.emplace(pair, text->second);
    return texts;
}

std::map<LanguageCodePage, std::string> FileMetaData::getMetaDataAllCodes(MetaDataType type) const {
    return getMetaData(type);
}

const char* FileMetaData::getKey(MetaDataType type) {
    static constexpr const char* keys[kMetaDataTypeCount] = {
        "Comments",        "CompanyName",      "FileDescription", "Version",
        "InternalName",    "LegalCopyright",   "LegalTrademarks", "OriginalFilename",
        "ProductName",     "ProductVersion",   "PrivateBuild",    "SpecialBuild",
    };
    const int index = static_cast<int>(type);
    return index >= 0 && index < kMetaDataTypeCount ? keys[index] : "";
}

} // namespace FileSystem
