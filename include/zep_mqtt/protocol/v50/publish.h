/**
 * @file
 * The MQTT 5.0 PUBLISH packet (MQTT 5.0 §3.3), with the Message Expiry Interval as its only
 * property.
 *
 * Neither function allocates memory.
 *
 * An exported floor below the public interface, which is zep_mqtt_sdk.h.
 */
#ifndef ZEP_MQTT_PROTOCOL_V50_PUBLISH_H
#define ZEP_MQTT_PROTOCOL_V50_PUBLISH_H

#include <stdint.h>

#include "../../export.h"

ZEP_MQTT_BEGIN_DECLS

/** Bytes that the encoder's buffer must have beyond topic and payload. */
enum { MQTT50_PUBLISH_HEADROOM = 64 };

/** One PUBLISH, to be written or as read. */
typedef struct mqtt50_publish {
    char topic[65];          /**< topic name, NUL-terminated, at most 64 bytes */
    uint8_t qos;             /**< 0, 1 or 2 */
    uint8_t retain;          /**< RETAIN flag */
    uint16_t msg_id;         /**< packet identifier, for QoS 1 and 2 */
    uint32_t payload_len;    /**< payload length in bytes */
    const uint8_t *payload;  /**< payload; as read it points into the input, and is null when the
                                  payload is empty */
    uint8_t is_dup;          /**< DUP flag */
    uint32_t message_expiry; /**< Message Expiry Interval in seconds, 0 for none */
} mqtt50_publish;

/**
 * Lays out a PUBLISH.
 *
 * @param publish  topic of 1 to 64 bytes; qos 0 to 2 (not checked); read only; its payload does not
 *                 lie in buffer
 * @param buffer   cleared whole before the packet is written
 * @param length   in: bytes in buffer, at least payload and topic length plus
 *                 MQTT50_PUBLISH_HEADROOM; out, on success only: bytes of the packet
 * @retval 0     done
 * @retval -101  (MQTT_ERR_INVALID_PARAM) a pointer is null, the topic empty or too long, the
 *               payload null but not empty, or the packet identifier 0 with QoS 1 or 2
 * @retval -114  (MQTT_ERR_BUFFER_FULL) the buffer is too small
 * @retval -124  (MQTT_ERR_PACKET_TOO_LARGE) more than MQTT can carry: payload, topic and headroom
 *               exceed 268,435,455 bytes
 *
 * A failure writes nothing. Threads: any, one per buffer.
 */
ZEP_MQTT_API int32_t mqtt50_publish_encode(const mqtt50_publish *publish, uint8_t *buffer,
                                           uint32_t *length);

/**
 * Takes a PUBLISH apart. QoS 3 is read as QoS 0. Properties are read up to the first that is not a
 * Message Expiry Interval; they never fail the call. An empty topic is accepted.
 *
 * @param data     the packet from its first byte on; bytes after the packet are not looked at
 * @param length   bytes at data, at least 6
 * @param publish  cleared first; valid as long as data; not to be used after a failure
 * @retval 0     done
 * @retval -101  (MQTT_ERR_INVALID_PARAM) a pointer is null, length below 6, or the topic longer
 *               than 64 bytes or than the packet
 * @retval -120  (MQTT_ERR_MALFORMED) not a PUBLISH, the remaining length unreadable, above 1024 or
 *               beyond the input, or the packet identifier missing
 *
 * Threads: any, one per record.
 */
ZEP_MQTT_API int32_t mqtt50_publish_decode(const uint8_t *data, uint32_t length,
                                           mqtt50_publish *publish);

ZEP_MQTT_END_DECLS

#endif
