/**
 * @file
 * The public interface of zep_mqtt_sdk: all that an application needs.
 *
 * An application creates one handle per broker connection, connects, and then calls
 * zep_mqtt_sdk_client_loop() again and again for every handle. Everything that a client does
 * (receiving, acknowledging, keep-alive, retransmission, reconnection) happens inside those calls,
 * and every callback comes from inside them: the library runs no protocol thread.
 *
 * Threads: one handle belongs to one thread at a time. Different handles may be driven, created and
 * destroyed by different threads at the same time. A publish, subscribe, unsubscribe or loop call
 * that overlaps with another one on the same handle is refused, which includes calls made from
 * inside its callbacks.
 *
 * zep_mqtt_sdk_event.h has the event-driven interface: handles that never wait, for event loops and
 * gateways.
 *
 * The public interface is these two headers with those that this one includes from zep_mqtt/: the
 * broker's answers (client/response.h), the log (log/log.h), the version (version.h) and the
 * linkage (export.h). All other headers there declare the floors below (client core, QoS engine,
 * codecs, network, platform), which the library exports as well, for who tests, measures or extends
 * a system with them. Most applications have no need of them.
 */
#ifndef ZEP_MQTT_SDK_H
#define ZEP_MQTT_SDK_H

#include <stdint.h>

#include "zep_mqtt/client/response.h"
#include "zep_mqtt/export.h"
#include "zep_mqtt/log/log.h"
#include "zep_mqtt/version.h"

ZEP_MQTT_BEGIN_DECLS

/** Results of connect, publish, subscribe, unsubscribe and loop. */
enum zep_mqtt_sdk_result {
    ZEP_MQTT_SDK_OK = 0,
    ZEP_MQTT_SDK_ERR_PARAM = -1,         /**< an argument is null, out of range or malformed */
    ZEP_MQTT_SDK_ERR_NO_MEMORY = -2,     /**< an allocation failed */
    ZEP_MQTT_SDK_ERR_NOT_CONNECTED = -3, /**< no loop call has seen the client connected */
    ZEP_MQTT_SDK_ERR_CONNECT = -4,       /**< the connection was refused or is not a 5.0 one */
    ZEP_MQTT_SDK_ERR_PACKET = -5,        /**< topic and payload exceed the limit of a publish */
    ZEP_MQTT_SDK_ERR_CACHE = -6,         /**< a QoS cache or the subscription store is full, or
                                              does not hold what was named */
    ZEP_MQTT_SDK_ERR_PACKET_ID = -7,     /**< all 128 packet identifiers are in use */
    ZEP_MQTT_SDK_ERR_BUSY = -8,          /**< reserved; an overlapping call gives UNKNOWN */
    ZEP_MQTT_SDK_ERR_CREATE = -9,        /**< reserved */
    ZEP_MQTT_SDK_ERR_TIMEOUT = -10,      /**< reserved */
    ZEP_MQTT_SDK_ERR_UNKNOWN = -99       /**< overlapping call, network or cipher failure, and what
                                              has no code of its own; the log tells */
};

/** Values of zep_mqtt_sdk_config.mqtt_ver; any other value means 3.1.1. */
enum { ZEP_MQTT_SDK_VERSION_311 = 0, ZEP_MQTT_SDK_VERSION_50 = 1 };

/** Results of zep_mqtt_sdk_client_get_conn_state(). */
enum zep_mqtt_sdk_conn_state {
    ZEP_MQTT_SDK_DISCONNECTED = 0,
    ZEP_MQTT_SDK_CONNECTING = 1, /**< CONNECT sent, CONNACK awaited for at most 3000 ms */
    ZEP_MQTT_SDK_CONNECTED = 2
};

/**
 * How to connect. The application owns the record and everything it points to; both are read only
 * during zep_mqtt_sdk_client_create().
 */
