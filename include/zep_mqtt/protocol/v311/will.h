/**
 * @file
 * The will of a session (MQTT 3.1.1 §3.1.2.5): a message that the broker publishes when the
 * connection is lost.
 *
 * The client's own CONNECT takes its will from the client configuration; these functions serve
 * applications that build a CONNECT from a session of their own.
 *
 * Threads: the one that drives the session's client.
 *
 * An exported floor below the public interface, which is zep_mqtt_sdk.h.
 */
#ifndef ZEP_MQTT_PROTOCOL_V311_WILL_H
#define ZEP_MQTT_PROTOCOL_V311_WILL_H

#include <stdint.h>

#include "../../export.h"
#include "session.h"

ZEP_MQTT_BEGIN_DECLS

/**
 * Configures the will, in place of an earlier one.
 *
 * @param session      an initialised session
 * @param topic        a topic name without wildcards, copied; not the session's own will_topic
 * @param payload      copied; null for none; not the session's own will_payload
 * @param payload_len  bytes; ignored without a payload
 * @param qos          0, 1 or 2
 * @param retain       RETAIN flag of the will
 * @retval 0     done
 * @retval -101  (MQTT_ERR_INVALID_PARAM) session is null, or topic is null or empty
 * @retval -102  (MQTT_ERR_QOS_INVALID) qos is above 2
 * @retval -103  (MQTT_ERR_NO_MEMORY) the earlier topic and payload are gone, will_flag, will_qos
 * and will_retain are as before
 * @retval -201  (MQTT_ERR_TOPIC_TOO_LONG) topic is longer than 64 bytes
 * @retval -202  (MQTT_ERR_TOPIC_TOO_DEEP) topic has more than 16 levels
 * @retval -203  (MQTT_ERR_WILDCARD_INVALID) topic holds a wildcard, "//" or a forbidden byte
 */
ZEP_MQTT_API int32_t mqtt_will_set(mqtt_session *session, const char *topic, const uint8_t *payload,
                                   uint32_t payload_len, uint32_t qos, uint8_t retain);

/**
 * Removes the will, if there is one.
 *
 * @retval 0     done
 * @retval -101  (MQTT_ERR_INVALID_PARAM) session is null
 */
ZEP_MQTT_API int32_t mqtt_will_clear(mqtt_session *session);

ZEP_MQTT_END_DECLS

#endif
