#pragma once

// The Blowfish block cipher (internal): the key schedule over a key of any
// length from 1 to 72 bytes, and the block functions on two 32-bit halves.

#include <cstddef>
#include <cstdint>
#include <span>

namespace Utilities::detail {

class Blowfish {
public:
    /// The expanded key. The key bytes are taken four at a time, big-endian, and
    /// cycled as often as the 18 words of the P-array need; an empty key leaves
    /// the initial tables as they are.
    explicit Blowfish(std::span<const std::byte> key);

    /// Encrypts one block given as its left and right halves.
    void encrypt(std::uint32_t& left, std::uint32_t& right) const noexcept;
    /// Decrypts one block given as its left and right halves.
    void decrypt(std::uint32_t& left, std::uint32_t& right) const noexcept;

    ///@{
    /// Encrypts or decrypts `blocks` blocks of 8 bytes in place, each being two
    /// 32-bit words in little-endian memory order (left word first).
    void encryptLittleEndian(std::byte* data, std::size_t blocks) const noexcept;
    void decryptLittleEndian(std::byte* data, std::size_t blocks) const noexcept;
    ///@}

private:
    std::uint32_t f(std::uint32_t x) const noexcept {
        return ((m_s[0][x >> 24] + m_s[1][(x >> 16) & 0xFF]) ^ m_s[2][(x >> 8) & 0xFF]) + m_s[3][x & 0xFF];
    }

    std::uint32_t m_p[18];
    std::uint32_t m_s[4][256];
};

} // namespace Utilities::detail
