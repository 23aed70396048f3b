// Any bytes as a Windows executable: its version record is read and every
// query is asked. Nothing may crash, read out of bounds or allocate beyond
// the input's size.

#include <FileSystem/files/File.h>
#include <FileSystem/files/FileMetaData.h>

#include <cstdlib>
#include <filesystem>
#include <unistd.h>

namespace {

const std::string& inputPath() {
    static const std::string path = [] {
        std::string pattern = (std::filesystem::temp_directory_path() / "fuzz-pe-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr)
            std::abort();
        return pattern + "/input.exe";
    }();
    return path;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    using namespace FileSystem;
    File::dumpToFile(inputPath(), std::string(reinterpret_cast<const char*>(bytes), size));
    const FileMetaData meta(inputPath());
    if (!meta.hasMetaData() && (!meta.getFileVersion().isEmpty() || !meta.getLanguageCodePages().empty()))
        std::abort();
    for (const LanguageCodePage& pair : meta.getLanguageCodePages())
        for (int i = 0; i < kMetaDataTypeCount; ++i)
            meta.getMetaData(pair, static_cast<MetaDataType>(i));
    for (int i = 0; i < kMetaDataTypeCount; ++i)
        if (meta.getMetaData(static_cast<MetaDataType>(i)) != meta.getMetaDataAllCodes(static_cast<MetaDataType>(i)))
            std::abort();
    meta.getProductVersion().toString();
    return 0;
}
