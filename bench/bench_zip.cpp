// Zip archives of a tree of about 200 MB (half text that compresses well, half
// random bytes that do not, files of 4 KiB to 4 MiB in nested folders):
// ZipArchive against zip -1 / zip -6 / unzip, AES-256 entries against 7z, and
// the archive's size at every level (set
// FILESYSTEM_BENCH_DIR to choose where the tree lies; the system's temporary
// folder by default).

#include <FileSystem/zip/ZipArchive.h>

#include "RatioReporter.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <unistd.h>

namespace fs = std::filesystem;
using FileSystem::ZipArchive;

namespace {

constexpr std::uint64_t kTreeBytes = 200ull << 20;

/// The tree, the archives the extraction rounds read, and the places they write to.
struct Workspace {
    fs::path base;
    fs::path tree;
    std::uint64_t bytes = 0;
    std::uint64_t files = 0;
    std::vector<fs::path> sorted; ///< the tree's files in name order

    Workspace() {
        const char* root = std::getenv("FILESYSTEM_BENCH_DIR");
        base = fs::path(root ? root : fs::temp_directory_path().string()) / ("fs-bench-zip-" + std::to_string(::getpid()));
        tree = base / "tree";
        std::mt19937_64 random(2025);
        std::uniform_real_distribution<double> logSize(std::log(4096.0), std::log(4.0 * 1024 * 1024));
        const char* words[] = {"pressure", "temperature", "node", "element", "velocity", "mesh", "step", "load"};
        std::uint64_t textBytes = 0, randomBytes = 0;
        std::string content;
        while (bytes < kTreeBytes) {
            const fs::path folder = tree / ("part" + std::to_string(files % 4)) / ("group" + std::to_string(files % 3)) /
                                    (files % 2 ? "results" : "inputs");
            fs::create_directories(folder);
            const auto size = static_cast<std::size_t>(std::exp(logSize(random)));
            content.clear();
            // Whichever kind is behind gets the next file, so the bytes split about evenly.
            const bool text = textBytes <= randomBytes;
            if (text) {
                while (content.size() < size)
                    content += std::string(words[random() % 8]) + " " + std::to_string(random() % 100000) + " " +
                               words[random() % 8] + " " + std::to_string(double(random() % 1000000) / 1000.0) + "\n";
                content.resize(size);
                textBytes += size;
            } else {
                content.resize(size);
                for (std::size_t i = 0; i < size; ++i)
                    content[i] = static_cast<char>(random() & 0xff);
                randomBytes += size;
            }
            const fs::path file = folder / ("file" + std::to_string(files) + (text ? ".txt" : ".bin"));
            std::ofstream(file, std::ios::binary).write(content.data(), static_cast<std::streamsize>(size));
            sorted.push_back(file);
            bytes += size;
            ++files;
        }
        std::sort(sorted.begin(), sorted.end());
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

/// Clears what a round writes, outside the timing.
void clearBetweenRounds(benchmark::State& state, const std::string& path) {
    state.PauseTiming();
    fs::remove_all(path);
    state.ResumeTiming();
}

void finish(benchmark::State& state, const std::string& archive) {
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * workspace().bytes));
    std::error_code ec;
    state.counters["archiveMB"] = double(fs::file_size(archive, ec)) / (1 << 20);
    state.counters["files"] = double(workspace().files);
}

bool writeArchive(const std::string& archive, int level) {
    ZipArchive zip(archive, ZipArchive::OpenMode::Create, 1);
    zip.setDefaultCompressionLevel(level);
    const bool added = zip.addToZip(workspace().tree.string(), true, false);
    zip.close();
    return added;
}

// The archive the plain extraction rounds read: the library's, at level 1.
const std::string& plainArchive() {
    static const std::string archive = [] {
        const std::string path = workspace().path("extract-source.zip");
        writeArchive(path, 1);
        return path;
    }();
    return archive;
}

void libraryZipWrite(benchmark::State& state, int level) {
    const std::string archive = workspace().path("library" + std::to_string(level) + ".zip");
    for (auto _ : state) {
        clearBetweenRounds(state, archive);
        if (!writeArchive(archive, level))
            state.SkipWithError("addToZip failed");
    }
    finish(state, archive);
}

void toolZip(benchmark::State& state, int level) {
    const std::string archive = "tool" + std::to_string(level) + ".zip";
    for (auto _ : state) {
        clearBetweenRounds(state, workspace().path(archive)); // zip would update an existing archive
        if (shell("zip -" + std::to_string(level) + " -r -q " + archive + " tree") != 0)
            state.SkipWithError("zip failed");
    }
    finish(state, workspace().path(archive));
}

void LibraryZipWrite(benchmark::State& state) { libraryZipWrite(state, 1); }
void ToolZip(benchmark::State& state) { toolZip(state, 1); }
void LibraryZipWrite6(benchmark::State& state) { libraryZipWrite(state, 6); }
void ToolZip6(benchmark::State& state) { toolZip(state, 6); }

/// The archive's size at every level, once each: a higher level must never
/// give a larger archive (the counter "monotone" is 1 when none does).
void LibraryZipLevels(benchmark::State& state) {
    for (auto _ : state) {
        double previous = 0;
        bool monotone = true;
        for (int level = 1; level <= 9; ++level) {
            const std::string archive = workspace().path("levels.zip");
            fs::remove(archive);
            if (!writeArchive(archive, level))
                state.SkipWithError("addToZip failed");
            const double size = double(fs::file_size(archive)) / (1 << 20);
            state.counters["L" + std::to_string(level) + "MB"] = size;
            monotone = monotone && (level == 1 || size <= previous);
            previous = size;
        }
        state.counters["monotone"] = monotone ? 1 : 0;
    }
}

void LibraryUnzip(benchmark::State& state) {
    const std::string target = workspace().path("library-out");
    const ZipArchive reader(plainArchive(), ZipArchive::OpenMode::Read, 1);
    for (auto _ : state) {
        clearBetweenRounds(state, target);
        if (reader.extractFromZip("", target, true, false).empty())
            state.SkipWithError("extractFromZip wrote nothing");
    }
    finish(state, plainArchive());
}

void ToolUnzip(benchmark::State& state) {
    const std::string target = workspace().path("tool-out");
    for (auto _ : state) {
        clearBetweenRounds(state, target);
        if (shell("unzip -q -o '" + plainArchive() + "' -d tool-out") != 0)
            state.SkipWithError("unzip failed");
    }
    finish(state, plainArchive());
}

/// The tree with AES-256 entries: a writer with a password encrypts what it adds.
/// (Entries written one by one through FileInZip commit the archive at each
/// close, so that path grows with the square of the entry count; a tree goes
/// through addToZip, as a caller would add one.)
bool writeAesArchive(const std::string& archive) {
    ZipArchive zip(archive, ZipArchive::OpenMode::Create, 1);
    zip.setDefaultCompressionLevel(1);
    zip.setPassword("secret");
    return zip.addToZip(workspace().tree.string(), true, false);
}

// The AES archives the extraction rounds read: one by 7z and one by the library.
const std::string& aesArchiveBy7z() {
    static const std::string archive = [] {
        shell("7z a -tzip -mem=AES256 -psecret -mx=1 extract-source-7z-aes.zip tree");
        return workspace().path("extract-source-7z-aes.zip");
    }();
    return archive;
}

const std::string& aesArchiveByLibrary() {
    static const std::string archive = [] {
        const std::string path = workspace().path("extract-source-library-aes.zip");
        writeAesArchive(path);
        return path;
    }();
    return archive;
}

void LibraryAesWrite(benchmark::State& state) {
    const std::string archive = workspace().path("library-aes.zip");
    for (auto _ : state) {
        clearBetweenRounds(state, archive);
        if (!writeAesArchive(archive))
            state.SkipWithError("writing the encrypted archive failed");
    }
    finish(state, archive);
}

void Tool7zAesWrite(benchmark::State& state) {
    const std::string archive = workspace().path("tool-aes.zip");
    for (auto _ : state) {
        clearBetweenRounds(state, archive);
        if (shell("7z a -tzip -mem=AES256 -psecret -mx=1 tool-aes.zip tree") != 0)
            state.SkipWithError("7z a failed");
    }
    finish(state, archive);
}

void libraryAesExtract(benchmark::State& state, const std::string& archive) {
    const std::string target = workspace().path("library-aes-out");
    ZipArchive reader(archive, ZipArchive::OpenMode::Read, 1);
    reader.setPassword("secret");
    for (auto _ : state) {
        clearBetweenRounds(state, target);
        if (reader.extractFromZip("", target, true, false).empty())
            state.SkipWithError("extractFromZip wrote nothing");
    }
    finish(state, archive);
}

void toolAesExtract(benchmark::State& state, const std::string& archive) {
    const std::string target = workspace().path("tool-aes-out");
    for (auto _ : state) {
        clearBetweenRounds(state, target);
        if (shell("7z x -psecret -y -otool-aes-out '" + archive + "'") != 0)
            state.SkipWithError("7z x failed");
    }
    finish(state, archive);
}

void LibraryAesExtract(benchmark::State& state) { libraryAesExtract(state, aesArchiveBy7z()); }
void Tool7zAesExtract(benchmark::State& state) { toolAesExtract(state, aesArchiveBy7z()); }
void LibraryAesExtractOwn(benchmark::State& state) { libraryAesExtract(state, aesArchiveByLibrary()); }
void Tool7zAesExtractOwn(benchmark::State& state) { toolAesExtract(state, aesArchiveByLibrary()); }

} // namespace

