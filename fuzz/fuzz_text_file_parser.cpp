// The text file parser on any bytes, with several sets of separators (among
// them overlapping ones). With "\n" alone the lines joined again must give the
// bytes back; with any set, the lines never hold more bytes than the file, and
// a save with "\n" reads back to the same lines.

#include <FileSystem/files/StreamUtilities.h>
#include <FileSystem/tabular/TextFileParser.h>

#include "FuzzScratch.h"

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <string>

namespace {

const std::string& scratch() { return Fuzz::scratch("fuzz-text-file"); }

const std::set<std::string> kSeparatorSets[] = {
    {"\n"}, {"\n", "\r\n"}, {"\r", "\r\n"}, {"\r", "\n", "\r\n"}, {"ab", "b"}, {"aa"}, {";", ";;", ";;;"}, {}, {""},
};

} // namespace

// The first byte: bits 0-3 choose the separators, bit 4 skips empty lines.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    if (size == 0)
        return 0;
    const auto& separators = kSeparatorSets[(bytes[0] & 15) % std::size(kSeparatorSets)];
    const bool skipEmpty = bytes[0] & 16;
    const std::string text(reinterpret_cast<const char*>(bytes) + 1, size - 1);
    const std::string path = scratch() + "/input.txt";
    {
        FileSystem::KVofstreamBinary out(path);
        out.write(text.data(), static_cast<std::streamsize>(text.size()));
        out.close();
        if (!out)
            std::abort();
    }

    FileSystem::TextFileParser parser(path, skipEmpty, separators);
    std::string joined;
    for (const std::string& line : parser)
        joined += line;
    if (joined.size() > text.size())
        std::abort();
    if (separators == std::set<std::string>{"\n"} && !skipEmpty) {
        std::string again;
        for (const std::string& line : parser)
            again += line + "\n";
        if (!text.empty() && text.back() != '\n')
            again.pop_back();
        if (again != text)
            std::abort();
    }

    const std::string saved = scratch() + "/saved.txt";
    if (!parser.saveAs(saved, "\n"))
        std::abort();
    FileSystem::TextFileParser reread(saved, false, {"\n"});
    bool hasBreaks = false;
    for (const std::string& line : parser)
        hasBreaks = hasBreaks || line.find('\n') != std::string::npos;
    if (!hasBreaks && reread != parser)
        std::abort();
    return 0;
}