typedef struct zep_mqtt_sdk_config {
    const char *client_id;     /**< required, 1 to 23 bytes (MQTT 3.1.1 §3.1.3.1); a longer one is
                                    cut, which a WARN line says */
    const char *broker_host;   /**< required, dotted IPv4 address; names are not resolved */
    uint16_t broker_port;      /**< required, not 0 */
    uint8_t clean_start;       /**< 1 asks for a new session. 3.1.1 connections always do, and so
                                    does every automatic reconnection */
    uint32_t keep_alive;       /**< seconds, low 16 bits used; above 120 becomes 120, which a WARN
                                    line says; 0 sends no PINGREQ */
    const char *username;      /**< null or at most 64 bytes */
    const char *password;      /**< null or at most 64 bytes */
    uint8_t crypto_enable;     /**< 1 turns the payload cipher on */
    const uint8_t *crypto_key; /**< 16 bytes, or null for zeros */
    const uint8_t *crypto_iv;  /**< 16 bytes, or null for zeros; both or neither */
    uint8_t will_flag;         /**< 1 configures a will (MQTT 3.1.1 §3.1.2.5) */
    const char *will_topic;    /**< 1 to 63 bytes */
    const uint8_t *will_payload;      /**< will payload */
    uint32_t will_payload_len;        /**< 1 to 255 bytes */
    uint32_t will_qos;                /**< 0 to 2 */
    uint8_t will_retain;              /**< not 0: the will is retained */
    uint32_t reconnect_interval_ms;   /**< least time from the end of one automatic attempt to
                                           reconnect, of any client of the process, to the next.
                                           Clients that wait take turns. With 0 a client tries in
                                           every pass and leaves the others no turn */
    uint32_t reserved6;               /**< carried, not read */
    uint32_t mqtt_ver;                /**< ZEP_MQTT_SDK_VERSION_*, not a number of the protocol:
                                           5 means 3.1.1 */
    uint32_t reserved7;               /**< carried, not read */
    uint32_t session_expiry_interval; /**< 5.0 Session Expiry Interval in seconds (§3.1.2.11.2),
                                           sent when clean_start is 0 */
    uint32_t v50_max_pkt_size; /**< 5.0 Maximum Packet Size in bytes for CONNECT (0 means 1028, more
                                    is cut to 1028), and the limit of a 5.0 publish */
    const char *share_group;   /**< null, or the shared-subscription group of 5.0 subscribe calls
                                    that give none; copied */
} zep_mqtt_sdk_config;

/** An application message, to be published or delivered. */
typedef struct zep_mqtt_sdk_msg {
    const char *topic;      /**< topic name, 1 to 64 bytes, at most 16 levels, no wildcards */
    const uint8_t *payload; /**< payload */
    uint32_t payload_len; /**< bytes, at least 1 for a publish. Topic and payload together: at most
                               1017 on 3.1.1, 960 on 5.0; with the cipher 2 less */
    uint32_t qos;         /**< 0, 1 or 2 */
    uint8_t retain;       /**< RETAIN flag */
    uint32_t ttl; /**< 5.0 Message Expiry Interval in seconds, 0 for none. Repetitions do not
                       carry it. 0 on delivery */
} zep_mqtt_sdk_msg;

/** A client. Opaque. */
typedef struct zep_mqtt_sdk_client zep_mqtt_sdk_client;

/**
 * Receives inbound messages. The record and what it points to are valid until the callback returns
 * or disconnects. A SUBACK or UNSUBACK arrives as a message with an empty topic; a SUBACK has a
 * payload of one byte, the granted QoS. Of a refusal it holds the two low bits: 0 for the 0x80 of
 * 3.1.1, 3 for a 0x87 of 5.0.
 *
 * A topic is cut at U+0000, and 5.0 admits an empty one: such a message looks like the answer to a
 * subscription. A 5.0 message whose properties run past the end of its packet is delivered with all
 * that follows its topic and identifier as payload. A message with a topic above 64 bytes, or in a
 * packet of more than 1,028 bytes (3.1.1: 1,024 behind the fixed header), is passed over and not
 * acknowledged. At QoS 1 and 2 the broker counts it as unacknowledged until the connection ends:
 * after 20 of them, by default, mosquitto sends nothing more at these levels.
 *
 * Called from inside the loop. Publish, subscribe, unsubscribe and loop of the same client are
 * refused while it runs; disconnecting is allowed, destroying the client is not.
 */
typedef void (*zep_mqtt_sdk_msg_cb)(const zep_mqtt_sdk_msg *msg);

/**
 * Receives broker responses and the loss of the link, under the same rules. A 5.0 PUBACK with a
 * failing reason code comes with success 1 and result -5. The reason codes of PUBREC and PUBCOMP
 * are not looked at: a message that the broker refused there is reported like any other.
 */
