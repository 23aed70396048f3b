// Archives: a tree and single files added, committed, listed and extracted; a password; progress.
#include <FileSystem/FileSystem.h>

#include <filesystem>
#include <iostream>

using namespace FileSystem;

int main(int argc, char** argv) {
    const std::string base = argc > 1 ? argv[1] : std::filesystem::temp_directory_path().string();
    const std::string folder = Path::getDuplicationName(base + "/guide-archives");
    Directory::create(folder + "/results/run1", false, true);
    File::dumpToFile(folder + "/results/run1/mesh.dat", std::string(100000, 'm'));
    File::dumpToFile(folder + "/results/run1/log.txt", "converged after 12 steps\n");
    File::dumpToFile(folder + "/notes.txt", "second try, finer mesh\n");
    int failures = 0;
    const auto expect = [&failures](bool ok, const char* what) {
        if (!ok)
            std::cerr << "FAILED: " << what << "\n";
        failures += !ok;
    };

    const std::string archive = folder + "/results.zip";
    {
        ZipArchive zip(archive, ZipArchive::OpenMode::Create, 1);
        std::uint64_t lastDone = 0, lastTotal = 0; // a progress function sees each file's bytes as they go in
        const auto progress = [&](std::uint64_t done, std::uint64_t total) {
            lastDone = done;
            lastTotal = total;
            return true; // false would stop the add
        };
        expect(zip.addToZip(folder + "/results", "", true, false, {}, progress), "tree added as results/...");
        expect(lastDone == 100000 && lastTotal == 100000, "progress reached the end of mesh.dat");
        expect(zip.addToZipAs(folder + "/notes.txt", "docs/notes.txt", false, false), "one file added");
        expect(zip.containsEntryInZip("docs/notes.txt", false), "a writer lists what it was given");
        expect(zip.commit(), "archive written"); // close() and the destructor commit as well
        zip.setPassword("correct horse");         // what is added from now on is AES-256 encrypted
        expect(zip.addToZipAs(folder + "/notes.txt", "private/notes.txt", false, false), "encrypted add");
    }

    ZipArchive zip(archive, ZipArchive::OpenMode::Read, 1);
    for (const ZipArchive::FileInfo& info : zip.getAllFileInfos(true))
        std::cout << info.name << "  " << info.uncompressedSize << " bytes" << (info.aesVersion > 0 ? ", AES" : "")
                  << "\n";
    expect(zip.numberOfEntries(false, false) == 4, "four files");
    const auto info = zip.getFileInfo("private/notes.txt");
    expect(info && info->aesVersion > 0, "the private copy is encrypted");
    expect(!zip.extractDataFromZip("private/notes.txt"), "no data without the password");

    zip.setPassword("correct horse"); // readers and extraction use it for entries that need one
    const std::vector<std::string> written = zip.extractFromZipAs("", folder + "/unpacked", true, false);
    std::cout << "extracted " << written.size() << " entries\n";
    expect(File::readWholeFile(folder + "/unpacked/private/notes.txt", true) == "second try, finer mesh\n",
           "decrypted on extraction");
    expect(File::getFileSize(folder + "/unpacked/results/run1/mesh.dat") == 100000, "tree extracted");
    expect(zip.extractDataFromZip("results/run1/log.txt") == "converged after 12 steps\n", "read into memory");

    zip.close();
    Directory::remove(folder, true);
    return failures == 0 ? 0 : 1;
}
