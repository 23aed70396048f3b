// Copies of a file of 1 GiB against cp: File::copyFile, and the local storage
// within one FileSystem2Local (its fast path) and between two FileSystem2Local
// objects through their open files with the default chunk size (set
// FILESYSTEM_BENCH_DIR to choose where the file lies; the system's temporary
// folder by default).

#include <FileSystem/files/File.h>
#include <FileSystem/storage/FileSystem2Local.h>

#include "RatioReporter.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

const std::uint64_t kSize = std::uint64_t(1) << 30;

struct Files {
    fs::path folder;
    std::string source;
    std::string dest;

    Files() {
        const char* base = std::getenv("FILESYSTEM_BENCH_DIR");
        folder = fs::path(base ? base : fs::temp_directory_path().string()) / ("fs-bench-copy-" + std::to_string(::getpid()));
        fs::create_directories(folder);
        source = (folder / "source.bin").string();
        dest = (folder / "dest.bin").string();
        std::vector<char> block(std::size_t(1) << 20);
        std::mt19937_64 random(42);
        std::ofstream out(source, std::ios::binary);
        for (std::uint64_t written = 0; written < kSize; written += block.size()) {
            for (auto& c : block)
                c = static_cast<char>(random());
            out.write(block.data(), std::streamsize(block.size()));
        }
        out.close();
        ::sync();
    }
    ~Files() { fs::remove_all(folder); }
};

Files& files() {
    static Files instance;
    return instance;
}

/// Removes the copy and writes dirty pages out, so each round starts alike.
void resetRound(benchmark::State& state) {
    state.PauseTiming();
    fs::remove(files().dest);
    ::sync();
    state.ResumeTiming();
}

void LibraryCopyFile(benchmark::State& state) {
    for (auto _ : state) {
        if (!FileSystem::File::copyFile(files().source, files().dest, false))
            state.SkipWithError("copy failed");
        resetRound(state);
    }
    state.SetBytesProcessed(std::int64_t(state.iterations() * kSize));
}

void LibraryCopyFileWithProgress(benchmark::State& state) {
    std::uint64_t calls = 0;
    for (auto _ : state) {
        FileSystem::File::copyFile(files().source, files().dest, false, false,
                                   [&calls](std::uint64_t, std::uint64_t) { return ++calls > 0; });
        resetRound(state);
    }
    state.SetBytesProcessed(std::int64_t(state.iterations() * kSize));
}

using namespace FileSystem;

void StorageFastPath(benchmark::State& state) {
    const FileSystem2Local storage;
    for (auto _ : state) {
        if (!storage.fileCopyAs(files().source, files().dest, {}, StorageSystemCopyOptions(), std::nullopt))
            state.SkipWithError("copy failed");
        resetRound(state);
    }
    state.SetBytesProcessed(std::int64_t(state.iterations() * kSize));
}

void StorageOpenFiles(benchmark::State& state) {
    const FileSystem2Local from;
    const FileSystem2Local to;
    const auto read = StorageSystemFileOpenMode(StorageSystemFileOpenModeFlag::Read) | StorageSystemFileOpenModeFlag::NoCreate;
    const auto write = StorageSystemFileOpenMode(StorageSystemFileOpenModeFlag::Write) | StorageSystemFileOpenModeFlag::Truncate;
    for (auto _ : state) {
        {
            const auto in = from.fileOpenBinary(files().source, read, StorageSystem::defaultFilePermissions);
            const auto out = to.fileOpenBinary(files().dest, write, StorageSystem::defaultFilePermissions);
            if (!in || !out || !in->copy(*out, {}, std::nullopt))
                state.SkipWithError("copy failed");
        } // both files are closed before the round's clean-up
        resetRound(state);
    }
    state.SetBytesProcessed(std::int64_t(state.iterations() * kSize));
}

void ToolCp(benchmark::State& state) {
    const std::string command = "cp '" + files().source + "' '" + files().dest + "'";
    for (auto _ : state) {
        if (std::system(command.c_str()) != 0)
            state.SkipWithError("cp failed");
        resetRound(state);
    }
    state.SetBytesProcessed(std::int64_t(state.iterations() * kSize));
}

} // namespace

BENCHMARK(ToolCp)->Iterations(5)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(LibraryCopyFile)->Iterations(5)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(LibraryCopyFileWithProgress)->Iterations(5)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(StorageFastPath)->Iterations(5)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(StorageOpenFiles)->Iterations(5)->UseRealTime()->Unit(benchmark::kMillisecond);

int main(int argc, char** argv) {
    files();
    return runWithRatios(argc, argv,
                         {{"LibraryCopyFile", "ToolCp"},
                          {"LibraryCopyFileWithProgress", "ToolCp"},
                          {"StorageFastPath", "ToolCp"},
                          {"StorageOpenFiles", "ToolCp"}});
}
