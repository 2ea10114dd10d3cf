/**
 * @file
 * The protocol state that a client keeps for its connection.
 *
 * The record is embedded in the client record, so it has no private fields. It is used by one
 * thread at a time, the one that drives the client. It outlives connections: a reconnect keeps
 * caches and packet identifiers.
 *
 * An exported floor below the public interface, which is zep_mqtt_sdk.h.
 */
#ifndef ZEP_MQTT_PROTOCOL_V311_SESSION_H
#define ZEP_MQTT_PROTOCOL_V311_SESSION_H

#include <stdint.h>

#include "../../core/message.h"
#include "../../export.h"

ZEP_MQTT_BEGIN_DECLS

enum {
    MQTT_CLIENT_ID_MAX = 23, /**< longest client identifier in bytes (MQTT 3.1.1 §3.1.3.1) */
    MQTT_PACKET_ID_MIN = 1,
    MQTT_PACKET_ID_MAX = 128, /**< highest packet identifier that the library hands out */
    MQTT_PACKET_ID_POOL = 32  /**< released identifiers that are kept for reuse */
};

/** Where an outbound QoS 2 exchange stands (MQTT 3.1.1 §4.3.3). Every other value is invalid. */
enum mqtt_qos2_state {
    WAIT_PUBREC = 1, /**< PUBLISH sent */
    WAIT_PUBCOMP = 2 /**< PUBREL sent */
};

/** One outbound QoS 1 message that waits for its PUBACK. Owned by its session. */
typedef struct mqtt_qos1_entry {
    mqtt_message msg;     /**< owning copy, as it was sent; message_expiry is 0 */
    uint64_t send_tick;   /**< ms tick of admission or of the last retransmission */
    uint32_t retry_count; /**< retransmissions so far */
    uint8_t priority;     /**< MQTT_PRIORITY_* */
    struct mqtt_qos1_entry *next;
    uint32_t version; /**< protocol version of its packets: 4 or 5 */
} mqtt_qos1_entry;

/** One outbound QoS 2 message that waits for its PUBREC or PUBCOMP. Owned by its session. */
typedef struct mqtt_qos2_entry {
    mqtt_message msg;     /**< owning copy, as it was sent; message_expiry is 0 */
    uint64_t send_tick;   /**< ms tick of admission, PUBREC or the last retransmission */
    uint32_t state;       /**< enum mqtt_qos2_state */
    uint32_t retry_count; /**< retransmissions in the current state */
    uint8_t priority;     /**< MQTT_PRIORITY_* */
    struct mqtt_qos2_entry *next;
    uint32_t version; /**< protocol version of its packets: 4 or 5 */
} mqtt_qos2_entry;

/**
 * One session. It owns the will copies and every cache entry with the copies of its message.
 *
 * Invariants of the packet identifiers: the pool holds none twice, a pooled one is not in use.
 */
typedef struct mqtt_session {
    char client_id[MQTT_CLIENT_ID_MAX + 1]; /**< 1 to 23 bytes of UTF-8, NUL-terminated */
    uint8_t clean_start;                    /**< as given at initialisation */
    uint16_t keep_alive;                    /**< seconds, as given at initialisation */

    uint8_t will_flag;         /**< 1 when a will is configured */
    uint32_t will_qos;         /**< 0, 1 or 2 */
    uint8_t will_retain;       /**< RETAIN flag of the will */
    char *will_topic;          /**< owned, or null */
    uint8_t *will_payload;     /**< owned, or null */
    uint32_t will_payload_len; /**< bytes */

    mqtt_qos1_entry *qos1_cache; /**< newest first, or null */
    mqtt_qos2_entry *qos2_cache; /**< newest first, or null */

    uint16_t next_packet_id;                   /**< where the scan for a free identifier starts */
    uint16_t id_pool[MQTT_PACKET_ID_POOL];     /**< released identifiers, oldest first */
    int32_t id_pool_top;                       /**< index of the newest pool entry, -1 for none */
    uint8_t id_in_use[MQTT_PACKET_ID_MAX + 1]; /**< 1 per identifier in flight; entry 0 stays 0 */

    uint32_t qos1_count;        /**< entries in qos1_cache, at most 100 */
    uint32_t qos2_count;        /**< entries in qos2_cache, at most 50 */
    uint8_t qos2_anomaly_count; /**< QoS 2 entries found in an invalid state; wraps at 256 */
} mqtt_session;

/**
 * 1 while mqtt_session_destroy() runs on any session of the process, else 0. Read it atomically
 * where sessions are destroyed by several threads; only the library writes it.
 */
extern ZEP_MQTT_API uint8_t is_destroying;

/**
 * Starts a session: no will, empty caches, every packet identifier free. The first one in the
 * process also sets up the subscription store (zep_mqtt/topic/subscription_store.h).
 *
 * @param session      any memory; what it held is overwritten, not released
 * @param client_id    1 to 23 bytes of UTF-8, copied
 * @param clean_start  kept as given
 * @param keep_alive   seconds, kept as given
 * @retval 0     done; release with mqtt_session_destroy()
 * @retval -101  (MQTT_ERR_INVALID_PARAM) a null pointer, or an empty or overlong client_id; the
 *               session is untouched
 * @retval -104  (MQTT_ERR_UTF8_INVALID) client_id is refused by utf8_validate() (wire.h); the
 *               session is untouched
 * @retval -103  (MQTT_ERR_NO_MEMORY) the subscription store could not be set up; the session owns
 *               nothing and is not to be used
 *
 * Threads: any, one per session.
 */
ZEP_MQTT_API int32_t mqtt_session_init(mqtt_session *session, const char *client_id,
                                       uint8_t clean_start, uint16_t keep_alive);

/**
 * Releases everything that a session owns and clears the record. The subscription store stays.
 *
 * @param session  initialised or cleared; may be initialised again afterwards
 * @retval 0     done; nothing, when is_destroying was set to 1 from outside the library
 * @retval -101  (MQTT_ERR_INVALID_PARAM) session is null
 *
 * Threads: any, one per session; different sessions may be destroyed at the same time.
 */
ZEP_MQTT_API int32_t mqtt_session_destroy(mqtt_session *session);

ZEP_MQTT_END_DECLS

#endif
