/**
 * @file
 * The MQTT 5.0 side of a client: its operations, what the broker negotiated, and the way back to
 * 3.1.1.
 *
 * Threads: those of the client (client.h). Publish, subscribe and unsubscribe hold the busy flag
 * and are refused with -116 (MQTT_ERR_INTERNAL) while another guarded operation runs.
 *
 * An exported floor below the public interface, which is zep_mqtt_sdk.h.
 */
#ifndef ZEP_MQTT_CLIENT_V50_H
#define ZEP_MQTT_CLIENT_V50_H

#include <stdint.h>

#include "../export.h"
#include "../protocol/v50/ack.h"
#include "../protocol/v50/connack.h"
#include "../protocol/v50/message.h"
#include "client.h"

ZEP_MQTT_BEGIN_DECLS

/**
 * What the last 5.0 CONNACK said (MQTT 5.0 §3.2.2.3). Fields that a CONNACK does not carry keep the
 * value of an earlier one.
 */
typedef struct mqtt50_conn_info {
    uint8_t reason_code;          /**< connect reason code */
    uint32_t protocol_version;    /**< 5 once a 5.0 CONNACK was applied, a refusing one too; each
                                       CONNECT sets it to 0 */
    uint32_t max_packet_size;     /**< Maximum Packet Size in bytes, 65535 when none was given */
    uint8_t session_present;      /**< Session Present flag */
    uint32_t session_expiry;      /**< Session Expiry Interval in seconds; sent with DISCONNECT */
    uint16_t receive_maximum;     /**< Receive Maximum */
    uint16_t server_keep_alive;   /**< Server Keep Alive in seconds, 0 for none */
    uint8_t shared_sub_available; /**< Shared Subscription Available */
    uint8_t retain_available;     /**< Retain Available; 0 when the last CONNACK did not carry it */
    char assigned_client_id[24];  /**< Assigned Client Identifier */
    char reason_string[65];       /**< Reason String */
} mqtt50_conn_info;

/**
 * The protocol version by which an inbound packet is read: the negotiated one, before that the
 * configured one.
 *
 * @param len  bytes in data
 * @return 4 or 5; 4 with fewer than two bytes, a null argument, or a client without conn_info
 */
ZEP_MQTT_API uint32_t mqtt50_version_auto_detect(const uint8_t *data, int32_t len,
                                                 const mqtt_client *client);

/**
 * Encodes the 5.0 CONNECT (MQTT 5.0 §3.1) from the client's configuration.
 *
 * @param len  in: capacity, at least 512 bytes; out: packet length
 * @retval 0     done
 * @retval -101  (MQTT_ERR_INVALID_PARAM) null argument, not configured for 5.0, or malformed will
 * @return otherwise as mqtt50_conn_encode()
 */
ZEP_MQTT_API int32_t mqtt50_conn_packet_encode(mqtt_client *client, uint8_t *buf, uint32_t *len);

/**
 * Encodes a 5.0 UNSUBSCRIBE under a fresh packet identifier, which stays taken on success.
 *
 * @param len  in: capacity; out: packet length
 * @retval 0     done
 * @retval -101  (MQTT_ERR_INVALID_PARAM) null argument, or not a 5.0 connection
 * @retval -106  (MQTT_ERR_PACKET_ID_EXHAUSTED) all identifiers are in use
 * @return otherwise as mqtt50_unsubscribe_encode()
 */
ZEP_MQTT_API int32_t mqtt50_unsubscribe_packet_encode(mqtt_client *client, const char *topic,
                                                      uint8_t *buf, uint32_t *len);

/**
 * Encodes a 5.0 DISCONNECT with the Session Expiry Interval that the broker gave.
 *
 * @param len  in: capacity; out: packet length
 * @retval 0     done
 * @retval -101  (MQTT_ERR_INVALID_PARAM) null argument, or not a 5.0 connection
 * @return otherwise as mqtt50_disconnect_encode()
 */
ZEP_MQTT_API int32_t mqtt50_disconnect_packet_encode(mqtt_client *client, uint8_t reason_code,
                                                     uint8_t *buf, uint32_t *len);

/**
 * Applies a decoded CONNACK to a connecting client: connected, or refused and closed.
 *
 * @retval 0     connected; or ignored, because the client is not connecting
 * @retval -101  (MQTT_ERR_INVALID_PARAM) null argument, or a client without connection information
 * @retval -301  (MQTT_ERR_CONNECT_FAILED) the broker refused; the network instance is closed
 */
