// Walking a tree of 100,000 files in 1,000 folders: fileCrawler against find,
// Directory::GetSize against du -sb (set FILESYSTEM_BENCH_DIR to choose where
// the tree lies; the system's temporary folder by default).

#include <FileSystem/files/Directory.h>
#include <FileSystem/files/DirectoryListing.h>

#include "RatioReporter.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

struct Tree {
    fs::path root;

    Tree() {
        const char* base = std::getenv("FILESYSTEM_BENCH_DIR");
        root = fs::path(base ? base : fs::temp_directory_path().string()) / ("fs-bench-tree-" + std::to_string(::getpid()));
        for (int top = 0; top < 10; ++top) {
            for (int folder = 0; folder < 100; ++folder) {
                const fs::path dir = root / ("top" + std::to_string(top)) / ("folder" + std::to_string(folder));
                fs::create_directories(dir);
                for (int file = 0; file < 100; ++file)
                    std::ofstream(dir / ("file" + std::to_string(file) + ".dat")) << file;
            }
        }
    }
    ~Tree() { fs::remove_all(root); }
};

Tree& tree() {
    static Tree instance;
    return instance;
}

void LibraryFileCrawler(benchmark::State& state) {
    std::vector<std::string> paths;
    for (auto _ : state) {
        paths.clear();
        const auto collect = [&paths](const std::string& path) {
            paths.push_back(path);
            return true;
        };
        FileSystem::fileCrawler(tree().root.string(), false, collect, collect, {}, {}, false, true);
        benchmark::DoNotOptimize(paths.data());
    }
    state.counters["paths"] = double(paths.size());
}

void ToolFind(benchmark::State& state) {
    const std::string command = "find '" + tree().root.string() + "' > /dev/null";
    for (auto _ : state)
        if (std::system(command.c_str()) != 0)
            state.SkipWithError("find failed");
}

void LibraryGetSize(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(FileSystem::Directory::GetSize(tree().root.string(), true));
}

void ToolDu(benchmark::State& state) {
    const std::string command = "du -sb '" + tree().root.string() + "' > /dev/null";
    for (auto _ : state)
        if (std::system(command.c_str()) != 0)
            state.SkipWithError("du failed");
}

} // namespace

BENCHMARK(ToolFind)->Iterations(10)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(LibraryFileCrawler)->Iterations(10)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(ToolDu)->Iterations(10)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(LibraryGetSize)->Iterations(10)->UseRealTime()->Unit(benchmark::kMillisecond);

int main(int argc, char** argv) {
    tree();
    return runWithRatios(argc, argv, {{"LibraryFileCrawler", "ToolFind"}, {"LibraryGetSize", "ToolDu"}});
}
