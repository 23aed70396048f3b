// Tables: a CSV file written, read back with its header, detected as
// semicolon-separated, read from a compressed stream and appended to.
#include <FileSystem/FileSystem.h>
#include <FileSystem/tabular/CSVParser.h>

#include <filesystem>
#include <iostream>
#include <stdexcept>

using namespace FileSystem;

int main(int argc, char** argv) {
    const std::string base = argc > 1 ? argv[1] : std::filesystem::temp_directory_path().string();
    const std::string folder = Path::getDuplicationName(base + "/guide-tables");
    int failures = 0;
    const auto expect = [&failures](bool ok, const std::string& what) {
        std::cout << (ok ? "  ok: " : "  FAILED: ") << what << "\n";
        failures += !ok;
    };

    // A table built in memory and saved: a cell with the separator is quoted,
    // a double quote is written as the entity &quot;.
    CSVParser results;
    results.addRow({"step", "load", "note"});
    results.addRow({"1", "0.5", "start, cold"});
    results.addRow({"2", "0.75", "the \"hot\" run"});
    expect(results.saveAs(folder + "/runs/results.csv", false), "saved, with the missing folders made");
    expect(results.getRow(2) == "2,0.75,the &quot;hot&quot; run", "a quote is written as &quot;");

    // Read back: columns found by their header, cells read as numbers.
    CSVParser table;
    expect(table.parseFile(folder + "/runs/results.csv", false, false, false), "read back");
    const auto load = table.getHeaderIndex("load");
    double value = 0;
    expect(load && table.getNumericValue(2, *load, value) && value == 0.75, "a number found by its column's header");
    expect(table.getValue(1, 2) == "start, cold" && table.getValue(2, 2) == "the \"hot\" run",
           "quoted separators and quotes come back as they were");
    try {
        table.getHeaderIndices({"step", "pressure"});
        expect(false, "a missing header is reported");
    } catch (const std::runtime_error& error) {
        expect(std::string(error.what()) == "Missing Header 'pressure'", "a missing header is reported");
    }

    // A file of decimal commas and semicolons: detect the separator first.
    const std::string european = folder + "/runs/european.csv";
    File::dumpToFile(european, "x;y;z\n1,5;2,25;3\n4,5;5,75;6\n");
    CSVParser detected;
    expect(detected.autodetectSeparator(european) && detected.parseFile(european, false, false, false),
           "semicolons detected and read");
    expect(detected.getNumericValue(1, 1, value) && value == 2.25, "a decimal comma read as a number");

    // A compressed stream reads as the plain file does; a second file is appended.
    const std::string packed = folder + "/runs/packed.csv";
    {
        ZipStream stream(packed, static_cast<int>(std::ios::out));
        stream.getStream() << "step,load,note\n3,0.9,packed\n";
        expect(stream.close(), "a compressed stream written");
    }
    expect(table.appendFile(packed, true, true, false, false, false) && table.getNumberOfRows() == 4 &&
               table.getValue(3, 2) == "packed",
           "a compressed file appended under the same header");

    expect(Directory::remove(folder, true), "the folder removed");
    return failures == 0 ? 0 : 1;
}
