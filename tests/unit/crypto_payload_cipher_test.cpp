#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>
#include <utility>
#include <vector>

#include <zep_mqtt/crypto/payload_cipher.h>

#include "support/guarded_bytes.h"

namespace {

using bytes = std::vector<uint8_t>;
using operation = decltype(&crypto_encrypt);
using outcome = std::pair<int32_t, bytes>;
const outcome FAILED = {1, {}};
const bytes DIGITS = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};
const bytes PROTECTED_DIGITS = {'1', '2', '3', '4', '5', '6', '7', '8', '9', 0x37, 0x4B};

crypto_context context(uint8_t algorithm, const bytes &key, uint8_t crc_enable) {
    crypto_context ctx{};
    ctx.algorithm = algorithm;
    std::copy(key.begin(), key.end(), ctx.key);
    ctx.key_len = static_cast<uint32_t>(key.size());
    ctx.crc_enable = crc_enable;
    return ctx;
}

// Status and bytes written; a failure may change neither the room nor its size.
outcome run(operation operate, const crypto_context &ctx, const bytes &input, size_t capacity) {
    const zep_test::guarded_bytes in(input);
    const zep_test::guarded_bytes out(bytes(capacity, 0xEE));
    uint32_t length = out.size();
    const int32_t status = operate(&ctx, in.data(), in.size(), out.data(), &length);
    const bytes written(out.data(), out.data() + length);
    if (status == 0) {
        return {0, written};
    }
    EXPECT_EQ(written, bytes(capacity, 0xEE));
    return {status, {}};
}

TEST(crypto_payload_cipher, known_bytes_at_the_least_capacity) {
    const std::tuple<crypto_context, bytes, bytes> rows[] = {
        {context(3, {1, 2, 3}, 1), {0x10, 0x20, 0x30, 0x40}, {0x11, 0x22, 0x33, 0x41, 0x71, 0xD2}},
        {context(3, {0}, 1), DIGITS, PROTECTED_DIGITS},
        {context(3, bytes(32, 0x0F), 0), bytes(70, 0xF0), bytes(70, 0xFF)},
        {context(0, {1, 2, 3}, 1), DIGITS, DIGITS},
    };
    for (const auto &[ctx, plain, sealed] : rows) {
        const size_t room = plain.size() + 2U * ctx.crc_enable;
        EXPECT_EQ(run(crypto_encrypt, ctx, plain, room), outcome(0, sealed));
        EXPECT_EQ(run(crypto_encrypt, ctx, plain, room - 1), FAILED);
        EXPECT_EQ(run(crypto_decrypt, ctx, sealed, sealed.size()), outcome(0, plain));
        EXPECT_EQ(run(crypto_decrypt, ctx, sealed, sealed.size() - 1), FAILED);

        bytes in_place = plain;
        in_place.resize(room);
        uint32_t size = static_cast<uint32_t>(room);
        EXPECT_EQ(crypto_encrypt(&ctx, in_place.data(), static_cast<uint32_t>(plain.size()),
                                 in_place.data(), &size),
                  0);
        uint32_t plain_size = size;
        EXPECT_EQ(crypto_decrypt(&ctx, in_place.data(), size, in_place.data(), &plain_size), 0);
        in_place.resize(plain_size);
        EXPECT_EQ(in_place, plain);
    }
}

TEST(crypto_payload_cipher, a_checksum_alone_and_less) {
    const crypto_context ctx = context(3, {0}, 1);
    EXPECT_EQ(run(crypto_decrypt, ctx, {0xFF, 0xFF}, 2), outcome(0, {}));
    EXPECT_EQ(run(crypto_decrypt, ctx, {0xFF, 0xFE}, 2), FAILED);
    EXPECT_EQ(run(crypto_decrypt, ctx, {0xFF}, 2), FAILED);
}

TEST(crypto_payload_cipher, unusable_arguments) {
    crypto_context too_long = context(3, {1}, 0);
    too_long.key_len = 33;
    const crypto_context ctx = context(3, {1}, 1);
    uint8_t byte = 0;
    uint32_t length = UINT32_MAX - 1;
    for (const operation operate : {crypto_encrypt, crypto_decrypt}) {
        for (const crypto_context &unusable : {context(1, {1}, 0), context(3, {}, 0), too_long}) {
            EXPECT_EQ(run(operate, unusable, {1}, 3), FAILED);
        }
        EXPECT_EQ(run(operate, ctx, {}, 3), FAILED);
        EXPECT_EQ(operate(nullptr, &byte, 1, &byte, &length), 1);
        EXPECT_EQ(operate(&ctx, nullptr, 1, &byte, &length), 1);
        EXPECT_EQ(operate(&ctx, &byte, 1, nullptr, &length), 1);
        EXPECT_EQ(operate(&ctx, &byte, 1, &byte, nullptr), 1);
    }
    EXPECT_EQ(crypto_encrypt(&ctx, &byte, UINT32_MAX - 1, &byte, &length), 1);
}

TEST(crypto_payload_cipher, a_context_is_copied_and_wiped) {
    const std::tuple<uint8_t, uint32_t, int32_t> rows[] = {
        {0, 33, 0}, {3, 0, 0}, {3, 32, 0}, {3, 33, 1}, {1, 16, 1}};
    for (const auto &[algorithm, key_len, status] : rows) {
        crypto_context config;
        std::memset(&config, 0xC3, sizeof config);
        config.algorithm = algorithm;
        config.key_len = key_len;
        crypto_context ctx{};
        EXPECT_EQ(crypto_create(&config, &ctx), status);
        EXPECT_EQ(std::memcmp(&ctx, &config, sizeof ctx), 0);
        EXPECT_EQ(crypto_create(nullptr, &ctx), 1);
        EXPECT_EQ(crypto_create(&ctx, nullptr), 1);

        crypto_destroy(&ctx);
        const crypto_context wiped{};
        EXPECT_EQ(std::memcmp(&ctx, &wiped, sizeof ctx), 0);
    }
    crypto_destroy(nullptr);
}

}  // namespace
