#pragma once

#include <FileSystem/Export.h>

#include <map>
#include <set>
#include <string>
#include <vector>

namespace FileSystem {

/// The file types that an application knows, by name, each with its patterns
/// ("*.csv"), rendered as the filter text of a file dialog. Names come out in
/// byte order, whatever the order in which they were added.
class FILESYSTEM_EXPORT FileFormats {
public:
    /// True when no format was added.
    bool empty() const { return m_formats.empty(); }
    /// Appends `pattern` to the patterns of `name`, making the format when new.
    void addFormat(const std::string& name, const std::string& pattern);
    /// Appends all `patterns` to the patterns of `name`.
    void addFormats(const std::string& name, const std::vector<std::string>& patterns);

    /// The filter text: "Name (*.a *.b);;Other (*.c)". The formats named in
    /// `excludedFormats` are left out. A pattern is left out of a list that
    /// already contains it as text, so "*.c" after "*.cpp" is dropped (but not
    /// the other way round). With `addAllFormats`, and when at least two
    /// formats were added (excluded ones counted), "All Formats (...);;" with
    /// every pattern of the listed formats goes in front. Empty for no formats.
    std::string getFormats(bool addAllFormats, const std::set<std::string>& excludedFormats = {}) const;
    /// Adds every pattern of every format to `formats`; with `extensionsOnly`
    /// only what follows the first '.' of each pattern (a pattern without a
    /// point whole).
    void getAllFormats(std::set<std::string>& formats, bool extensionsOnly) const;
    /// The name of the first format, in name order, with the pattern "*" +
    /// `extension` lower-cased (so ".CSV" finds "*.csv"); empty when none has it.
    std::string lookupFormatName(const std::string& extension) const;

private:
    std::map<std::string, std::vector<std::string>> m_formats;
};

} // namespace FileSystem
