#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>
#include <vector>

#include <zep_mqtt/crypto/payload_cipher.h>

#include "support/guarded_bytes.h"

namespace {

using bytes = std::vector<uint8_t>;

crypto_context context(uint8_t algorithm, const bytes &key, uint8_t crc_enable) {
    crypto_context ctx{};
    ctx.algorithm = algorithm;
    std::copy(key.begin(), key.end(), ctx.key);
    ctx.key_len = static_cast<uint32_t>(key.size());
    ctx.crc_enable = crc_enable;
    return ctx;
}

using operation = decltype(&crypto_encrypt);

// What an operation writes into exactly so much room; "failed" stays apart from "nothing written".
struct outcome {
    int32_t status;
    bytes written;
    bool operator==(const outcome &) const = default;
};
const outcome FAILED = {CRYPTO_FAILED, {}};

outcome run(operation operate, const crypto_context &ctx, const bytes &input, uint32_t capacity) {
    const zep_test::guarded_bytes in(input);
    const zep_test::guarded_bytes out(bytes(capacity, 0xEE));
    uint32_t length = capacity;
    const int32_t status = operate(&ctx, in.data(), in.size(), out.data(), &length);
    if (status != CRYPTO_OK) {
        EXPECT_EQ(length, capacity);
        EXPECT_EQ(bytes(out.data(), out.data() + capacity), bytes(capacity, 0xEE));
        length = 0;
    }
    return {status, bytes(out.data(), out.data() + length)};
}

void PrintTo(const outcome &value, std::ostream *stream) {
    *stream << value.status << ' ' << testing::PrintToString(value.written);
}

TEST(crypto_payload_cipher, known_bytes_in_both_directions) {
    const bytes digits = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};
    const struct {
        crypto_context ctx;
        bytes plain;
        bytes protected_bytes;
    } rows[] = {
        {context(3, {1, 2, 3}, 1), {0x10, 0x20, 0x30, 0x40}, {0x11, 0x22, 0x33, 0x41, 0x71, 0xD2}},
        {context(3, {1, 2, 3}, 0), {0x10, 0x20, 0x30, 0x40}, {0x11, 0x22, 0x33, 0x41}},
        {context(3, {0}, 1), digits, {'1', '2', '3', '4', '5', '6', '7', '8', '9', 0x37, 0x4B}},
        {context(3, bytes(32, 0x0F), 0), bytes(70, 0xF0), bytes(70, 0xFF)},
        {context(0, {1, 2, 3}, 1), digits, digits},
        {context(0, {}, 0), digits, digits},
    };
    for (const auto &row : rows) {
        const uint32_t size = static_cast<uint32_t>(row.protected_bytes.size());
        const uint32_t room = static_cast<uint32_t>(row.plain.size()) + 2U * row.ctx.crc_enable;
        EXPECT_EQ(run(crypto_encrypt, row.ctx, row.plain, room),
                  (outcome{CRYPTO_OK, row.protected_bytes}));
        EXPECT_EQ(run(crypto_decrypt, row.ctx, row.protected_bytes, size),
                  (outcome{CRYPTO_OK, row.plain}));
    }
}

TEST(crypto_payload_cipher, capacity) {
    const crypto_context with_crc = context(3, {0}, 1);
    const crypto_context without_crc = context(3, {0}, 0);
    const crypto_context plain_with_crc = context(0, {}, 1);
    EXPECT_EQ(run(crypto_encrypt, without_crc, {5, 6}, 2).status, CRYPTO_OK);
    EXPECT_EQ(run(crypto_encrypt, without_crc, {5, 6}, 1), FAILED);
    for (const crypto_context &ctx : {with_crc, plain_with_crc}) {
        EXPECT_EQ(run(crypto_encrypt, ctx, {5, 6}, 4).status, CRYPTO_OK);
        EXPECT_EQ(run(crypto_encrypt, ctx, {5, 6}, 3), FAILED);
    }
    const bytes digits = {'1', '2', '3', '4', '5', '6', '7', '8', '9', 0x37, 0x4B};
    EXPECT_EQ(run(crypto_decrypt, with_crc, digits, 11).status, CRYPTO_OK);
    EXPECT_EQ(run(crypto_decrypt, with_crc, digits, 10), FAILED);
    EXPECT_EQ(run(crypto_decrypt, plain_with_crc, digits, 10), FAILED);

    uint8_t byte = 0;
    uint32_t most = UINT32_MAX - 1;
    EXPECT_EQ(crypto_encrypt(&with_crc, &byte, UINT32_MAX - 1, &byte, &most), CRYPTO_FAILED);
}

