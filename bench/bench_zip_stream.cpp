// Compressed text files: ZipStream::compressTextFile and uncompressTextFile of
// a 200 MB text file against 7z writing and reading the same AES-256 zip
// (set FILESYSTEM_BENCH_DIR to choose where the files lie; the system's
// temporary folder by default). 7z uses every core; the library one.

#include <FileSystem/zip/ZipStream.h>

#include "RatioReporter.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <unistd.h>

namespace fs = std::filesystem;
using FileSystem::ZipStream;

namespace {

constexpr std::uint64_t kTextBytes = 200ull << 20;

struct Workspace {
    fs::path base;
    fs::path text;
    Workspace() {
        const char* root = std::getenv("FILESYSTEM_BENCH_DIR");
        base = fs::path(root ? root : fs::temp_directory_path().string()) /
               ("fs-bench-zipstream-" + std::to_string(::getpid()));
        fs::create_directories(base);
        text = base / "results.csv";
        std::mt19937_64 random(7);
        std::ofstream out(text, std::ios::binary);
        std::string line;
        std::uint64_t written = 0;
        while (written < kTextBytes) {
            line = std::to_string(written % 100000) + ",node" + std::to_string(random() % 5000) + "," +
                   std::to_string(double(random() % 10000000) / 1000.0) + ",\"step " + std::to_string(random() % 100) +
                   "\"\n";
            out << line;
            written += line.size();
        }
    }
    ~Workspace() { fs::remove_all(base); }
    std::string path(const std::string& name) const { return (base / name).string(); }
};

Workspace& workspace() {
    static Workspace instance;
    return instance;
}

int shell(const std::string& command) {
    return std::system(("cd '" + workspace().base.string() + "' && " + command + " > /dev/null").c_str());
}

void LibraryCompressTextFile(benchmark::State& state) {
    const std::string archive = workspace().path("library.zip");
    for (auto _ : state) {
        fs::remove(archive);
        ZipStream::compressTextFile(workspace().text.string(), archive);
    }
    state.counters["MB"] = double(fs::file_size(archive)) / 1e6;
}

void Tool7zAesCompress(benchmark::State& state) {
    const std::string password = ZipStream::generatePassword("tool.zip", 1);
    for (auto _ : state) {
        fs::remove(workspace().path("tool.zip"));
        if (shell("7z a -tzip -mem=AES256 -mx=1 '-p" + password + "' tool.zip results.csv") != 0)
            state.SkipWithError("7z a failed");
    }
    state.counters["MB"] = double(fs::file_size(workspace().path("tool.zip"))) / 1e6;
}

void LibraryUncompressTextFile(benchmark::State& state) {
    const std::string archive = workspace().path("source.zip");
    for (auto _ : state) {
        fs::remove(workspace().path("library-out.csv"));
        ZipStream::uncompressTextFile(archive, workspace().path("library-out.csv"));
    }
}

void Tool7zAesExtract(benchmark::State& state) {
    const std::string password = ZipStream::generatePassword("source.zip", 1);
    for (auto _ : state) {
        fs::remove_all(workspace().path("tool-out"));
        if (shell("7z x -y '-p" + password + "' -otool-out source.zip") != 0)
            state.SkipWithError("7z x failed");
    }
}

} // namespace

BENCHMARK(Tool7zAesCompress)->Iterations(2)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(LibraryCompressTextFile)->Iterations(2)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(Tool7zAesExtract)->Iterations(2)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(LibraryUncompressTextFile)->Iterations(2)->UseRealTime()->Unit(benchmark::kMillisecond);

int main(int argc, char** argv) {
    workspace();
    // The archive both extraction rounds read, written by the library.
    ZipStream::compressTextFile(workspace().text.string(), workspace().path("source.zip"));
    return runWithRatios(argc, argv,
                         {{"LibraryCompressTextFile", "Tool7zAesCompress"},
                          {"LibraryUncompressTextFile", "Tool7zAesExtract"}});
}