BENCHMARK(ToolZip)->Iterations(3)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(LibraryZipWrite)->Iterations(3)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(ToolZip6)->Iterations(1)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(LibraryZipWrite6)->Iterations(1)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(LibraryZipLevels)->Iterations(1)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(ToolUnzip)->Iterations(3)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(LibraryUnzip)->Iterations(3)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(Tool7zAesWrite)->Iterations(3)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(LibraryAesWrite)->Iterations(3)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(Tool7zAesExtract)->Iterations(3)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(LibraryAesExtract)->Iterations(3)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(Tool7zAesExtractOwn)->Iterations(3)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(LibraryAesExtractOwn)->Iterations(3)->UseRealTime()->Unit(benchmark::kMillisecond);

int main(int argc, char** argv) {
    // Made before any timing starts.
    workspace();
    plainArchive();
    aesArchiveBy7z();
    aesArchiveByLibrary();
    return runWithRatios(argc, argv,
                         {{"LibraryZipWrite", "ToolZip"},
                          {"LibraryZipWrite6", "ToolZip6"},
                          {"LibraryUnzip", "ToolUnzip"},
                          {"LibraryAesWrite", "Tool7zAesWrite"},
                          {"LibraryAesExtract", "Tool7zAesExtract"},
                          {"LibraryAesExtractOwn", "Tool7zAesExtractOwn"}});
}
