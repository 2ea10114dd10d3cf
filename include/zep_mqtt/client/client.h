/**
 * @file
 * The client object: everything that one MQTT connection needs.
 *
 * Threads: a client belongs to one thread at a time; different clients are independent. The busy
 * flag refuses a publish, subscribe, unsubscribe or loop call that overlaps with another one on the
 * same client. Create, connect, disconnect, destroy and the state read-out are not guarded.
 *
 * An exported floor below the public interface, which is zep_mqtt_sdk.h.
 */
#ifndef ZEP_MQTT_CLIENT_CLIENT_H
#define ZEP_MQTT_CLIENT_CLIENT_H

#include <stdint.h>

#include "../core/message.h"
#include "../crypto/payload_cipher.h"
#include "../export.h"
#include "../protocol/v311/packet.h"
#include "../protocol/v311/session.h"
#include "response.h"

ZEP_MQTT_BEGIN_DECLS

/** Connection states (mqtt_client.state). */
enum mqtt_client_state {
    MQTT_CLIENT_DISCONNECTED = 0,
    MQTT_CLIENT_CONNECTING = 1, /**< CONNECT sent, CONNACK awaited */
    MQTT_CLIENT_CONNECTED = 2
};

/** Which guarded operation runs (mqtt_client.op_type). */
enum mqtt_client_operation {
    MQTT_CLIENT_OP_NONE = 0,
    MQTT_CLIENT_OP_PUBLISH = 1,
    MQTT_CLIENT_OP_LOOP = 2,
    MQTT_CLIENT_OP_SUBSCRIBE = 3 /**< subscribe or unsubscribe */
};

enum {
    MQTT_CLIENT_NO_INSTANCE = 255,     /**< mqtt_client.net_index without a network instance */
    MQTT_CLIENT_TX_BUFFER_SIZE = 1024, /**< bytes */
    MQTT_CLIENT_RX_BUFFER_SIZE = 1028, /**< bytes. A 5.0 packet of that size is taken, a 3.1.1 one
                                            up to a Remaining Length of 1024; larger ones are
                                            passed over */
    MQTT_CLIENT_TOPIC_MAX = 64         /**< bytes of a topic or filter on the wire */
};

/** How a client connects. Copied whole at creation. */
typedef struct mqtt_client_config {
    char client_id[24];               /**< 1 to 23 bytes, NUL-terminated */
    char broker_host[64];             /**< dotted IPv4 address or "udp://" address, not empty */
    uint16_t broker_port;             /**< not 0 */
    uint32_t mqtt_version;            /**< 4 or 5; anything else becomes 4 at the next connect */
    uint8_t clean_start;              /**< set to 1 by every automatic reconnection */
    uint32_t reconnect_interval_ms;   /**< least time from the end of an automatic attempt of any
                                           client to the next one; 0: in every pass */
    uint32_t reserved1;               /**< carried, not read */
    uint16_t keep_alive;              /**< seconds, cut to 120 at creation; replaced by a 5.0
                                           broker's Server Keep Alive */
    char username[65];                /**< may be empty: none */
    char password[65];                /**< may be empty: none */
    uint8_t will_flag;                /**< 1: a will is configured */
    char will_topic[64];              /**< at most 63 bytes, NUL-terminated */
    uint8_t will_payload[256];        /**< will payload */
    uint32_t will_payload_len;        /**< bytes used in will_payload */
    uint32_t will_qos;                /**< 0 to 2 */
    uint8_t will_retain;              /**< will RETAIN flag */
    uint8_t crypto_enable;            /**< 1: payload cipher on */
    uint8_t crypto_key[16];           /**< cipher key */
    uint8_t crypto_iv[16];            /**< cipher initialisation vector */
    uint16_t topic_alias_max;         /**< 5.0 Topic Alias Maximum for CONNECT, 0 for none */
    uint32_t reserved3;               /**< carried, not read */
    uint32_t session_expiry_interval; /**< 5.0 Session Expiry Interval for CONNECT, seconds */
    uint32_t max_packet_size;         /**< 5.0 Maximum Packet Size for CONNECT, bytes */
    uint32_t reserved4;               /**< carried, not read */
    uint32_t reserved5;               /**< carried, not read */
} mqtt_client_config;

