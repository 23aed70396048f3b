// The hexadecimal and Base64 decoders on any text. What decodes must encode
// and decode again to the same bytes.

#include <FileSystem/utilities/BinaryTextEncoder.h>

#include <cstdlib>
#include <span>

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
    return 0;
}
