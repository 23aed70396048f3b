#include <FileSystem/files/FileFormats.h>

#include <FileSystem/utilities/Unicode.h>

namespace FileSystem {

namespace {

/// Appends `pattern` to a blank-separated list unless the list's text already
/// contains it (a plain substring test, on purpose).
void appendUnlessContained(std::string& list, const std::string& pattern) {
    if (list.find(pattern) != std::string::npos)
        return;
    if (!list.empty())
        list += ' ';
    list += pattern;
}

} // namespace

void FileFormats::addFormat(const std::string& name, const std::string& pattern) {
    m_formats[name].push_back(pattern);
}

void FileFormats::addFormats(const std::string& name, const std::vector<std::string>& patterns) {
    auto& list = m_formats[name];
    list.insert(list.end(), patterns.begin(), patterns.end());
}

std::string FileFormats::getFormats(bool addAllFormats, const std::set<std::string>& excludedFormats) const {
    std::string result;
    std::string all;
    for (const auto& [name, patterns] : m_formats) {
        if (excludedFormats.count(name))
            continue;
        std::string list;
        for (const std::string& pattern : patterns) {
            appendUnlessContained(list, pattern);
            appendUnlessContained(all, pattern);
        }
        if (!result.empty())
            result += ";;";
        result += name + " (" + list + ")";
    }
    if (addAllFormats && m_formats.size() >= 2)
        result = "All Formats (" + all + ");;" + result;
    return result;
}

void FileFormats::getAllFormats(std::set<std::string>& formats, bool extensionsOnly) const {
    for (const auto& entry : m_formats) {
        for (const std::string& pattern : entry.second) {
            const auto point = pattern.find('.');
            formats.insert(extensionsOnly && point != std::string::npos ? pattern.substr(point + 1) : pattern);
        }
    }
}

std::string FileFormats::lookupFormatName(const std::string& extension) const {
    const std::string wanted = "*" + Utilities::toLowerUtf8(extension);
    for (const auto& [name, patterns] : m_formats)
        for (const std::string& pattern : patterns)
            if (pattern == wanted)
                return name;
    return {};
}

} // namespace FileSystem
