#pragma once

// Binary streams that travel in a text channel: every raw byte goes through a
// text encoder (hexadecimal or Base64) on the way out and back.

#include <FileSystem/Export.h>
#include <FileSystem/streams/BinaryDataStream.h>
#include <FileSystem/utilities/BinaryTextEncoder.h>

#include <array>
#include <span>
#include <vector>

namespace FileSystem {

/// The base of binary streams that re-encode their raw bytes: the values are
/// the binary stream's bytes, which the derived stream's do_rawWrite turns
/// into text. Its own type is None.
class FILESYSTEM_EXPORT BinaryDerivedDataOStream : public BinaryDataOStream {
public:
    using BinaryDataOStream::BinaryDataOStream;
    DataStreamType dataStreamType() override { return DataStreamType::None; }
};

/// The base of binary streams that decode their raw bytes. Characters that
/// `ignoreCharacter` names (white space) may stand anywhere between the
/// encoded characters. Its own type is None.
class FILESYSTEM_EXPORT BinaryDerivedDataIStream : public BinaryDataIStream {
public:
    using BinaryDataIStream::BinaryDataIStream;
    using BinaryDataIStream::do_rawRead;
    DataStreamType dataStreamType() override { return DataStreamType::None; }

    /// Reads `size` characters that are not ignored; false for a null pointer or a failed read.
    bool do_rawRead(char* data, std::uint64_t size) override;
    /// A look ahead has no meaning inside an encoding: throws std::logic_error.
    int do_rawPeek() override;

protected:
    /// Whether a character is dropped between the encoded ones. It is asked
    /// once for each of the 256 byte values, at the first read, so its answer
    /// must depend on the character alone.
    virtual bool ignoreCharacter(char c);

    /// Encoded text is read in pieces of at most this many characters, so that
    /// the memory a read takes follows the input, not the length it is asked for.
    static constexpr std::size_t s_pieceSize = std::size_t(1) << 16;
    /// The next `size` (at most s_pieceSize) characters that are not ignored,
    /// in a buffer of the stream's that is used again by every read; an empty
    /// view when the read fails.
    std::span<const char> readPiece(std::size_t size);

private:
    /// The characters of `data` that are not ignored, moved to its front: their count.
    std::uint64_t keepEncoded(char* data, std::uint64_t size);

    std::vector<char> m_piece;
    std::array<bool, 256> m_ignored{};
    unsigned m_ignoredBelow = 0; ///< every ignored byte value is below this
    bool m_ignoredKnown = false;
};

/// Every raw byte as two upper-case hexadecimal digits, with no separators
/// or line breaks.
class FILESYSTEM_EXPORT BinaryHexDataOStream : public BinaryDerivedDataOStream {
public:
    using BinaryDerivedDataOStream::BinaryDerivedDataOStream;
    using BinaryDataOStream::do_rawWrite;
    DataStreamType dataStreamType() override { return DataStreamType::BinaryHex; }
    /// Writes the 2 times `size` digits of the bytes; false when the standard
    /// stream fails. A null pointer writes nothing and is true.
    bool do_rawWrite(const char* data, std::uint64_t size) override;

private:
    Utilities::BinaryTextEncoderHex m_encoder{true};
    std::string m_text; ///< the text of the last write, its memory used again
};

/// The reading partner of BinaryHexDataOStream; digits of either case.
class FILESYSTEM_EXPORT BinaryHexDataIStream : public BinaryDerivedDataIStream {
public:
    using BinaryDerivedDataIStream::BinaryDerivedDataIStream;
    using BinaryDataIStream::do_rawRead;
    DataStreamType dataStreamType() override { return DataStreamType::BinaryHex; }
    /// Reads 2 times `size` digits and decodes them into `data`. False, with
    /// the stream failed, when the input ends first or holds a character that
    /// is no digit; false for a null pointer.
    bool do_rawRead(char* data, std::uint64_t size) override;

private:
    Utilities::BinaryTextEncoderHex m_encoder{true};
};

/// Raw bytes in Base64 (standard alphabet, with padding, no line breaks).
/// Bytes that do not fill a group of three wait for the next write; the
/// destructor writes what still waits, with padding, so the stream is complete
/// only after the stream object is gone.
class FILESYSTEM_EXPORT BinaryBase64DataOStream : public BinaryDerivedDataOStream {
public:
    using BinaryDerivedDataOStream::BinaryDerivedDataOStream;
    using BinaryDataOStream::do_rawWrite;
    /// Takes over the other writer's stream and the bytes that wait; the other
    /// one then has nothing left to write.
    BinaryBase64DataOStream(BinaryBase64DataOStream&& other) noexcept;
    /// Writes the bytes that still wait, as a padded last group; a failure
    /// there shows only in the standard stream's state.
    ~BinaryBase64DataOStream() override;
    DataStreamType dataStreamType() override { return DataStreamType::BinaryBase64; }
    /// Of the waiting bytes followed by this write's, encodes as many as the
    /// size of this write rounded down to a multiple of three; the rest waits.
    /// The rounding looks at this write alone, as the format has it: writes of
    /// element sizes (1, 2, 4, 8 bytes) come out whole and in order, but a
    /// write whose size is a multiple of three while bytes wait emits them with
    /// it, padded, and keeps them waiting. False when the standard stream
    /// fails; a null pointer writes nothing and is true.
    bool do_rawWrite(const char* data, std::uint64_t size) override;

private:
    bool writeEncoded(std::span<const std::byte> bytes);

    /// The bytes waiting for their group: m_buffer from m_pendingStart on.
    std::vector<std::byte> m_buffer;
    std::size_t m_pendingStart = 0;
    Utilities::BinaryTextEncoderBase64 m_encoder{true};
    std::string m_text; ///< the text of the last write, its memory used again
};

/// The reading partner of BinaryBase64DataOStream. White space may stand
/// anywhere between the characters; bytes decoded beyond a read wait for the
/// next one, and a rollback brings back those that waited at the start.
class FILESYSTEM_EXPORT BinaryBase64DataIStream : public BinaryDerivedDataIStream {
public:
    /// The decoded bytes that were not handed out yet when a transaction started.
    struct AdditionalBase64TransactionData : AdditionalTransactionData {
        std::vector<std::byte> leftover; ///< those bytes, in order
    };

    using BinaryDerivedDataIStream::BinaryDerivedDataIStream;
    using BinaryDataIStream::do_rawRead;
    DataStreamType dataStreamType() override { return DataStreamType::BinaryBase64; }
    /// Hands out the bytes decoded before, then decodes the groups of four
    /// characters that the rest needs; what the last group gives beyond that
    /// waits for the next read. False, with the stream failed, when the input
    /// ends first or holds a character not of the alphabet; false for a null pointer.
    bool do_rawRead(char* data, std::uint64_t size) override;

protected:
    /// A copy of the decoded bytes that wait.
    std::unique_ptr<AdditionalTransactionData> startAdditionalTransactionData() override;
    /// Puts back the waiting bytes of the copy (other records are ignored).
    void rollbackAdditionaTransactionData(std::unique_ptr<AdditionalTransactionData>&& data) override;

private:
    std::vector<std::byte> m_leftover;
    std::vector<std::byte> m_lastPiece; ///< the bytes of a read's last piece, its memory used again
    Utilities::BinaryTextEncoderBase64 m_encoder{true};
};

} // namespace FileSystem
