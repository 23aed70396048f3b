// The path mapper's readers of untrusted text: mtab lines and the mapping CSV.
// The first byte picks the reader (and for CSV whether a header comes first).
// Beyond not crashing, every mapping must be in canonical form, no reader may
// make more mappings than the text has lines, and a mapping must map its own
// mounted path.

#include <FileSystem/paths/Path.h>
#include <FileSystem/paths/PathMapper.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <set>
#include <string>

namespace {

void checkCanonical(const std::string& path) {
    if (path.find('\\') != std::string::npos)
        std::abort();
    if (path != FileSystem::Path::makeKVLCanonicalPath(path))
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    if (size == 0)
        return 0;
    const std::uint8_t mode = bytes[0];
    const std::string text(reinterpret_cast<const char*>(bytes) + 1, size - 1);
    const bool csv = (mode & 1) != 0;

    FileSystem::PathMapper mapper;
    if (csv) {
        mapper = FileSystem::PathMapper::fromCSVData(text, (mode & 2) != 0);
    } else {
        std::set<std::string> types;
        if (mode & 2)
            types.insert("cifs");
        if (mode & 4)
            types.insert("9p");
        mapper = FileSystem::PathMapper::fromMTabData(text, types);
        for (const auto& mapping : mapper.data()) {
            if (!FileSystem::PathMapper::supportedMTabType(mapping.type))
                std::abort();
            if (!types.empty() && types.count(mapping.type) == 0)
                std::abort();
        }
    }
    // Every mapping comes from a line of its own (CSV rows may span lines
    // within quotes, so they are fewer still).
    // (a carriage return ends a CSV row too).
    const std::size_t lines = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n') +
                                                       (csv ? std::count(text.begin(), text.end(), '\r') : 0)) +
                              1;
    if (mapper.data().size() > lines)
        std::abort();

    for (const auto& mapping : mapper.data()) {
        checkCanonical(mapping.mountedPath);
        checkCanonical(mapping.servicePath);
        // A mapped path maps, to the same place or to one of a longer or later mapping.
        if (!mapping.mountedPath.empty()) {
            if (!mapper.isMountedPath(mapping.mountedPath) || !mapper.toServicePath(mapping.mountedPath))
                std::abort();
        }
        if (!mapping.servicePath.empty() && !mapper.toMountedPath(mapping.servicePath))
            std::abort();
    }
    // Decoding never grows the text.
    if (FileSystem::PathMapper::decodeMTab(text).size() > text.size())
        std::abort();
    return 0;
}
