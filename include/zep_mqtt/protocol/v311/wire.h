/**
 * @file
 * Wire primitives that the codecs of both protocol versions share.
 *
 * Threads: any; no function here keeps state, allocates or logs.
 *
 * An exported floor below the public interface, which is zep_mqtt_sdk.h.
 */
#ifndef ZEP_MQTT_PROTOCOL_V311_WIRE_H
#define ZEP_MQTT_PROTOCOL_V311_WIRE_H

#include <stdint.h>

#include "../../export.h"

ZEP_MQTT_BEGIN_DECLS

enum {
    MQTT_REMAINING_LEN_MAX = 268435455, /**< greatest value of four bytes (MQTT 3.1.1 §2.2.3) */
    MQTT_REMAINING_LEN_MAX_BYTES = 4,   /**< longest encoding */
    MQTT_REMAINING_LEN_MAX_ACCEPTED = 1024, /**< greatest value accepted from a peer */
    MQTT_UTF8_MAX_LEN = 64                  /**< bytes, of a text checked by its length */
};

/**
 * Writes a variable-byte integer, least significant group first (MQTT 3.1.1 §2.2.3).
 *
 * @param buf    at least MQTT_REMAINING_LEN_MAX_BYTES bytes
 * @param value  0 to MQTT_REMAINING_LEN_MAX
 * @return the number of bytes written, 1 to 4; 0, with nothing written, when buf is null or value
 * is too great
 */
ZEP_MQTT_API uint32_t mqtt_write_remaining_length(uint8_t *buf, uint32_t value);

/**
 * Reads a variable-byte integer of at most three bytes and at most MQTT_REMAINING_LEN_MAX_ACCEPTED.
 *
 * @param buf  the first byte of the integer
 * @param len  bytes available
 * @param out  receives the value; after a refusal the sum of the bytes looked at
 * @return the number of bytes that the integer occupies, 1 to 3
 * @retval -101  (MQTT_ERR_INVALID_PARAM) a pointer is null or len is below 1, and out is untouched;
 *               or the value is too great, a fourth byte follows, or the bytes end too early
 */
ZEP_MQTT_API int32_t decode_remaining_len(const uint8_t *buf, int32_t len, uint32_t *out);

/**
 * Checks the text of a client identifier or of a topic filter. Characters of up to three bytes
 * pass, overlong forms and surrogates among them; U+0000 to U+001F and the bytes 0x7F to 0xBF in
 * the place of a first byte do not, nor do characters beyond U+FFFF.
 *
 * @param text  bytes; NUL-terminated when len is -1
 * @param len   in bytes, up to MQTT_UTF8_MAX_LEN; or -1 for all of a NUL-terminated text of any
 * length
 * @retval 0     valid; so is an empty text
 * @retval -104  (MQTT_ERR_UTF8_INVALID) text is null, len is below -1 or above the maximum, or a
 *               character is refused or cut short
 */
ZEP_MQTT_API int32_t utf8_validate(const char *text, int32_t len);

/**
 * Checks the range of an outbound packet identifier, which is the same for every version.
 *
 * @param version  protocol version, not looked at
 * @param id       identifier
 * @retval 0     in 1 to 128
 * @retval -101  (MQTT_ERR_INVALID_PARAM) outside
 */
ZEP_MQTT_API int32_t validate_packet_id(uint32_t version, uint16_t id);

ZEP_MQTT_END_DECLS

#endif
