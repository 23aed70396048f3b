#include <FileSystem/tabular/TextFileParser.h>

#include <FileSystem/files/StreamUtilities.h>

#include <algorithm>
#include <map>

namespace FileSystem {

TextFileParser::TextFileParser(const std::string& fileName, bool skipEmpty, const std::set<std::string>& separators) {
    parseFile(fileName, skipEmpty, separators);
}

std::uint64_t TextFileParser::maxLengthSepeator(const std::set<std::string>& separators) {
    std::uint64_t longest = 0;
    for (const std::string& separator : separators)
        longest = std::max<std::uint64_t>(longest, separator.size());
    return longest;
}

void TextFileParser::parseFile(const std::string& fileName, bool skipEmpty, const std::set<std::string>& separators) {
    m_fileName = fileName;
    m_lines.clear();
    KVifstream stream(fileName, std::ios::in | std::ios::binary);
    if (!stream.is_open() || !stream.good())
        return;

    // The text since the current line's start, and the separators found in
    // it (start and length). A separator is final once no longer one could
    // still end at its start: more than the longest length behind the end.
    const std::size_t window = static_cast<std::size_t>(maxLengthSepeator(separators)) + 1;
    std::string buffer;
    std::map<std::size_t, std::size_t> matches;
    // Notes the separator that ends where the text ends at `end`: the last in
    // byte order that fits, so that "\r\n" is tried before "\n". One that
    // starts where another was noted replaces it ("\r\n" over "\r").
    const auto note = [&](std::size_t end) {
        for (auto it = separators.rbegin(); it != separators.rend(); ++it) {
            if (!it->empty() && end >= it->size() && buffer.compare(end - it->size(), it->size(), *it) == 0) {
                matches[end - it->size()] = it->size();
                return;
            }
        }
    };
    const auto cut = [&](bool all) {
        while (!matches.empty()) {
            const auto [start, length] = *matches.begin();
            if (!all && buffer.size() - start < window)
                return;
            matches.erase(matches.begin());
            if (start > 0 || !skipEmpty)
                m_lines.emplace_back(buffer, 0, start);
            const std::size_t consumed = start + length;
            buffer.erase(0, consumed);
            // The rest is looked at again as the start of a line: a separator
            // that overlapped the one just cut may hide a shorter one behind it.
            matches.clear();
            for (std::size_t end = 1; end <= buffer.size(); ++end)
                note(end);
        }
    };
    for (std::string character = readCharacter(stream); !character.empty(); character = readCharacter(stream)) {
        buffer += character;
        note(buffer.size());
        cut(false);
    }
    cut(true);
    if (!buffer.empty())
        m_lines.push_back(std::move(buffer));
}

std::string TextFileParser::getLine(std::uint64_t index) const {
    return index < m_lines.size() ? m_lines[static_cast<std::size_t>(index)] : std::string();
}

bool TextFileParser::saveAs(const std::string& fileName, const std::string& separator) {
    if (fileName.empty())
        return false;
    KVofstream stream(fileName, std::ios::out | std::ios::trunc | std::ios::binary);
    if (!stream.is_open() || !stream.good())
        return false;
    for (const std::string& line : m_lines)
        if (!writeLine(stream, line + separator))
            return false;
    stream.close();
    return !stream.fail();
}

std::string TextFileParser::readCharacter(KVifstream& stream) {
    const auto character = stream.get();
    if (character == std::char_traits<char>::eof())
        return std::string();
    return std::string(1, static_cast<char>(character));
}

bool TextFileParser::writeLine(KVofstream& stream, const std::string& text) {
    stream.write(text.data(), static_cast<std::streamsize>(text.size()));
    return true;
}

} // namespace FileSystem
