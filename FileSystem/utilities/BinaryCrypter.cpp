#include <FileSystem/utilities/BinaryCrypter.h>

#include <FileSystem/utilities/detail/Blowfish.h>
#include <FileSystem/utilities/detail/Twofish.h>

#include <algorithm>
#include <cstring>
#include <string_view>

namespace Utilities {

namespace {

// The library's keys. Files written with other keys cannot be read, so these
// never change.
constexpr std::string_view kBlowfishKey = "Tessel FileSystem data stream key, keep casual eyes";
static_assert(kBlowfishKey.size() == 51);
constexpr std::uint32_t kTwofishKey[8] = {0x5E7A41C3, 0x0B96D2F8, 0x47E1A935, 0xC2583D6E,
                                          0x91F40B7A, 0x3DA6E529, 0x6C1B8F04, 0xAF2D70B5};

constexpr std::uint64_t roundUp(std::uint64_t value, std::uint64_t multiple) {
    return (value + multiple - 1) / multiple * multiple;
}

} // namespace

// ---- None -----------------------------------------------------------------------

std::optional<std::vector<std::byte>> BinaryCrypterNone::encrypt(std::span<const std::byte> data) const {
    return std::vector<std::byte>(data.begin(), data.end());
}

std::optional<std::vector<std::byte>> BinaryCrypterNone::decrypt(std::span<const std::byte> data) const {
    return std::vector<std::byte>(data.begin(), data.end());
}

// ---- Blowfish ---------------------------------------------------------------------

BinaryCrypterBlowFish::BinaryCrypterBlowFish()
    : m_cipher(std::make_unique<detail::Blowfish>(std::as_bytes(std::span(kBlowfishKey)))) {}
BinaryCrypterBlowFish::~BinaryCrypterBlowFish() = default;
BinaryCrypterBlowFish::BinaryCrypterBlowFish(BinaryCrypterBlowFish&&) noexcept = default;
BinaryCrypterBlowFish& BinaryCrypterBlowFish::operator=(BinaryCrypterBlowFish&&) noexcept = default;

std::optional<std::vector<std::byte>> BinaryCrypterBlowFish::encrypt(std::span<const std::byte> data) const {
    if (!m_cipher)
        return std::nullopt;
    // At least one zero byte ends the text, and a whole block of padding follows.
    std::vector<std::byte> block(roundUp(data.size() + 1, 8) + 8);
    if (!data.empty())
        std::memcpy(block.data(), data.data(), data.size());
    m_cipher->encryptLittleEndian(block.data(), block.size() / 8);
    return block;
}

std::optional<std::vector<std::byte>> BinaryCrypterBlowFish::decrypt(std::span<const std::byte> data) const {
    if (!m_cipher)
        return std::nullopt;
    // Room for the zero-padded last block, and for at least one zero byte after it.
    std::vector<std::byte> text(data.size() + 8);
    if (!data.empty())
        std::memcpy(text.data(), data.data(), data.size());
    m_cipher->decryptLittleEndian(text.data(), roundUp(data.size(), 8) / 8);
    const auto end = std::find(text.begin(), text.end(), std::byte{0});
    text.erase(end, text.end());
    return text;
}

// ---- Twofish ------------------------------------------------------------------------

BinaryCrypterTwoFish::BinaryCrypterTwoFish()
    : m_cipher(std::make_unique<detail::Twofish>(detail::Twofish::Direction::Encrypt, kTwofishKey)) {}
BinaryCrypterTwoFish::~BinaryCrypterTwoFish() = default;
BinaryCrypterTwoFish::BinaryCrypterTwoFish(BinaryCrypterTwoFish&&) noexcept = default;
BinaryCrypterTwoFish& BinaryCrypterTwoFish::operator=(BinaryCrypterTwoFish&&) noexcept = default;

std::optional<std::vector<std::byte>> BinaryCrypterTwoFish::encrypt(std::span<const std::byte> data) const {
    if (!m_cipher)
        return std::nullopt;
    // The length ahead of the data, then zeros to a multiple of 8 (m bytes),
    // then 8 more bytes for the block that may reach past m.
    const std::uint64_t size = data.size();
    const std::uint64_t m = roundUp(8 + size, 8);
    std::vector<std::byte> block(m + 8);
    for (int i = 0; i < 8; ++i)
        block[i] = std::byte(size >> (8 * i));
    if (!data.empty())
        std::memcpy(block.data() + 8, data.data(), data.size());

    // Whole 16-byte blocks over the m bytes, in place: the cipher reads the
    // last one zero-padded and writes it into the 8 extra bytes.
    if (m_cipher->blockEncrypt(std::span(block.data(), m), m * 8, block) != m * 8)
        return std::nullopt;
    return block;
}

std::optional<std::vector<std::byte>> BinaryCrypterTwoFish::decrypt(std::span<const std::byte> data) const {
    if (!m_cipher)
        return std::nullopt;
    const std::uint64_t k = data.size();
    std::vector<std::byte> plain(2 * k);
    if (m_cipher->blockDecrypt(data, k * 8, plain) != k * 8)
        return std::nullopt;
    if (plain.size() < 8)
        return std::nullopt;
    std::uint64_t length = 0;
    for (int i = 0; i < 8; ++i)
        length |= std::uint64_t(plain[i]) << (8 * i);
    if (length > plain.size() - 8)
        return std::nullopt;
    plain.erase(plain.begin(), plain.begin() + 8);
    plain.resize(length);
    return plain;
}

// ---- Container ------------------------------------------------------------------------

BinaryCrypterContainer::BinaryCrypterContainer(BinaryCrypterType type) {
    switch (type) {
    case BinaryCrypterType::None: m_crypter = std::make_unique<BinaryCrypterNone>(); break;
    case BinaryCrypterType::BlowFish: m_crypter = std::make_unique<BinaryCrypterBlowFish>(); break;
    case BinaryCrypterType::TwoFish: m_crypter = std::make_unique<BinaryCrypterTwoFish>(); break;
    default: break;
    }
}

BinaryCrypterType BinaryCrypterContainer::type() const {
    return m_crypter ? m_crypter->type() : BinaryCrypterType::Empty;
}

BinaryCrypterType BinaryCrypterContainer::storedType() const {
    return m_crypter ? m_crypter->storedType() : BinaryCrypterType::Empty;
}

std::optional<std::vector<std::byte>> BinaryCrypterContainer::encrypt(std::span<const std::byte> data) const {
    if (!m_crypter)
        return std::nullopt;
    return m_crypter->encrypt(data);
}

std::optional<std::vector<std::byte>> BinaryCrypterContainer::decrypt(std::span<const std::byte> data) const {
    if (!m_crypter)
        return std::nullopt;
    return m_crypter->decrypt(data);
}

} // namespace Utilities
