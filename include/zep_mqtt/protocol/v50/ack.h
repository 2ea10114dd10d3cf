/**
 * @file
 * The MQTT 5.0 packets PUBACK, PUBREC, PUBREL and PUBCOMP (MQTT 5.0 §3.4 to §3.7). Their types are
 * those of zep_mqtt/protocol/v311/packet.h.
 *
 * An exported floor below the public interface, which is zep_mqtt_sdk.h.
 */
#ifndef ZEP_MQTT_PROTOCOL_V50_ACK_H
#define ZEP_MQTT_PROTOCOL_V50_ACK_H

#include <stdint.h>

#include "../../export.h"

ZEP_MQTT_BEGIN_DECLS

/** Bytes that the encoder's buffer must have at least. */
enum { MQTT50_ACK_MIN_BUFFER = 10 };

/** One acknowledgement. It serves UNSUBACK too. */
typedef struct mqtt50_ack {
    uint16_t msg_id;     /**< packet identifier */
    uint8_t reason_code; /**< reason code; of an UNSUBACK the first */
} mqtt50_ack;

/**
 * Lays out an acknowledgement in five bytes: the reason code is always there, 0x00 included, and
 * there are no properties.
 *
 * @param type    MQTT_PACKET_PUBACK to MQTT_PACKET_PUBCOMP, 4 to 7; not checked
 * @param ack     msg_id not 0
 * @param buffer  cleared whole before the packet is written
 * @param length  in: bytes in buffer, at least 10; out, on success only: 5
 * @retval 0     done
 * @retval -101  (MQTT_ERR_INVALID_PARAM) a pointer is null or msg_id 0
 * @retval -114  (MQTT_ERR_BUFFER_FULL) the buffer has 9 bytes or fewer
 *
 * A failure writes nothing. Threads: any, one per buffer.
 */
ZEP_MQTT_API int32_t mqtt50_ack_encode(uint8_t type, const mqtt50_ack *ack, uint8_t *buffer,
                                       uint32_t *length);

/**
 * Takes an acknowledgement apart. The reason code of the two-byte form is 0x00; properties are
 * ignored.
 *
 * @param type    the type that is expected, MQTT_PACKET_PUBACK to MQTT_PACKET_PUBCOMP, 4 to 7
 * @param data    the packet from its first byte on; bytes after the packet are not looked at
 * @param length  bytes at data, at least 4
 * @param ack     cleared first; not to be used after a failure
 * @retval 0     done
 * @retval -101  (MQTT_ERR_INVALID_PARAM) a pointer is null or length below 4
 * @retval -120  (MQTT_ERR_MALFORMED) another packet type, the remaining length unreadable, above
 *               1024 or beyond the input, or the packet identifier missing
 *
 * Threads: any, one per record.
 */
ZEP_MQTT_API int32_t mqtt50_ack_decode(uint8_t type, const uint8_t *data, uint32_t length,
                                       mqtt50_ack *ack);

ZEP_MQTT_END_DECLS

#endif
