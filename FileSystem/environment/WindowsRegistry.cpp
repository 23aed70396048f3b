#include <FileSystem/environment/EnvironmentVariableModel.h>
#include <FileSystem/environment/WindowsRegistry.h>
#include <FileSystem/platform/Registry.h>

#include <array>

namespace FileSystem::WindowsRegistry {

namespace {

namespace store = sys::registry;

struct RootName {
    const char* text;
    std::uint32_t handle;
};

constexpr std::array<RootName, 8> kRoots{{
    {"HKEY_CLASSES_ROOT", 0x80000000},
    {"HKEY_CURRENT_USER", 0x80000001},
    {"HKEY_LOCAL_MACHINE", 0x80000002},
    {"HKEY_USERS", 0x80000003},
    {"HKEY_PERFORMANCE_DATA", 0x80000004},
    {"HKEY_CURRENT_CONFIG", 0x80000005},
    {"HKEY_PERFORMANCE_TEXT", 0x80000050},
    {"HKEY_PERFORMANCE_NLSTEXT", 0x80000060},
}};

constexpr std::uint32_t kCurrentUser = 0x80000001;
constexpr std::uint32_t kLocalMachine = 0x80000002;

/// A key path resolved to its hive and the names below the root.
struct Location {
    store::HiveLocation hive;
    std::vector<std::string> names;
};

std::optional<Location> locate(const std::string& path) {
    std::vector<std::string> tokens = Key::getTokens(path);
    if (tokens.empty())
        return std::nullopt;
    const auto handle = Key::rootHandle(tokens.front());
    if (handle != kCurrentUser && handle != kLocalMachine)
        return std::nullopt; // the other roots have no store here
    const std::string overrideRoot =
        SystemEnvironmentVariables::instance().getOptionalEnvironmentVariable("KV_TESSEL_REGISTRY_ROOT").value_or("");
    Location location;
    location.hive = store::hiveLocation(handle == kCurrentUser ? store::Hive::CurrentUser : store::Hive::LocalMachine,
                                        overrideRoot);
    if (location.hive.folder.empty())
        return std::nullopt;
    location.names.assign(std::make_move_iterator(tokens.begin() + 1), std::make_move_iterator(tokens.end()));
    return location;
}

std::string joined(const std::vector<std::string>& tokens, std::size_t first, std::size_t last) {
    std::string out;
    for (std::size_t i = first; i < last; ++i) {
        if (i > first)
            out += Key::keySeparator();
        out += tokens[i];
    }
    return out;
}

void appendUnit(std::string& out, std::uint32_t unit) {
    out += static_cast<char>(unit & 0xFF);
    out += static_cast<char>(unit >> 8);
}

void appendUtf8(std::string& out, std::uint32_t cp) {
    if (cp < 0x80) {
        out += static_cast<char>(cp);
    } else if (cp < 0x800) {
        out += static_cast<char>(0xC0 | (cp >> 6));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    } else if (cp < 0x10000) {
        out += static_cast<char>(0xE0 | (cp >> 12));
        out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (cp >> 18));
        out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    }
}

/// The code point of the UTF-8 sequence at `i`, advancing `i`; U+FFFD (one
/// byte consumed) for a byte that starts no well-formed sequence.
std::uint32_t nextCodePoint(const std::string& text, std::size_t& i) {
    const auto byte = [&](std::size_t at) { return static_cast<unsigned char>(text[at]); };
    const unsigned char lead = byte(i);
    std::size_t length = 0;
    std::uint32_t cp = 0, minimum = 0;
    if (lead < 0x80) {
        ++i;
        return lead;
    } else if ((lead & 0xE0) == 0xC0) {
        length = 2, cp = lead & 0x1F, minimum = 0x80;
    } else if ((lead & 0xF0) == 0xE0) {
        length = 3, cp = lead & 0x0F, minimum = 0x800;
    } else if ((lead & 0xF8) == 0xF0) {
        length = 4, cp = lead & 0x07, minimum = 0x10000;
    }
    if (length == 0 || i + length > text.size()) {
        ++i;
        return 0xFFFD;
    }
    for (std::size_t k = 1; k < length; ++k) {
        if ((byte(i + k) & 0xC0) != 0x80) {
            ++i;
            return 0xFFFD;
        }
        cp = (cp << 6) | (byte(i + k) & 0x3F);
    }
    if (cp < minimum || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) {
        ++i;
        return 0xFFFD;
    }
    i += length;
    return cp;
}

std::string numberBytes(std::uint64_t number, int size) {
    std::string out;
    for (int i = 0; i < size; ++i)
        out += static_cast<char>((number >> (8 * i)) & 0xFF);
    return out;
}

std::uint64_t numberOf(const std::string& bytes) {
    std::uint64_t number = 0;
    for (std::size_t i = bytes.size(); i-- > 0;)
        number = (number << 8) | static_cast<unsigned char>(bytes[i]);
    return number;
}

const std::string kTerminator(2, '\0');

} // namespace

