/**
 * @file
 * The application message that every layer of a 3.1.1 connection passes on.
 *
 * An exported floor below the public interface, which is zep_mqtt_sdk.h.
 */
#ifndef ZEP_MQTT_CORE_MESSAGE_H
#define ZEP_MQTT_CORE_MESSAGE_H

#include <stdint.h>

#include "../export.h"

ZEP_MQTT_BEGIN_DECLS

/** Priorities of a message in the QoS caches: a full cache expires low ones first. */
enum { MQTT_PRIORITY_LOW = 0, MQTT_PRIORITY_NORMAL = 1, MQTT_PRIORITY_HIGH = 2 };

/**
 * One application message.
 *
 * A record that a caller fills for a publish points to the caller's memory, which the library reads
 * during the call and never releases. A record filled by message_deep_copy() owns its topic and its
 * payload; only message_free() releases them.
 */
typedef struct mqtt_message {
    const char *topic;       /**< topic name, NUL-terminated, at most 64 bytes to be sent */
    const uint8_t *payload;  /**< payload, null when there is none */
    uint32_t payload_len;    /**< payload length in bytes */
    uint32_t qos;            /**< 0, 1 or 2 (MQTT 3.1.1 §4.3) */
    uint8_t retain;          /**< RETAIN flag, 0 or 1 (§3.3.1.3) */
    uint16_t msg_id;         /**< packet identifier; outbound QoS 1 and 2: 1 to 128 */
    uint8_t priority;        /**< MQTT_PRIORITY_*; above 2 becomes 1 on entering a QoS cache */
    uint32_t message_expiry; /**< MQTT 5.0 Message Expiry Interval in seconds, 0 for none */
} mqtt_message;

/**
 * Makes dst an owning copy of src. Everything is copied but message_expiry, which is 0 in the copy.
 * A payload is copied only when both its pointer and its length are given.
 *
 * @param dst  holds null pointers or pointers that it owns; those are released first. Not src
 * @param src  read only
 * @retval 0     done; dst is to be released with message_free()
 * @retval -101  (MQTT_ERR_INVALID_PARAM) a pointer is null; nothing changed
 * @retval -103  (MQTT_ERR_NO_MEMORY) dst owns nothing
 *
 * Threads: any, one per record.
 */
ZEP_MQTT_API int32_t message_deep_copy(mqtt_message *dst, const mqtt_message *src);

/**
 * Releases what msg owns and clears the whole record. Null is ignored; a cleared record may be
 * given again.
 *
 * Threads: any, one per record.
 */
ZEP_MQTT_API void message_free(mqtt_message *msg);

ZEP_MQTT_END_DECLS

#endif