/**
 * Receives inbound messages and subscription acknowledgements.
 *
 * @param user_obj  as given at creation
 * @param msg       valid, with everything it points to, until the callback returns or disconnects
 */
typedef void (*mqtt_client_msg_cb)(void *user_obj, const mqtt_message *msg);

struct mqtt50_conn_info;

/** The client record. The client owns conn_info, the cipher context and the session. */
typedef struct mqtt_client {
    mqtt_client_config config; /**< copy of the creation configuration */
    mqtt_client_msg_cb msg_cb; /**< never null */
    char conn_host[64];        /**< broker_host of the last connect */
    uint16_t conn_port;        /**< broker_port of the last connect */
    uint8_t net_index;         /**< network instance, MQTT_CLIENT_NO_INSTANCE without one */
    mqtt_session session;      /**< identifiers and QoS caches */
    uint8_t alive;             /**< 1 from creation until destruction starts */
    uint32_t state;            /**< mqtt_client_state */
    uint32_t connect_tick_ms;  /**< tick of the last CONNECT; base of the CONNACK time-out */
    crypto_context crypto_ctx; /**< cipher context */
    crypto_context *crypto;    /**< crypto_ctx, or null while payloads travel in plain text */
    uint32_t reconnect_count;  /**< automatic attempts since the last accepted CONNACK */
    uint32_t last_activity_ms; /**< tick that the keep-alive interval counts from */
    uint32_t clean_tick;       /**< spaces the cache clean-up: +10 a loop pass, up to 500 */
    char rx_topic[65];         /**< topic of the message being delivered */
    uint8_t tx_buf[1024];      /**< packet under construction, or the payload being delivered */
    void *user_obj;            /**< first argument of msg_cb */
    uint32_t busy;             /**< 1 while a guarded operation runs */
    uint32_t op_type;          /**< mqtt_client_operation */
    uint32_t crypto_out_len;   /**< in/out length of the last cipher call */
    struct mqtt50_conn_info *conn_info; /**< 5.0 connection information, or null */
    mqtt_broker_resp_cb resp_cb;        /**< or null */

    void *inner; /**< private */
} mqtt_client;

/**
 * Creates a client. It does not connect.
 *
 * @param config   copied
 * @param msg_cb   required
 * @param resp_cb  may be null
 * @param user_obj owned by the caller
 * @return a client, to be released with mqtt_client_destroy(), or null: invalid configuration (the
 *         log says which value), or no memory
 */
ZEP_MQTT_API mqtt_client *mqtt_client_create(const mqtt_client_config *config,
                                             mqtt_client_msg_cb msg_cb, mqtt_broker_resp_cb resp_cb,
                                             void *user_obj);

/**
 * Opens a network instance and sends CONNECT (MQTT 3.1.1 §3.1); the loop handles the CONNACK.
 * Blocks until the system has made or refused the TCP connection, about seven seconds when nobody
 * answers.
 *
 * @retval 0     CONNECT sent, or the client is connecting or connected already
 * @retval -101  (MQTT_ERR_INVALID_PARAM) client is null, or the configured will is malformed (5.0)
 * @retval -116  (MQTT_ERR_INTERNAL) no connection, or CONNECT could not be sent
 * @return otherwise the encoder's code; after every failure no instance is held
 */
ZEP_MQTT_API int32_t mqtt_client_connect(mqtt_client *client);

/** Disconnects and releases the client. Must not be called from a callback of this client. */
ZEP_MQTT_API void mqtt_client_destroy(mqtt_client *client);

/** @return mqtt_client_state; MQTT_CLIENT_DISCONNECTED for null */
ZEP_MQTT_API uint32_t mqtt_client_get_connect_state(const mqtt_client *client);

/**
 * Encodes a packet for the version that the connection speaks: the negotiated one, before that and
 * for CONNECT the configured one.
 *
 * @param packet  its protocol_version is filled in
 * @param len     in: capacity of buf in bytes; out: packet length
 * @retval 0     done
 * @retval -101  (MQTT_ERR_INVALID_PARAM) null argument, or a field that cannot be encoded
 * @return otherwise as mqtt_packet_encode()
 */
ZEP_MQTT_API int32_t mqtt_client_encode_packet(mqtt_client *client, mqtt_packet *packet,
                                               uint8_t *buf, uint32_t *len);

ZEP_MQTT_END_DECLS

#endif