typedef mqtt_broker_resp_cb zep_mqtt_sdk_resp_cb;

/** 1 between global init and global deinit. */
extern ZEP_MQTT_API uint8_t g_mqtt_sdk_global_inited;
/** 1 once the banner has been written. */
extern ZEP_MQTT_API uint8_t g_banner_printed;

/**
 * The version of the library that the program runs with, which may be a later one than that of the
 * header it was compiled with. Any thread, at any time.
 *
 * @return a text such as "3.1.0"; the library's, never null
 */
ZEP_MQTT_API const char *zep_mqtt_sdk_version(void);

/** Marks the library as initialised; not required by the other functions. @return 0 */
ZEP_MQTT_API int32_t zep_mqtt_sdk_global_init(void);

/**
 * Ends the use of the library's shared network resources. Nothing happens without a global init.
 * TCP clients that still exist go on working; UDP reception is over for this process.
 */
ZEP_MQTT_API void zep_mqtt_sdk_global_deinit(void);

/**
 * Creates a client. It does not connect.
 *
 * @param config   see zep_mqtt_sdk_config
 * @param msg_cb   required
 * @param resp_cb  may be null
 * @return a handle, to be released with zep_mqtt_sdk_client_destroy(), or null: a required value is
 *         missing, user name or password is too long, the client identifier is not valid UTF-8, a
 *         part of the will is missing or exceeds its limits, or memory ran out. The log says which.
 */
ZEP_MQTT_API zep_mqtt_sdk_client *zep_mqtt_sdk_client_create(const zep_mqtt_sdk_config *config,
                                                             zep_mqtt_sdk_msg_cb msg_cb,
                                                             zep_mqtt_sdk_resp_cb resp_cb);

/**
 * Opens the network connection and sends CONNECT. Blocks until the system has made or refused the
 * TCP connection, about seven seconds when nobody answers; the CONNACK is awaited by the loop. 0
 * also when already connecting or connected.
 *
 * @retval ZEP_MQTT_SDK_ERR_PARAM    the handle is null, or the will topic has a wildcard (5.0)
 * @retval ZEP_MQTT_SDK_ERR_UNKNOWN  the broker could not be reached; the loop will try again
 */
ZEP_MQTT_API int32_t zep_mqtt_sdk_client_connect(zep_mqtt_sdk_client *client);

/**
 * Publishes one message. At QoS 1 and 2 a copy is kept and resent after 2, 4 and 8 seconds until
 * the broker has acknowledged it, and given up with a WARN line 16 seconds after that. On 5.0 the
 * copy is kept when there is room and memory for it, and that there was none is not reported: the
 * message has been sent once then.
 *
 * Repetition goes by the clock, also on a connection that stands: a broker that takes longer than
 * two seconds to acknowledge gets a QoS 1 message twice. A cache that is full drops the messages
 * that last went out more than five seconds ago; the log says how many, no callback says which. A
 * QoS 2 message whose exchange a reconnection cuts between PUBREC and PUBREL is reported as done,
 * but not delivered: the session is new, and the broker has forgotten it.
 *
 * @param msg  read during the call only
 * @retval ZEP_MQTT_SDK_ERR_PARAM          null or empty argument, QoS above 2, topic above 64
 * bytes; 3.1.1 at QoS 1 and 2: topic not a valid name. 5.0 leaves names to the broker
 * @retval ZEP_MQTT_SDK_ERR_NO_MEMORY      3.1.1: the copy could not be made; nothing was sent
 * @retval ZEP_MQTT_SDK_ERR_NOT_CONNECTED  not connected
 * @retval ZEP_MQTT_SDK_ERR_CONNECT        5.0: the connection is not a 5.0 one
 * @retval ZEP_MQTT_SDK_ERR_PACKET         topic, payload and 10 bytes exceed 1028 (5.0: the
 *                                         configured v50_max_pkt_size)
 * @retval ZEP_MQTT_SDK_ERR_CACHE          3.1.1: 100 QoS 1 or 50 QoS 2 messages are unacknowledged
 * @retval ZEP_MQTT_SDK_ERR_PACKET_ID      all identifiers are in use; those of QoS 2 messages that
 *                                         were given up are until the connection ends
 * @retval ZEP_MQTT_SDK_ERR_UNKNOWN        overlapping call, topic not a valid name (3.1.1 at QoS
 * 0), too long for one transmission, or it could not be encrypted or sent
 */
