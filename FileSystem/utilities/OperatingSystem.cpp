#include <FileSystem/utilities/OperatingSystem.h>

#include <algorithm>

namespace Utilities {

namespace {

char asciiLower(char c) { return (c >= 'A' && c <= 'Z') ? char(c - 'A' + 'a') : c; }
char asciiUpper(char c) { return (c >= 'a' && c <= 'z') ? char(c - 'a' + 'A') : c; }

} // namespace

std::string applyTextCase(std::string text, TextCase textCase) {
    if (textCase == TextCase::Upper)
        std::transform(text.begin(), text.end(), text.begin(), asciiUpper);
    else if (textCase == TextCase::Lower)
        std::transform(text.begin(), text.end(), text.begin(), asciiLower);
    return text;
}

std::string toString(OperatingSystem system, TextCase textCase) {
    switch (system) {
    case OperatingSystem::Windows:
        return applyTextCase("Windows", textCase);
    case OperatingSystem::Linux:
        return applyTextCase("Linux", textCase);
    case OperatingSystem::Unknown:
        break;
    }
    return {};
}

OperatingSystem operatingSystemFromString(std::string_view text) {
    const std::string lower = applyTextCase(std::string(text), TextCase::Lower);
    if (lower == "windows")
        return OperatingSystem::Windows;
    if (lower == "linux")
        return OperatingSystem::Linux;
    return OperatingSystem::Unknown;
}

} // namespace Utilities
