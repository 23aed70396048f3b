// Cleaning up and editing small files: a run folder removed except for what
// must stay, a settings file edited line by line, and the math switch.
#include <FileSystem/FileSystem.h>

#include <filesystem>
#include <fstream>
#include <iostream>

using namespace FileSystem;

int main(int argc, char** argv) {
    const std::string base = argc > 1 ? argv[1] : std::filesystem::temp_directory_path().string();
    int failures = 0;
    const auto expect = [&failures](bool ok, const std::string& what) {
        std::cout << (ok ? "  ok: " : "  FAILED: ") << what << "\n";
        failures += !ok;
    };

    TemporaryDirectory work(base, "cleanup", true);
    const std::string run = work.getPath() + "/run";
    for (const char* name : {"mesh/part.dat", "mesh/part.idx", "results/step1.res", "results/solver.log",
                             "checkpoint/state.chk", "notes.txt"}) {
        std::filesystem::create_directories(std::filesystem::path(run + "/" + name).parent_path());
        std::ofstream(run + "/" + name) << name;
    }

    // Remove the run, but keep logs, the file "notes.txt" and the checkpoint
    // folder (a filter: false spares a path). Folders that hold a kept file stay.
    FileRemover remover;
    remover.addIgnoreFileExtension(".log");
    remover.addIgnoreFile("notes.txt");
    const bool removed =
        remover.remove(run, true, [&](const std::string& path) { return path != run + "/checkpoint"; });
    expect(removed, "everything that was to go has gone");
    expect(std::filesystem::exists(run + "/results/solver.log"), "the log stays, with its folder");
    expect(std::filesystem::exists(run + "/checkpoint/state.chk"), "the spared folder stays whole");
    expect(!std::filesystem::exists(run + "/mesh"), "the mesh is gone");

    // A settings file with Windows line ends, edited and saved with Unix ones.
    const std::string settings = work.getPath() + "/solver.ini";
    std::ofstream(settings, std::ios::binary) << "[solver]\r\nthreads=4\r\n\r\ntolerance=1e-6\r\n";
    TextFileParser file(settings, true, {"\n", "\r\n"}); // empty lines dropped
    expect(file.getNumberOfLines() == 3, "three lines, \"\\r\\n\" taken as one line end");
    for (std::string& line : file)
        if (line.rfind("threads=", 0) == 0)
            line = "threads=8";
    file.addLine("verbose=1");
    expect(file.save("\n"), "saved with \"\\n\" after every line");
    expect(TextFileParser(settings, false, {"\n"}).getLine(1) == "threads=8", "read back");

    // Reproducible mathematical functions: a stored switch on Linux.
    setMathConsistency(true, true);
    std::cout << "  math: " << mathConsistencyString().second << "\n";

    std::cout << (failures == 0 ? "All results as expected\n" : "Some results were wrong\n");
    return failures == 0 ? 0 : 1;
}
