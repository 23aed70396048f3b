// An archive as a storage, then changed in place: entries renamed, removed and replaced.
#include <FileSystem/FileSystem.h>
#include <FileSystem/storage/FileSystem2Zip.h>

#include <filesystem>
#include <iostream>
#include <stdexcept>

using namespace FileSystem;

int main(int argc, char** argv) {
    const std::string base = argc > 1 ? argv[1] : std::filesystem::temp_directory_path().string();
    const std::string folder = Path::getDuplicationName(base + "/guide-zip-storage");
    Directory::create(folder, false, true);
    File::dumpToFile(folder + "/log.txt", "converged after 12 steps\n");
    File::dumpToFile(folder + "/mesh.dat", std::string(100000, 'm'));
    File::dumpToFile(folder + "/log2.txt", "converged after 9 steps\n");
    int failures = 0;
    const auto expect = [&failures](bool ok, const std::string& what) {
        std::cout << (ok ? "  ok: " : "  FAILED: ") << what << "\n";
        failures += !ok;
    };

    // A writer storage takes files from the local disk; ids are entry names.
    const std::string archive = folder + "/results.zip";
    const FileSystem2Local local;
    {
        const FileSystem2Zip zip(archive, StorageSystemFileOpenModeFlag::Write, ZipArchive::BestSpeed);
        expect(zip.fileCopyAs(local, folder + "/log.txt", "run1/log.txt", {}, {}, std::nullopt), "log copied in");
        expect(zip.fileCopyAs(local, folder + "/mesh.dat", "run1/mesh.dat", {}, {}, std::nullopt), "mesh copied in");
        expect(zip.directoryCreateAs("scratch", false, StorageSystem::defaultDirectroyPermissions), "folder made");
    } // the archive is written when the storage goes

    // A reader storage answers kinds, sizes and rights; it has no listing, times or removal.
    {
        const FileSystem2Zip zip(archive, StorageSystemFileOpenModeFlag::Read, std::nullopt);
        expect(zip.directoryExists("run1", false), "run1 is a folder");
        expect(zip.fileIsFile("run1/mesh.dat", false), "mesh.dat is a file");
        expect(zip.fileSize("run1/mesh.dat", false) == 100000u, "its size");
        expect(!zip.fileExists("run1/mesh.dat", false), "fileExists is never the question for entries");
        try {
            zip.fileRemove("run1/log.txt");
            expect(false, "removal through the storage");
        } catch (const std::logic_error& e) {
            expect(std::string(e.what()) == "Not implemented", "removal is not the storage's business");
        }
    }

    // The archive itself renames and removes; each change is one commit of the whole archive.
    ZipArchive zip(archive, ZipArchive::OpenMode::Read, 1);
    expect(zip.renameInZip("run1", "final"), "run1 renamed to final, with its contents");
    expect(zip.removeFromZip("scratch"), "scratch removed");
    expect(!zip.removeFromZip("nothing/here"), "nothing matched: false, archive untouched");
    expect(!zip.renameInZip("final/log.txt", "final/mesh.dat"), "a rename never overwrites");
    zip.close();

    // A writer replaces an entry: removal and add go into the archive together.
    zip.open(ZipArchive::OpenMode::Add);
    expect(zip.replaceInZip(folder + "/log2.txt", "final/log.txt", false), "log replaced");
    zip.close();

    zip.open(ZipArchive::OpenMode::Read);
    for (const ZipArchive::FileInfo& info : zip.getAllFileInfos(true))
        std::cout << info.name << "  " << info.uncompressedSize << " bytes\n";
    expect(zip.extractDataFromZip("final/log.txt") == "converged after 9 steps\n", "the new log is in");
    expect(zip.numberOfEntries() == 3, "final/, final/log.txt and final/mesh.dat");
    zip.close();

    Directory::remove(folder, true);
    return failures == 0 ? 0 : 1;
}
