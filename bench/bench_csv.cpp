// Parsing a CSV file of 200 MB (plain and quoted cells, some with separators
// and line breaks inside quotes) with CSVParser::parseFile against Python's
// csv reader over the same file (set FILESYSTEM_BENCH_DIR to choose where the
// file lies; the system's temporary folder by default).
//
// parseFile() keeps the whole table (about 0.9 GB here: a vector of strings a
// row), while Python's reader hands out one row at a time and reuses its
// memory; the first touch of that much fresh memory is much of the library's
// time on some machines. Python keeping all rows is measured too, and the
// library with freed memory kept mapped by the allocator (mallopt in this
// program), which is the parser's own work.
//
// Last, the library's side runs as a program of its own, as Python does: once
// as it is, and once with glibc's malloc asked for transparent huge pages
// (GLIBC_TUNABLES=glibc.malloc.hugetlb=1), which a user can set for an
// application on machines where the first touch of memory is expensive (a
// fault a 4 KiB page becomes a fault a 2 MiB page).

#include <FileSystem/tabular/CSVParser.h>

#include "RatioReporter.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <malloc.h>
#include <random>
#include <string>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

const std::uint64_t kSize = std::uint64_t(200) << 20;

// Python's reader as it is mostly used, row by row, and keeping all rows as
// parseFile() does (argument "keep").
const char* const kPythonReader = "import csv, sys\n"
                                  "with open(sys.argv[1], newline='') as f:\n"
                                  "    if len(sys.argv) > 2:\n"
                                  "        rows = len(list(csv.reader(f)))\n"
                                  "    else:\n"
                                  "        rows = 0\n"
                                  "        for row in csv.reader(f):\n"
                                  "            rows += 1\n"
                                  "print(rows)\n";

struct Files {
    fs::path folder;
    std::string csv;
    std::string script;
    std::uint64_t rows = 0;

    Files() {
        const char* base = std::getenv("FILESYSTEM_BENCH_DIR");
        folder = fs::path(base ? base : fs::temp_directory_path().string()) /
                 ("fs-bench-csv-" + std::to_string(::getpid()));
        fs::create_directories(folder);
        csv = (folder / "table.csv").string();
        script = (folder / "reader.py").string();
        std::ofstream(script) << kPythonReader;

        static const char* const names[] = {"Smith", "Jones", "Miller", "Garcia", "Brown", "Davis", "Wilson"};
        static const char* const words[] = {"steel", "aluminium", "copper", "titanium", "polymer", "glass"};
        std::mt19937_64 random(42);
        std::ofstream out(csv, std::ios::binary);
        out << "id,name,value,material,note,count,date,flag\n";
        ++rows;
        std::string row;
        std::uint64_t written = 0;
        while (written < kSize) {
            row.clear();
            row += std::to_string(rows) + ",\"" + names[random() % 7] + ", " + names[random() % 7] + "\",";
            row += std::to_string(static_cast<double>(random() % 1000000) / 997.0) + ",";
            row += words[random() % 6];
            row += random() % 10 == 0 ? ",\"first line\nsecond line\"," : ",\"a plain note\",";
            row += std::to_string(random() % 100000) + ",2024-0" + std::to_string(1 + random() % 9) + "-1" +
                   std::to_string(random() % 10) + (random() % 2 ? ",yes\n" : ",no\n");
            out << row;
            written += row.size();
            ++rows;
        }
    }
    ~Files() { fs::remove_all(folder); }
};

Files& files() {
    static Files instance;
    return instance;
}

void parse(benchmark::State& state, bool plainFileOnly) {
    for (auto _ : state) {
        FileSystem::CSVParser parser;
        if (!parser.parseFile(files().csv, false, false, plainFileOnly) ||
            static_cast<std::uint64_t>(parser.getNumberOfRows()) != files().rows)
            state.SkipWithError("parse failed");
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kSize));
}

void LibraryParseFile(benchmark::State& state) { parse(state, false); }

void LibraryParseFilePlainOnly(benchmark::State& state) { parse(state, true); }

void LibraryParseFileMemoryKept(benchmark::State& state) {
    // From here on freed memory stays with the process instead of going back
    // to the system, so each round reuses the pages of the round before.
    ::mallopt(M_MMAP_THRESHOLD, 1 << 30);
    ::mallopt(M_TRIM_THRESHOLD, 1 << 30);
    {
        FileSystem::CSVParser warmUp;
        warmUp.parseFile(files().csv, false, false, false);
    }
    parse(state, false);
}

// Runs a command that prints the number of rows it read.
void program(benchmark::State& state, const std::string& command) {
    for (auto _ : state) {
        FILE* pipe = ::popen(command.c_str(), "r");
        unsigned long long rows = 0;
        const bool read = pipe != nullptr && std::fscanf(pipe, "%llu", &rows) == 1;
        const bool ended = pipe != nullptr && ::pclose(pipe) == 0;
        if (!read || !ended || rows != files().rows)
            state.SkipWithError(("failed: " + command).c_str());
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kSize));
}

void python(benchmark::State& state, const std::string& argument) {
    program(state, "python3 '" + files().script + "' '" + files().csv + "'" + argument);
}

void ToolPythonCsv(benchmark::State& state) { python(state, ""); }

void ToolPythonCsvKeepingRows(benchmark::State& state) { python(state, " keep"); }

void LibraryProgram(benchmark::State& state) {
    program(state, std::string("GLIBC_TUNABLES= '") + FS_CSV_PARSE_PROGRAM + "' '" + files().csv + "'");
}

void LibraryProgramHugePages(benchmark::State& state) {
    program(state, std::string("GLIBC_TUNABLES=glibc.malloc.hugetlb=1 '") + FS_CSV_PARSE_PROGRAM + "' '" +
                       files().csv + "'");
}

} // namespace

BENCHMARK(ToolPythonCsv)->Iterations(3)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(ToolPythonCsvKeepingRows)->Iterations(3)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(LibraryParseFile)->Iterations(3)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(LibraryParseFilePlainOnly)->Iterations(3)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(LibraryParseFileMemoryKept)->Iterations(3)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(LibraryProgram)->Iterations(3)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(LibraryProgramHugePages)->Iterations(3)->UseRealTime()->Unit(benchmark::kMillisecond);

int main(int argc, char** argv) {
    files();
    return runWithRatios(argc, argv,
                         {{"LibraryParseFile", "ToolPythonCsv"},
                          {"LibraryParseFilePlainOnly", "ToolPythonCsv"},
                          {"LibraryParseFile", "ToolPythonCsvKeepingRows"},
                          {"LibraryParseFileMemoryKept", "ToolPythonCsv"},
                          {"LibraryProgram", "ToolPythonCsv"},
                          {"LibraryProgramHugePages", "ToolPythonCsv"},
                          {"LibraryProgramHugePages", "ToolPythonCsvKeepingRows"}});
}