ZEP_MQTT_API int32_t mqtt50_client_handle_connack(mqtt_client *client,
                                                  const mqtt50_connack *connack);

/**
 * Publishes one message on a 5.0 connection (MQTT 5.0 §3.3). At QoS 1 and 2 the payload as it went
 * out is cached until it is acknowledged, room in the cache permitting.
 *
 * @param msg  with is_dup 1 it goes out under dup_msg_id, which is not taken from the pool. Whether
 *             the topic is a valid name is left to the broker
 * @retval 0     sent
 * @retval -101  (MQTT_ERR_INVALID_PARAM) null message, topic missing or above 64 bytes, length
 *               without payload, or dup_msg_id 0
 * @retval -102  (MQTT_ERR_QOS_INVALID) QoS above 2
 * @retval -106  (MQTT_ERR_PACKET_ID_EXHAUSTED) all identifiers are in use
 * @retval -109  (MQTT_ERR_VERSION_UNSUPPORTED) the connection is not a 5.0 one
 * @retval -114  (MQTT_ERR_BUFFER_FULL) topic and payload exceed 960 bytes together
 * @retval -116  (MQTT_ERR_INTERNAL) refused, not connected, or it could not be sent
 * @retval -401  (MQTT_ERR_CRYPTO) the payload could not be encrypted
 */
ZEP_MQTT_API int32_t mqtt_client_publish50(mqtt_client *client, const mqtt50_message *msg);

/**
 * Subscribes to one filter, or to a shared one, on a 5.0 connection (MQTT 5.0 §3.8). The identifier
 * is held until the SUBACK, or until the connection ends. That the client is not connected shows
 * only when sending fails.
 *
 * @param qos          its two low bits are sent
 * @param topic        filter; with its group at most 64 bytes on the wire
 * @param share_group  group, or null or empty for a plain subscription
 * @retval 0     sent
 * @retval -101  (MQTT_ERR_INVALID_PARAM) filter or group out of its limits
 * @retval -106  (MQTT_ERR_PACKET_ID_EXHAUSTED) all identifiers are in use
 * @retval -116  (MQTT_ERR_INTERNAL) refused, null filter, or it could not be sent
 */
ZEP_MQTT_API int32_t mqtt_client_subscribe50(mqtt_client *client, const char *topic, uint32_t qos,
                                             const char *share_group);

/** Unsubscribes from one filter on a 5.0 connection (MQTT 5.0 §3.10); results as for subscribe. */
ZEP_MQTT_API int32_t mqtt_client_unsubscribe50(mqtt_client *client, const char *topic);

/**
 * Handles an UNSUBACK that the application decoded itself; the loop has no need of it.
 *
 * @retval 0     done; with a failing reason code the identifier stays taken
 * @retval -101  (MQTT_ERR_INVALID_PARAM) null argument, or a client without connection information
 */
ZEP_MQTT_API int32_t mqtt50_client_handle_unsuback(mqtt_client *client, const mqtt50_ack *unsuback);

/**
 * Sends the 5.0 DISCONNECT (MQTT 5.0 §3.14). Closing and the state are the caller's.
 *
 * @retval 0     sent
 * @retval -101  (MQTT_ERR_INVALID_PARAM) null client, or one without connection information
 * @retval -116  (MQTT_ERR_INTERNAL) it could not be sent
 */
ZEP_MQTT_API int32_t mqtt50_client_disconnect(mqtt_client *client);

/**
 * Reads what the broker negotiated.
 *
 * @param info  receives a copy
 * @retval 0     done
 * @retval -101  (MQTT_ERR_INVALID_PARAM) null argument, or no 5.0 CONNACK was applied
 */
ZEP_MQTT_API int32_t mqtt_client50_get_conn_info(const mqtt_client *client, mqtt50_conn_info *info);

/**
 * Switches a client to 3.1.1 for its next connection, for a broker that refuses 5.0. A connection
 * that is open is closed by the loop's next attempt to connect, or by destroy; until then
 * connecting by hand changes nothing. Cached messages are resent in 3.1.1 packets. A client that
 * speaks 3.1.1 already is left as it is.
 */
ZEP_MQTT_API void mqtt_client_version_downgrade(mqtt_client *client);

ZEP_MQTT_END_DECLS

#endif
