#pragma once

#include <FileSystem/Export.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace Utilities {

/// Turns bytes into text and back. Encoders hold no state between calls; a
/// failure gives an empty result, never an exception of their own.
class FILESYSTEM_EXPORT BinaryTextEncoder {
public:
    /// Encoders are used through this interface.
    virtual ~BinaryTextEncoder() = default;
    /// 2 for hexadecimal, 3 for Base64.
    virtual int type() const = 0;
    /// The text of the bytes; empty when they cannot be encoded.
    virtual std::optional<std::string> encode(std::span<const std::byte> data) const = 0;
    /// The bytes of a text; empty when the text is not of this encoding.
    virtual std::optional<std::vector<std::byte>> decode(std::span<const char> text) const = 0;
};

/// An encoder with one option: upper case (hexadecimal) or padding (Base64).
class FILESYSTEM_EXPORT BinaryTextEncoderBase : public BinaryTextEncoder {
public:
    /// An encoder with the option on (the default) or off.
    explicit BinaryTextEncoderBase(bool option = true) : m_option(option) {}

protected:
    bool m_option; ///< upper-case digits (hexadecimal) or padding (Base64)
};

/// Gives an encoder its type number.
template <int Type, class Base>
class BinaryTextEncoderEx : public Base {
public:
    using Base::Base;
    /// The `Type` argument: 2 for hexadecimal, 3 for Base64.
    int type() const override { return Type; }
};

/// Two digits per byte, high nibble first. Decoding skips white space and
/// takes digits of either case; an odd last digit is dropped.
class FILESYSTEM_EXPORT BinaryTextEncoderHex : public BinaryTextEncoderEx<2, BinaryTextEncoderBase> {
public:
    /// Digits "0123456789ABCDEF" (the default) or, with `upperCase` false, lower case.
    explicit BinaryTextEncoderHex(bool upperCase = true) : BinaryTextEncoderEx(upperCase) {}

    /// Whether the letter digits are upper case.
    bool upperCase() const noexcept { return m_option; }
    /// Two digits per byte; always a value.
    std::optional<std::string> encode(std::span<const std::byte> data) const override;
    /// The bytes of the pairs of digits; empty at a character that is neither
    /// a digit nor white space.
    std::optional<std::vector<std::byte>> decode(std::span<const char> text) const override;

    /// Appends the text of the bytes to `out`.
    void encodeTo(std::span<const std::byte> data, std::string& out) const;

    /// Decodes a text that arrives in pieces into memory of the caller's; a
    /// digit whose partner is in the next piece waits for it.
    class Decoder {
    public:
        /// The most bytes that `feed` of `characters` characters writes.
        std::size_t maxOutput(std::size_t characters) const noexcept {
            return (characters + (m_high >= 0 ? 1 : 0)) / 2;
        }
        /// Decodes a piece into `out`, which has room for maxOutput(text.size())
        /// bytes: the count of bytes written, or no value at a character that is
        /// neither a digit nor white space.
        std::optional<std::size_t> feed(std::span<const char> text, std::byte* out);
        /// Whether a last digit waits for its partner.
        bool pending() const noexcept { return m_high >= 0; }

    private:
        int m_high = -1; ///< the waiting digit, or -1
    };
};

/// The base of the Base64 encoders: the option is the padding. Only the
/// standard alphabet is made (BinaryTextEncoderBase64).
class FILESYSTEM_EXPORT BinaryTextEncoderBase64Base : public BinaryTextEncoderBase {
public:
    using BinaryTextEncoderBase::BinaryTextEncoderBase;
};

/// Base64 with the standard alphabet of RFC 4648, no line breaks. Decoding
/// skips white space and every '=' wherever they stand; a tail of two or three
/// digits gives one or two bytes, a lone last digit is dropped.
class FILESYSTEM_EXPORT BinaryTextEncoderBase64 : public BinaryTextEncoderEx<3, BinaryTextEncoderBase64Base> {
public:
    /// With `padding` (the default) a last group of one or two bytes is filled
    /// up to four characters with '='; without it, it stays two or three.
    explicit BinaryTextEncoderBase64(bool padding = true) : BinaryTextEncoderEx(padding) {}

    /// Whether last groups are padded.
    bool padding() const noexcept { return m_option; }
    /// Four characters per three bytes; empty for input too large to encode
    /// (0xBFFFFFFFFFFFFFFE bytes or more).
    std::optional<std::string> encode(std::span<const std::byte> data) const override;
    /// Appends the text of the bytes to `out` (whose memory can so be used
    /// again); false, and nothing appended, for input too large to encode.
    bool encodeTo(std::span<const std::byte> data, std::string& out) const;
    /// The bytes of the text (see the class); empty at a character that is not
    /// of the alphabet, '=' or white space.
    std::optional<std::vector<std::byte>> decode(std::span<const char> text) const override;

    /// Decodes a text that arrives in pieces: `feed` each piece (false at a
    /// character that is not of the alphabet), then `finish`.
    class Decoder {
    public:
        /// Appends the bytes of the whole groups that the piece completes to
        /// `out`; false at a character that is not of the alphabet, '=' or
        /// white space, and then nothing of the piece is appended.
        bool feed(std::span<const char> text, std::vector<std::byte>& out);
        /// Appends the bytes of an unfinished group (at most 2) and starts anew.
        void finish(std::vector<std::byte>& out);

        /// The most bytes that `feed` of `characters` characters writes (whole
        /// groups only; `finish` adds at most 2).
        std::size_t maxOutput(std::size_t characters) const noexcept { return (m_digits + characters) / 4 * 3; }
        /// Decodes a piece into `out`, which has room for maxOutput(text.size())
        /// bytes: the count of bytes written, or no value at a character that is
        /// not of the alphabet.
        std::optional<std::size_t> feed(std::span<const char> text, std::byte* out);
        /// Writes the bytes of an unfinished group (at most 2) and starts anew: their count.
        std::size_t finish(std::byte* out);

    private:
        std::uint32_t m_bits = 0;
        int m_digits = 0; ///< digits of the group in progress (0 to 3)
    };
};

} // namespace Utilities
