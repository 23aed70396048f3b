// Data streams against what users would otherwise do: Base64 of 256 MiB
// against coreutils base64, the block write of 100 million doubles against one
// std::ostream::write, and element-by-element writes and reads for the record.
// Streaming a whole file is measured as whole processes on both sides: the
// tool (`base64 -d`, `xxd -r -p`) against this program started again to read
// the same file through the library's stream in blocks of 1 MiB.

#include <FileSystem/files/StreamUtilities.h>
#include <FileSystem/streams/BinaryDataStream.h>
#include <FileSystem/streams/BinaryDerivedDataStream.h>
#include <FileSystem/streams/TextDataStream.h>
#include <FileSystem/utilities/BinaryTextEncoder.h>

#include "RatioReporter.h"

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <sstream>
#include <unistd.h>

namespace fs = std::filesystem;
using Utilities::Endianness;

namespace {

/// A stream buffer that takes everything and keeps nothing.
class NullBuffer : public std::streambuf {
protected:
    std::streamsize xsputn(const char*, std::streamsize count) override { return count; }
    int overflow(int c) override { return traits_type::not_eof(c); }
};

/// A stream buffer that copies what it gets into memory of a fixed size.
class MemoryBuffer : public std::streambuf {
public:
    explicit MemoryBuffer(std::size_t size) : m_memory(size) { rewind(); }
    void rewind() { setp(m_memory.data(), m_memory.data() + m_memory.size()); }

private:
    std::vector<char> m_memory;
};

constexpr std::size_t kBlock = std::size_t(1) << 20;

/// This program, started again for the whole-process measurements.
std::string g_self;

struct Data {
    fs::path folder;
    std::vector<std::byte> bytes;
    std::string encoded;
    std::vector<double> doubles;

