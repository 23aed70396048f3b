// Storages: one interface over where files live; here two local storages copy,
// list and remove, and the file formats of a dialog are named.
#include <FileSystem/FileSystem.h>

#include <filesystem>
#include <iostream>

using namespace FileSystem;

int main(int argc, char** argv) {
    const std::string base = argc > 1 ? argv[1] : std::filesystem::temp_directory_path().string();
    const std::string folder = Path::getDuplicationName(base + "/guide-storage");
    int failures = 0;
    const auto expect = [&failures](bool ok, const std::string& what) {
        std::cout << (ok ? "  ok: " : "  FAILED: ") << what << "\n";
        failures += !ok;
    };

    const FileSystem2Local storage; // ids are the library's paths
    expect(storage.directoryMakePath(folder + "/runs/a", false, StorageSystem::defaultDirectroyPermissions),
           "folders made with their parents");
    const std::string results = storage.pathChildId(folder + "/runs/a", "results.csv");
    const std::string text = "step,load\n1,0.5\n2,0.75\n";
    {
        const auto file = storage.fileCreateAsBinary(results, false, StorageSystem::defaultFilePermissions);
        expect(file && file->write(text.data(), text.size()) == text.size(), "a file written through the storage");
    }

    // A copy to another storage keeps what the options ask: here the time and the rights.
    const FileSystem2Local other;
    const auto options = StorageSystemCopyOptions(StorageSystemCopyOptionFlag::PreserveModTime) |
                         StorageSystemCopyOptionFlag::PreservePermissions;
    std::uint64_t reported = 0;
    const bool copied = storage.fileCopyAs(results, other, folder + "/copy.csv",
                                           [&reported](std::uint64_t done, std::uint64_t) {
                                               reported = done;
                                               return true; // false would stop the copy
                                           },
                                           options, std::nullopt);
    expect(copied && reported == text.size(), "copied with progress");
    const auto source = storage.fileInfo(results, true);
    const auto copy = other.fileInfo(folder + "/copy.csv", true);
    expect(source && copy && copy->size == source->size && copy->modTime == source->modTime,
           "the copy has the source's size and time");

    // Listings with a filter: wildcards, or a regular expression over the whole name.
    const auto csv = storage.directoryFileInfoList(folder, "*.csv", StorageSystemDirectoryFilterType::Wildcard);
    expect(csv.size() == 1 && csv[0].name == "copy.csv", "one .csv file directly in the folder");

    // The formats an application offers in its file dialog.
    FileFormats formats;
    formats.addFormats("Tables", {"*.csv", "*.tsv"});
    formats.addFormats("Archives", {"*.zip"});
    std::cout << "  dialog filter: " << formats.getFormats(true) << "\n";
    expect(formats.lookupFormatName(".CSV") == "Tables", "the format of an extension, ignoring case");

    // A Windows executable's version record is read from its bytes; other files have none.
    const auto record = storage.fileMetaData(results);
    expect(record && !record->hasMetaData(), "a text file has no version record");

    expect(storage.directoryRemove(folder, true), "the whole tree removed (links are removed as links)");
    return failures == 0 ? 0 : 1;
}
