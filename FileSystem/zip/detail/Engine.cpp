#include <FileSystem/zip/detail/Engine.h>

#include <fstream>

namespace FileSystem::detail {

zip_t* openArchive(const std::string& nativePath, int flags) {
    if (nativePath.empty() || nativePath.find('\0') != std::string::npos)
        return nullptr;
    int error = 0;
    return zip_open(nativePath.c_str(), flags, &error);
}

bool describeEntry(zip_t* archive, zip_uint64_t index, bool directory, int level, std::uint32_t attributes,
                   std::int64_t modified, const std::string& comment) {
    if (!directory) {
        const bool stored = level == 0;
        // The engine reads a level of 0 as its default; -1 asks for that default.
        if (zip_set_file_compression(archive, index, stored ? ZIP_CM_STORE : ZIP_CM_DEFLATE,
                                     stored || level < 0 ? 0 : static_cast<zip_uint32_t>(level)) != 0)
            return false;
    }
    return zip_file_set_external_attributes(archive, index, 0, ZIP_OPSYS_UNIX, attributes) == 0 &&
           zip_file_set_comment(archive, index, comment.data(), static_cast<zip_uint16_t>(comment.size()),
                                ZIP_FL_ENC_UTF_8) == 0 &&
           zip_file_set_mtime(archive, index, static_cast<time_t>(modified), 0) == 0;
}

bool writeEmptyArchive(const std::string& nativePath) {
    // "PK\5\6", then 18 bytes of zeros: no disks, no entries, no directory, no comment.
    static const char endRecord[22] = {'P', 'K', 5, 6};
    std::ofstream out(nativePath, std::ios::binary | std::ios::trunc);
    out.write(endRecord, sizeof endRecord);
    return static_cast<bool>(out);
}

} // namespace FileSystem::detail
