#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>

#include <zep_mqtt/crypto/payload_cipher.h>

#include "support/guarded_bytes.h"
#include "support/packets.h"

namespace {

using zep_test::bytes;
using zep_test::lay;
using operation = decltype(&crypto_encrypt);
using outcome = std::pair<int32_t, bytes>;
const outcome FAILED = {1, {}};

crypto_context context(uint8_t algorithm, const bytes &key, uint8_t crc_enable) {
    crypto_context ctx{};
    ctx.algorithm = algorithm;
    std::copy_n(key.begin(), std::min<size_t>(key.size(), 32), ctx.key);
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
    EXPECT_TRUE(status == 0 || written == bytes(capacity, 0xEE));
    return {status, status == 0 ? written : bytes{}};
}

TEST(crypto_payload_cipher, known_bytes_at_the_least_capacity) {
    const std::tuple<crypto_context, const char *, const char *> rows[] = {
        {context(3, {1, 2, 3}, 1), "10203040", "11223341 71d2"},
        {context(3, {0}, 1), "'123456789'", "'123456789' 374b"},
        {context(3, bytes(32, 0x0F), 0), "f0*70", "ff*70"},
        {context(0, {1, 2, 3}, 1), "'12'", "'12'"},
    };
    for (const auto &[ctx, plain_text, sealed_text] : rows) {
        const bytes plain = lay(plain_text), sealed = lay(sealed_text);
        const size_t room = plain.size() + 2U * ctx.crc_enable;
        EXPECT_EQ(run(crypto_encrypt, ctx, plain, room), outcome(0, sealed));
        EXPECT_EQ(run(crypto_encrypt, ctx, plain, room - 1), FAILED);
        EXPECT_EQ(run(crypto_decrypt, ctx, sealed, sealed.size()), outcome(0, plain));
        EXPECT_EQ(run(crypto_decrypt, ctx, sealed, sealed.size() - 1), FAILED);

        bytes in_place = plain;
        in_place.resize(room);
        uint8_t *data = in_place.data();
        uint32_t sealed_size = static_cast<uint32_t>(room), size = sealed_size;
        const uint32_t plain_size = static_cast<uint32_t>(plain.size());
        EXPECT_EQ(crypto_encrypt(&ctx, data, plain_size, data, &sealed_size), 0);
        EXPECT_EQ(crypto_decrypt(&ctx, data, sealed_size, data, &size), 0);
        EXPECT_EQ(bytes(data, data + size), plain);
    }
}

TEST(crypto_payload_cipher, unusable_arguments_and_a_checksum_alone) {
    const crypto_context ctx = context(3, {1}, 1);
    uint8_t byte = 0;
    uint32_t length = UINT32_MAX - 1;
    for (const operation operate : {crypto_encrypt, crypto_decrypt}) {
        for (const auto &unusable :
             {context(1, {1}, 0), context(3, {}, 0), context(3, bytes(33), 0)}) {
            EXPECT_EQ(run(operate, unusable, {1}, 3), FAILED);
        }
        EXPECT_EQ(run(operate, ctx, {}, 3), FAILED);
        EXPECT_EQ(operate(nullptr, &byte, 1, &byte, &length), 1);
        EXPECT_EQ(operate(&ctx, nullptr, 1, &byte, &length), 1);
        EXPECT_EQ(operate(&ctx, &byte, 1, nullptr, &length), 1);
        EXPECT_EQ(operate(&ctx, &byte, 1, &byte, nullptr), 1);
    }
    EXPECT_EQ(crypto_encrypt(&ctx, &byte, UINT32_MAX - 1, &byte, &length), 1);
    EXPECT_EQ(run(crypto_decrypt, ctx, {0xFF, 0xFF}, 2), outcome(0, {}));
    EXPECT_EQ(run(crypto_decrypt, ctx, {0xFF, 0xFE}, 2), FAILED);
    EXPECT_EQ(run(crypto_decrypt, ctx, {0xFF}, 2), FAILED);
}

TEST(crypto_payload_cipher, a_context_is_copied_and_wiped) {
    const std::tuple<uint8_t, uint32_t, int32_t> rows[] = {
        {0, 33, 0}, {3, 0, 0}, {3, 32, 0}, {3, 33, 1}, {1, 16, 1}};
    const crypto_context wiped{};
    for (const auto &[algorithm, key_len, status] : rows) {
        crypto_context config, ctx{};
        std::memset(&config, 0xC3, sizeof config);
        config.algorithm = algorithm;
        config.key_len = key_len;
        EXPECT_EQ(crypto_create(&config, &ctx), status);
        EXPECT_EQ(std::memcmp(&ctx, &config, sizeof ctx), 0);
        EXPECT_EQ(crypto_create(nullptr, &ctx) + crypto_create(&ctx, nullptr), 2);
        crypto_destroy(&ctx);
        EXPECT_EQ(std::memcmp(&ctx, &wiped, sizeof ctx), 0);
    }
    crypto_destroy(nullptr);
}

}  // namespace