bool acceptsType(const std::set<ValueFilter>& filters, ValueType type) {
    if (filters.count(ValueFilter::Any) != 0)
        return true;
    switch (type) {
    case ValueType::None: return filters.count(ValueFilter::None) != 0;
    case ValueType::String: return filters.count(ValueFilter::String) != 0;
    case ValueType::ExpandableString: return filters.count(ValueFilter::ExpandableString) != 0;
    case ValueType::Binary: return filters.count(ValueFilter::Binary) != 0;
    case ValueType::DWord: return filters.count(ValueFilter::DWord) != 0;
    case ValueType::MultiString: return filters.count(ValueFilter::MultiString) != 0;
    case ValueType::QWord: return filters.count(ValueFilter::QWord) != 0;
    }
    return false; // a kind without a filter of its own
}

// ---- Key -------------------------------------------------------------------------

Key::Key(std::string path) : m_path(std::move(path)) {}

std::optional<std::uint32_t> Key::rootHandle(const std::string& rootName) {
    for (const RootName& root : kRoots)
        if (rootName == root.text)
            return root.handle;
    return std::nullopt;
}

bool Key::create() const { return create(m_path, true); }

bool Key::create(const std::string& path, bool createParents) {
    const auto location = locate(path);
    return location && store::createKey(location->hive, location->names, createParents);
}

bool Key::remove(const std::string& path, bool recursive) {
    const auto location = locate(path);
    return location && !location->names.empty() && store::removeKey(location->hive, location->names, recursive);
}

bool Key::exists() const { return exists(m_path); }

bool Key::exists(const std::string& path) {
    const auto location = locate(path);
    return location && store::keyExists(location->hive, location->names);
}

std::vector<std::string> Key::getTokens() const { return getTokens(m_path); }

std::vector<std::string> Key::getTokens(const std::string& path) {
    std::vector<std::string> tokens;
    std::size_t start = 0;
    while (start <= path.size()) {
        std::size_t end = path.find(keySeparator(), start);
        if (end == std::string::npos)
            end = path.size();
        if (end > start)
            tokens.emplace_back(path, start, end - start);
        start = end + 1;
    }
    return tokens;
}

std::vector<std::string> Key::getChildTokens(const std::string& path) {
    const auto location = locate(path);
    return location ? store::subkeys(location->hive, location->names).value_or(std::vector<std::string>())
                    : std::vector<std::string>();
}

std::vector<std::string> Key::getChildValues(const std::string& path) {
    const auto location = locate(path);
    return location ? store::values(location->hive, location->names).value_or(std::vector<std::string>())
                    : std::vector<std::string>();
}

std::string Key::getFirstToken(const std::string& path) {
    const auto tokens = getTokens(path);
    return tokens.empty() ? std::string() : tokens.front();
}

std::string Key::getLastToken(const std::string& path) {
    const auto tokens = getTokens(path);
    return tokens.empty() ? std::string() : tokens.back();
}

std::string Key::stripFirstToken(const std::string& path) {
    const auto tokens = getTokens(path);
    return tokens.empty() ? std::string() : joined(tokens, 1, tokens.size());
}

