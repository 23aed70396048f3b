#include <FileSystem/zip/ZipStream.h>

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <zlib.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <random>
#include <sstream>

using namespace FileSystem;
namespace fs = std::filesystem;

namespace {

std::string someText(std::size_t size, unsigned seed) {
    std::mt19937 random(seed);
    std::string text;
    text.reserve(size);
    while (text.size() < size)
        text += "line " + std::to_string(random() % 100000) + ", value " + std::to_string(random()) + "\n";
    text.resize(size);
    return text;
}

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

std::string readStream(const std::string& path) {
    ZipStream stream(path, static_cast<int>(std::ios::in));
    if (!stream)
        return "(cannot open)";
    std::ostringstream text;
    text << stream.getStream().rdbuf();
    return text.str();
}

std::string messageOf(const std::function<void()>& action) {
    try {
        action();
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "(nothing raised)";
}

} // namespace

TEST(ZipStream, PasswordsAreDerivedFromTheName) {
    EXPECT_EQ(ZipStream::generatePassword("/some/dir/ab.x", std::nullopt), "x.baVorlage9Z");
    const std::string longName(200, 'n');
    EXPECT_EQ(ZipStream::generatePassword(longName, std::nullopt).size(), 209u);
    EXPECT_EQ(ZipStream::generatePassword(longName, 0).size(), 209u);
    EXPECT_EQ(ZipStream::generatePassword(longName, 1).size(), 128u);
}

TEST(ZipStream, WritesAnArchiveThatToolsAndReadersAccept) {
    TestSupport::TempDir dir;
    const std::string path = dir / "model.txt";
    const std::string text = someText(300000, 1);
    {
        ZipStream stream(path, static_cast<int>(std::ios::out));
        ASSERT_TRUE(stream);
        EXPECT_EQ(stream.getAESVersion(), 1);
        // Small writes through the buffer and one block larger than it.
        stream.getStream() << text.substr(0, 1000);
        stream.getStream().write(text.data() + 1000, static_cast<std::streamsize>(text.size() - 1000));
        EXPECT_EQ(static_cast<std::uint64_t>(stream.getStream().tellp()), text.size());
        EXPECT_TRUE(stream.close());
        EXPECT_FALSE(stream.close());
    }
    // 7-Zip checks the entry with the derived password, and gives back the bytes.
    const std::string password = ZipStream::generatePassword(path, 1);
    EXPECT_TRUE(TestSupport::run({"7z", "t", "-p" + password, path}).exitedWith(0));
    EXPECT_EQ(TestSupport::run({"7z", "x", "-so", "-p" + password, path}).output, text);
    EXPECT_FALSE(TestSupport::run({"7z", "t", "-pwrong", path}).exitedWith(0));

    EXPECT_EQ(readStream(path), text);
    // Renamed, the archive still opens: the entry is the first one, and its
    // password comes from the entry's own name.
    fs::rename(path, dir / "renamed.zip");
    EXPECT_EQ(readStream(dir / "renamed.zip"), text);

    // A password of the caller's must match.
    ZipIOStream wrong(dir / "renamed.zip", static_cast<int>(std::ios::in), "not it", 1, 4096);
    EXPECT_FALSE(wrong);

    // Within the buffered block the reader can go back; further back it cannot.
    ZipIOStream reader(dir / "renamed.zip", static_cast<int>(std::ios::in), "", 1, 4096);
    char first[100];
    reader.read(first, sizeof first);
    EXPECT_EQ(reader.tellg(), std::streampos(100));
    reader.seekg(10);
    EXPECT_EQ(reader.get(), static_cast<unsigned char>(text[10]));
    std::string skip(10000, '\0');
    reader.read(skip.data(), static_cast<std::streamsize>(skip.size()));
    reader.seekg(0);
    EXPECT_TRUE(reader.fail());

    // Not an archive, or no file at all: a failed stream, no exception.
    const std::string plain = dir.write("plain.txt", "just text");
    EXPECT_FALSE(ZipStream(plain, static_cast<int>(std::ios::in)));
    EXPECT_FALSE(ZipStream(dir / "missing.zip", static_cast<int>(std::ios::in)));
}

TEST(ZipStream, CompressAndUncompressTextFiles) {
    TestSupport::TempDir dir;
    const std::string text = someText(3 << 20, 2);
    const std::string source = dir.write("in/data.csv", text);
    dir.mkdir("out");
    ZipStream::compressTextFile(source, dir / "out/data.csv.zip");
    ZipStream::uncompressTextFile(dir / "out/data.csv.zip", dir / "out/back.csv");
    EXPECT_EQ(readFile(dir / "out/back.csv"), text);
    // Nothing of the work is left beside the results.
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(dir / "out"))
        names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (std::vector<std::string>{"back.csv", "data.csv.zip"}));

    EXPECT_EQ(messageOf([&] { ZipStream::compressTextFile(source, dir / "nowhere/x.zip"); }),
              "Destination Directory does not exist: " + (dir / "nowhere"));
    EXPECT_EQ(messageOf([&] { ZipStream::compressTextFile(dir / "missing.txt", dir / "out/x.zip"); }),
              "Error reading text file for compression");
    EXPECT_EQ(messageOf([&] { ZipStream::uncompressTextFile(dir / "missing.zip", dir / "out/y.txt"); }),
              "Error opening text file for uncompression");
    EXPECT_EQ(messageOf([&] { ZipStream::uncompressTextFile(dir / "out/data.csv.zip", dir / "nowhere/y.txt"); }),
              "Destination Directory does not exist: " + (dir / "nowhere"));

    // A tampered archive is refused, and nothing appears under the destination's name.
    std::string archive = readFile(dir / "out/data.csv.zip");
    archive[archive.size() / 2] = static_cast<char>(archive[archive.size() / 2] ^ 0x5A);
    std::ofstream(dir / "out/bad.zip", std::ios::binary) << archive;
    const std::string result = messageOf([&] { ZipStream::uncompressTextFile(dir / "out/bad.zip", dir / "out/bad.txt"); });
    EXPECT_TRUE(result == "Error writing uncompressed text file" || result == "Error opening text file for uncompression")
        << result;
    EXPECT_FALSE(fs::exists(dir / "out/bad.txt"));
}

