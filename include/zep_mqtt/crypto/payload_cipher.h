/**
 * @file
 * The payload cipher: a repeating-key XOR with a CRC-16 behind the ciphertext.
 *
 * The CRC finds damage, not a wrong key. The XOR hides payloads from a casual look only: whoever
 * knows one payload can recover the key, and anybody can compute the CRC.
 *
 * Protected payload: the ciphertext, as long as the plaintext, then the CRC-16/MODBUS of the
 * ciphertext, low byte first. Without the CRC, or with no cipher, nothing is added.
 *
 * Threads: one per context; different contexts are independent. Nothing here allocates or logs.
 *
 * An exported floor below the public interface, which is zep_mqtt_sdk.h.
 */
#ifndef ZEP_MQTT_CRYPTO_PAYLOAD_CIPHER_H
#define ZEP_MQTT_CRYPTO_PAYLOAD_CIPHER_H

#include <stdint.h>

#include "../export.h"

ZEP_MQTT_BEGIN_DECLS

/** Values of crypto_context.algorithm; every other one is unsupported. */
enum {
    CRYPTO_ALGORITHM_NONE = 0, /**< plain copy, never with a CRC */
    CRYPTO_ALGORITHM_XOR = 3   /**< repeating-key XOR */
};

enum {
    CRYPTO_KEY_MAX_LEN = 32, /**< bytes */
    CRYPTO_IV_LEN = 16,      /**< bytes */
    CRYPTO_CRC_LEN = 2       /**< bytes that the CRC adds */
};

/** Results of the cipher: its failures are not told apart. */
enum { CRYPTO_OK = 0, CRYPTO_FAILED = 1 };

/** Configuration and working context of the cipher. It holds the key: destroy it after use. */
typedef struct crypto_context {
    uint8_t algorithm;               /**< CRYPTO_ALGORITHM_* */
    uint8_t key[CRYPTO_KEY_MAX_LEN]; /**< only the first key_len bytes are used */
    uint32_t key_len;                /**< in bytes, 1 to CRYPTO_KEY_MAX_LEN */
    uint8_t iv[CRYPTO_IV_LEN];       /**< stored and wiped, not used */
    uint8_t crc_enable;              /**< not 0: append and check the CRC */
} crypto_context;

/**
 * Makes ctx a copy of config.
 *
 * @param config  read only; may be wiped by the caller afterwards
 * @param ctx     the caller's memory, overwritten; to be given to crypto_destroy()
 * @retval 0  done
 * @retval 1  a pointer is null; or the algorithm is unsupported, or CRYPTO_ALGORITHM_XOR comes with
 * a key_len above CRYPTO_KEY_MAX_LEN, and the copy has been made all the same
 */
ZEP_MQTT_API int32_t crypto_create(const crypto_context *config, crypto_context *ctx);

/**
 * Protects a payload.
 *
 * @param ctx      read only
 * @param in       plaintext
 * @param len      of the plaintext in bytes, at least 1
 * @param out      receives the protected payload; may be in itself, else must not overlap it
 * @param out_len  in: capacity of out in bytes; out: bytes written, len or len + CRYPTO_CRC_LEN
 * @retval 0  done
 * @retval 1  a pointer is null, len is 0, the capacity does not suffice (with crc_enable for the
 * CRC too), the algorithm is unsupported or key_len is not in 1 to CRYPTO_KEY_MAX_LEN; out and
 *            out_len are unchanged
 */
ZEP_MQTT_API int32_t crypto_encrypt(const crypto_context *ctx, const uint8_t *in, uint32_t len,
                                    uint8_t *out, uint32_t *out_len);

/**
 * Checks and recovers a payload.
 *
 * @param ctx      read only
 * @param in       protected payload
 * @param len      of the protected payload in bytes, at least 1
 * @param out      receives the plaintext; may be in itself, else must not overlap it
 * @param out_len  in: capacity of out in bytes, at least len; out: bytes written, len or
 *                 len - CRYPTO_CRC_LEN, so possibly 0
 * @retval 0  done
 * @retval 1  as for crypto_encrypt(), or the payload is too short for its CRC, or the CRC is wrong;
 *            out and out_len are unchanged
 */
ZEP_MQTT_API int32_t crypto_decrypt(const crypto_context *ctx, const uint8_t *in, uint32_t len,
                                    uint8_t *out, uint32_t *out_len);

/**
 * Wipes the context, key and initialisation vector included. What remains is all zero, that is a
 * context that copies: drop every reference to it.
 *
 * @param ctx  null is ignored
 */
ZEP_MQTT_API void crypto_destroy(crypto_context *ctx);

ZEP_MQTT_END_DECLS

#endif
