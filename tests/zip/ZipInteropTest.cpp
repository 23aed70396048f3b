// Archives exchanged with Info-ZIP zip/unzip and 7-Zip: what the library writes
// passes their tests and unpacks to the same bytes and rights; what they write
// is listed, found and extracted by the library.

#include <FileSystem/zip/ZipArchive.h>

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <random>
#include <set>
#include <sys/stat.h>
#include <sys/wait.h>

using namespace FileSystem;
using Mode = ZipArchive::OpenMode;
namespace fs = std::filesystem;

namespace {

const std::string kUtf8Name = "Größe ✓.txt";

struct Outcome {
    int status = -1;
    std::string output;
};

/// Runs a shell command in `folder`; its exit status and everything it printed.
Outcome run(const std::string& folder, const std::string& command) {
    Outcome outcome;
    const std::string line = "cd '" + folder + "' && " + command + " 2>&1";
    FILE* pipe = ::popen(line.c_str(), "r");
    if (pipe == nullptr)
        return outcome;
    char buffer[4096];
    for (std::size_t n; (n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;)
        outcome.output.append(buffer, n);
    const int status = ::pclose(pipe);
    outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return outcome;
}

std::string bytesOf(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

/// Equal contents; a failure names the sizes instead of printing the bytes.
testing::AssertionResult sameBytes(const std::optional<std::string>& actual, const std::string& expected) {
    if (actual == expected)
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << (actual ? std::to_string(actual->size()) + " bytes" : "nothing")
                                       << " instead of " << expected.size() << " expected bytes";
}

std::string randomBytes(std::size_t size, unsigned seed) {
    std::mt19937 engine(seed);
    std::string bytes(size, '\0');
    for (char& byte : bytes)
        byte = static_cast<char>(engine() & 0xff);
    return bytes;
}

/// A tree with nested folders, an empty folder, a UTF-8 name, rights 0755 and
/// 0640, a text that compresses and a binary file that does not; returns its
/// root `<dir>/src`.
std::string makeTree(const TestSupport::TempDir& dir) {
    dir.write("src/top.txt", "top level\n");
    dir.write("src/a/b/deep.txt", "three levels down\n");
    std::string lines;
    for (int i = 0; i < 400; ++i)
        lines += "node " + std::to_string(i) + " pressure " + std::to_string(i * 7 % 13) + "\n";
    dir.write("src/a/b/lines.txt", lines);
    dir.write("src/a/" + kUtf8Name, "umlauts and a check mark\n");
    dir.write("src/bin/noise.bin", randomBytes(300 * 1024, 7));
    ::chmod(dir.write("src/run.sh", "#!/bin/sh\necho hi\n").c_str(), 0755);
    ::chmod(dir.write("src/private.txt", "owner and group only\n").c_str(), 0640);
    dir.mkdir("src/empty");
    return dir / "src";
}

/// Entry names of a tree as an archive of its parent folder names them.
std::set<std::string> namesOf(const fs::path& root) {
    std::set<std::string> names{root.filename().string() + "/"};
    for (const auto& item : fs::recursive_directory_iterator(root))
        names.insert((root.filename() / fs::relative(item.path(), root)).generic_string() +
                     (item.is_directory() ? "/" : ""));
    return names;
}

/// Both trees hold the same folders and files with the same bytes (and rights).
void expectSameTree(const fs::path& expected, const fs::path& actual, bool rights) {
    ASSERT_TRUE(fs::is_directory(actual)) << actual;
    std::size_t count = 0;
    for (const auto& item : fs::recursive_directory_iterator(expected)) {
        const fs::path other = actual / fs::relative(item.path(), expected);
        SCOPED_TRACE(other.string());
        ++count;
        ASSERT_EQ(fs::is_directory(other), item.is_directory());
        if (!item.is_directory()) {
            EXPECT_TRUE(sameBytes(bytesOf(other), bytesOf(item.path())));
        }
        if (rights) {
            EXPECT_EQ(fs::status(other).permissions(), item.status().permissions());
        }
    }
    EXPECT_EQ(std::distance(fs::recursive_directory_iterator(actual), fs::recursive_directory_iterator()), count);
}

/// Makes an archive of `<dir>/src` with a tool, then lists, finds and
/// extracts it with the library: the whole archive and one sub-folder.
void expectReadableToolArchive(const TestSupport::TempDir& dir, const std::string& command, const std::string& archive,
                               bool rights, const std::string& password) {
    const Outcome made = run(dir.path(), command);
    ASSERT_EQ(made.status, 0) << made.output;
    const std::string tree = dir / "src";
    const std::set<std::string> names = namesOf(tree);

    ZipArchive reader(dir / archive, Mode::Read, 1);
    ASSERT_TRUE(reader.isUnzipping());
    if (!password.empty())
        reader.setPassword(password);
    const auto listed = reader.allEntries(true, true);
    EXPECT_EQ(std::set<std::string>(listed.begin(), listed.end()), names);
    EXPECT_EQ(listed.size(), names.size()); // each once
    const auto files = reader.getAllFileInfos(false);
    const auto fileCount = static_cast<std::size_t>(
        std::count_if(names.begin(), names.end(), [](const std::string& name) { return name.back() != '/'; }));
    EXPECT_EQ(files.size(), fileCount);
    for (const auto& info : files) {
        EXPECT_EQ(info.uncompressedSize, fs::file_size(dir / info.name)) << info.name;
        EXPECT_EQ(info.aesVersion > 0, !password.empty()) << info.name;
    }
    EXPECT_TRUE(reader.findFileNameInZip("src/a/" + kUtf8Name, true, false).has_value());
    EXPECT_TRUE(reader.findFileNameInZip("src/empty/", false, true).has_value());
    EXPECT_FALSE(reader.findFileNameInZip("src/empty/", true, false).has_value());
    const auto empty = reader.getFileInfo("src/empty");
    ASSERT_TRUE(empty.has_value());
    EXPECT_EQ(empty->name, "src/empty/");
    EXPECT_TRUE(sameBytes(reader.extractDataFromZip("src/a/" + kUtf8Name), bytesOf(tree + "/a/" + kUtf8Name)));
    EXPECT_TRUE(sameBytes(reader.extractDataFromZip("src/bin/noise.bin"), bytesOf(tree + "/bin/noise.bin")));
    EXPECT_TRUE(sameBytes(reader.extractDataFromZip("src/a/b/lines.txt"), bytesOf(tree + "/a/b/lines.txt")));

    const std::string whole = dir / ("whole-" + archive);
    std::vector<std::string> written;
    ASSERT_NO_THROW(written = reader.extractFromZip("", whole, true, false));
    EXPECT_EQ(written.size(), names.size());
    expectSameTree(tree, whole + "/src", rights);
    const std::string part = dir / ("part-" + archive);
    EXPECT_NO_THROW(reader.extractFromZip("src/a", part, true, false));
    expectSameTree(tree + "/a", part + "/a", rights);
    EXPECT_FALSE(fs::exists(part + "/top.txt"));
}

} // namespace

TEST(ZipInterop, LibraryArchivesPassTheTools) {
    TestSupport::TempDir dir;
    const std::string tree = makeTree(dir);
    const std::string secret = randomBytes(5000, 11) + "the end";
    {
        ZipArchive zip(dir / "lib.zip", Mode::Create, 1);
        ASSERT_TRUE(zip.addToZip(tree, true, false));
        ASSERT_TRUE(zip.addToZipAs(tree + "/a", "copy/a2", true, false));
        ZipArchive::FileInZip vault("vault/secret.bin", &zip);
        ASSERT_TRUE(vault.open("secret", -1, ""));
        // In pieces, as a caller streaming data would.
        for (std::size_t at = 0; at < secret.size(); at += 1000) {
            const std::string piece = secret.substr(at, 1000);
            ASSERT_EQ(vault.write(piece.data(), static_cast<unsigned>(piece.size())), int(piece.size()));
        }
        ASSERT_TRUE(vault.close());
    }

    // unzip cannot decrypt AES entries, so it tests and extracts all others.
    const Outcome tested = run(dir.path(), "unzip -t lib.zip -x 'vault/*'");
    EXPECT_EQ(tested.status, 0) << tested.output;
    EXPECT_NE(tested.output.find("No errors detected"), std::string::npos) << tested.output;
    const Outcome tested7z = run(dir.path(), "7z t -psecret lib.zip");
    EXPECT_EQ(tested7z.status, 0) << tested7z.output;
    EXPECT_NE(tested7z.output.find("Everything is Ok"), std::string::npos) << tested7z.output;
    const Outcome wrong7z = run(dir.path(), "7z t -pwrong lib.zip");
    EXPECT_NE(wrong7z.status, 0) << wrong7z.output; // the entry really is encrypted

    const Outcome unzipped = run(dir.path(), "unzip -q lib.zip -x 'vault/*' -d out");
    ASSERT_EQ(unzipped.status, 0) << unzipped.output;
    expectSameTree(tree, dir / "out/src", true);
    expectSameTree(tree + "/a", dir / "out/copy/a2", true);
    EXPECT_FALSE(fs::exists(dir / "out/vault"));

    const Outcome extracted7z = run(dir.path(), "7z x -psecret -y -oout7 lib.zip vault/secret.bin");
    ASSERT_EQ(extracted7z.status, 0) << extracted7z.output;
    EXPECT_TRUE(sameBytes(bytesOf(dir / "out7/vault/secret.bin"), secret));
}

TEST(ZipInterop, EveryLevelPassesTheToolsAndThoroughLevelsAreSmaller) {
    TestSupport::TempDir dir;
    const std::string tree = makeTree(dir);
    // Files larger than the pieces the deflater takes (1 MiB): text, noise,
    // and the two mixed within one file.
    std::string text;
    for (int i = 0; text.size() < 2'500'000; ++i)
        text += "element " + std::to_string(i % 977) + " velocity " + std::to_string(i * 31 % 100003) + ".5\n";
    dir.write("src/big/text.txt", text);
    dir.write("src/big/noise.bin", randomBytes(2'300'000, 3));
    dir.write("src/big/mixed.dat", text.substr(0, 900'000) + randomBytes(1'500'000, 4) + text.substr(0, 700'000));
    const std::string streamed = text.substr(0, 1'200'000) + randomBytes(600'000, 5);

    std::uintmax_t sizes[10] = {};
    for (int level = 1; level <= 9; ++level) {
        SCOPED_TRACE("level " + std::to_string(level));
        const std::string archive = "level" + std::to_string(level) + ".zip";
        {
            ZipArchive zip(dir / archive, Mode::Create, 1);
            zip.setDefaultCompressionLevel(level);
            ASSERT_TRUE(zip.addToZip(tree, true, false));
            // And one entry written in uneven pieces, as a caller streaming data would.
            ZipArchive::FileInZip entry("streamed.dat", &zip);
            ASSERT_TRUE(entry.open());
            for (std::size_t at = 0, piece = 1; at < streamed.size(); at += piece, piece = piece * 3 % 70001 + 1) {
                const std::string part = streamed.substr(at, piece);
                ASSERT_EQ(entry.write(part.data(), static_cast<unsigned>(part.size())), int(part.size()));
            }
            ASSERT_TRUE(entry.close());
        }
        const std::uintmax_t size = fs::file_size(dir / archive);
        sizes[level] = size;

        const Outcome tested = run(dir.path(), "unzip -t " + archive);
        EXPECT_EQ(tested.status, 0) << tested.output;
        const Outcome tested7z = run(dir.path(), "7z t " + archive);
        EXPECT_NE(tested7z.output.find("Everything is Ok"), std::string::npos) << tested7z.output;
        const std::string out = "out" + std::to_string(level);
        const Outcome unzipped = run(dir.path(), "unzip -q " + archive + " -d " + out);
        ASSERT_EQ(unzipped.status, 0) << unzipped.output;
        expectSameTree(tree, dir / (out + "/src"), true);
        EXPECT_TRUE(sameBytes(bytesOf(dir / (out + "/streamed.dat")), streamed));

        // And back through the library's own inflater.
        ZipArchive reader(dir / archive, Mode::Read, 1);
        const std::string mine = dir / ("mine" + std::to_string(level));
        ASSERT_NO_THROW(reader.extractFromZip("src", mine, true, false));
        expectSameTree(tree, mine + "/src", true);
        EXPECT_TRUE(sameBytes(reader.extractDataFromZip("streamed.dat"), streamed));
    }
    // The fast levels (1 to 3) and the thorough ones (4 to 9) come from
    // different deflaters, and neither is strictly monotone on every input:
    // every thorough level beats every fast one, and 9 beats 4.
    EXPECT_LE(*std::max_element(sizes + 4, sizes + 10), *std::min_element(sizes + 1, sizes + 4));
    EXPECT_LE(sizes[9], sizes[4]);
}

TEST(ZipInterop, ToolArchivesReadByTheLibrary) {
    TestSupport::TempDir dir;
    makeTree(dir);
    {
        SCOPED_TRACE("zip -r");
        expectReadableToolArchive(dir, "zip -r -q info.zip src", "info.zip", true, "");
    }
    {
        SCOPED_TRACE("7z a");
        expectReadableToolArchive(dir, "7z a -tzip seven.zip src", "seven.zip", false, "");
    }
}

TEST(ZipInterop, AesArchivesFrom7Zip) {
    TestSupport::TempDir dir;
    makeTree(dir);
    expectReadableToolArchive(dir, "7z a -tzip -mem=AES256 -psecret aes.zip src", "aes.zip", false, "secret");
}

TEST(ZipInterop, ArchivePasswordEncryptsWhatIsAdded) {
    TestSupport::TempDir dir;
    const std::string tree = makeTree(dir);
    // Deflated entries are encrypted on the way in, stored ones by the engine;
    // a password longer than a hash block is itself hashed into the key
    // (7-Zip takes passwords of up to 99 bytes).
    const std::string longPassword(80, 'x');
    for (const auto& [level, password] : {std::pair<int, std::string>{1, "secret"}, {6, longPassword}, {0, "secret"}}) {
        SCOPED_TRACE("level " + std::to_string(level));
        const std::string archive = "locked" + std::to_string(level) + ".zip";
        {
            ZipArchive zip(dir / archive, Mode::Create, 1);
            zip.setDefaultCompressionLevel(level);
            zip.setPassword(password);
            ASSERT_TRUE(zip.addToZip(tree, true, false));
        }
        ZipArchive reader(dir / archive, Mode::Read, 1);
        const auto files = reader.getAllFileInfos(false);
        ASSERT_FALSE(files.empty());
        for (const auto& info : files)
            EXPECT_GT(info.aesVersion, 0) << info.name;
        EXPECT_FALSE(reader.extractDataFromZip("src/top.txt").has_value()); // no password, no data
        reader.setPassword(password + "?");
        EXPECT_FALSE(reader.extractDataFromZip("src/top.txt").has_value());
        reader.setPassword(password);
        EXPECT_TRUE(sameBytes(reader.extractDataFromZip("src/bin/noise.bin"), bytesOf(tree + "/bin/noise.bin")));

        EXPECT_NE(run(dir.path(), "7z t -pwrong " + archive).status, 0);
        const std::string out = "out" + std::to_string(level);
        const Outcome extracted = run(dir.path(), "7z x -p" + password + " -y -o" + out + " " + archive);
        ASSERT_EQ(extracted.status, 0) << extracted.output;
        expectSameTree(tree, dir / (out + "/src"), false);
    }
    // And the other way: 7-Zip's keys for the long password.
    expectReadableToolArchive(dir, "7z a -tzip -mem=AES256 -p" + longPassword + " long.zip src", "long.zip", false,
                              longPassword);
}

TEST(ZipInterop, SymbolicLinksFromInfoZip) {
    TestSupport::TempDir dir;
    dir.write("src/data/target.txt", "linked content\n");
    const std::string linkText = "../data/target.txt";
    fs::create_directories(dir / "src/links");
    fs::create_symlink(linkText, dir / "src/links/to-target");
    const Outcome made = run(dir.path(), "zip --symlinks -r -q links.zip src");
    ASSERT_EQ(made.status, 0) << made.output;

    ZipArchive reader(dir / "links.zip", Mode::Read, 1);
    const auto info = reader.getFileInfo("src/links/to-target");
    ASSERT_TRUE(info.has_value());
    EXPECT_TRUE(ZipArchive::isSymbolicLink(info->name, info->externalAttributes, info->versionMadeBy));
    const auto withLinks = reader.allEntries(false, true);
    const auto withoutLinks = reader.allEntries(false, false);
    EXPECT_EQ(std::set<std::string>(withLinks.begin(), withLinks.end()),
              (std::set<std::string>{"src/data/target.txt", "src/links/to-target"}));
    EXPECT_EQ(withoutLinks, std::vector<std::string>{"src/data/target.txt"});

    reader.extractFromZip("", dir / "restored", true, true);
    const fs::path link = dir / "restored/src/links/to-target";
    ASSERT_TRUE(fs::is_symlink(link));
    EXPECT_EQ(fs::read_symlink(link).string(), linkText);
    EXPECT_EQ(bytesOf(link), "linked content\n"); // resolves inside the extracted tree

    reader.extractFromZip("", dir / "plain", true, false);
    const fs::path plain = dir / "plain/src/links/to-target";
    EXPECT_FALSE(fs::is_symlink(plain));
    EXPECT_TRUE(fs::is_regular_file(plain));
    EXPECT_EQ(bytesOf(plain), linkText);
}
