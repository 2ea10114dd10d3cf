/**
 * @file
 * The MQTT 5.0 SUBACK packet (MQTT 5.0 §3.9).
 *
 * An exported floor below the public interface, which is zep_mqtt_sdk.h.
 */
#ifndef ZEP_MQTT_PROTOCOL_V50_SUBACK_H
#define ZEP_MQTT_PROTOCOL_V50_SUBACK_H

#include <stdint.h>

#include "../../export.h"

ZEP_MQTT_BEGIN_DECLS

/** A SUBACK keeps at most so many reason codes. */
enum { MQTT50_SUBACK_CODES_MAX = 8 };

/** One SUBACK, to be written or as read. */
typedef struct mqtt50_suback {
    uint16_t msg_id; /**< packet identifier */
    uint8_t
        granted_qos[MQTT50_SUBACK_CODES_MAX]; /**< as read: the two low bits of each reason code,
                                                   also of a failure; not read by the encoder */
    uint8_t count;                            /**< reason codes, 0 to 8 */
    uint8_t reason_codes[MQTT50_SUBACK_CODES_MAX]; /**< one per filter, in the filters' order */
} mqtt50_suback;

/**
 * Takes a SUBACK apart. Reason codes after the eighth are dropped, properties ignored.
 *
 * @param data    the packet from its first byte on; bytes after the packet are not looked at
 * @param length  bytes at data, at least 5
 * @param suback  cleared first, and clear after a failure
 * @retval 0     done
 * @retval -101  (MQTT_ERR_INVALID_PARAM) a pointer is null or length below 5
 * @retval -120  (MQTT_ERR_MALFORMED) the first byte is not 0x90, the remaining length unreadable,
 *               above 1024 or beyond the input, or the packet identifier missing
 *
 * Threads: any, one per record.
 */
ZEP_MQTT_API int32_t mqtt50_suback_decode(const uint8_t *data, int32_t length,
                                          mqtt50_suback *suback);

/**
 * Lays out a SUBACK, for a broker's side.
 *
 * @param suback  msg_id not 0, count 1 to 8
 * @param buffer  only the packet's bytes are written
 * @param length  in: bytes in buffer, at least count plus 8; out, on success only: bytes of the
 *                packet
 * @retval 0     done
 * @retval -101  (MQTT_ERR_INVALID_PARAM) a pointer is null, msg_id 0, or count not 1 to 8
 * @retval -114  (MQTT_ERR_BUFFER_FULL) the buffer is too small
 *
 * A failure writes nothing. Threads: any, one per buffer.
 */
ZEP_MQTT_API int32_t mqtt50_suback_encode(const mqtt50_suback *suback, uint8_t *buffer,
                                          uint32_t *length);

ZEP_MQTT_END_DECLS

#endif