TEST(Inflator, InflatesInPiecesAndStopsAtTheEnd) {
    const std::string text = someText(200000, 3);
    uLongf packedSize = compressBound(static_cast<uLong>(text.size()));
    std::string packed(packedSize, '\0');
    ASSERT_EQ(compress(reinterpret_cast<Bytef*>(packed.data()), &packedSize,
                       reinterpret_cast<const Bytef*>(text.data()), static_cast<uLong>(text.size())),
              Z_OK);
    packed.resize(packedSize);

    Inflator inflator;
    ASSERT_TRUE(inflator.canInflate());
    std::string out;
    std::size_t offset = 0;
    char buffer[7000];
    while (!inflator.endOfStream()) {
        const std::size_t piece = std::min<std::size_t>(999, packed.size() - offset);
        const auto result = inflator(buffer, sizeof buffer, packed.data() + offset, piece);
        ASSERT_TRUE(result) << static_cast<int>(inflator.state());
        offset += result->consumed;
        out.append(buffer, result->produced);
    }
    EXPECT_EQ(out, text);
    EXPECT_EQ(offset, packed.size());
    const auto after = inflator.inflate(buffer, sizeof buffer, packed.data(), packed.size());
    ASSERT_TRUE(after);
    EXPECT_EQ(after->consumed, 0u);
    EXPECT_EQ(after->produced, 0u);
    EXPECT_TRUE(inflator.endOfStream());

    // Again from the start after a reset.
    ASSERT_TRUE(inflator.reset());
    const auto again = inflator.inflate(buffer, sizeof buffer, packed.data(), packed.size());
    ASSERT_TRUE(again);
    EXPECT_EQ(std::string(buffer, std::min<std::size_t>(again->produced, 100)), text.substr(0, std::min<std::size_t>(again->produced, 100)));

    // Input that is no zlib stream.
    Inflator other;
    const std::string garbage = "this is not deflated data at all";
    EXPECT_FALSE(other.inflate(buffer, sizeof buffer, garbage.data(), garbage.size()));
    EXPECT_EQ(other.state(), Inflator::State::DataError);
    EXPECT_FALSE(other.inflate(buffer, sizeof buffer, packed.data(), packed.size()));
}
