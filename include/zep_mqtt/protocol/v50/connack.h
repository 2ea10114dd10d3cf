/**
 * @file
 * The MQTT 5.0 CONNACK packet (MQTT 5.0 §3.2).
 *
 * An exported floor below the public interface, which is zep_mqtt_sdk.h.
 */
#ifndef ZEP_MQTT_PROTOCOL_V50_CONNACK_H
#define ZEP_MQTT_PROTOCOL_V50_CONNACK_H

#include <stdint.h>

#include "../../export.h"
#include "property.h"

ZEP_MQTT_BEGIN_DECLS

/** A CONNACK keeps at most so many properties. */
enum { MQTT50_CONNACK_PROPERTIES_MAX = 16 };

/** What a CONNACK said. A property that was absent leaves its field 0 or empty. */
typedef struct mqtt50_connack {
    uint8_t session_present; /**< 0 or 1 */
    uint8_t reason_code;     /**< 0x00, or 0x80 and above when the broker refused (§3.2.2.2) */
    uint32_t total_len;      /**< bytes of the whole packet */
    uint8_t prop_count;      /**< entries used in props */
    mqtt50_property props[MQTT50_CONNACK_PROPERTIES_MAX]; /**< in the order received, known and
                                                               unknown alike */
    uint32_t remaining_len;                               /**< bytes after the fixed header */
    uint32_t max_packet_size;                             /**< bytes */
    uint32_t session_expiry;                              /**< seconds */
    uint16_t receive_maximum;       /**< QoS 1 and 2 messages that the broker takes at a time */
    char assigned_client_id[24];    /**< empty as well when the broker's text is longer than 23
                                         bytes; props holds it whole then */
    uint16_t server_keep_alive;     /**< seconds */
    char reason_string[64];         /**< for people */
    char user_property[64];         /**< the first text of the last User Property read */
    uint8_t wildcard_sub_available; /**< as received */
    uint8_t sub_id_available;       /**< as received */
    uint8_t shared_sub_available;   /**< as received */
    uint8_t retain_available;       /**< as received */
    uint16_t topic_alias_max;       /**< highest topic alias that the broker takes */
} mqtt50_connack;

/**
 * Takes a CONNACK apart. A fault inside the properties never fails the call: reading ends there
 * with a warning, and what was read before it stays. A User Property is read as one text, so its
 * second text is taken for further properties.
 *
 * @param data     the packet from its first byte on; bytes after the packet are not looked at
 * @param length   bytes at data, at least 3
 * @param connack  cleared first; not to be used after a failure
 * @retval 0     done; a reason code of 0x80 and above is still a refused connection
 * @retval -80   (MQTT_ERR_CONNACK_MALFORMED) the remaining length is unreadable, above 1024 or
 *               beyond the input, or flags or reason code are missing
 * @retval -81   (MQTT_ERR_CONNACK_REASON_INVALID) the reason code lies in 0x01 to 0x7F
 * @retval -101  (MQTT_ERR_INVALID_PARAM) a pointer is null or length below 3
 * @retval -120  (MQTT_ERR_MALFORMED) the first byte is not 0x20
 *
 * Threads: any, one per record.
 */
ZEP_MQTT_API int32_t mqtt50_connack_decode(const uint8_t *data, uint32_t length,
                                           mqtt50_connack *connack);

/**
 * Lays out a CONNACK, for a broker's side. A property whose value is 0 is left out.
 *
 * @param session_present  not 0: the Session Present flag is set
 * @param reason_code      any
 * @param session_expiry   seconds
 * @param max_packet_size  bytes
 * @param receive_maximum  QoS 1 and 2 messages at a time
 * @param buffer           cleared whole before the packet is written; 18 bytes hold every packet
 * @param length           in: bytes in buffer, at least 6; out, on success only: the packet's
 * @retval 0     done
 * @retval -101  (MQTT_ERR_INVALID_PARAM) a pointer is null or the buffer has 5 bytes or fewer
 * @retval -114  (MQTT_ERR_BUFFER_FULL) this packet needs a larger buffer
 *
 * A refused argument writes nothing; a packet that does not fit leaves the buffer cleared. Threads:
 * any, one per buffer.
 */
ZEP_MQTT_API int32_t mqtt50_connack_encode(uint8_t session_present, uint8_t reason_code,
                                           uint32_t session_expiry, uint32_t max_packet_size,
                                           uint16_t receive_maximum, uint8_t *buffer,
                                           uint32_t *length);

ZEP_MQTT_END_DECLS

#endif
