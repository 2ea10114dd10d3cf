/**
 * @file
 * The MQTT 5.0 DISCONNECT packet (MQTT 5.0 §3.14).
 *
 * An exported floor below the public interface, which is zep_mqtt_sdk.h.
 */
#ifndef ZEP_MQTT_PROTOCOL_V50_DISCONNECT_H
#define ZEP_MQTT_PROTOCOL_V50_DISCONNECT_H

#include <stdint.h>

#include "../../export.h"

ZEP_MQTT_BEGIN_DECLS

/** What a DISCONNECT says. */
typedef struct mqtt50_disconnect {
    uint8_t reason_code;     /**< reason code, always sent */
    uint32_t session_expiry; /**< Session Expiry Interval in seconds, 0 for none */
} mqtt50_disconnect;

/**
 * Lays out a DISCONNECT: 4 bytes, or 9 with a session expiry.
 *
 * @param disconnect  read only
 * @param buffer      cleared whole before the packet is written
 * @param length      in: bytes in buffer, at least 16; out, on success only: bytes of the packet
 * @retval 0     done
 * @retval -101  (MQTT_ERR_INVALID_PARAM) a pointer is null
 * @retval -114  (MQTT_ERR_BUFFER_FULL) the buffer is too small
 *
 * A failure writes nothing. Threads: any, one per buffer.
 */
ZEP_MQTT_API int32_t mqtt50_disconnect_encode(const mqtt50_disconnect *disconnect, uint8_t *buffer,
                                              uint32_t *length);

ZEP_MQTT_END_DECLS

#endif
