/**
 * @file
 * The record of one MQTT 3.1.1 control packet: input of the encoder, output of the decoder.
 *
 * An exported floor below the public interface, which is zep_mqtt_sdk.h.
 */
#ifndef ZEP_MQTT_PROTOCOL_V311_PACKET_H
#define ZEP_MQTT_PROTOCOL_V311_PACKET_H

#include <stdint.h>

#include "../../core/message.h"
#include "../../export.h"

ZEP_MQTT_BEGIN_DECLS

/** Control packet types (MQTT 3.1.1 §2.2.1). */
enum mqtt_packet_type {
    MQTT_PACKET_CONNECT = 1,
    MQTT_PACKET_CONNACK = 2,
    MQTT_PACKET_PUBLISH = 3,
    MQTT_PACKET_PUBACK = 4,
    MQTT_PACKET_PUBREC = 5,
    MQTT_PACKET_PUBREL = 6,
    MQTT_PACKET_PUBCOMP = 7,
    MQTT_PACKET_SUBSCRIBE = 8,
    MQTT_PACKET_SUBACK = 9,
    MQTT_PACKET_UNSUBSCRIBE = 10,
    MQTT_PACKET_UNSUBACK = 11,
    MQTT_PACKET_PINGREQ = 12,
    MQTT_PACKET_PINGRESP = 13,
    MQTT_PACKET_DISCONNECT = 14
};

/** Protocol versions as they stand in CONNECT. */
enum { MQTT_VERSION_311 = 4, MQTT_VERSION_50 = 5 };

enum {
    MQTT_CONNACK_MAX_RETURN_CODE = 15, /**< greatest return code of a CONNACK */
    MQTT_PACKET_MAX_ENTRIES = 16       /**< filters or return codes decoded from one packet */
};

/** CONNECT (§3.1). A flag is set by any value but 0. */
typedef struct mqtt_packet_connect {
    char client_id[24];          /**< 1 to 23 bytes, NUL-terminated */
    uint8_t will_flag;           /**< a will follows */
    uint32_t will_qos;           /**< its two low bits are sent, also without a will */
    uint8_t will_retain;         /**< sent as it stands, also without a will */
    const char *will_topic;      /**< read with will_flag: not empty; not checked further */
    const uint8_t *will_payload; /**< read with will_flag; null for an empty will message */
    uint32_t will_payload_len;   /**< in bytes, at most 65,535 */
    uint16_t keep_alive;         /**< in seconds, 0 for none */
    uint8_t has_username;        /**< a user name follows */
    const char *username;        /**< read with has_username: not empty */
    uint8_t has_password;        /**< a password follows */
    const char *password;        /**< read with has_password: not empty */
} mqtt_packet_connect;

/** CONNACK (§3.2). */
typedef struct mqtt_packet_connack {
    uint8_t session_present; /**< sent as 1 for any value but 0 */
    uint8_t return_code;     /**< 0 to MQTT_CONNACK_MAX_RETURN_CODE */
} mqtt_packet_connack;

/** PUBACK, PUBREC, PUBREL, PUBCOMP and UNSUBACK (§3.4 to §3.7, §3.11). */
typedef struct mqtt_packet_ack {
    uint16_t msg_id; /**< packet identifier */
} mqtt_packet_ack;

/** SUBSCRIBE (§3.8). */
typedef struct mqtt_packet_subscribe {
    uint16_t msg_id;      /**< packet identifier */
    const char **filters; /**< filter_count texts, none null, at most 64 bytes each */
    uint32_t *qos_list;   /**< filter_count requested QoS, of which the two low bits are sent */
    int32_t filter_count; /**< at least 1 to be sent */
} mqtt_packet_subscribe;

/** SUBACK (§3.9). */
typedef struct mqtt_packet_suback {
    uint16_t msg_id;        /**< packet identifier */
    uint32_t *return_codes; /**< code_count return codes, of which the low byte is sent */
    int32_t code_count;     /**< at least 1 to be sent */
} mqtt_packet_suback;

/** UNSUBSCRIBE (§3.10). */
typedef struct mqtt_packet_unsubscribe {
    uint16_t msg_id;      /**< packet identifier */
    const char **filters; /**< filter_count texts, none null, at most 64 bytes each */
    int32_t filter_count; /**< at least 1 to be sent */
} mqtt_packet_unsubscribe;

/**
 * One control packet: the fixed header, and the one variant that belongs to its type.
 *
 * A record made to be encoded points to its maker's texts and bytes, which the encoder reads during
 * the call and never releases. A decoded record owns what its variant points to; see
 * mqtt_packet_decode_v311() for how each variant is released.
 */
typedef struct mqtt_packet {
    uint32_t type; /**< MQTT_PACKET_* */
    uint8_t dup;   /**< DUP flag (§3.3.1.1) */
    uint32_t qos; /**< QoS bits of the fixed header, 0 to 3; 1 in a PUBREL, SUBSCRIBE or UNSUBSCRIBE
                       to be sent, whose flags are 0010 (§2.2.2) */
    uint8_t retain;           /**< RETAIN flag */
    uint32_t remaining_len;   /**< in bytes; filled by the decoder, ignored by the encoder */
    uint8_t protocol_version; /**< 4 or 5; ignored by the encoder, 0 after decoding */
    union {
        mqtt_packet_connect connect;
        mqtt_packet_connack connack;
        mqtt_message
            publish; /**< its qos and retain are ignored by the encoder: the header decides */
        mqtt_packet_ack ack; /**< PUBACK, PUBREC, PUBREL, PUBCOMP and UNSUBACK */
        mqtt_packet_subscribe subscribe;
        mqtt_packet_suback suback;
        mqtt_packet_unsubscribe unsubscribe;
    } body; /**< nothing for PINGREQ, PINGRESP and DISCONNECT */
} mqtt_packet;

ZEP_MQTT_END_DECLS

#endif
