/**
 * @file
 * The MQTT 5.0 CONNECT packet (MQTT 5.0 §3.1).
 *
 * An exported floor below the public interface, which is zep_mqtt_sdk.h.
 */
#ifndef ZEP_MQTT_PROTOCOL_V50_CONNECT_H
#define ZEP_MQTT_PROTOCOL_V50_CONNECT_H

#include <stdint.h>

#include "../../export.h"

ZEP_MQTT_BEGIN_DECLS

/** What a CONNECT says. Texts and bytes are the caller's memory, read during the call. */
typedef struct mqtt50_connect {
    uint8_t protocol_version;    /**< 5 */
    char client_id[24];          /**< NUL-terminated, 1 to 23 bytes */
    uint8_t clean_start;         /**< not 0: Clean Start; no session expiry is sent then */
    uint16_t keep_alive;         /**< seconds, 0 for none */
    uint32_t session_expiry;     /**< Session Expiry Interval in seconds, 0 for none */
    uint32_t max_packet_size;    /**< Maximum Packet Size in bytes, 0 for none */
    uint8_t has_username;        /**< not 0: username is sent */
    const char *username;        /**< NUL-terminated, 1 to 65535 bytes */
    uint8_t has_password;        /**< not 0: password is sent */
    const char *password;        /**< NUL-terminated, 1 to 65535 bytes */
    uint8_t will_flag;           /**< not 0: the will_ fields below are sent */
    const char *will_topic;      /**< NUL-terminated, 1 to 65535 bytes, without wildcards */
    const uint8_t *will_payload; /**< may be null when will_payload_len is 0 */
    uint32_t will_payload_len;   /**< 0 to 65535 bytes */
    uint32_t will_qos;           /**< 0, 1 or 2 */
    uint8_t will_retain;         /**< not 0: the will is published as retained */
    uint16_t topic_alias_max;    /**< Topic Alias Maximum, 0 for none */
} mqtt50_connect;

/**
 * Lays out a CONNECT.
 *
 * @param connect  read only; nothing of it lies in buffer
 * @param buffer   cleared whole before the packet is written
 * @param length   in: bytes in buffer, at least 512; out, on success only: bytes of the packet
 * @retval 0     done
 * @retval -101  (MQTT_ERR_INVALID_PARAM) a pointer is null, the buffer too small, the version not
 * 5, or user name, password or will not as stated above
 * @retval -114  (MQTT_ERR_BUFFER_FULL) this packet needs a larger buffer
 * @retval -119  (MQTT_ERR_CLIENT_ID_INVALID) the client identifier is empty or too long
 *
 * A refused argument writes nothing; a packet that does not fit leaves the buffer cleared. Threads:
 * any, one per buffer.
 */
ZEP_MQTT_API int32_t mqtt50_conn_encode(const mqtt50_connect *connect, uint8_t *buffer,
                                        uint32_t *length);

ZEP_MQTT_END_DECLS

#endif
