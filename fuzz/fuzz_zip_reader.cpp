// A zip archive of any bytes: opened, listed, searched, read and extracted
// into a scratch folder. Nothing may crash, hang or land outside the folder.

#include <FileSystem/files/Directory.h>
#include <FileSystem/files/File.h>
#include <FileSystem/zip/ZipArchive.h>

#include <cstdlib>
#include <filesystem>
#include <unistd.h>

namespace {

const std::string& scratch() {
    static const std::string folder = [] {
        std::string pattern = (std::filesystem::temp_directory_path() / "fuzz-zip-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr)
            std::abort();
        return pattern;
    }();
    return folder;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    using FileSystem::ZipArchive;
    const std::string archivePath = scratch() + "/input.zip";
    const std::string target = scratch() + "/out";
    FileSystem::File::dumpToFile(archivePath, std::string(reinterpret_cast<const char*>(bytes), size));
    {
        ZipArchive archive(archivePath, ZipArchive::OpenMode::Read, 1);
        archive.setPassword("secret");
        for (const auto& info : archive.getAllFileInfos(true)) {
            archive.getFileInfo(info.name);
            ZipArchive::getTesselVersionFromFileComment(info.comment);
            if (info.uncompressedSize < (1u << 20))
                archive.extractDataFromZip(info.location);
            if (auto file = archive.openFile(info.location); file && file->open())
                file->readAll();
        }
        if (archive.getUnzippedSize(true, true) < (8u << 20)) {
            try {
                archive.extractFromZip("", target, true, true);
            } catch (const std::runtime_error&) {
                // Refusals of hostile entries are expected.
            }
        }
    }
    // Everything written must lie inside the target folder.
    for (const auto& entry : std::filesystem::directory_iterator(scratch()))
        if (entry.path().filename() != "input.zip" && entry.path().filename() != "out")
            std::abort();
    FileSystem::Directory::remove(target, true);
    return 0;
}
