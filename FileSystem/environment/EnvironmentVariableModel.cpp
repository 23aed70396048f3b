#include <FileSystem/environment/EnvironmentVariableModel.h>

#include <FileSystem/platform/Environment.h>

#include <algorithm>
#include <stdexcept>

namespace FileSystem {

namespace {

using Utilities::OperatingSystem;

const std::string kFallbackPrefix = "KV_";

bool isAsciiAlphanumeric(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9'); }

bool isNameCharacter(char c) { return isAsciiAlphanumeric(c) || c == '_'; }

std::string listSeparator(OperatingSystem system) { return system == OperatingSystem::Windows ? ";" : ":"; }

/// `%NAME%` references. The result is built in one pass. The scan resumes on
/// the last character of a value (a value that ends in '%' opens the next
/// reference), or, for an empty value, on the character before the reference;
/// behind an unknown name it resumes on the closing '%', which then opens the
/// next candidate. Other text of a value is not expanded again.
std::string parseWindows(const std::string& text, const EnvironmentVariableModelROAbstract& model) {
    std::string out;
    out.reserve(text.size());
    std::size_t at = 0;           // the next character of `text` to scan
    bool lastMayOpen = false;     // whether a '%' at the end of `out` is scanned again
    for (;;) {
        if (lastMayOpen && !out.empty() && out.back() == '%') {
            out.pop_back(); // it opens the reference
        } else {
            const std::size_t open = text.find('%', at);
            if (open == std::string::npos)
                break;
            out.append(text, at, open - at);
            at = open + 1;
        }
        const std::size_t close = text.find('%', at);
        if (close == std::string::npos) {
            out += '%';
            break;
        }
        const std::string name = text.substr(at, close - at);
        if (const auto value = model.getOptionalEnvironmentVariable(name)) {
            out += *value;
            at = close + 1;
            lastMayOpen = true;
        } else {
            out += '%';
            out += name;
            at = close; // the closing '%' is scanned again
            lastMayOpen = false;
        }
    }
    out.append(text, at, std::string::npos);
    return out;
}

/// `$NAME` and `${NAME}` references; an unset name becomes nothing. A `$` that
/// opens no reference stays as it is and the scan goes on behind it. The
/// result is built in one pass; replaced text is not scanned again.
std::string parseLinux(const std::string& text, const EnvironmentVariableModelROAbstract& model) {
    std::string out;
    out.reserve(text.size());
    std::size_t at = 0; // the first character of `text` not yet in `out`
    for (std::size_t p = text.find('$'); p != std::string::npos; p = text.find('$', p)) {
        if (p + 1 >= text.size())
            break;
        const char c = text[p + 1];
        std::size_t end = 0;
        std::string name;
        if (isAsciiAlphanumeric(c)) {
            end = p + 1;
            while (end < text.size() && isNameCharacter(text[end]))
                ++end;
            name = text.substr(p + 1, end - p - 1);
        } else if (c == '{') {
            if (p + 2 >= text.size())
                break;
            const std::size_t close = text.find('}', p + 2);
            if (close == std::string::npos)
                break;
            name = text.substr(p + 2, close - p - 2);
            if (!std::all_of(name.begin(), name.end(), isNameCharacter))
                break; // this and every later reference stay as written
            end = close + 1;
        } else {
            ++p;
            continue;
        }
        out.append(text, at, p - at);
        if (const auto value = model.getOptionalEnvironmentVariable(name))
            out += *value;
        at = p = end;
    }
    out.append(text, at, std::string::npos);
    return out;
}

[[noreturn]] void throwSystemError(const char* what, int code) {
    throw std::runtime_error(std::string("error: ") + what + " Error code : " + std::to_string(code));
}

} // namespace

// ---- Interface helpers ---------------------------------------------------------

std::string EnvironmentVariableModelROAbstract::parseEnvironmentVariables(const std::string& text,
                                                                          OperatingSystem system) const {
    return FileSystem::parseEnvironmentVariables(text, *this, system);
}

bool EnvironmentVariableModelAbstract::setEnvironmentVariables(const std::map<std::string, std::string>& variables) {
    bool all = true;
    for (const auto& [name, value] : variables)
        all = setEnvironmentVariable(name, value) && all;
    return all;
}

bool EnvironmentVariableModelAbstract::setEnvironmentVariables(const data_type& variables) {
    bool all = true;
    for (const auto& [name, value] : variables)
        all = setEnvironmentVariable(name, value) && all;
    return all;
}

// ---- A private model -------------------------------------------------------------

EnvironmentVariableModel::EnvironmentVariableModel(OperatingSystem system) : m_data(EnvironmentVariableSort(system)) {}

EnvironmentVariableModel::EnvironmentVariableModel(const std::map<std::string, std::string>& variables,
                                                   OperatingSystem system)
    : m_data(data_type_from_map(variables, system)) {}

EnvironmentVariableModel::EnvironmentVariableModel(std::map<std::string, std::string>&& variables,
                                                   OperatingSystem system)
    : m_data(data_type_from_map(variables, system)) {}

EnvironmentVariableModel::EnvironmentVariableModel(
    std::initializer_list<std::pair<const std::string, std::string>> variables, OperatingSystem system)
    : m_data(EnvironmentVariableSort(system)) {
    for (const auto& entry : variables)
        m_data.insert(entry);
}

EnvironmentVariableModel EnvironmentVariableModel::fromSystem() {
    return EnvironmentVariableModel(SystemEnvironmentVariables::instance().getAllEnvironmentVariables());
}

EnvironmentVariableModel::data_type
EnvironmentVariableModel::data_type_from_map(const std::map<std::string, std::string>& variables,
                                             OperatingSystem system) {
    data_type data{EnvironmentVariableSort(system)};
    for (const auto& entry : variables)
        data.insert(entry);
    return data;
}

std::map<std::string, std::string> EnvironmentVariableModel::data_type_to_map(const data_type& data) {
    return std::map<std::string, std::string>(data.begin(), data.end());
}

std::optional<std::string> EnvironmentVariableModel::getOptionalEnvironmentVariable(const std::string& name) const {
    const auto it = m_data.find(name);
    if (it == m_data.end())
        return std::nullopt;
    return it->second;
}

bool EnvironmentVariableModel::setEnvironmentVariable(const std::string& name, const std::string& value) {
    m_data[name] = value;
    return true;
}

bool EnvironmentVariableModel::setEnvironmentVariables(const std::map<std::string, std::string>& variables) {
    for (const auto& [name, value] : variables)
        m_data[name] = value;
    return true;
}

bool EnvironmentVariableModel::setEnvironmentVariables(const data_type& variables) {
    for (const auto& [name, value] : variables)
        m_data[name] = value;
    return true;
}

// ---- The live environment -------------------------------------------------------------

SystemEnvironmentVariables& SystemEnvironmentVariables::instance() {
    static SystemEnvironmentVariables environment;
    return environment;
}

EnvironmentVariableModelROAbstract::data_type SystemEnvironmentVariables::getAllEnvironmentVariables() const {
    data_type all{EnvironmentVariableSort(defaultOperatingSystem())};
    for (const std::string& entry : sys::environmentStrings()) {
        const std::size_t equals = entry.find('=');
        if (equals == std::string::npos)
            all.emplace(entry, std::string());
        else
            all.emplace(entry.substr(0, equals), entry.substr(equals + 1));
    }
    return all;
}

bool SystemEnvironmentVariables::hasEnvironmentVariable(const std::string& name) const {
    const auto value = sys::environmentVariable(name);
    if (value && !value->empty())
        return true;
    if (name.size() >= kFallbackPrefix.size() && name.compare(0, kFallbackPrefix.size(), kFallbackPrefix) == 0)
        return hasEnvironmentVariable(name.substr(kFallbackPrefix.size()));
    return false;
}

std::optional<std::string> SystemEnvironmentVariables::getOptionalEnvironmentVariable(const std::string& name) const {
    auto value = sys::environmentVariable(name);
    if (value && !value->empty())
        return value;
    if (name.size() >= kFallbackPrefix.size() && name.compare(0, kFallbackPrefix.size(), kFallbackPrefix) == 0)
        return getOptionalEnvironmentVariable(name.substr(kFallbackPrefix.size()));
    return std::nullopt;
}

bool SystemEnvironmentVariables::setEnvironmentVariable(const std::string& name, const std::string& value) {
    return setEnvironmentVariable(name, value, false);
}

bool SystemEnvironmentVariables::setEnvironmentVariable(const std::string& name, const std::string& value,
                                                        bool persistent) {
    if (name.empty())
        return false;
    const int error = value.empty() ? sys::unsetEnvironmentVariable(name) : sys::setEnvironmentVariable(name, value);
    if (error != 0)
        throwSystemError("SetEnvironmentVariable", error);
    if (persistent)
        sys::updateEnvironmentFile(sys::persistentEnvironmentFile(), name, value);
    return true;
}

// ---- The scope guard ------------------------------------------------------------------

TemporaryEnvironmentVariable::TemporaryEnvironmentVariable(const std::string& name, const std::string& value)
    : m_name(name) {
    // The variable itself: the live model's lookup would answer an unset
    // "KV_X" with the value of "X" and so set "KV_X" at the end.
    m_previousValue = sys::environmentVariable(name);
    SystemEnvironmentVariables::instance().setEnvironmentVariable(name, value, false);
}

TemporaryEnvironmentVariable::TemporaryEnvironmentVariable(TemporaryEnvironmentVariable&& other) noexcept
    : m_name(std::move(other.m_name)), m_previousValue(std::move(other.m_previousValue)) {
    other.m_name.clear();
}

TemporaryEnvironmentVariable& TemporaryEnvironmentVariable::operator=(TemporaryEnvironmentVariable&& other) noexcept {
    std::swap(m_name, other.m_name);
    std::swap(m_previousValue, other.m_previousValue);
    return *this;
}

TemporaryEnvironmentVariable::~TemporaryEnvironmentVariable() {
    if (m_name.empty())
        return;
    // An earlier empty value is put back as it was (the live model's setter
    // would remove the variable instead). Failures leave the variable as it is.
    try {
        if (m_previousValue)
            sys::setEnvironmentVariable(m_name, *m_previousValue);
        else
            sys::unsetEnvironmentVariable(m_name);
    } catch (...) {
        // A destructor must not throw.
    }
}

// ---- Free functions ----------------------------------------------------------------------

std::string parseEnvironmentVariables(const std::string& text, const EnvironmentVariableModelROAbstract& model,
                                      OperatingSystem system) {
    switch (system) {
    case OperatingSystem::Windows:
        return parseWindows(text, model);
    case OperatingSystem::Linux:
        return parseLinux(text, model);
    default:
        return text;
    }
}

std::string parseEnvironmentVariables(const std::string& text, OperatingSystem system) {
    return parseEnvironmentVariables(text, SystemEnvironmentVariables::instance(), system);
}

std::string joinListEnvironmentVariableValue(const std::list<std::string>& list, const std::string& separator) {
    std::string joined;
    for (const std::string& item : list) {
        if (!joined.empty())
            joined += separator;
        joined += item;
    }
    return joined;
}

std::string joinListEnvironmentVariableValue(const std::list<std::string>& list, OperatingSystem system) {
    return joinListEnvironmentVariableValue(list, listSeparator(system));
}

std::list<std::string> splitListEnvironmentVariableValue(const std::string& value, const std::string& separator) {
    std::list<std::string> items;
    if (separator.empty())
        return {value};
    std::size_t start = 0;
    for (std::size_t at = value.find(separator); at != std::string::npos; at = value.find(separator, start)) {
        items.push_back(value.substr(start, at - start));
        start = at + separator.size();
    }
    items.push_back(value.substr(start));
    return items;
}

std::list<std::string> splitListEnvironmentVariableValue(const std::string& value, OperatingSystem system) {
    return splitListEnvironmentVariableValue(value, listSeparator(system));
}

} // namespace FileSystem
