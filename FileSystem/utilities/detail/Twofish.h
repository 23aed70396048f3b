#pragma once

// The Twofish block cipher (internal): the key schedule for keys of 128, 192
// and 256 bits, the block functions, and ECB over a run of blocks.

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace Utilities::detail {

class Twofish {
public:
    /// Operations a key instance is made for. One schedule serves both; the
    /// direction is kept as the key's description.
    enum class Direction { Encrypt = 0, Decrypt = 1 };
    /// Cipher modes; only ECB (each 16-byte block on its own) exists here.
    enum class Mode { ECB = 1 };

    /// The schedule of a key given as 4, 6 or 8 32-bit words (128, 192 or 256
    /// bits), each word being four key bytes in little-endian order. Any other
    /// count throws std::invalid_argument.
    Twofish(Direction direction, std::span<const std::uint32_t> keyWords, Mode mode = Mode::ECB);

    /// The key words of a key given as bytes (16, 24 or 32 of them).
    static std::vector<std::uint32_t> keyWordsFromBytes(std::span<const std::byte> key);

    /// What the key instance was made for.
    Direction direction() const noexcept { return m_direction; }
    /// The key length in bits.
    int keyLength() const noexcept { return m_keyLength; }
    /// The cipher mode.
    Mode mode() const noexcept { return m_mode; }

    ///@{
    /// Encrypts or decrypts one 16-byte block; `in` and `out` may be the same.
    void encryptBlock(const std::byte* in, std::byte* out) const noexcept;
    void decryptBlock(const std::byte* in, std::byte* out) const noexcept;
    ///@}

    ///@{
    /// Encrypts or decrypts `inputBits` bits in whole blocks, rounded up. Input
    /// bytes beyond `input` count as zero, and output bytes beyond `output` are
    /// dropped, so a length that is no multiple of the block stays within both
    /// buffers. `input` and `output` may start at the same address (in place).
    /// Returns the number of bits processed, `inputBits`.
    std::uint64_t blockEncrypt(std::span<const std::byte> input, std::uint64_t inputBits,
                               std::span<std::byte> output) const noexcept;
    std::uint64_t blockDecrypt(std::span<const std::byte> input, std::uint64_t inputBits,
                               std::span<std::byte> output) const noexcept;
    ///@}

private:
    std::uint32_t g(std::uint32_t x) const noexcept {
        return m_sbox[0][x & 0xFF] ^ m_sbox[1][(x >> 8) & 0xFF] ^ m_sbox[2][(x >> 16) & 0xFF] ^ m_sbox[3][x >> 24];
    }
    template <bool Encrypt>
    std::uint64_t runECB(std::span<const std::byte> input, std::uint64_t inputBits,
                         std::span<std::byte> output) const noexcept;

    Direction m_direction;
    Mode m_mode;
    int m_keyLength;
    std::uint32_t m_subKeys[40];
    // The key-dependent S-boxes with the MDS matrix folded in: g(x) is the
    // exclusive or of one entry of each, indexed by the bytes of x.
    std::uint32_t m_sbox[4][256];
};

} // namespace Utilities::detail
