// Walking and measuring a tree, then copying, moving and removing it.
#include <FileSystem/FileSystem.h>

#include <filesystem>
#include <iostream>

using namespace FileSystem;

int main(int argc, char** argv) {
    const std::string base = argc > 1 ? argv[1] : std::filesystem::temp_directory_path().string();
    const std::string folder = Path::getDuplicationName(base + "/guide-trees");
    const std::string model = folder + "/model";
    Directory::create(model + "/mesh", false, true);
    Directory::create(model + "/results", false, true);
    File::dumpToFile(model + "/mesh/wing.dat", std::string(1000, 'w'));
    File::dumpToFile(model + "/mesh/tail.dat", std::string(2000, 't'));
    File::dumpToFile(model + "/results/log.txt", std::string(300, 'l'));
    int failures = 0;

    // Every file with its size; folders are announced before their contents.
    std::uint64_t crawled = 0;
    const bool walked = fileCrawler(
        model, false,
        [&](const std::string& file) {
            crawled += File::getFileSize(file);
            std::cout << "  " << Path::calculateRelativePath(file, model) << "  " << File::getFileSize(file) << "\n";
            return true;
        },
        [&](const std::string& dir) {
            std::cout << Path::calculateRelativePath(dir, model) << "/\n";
            return true;
        },
        {}, {}, false, true);
    const std::uint64_t size = Directory::GetSize(model, true);
    std::cout << "crawled " << crawled << " bytes, GetSize " << size << "\n";
    failures += !(walked && crawled == 3300 && size == 3300);

    // One folder's names ("." and ".." removed), and a wildcard listing.
    DirectoryListing listing(model + "/mesh");
    listing.clearInvalidFiles();
    DirectoryListing dats(model + "/mesh/t*.dat");
    failures += !(listing.size() == 2 && listing.containsEntry("wing.dat") && dats.size() == 1);

    // Copy, then move the copy: the contents go file by file, the source folder goes at the end.
    failures += !Directory::copyDirectory(model, folder + "/copy", true, false);
    failures += !Directory::moveDirectory(folder + "/copy", folder + "/moved");
    failures += !(!Directory::exists(folder + "/copy") && Directory::GetSize(folder + "/moved", true) == 3300);

    // Removal never follows a link: the folder outside the tree keeps its file.
    Directory::create(folder + "/outside", false, false);
    File::dumpToFile(folder + "/outside/keep.txt", "still here");
    Directory::createSymbolicLink(folder + "/outside", folder + "/moved/results/outside");
    failures += !Directory::remove(folder + "/moved", true);
    failures += !(!Directory::exists(folder + "/moved") && File::exists(folder + "/outside/keep.txt"));

    Directory::remove(folder, true);
    std::cout << (failures == 0 ? "all checks passed" : "some checks failed") << "\n";
    return failures == 0 ? 0 : 1;
}
