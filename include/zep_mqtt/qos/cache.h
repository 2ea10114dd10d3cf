/**
 * @file
 * Admission of outbound QoS 1 and QoS 2 messages into the caches of their session, and the
 * clean-ups that expire them.
 *
 * A cached message waits for its acknowledgement (qos1.h, qos2.h) and holds its packet identifier,
 * which goes back with the last entry that holds it. Connection loss does not touch the caches.
 *
 * Threads: the one that drives the session's client.
 *
 * An exported floor below the public interface, which is zep_mqtt_sdk.h.
 */
#ifndef ZEP_MQTT_QOS_CACHE_H
#define ZEP_MQTT_QOS_CACHE_H

#include <stdint.h>

#include "../core/message.h"
#include "../export.h"
#include "../protocol/v311/session.h"

ZEP_MQTT_BEGIN_DECLS

enum {
    MQTT_QOS1_CACHE_MAX = 100,      /**< messages in a session's QoS 1 cache */
    MQTT_QOS2_CACHE_MAX = 50,       /**< messages in a session's QoS 2 cache */
    MQTT_CACHE_TIMEOUT_MS = 300000, /**< age at which any cached message expires */
    MQTT_CACHE_MAKE_ROOM_MS = 5000, /**< age at which a full cache expires low priorities */
    MQTT_RETRY_MAX = 3,             /**< retransmissions after which a message is given up */
    MQTT_BACKOFF_FIRST_MS = 2000,   /**< wait before the first retransmission */
    MQTT_BACKOFF_MAX_MS = 30000     /**< longest wait between two retransmissions */
};

/** Reserved: zero, read and written by no operation of the library. */
extern ZEP_MQTT_API uint8_t g_dup_check_cache[20480];

/** Reserved: does nothing. @return 0 */
ZEP_MQTT_API int32_t mqtt_dup_check_init(void);

/**
 * Validates a message that is about to be sent and, for QoS 1 and 2, keeps a copy of it until it is
 * acknowledged, given up or expired. A full cache first expires the messages of low priority that
 * are older than 5 seconds, in both caches.
 *
 * @param version  4 (3.1.1) or 5 (5.0)
 * @param qos      0, 1 or 2; decides instead of msg->qos. 0 is validated and not kept
 * @param msg      as it goes out: topic of 1 to 64 bytes, payload of at most 1024 bytes, for QoS 1
 *                 and 2 with its packet identifier. Copied; a priority above 2 is set to 1 in it
 * @param session  an initialised session
 * @retval 0     admitted; the cache entry now holds the packet identifier
 * @retval -101  (MQTT_ERR_INVALID_PARAM) a null pointer, or topic, payload or packet identifier is
 *               not acceptable
 * @retval -102  (MQTT_ERR_QOS_INVALID) qos is above 2
 * @retval -103  (MQTT_ERR_NO_MEMORY) no memory for the entry or its copies
 * @retval -107  (MQTT_ERR_CACHE_FULL) the cache is full and nothing in it could be expired
 * @retval -109  (MQTT_ERR_VERSION_UNSUPPORTED) another version
 *
 * After a failure the packet identifier is still the caller's.
 */
ZEP_MQTT_API int32_t mqtt_qos_message_process(uint32_t version, uint32_t qos, mqtt_message *msg,
                                              mqtt_session *session);

/**
 * Removes every entry whose last transmission is more than 5 minutes ago.
 *
 * @return entries removed; -1 (MQTT_ERR_FAIL) when session is null
 */
ZEP_MQTT_API int32_t mqtt_cache_clean_timeout(mqtt_session *session);

/**
 * Removes every entry of one priority whose last transmission is longer ago than a time-out.
 *
 * @param priority    MQTT_PRIORITY_*
 * @param timeout_ms  milliseconds; 0 for 5 minutes
 * @return entries removed; 0 when session is null or priority is above 2
 */
ZEP_MQTT_API int32_t mqtt_cache_clean_prio_timeout(mqtt_session *session, uint32_t priority,
                                                   uint64_t timeout_ms);

/**
 * The wait before a retransmission: 2 s, doubled with each one before it, at most 30 s.
 *
 * @param retry_count  retransmissions made so far, any value
 * @return milliseconds
 *
 * Threads: any.
 */
ZEP_MQTT_API uint32_t mqtt_calc_exponential_backoff(uint32_t retry_count);

ZEP_MQTT_END_DECLS

#endif
