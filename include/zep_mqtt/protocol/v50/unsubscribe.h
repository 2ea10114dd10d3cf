/**
 * @file
 * The MQTT 5.0 UNSUBSCRIBE packet (MQTT 5.0 §3.10), with one filter.
 *
 * An exported floor below the public interface, which is zep_mqtt_sdk.h.
 */
#ifndef ZEP_MQTT_PROTOCOL_V50_UNSUBSCRIBE_H
#define ZEP_MQTT_PROTOCOL_V50_UNSUBSCRIBE_H

#include <stdint.h>

#include "../../export.h"

ZEP_MQTT_BEGIN_DECLS

/** What an UNSUBSCRIBE asks for. */
typedef struct mqtt50_unsubscribe {
    uint16_t msg_id; /**< packet identifier, not 0 */
    char topic[65];  /**< topic filter, NUL-terminated, 1 to 64 bytes */
} mqtt50_unsubscribe;

/**
 * Lays out an UNSUBSCRIBE.
 *
 * @param unsubscribe  read only
 * @param buffer       71 bytes hold every packet
 * @param length       in: bytes in buffer, at least 32; out, on success only: bytes of the packet
 * @retval 0     done
 * @retval -101  (MQTT_ERR_INVALID_PARAM) a pointer is null, the buffer too small, msg_id 0, or the
 *               filter empty or too long
 * @retval -114  (MQTT_ERR_BUFFER_FULL) this packet needs a larger buffer
 *
 * A refused argument writes nothing; a packet that does not fit leaves the buffer cleared. Threads:
 * any, one per buffer.
 */
ZEP_MQTT_API int32_t mqtt50_unsubscribe_encode(const mqtt50_unsubscribe *unsubscribe,
                                               uint8_t *buffer, uint32_t *length);

ZEP_MQTT_END_DECLS

#endif
