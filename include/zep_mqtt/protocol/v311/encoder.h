/**
 * @file
 * The MQTT 3.1.1 packet encoder: from a record to the bytes of one control packet.
 *
 * Threads: any, one per record and buffer.
 *
 * An exported floor below the public interface, which is zep_mqtt_sdk.h.
 */
#ifndef ZEP_MQTT_PROTOCOL_V311_ENCODER_H
#define ZEP_MQTT_PROTOCOL_V311_ENCODER_H

#include <stdint.h>

#include "../../export.h"
#include "packet.h"

ZEP_MQTT_BEGIN_DECLS

/**
 * Encodes one control packet of any type, those that only a broker sends included.
 *
 * With qos other than 0 the record must be of a type that carries a packet identifier, and the
 * identifier must be in 1 to 128. With qos 0 it is not looked at: an acknowledgement carries any
 * identifier. A pointer that is null where a text, an array or bytes are needed is refused.
 *
 * @param packet  read only; what it points to is read during the call
 * @param buf     receives the packet; undefined after a failure
 * @param len     in: capacity of buf in bytes, at least 1; out: bytes written, undefined after a
 *                failure
 * @retval 0     done
 * @retval -101  (MQTT_ERR_INVALID_PARAM) a pointer is null, the capacity does not suffice, or a
 * field of the record is outside what packet.h states
 * @retval -104  (MQTT_ERR_UTF8_INVALID) the topic of a PUBLISH is refused by mqtt_topic_validate(),
 * or a filter by utf8_validate()
 */
ZEP_MQTT_API int32_t mqtt_packet_encode_v311(const mqtt_packet *packet, uint8_t *buf,
                                             uint32_t *len);

/**
 * mqtt_packet_encode_v311() for a connection of the given version. On a 5.0 connection only the
 * PUBREL goes through here, whose short form is that of 3.1.1 (MQTT 5.0 §3.6.2.1). A failure is
 * logged at ERROR.
 *
 * @param version  4 (3.1.1) or 5 (5.0)
 * @param packet, buf, len  as above
 * @retval -109  (MQTT_ERR_VERSION_UNSUPPORTED) another version
 * @return else as above
 */
ZEP_MQTT_API int32_t mqtt_packet_encode(uint32_t version, const mqtt_packet *packet, uint8_t *buf,
                                        uint32_t *len);

ZEP_MQTT_END_DECLS

#endif
