#include <FileSystem/utilities/Platform.h>

namespace Utilities {

std::string toString(Processor processor, TextCase textCase) {
    switch (processor) {
    case Processor::x86_32:
        return applyTextCase("x86_32", textCase);
    case Processor::x86_64:
        return applyTextCase("x86_64", textCase);
    case Processor::aarch32:
        return applyTextCase("aarch32", textCase);
    case Processor::aarch64:
        return applyTextCase("aarch64", textCase);
    case Processor::Unknown:
        break;
    }
    return {};
}

Processor processorFromString(std::string_view text) {
    const std::string lower = applyTextCase(std::string(text), TextCase::Lower);
    if (lower == "x86_32" || lower == "x32")
        return Processor::x86_32;
    if (lower == "x86_64" || lower == "x64")
        return Processor::x86_64;
    if (lower == "aarch32" || lower == "arm32")
        return Processor::aarch32;
    if (lower == "aarch64" || lower == "arm64")
        return Processor::aarch64;
    return Processor::Unknown;
}

std::string Platform::toString(TextCase textCase, char separator) const {
    std::string text = Utilities::toString(operatingSystem, textCase);
    if (processor != Processor::Unknown) {
        text += separator;
        text += Utilities::toString(processor, textCase);
    }
    return text;
}

Platform Platform::fromString(std::string_view text) {
    const std::size_t split = text.find('_');
    if (split == std::string_view::npos)
        return Platform(operatingSystemFromString(text));
    return Platform(operatingSystemFromString(text.substr(0, split)),
                    processorFromString(text.substr(split + 1)));
}

} // namespace Utilities
