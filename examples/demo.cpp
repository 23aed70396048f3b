// The library's main road: a model saved through a data stream with a header
// line, added to a zip archive, found again and read back; then the same with
// an entry protected by AES; at last the archive is extracted and the tree it
// gives is walked.

#include <FileSystem/FileSystem.h>

#include <cmath>
#include <iostream>
#include <sstream>

using namespace FileSystem;

namespace {

/// A small model of a simulation: a named mesh with node coordinates.
struct Model {
    std::string name = "wing section";
    std::vector<double> coordinates{0.0, 0.25, 0.5, 0.75, 1.0, 1.0 / 3.0, std::sqrt(2.0)};
    std::int32_t elements = 1024;
};

const Utilities::Version<3, int> kModelFormat{1, 2, 0};

void save(const Model& model, DataOStream& out) {
    DataStreamVersionObject stamp(out, kModelFormat);
    out.do_write(DataStreamComment("model"));
    const auto length = static_cast<std::uint32_t>(model.name.size());
    out.do_write(&length, 1);
    out.do_write(model.name.data(), length);
    const auto count = static_cast<std::uint32_t>(model.coordinates.size());
    out.do_write(&count, 1);
    out.do_write(model.coordinates.data(), count);
    out.do_write(&model.elements, 1);
}

Model load(DataIStream& in) {
    DataStreamVersionObject gate(in, kModelFormat, {1, 0, 0}); // throws for versions this reader cannot take
    Model model;
    DataStreamComment comment;
    std::uint32_t length = 0, count = 0;
    bool ok = in.do_read(comment) && in.do_read(&length, 1);
    model.name.assign(length, '\0');
    ok = ok && in.do_read(model.name.data(), length) && in.do_read(&count, 1);
    model.coordinates.assign(count, 0.0);
    ok = ok && in.do_read(model.coordinates.data(), count) && in.do_read(&model.elements, 1);
    if (!ok)
        throw std::runtime_error("the model could not be read");
    return model;
}

bool same(const Model& a, const Model& b) {
    return a.name == b.name && a.coordinates == b.coordinates && a.elements == b.elements;
}

std::string headerLineOf(const std::string& bytes) { return bytes.substr(0, bytes.find('\n')); }

} // namespace

int main(int argc, char** argv) {
    initApplicationArguments(argc, argv);
    const Model model;

    // A fresh folder for the run (below the folder given as argument, else the temporary folder).
    const std::string base = argc > 1 ? std::string(argv[1]) : OSPaths::getTemporaryFolderPath();
    const std::string folder = Path::getDuplicationName(base + "/filesystem-demo");
    Directory::create(folder, true, true);
    std::cout << "Working in " << folder << "\n";

    // 1. The model goes through a binary data stream with a header line into a file.
    const std::string modelFile = folder + "/wing.model";
    {
        KVofstreamBinary file(modelFile);
        DataOStreamContainer out = createDataOStreamWithHeaderLine(DataStreamType::Binary, 7, file);
        save(model, out);
    }
    std::cout << "Saved the model (" << File::getFileSize(modelFile) << " bytes); header line \""
              << headerLineOf(File::readWholeFile(modelFile, true)) << "\"\n";

    // 2. It is added to a new archive.
    const std::string archive = folder + "/results.zip";
    {
        ZipArchive zip(archive, ZipArchive::OpenMode::Create, 1);
        zip.addToZipAs(modelFile, "models/wing.model", false, false);
    }

    // 3. The archive is listed, the entry found, and the stream rebuilt from its header line.
    int failures = 0;
    {
        ZipArchive zip(archive, ZipArchive::OpenMode::Read, 1);
        std::cout << "The archive holds:\n";
        for (const ZipArchive::FileInfo& info : zip.getAllFileInfos(true))
            std::cout << "  " << info.name << "  (" << info.uncompressedSize << " bytes, comment \"" << info.comment
                      << "\")\n";
        const auto location = zip.findFileNameInZip("models/wing.model", true, false);
        const auto info = zip.getFileInfo(location);
        std::cout << "Found models/wing.model, written by library version "
                  << ZipArchive::getTesselVersionFromFileComment(info->comment)->toString() << "\n";
        std::istringstream data(*zip.extractDataFromZip(location));
        DataIStreamContainer in = createDataIStreamFromHeaderLine(data);
        const Model back = load(in);
        std::cout << "Read back a " << (in.dataStreamType() == DataStreamType::Binary ? "binary" : "other")
                  << " stream of file version " << in.getFileVersion() << ": \"" << back.name << "\", "
                  << back.coordinates.size() << " coordinates, " << back.elements << " elements -> "
                  << (same(back, model) ? "identical" : "DIFFERENT") << "\n";
        failures += !same(back, model);
    }

    // 4. The same model as an AES-protected entry, written as a text stream this time.
    {
        std::ostringstream text;
        {
            DataOStreamContainer out = createDataOStreamWithHeaderLine(DataStreamType::Text, 7, text);
            save(model, out);
        }
        ZipArchive zip(archive, ZipArchive::OpenMode::Add, 1);
        ZipArchive::FileInZip entry("models/wing-protected.model", &zip);
        entry.open("correct horse", -1, "protected copy");
        entry.write(text.str().data(), static_cast<unsigned>(text.str().size()));
        entry.close();
    }
    {
        ZipArchive zip(archive, ZipArchive::OpenMode::Read, 1);
        auto entry = zip.openFile("models/wing-protected.model");
        std::cout << "Protected entry: AES " << (entry->getAESVersion() > 0 ? "yes" : "no") << ", comment text \""
                  << entry->getTesselAdditionalComment() << "\"; opening without the password "
                  << (entry->open("") ? "worked" : "is refused") << "\n";
        entry->open("correct horse");
        std::istringstream data(entry->readAll());
        DataIStreamContainer in = createDataIStreamFromHeaderLine(data);
        const Model back = load(in);
        std::cout << "Read back a " << (in.dataStreamType() == DataStreamType::Text ? "text" : "other")
                  << " stream with the password: " << (same(back, model) ? "identical" : "DIFFERENT") << "\n";
        failures += !same(back, model);
    }

    // 5. The whole archive is extracted, and the tree it gives is walked.
    {
        ZipArchive zip(archive, ZipArchive::OpenMode::Read, 1);
        zip.setPassword("correct horse"); // for the protected entry
        const std::string target = folder + "/extracted";
        zip.extractFromZipAs("", target, true, false);
        std::cout << "Extracted into " << target << ":\n";
        std::uint64_t files = 0;
        fileCrawler(
            target, false,
            [&](const std::string& path) {
                const std::string name = Path::calculateRelativePath(path, target);
                const auto entry = zip.getFileInfo(name);
                const std::uint64_t size = File::getFileSize(path);
                std::cout << "  " << name << "  " << size << " bytes\n";
                failures += !entry || entry->uncompressedSize != size;
                ++files;
                return true;
            },
            [&](const std::string& path) {
                if (path != target)
                    std::cout << "  " << Path::calculateRelativePath(path, target) << "/\n";
                return true;
            },
            {}, {}, false, true);
        std::cout << files << " files, " << Directory::GetSize(target, true) << " bytes in all\n";
        failures += files != zip.numberOfEntries(false, false);
    }

    Directory::remove(folder, true);
    std::cout << (failures == 0 ? "All values came back." : "Some values did not come back!") << "\n";
    return failures == 0 ? 0 : 1;
}
