/**
 * @file
 * The MQTT 5.0 properties that the library writes and reads (MQTT 5.0 §2.2.2).
 *
 * SUBSCRIBE, UNSUBSCRIBE, SUBACK, UNSUBACK, PUBACK, PUBREC, PUBREL and PUBCOMP are written without
 * properties, and those that they bring are not read. In a CONNACK, identifiers below 0x80 that are
 * not listed here are passed over. In a PUBLISH, the first identifier other than the Message Expiry
 * Interval ends the reading of its properties.
 *
 * An exported floor below the public interface, which is zep_mqtt_sdk.h.
 */
#ifndef ZEP_MQTT_PROTOCOL_V50_PROPERTY_H
#define ZEP_MQTT_PROTOCOL_V50_PROPERTY_H

#include <stdint.h>

#include "../../export.h"

ZEP_MQTT_BEGIN_DECLS

/** Property identifiers: the kind of the value, then who writes and who reads it. */
enum mqtt50_property_id {
    MQTT50_PROP_MESSAGE_EXPIRY = 0x02,     /**< u32, seconds; written and read in PUBLISH */
    MQTT50_PROP_SESSION_EXPIRY = 0x11,     /**< u32, seconds; written in CONNECT, DISCONNECT and
                                                CONNACK, read in CONNACK */
    MQTT50_PROP_ASSIGNED_CLIENT_ID = 0x12, /**< text; read in CONNACK */
    MQTT50_PROP_SERVER_KEEP_ALIVE = 0x13,  /**< u16, seconds; read in CONNACK */
    MQTT50_PROP_REASON_STRING = 0x1F,      /**< text; read in CONNACK */
    MQTT50_PROP_RECEIVE_MAXIMUM = 0x21,    /**< u16; written and read in CONNACK */
    MQTT50_PROP_TOPIC_ALIAS_MAX = 0x22,    /**< u16; written in CONNECT, read in CONNACK */
    MQTT50_PROP_RETAIN_AVAILABLE = 0x25,   /**< u8; read in CONNACK */
    MQTT50_PROP_USER_PROPERTY = 0x26,      /**< text pair, of which the first text is read in
                                                CONNACK */
    MQTT50_PROP_MAX_PACKET_SIZE = 0x27,    /**< u32, bytes; written in CONNECT and CONNACK, read in
                                                CONNACK */
    MQTT50_PROP_WILDCARD_SUB_AVAILABLE = 0x28, /**< u8; read in CONNACK */
    MQTT50_PROP_SUB_ID_AVAILABLE = 0x29,       /**< u8; read in CONNACK */
    MQTT50_PROP_SHARED_SUB_AVAILABLE = 0x2A    /**< u8; read in CONNACK */
};

/** One property of a received CONNACK. */
typedef struct mqtt50_property {
    uint8_t id;        /**< identifier as received */
    uint8_t value[64]; /**< an integer: in host byte order and its own width, at the start, not
                            aligned; a text: NUL-terminated, at most 63 bytes; an identifier that
                            the library does not know: zero */
} mqtt50_property;

/**
 * Writes a property length as two bytes, high byte first. This is not the variable byte integer
 * that stands in front of the properties of a packet.
 *
 * @param length       0 to 256
 * @param buffer       not null
 * @param position     where to write, from 0; moved by 2 on success only
 * @param buffer_size  bytes in buffer, at least 1
 * @retval 0     written
 * @retval -101  (MQTT_ERR_INVALID_PARAM) a pointer is null or a value out of its range
 * @retval -114  (MQTT_ERR_BUFFER_FULL) the two bytes do not fit; nothing written
 *
 * Threads: any, one per buffer.
 */
ZEP_MQTT_API int32_t mqtt50_encode_property_len(uint16_t length, uint8_t *buffer, int32_t *position,
                                                int32_t buffer_size);

ZEP_MQTT_END_DECLS

#endif
