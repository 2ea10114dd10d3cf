#include <algorithm>
#include <cstddef>
#include <cstring>

#include <zep_mqtt/crypto/payload_cipher.h>

#include "core/wipe.h"

namespace {

bool has_usable_key(const crypto_context &ctx) {
    return ctx.algorithm == CRYPTO_ALGORITHM_XOR && ctx.key_len != 0 &&
           ctx.key_len <= CRYPTO_KEY_MAX_LEN;
}

void xor_with_key(const crypto_context &ctx, const uint8_t *in, size_t len, uint8_t *out) {
    for (size_t start = 0; start < len; start += ctx.key_len) {
        const size_t part = std::min<size_t>(ctx.key_len, len - start);
        for (size_t i = 0; i < part; ++i) {
            out[start + i] = in[start + i] ^ ctx.key[i];
        }
    }
}

// CRC-16/MODBUS: polynomial 0x8005 reflected, from 0xFFFF, without a final XOR.
uint16_t crc16(const uint8_t *data, size_t len) {
    uint32_t crc = 0xFFFF;
    for (size_t i = 0; i < len; ++i) {
        crc ^= data[i];
        for (int bit = 0; bit < 8; ++bit) {
            crc = crc >> 1 ^ ((crc & 1) != 0 ? 0xA001U : 0U);
        }
    }
    return static_cast<uint16_t>(crc);
}

int32_t plain_copy(const uint8_t *in, uint32_t len, uint8_t *out, uint32_t *out_len) {
    std::memmove(out, in, len);
    *out_len = len;
    return CRYPTO_OK;
}

}  // namespace

int32_t crypto_create(const crypto_context *config, crypto_context *ctx) {
    if (config == nullptr || ctx == nullptr) {
        return CRYPTO_FAILED;
    }
    *ctx = *config;
    const bool is_supported =
        ctx->algorithm == CRYPTO_ALGORITHM_NONE ||
        (ctx->algorithm == CRYPTO_ALGORITHM_XOR && ctx->key_len <= CRYPTO_KEY_MAX_LEN);
    return is_supported ? CRYPTO_OK : CRYPTO_FAILED;
}

int32_t crypto_encrypt(const crypto_context *ctx, const uint8_t *in, uint32_t len, uint8_t *out,
                       uint32_t *out_len) {
    if (ctx == nullptr || in == nullptr || out == nullptr || out_len == nullptr || len == 0) {
        return CRYPTO_FAILED;
    }
    const uint32_t crc_len = ctx->crc_enable != 0 ? CRYPTO_CRC_LEN : 0;
    if (*out_len < len || *out_len - len < crc_len) {
        return CRYPTO_FAILED;
    }
    if (ctx->algorithm == CRYPTO_ALGORITHM_NONE) {
        return plain_copy(in, len, out, out_len);
    }
    if (!has_usable_key(*ctx)) {
        return CRYPTO_FAILED;
    }
    xor_with_key(*ctx, in, len, out);
    if (crc_len != 0) {
        const uint16_t crc = crc16(out, len);
        out[len] = static_cast<uint8_t>(crc);
        out[len + 1] = static_cast<uint8_t>(crc >> 8);
    }
    *out_len = len + crc_len;
    return CRYPTO_OK;
}

int32_t crypto_decrypt(const crypto_context *ctx, const uint8_t *in, uint32_t len, uint8_t *out,
                       uint32_t *out_len) {
    if (ctx == nullptr || in == nullptr || out == nullptr || out_len == nullptr || len == 0 ||
        *out_len < len) {
        return CRYPTO_FAILED;
    }
    if (ctx->algorithm == CRYPTO_ALGORITHM_NONE) {
        return plain_copy(in, len, out, out_len);
    }
    if (!has_usable_key(*ctx)) {
        return CRYPTO_FAILED;
    }
    uint32_t payload_len = len;
    if (ctx->crc_enable != 0) {
        if (len < CRYPTO_CRC_LEN) {
            return CRYPTO_FAILED;
        }
        payload_len = len - CRYPTO_CRC_LEN;
        const uint32_t received = in[payload_len] | uint32_t{in[payload_len + 1]} << 8;
        if (crc16(in, payload_len) != received) {
            return CRYPTO_FAILED;
        }
    }
    xor_with_key(*ctx, in, payload_len, out);
    *out_len = payload_len;
    return CRYPTO_OK;
}

void crypto_destroy(crypto_context *ctx) {
    if (ctx != nullptr) {
        zep::wipe(ctx, sizeof *ctx);
    }
}
