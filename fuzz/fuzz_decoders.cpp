// The hexadecimal and Base64 decoders on any text. What decodes must encode
// and decode again to the same bytes, and a text fed in two pieces must
// decode as it does at once.

#include <FileSystem/utilities/BinaryTextEncoder.h>

#include <algorithm>
#include <cstdlib>
#include <span>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const std::span<const char> text(reinterpret_cast<const char*>(bytes), size);
    const Utilities::BinaryTextEncoderHex hex(size % 2 == 0);
    const Utilities::BinaryTextEncoderBase64 base64(size % 3 == 0);
    for (const Utilities::BinaryTextEncoder* encoder : {static_cast<const Utilities::BinaryTextEncoder*>(&hex),
                                                       static_cast<const Utilities::BinaryTextEncoder*>(&base64)}) {
        const auto decoded = encoder->decode(text);
        if (!decoded)
            continue;
        const auto encoded = encoder->encode(*decoded);
        if (!encoded)
            std::abort();
        const auto again = encoder->decode(*encoded);
        if (!again || *again != *decoded)
            std::abort();
    }

    const std::size_t cut = size == 0 ? 0 : bytes[0] % (size + 1);
    {
        Utilities::BinaryTextEncoderHex::Decoder decoder;
        std::vector<std::byte> out(size / 2 + 1);
        auto first = decoder.feed(text.first(cut), out.data());
        auto second = first ? decoder.feed(text.subspan(cut), out.data() + *first) : std::nullopt;
        const auto whole = hex.decode(text);
        if (whole.has_value() != second.has_value() ||
            (whole && (whole->size() != *first + *second || !std::equal(whole->begin(), whole->end(), out.begin()))))
            std::abort();
    }
    {
        Utilities::BinaryTextEncoderBase64::Decoder decoder;
        std::vector<std::byte> out;
        const bool fed = decoder.feed(text.first(cut), out) && decoder.feed(text.subspan(cut), out);
        if (fed)
            decoder.finish(out);
        const auto whole = base64.decode(text);
        if (whole.has_value() != fed || (whole && *whole != out))
            std::abort();
    }
    return 0;
}
