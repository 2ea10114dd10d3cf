/**
 * @file
 * The MQTT 5.0 SUBSCRIBE packet (MQTT 5.0 §3.8), with one filter.
 *
 * An exported floor below the public interface, which is zep_mqtt_sdk.h.
 */
#ifndef ZEP_MQTT_PROTOCOL_V50_SUBSCRIBE_H
#define ZEP_MQTT_PROTOCOL_V50_SUBSCRIBE_H

#include <stdint.h>

#include "../../export.h"

ZEP_MQTT_BEGIN_DECLS

/** What a SUBSCRIBE asks for. */
typedef struct mqtt50_subscribe {
    uint16_t msg_id;             /**< packet identifier, not 0 */
    char topic[65];              /**< topic filter, NUL-terminated, 1 to 64 bytes */
    uint32_t qos;                /**< requested QoS; the two low bits are sent */
    uint8_t is_shared;           /**< 1: the filter sent is "$share/", share_group, "/", topic, at
                                      most 64 bytes in all (§4.8.2) */
    char share_group[33];        /**< NUL-terminated, 1 to 32 bytes when is_shared is 1; which
                                      characters it holds is not checked */
    uint8_t retain_as_published; /**< not 0: Retain As Published */
    uint8_t no_local;            /**< not 0: No Local */
    uint8_t retain_handling;     /**< 0 to 2; the two low bits are sent */
} mqtt50_subscribe;

/**
 * Lays out a SUBSCRIBE.
 *
 * @param subscribe  read only
 * @param buffer     cleared whole before the packet is written; 72 bytes hold every packet
 * @param length     in: bytes in buffer, at least 64; out, on success only: bytes of the packet
 * @retval 0     done
 * @retval -101  (MQTT_ERR_INVALID_PARAM) a pointer is null, the buffer too small, msg_id 0, or
 *               filter, group or the filter made of both empty or too long
 * @retval -114  (MQTT_ERR_BUFFER_FULL) this packet needs a larger buffer
 *
 * A refused argument writes nothing; a packet that does not fit leaves the buffer cleared. Threads:
 * any, one per buffer.
 */
ZEP_MQTT_API int32_t mqtt50_subscribe_encode(const mqtt50_subscribe *subscribe, uint8_t *buffer,
                                             uint32_t *length);

ZEP_MQTT_END_DECLS

#endif
