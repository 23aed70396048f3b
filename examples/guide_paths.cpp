// Paths: text operations on any form, the KVL form, and the gate to the system's form.
#include <FileSystem/FileSystem.h>

#include <filesystem>
#include <iostream>

using namespace FileSystem;

int main(int argc, char** argv) {
    int failures = 0;
    const auto expect = [&failures](const std::string& got, const std::string& wanted) {
        std::cout << "  " << got << (got == wanted ? "" : "   <- expected " + wanted) << "\n";
        failures += got != wanted;
    };

    // A path written on Windows: both separators count, the drive is the first token.
    const Path stored("C:\\Models\\wing/v2.Mesh");
    std::cout << "Taking apart " << stored.get() << "\n";
    expect(std::to_string(stored.getTokens().size()), "4");
    expect(stored.getFirstToken(), "C:");
    expect(stored.getLastToken(), "v2.Mesh");
    expect(stored.getExtension(true), ".mesh");
    expect(stored.getBaseFileName(), "v2");
    expect(Path::makeForwardSlashes(stored.get()), "C:/Models/wing/v2.Mesh");

    std::cout << "Normalising and relating\n";
    expect(Path::removeRedundentRelativeSegments("/data//runs/a/../b"), "/data/runs/b");
    expect(Path::removeRedundentRelativeSegments("/data/a/..x"), "/datax");  // the text form reads "..x" as ".."
    expect(PathConverter::fromKVLPath("/data/a/..x", false), "/data/a/..x"); // the system form never changes a name
    expect(Path::calculateRelativePath("/data/run/a.dat", "/data/input"), "../run/a.dat");
    expect(Path::calculateRelativePath("C:\\a\\b\\c", "C:/a/d"), "../b/c");

    // The gate: KVL form (UTF-8, forward slashes) in, the system's form out, and back.
    const std::string base = argc > 1 ? argv[1] : std::filesystem::temp_directory_path().string();
    const std::string folder = Path::getDuplicationName(Path::makeForwardSlashes(base) + "/guide-paths");
    const std::string kvl = folder + "/runs/../results/wing.dat";
    const std::string system = PathConverter::fromKVLPath(kvl, false); // absolute and normalised
    std::cout << "To the system and back\n";
    expect(system, PathConverter::fromKVLPath(folder, false) + "/results/wing.dat");
    expect(PathConverter::toKVLPath(system), system);                    // on Linux the forms agree
    expect(PathConverter::fromKVLPath("results\\wing.dat", true), "results/wing.dat"); // kept relative

    // std::filesystem gets the system's form; the library's own calls take the KVL form as it is.
    std::filesystem::create_directories(std::filesystem::path(system).parent_path());
    File::dumpToFile(kvl, "lift and drag\n");
    expect(std::to_string(std::filesystem::file_size(system)), "14");
    Directory::remove(folder, true);
    return failures == 0 ? 0 : 1;
}
