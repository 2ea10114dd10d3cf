/**
 * @file
 * Outbound QoS 1 (MQTT 3.1.1 §4.3.2): the PUBACK that ends an exchange, and the retransmission of
 * what was not acknowledged.
 *
 * Threads: the one that drives the session's client.
 *
 * An exported floor below the public interface, which is zep_mqtt_sdk.h.
 */
#ifndef ZEP_MQTT_QOS_QOS1_H
#define ZEP_MQTT_QOS_QOS1_H

#include <stdint.h>

#include "../export.h"
#include "../protocol/v311/session.h"

ZEP_MQTT_BEGIN_DECLS

/**
 * Takes an acknowledged message out of the cache and gives its packet identifier back. Logs
 * nothing.
 *
 * @param msg_id  identifier in the PUBACK
 * @retval 0     done
 * @retval -101  (MQTT_ERR_INVALID_PARAM) session is null or msg_id is not in 1 to 128
 * @retval -105  (MQTT_ERR_CACHE_NOT_FOUND) no message waits under this identifier
 */
ZEP_MQTT_API int32_t mqtt_qos1_handle_puback(mqtt_session *session, uint16_t msg_id);

/**
 * Lays out every message that is due for retransmission as a PUBLISH with DUP, whole packets one
 * behind the other. Messages of high priority come first, oldest first; then all others, newest
 * first. What finds no room behind the packets already laid out stays due. A message that is due
 * after its third retransmission is given up, one that is no longer valid is dropped.
 *
 * @param buf    receives the packets
 * @param len    in: capacity of buf in bytes; out: bytes laid out, unchanged when there are none
 * @param force  non-zero: every message counts as due
 * @return packets laid out; -101 (MQTT_ERR_INVALID_PARAM) when a pointer is null
 */
ZEP_MQTT_API int32_t mqtt_qos1_check_retrans(mqtt_session *session, uint8_t *buf, uint32_t *len,
                                             uint8_t force);

ZEP_MQTT_END_DECLS

#endif
