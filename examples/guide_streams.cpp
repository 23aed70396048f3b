// Saving and loading a model through data streams with a header line, in binary, text and Base64 form.
#include <FileSystem/FileSystem.h>

#include <filesystem>
#include <iostream>
#include <optional>
#include <sstream>

using namespace FileSystem;

struct Model {
    std::vector<double> loads{1.5, -2.25, 1.0 / 3.0, 1e300};
    long long steps = 5'000'000'000; // 64-bit values travel as long long: 8 bytes
    int elements = 1024;
    bool operator==(const Model&) const = default;
};

const Utilities::Version<3, int> kFormat{2, 1, 0}; // the version of this block's layout

bool save(DataOStream& out, const Model& model) {
    DataStreamVersionObject stamp(out, kFormat);
    const auto count = static_cast<std::uint32_t>(model.loads.size());
    out.do_write(DataStreamComment("loads")); // only text streams keep comments
    out.do_write(&count, 1);
    out.do_write(model.loads.data(), count);
    out.do_write(&model.steps, 1);
    out.do_write(&model.elements, 1);
    return out.good(); // false once any write failed
}

std::optional<Model> load(DataIStream& in) {
    DataStreamVersionObject gate(in, kFormat, {2, 0, 0}); // throws outside 2.0.0 .. 2.1.0
    Model model;
    DataStreamComment comment;
    std::uint32_t count = 0;
    if (!in.do_read(comment) || !in.do_read(&count, 1) || count > 1000)
        return std::nullopt;
    model.loads.assign(count, 0.0);
    if (!in.do_read(model.loads.data(), count) || !in.do_read(&model.steps, 1) || !in.do_read(&model.elements, 1))
        return std::nullopt;
    return model;
}

int main(int argc, char** argv) {
    const std::string base = argc > 1 ? argv[1] : std::filesystem::temp_directory_path().string();
    const std::string folder = Path::getDuplicationName(base + "/guide-streams");
    Directory::create(folder, false, true);
    int failures = 0;
    const Model model;

    for (DataStreamType type : {DataStreamType::Binary, DataStreamType::Text, DataStreamType::BinaryBase64}) {
        const std::string file = folder + "/wing.model";
        {
            KVofstreamBinary out(file);
            DataOStreamContainer stream = createDataOStreamWithHeaderLine(type, 7, out);
            failures += !save(stream, model);
        } // the stream is complete once the container is gone (Base64 writes its last group then)
        KVifstreamBinary in(file);
        DataIStreamContainer stream = createDataIStreamFromHeaderLine(in); // type and versions from the line
        const std::optional<Model> back = load(stream);
        const std::string bytes = File::readWholeFile(file, true);
        std::cout << bytes.substr(0, bytes.find('\n')) << "  (" << bytes.size() << " bytes) -> "
                  << (back == model ? "same model" : "DIFFERENT") << "\n";
        failures += !(back == model && stream.dataStreamType() == type && stream.getFileVersion() == 7);
    }

    // Fixed widths: long (and std::int64_t, which is long here) takes 4 bytes, long long 8.
    std::ostringstream bytes;
    DataOStreamContainer out = createDataOStream(DataStreamType::Binary, 7, bytes);
    const long small = 42;
    const long long wide = 5'000'000'000;
    const std::int64_t tooWide = 5'000'000'000;
    const bool written = out.do_write(&small, 1) && out.do_write(&wide, 1); // 4 + 8 bytes
    const bool tooWideWritten = out.do_write(&tooWide, 1);                   // does not fit 4 bytes: fails
    std::cout << "long and long long: " << bytes.str().size() << " bytes; a too wide int64_t "
              << (tooWideWritten ? "was written" : "failed") << "\n";
    failures += !(written && !tooWideWritten && bytes.str().size() == 12);

    Directory::remove(folder, true);
    return failures == 0 ? 0 : 1;
}
