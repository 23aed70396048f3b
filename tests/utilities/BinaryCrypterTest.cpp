#include <FileSystem/utilities/BinaryCrypter.h>

#include <gtest/gtest.h>

#include <random>
#include <string>

using namespace Utilities;

namespace {

std::vector<std::byte> bytesOf(const std::string& text) {
    const auto span = std::as_bytes(std::span(text.data(), text.size()));
    return {span.begin(), span.end()};
}

} // namespace

TEST(BinaryCrypter, ContainerChoosesByTypeAndForwards) {
    for (auto type : {BinaryCrypterType::None, BinaryCrypterType::BlowFish, BinaryCrypterType::TwoFish}) {
        BinaryCrypterContainer container(type);
        EXPECT_EQ(container.type(), type);
        EXPECT_EQ(container.storedType(), type);
        EXPECT_EQ(container.decrypt(*container.encrypt(bytesOf("forwarded"))), bytesOf("forwarded"));
        const BinaryCrypterContainer moved(std::move(container));
        EXPECT_EQ(moved.type(), type);
        EXPECT_EQ(container.type(), BinaryCrypterType::Empty); // moving leaves it empty
    }
    for (auto unknown : {BinaryCrypterType::Empty, BinaryCrypterType(4)}) {
        const BinaryCrypterContainer empty(unknown);
        EXPECT_EQ(empty.get(), nullptr);
        EXPECT_EQ(empty.type(), BinaryCrypterType::Empty);
        EXPECT_FALSE(empty.encrypt(bytesOf("x")) || empty.decrypt(bytesOf("x")));
    }
}

TEST(BinaryCrypter, BlowfishIsForTextAndCutsAtTheFirstZero) {
    const BinaryCrypterBlowFish crypter;
    const std::string text = "Casual readers see no text in a block of this crypter.";
    const auto block = crypter.encrypt(bytesOf(text));
    ASSERT_EQ(block->size(), 64u); // 55 bytes and a zero make 56, and a block of padding
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(block->data()), block->size()).find("Casual"),
              std::string::npos);
    EXPECT_EQ(crypter.decrypt(*block), bytesOf(text));
    EXPECT_EQ(crypter.encrypt(bytesOf("1234567"))->size(), 16u);
    EXPECT_EQ(crypter.encrypt(bytesOf("12345678"))->size(), 24u);
    EXPECT_EQ(crypter.decrypt(*crypter.encrypt({})), bytesOf(""));
    EXPECT_EQ(crypter.decrypt(*crypter.encrypt(bytesOf(std::string("ab\0c", 4)))), bytesOf("ab"));
    // Any length decrypts to something defined, also one that is no multiple of 8.
    for (std::size_t cut = 0; cut <= block->size(); cut += 5)
        EXPECT_TRUE(crypter.decrypt(std::span(block->data(), cut))) << cut;
}

TEST(BinaryCrypter, TwofishKeepsAnyBytesWithTheirLength) {
    const BinaryCrypterTwoFish crypter;
    const auto empty = crypter.encrypt({}); // the header alone
    ASSERT_EQ(empty->size(), 16u);
    EXPECT_EQ(crypter.decrypt(*empty), bytesOf(""));
    EXPECT_EQ(crypter.encrypt(std::vector<std::byte>(10))->size(), 32u); // m = 24, plus 8
    std::mt19937 random(5);
    for (std::size_t size : {1u, 7u, 8u, 9u, 100u, 4097u}) {
        std::vector<std::byte> data(size);
        for (auto& b : data)
            b = std::byte(random() % 3); // plenty of zeros
        const auto block = crypter.encrypt(data);
        EXPECT_EQ(block->size(), (8 + size + 7) / 8 * 8 + 8) << size;
        EXPECT_EQ(crypter.decrypt(*block), data) << size;
    }
}

TEST(BinaryCrypter, TwofishRejectsBlocksThatHoldNoFittingLength) {
    const BinaryCrypterTwoFish crypter;
    EXPECT_FALSE(crypter.decrypt({}));                            // no room for a length
    EXPECT_FALSE(crypter.decrypt(std::vector<std::byte>(3)));     // 2 times 3 bytes < 8
    // Random blocks of every size up to 64 bytes: a random length never fits.
    std::mt19937 random(17);
    int accepted = 0;
    for (std::size_t size = 0; size <= 64; ++size)
        for (int round = 0; round < 20; ++round) {
            std::vector<std::byte> data(size);
            for (auto& b : data)
                b = std::byte(random());
            accepted += crypter.decrypt(data).has_value();
        }
    EXPECT_EQ(accepted, 0);
    // A block cut short: its length must fit the doubled buffer, and what is
    // missing comes back as zeros, not as memory beyond the input.
    const auto long40 = crypter.encrypt(std::vector<std::byte>(40, std::byte{7}));
    EXPECT_FALSE(crypter.decrypt(std::span(long40->data(), 16))); // 40 > 2 * 16 - 8
    const auto short10 = crypter.encrypt(std::vector<std::byte>(10, std::byte{7}));
    std::vector<std::byte> expected(10, std::byte{7});
    expected[8] = expected[9] = std::byte{0};
    EXPECT_EQ(crypter.decrypt(std::span(short10->data(), 16)), expected);
}
