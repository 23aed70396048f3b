// The CSV parser's file road on any bytes: the bytes as a plain file (which
// may also look like a compressed stream) and, for some inputs, packed into a
// compressed stream. A file must read to the same table as the same bytes in
// memory; separator detection, appending and saving run on it too.

#include <FileSystem/files/StreamUtilities.h>
#include <FileSystem/tabular/BinaryCSVParser.h>
#include <FileSystem/tabular/CSVParser.h>
#include <FileSystem/zip/ZipStream.h>

#include "FuzzScratch.h"

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>

namespace {

const std::string& scratch() { return Fuzz::scratch("fuzz-csv"); }

void writePlain(const std::string& path, const std::string& text) {
    FileSystem::KVofstreamBinary out(path);
    out.write(text.data(), static_cast<std::streamsize>(text.size()));
    out.close();
    if (!out)
        std::abort();
}

} // namespace

// The first byte: bit 0 packs the bytes into a compressed stream too, bit 1
// reads in binary mode, bit 2 trims, bit 3 converts from Latin-1.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    if (size == 0)
        return 0;
    const std::uint8_t flags = bytes[0];
    const std::string text(reinterpret_cast<const char*>(bytes) + 1, size - 1);
    const bool trim = flags & 4;
    const bool convert = flags & 8;
    const std::string plain = scratch() + "/input.csv";
    writePlain(plain, text);

    FileSystem::CSVParser inMemory;
    inMemory.parseData(text, trim, convert);

    FileSystem::BinaryCSVParser binary;
    FileSystem::CSVParser textMode;
    FileSystem::CSVParser& parser = (flags & 2) ? static_cast<FileSystem::CSVParser&>(binary) : textMode;
    if (!parser.parseFile(plain, trim, convert, true) || parser.getRawData() != inMemory.getRawData() ||
        parser.getNumberOfColumns() != inMemory.getNumberOfColumns())
        std::abort();

    // The default road tries the bytes as a compressed stream first.
    FileSystem::CSVParser anyRoad;
    anyRoad.parseFile(plain, trim, convert, false);
    anyRoad.appendFile(plain, true, true, trim, convert, false);
    anyRoad.appendFile(plain, false, false, trim, convert, true);
    // (False only for a compressed stream that fails its check.)
    anyRoad.autodetectSeparator(plain);
    anyRoad.saveAs(scratch() + "/saved.csv", convert);
    anyRoad.parseFile(scratch() + "/saved.csv", trim, false, true);

    if (flags & 1) {
        const std::string packed = scratch() + "/packed.csv";
        {
            FileSystem::ZipStream stream(packed, static_cast<int>(std::ios::out));
            stream.getStream().write(text.data(), static_cast<std::streamsize>(text.size()));
            if (!stream.close())
                std::abort();
        }
        FileSystem::CSVParser unpacked;
        if (!unpacked.parseFile(packed, trim, convert, false) || unpacked.getRawData() != inMemory.getRawData())
            std::abort();
    }
    return 0;
}
