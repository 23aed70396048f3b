#pragma once

// Symmetric encryption of byte blocks with a key built into the library, to
// keep casual readers out of data files. The key is the same in every
// installation: this is no protection against a determined reader.

#include <FileSystem/Export.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace Utilities {

namespace detail {
class Blowfish;
class Twofish;
} // namespace detail

/// The kinds of crypter; the numbers are part of the file formats.
enum class BinaryCrypterType : std::uint32_t {
    Empty = 0,    ///< no crypter: what an empty BinaryCrypterContainer reports
    None = 1,     ///< no encryption: blocks pass as they are (BinaryCrypterNone)
    BlowFish = 2, ///< Blowfish, for text without zero bytes (BinaryCrypterBlowFish)
    TwoFish = 3,  ///< Twofish, for any bytes (BinaryCrypterTwoFish)
};

/// Encrypts and decrypts whole blocks of bytes. A crypter holds no state
/// between calls; a failure gives no value, never an exception of its own.
class FILESYSTEM_EXPORT BinaryCrypter {
public:
    /// Crypters are used through this interface.
    virtual ~BinaryCrypter() = default;
    /// The kind of the crypter class.
    virtual BinaryCrypterType type() const = 0;
    /// The kind stored in the object when it was made (the same as type() for
    /// the crypters of this library).
    virtual BinaryCrypterType storedType() const = 0;
    /// The encrypted form of `data`; no value when it cannot be made.
    virtual std::optional<std::vector<std::byte>> encrypt(std::span<const std::byte> data) const = 0;
    /// The bytes that `encrypt` was given; no value when `data` is no block
    /// of this crypter.
    virtual std::optional<std::vector<std::byte>> decrypt(std::span<const std::byte> data) const = 0;

protected:
    ///@{
    /// Only concrete crypters are made, moved and copied.
    BinaryCrypter() = default;
    BinaryCrypter(const BinaryCrypter&) = default;
    BinaryCrypter(BinaryCrypter&&) = default;
    BinaryCrypter& operator=(const BinaryCrypter&) = default;
    BinaryCrypter& operator=(BinaryCrypter&&) = default;
    ///@}
};

/// A crypter that stores its kind.
class FILESYSTEM_EXPORT BinaryCrypterBase : public BinaryCrypter {
public:
    /// A crypter of that kind.
    explicit BinaryCrypterBase(BinaryCrypterType type) noexcept : m_type(type) {}
    BinaryCrypterType storedType() const override { return m_type; }

private:
    BinaryCrypterType m_type;
};

/// Gives a crypter its kind, the number `Type`.
template <int Type, class Base>
class BinaryCrypterEx : public Base {
public:
    /// A crypter whose stored kind is `Type` too.
    BinaryCrypterEx() : Base(static_cast<BinaryCrypterType>(Type)) {}
    /// The number `Type`.
    BinaryCrypterType type() const override { return static_cast<BinaryCrypterType>(Type); }
};

/// No encryption: both directions return a copy of the input.
class FILESYSTEM_EXPORT BinaryCrypterNone : public BinaryCrypterEx<1, BinaryCrypterBase> {
public:
    /// A copy of `data`.
    std::optional<std::vector<std::byte>> encrypt(std::span<const std::byte> data) const override;
    /// A copy of `data`.
    std::optional<std::vector<std::byte>> decrypt(std::span<const std::byte> data) const override;
};

/// Blowfish in 8-byte blocks (ECB), made for text: the input gets at least
/// one zero byte behind it, and decryption ends at the first zero byte, so
/// bytes with a zero among them come back cut before it. n bytes become
/// n + 1 rounded up to a multiple of 8, plus 8.
class FILESYSTEM_EXPORT BinaryCrypterBlowFish : public BinaryCrypterEx<2, BinaryCrypterBase> {
public:
    /// A crypter with the library's Blowfish key.
    BinaryCrypterBlowFish();
    ~BinaryCrypterBlowFish() override;
    /// Takes the other crypter's key schedule; the other one is left unusable.
    BinaryCrypterBlowFish(BinaryCrypterBlowFish&&) noexcept;
    /// Takes the other crypter's key schedule; the other one is left unusable.
    BinaryCrypterBlowFish& operator=(BinaryCrypterBlowFish&&) noexcept;

    /// The block of `data`: always a value (none only for a moved-from crypter).
    std::optional<std::vector<std::byte>> encrypt(std::span<const std::byte> data) const override;
    /// The text of a block, up to its first zero byte. Any bytes give a value
    /// (a length that is no multiple of 8 decrypts its last bytes zero-padded).
    std::optional<std::vector<std::byte>> decrypt(std::span<const std::byte> data) const override;

private:
    std::unique_ptr<detail::Blowfish> m_cipher;
};

/// Twofish with a 256-bit key in 16-byte blocks (ECB), for any bytes: the
/// block holds the input's length (8 bytes, little-endian) and the input,
/// zero-padded to a multiple of 8, plus 8 bytes. 0 bytes become 16, 10 bytes 32.
class FILESYSTEM_EXPORT BinaryCrypterTwoFish : public BinaryCrypterEx<3, BinaryCrypterBase> {
public:
    /// A crypter with the library's Twofish key.
    BinaryCrypterTwoFish();
    ~BinaryCrypterTwoFish() override;
    /// Takes the other crypter's key schedule; the other one is left unusable.
    BinaryCrypterTwoFish(BinaryCrypterTwoFish&&) noexcept;
    /// Takes the other crypter's key schedule; the other one is left unusable.
    BinaryCrypterTwoFish& operator=(BinaryCrypterTwoFish&&) noexcept;

    /// The block of `data` (none only for a moved-from crypter).
    std::optional<std::vector<std::byte>> encrypt(std::span<const std::byte> data) const override;
    /// The bytes of a block; no value when the length it holds does not fit
    /// in what was decrypted, or the block is shorter than 4 bytes.
    std::optional<std::vector<std::byte>> decrypt(std::span<const std::byte> data) const override;

private:
    std::unique_ptr<detail::Twofish> m_cipher;
};

/// Owns a crypter chosen by its kind and forwards to it. An unknown kind
/// gives an empty container: its type is Empty and it encrypts and decrypts
/// nothing (no value).
class FILESYSTEM_EXPORT BinaryCrypterContainer : public BinaryCrypter {
public:
    /// A container with the crypter of that kind, or empty for an unknown one.
    explicit BinaryCrypterContainer(BinaryCrypterType type);
    /// Takes the other container's crypter; the other one is left empty.
    BinaryCrypterContainer(BinaryCrypterContainer&&) noexcept = default;
    /// Takes the other container's crypter; the other one is left empty.
    BinaryCrypterContainer& operator=(BinaryCrypterContainer&&) noexcept = default;

    /// The crypter held; null for an empty container.
    const BinaryCrypter* get() const noexcept { return m_crypter.get(); }
    BinaryCrypterType type() const override;
    BinaryCrypterType storedType() const override;
    std::optional<std::vector<std::byte>> encrypt(std::span<const std::byte> data) const override;
    std::optional<std::vector<std::byte>> decrypt(std::span<const std::byte> data) const override;

private:
    std::unique_ptr<BinaryCrypter> m_crypter;
};

} // namespace Utilities
