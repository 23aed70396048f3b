// The failure model: results for what can fail on disk, exceptions for misuse and for failures that end the work.
#include <FileSystem/FileSystem.h>

#include <filesystem>
#include <iostream>
#include <sstream>
#include <stdexcept>

using namespace FileSystem;

/// The message of the exception of type E that `work` throws; "none" when it throws nothing.
template <class E, class Work>
std::string messageOf(Work&& work) {
    try {
        work();
    } catch (const E& e) {
        return e.what();
    }
    return "none";
}

int main(int argc, char** argv) {
    const std::string base = argc > 1 ? argv[1] : std::filesystem::temp_directory_path().string();
    const std::string folder = Path::getDuplicationName(base + "/guide-failures");
    Directory::create(folder, false, true);
    int failures = 0;
    const auto expect = [&failures](bool ok, const std::string& what) {
        std::cout << (ok ? "  ok: " : "  FAILED: ") << what << "\n";
        failures += !ok;
    };

    expect(File::readWholeFile(folder + "/missing.txt", true).empty(), "a missing file reads as empty");
    expect(!Directory::remove(folder + "/missing", true), "removing a missing folder is false");
    clearLastError();
    expect(!File::copyFile(folder + "/missing.txt", folder + "/copy.txt", false), "copying a missing file is false");
    const SystemError why = lastError(); // the system call that failed, its path, errno and text
    std::cout << "  why: " << why.toString() << "\n";
    expect(why && why.path.find("missing.txt") != std::string::npos, "lastError() says why");
    expect(!ZipArchive(folder + "/missing.zip", ZipArchive::OpenMode::Read, 1).isOpen(), "no archive to open");
    std::istringstream noHeader("not a header line\n");
    expect(createDataIStreamFromHeaderLine(noHeader).get() == nullptr, "no header line, an empty container");

    std::ostringstream sink;
    const std::string misuse = messageOf<std::logic_error>([&] { createDataOStream(DataStreamType(2), 1, sink); });
    expect(misuse == "Not implemented", "an unknown stream type is misuse: " + misuse);

    const std::string newer = messageOf<std::runtime_error>([] {
        std::stringstream data;
        DataOStreamContainer out = createDataOStream(DataStreamType::Binary, 1, data);
        DataStreamVersionObject stamp(out, {3, 0, 0}); // written by a newer program
        auto in = createDataIStream(DataStreamType::Binary, 1, 1, data, Utilities::Endianness::LittleEndian);
        DataStreamVersionObject gate(in, {2, 1, 0}, {2, 0, 0}); // this reader takes 2.0.0 .. 2.1.0
    });
    expect(newer == "Unsupported Newer Version", "data of a newer format: " + newer);

    File::createSymbolicLink(folder + "/nowhere", folder + "/dangling"); // a source that cannot be opened
    const std::string add = messageOf<std::runtime_error>([&] {
        ZipArchive zip(folder + "/add.zip", ZipArchive::OpenMode::Create, 1);
        zip.addToZipAs(folder + "/dangling", "dangling", false, false);
    });
    expect(add.starts_with("Failed to open for Reading : "), "a failed add: " + add);

    // An archive damaged on disk: the stored bytes of its only entry are changed.
    File::dumpToFile(folder + "/results.txt", std::string(1000, 'A'));
    {
        ZipArchive zip(folder + "/damaged.zip", ZipArchive::OpenMode::Create, 1);
        zip.setDefaultCompressionLevel(ZipArchive::NoCompression);
        zip.addToZipAs(folder + "/results.txt", "results.txt", false, false);
    }
    std::string bytes = File::readWholeFile(folder + "/damaged.zip", true);
    const std::size_t stored = bytes.find(std::string(1000, 'A'));
    if (stored != std::string::npos) // stored as it is: level 0
        bytes[stored + 500] = 'B';
    File::dumpToFile(folder + "/damaged.zip", bytes);
    const std::string extract = messageOf<std::runtime_error>([&] {
        ZipArchive zip(folder + "/damaged.zip", ZipArchive::OpenMode::Read, 1);
        zip.extractFromZip("", folder + "/out", true, false);
    });
    expect(extract.starts_with("Zip Extract Failure : "), "a failed extraction: " + extract);
    DirectoryListing out(folder + "/out");
    out.clearInvalidFiles();
    expect(out.empty(), "the failed entry left nothing in the target");

    Directory::remove(folder, true);
    return failures == 0 ? 0 : 1;
}
