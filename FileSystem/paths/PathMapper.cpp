#include <FileSystem/paths/PathMapper.h>

#include <FileSystem/environment/MachineInfo.h>
#include <FileSystem/files/StreamUtilities.h>
#include <FileSystem/paths/Path.h>
#include <FileSystem/paths/PathConverterBase.h>
#include <FileSystem/platform/Mounts.h>
#include <FileSystem/platform/Shares.h>
#include <FileSystem/tabular/CSVParser.h>

#include <istream>
#include <sstream>

namespace FileSystem {

namespace {

/// The canonical form, taken until it no longer changes: stripping a long
/// prefix can uncover another ("//?///?/a"), and a mapped path must be its own
/// canonical form to be found again.
std::string canonical(const std::string& path) {
    std::string current = Path::makeKVLCanonicalPath(path);
    for (;;) {
        std::string next = Path::makeKVLCanonicalPath(current);
        if (next == current)
            return current;
        current = std::move(next);
    }
}

/// Whether `mapped` holds `path`: a leading part of it that ends at its end or at a '/'.
bool holds(const std::string& mapped, const std::string& path) {
    if (mapped.empty())
        return !path.empty() && path[0] == '/';
    return path.compare(0, mapped.size(), mapped) == 0 && (path.size() == mapped.size() || path[mapped.size()] == '/');
}

std::string inferredType(const std::string& service) {
    const std::size_t prefix = Path::UNCPrefixLength(service);
    if (prefix == 8 || (prefix >= 2 && prefix < 4))
        return "cifs";
    if (Path::isNFSPath(service))
        return "nfs";
    return {};
}

/// The value of a "path=" option: after ";path=", else ",path=", up to the
/// next ';' or ','. Empty when there is none.
std::optional<std::string> drvfsPathOption(const std::string& options) {
    std::size_t at = options.find(";path=");
    if (at == std::string::npos)
        at = options.find(",path=");
    if (at == std::string::npos)
        return std::nullopt;
    const std::size_t start = at + 6;
    const std::size_t end = options.find_first_of(";,", start);
    return options.substr(start, end == std::string::npos ? std::string::npos : end - start);
}

std::vector<std::string> splitAtSpaces(const std::string& line) {
    std::vector<std::string> fields;
    std::size_t start = 0;
    for (;;) {
        const std::size_t space = line.find(' ', start);
        fields.push_back(line.substr(start, space == std::string::npos ? std::string::npos : space - start));
        if (space == std::string::npos)
            return fields;
        start = space + 1;
    }
}

/// The kernel's names of newer protocol versions, under the names of the mtab rules.
std::string mtabTypeOf(const std::string& kernelType) {
    if (kernelType == "nfs4")
        return "nfs";
    if (kernelType == "smb3" || kernelType == "smbfs")
        return "cifs";
    return kernelType;
}

} // namespace

// ---- Identity and UNC mappers ------------------------------------------------------------

bool PathMapperIdentity::isMountedPath(const std::string&) const { return true; }
bool PathMapperIdentity::isServicePath(const std::string&) const { return true; }
std::optional<std::string> PathMapperIdentity::toServicePath(const std::string& path) const { return path; }
std::optional<std::string> PathMapperIdentity::toMountedPath(const std::string& path) const { return path; }

bool PathMapperUNC::isMountedPath(const std::string& path) const { return Path::isNetworkPath(path); }
bool PathMapperUNC::isServicePath(const std::string& path) const { return Path::isNetworkPath(path); }

std::optional<std::string> PathMapperUNC::toServicePath(const std::string& path) const {
    if (!Path::isNetworkPath(path))
        return std::nullopt;
    return Path::convertToUNCPath(path);
}

std::optional<std::string> PathMapperUNC::toMountedPath(const std::string& path) const { return toServicePath(path); }

// ---- Mapping lists -------------------------------------------------------------------------

std::optional<std::size_t> PathMapper::bestMatch(const std::string& path, bool byMountedPath) const {
    std::optional<std::size_t> best;
    std::size_t bestLength = 0;
    for (std::size_t i = 0; i < m_mappings.size(); ++i) {
        const std::string& mapped = byMountedPath ? m_mappings[i].mountedPath : m_mappings[i].servicePath;
        if (holds(mapped, path) && (!best || mapped.size() >= bestLength)) {
            best = i;
            bestLength = mapped.size();
        }
    }
    return best;
}

bool PathMapper::isMountedPath(const std::string& path) const {
    return bestMatch(canonical(path), true).has_value();
}

bool PathMapper::isServicePath(const std::string& path) const {
    return bestMatch(canonical(path), false).has_value();
}

std::optional<std::string> PathMapper::toServicePath(const std::string& path) const {
    const std::string text = canonical(path);
    const auto match = bestMatch(text, true);
    if (!match)
        return std::nullopt;
    const PathMapperMapping& mapping = m_mappings[*match];
    return mapping.servicePath + text.substr(mapping.mountedPath.size());
}

std::optional<std::string> PathMapper::toMountedPath(const std::string& path) const {
    const std::string text = canonical(path);
    const auto match = bestMatch(text, false);
    if (!match)
        return std::nullopt;
    const PathMapperMapping& mapping = m_mappings[*match];
    return mapping.mountedPath + text.substr(mapping.servicePath.size());
}

void PathMapper::addMapping(const std::string& mounted, const std::string& service) {
    addMapping(inferredType(service), mounted, service);
}

void PathMapper::addMapping(const std::string& type, const std::string& mounted, const std::string& service) {
    m_mappings.push_back({type, canonical(mounted), canonical(service)});
}

void PathMapper::addMapping(const PathMapperMapping& mapping) { m_mappings.push_back(mapping); }

void PathMapper::addMapping(const std::vector<PathMapperMapping>& mappings) {
    m_mappings.insert(m_mappings.end(), mappings.begin(), mappings.end());
}

// ---- Sources of mappings ---------------------------------------------------------------------

bool PathMapper::supportedMTabType(const std::string& type) {
    return type == "drvfs" || type == "9p" || type == "cifs" || type == "nfs";
}

std::string PathMapper::decodeMTab(const std::string& text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\') {
            out += text[i];
            continue;
        }
        const std::string code = text.substr(i + 1, 3);
        if (code == "040" || code == "011" || code == "012" || code == "134") {
            out += code == "040" ? ' ' : code == "011" ? '\t' : code == "012" ? '\n' : '\\';
            i += 3;
        } else if (i + 1 < text.size() && text[i + 1] == '\\') {
            out += '\\';
            ++i;
        } else {
            out += '\\'; // not an escape: kept as written
        }
    }
    return out;
}

