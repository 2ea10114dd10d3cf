/**
 * @file
 * The MQTT 5.0 UNSUBACK packet (MQTT 5.0 §3.11).
 *
 * An exported floor below the public interface, which is zep_mqtt_sdk.h.
 */
#ifndef ZEP_MQTT_PROTOCOL_V50_UNSUBACK_H
#define ZEP_MQTT_PROTOCOL_V50_UNSUBACK_H

#include <stdint.h>

#include "../../export.h"
#include "ack.h"

ZEP_MQTT_BEGIN_DECLS

/**
 * Takes an UNSUBACK apart. Of several reason codes the first is kept; properties are ignored.
 *
 * @param data    the packet from its first byte on; bytes after the packet are not looked at
 * @param length  bytes at data, at least 4
 * @param ack     cleared first, and clear after a failure; its reason code is 0x00 when the packet
 *                carries none
 * @retval 0     done
 * @retval -101  (MQTT_ERR_INVALID_PARAM) a pointer is null or length below 4
 * @retval -120  (MQTT_ERR_MALFORMED) the first byte is not 0xB0, the remaining length unreadable,
 *               above 1024 or beyond the input, or the packet identifier missing
 *
 * Threads: any, one per record.
 */
ZEP_MQTT_API int32_t mqtt50_unsuback_decode(const uint8_t *data, uint32_t length, mqtt50_ack *ack);

/**
 * Lays out an UNSUBACK with one reason code, for a broker's side.
 *
 * @param ack     msg_id not 0
 * @param buffer  only the packet's bytes are written
 * @param length  in: bytes in buffer, at least 8; out, on success only: 6
 * @retval 0     done
 * @retval -101  (MQTT_ERR_INVALID_PARAM) a pointer is null or msg_id 0
 * @retval -114  (MQTT_ERR_BUFFER_FULL) the buffer is too small
 *
 * A failure writes nothing. Threads: any, one per buffer.
 */
ZEP_MQTT_API int32_t mqtt50_unsuback_encode(const mqtt50_ack *ack, uint8_t *buffer,
                                            uint32_t *length);

ZEP_MQTT_END_DECLS

#endif
