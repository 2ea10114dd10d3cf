/**
 * @file
 * The client's loop: every time-driven part of a client happens in it.
 *
 * An exported floor below the public interface, which is zep_mqtt_sdk.h.
 */
#ifndef ZEP_MQTT_CLIENT_LOOP_H
#define ZEP_MQTT_CLIENT_LOOP_H

#include <stdint.h>

#include "../export.h"
#include "client.h"

ZEP_MQTT_BEGIN_DECLS

/**
 * Tick (ms, low 32 bits) at which the last automatic reconnection attempt of any client of the
 * process began. Accessed atomically.
 */
extern ZEP_MQTT_API uint32_t last_reconnect_tick;

/**
 * One pass: automatic reconnection, CONNACK time-out (3000 ms; an answer that has arrived counts,
 * however late the pass comes), one receive step, retransmission, PINGREQ (half a keep-alive
 * interval after the last activity, MQTT 3.1.1 §3.1.2.10), and on every 50th pass the cache
 * clean-up. Waits at most 20 ms for input, as long as the system takes for the
 * TCP connection of a reconnection attempt, and at most 3 seconds for a peer that does not read.
 *
 * @retval 0     also when the network failed: the log and the callbacks tell
 * @retval -8    (MQTT_ERR_BUSY) another guarded operation of this client runs
 * @retval -101  (MQTT_ERR_INVALID_PARAM) client is null or being destroyed
 */
ZEP_MQTT_API int32_t mqtt_client_loop(mqtt_client *client);

ZEP_MQTT_END_DECLS

#endif
