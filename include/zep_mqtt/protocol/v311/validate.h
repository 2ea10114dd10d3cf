/**
 * @file
 * Checks of topics and payloads before they reach the wire. Every refusal is logged at ERROR.
 *
 * Threads: any.
 *
 * An exported floor below the public interface, which is zep_mqtt_sdk.h.
 */
#ifndef ZEP_MQTT_PROTOCOL_V311_VALIDATE_H
#define ZEP_MQTT_PROTOCOL_V311_VALIDATE_H

#include <stdint.h>

#include "../../export.h"

ZEP_MQTT_BEGIN_DECLS

enum {
    MQTT_TOPIC_MAX_LEN = 64,    /**< bytes of a topic name or filter */
    MQTT_TOPIC_MAX_LEVELS = 16, /**< levels of a topic name or filter */
    MQTT_PAYLOAD_MAX_LEN = 1024 /**< bytes of an application message */
};

/** What mqtt_topic_validate() takes the text for. */
enum {
    MQTT_TOPIC_MODE_NAME = 0,  /**< topic name of a PUBLISH or a will: no wildcards */
    MQTT_TOPIC_MODE_FILTER = 1 /**< subscription filter: wildcards by MQTT 3.1.1 §4.7.1 */
};

/**
 * Checks a topic name or filter, in this order: present, no forbidden byte, length, levels and
 * empty levels, wildcards. Forbidden are line feed, carriage return, space, backslash, vertical bar
 * and the bytes 0x80 and 0xE3, the latter also inside a character of several bytes. A leading or
 * trailing
 * '/' is allowed, "//" is not. A text that contains "will_topic:" may hold no wildcard in any mode.
 *
 * @param topic  NUL-terminated
 * @param mode   MQTT_TOPIC_MODE_*; with any other value the wildcards are not checked
 * @retval 0     acceptable
 * @retval -101  (MQTT_ERR_INVALID_PARAM) null or empty
 * @retval -201  (MQTT_ERR_TOPIC_TOO_LONG) longer than MQTT_TOPIC_MAX_LEN
 * @retval -202  (MQTT_ERR_TOPIC_TOO_DEEP) more than MQTT_TOPIC_MAX_LEVELS levels
 * @retval -203  (MQTT_ERR_WILDCARD_INVALID) a forbidden byte, "//", or a misplaced wildcard
 */
ZEP_MQTT_API int32_t mqtt_topic_validate(const char *topic, uint32_t mode);

/**
 * Checks the protocol version and the size of a payload. The payload's bytes are not read.
 *
 * @param payload  may be null: then every length passes
 * @param len      in bytes
 * @param version  protocol version, 4 (3.1.1) or 5 (5.0)
 * @retval 0     acceptable
 * @retval -101  (MQTT_ERR_INVALID_PARAM) longer than MQTT_PAYLOAD_MAX_LEN
 * @retval -109  (MQTT_ERR_VERSION_UNSUPPORTED) another version
 */
ZEP_MQTT_API int32_t mqtt_payload_validate(const uint8_t *payload, int32_t len, uint32_t version);

ZEP_MQTT_END_DECLS

#endif