std::string Key::stripLastToken(const std::string& path) {
    const auto tokens = getTokens(path);
    return tokens.empty() ? std::string() : joined(tokens, 0, tokens.size() - 1);
}

// ---- KeyValueBase ----------------------------------------------------------------

KeyValueBase::KeyValueBase(std::string keyPath, std::string valueName, std::set<ValueFilter> filters)
    : m_keyPath(std::move(keyPath)), m_valueName(std::move(valueName)), m_filters(std::move(filters)) {}

KeyValueBase::~KeyValueBase() = default;

bool KeyValueBase::exists() const { return exists(m_keyPath, m_valueName, m_filters); }
bool KeyValueBase::remove() const { return remove(m_keyPath, m_valueName); }
std::optional<ValueType> KeyValueBase::type() const { return type(m_keyPath, m_valueName, m_filters); }

bool KeyValueBase::exists(const std::string& keyPath, const std::string& valueName,
                          const std::set<ValueFilter>& filters) {
    return type(keyPath, valueName, filters).has_value();
}

bool KeyValueBase::remove(const std::string& keyPath, const std::string& valueName) {
    const auto location = locate(keyPath);
    return location && store::removeValue(location->hive, location->names, valueName);
}

bool KeyValueBase::create(const std::string& keyPath, const std::string& valueName, const std::string& data,
                          ValueType type) {
    const auto location = locate(keyPath);
    return location && store::writeValue(location->hive, location->names, valueName,
                                         {static_cast<std::uint32_t>(type), data}, true);
}

std::optional<ValueType> KeyValueBase::type(const std::string& keyPath, const std::string& valueName,
                                            const std::set<ValueFilter>& filters) {
    const auto value = getBinaryValue(keyPath, valueName, filters);
    return value ? std::optional<ValueType>(value->first) : std::nullopt;
}

bool KeyValueBase::setBinaryValue(const std::string& keyPath, const std::string& valueName, const std::string& data,
                                  ValueType type) {
    const auto location = locate(keyPath);
    return location && store::writeValue(location->hive, location->names, valueName,
                                         {static_cast<std::uint32_t>(type), data}, false);
}

std::optional<std::pair<ValueType, std::string>>
KeyValueBase::getBinaryValue(const std::string& keyPath, const std::string& valueName,
                             const std::set<ValueFilter>& filters) {
    const auto location = locate(keyPath);
    auto value = location ? store::readValue(location->hive, location->names, valueName) : std::nullopt;
    if (!value || !acceptsType(filters, static_cast<ValueType>(value->kind)))
        return std::nullopt;
    return std::make_pair(static_cast<ValueType>(value->kind), std::move(value->data));
}

// ---- Typed values ----------------------------------------------------------------

StringValue::StringValue(std::string keyPath, std::string valueName, bool expandable)
    : KeyValueBase(std::move(keyPath), std::move(valueName),
                   {expandable ? ValueFilter::ExpandableString : ValueFilter::String}),
      m_type(expandable ? ValueType::ExpandableString : ValueType::String) {}

std::optional<std::string> StringValue::get() const {
    const auto value = getBinaryValue(keyPath(), valueName(), filters());
    if (!value)
        return std::nullopt;
    std::string text = Helpers::stringFromBinary(value->second);
    return text.substr(0, text.find('\0'));
}

bool StringValue::set(const std::string& text) const {
    return create(keyPath(), valueName(), Helpers::stringToBinary(text) + kTerminator, m_type);
}

ExpandableStringValue::ExpandableStringValue(std::string keyPath, std::string valueName)
    : StringValue(std::move(keyPath), std::move(valueName), true) {}

MultiStringValue::MultiStringValue(std::string keyPath, std::string valueName)
    : KeyValueBase(std::move(keyPath), std::move(valueName), {ValueFilter::MultiString}) {}

