/**
 * @file
 * Publish, subscribe and unsubscribe of a 3.1.1 connection, and disconnect of either version. Those
 * of a 5.0 connection are in v50.h; create, connect and destroy are in client.h.
 *
 * Publish, subscribe and unsubscribe need a connected client and hold the client's busy flag while
 * they run: they are refused with -8 (MQTT_ERR_BUSY) while another of them or the loop runs, which
 * includes calls from inside a callback.
 *
 * An exported floor below the public interface, which is zep_mqtt_sdk.h.
 */
#ifndef ZEP_MQTT_CLIENT_OPERATIONS_H
#define ZEP_MQTT_CLIENT_OPERATIONS_H

#include <stdint.h>

#include "../core/message.h"
#include "../export.h"
#include "client.h"

ZEP_MQTT_BEGIN_DECLS

/**
 * Publishes one message (MQTT 3.1.1 §3.3). At QoS 1 and 2 the payload as it goes out is cached
 * until it is acknowledged.
 *
 * @param msg  topic, payload, payload_len, qos, retain and priority are read; msg_id is filled in
 * @retval 0     sent
 * @retval -8    (MQTT_ERR_BUSY) refused
 * @retval -101  (MQTT_ERR_INVALID_PARAM) null argument, not connected, or topic or payload out of
 *               its limits
 * @retval -102  (MQTT_ERR_QOS_INVALID) QoS above 2
 * @retval -103  (MQTT_ERR_NO_MEMORY) no memory for the cached copy
 * @retval -104  (MQTT_ERR_UTF8_INVALID) the topic is not a valid name (QoS 0)
 * @retval -106  (MQTT_ERR_PACKET_ID_EXHAUSTED) all identifiers are in use
 * @retval -107  (MQTT_ERR_CACHE_FULL) 100 QoS 1 or 50 QoS 2 messages are unacknowledged
 * @retval -116  (MQTT_ERR_INTERNAL) it could not be sent; also a packet above 1024 bytes
 * @retval -401  (MQTT_ERR_CRYPTO) the payload could not be encrypted
 * After every failure nothing is cached and no identifier is held.
 */
ZEP_MQTT_API int32_t mqtt_client_publish(mqtt_client *client, mqtt_message *msg);

/**
 * Subscribes to one filter (MQTT 3.1.1 §3.8). The identifier is held until the SUBACK, or until the
 * connection ends.
 *
 * @param topic      filter, 1 to 64 bytes
 * @param qos        0 to 2
 * @param is_shared  must be 0
 * @retval 0     sent and recorded
 * @retval -8    (MQTT_ERR_BUSY) refused
 * @retval -101  (MQTT_ERR_INVALID_PARAM) filter or QoS out of its limits, or not connected; or sent
 *               and not recorded: the filter is malformed or longer than 63 bytes
 * @retval -104  (MQTT_ERR_UTF8_INVALID) the filter is not valid UTF-8
 * @retval -106  (MQTT_ERR_PACKET_ID_EXHAUSTED) all identifiers are in use
 * @retval -107  (MQTT_ERR_CACHE_FULL) sent and not recorded: 16 filters are on record
 * @retval -110  (MQTT_ERR_NOT_SUPPORTED) is_shared is not 0
 * @retval -116  (MQTT_ERR_INTERNAL) it could not be sent, or was sent and not recorded
 */
ZEP_MQTT_API int32_t mqtt_client_subscribe(mqtt_client *client, const char *topic, uint32_t qos,
                                           uint8_t is_shared);

/**
 * Unsubscribes from one filter (MQTT 3.1.1 §3.10). The identifier is held until the UNSUBACK, or
 * until the connection ends.
 *
 * @param topic  filter, 1 to 64 bytes
 * @retval 0     sent and removed from the record
 * @retval -8    (MQTT_ERR_BUSY) refused
 * @retval -101  (MQTT_ERR_INVALID_PARAM) filter out of its limits, or not connected
 * @retval -104  (MQTT_ERR_UTF8_INVALID) the filter is not valid UTF-8
 * @retval -105  (MQTT_ERR_CACHE_NOT_FOUND) sent, but the filter was not on record
 * @retval -106  (MQTT_ERR_PACKET_ID_EXHAUSTED) all identifiers are in use
 * @retval -116  (MQTT_ERR_INTERNAL) it could not be sent
 */
ZEP_MQTT_API int32_t mqtt_client_unsubscribe(mqtt_client *client, const char *topic);

/**
 * Sends DISCONNECT (MQTT 3.1.1 §3.14, MQTT 5.0 §3.14) and closes the network instance. Caches and
 * subscriptions stay, and the loop will reconnect. Not guarded by the busy flag.
 *
 * @retval 0     disconnected, or it was not connected
 * @retval -101  (MQTT_ERR_INVALID_PARAM) client is null
 */
ZEP_MQTT_API int32_t mqtt_client_disconnect(mqtt_client *client);

ZEP_MQTT_END_DECLS

#endif
