// Path text operations against std::filesystem::path doing the same work.

#include <FileSystem/paths/Path.h>

#include <benchmark/benchmark.h>

#include <filesystem>

using FileSystem::Path;
namespace fs = std::filesystem;

namespace {

const std::string kPath = "/home/user/projects/sim/run_0042/results/mesh/part_17.dat";
const std::string kMessy = "/home/user/projects/./sim/../sim/run_0042//results/mesh/../mesh/part_17.dat";
const std::string kBase = "/home/user/projects/sim/run_0007/input";

void PathTokens(benchmark::State& state) {
    std::vector<std::string> tokens;
    for (auto _ : state) {
        tokens.clear();
        Path::getTokens(kPath, tokens);
        benchmark::DoNotOptimize(tokens.data());
    }
}

void StdFsTokens(benchmark::State& state) {
    std::vector<std::string> tokens;
    for (auto _ : state) {
        tokens.clear();
        for (const fs::path& part : fs::path(kPath))
            tokens.push_back(part.string());
        benchmark::DoNotOptimize(tokens.data());
    }
}

void PathNameAndExtension(benchmark::State& state) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(Path::getLastToken(kPath));
        benchmark::DoNotOptimize(Path::getExtension(kPath, false));
    }
}

void StdFsNameAndExtension(benchmark::State& state) {
    for (auto _ : state) {
        const fs::path path(kPath);
        benchmark::DoNotOptimize(path.filename().string());
        benchmark::DoNotOptimize(path.extension().string());
    }
}

void PathNormalise(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(Path::removeRedundentRelativeSegments(kMessy));
}

void StdFsNormalise(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(fs::path(kMessy).lexically_normal().string());
}

void PathRelative(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(Path::calculateRelativePath(kPath, kBase));
}

void StdFsRelative(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(fs::path(kPath).lexically_relative(fs::path(kBase)).string());
}

} // namespace

BENCHMARK(PathTokens);
BENCHMARK(StdFsTokens);
BENCHMARK(PathNameAndExtension);
BENCHMARK(StdFsNameAndExtension);
BENCHMARK(PathNormalise);
BENCHMARK(StdFsNormalise);
BENCHMARK(PathRelative);
BENCHMARK(StdFsRelative);
BENCHMARK_MAIN();