std::optional<std::vector<std::string>> MultiStringValue::get() const {
    const auto value = getBinaryValue(keyPath(), valueName(), filters());
    if (!value)
        return std::nullopt;
    std::string text = Helpers::stringFromBinary(value->second);
    // Each member ends with a zero and the list with one more; a writer that
    // left out either is read as if it had not.
    if (!text.empty() && text.back() == '\0')
        text.pop_back();
    std::vector<std::string> texts;
    std::size_t start = 0;
    while (start < text.size()) {
        std::size_t end = text.find('\0', start);
        if (end == std::string::npos)
            end = text.size();
        texts.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    return texts;
}

bool MultiStringValue::set(const std::vector<std::string>& texts) const {
    std::string data;
    for (const std::string& text : texts) {
        if (text.find('\0') != std::string::npos)
            return false; // the zero would end the member early
        data += Helpers::stringToBinary(text) + kTerminator;
    }
    data += kTerminator;
    return create(keyPath(), valueName(), data, ValueType::MultiString);
}

DWordValue::DWordValue(std::string keyPath, std::string valueName)
    : KeyValueBase(std::move(keyPath), std::move(valueName), {ValueFilter::DWord}) {}

std::optional<std::uint32_t> DWordValue::get() const {
    const auto value = getBinaryValue(keyPath(), valueName(), filters());
    if (!value || value->second.size() != 4)
        return std::nullopt;
    return static_cast<std::uint32_t>(numberOf(value->second));
}

bool DWordValue::set(std::uint32_t number) const {
    return create(keyPath(), valueName(), numberBytes(number, 4), ValueType::DWord);
}

QWordValue::QWordValue(std::string keyPath, std::string valueName)
    : KeyValueBase(std::move(keyPath), std::move(valueName), {ValueFilter::QWord}) {}

std::optional<std::uint64_t> QWordValue::get() const {
    const auto value = getBinaryValue(keyPath(), valueName(), filters());
    if (!value || value->second.size() != 8)
        return std::nullopt;
    return numberOf(value->second);
}

bool QWordValue::set(std::uint64_t number) const {
    return create(keyPath(), valueName(), numberBytes(number, 8), ValueType::QWord);
}

BinaryValue::BinaryValue(std::string keyPath, std::string valueName, std::set<ValueFilter> filters)
    : KeyValueBase(std::move(keyPath), std::move(valueName), std::move(filters)) {}

std::optional<std::string> BinaryValue::get() const {
    auto value = getBinaryValue(keyPath(), valueName(), filters());
    return value ? std::optional<std::string>(std::move(value->second)) : std::nullopt;
}

bool BinaryValue::set(const std::string& bytes) const {
    return create(keyPath(), valueName(), bytes, ValueType::Binary);
}

// ---- Helpers ---------------------------------------------------------------------

std::string Helpers::stringToBinary(const std::string& text) {
    std::string out;
    out.reserve(text.size() * 2);
    for (std::size_t i = 0; i < text.size();) {
        const std::uint32_t cp = nextCodePoint(text, i);
        if (cp < 0x10000) {
            appendUnit(out, cp);
        } else {
            appendUnit(out, 0xD800 + ((cp - 0x10000) >> 10));
            appendUnit(out, 0xDC00 + ((cp - 0x10000) & 0x3FF));
        }
    }
    return out;
}

std::string Helpers::stringFromBinary(const std::string& data) {
    const std::size_t units = data.size() / 2;
    const auto unitAt = [&](std::size_t k) {
        return static_cast<std::uint32_t>(static_cast<unsigned char>(data[2 * k])) |
               (static_cast<std::uint32_t>(static_cast<unsigned char>(data[2 * k + 1])) << 8);
    };
    std::string out;
    out.reserve(units);
    for (std::size_t k = 0; k < units; ++k) {
        const std::uint32_t unit = unitAt(k);
        if (unit >= 0xD800 && unit <= 0xDBFF && k + 1 < units) {
            const std::uint32_t low = unitAt(k + 1);
            if (low >= 0xDC00 && low <= 0xDFFF) {
                appendUtf8(out, 0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00));
                ++k;
                continue;
            }
        }
        appendUtf8(out, (unit >= 0xD800 && unit <= 0xDFFF) ? 0xFFFDu : unit);
    }
    return out;
}

} // namespace FileSystem::WindowsRegistry