TEST(crypto_payload_cipher, every_flipped_bit_is_found) {
    const crypto_context ctx = context(3, {'k', 'e', 'y'}, 1);
    const outcome protected_payload =
        run(crypto_encrypt, ctx, {'p', 'a', 'y', 'l', 'o', 'a', 'd'}, 9);
    ASSERT_EQ(protected_payload.written.size(), 9U);
    for (size_t bit = 0; bit < 8 * protected_payload.written.size(); ++bit) {
        bytes damaged = protected_payload.written;
        damaged[bit / 8] = static_cast<uint8_t>(damaged[bit / 8] ^ 1 << bit % 8);
        EXPECT_EQ(run(crypto_decrypt, ctx, damaged, 9), FAILED) << bit;
    }
}

TEST(crypto_payload_cipher, shortest_inputs) {
    const crypto_context ctx = context(3, {'k'}, 1);
    const outcome one = run(crypto_encrypt, ctx, {0x42}, 3);
    ASSERT_EQ(one.written.size(), 3U);
    EXPECT_EQ(run(crypto_decrypt, ctx, one.written, 3), (outcome{CRYPTO_OK, {0x42}}));
    EXPECT_EQ(run(crypto_decrypt, ctx, {0xFF, 0xFF}, 2), (outcome{CRYPTO_OK, {}}));
    EXPECT_EQ(run(crypto_decrypt, ctx, {0xFF, 0xFE}, 2), FAILED);
    EXPECT_EQ(run(crypto_decrypt, ctx, {0xFF}, 2), FAILED);
    EXPECT_EQ(run(crypto_encrypt, ctx, {}, 2), FAILED);
    EXPECT_EQ(run(crypto_decrypt, ctx, {}, 2), FAILED);
}

TEST(crypto_payload_cipher, unusable_contexts_and_null_pointers) {
    crypto_context too_long = context(3, {1}, 0);
    too_long.key_len = 33;
    for (const crypto_context &ctx : {context(1, {1}, 0), context(3, {}, 0), too_long}) {
        EXPECT_EQ(run(crypto_encrypt, ctx, {1}, 3), FAILED);
        EXPECT_EQ(run(crypto_decrypt, ctx, {1}, 3), FAILED);
    }
    const crypto_context ctx = context(3, {1}, 0);
    uint8_t byte = 0;
    uint32_t length = 1;
    for (const operation operate : {crypto_encrypt, crypto_decrypt}) {
        EXPECT_EQ(operate(nullptr, &byte, 1, &byte, &length), CRYPTO_FAILED);
        EXPECT_EQ(operate(&ctx, nullptr, 1, &byte, &length), CRYPTO_FAILED);
        EXPECT_EQ(operate(&ctx, &byte, 1, nullptr, &length), CRYPTO_FAILED);
        EXPECT_EQ(operate(&ctx, &byte, 1, &byte, nullptr), CRYPTO_FAILED);
    }
    crypto_destroy(nullptr);
}

TEST(crypto_payload_cipher, works_in_place) {
    for (const uint8_t algorithm : {uint8_t{0}, uint8_t{3}}) {
        const crypto_context ctx = context(algorithm, {1, 2, 3, 4, 5}, 1);
        bytes buffer(102, 'p');
        uint32_t length = 102;
        ASSERT_EQ(crypto_encrypt(&ctx, buffer.data(), 100, buffer.data(), &length), CRYPTO_OK);
        uint32_t capacity = length;
        ASSERT_EQ(crypto_decrypt(&ctx, buffer.data(), length, buffer.data(), &capacity), CRYPTO_OK);
        buffer.resize(capacity);
        EXPECT_EQ(buffer, bytes(100, 'p'));
    }
}

TEST(crypto_payload_cipher, a_context_is_copied_and_wiped) {
    const struct {
        uint8_t algorithm;
        uint32_t key_len;
        int32_t status;
    } rows[] = {
        {0, 0, CRYPTO_OK},        {0, 33, CRYPTO_OK},     {3, 0, CRYPTO_OK},
        {3, 32, CRYPTO_OK},       {3, 33, CRYPTO_FAILED}, {1, 16, CRYPTO_FAILED},
        {255, 16, CRYPTO_FAILED},
    };
    for (const auto &row : rows) {
        crypto_context config;
        std::memset(&config, 0xC3, sizeof config);
        config.algorithm = row.algorithm;
        config.key_len = row.key_len;
        crypto_context ctx{};
        EXPECT_EQ(crypto_create(&config, &ctx), row.status);
        EXPECT_EQ(std::memcmp(&ctx, &config, sizeof ctx), 0);

        crypto_destroy(&ctx);
        const crypto_context wiped{};
        EXPECT_EQ(std::memcmp(&ctx, &wiped, sizeof ctx), 0);
    }
    crypto_context ctx{};
    EXPECT_EQ(crypto_create(nullptr, &ctx), CRYPTO_FAILED);
    EXPECT_EQ(crypto_create(&ctx, nullptr), CRYPTO_FAILED);
}

}  // namespace