ZEP_MQTT_API int32_t zep_mqtt_sdk_client_publish(zep_mqtt_sdk_client *client,
                                                 const zep_mqtt_sdk_msg *msg);

/**
 * Subscribes to one topic filter.
 *
 * The process keeps a record of at most 16 filters. On 3.1.1 a filter that does not get into it has
 * been sent all the same and is reported; on 5.0 it is not reported.
 *
 * @param topic        filter, 1 to 64 bytes on the wire (MQTT 3.1.1 §4.7); recorded up to 63
 * @param qos          0 to 2
 * @param share_group  5.0: the group of a shared subscription (MQTT 5.0 §4.8.2); an empty text
 *                     forces a plain one; null takes the configured group, if any. At most 64
 *                     bytes (32 are sent), without "/", "+" or "#". 3.1.1: checked and ignored
 * @retval ZEP_MQTT_SDK_ERR_PARAM          null argument, QoS above 2, malformed group, filter empty
 *                                         or too long; or malformed, sent and not recorded
 * @retval ZEP_MQTT_SDK_ERR_NOT_CONNECTED  not connected
 * @retval ZEP_MQTT_SDK_ERR_CACHE          sent; the record was full
 * @retval ZEP_MQTT_SDK_ERR_PACKET_ID      all identifiers are in use
 * @retval ZEP_MQTT_SDK_ERR_UNKNOWN        overlapping call, filter not valid UTF-8, it could not be
 *                                         sent, or it was sent and the record refused it
 */
ZEP_MQTT_API int32_t zep_mqtt_sdk_client_subscribe(zep_mqtt_sdk_client *client, const char *topic,
                                                   uint32_t qos, const char *share_group);

/**
 * Unsubscribes from one topic filter. Arguments and results as for subscribe, but the group is only
 * checked and logged: a shared subscription is ended by its whole name, "$share/group/filter".
 * ZEP_MQTT_SDK_ERR_CACHE means that the process had no such subscription on record, the
 * UNSUBSCRIBE was sent all the same.
 */
ZEP_MQTT_API int32_t zep_mqtt_sdk_client_unsubscribe(zep_mqtt_sdk_client *client, const char *topic,
                                                     const char *share_group);

/**
 * Sends DISCONNECT and closes the network connection. The loop will reconnect; a client that is to
 * stay away is destroyed, or not looped.
 *
 * @return 0, or ZEP_MQTT_SDK_ERR_PARAM for a null handle
 */
ZEP_MQTT_API int32_t zep_mqtt_sdk_client_disconnect(zep_mqtt_sdk_client *client);

/** Disconnects and releases the client with everything it holds. Null is ignored. */
ZEP_MQTT_API void zep_mqtt_sdk_client_destroy(zep_mqtt_sdk_client *client);

/** @return ZEP_MQTT_SDK_DISCONNECTED, _CONNECTING or _CONNECTED; DISCONNECTED for a null handle */
ZEP_MQTT_API int32_t zep_mqtt_sdk_client_get_conn_state(const zep_mqtt_sdk_client *client);

/**
 * One pass: reconnects when that is due, reads and handles what has arrived (waiting at most 20 ms
 * for it), resends what is unacknowledged, keeps the connection alive. Call it as often as timers
 * and messages are to be resolved. A broker that has stopped reading can hold a pass up for 3
 * seconds, after which its connection is given up.
 *
 * The wait is made for each handle: with twenty quiet ones on a thread, each is served every 400
 * ms. While it is disconnected a pass does not wait, except for the system during an attempt to
 * reconnect; the application's loop needs a pause of its own then.
 *
 * @retval ZEP_MQTT_SDK_ERR_PARAM    the handle is null or being destroyed
 * @retval ZEP_MQTT_SDK_ERR_UNKNOWN  overlapping call
 */
ZEP_MQTT_API int32_t zep_mqtt_sdk_client_loop(zep_mqtt_sdk_client *client);

ZEP_MQTT_END_DECLS

#endif
