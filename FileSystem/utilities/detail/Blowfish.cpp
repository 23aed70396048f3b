#include <FileSystem/utilities/detail/Blowfish.h>

#include <cstring>

namespace Utilities::detail {

namespace {
#include "BlowfishTables.inc"

std::uint32_t loadLittle(const std::byte* in) noexcept {
    return std::uint32_t(in[0]) | std::uint32_t(in[1]) << 8 | std::uint32_t(in[2]) << 16 | std::uint32_t(in[3]) << 24;
}

void storeLittle(std::uint32_t value, std::byte* out) noexcept {
    for (int i = 0; i < 4; ++i)
        out[i] = std::byte(value >> (8 * i));
}
} // namespace

Blowfish::Blowfish(std::span<const std::byte> key) {
    std::memcpy(m_p, kInitialP, sizeof m_p);
    std::memcpy(m_s[0], kInitialS0, sizeof m_s[0]);
    std::memcpy(m_s[1], kInitialS1, sizeof m_s[1]);
    std::memcpy(m_s[2], kInitialS2, sizeof m_s[2]);
    std::memcpy(m_s[3], kInitialS3, sizeof m_s[3]);
    if (key.empty())
        return;

    std::size_t next = 0;
    for (std::uint32_t& word : m_p) {
        std::uint32_t k = 0;
        for (int i = 0; i < 4; ++i) {
            k = (k << 8) | std::uint32_t(key[next]);
            next = (next + 1) % key.size();
        }
        word ^= k;
    }

    // Replace the tables, in order, by the encryption of a running block that starts at zero.
    std::uint32_t left = 0, right = 0;
    for (int i = 0; i < 18; i += 2) {
        encrypt(left, right);
        m_p[i] = left;
        m_p[i + 1] = right;
    }
    for (auto& box : m_s)
        for (int i = 0; i < 256; i += 2) {
            encrypt(left, right);
            box[i] = left;
            box[i + 1] = right;
        }
}

void Blowfish::encrypt(std::uint32_t& left, std::uint32_t& right) const noexcept {
    std::uint32_t l = left, r = right;
    for (int i = 0; i < 16; i += 2) {
        l ^= m_p[i];
        r ^= f(l);
        r ^= m_p[i + 1];
        l ^= f(r);
    }
    left = r ^ m_p[17];
    right = l ^ m_p[16];
}

void Blowfish::decrypt(std::uint32_t& left, std::uint32_t& right) const noexcept {
    std::uint32_t l = left, r = right;
    for (int i = 17; i > 1; i -= 2) {
        l ^= m_p[i];
        r ^= f(l);
        r ^= m_p[i - 1];
        l ^= f(r);
    }
    left = r ^ m_p[0];
    right = l ^ m_p[1];
}

void Blowfish::encryptLittleEndian(std::byte* data, std::size_t blocks) const noexcept {
    for (std::size_t b = 0; b < blocks; ++b, data += 8) {
        std::uint32_t left = loadLittle(data), right = loadLittle(data + 4);
        encrypt(left, right);
        storeLittle(left, data);
        storeLittle(right, data + 4);
    }
}

void Blowfish::decryptLittleEndian(std::byte* data, std::size_t blocks) const noexcept {
    for (std::size_t b = 0; b < blocks; ++b, data += 8) {
        std::uint32_t left = loadLittle(data), right = loadLittle(data + 4);
        decrypt(left, right);
        storeLittle(left, data);
        storeLittle(right, data + 4);
    }
}

} // namespace Utilities::detail
