/**
 * @file
 * The MQTT 3.1.1 packet decoder: from the bytes of one control packet to a record.
 *
 * Threads: any, one per buffer and record. Nothing here logs.
 *
 * An exported floor below the public interface, which is zep_mqtt_sdk.h.
 */
#ifndef ZEP_MQTT_PROTOCOL_V311_DECODER_H
#define ZEP_MQTT_PROTOCOL_V311_DECODER_H

#include <stdint.h>

#include "../../export.h"
#include "packet.h"

ZEP_MQTT_BEGIN_DECLS

/**
 * Decodes one control packet of any type but CONNECT. Bytes that follow the packet are ignored.
 *
 * Limits: a Remaining Length of 1024, topics of 1 to 64 bytes, filters of up to 64 bytes. Of more
 * than 16 filters or return codes the first 16 are taken. Packet identifiers are not restricted.
 *
 * What a decoded record owns, and how it is released:
 * - PUBLISH: topic and payload, by message_free(&out->body.publish);
 * - SUBSCRIBE: filters by subscribe_filters_free(), qos_list by platform_free();
 * - UNSUBSCRIBE: filters by subscribe_filters_free();
 * - SUBACK: return_codes by platform_free().
 * Filter, QoS and return code arrays have room for 16 entries; unused ones are null or 0.
 *
 * @param buf  the packet, from its fixed header on
 * @param len  bytes available
 * @param out  overwritten without being released first; after a failure it owns nothing, but its
 *             type is that of the packet unless an argument was refused
 * @retval 0     done
 * @retval -101  (MQTT_ERR_INVALID_PARAM) a pointer is null, len is 0, or the packet is a CONNECT,
 *               malformed, incomplete or beyond the limits
 * @retval -103  (MQTT_ERR_NO_MEMORY) memory is exhausted
 */
ZEP_MQTT_API int32_t mqtt_packet_decode_v311(const uint8_t *buf, uint32_t len, mqtt_packet *out);

/**
 * Releases the filters of a decoded SUBSCRIBE or UNSUBSCRIBE: the first count texts, null ones
 * skipped, then the array.
 *
 * @param filters  null is ignored
 * @param count    below 1: only the array is released
 */
ZEP_MQTT_API void subscribe_filters_free(const char **filters, int32_t count);

ZEP_MQTT_END_DECLS

#endif
