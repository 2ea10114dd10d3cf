// The payload cipher: what is encrypted decrypts to itself, and any flipped bit is noticed.
#include <vector>

#include <zep_mqtt/crypto/payload_cipher.h>

#include "fuzz/fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    zep_fuzz::input in(data, size);
    crypto_context config = {};
    config.algorithm = in.u8() % 2 == 0 ? 3 : 0;
    config.crc_enable = in.u8() % 2;
    config.key_len = in.below(34);
    const uint8_t flipped_bit = in.u8();
    const uint32_t spare = in.below(4);
    in.bytes(config.key, sizeof config.key);
    crypto_context context;
    const bool created = crypto_create(&config, &context) == 0;

    uint8_t plain[1024];
    const auto length = static_cast<uint32_t>(in.bytes(plain, sizeof plain));
    std::vector<uint8_t> cipher(length + spare);
    uint32_t cipher_length = length + spare;
    const bool encrypted =
        crypto_encrypt(&context, plain, length, cipher.data(), &cipher_length) == 0;
    FUZZ_CHECK(!encrypted || cipher_length <= cipher.size());
    FUZZ_CHECK(!encrypted || created);

    std::vector<uint8_t> back(cipher_length);
    uint32_t back_length = cipher_length;
    if (encrypted) {
        FUZZ_CHECK(
            crypto_decrypt(&context, cipher.data(), cipher_length, back.data(), &back_length) == 0);
        FUZZ_CHECK(back_length == length && std::memcmp(back.data(), plain, length) == 0);
        if (context.algorithm == 3 && context.crc_enable != 0) {
            cipher[flipped_bit / 8 % cipher_length] ^= static_cast<uint8_t>(1u << flipped_bit % 8);
            FUZZ_CHECK(crypto_decrypt(&context, cipher.data(), cipher_length, back.data(),
                                      &cipher_length) != 0);
        }
    }
    back.assign(length, 0);
    back_length = length;
    (void)crypto_decrypt(&context, plain, length, back.data(), &back_length);
    crypto_destroy(&context);
    return 0;
}