void PathMapper::addMount(const std::string& type, const std::string& source, const std::string& mountPoint,
                          const std::string& options) {
    if (type == "9p" && source == "drvfs") {
        // A Windows drive under WSL: the drive's path is among the options.
        if (const auto drive = drvfsPathOption(options))
            addMapping(type, mountPoint, Path::convertToUNCPath(*drive));
    } else if (type == "drvfs" || type == "9p" || type == "cifs") {
        addMapping(type, mountPoint, Path::convertToUNCPath(source));
    } else if (type == "nfs") {
        addMapping(type, mountPoint, source);
    }
}

PathMapper PathMapper::fromMTabData(std::istream& in, const std::set<std::string>& types) {
    PathMapper mapper;
    std::string line;
    while (std::getline(in, line)) {
        const std::vector<std::string> fields = splitAtSpaces(line);
        if (fields.size() < 3)
            continue;
        const std::string type = decodeMTab(fields[2]);
        if (!supportedMTabType(type) || (!types.empty() && types.count(type) == 0))
            continue;
        mapper.addMount(type, decodeMTab(fields[0]), decodeMTab(fields[1]),
                        fields.size() > 3 ? decodeMTab(fields[3]) : std::string());
    }
    return mapper;
}

PathMapper PathMapper::fromMTabData(const std::string& text, const std::set<std::string>& types) {
    std::istringstream in(text);
    return fromMTabData(in, types);
}

PathMapper PathMapper::fromMTabFile(const std::string& path, const std::set<std::string>& types) {
    if (path.empty())
        return {};
    KVifstream in(path);
    if (!in)
        return {};
    return fromMTabData(in, types);
}

namespace {

PathMapper fromTable(CSVParser& parser, bool hasHeader) {
    PathMapper mapper;
    bool first = true;
    for (const std::vector<std::string>& row : parser.getRawData()) {
        const bool skip = first && hasHeader;
        first = false;
        if (skip)
            continue;
        if (row.size() == 2)
            mapper.addMapping(row[0], row[1]);
        else if (row.size() == 3)
            mapper.addMapping(row[0], row[1], row[2]);
    }
    return mapper;
}

CSVParser mappingParser() { return CSVParser(',', false, false, '\n', true); }

} // namespace

PathMapper PathMapper::fromCSVFile(const std::string& path, bool hasHeader) {
    CSVParser parser = mappingParser();
    if (!parser.parseFile(path))
        return {};
    return fromTable(parser, hasHeader);
}

PathMapper PathMapper::fromCSVData(const std::string& text, bool hasHeader) {
    CSVParser parser = mappingParser();
    parser.parseData(text);
    return fromTable(parser, hasHeader);
}

PathMapper PathMapper::fromMounts() {
    PathMapper mapper;
    for (const sys::MountEntry& mount : sys::mountTable()) {
        const std::string type = mtabTypeOf(mount.type);
        if (supportedMTabType(type))
            mapper.addMount(type, mount.source, PathConverter::toKVLPath(mount.mountPoint), mount.options);
    }
    const std::string computer = MachineInfo::computername();
    if (computer.empty())
        return mapper;
    for (const sys::ShareEntry& share : sys::localShares())
        if (share.name.find('$') == std::string::npos)
            mapper.addMapping("cifs", PathConverter::toKVLPath(share.path), "//" + computer + '/' + share.name);
    return mapper;
}

} // namespace FileSystem