    Data() {
        const char* base = std::getenv("FILESYSTEM_BENCH_DIR");
        folder = fs::path(base ? base : fs::temp_directory_path().string()) / ("fs-bench-streams-" + std::to_string(::getpid()));
        fs::create_directories(folder);
        bytes.resize(std::size_t(256) << 20);
        std::mt19937_64 random(7);
        for (std::size_t i = 0; i < bytes.size(); i += 8) {
            const std::uint64_t value = random();
            std::memcpy(bytes.data() + i, &value, 8);
        }
        encoded = *Utilities::BinaryTextEncoderBase64(true).encode(bytes);
        std::ofstream((folder / "raw.bin").string(), std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
        std::ofstream((folder / "encoded.txt").string(), std::ios::binary)
            .write(encoded.data(), std::streamsize(encoded.size()));
        // The hexadecimal file as a user writes it: through the stream, in blocks of 1 MiB.
        {
            FileSystem::KVofstreamBinary file((folder / "encoded.hex").string());
            FileSystem::BinaryHexDataOStream out(file, 1, Endianness::LittleEndian);
            for (std::size_t done = 0; done < bytes.size(); done += kBlock)
                out.do_writeBinaryData(bytes.data() + done, std::min(kBlock, bytes.size() - done), 1,
                                       Endianness::LittleEndian);
        }
        doubles.resize(100'000'000);
        for (std::size_t i = 0; i < doubles.size(); ++i)
            doubles[i] = double(i) * 0.5;
    }
    ~Data() { fs::remove_all(folder); }
};

Data& data() {
    static Data instance;
    return instance;
}

void runTool(benchmark::State& state, const std::string& command) {
    for (auto _ : state)
        if (std::system(command.c_str()) != 0)
            state.SkipWithError("the tool failed");
    state.SetBytesProcessed(std::int64_t(state.iterations()) * std::int64_t(data().bytes.size()));
}

void LibraryBase64Encode(benchmark::State& state) {
    const Utilities::BinaryTextEncoderBase64 encoder(true);
    std::string text; // its memory is used again, as a stream or a tool's buffer is
    encoder.encodeTo(data().bytes, text); // the first touch of that memory is not timed
    for (auto _ : state) {
        text.clear();
        encoder.encodeTo(data().bytes, text);
        benchmark::DoNotOptimize(text.data());
    }
    state.SetBytesProcessed(std::int64_t(state.iterations()) * std::int64_t(data().bytes.size()));
}

void LibraryBase64EncodeFreshMemory(benchmark::State& state) {
    const Utilities::BinaryTextEncoderBase64 encoder(true);
    for (auto _ : state)
        benchmark::DoNotOptimize(encoder.encode(data().bytes));
    state.SetBytesProcessed(std::int64_t(state.iterations()) * std::int64_t(data().bytes.size()));
}

void ToolBase64Encode(benchmark::State& state) {
    runTool(state, "base64 -w 0 '" + (data().folder / "raw.bin").string() + "' > /dev/null");
}

void LibraryBase64Decode(benchmark::State& state) {
    std::vector<std::byte> bytes(data().bytes.size() + 3); // touched once, outside the timing
    for (auto _ : state) {
        bytes.clear();
        Utilities::BinaryTextEncoderBase64::Decoder decoder;
        if (!decoder.feed(data().encoded, bytes))
            state.SkipWithError("decoding failed");
        decoder.finish(bytes);
        benchmark::DoNotOptimize(bytes.data());
    }
    state.SetBytesProcessed(std::int64_t(state.iterations()) * std::int64_t(data().bytes.size()));
}

void LibraryBase64DecodeFreshMemory(benchmark::State& state) {
    const Utilities::BinaryTextEncoderBase64 encoder(true);
    for (auto _ : state)
        benchmark::DoNotOptimize(encoder.decode(data().encoded));
    state.SetBytesProcessed(std::int64_t(state.iterations()) * std::int64_t(data().bytes.size()));
}

void ToolBase64Decode(benchmark::State& state) {
    runTool(state, "base64 -d '" + (data().folder / "encoded.txt").string() + "' > /dev/null");
}

/// Reads an encoded file through the library's stream in blocks of 1 MiB, as
/// a program of a user does; the process of the whole-file measurements.
/// Its exit status is 0 when exactly `expected` bytes came.
int streamFile(const std::string& kind, const std::string& path, std::uint64_t expected) {
    FileSystem::KVifstreamBinary file(path);
    std::unique_ptr<FileSystem::BinaryDataIStream> in;
    if (kind == "base64")
        in = std::make_unique<FileSystem::BinaryBase64DataIStream>(file, 1, Endianness::LittleEndian);
    else
        in = std::make_unique<FileSystem::BinaryHexDataIStream>(file, 1, Endianness::LittleEndian);
    std::vector<std::byte> block(kBlock);
    std::uint64_t total = 0;
    while (total < expected) {
        const std::size_t size = std::size_t(std::min<std::uint64_t>(kBlock, expected - total));
        if (!in->do_readBinaryData(block.data(), size, 1, Endianness::LittleEndian))
            break;
        benchmark::DoNotOptimize(block.data());
        total += size;
    }
    return total == expected ? 0 : 1;
}

void runStreamProcess(benchmark::State& state, const std::string& kind, const std::string& file) {
    runTool(state, "'" + g_self + "' --stream-file " + kind + " '" + (data().folder / file).string() + "' " +
                       std::to_string(data().bytes.size()));
}

void LibraryBase64StreamFile(benchmark::State& state) { runStreamProcess(state, "base64", "encoded.txt"); }

void ToolHexDecodeFile(benchmark::State& state) {
    runTool(state, "xxd -r -p '" + (data().folder / "encoded.hex").string() + "' > /dev/null");
}

void LibraryHexStreamFile(benchmark::State& state) { runStreamProcess(state, "hex", "encoded.hex"); }

void LibraryWriteBinaryData(benchmark::State& state) {
    const auto& values = data().doubles;
    MemoryBuffer sink(values.size() * sizeof(double));
    std::ostream stream(&sink);
    FileSystem::BinaryDataOStream out(stream, 1, Endianness::LittleEndian);
    for (auto _ : state) {
        sink.rewind();
        if (!out.do_writeBinaryData(reinterpret_cast<const std::byte*>(values.data()), values.size(), sizeof(double),
                                    Endianness::LittleEndian))
            state.SkipWithError("write failed");
    }
    state.SetBytesProcessed(std::int64_t(state.iterations()) * std::int64_t(values.size() * sizeof(double)));
}

void StdOstreamWrite(benchmark::State& state) {
    const auto& values = data().doubles;
    MemoryBuffer sink(values.size() * sizeof(double));
    std::ostream stream(&sink);
    for (auto _ : state) {
        sink.rewind();
        stream.write(reinterpret_cast<const char*>(values.data()), std::streamsize(values.size() * sizeof(double)));
    }
    state.SetBytesProcessed(std::int64_t(state.iterations()) * std::int64_t(values.size() * sizeof(double)));
}

constexpr std::size_t kElements = 1'000'000;

void BinaryElementWrites(benchmark::State& state) {
    NullBuffer sink;
    std::ostream stream(&sink);
    FileSystem::BinaryDataOStream out(stream, 1, Endianness::LittleEndian);
    for (auto _ : state)
        for (std::size_t i = 0; i < kElements; ++i)
            out.do_write(&data().doubles[i], 1);
    state.SetItemsProcessed(std::int64_t(state.iterations() * kElements));
}

void TextElementWrites(benchmark::State& state) {
    NullBuffer sink;
    std::ostream stream(&sink);
    FileSystem::TextDataOStream out(stream, 1, FileSystem::TextNumberFormat::Canonical, std::locale::classic());
    for (auto _ : state)
        for (std::size_t i = 0; i < kElements; ++i)
            out.do_write(&data().doubles[i], 1);
    state.SetItemsProcessed(std::int64_t(state.iterations() * kElements));
}

template <bool Text>
void ElementReads(benchmark::State& state) {
    std::stringstream buffer;
    if constexpr (Text) {
        FileSystem::TextDataOStream out(buffer, 1, FileSystem::TextNumberFormat::Canonical, std::locale::classic());
        out.do_write(data().doubles.data(), kElements);
    } else {
        FileSystem::BinaryDataOStream out(buffer, 1, Endianness::LittleEndian);
        out.do_write(data().doubles.data(), kElements);
    }
    const std::string content = buffer.str();
    double value = 0;
    for (auto _ : state) {
        std::istringstream source(content);
        if constexpr (Text) {
            FileSystem::TextDataIStream in(source, 1, FileSystem::TextNumberFormat::Canonical, std::locale::classic());
            for (std::size_t i = 0; i < kElements; ++i)
                in.do_read(&value, 1);
        } else {
            FileSystem::BinaryDataIStream in(source, 1, Endianness::LittleEndian);
            for (std::size_t i = 0; i < kElements; ++i)
                in.do_read(&value, 1);
        }
    }
    benchmark::DoNotOptimize(value);
    state.SetItemsProcessed(std::int64_t(state.iterations() * kElements));
}

} // namespace

#define TIMED(name) BENCHMARK(name)->Iterations(5)->UseRealTime()->Unit(benchmark::kMillisecond)
TIMED(ToolBase64Encode);
TIMED(LibraryBase64Encode);
TIMED(LibraryBase64EncodeFreshMemory);
TIMED(ToolBase64Decode);
TIMED(LibraryBase64Decode);
TIMED(LibraryBase64DecodeFreshMemory);
TIMED(LibraryBase64StreamFile);
TIMED(ToolHexDecodeFile);
TIMED(LibraryHexStreamFile);
TIMED(StdOstreamWrite);
TIMED(LibraryWriteBinaryData);
TIMED(BinaryElementWrites);
TIMED(TextElementWrites);
BENCHMARK(ElementReads<false>)->Name("BinaryElementReads")->Iterations(3)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(ElementReads<true>)->Name("TextElementReads")->Iterations(3)->UseRealTime()->Unit(benchmark::kMillisecond);

int main(int argc, char** argv) {
    if (argc == 5 && std::string(argv[1]) == "--stream-file")
        return streamFile(argv[2], argv[3], std::stoull(argv[4]));
    g_self = fs::absolute(argv[0]).string();
    data();
    return runWithRatios(argc, argv,
                         {{"LibraryBase64Encode", "ToolBase64Encode"},
                          {"LibraryBase64EncodeFreshMemory", "ToolBase64Encode"},
                          {"LibraryBase64Decode", "ToolBase64Decode"},
                          {"LibraryBase64DecodeFreshMemory", "ToolBase64Decode"},
                          {"LibraryBase64StreamFile", "ToolBase64Decode"},
                          {"LibraryHexStreamFile", "ToolHexDecodeFile"},
                          {"LibraryWriteBinaryData", "StdOstreamWrite"}});
}
