// Adding 1,000 files of 100 KB to an archive one at a time, through addToZipAs
// per file and through FileInZip writers, against one addToZip of the same
// tree: each way costs what it writes, so the ratios stay near 1 (and
// zip -1 -r over the tree is there for scale). FILESYSTEM_BENCH_DIR chooses
// where the files lie.

#include <FileSystem/zip/ZipArchive.h>

#include "RatioReporter.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <unistd.h>

namespace fs = std::filesystem;
using FileSystem::ZipArchive;

namespace {

constexpr int kFiles = 1000;
constexpr std::size_t kFileBytes = 100 * 1000;

struct Workspace {
    fs::path base;
    fs::path tree;
    std::vector<std::string> names;
    std::vector<std::string> contents;

    Workspace() {
        const char* root = std::getenv("FILESYSTEM_BENCH_DIR");
        base = fs::path(root ? root : fs::temp_directory_path().string()) /
               ("fs-bench-adds-" + std::to_string(::getpid()));
        tree = base / "tree";
        fs::create_directories(tree);
        std::mt19937_64 random(7);
        for (int i = 0; i < kFiles; ++i) {
            // Half text that compresses, half random bytes that do not.
            std::string content(kFileBytes, '\0');
            for (std::size_t j = 0; j < kFileBytes; ++j)
                content[j] = i % 2 ? static_cast<char>(random()) : static_cast<char>('a' + random() % 8);
            const std::string name = "file" + std::to_string(i) + ".dat";
            std::ofstream((tree / name).string(), std::ios::binary).write(content.data(), kFileBytes);
            names.push_back(name);
            contents.push_back(std::move(content));
        }
    }
    ~Workspace() { fs::remove_all(base); }
    std::string archive() const { return (base / "out.zip").string(); }
};

Workspace& workspace() {
    static Workspace instance;
    return instance;
}

void check(benchmark::State& state, std::uint64_t expected) {
    ZipArchive reader(workspace().archive(), ZipArchive::OpenMode::Read, 1);
    if (reader.numberOfEntries(false, false) != expected)
        state.SkipWithError("the archive does not hold every file");
}

void WholeTree(benchmark::State& state) {
    for (auto _ : state) {
        ZipArchive zip(workspace().archive(), ZipArchive::OpenMode::Create, 1);
        zip.addToZip(workspace().tree.string(), true, false);
        zip.close();
    }
    check(state, kFiles);
}

void OneByOneAdds(benchmark::State& state) {
    for (auto _ : state) {
        ZipArchive zip(workspace().archive(), ZipArchive::OpenMode::Create, 1);
        for (const std::string& name : workspace().names)
            zip.addToZipAs((workspace().tree / name).string(), "tree/" + name, false, false);
        zip.close();
    }
    check(state, kFiles);
}

void OneByOneWriters(benchmark::State& state) {
    for (auto _ : state) {
        ZipArchive zip(workspace().archive(), ZipArchive::OpenMode::Create, 1);
        for (int i = 0; i < kFiles; ++i) {
            ZipArchive::FileInZip entry("tree/" + workspace().names[i], &zip);
            entry.open();
            entry.write(workspace().contents[i].data(), static_cast<unsigned>(kFileBytes));
            entry.close();
        }
        zip.close();
    }
    check(state, kFiles);
}

void ToolZip(benchmark::State& state) {
    const std::string command = "cd '" + workspace().base.string() + "' && rm -f out.zip && zip -1 -r -q out.zip tree";
    for (auto _ : state)
        if (std::system(command.c_str()) != 0)
            state.SkipWithError("zip failed");
    check(state, kFiles);
}

} // namespace

BENCHMARK(WholeTree)->Iterations(3)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(OneByOneAdds)->Iterations(3)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(OneByOneWriters)->Iterations(3)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(ToolZip)->Iterations(3)->UseRealTime()->Unit(benchmark::kMillisecond);

int main(int argc, char** argv) {
    workspace(); // made before any timing starts
    return runWithRatios(argc, argv,
                         {{"OneByOneAdds", "WholeTree"}, {"OneByOneWriters", "WholeTree"}, {"WholeTree", "ToolZip"}});
}
