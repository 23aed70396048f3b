#include <FileSystem/utilities/detail/Twofish.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <stdexcept>

namespace Utilities::detail {

namespace {

// The 4-bit permutations from which the byte permutations q0 and q1 are built.
constexpr std::uint8_t kQNibbles[2][4][16] = {
    {{0x8, 0x1, 0x7, 0xD, 0x6, 0xF, 0x3, 0x2, 0x0, 0xB, 0x5, 0x9, 0xE, 0xC, 0xA, 0x4},
     {0xE, 0xC, 0xB, 0x8, 0x1, 0x2, 0x3, 0x5, 0xF, 0x4, 0xA, 0x6, 0x7, 0x0, 0x9, 0xD},
     {0xB, 0xA, 0x5, 0xE, 0x6, 0xD, 0x9, 0x0, 0xC, 0x8, 0xF, 0x3, 0x2, 0x4, 0x7, 0x1},
     {0xD, 0x7, 0xF, 0x4, 0x1, 0x2, 0x6, 0xE, 0x9, 0xB, 0x3, 0x0, 0x8, 0x5, 0xC, 0xA}},
    {{0x2, 0x8, 0xB, 0xD, 0xF, 0x7, 0x6, 0xE, 0x3, 0x1, 0x9, 0x4, 0x0, 0xA, 0xC, 0x5},
     {0x1, 0xE, 0x2, 0xB, 0x4, 0xC, 0x3, 0x7, 0x6, 0xD, 0xA, 0x5, 0xF, 0x9, 0x0, 0x8},
     {0x4, 0xC, 0x7, 0x5, 0x1, 0x6, 0x9, 0xA, 0x0, 0xE, 0xD, 0x8, 0x2, 0xB, 0x3, 0xF},
     {0xB, 0x9, 0x5, 0x1, 0xC, 0x3, 0xD, 0xE, 0x6, 0x4, 0x7, 0xF, 0x2, 0x0, 0x8, 0xA}},
};

constexpr std::uint8_t ror4(std::uint8_t x) { return static_cast<std::uint8_t>(((x >> 1) | (x << 3)) & 0xF); }

constexpr std::array<std::uint8_t, 256> makeQ(int which) {
    std::array<std::uint8_t, 256> q{};
    const auto& t = kQNibbles[which];
    for (int x = 0; x < 256; ++x) {
        const std::uint8_t a0 = static_cast<std::uint8_t>(x >> 4), b0 = static_cast<std::uint8_t>(x & 0xF);
        const std::uint8_t a1 = a0 ^ b0, b1 = (a0 ^ ror4(b0) ^ (a0 << 3)) & 0xF;
        const std::uint8_t a2 = t[0][a1], b2 = t[1][b1];
        const std::uint8_t a3 = a2 ^ b2, b3 = (a2 ^ ror4(b2) ^ (a2 << 3)) & 0xF;
        const std::uint8_t a4 = t[2][a3], b4 = t[3][b3];
        q[x] = static_cast<std::uint8_t>(b4 << 4 | a4);
    }
    return q;
}

constexpr std::array<std::uint8_t, 256> kQ[2] = {makeQ(0), makeQ(1)};

// Multiplication in GF(2^8) modulo the given polynomial (with its x^8 bit).
constexpr std::uint8_t gfMultiply(std::uint8_t a, std::uint8_t b, unsigned polynomial) {
    unsigned result = 0, x = a;
    for (; b; b >>= 1) {
        if (b & 1)
            result ^= x;
        x <<= 1;
        if (x & 0x100)
            x ^= polynomial;
    }
    return static_cast<std::uint8_t>(result);
}

constexpr unsigned kMdsPolynomial = 0x169; // x^8 + x^6 + x^5 + x^3 + 1
constexpr unsigned kRsPolynomial = 0x14D;  // x^8 + x^6 + x^3 + x^2 + 1

constexpr std::uint8_t kMds[4][4] = {
    {0x01, 0xEF, 0x5B, 0x5B},
    {0x5B, 0xEF, 0xEF, 0x01},
    {0xEF, 0x5B, 0x01, 0xEF},
    {0xEF, 0x01, 0xEF, 0x5B},
};

constexpr std::uint8_t kRs[4][8] = {
    {0x01, 0xA4, 0x55, 0x87, 0x5A, 0x58, 0xDB, 0x9E},
    {0xA4, 0x56, 0x82, 0xF3, 0x1E, 0xC6, 0x68, 0xE5},
    {0x02, 0xA1, 0xFC, 0xC1, 0x47, 0xAE, 0x3D, 0x19},
    {0xA4, 0x55, 0x87, 0x5A, 0x58, 0xDB, 0x9E, 0x03},
};

// Column c of the MDS matrix times the byte y, as a little-endian word, for every c and y.
constexpr std::array<std::array<std::uint32_t, 256>, 4> makeMdsColumns() {
    std::array<std::array<std::uint32_t, 256>, 4> columns{};
    for (int column = 0; column < 4; ++column)
        for (int y = 0; y < 256; ++y)
            for (int row = 0; row < 4; ++row)
                columns[column][y] |= std::uint32_t(gfMultiply(kMds[row][column], static_cast<std::uint8_t>(y),
                                                               kMdsPolynomial))
                                      << (8 * row);
    return columns;
}

constexpr auto kMdsColumns = makeMdsColumns();

std::uint32_t mdsColumn(int column, std::uint8_t y) { return kMdsColumns[column][y]; }

std::uint8_t byteOf(std::uint32_t word, int index) { return static_cast<std::uint8_t>(word >> (8 * index)); }

// The chain of q permutations and key bytes that byte `index` of the input of
// h passes through, for the key words l[0..k-1].
std::uint8_t hChain(int index, std::uint8_t y, const std::uint32_t* l, int k) {
    static constexpr int kFourth[4] = {1, 0, 0, 1}, kThird[4] = {1, 1, 0, 0};
    static constexpr int kFirst[4] = {0, 1, 0, 1}, kSecond[4] = {0, 0, 1, 1}, kLast[4] = {1, 0, 1, 0};
    if (k == 4)
        y = kQ[kFourth[index]][y] ^ byteOf(l[3], index);
    if (k >= 3)
        y = kQ[kThird[index]][y] ^ byteOf(l[2], index);
    y = kQ[kFirst[index]][y] ^ byteOf(l[1], index);
    y = kQ[kSecond[index]][y] ^ byteOf(l[0], index);
    return kQ[kLast[index]][y];
}

std::uint32_t h(std::uint32_t x, const std::uint32_t* l, int k) {
    std::uint32_t z = 0;
    for (int i = 0; i < 4; ++i)
        z ^= mdsColumn(i, hChain(i, byteOf(x, i), l, k));
    return z;
}

std::uint32_t loadLittle(const std::byte* in) noexcept {
    return std::uint32_t(in[0]) | std::uint32_t(in[1]) << 8 | std::uint32_t(in[2]) << 16 | std::uint32_t(in[3]) << 24;
}

void storeLittle(std::uint32_t value, std::byte* out) noexcept {
    for (int i = 0; i < 4; ++i)
        out[i] = std::byte(value >> (8 * i));
}

} // namespace

Twofish::Twofish(Direction direction, std::span<const std::uint32_t> keyWords, Mode mode)
    : m_direction(direction), m_mode(mode), m_keyLength(static_cast<int>(keyWords.size() * 32)) {
    if (keyWords.size() != 4 && keyWords.size() != 6 && keyWords.size() != 8)
        throw std::invalid_argument("Twofish keys have 128, 192 or 256 bits");
    const int k = static_cast<int>(keyWords.size() / 2);

    std::uint32_t even[4], odd[4], sboxKeys[4];
    for (int i = 0; i < k; ++i) {
        even[i] = keyWords[2 * i];
        odd[i] = keyWords[2 * i + 1];
        // The Reed-Solomon code of the key's 8-byte group i; the S-box keys run in reverse order.
        std::uint32_t s = 0;
        for (int row = 0; row < 4; ++row) {
            std::uint8_t sum = 0;
            for (int column = 0; column < 8; ++column)
                sum ^= gfMultiply(kRs[row][column], byteOf(keyWords[2 * i + column / 4], column % 4), kRsPolynomial);
            s |= std::uint32_t(sum) << (8 * row);
        }
        sboxKeys[k - 1 - i] = s;
    }

    constexpr std::uint32_t rho = 0x01010101;
    for (std::uint32_t i = 0; i < 20; ++i) {
        const std::uint32_t a = h(2 * i * rho, even, k);
        const std::uint32_t b = std::rotl(h((2 * i + 1) * rho, odd, k), 8);
        m_subKeys[2 * i] = a + b;
        m_subKeys[2 * i + 1] = std::rotl(a + 2 * b, 9);
    }

    for (int i = 0; i < 4; ++i)
        for (int x = 0; x < 256; ++x)
            m_sbox[i][x] = mdsColumn(i, hChain(i, static_cast<std::uint8_t>(x), sboxKeys, k));
}

std::vector<std::uint32_t> Twofish::keyWordsFromBytes(std::span<const std::byte> key) {
    std::vector<std::uint32_t> words(key.size() / 4);
    for (std::size_t i = 0; i < words.size(); ++i)
        words[i] = loadLittle(key.data() + 4 * i);
    return words;
}

void Twofish::encryptBlock(const std::byte* in, std::byte* out) const noexcept {
    const std::uint32_t* k = m_subKeys;
    std::uint32_t a = loadLittle(in) ^ k[0], b = loadLittle(in + 4) ^ k[1];
    std::uint32_t c = loadLittle(in + 8) ^ k[2], d = loadLittle(in + 12) ^ k[3];
    for (int round = 0; round < 16; round += 2) {
        std::uint32_t t0 = g(a), t1 = g(std::rotl(b, 8));
        c = std::rotr(c ^ (t0 + t1 + k[2 * round + 8]), 1);
        d = std::rotl(d, 1) ^ (t0 + 2 * t1 + k[2 * round + 9]);
        t0 = g(c);
        t1 = g(std::rotl(d, 8));
        a = std::rotr(a ^ (t0 + t1 + k[2 * round + 10]), 1);
        b = std::rotl(b, 1) ^ (t0 + 2 * t1 + k[2 * round + 11]);
    }
    // The last round's swap is undone: the halves leave crosswise.
    storeLittle(c ^ k[4], out);
    storeLittle(d ^ k[5], out + 4);
    storeLittle(a ^ k[6], out + 8);
    storeLittle(b ^ k[7], out + 12);
}

void Twofish::decryptBlock(const std::byte* in, std::byte* out) const noexcept {
    const std::uint32_t* k = m_subKeys;
    std::uint32_t c = loadLittle(in) ^ k[4], d = loadLittle(in + 4) ^ k[5];
    std::uint32_t a = loadLittle(in + 8) ^ k[6], b = loadLittle(in + 12) ^ k[7];
    for (int round = 14; round >= 0; round -= 2) {
        std::uint32_t t0 = g(c), t1 = g(std::rotl(d, 8));
        a = std::rotl(a, 1) ^ (t0 + t1 + k[2 * round + 10]);
        b = std::rotr(b ^ (t0 + 2 * t1 + k[2 * round + 11]), 1);
        t0 = g(a);
        t1 = g(std::rotl(b, 8));
        c = std::rotl(c, 1) ^ (t0 + t1 + k[2 * round + 8]);
        d = std::rotr(d ^ (t0 + 2 * t1 + k[2 * round + 9]), 1);
    }
    storeLittle(a ^ k[0], out);
    storeLittle(b ^ k[1], out + 4);
    storeLittle(c ^ k[2], out + 8);
    storeLittle(d ^ k[3], out + 12);
}

template <bool Encrypt>
std::uint64_t Twofish::runECB(std::span<const std::byte> input, std::uint64_t inputBits,
                              std::span<std::byte> output) const noexcept {
    const std::uint64_t blocks = (inputBits + 127) / 128;
    for (std::uint64_t block = 0; block < blocks; ++block) {
        const std::uint64_t offset = block * 16;
        if (offset >= output.size())
            break; // nothing of this block or any later one fits
        const bool whole = offset + 16 <= input.size() && offset + 16 <= output.size();
        if (whole) {
            if constexpr (Encrypt)
                encryptBlock(input.data() + offset, output.data() + offset);
            else
                decryptBlock(input.data() + offset, output.data() + offset);
            continue;
        }
        // A block at the edge of a buffer goes through a zero-padded copy.
        std::byte scratch[16] = {};
        if (offset < input.size())
            std::memcpy(scratch, input.data() + offset, std::min<std::uint64_t>(16, input.size() - offset));
        if constexpr (Encrypt)
            encryptBlock(scratch, scratch);
        else
            decryptBlock(scratch, scratch);
        std::memcpy(output.data() + offset, scratch, std::min<std::uint64_t>(16, output.size() - offset));
    }
    return inputBits;
}

std::uint64_t Twofish::blockEncrypt(std::span<const std::byte> input, std::uint64_t inputBits,
                                    std::span<std::byte> output) const noexcept {
    return runECB<true>(input, inputBits, output);
}

std::uint64_t Twofish::blockDecrypt(std::span<const std::byte> input, std::uint64_t inputBits,
                                    std::span<std::byte> output) const noexcept {
    return runECB<false>(input, inputBits, output);
}

} // namespace Utilities::detail
