/**
 * @file
 * The application message of a 5.0 connection and its expiry.
 *
 * An exported floor below the public interface, which is zep_mqtt_sdk.h.
 */
#ifndef ZEP_MQTT_PROTOCOL_V50_MESSAGE_H
#define ZEP_MQTT_PROTOCOL_V50_MESSAGE_H

#include <stdint.h>

#include "../../export.h"

ZEP_MQTT_BEGIN_DECLS

/**
 * One application message that goes out on a 5.0 connection.
 *
 * topic and payload are the caller's memory, read during a call and never released. The list of
 * user properties is made by mqtt50_user_property_set() and released by mqtt50_user_property_free()
 * (zep_mqtt/protocol/v50/user_property.h); it is not sent.
 */
typedef struct mqtt50_message {
    const char *topic;      /**< topic name, NUL-terminated, 1 to 64 bytes to be sent */
    const uint8_t *payload; /**< payload; may be null when payload_len is 0 */
    uint32_t payload_len;   /**< payload length in bytes */
    uint32_t qos;           /**< 0, 1 or 2 */
    uint8_t retain;         /**< RETAIN flag, 0 or 1 */
    uint32_t ttl;           /**< expiry interval of the expiry check in seconds; 0: never expires */
    uint64_t ttl_start_ms;  /**< tick in milliseconds at which that interval started */
    struct mqtt50_user_property *user_props; /**< newest user property, null when there is none */
    int32_t user_prop_count;                 /**< user properties in the list, 0 to 8 */
    uint8_t expired;         /**< 1 once the expiry check has found the interval over */
    uint32_t message_expiry; /**< Message Expiry Interval to be sent, in seconds; 0: none
                                  (MQTT 5.0 §3.3.2.3.3) */
    uint16_t dup_msg_id;     /**< packet identifier to send under again, when is_dup is 1 */
    uint8_t is_dup;          /**< 1: the application sends this message again under dup_msg_id */
} mqtt50_message;

/**
 * Reads a Message Expiry Interval property, identifier and value.
 *
 * @param buffer    holds at least five bytes from *position on
 * @param position  of the identifier, 0 to 251; moved by 5 on success only
 * @param interval  receives seconds, on success only
 * @retval 0     read
 * @retval -70   (MQTT_ERR_PROPERTY_TOO_LONG) a pointer is null, or the position is above 251
 * @retval -101  (MQTT_ERR_INVALID_PARAM) the position is negative, or another property stands there
 *
 * Threads: any.
 */
ZEP_MQTT_API int32_t mqtt50_decode_ttl(const uint8_t *buffer, int32_t *position,
                                       uint32_t *interval);

/**
 * Gives a message an expiry interval that starts now: sets ttl, message_expiry, ttl_start_ms and
 * clears expired.
 *
 * @param interval  in seconds; 0: the message never expires
 * @retval 0     done
 * @retval -101  (MQTT_ERR_INVALID_PARAM) the message is null
 *
 * Threads: any, one per record.
 */
ZEP_MQTT_API int32_t mqtt50_message_ttl_init(mqtt50_message *message, uint32_t interval);

/**
 * Tells whether the interval of a message is over, and sets expired when it is. The interval is
 * counted in milliseconds modulo 2^32: from 4,294,968 seconds (some 49 days) on it is shorter than
 * ttl says.
 *
 * @retval 1   expired
 * @retval 0   still alive
 * @retval -1  never expires: ttl is 0, or the message is null
 *
 * Threads: any, one per record.
 */
ZEP_MQTT_API int32_t mqtt50_message_ttl_check(mqtt50_message *message);

ZEP_MQTT_END_DECLS

#endif
