/**
 * @file
 * The event-driven interface of zep_mqtt_sdk: handles that never make anybody wait.
 *
 * A handle made by zep_mqtt_sdk_client_open() is driven in one of three ways, which may be mixed:
 * - zep_mqtt_sdk_loop_all() waits on many handles at once, zep_mqtt_sdk_client_loop_for() on one;
 * - an event loop of the application's own asks for the socket, for what it waits for and for the
 *   milliseconds until the handle has something to do by itself, and calls
 *   zep_mqtt_sdk_client_loop_for() with a wait of 0 when one of them has come;
 * - a plain loop calls zep_mqtt_sdk_client_loop_for() with a wait of 0 whenever it likes.
 *
 * Every accepted message has exactly one fate, and the listener hears it. Messages are repeated on
 * a new connection and not by the clock (MQTT 3.1.1 and 5.0 §4.4). Whatever is longer than a limit
 * is refused with a code; nothing is cut.
 *
 * Records that the application fills begin with their size, `sizeof` the record, so that fields can
 * be added; a field of 0 or null means its default. Sizes are in bytes, times in milliseconds
 * unless a name says otherwise.
 *
 * Threads: one thread at a time drives a handle and hears its callbacks. Any thread may call send,
 * send_all, subscribe_to, unsubscribe_from, cancel, acknowledge, wake and the read-outs at any
 * time, also while the loop waits. Handles on different threads share no lock. A handle is
 * destroyed by the thread that serves it, or when nobody does.
 *
 * Callbacks come from inside the loop calls (and, when a handle is closed, from inside
 * zep_mqtt_sdk_client_destroy()). Inside of one, everything is allowed but to loop the same handle,
 * which is refused with ZEP_MQTT_SDK_ERR_BUSY: publishing, subscribing, disconnecting, destroying
 * this handle or another one. A callback must return to its caller: no exception, no longjmp.
 *
 * Stack: a loop call needs about 24 KiB.
 *
 * Part of the public interface, beside zep_mqtt_sdk.h, which it includes.
 */
#ifndef ZEP_MQTT_SDK_EVENT_H
#define ZEP_MQTT_SDK_EVENT_H

#include <stddef.h>
#include <stdint.h>

#include "zep_mqtt_sdk.h"

ZEP_MQTT_BEGIN_DECLS

/**
 * Names one accepted message or subscription request of a handle. Never 0, never used twice by one
 * handle.
 */
typedef uint64_t zep_mqtt_sdk_token;

/** What became of a message. */
enum zep_mqtt_sdk_fate {
    ZEP_MQTT_SDK_FATE_DELIVERED = 0, /**< QoS 0: the socket or the handle's outbound buffer took it;
                                          QoS 1 and 2: the broker has acknowledged it */
    ZEP_MQTT_SDK_FATE_REFUSED = 1, /**< the broker's PUBACK, PUBREC or PUBCOMP has a reason code of
                                        0x80 and above; or what it announced on a new connection
                                        (Maximum Packet Size, Maximum QoS, Retain Available)
                                        cannot carry the message any more */
    ZEP_MQTT_SDK_FATE_EXPIRED = 2, /**< its ttl had passed before it could be sent (again) */
    ZEP_MQTT_SDK_FATE_CANCELLED =
        3 /**< by zep_mqtt_sdk_client_cancel(), or the handle was closed */
};

/** What has happened to the connection. */
enum zep_mqtt_sdk_link {
    ZEP_MQTT_SDK_LINK_CONNECTED = 1, /**< the broker has accepted the connection */
    ZEP_MQTT_SDK_LINK_REFUSED =
        2,                        /**< the broker has answered, and refused: broker_code says why */
    ZEP_MQTT_SDK_LINK_FAILED = 3, /**< no connection came about: cause says why */
    ZEP_MQTT_SDK_LINK_LOST = 4    /**< an accepted connection has ended: cause says why */
};

/** Why a connection failed or was lost. */
enum zep_mqtt_sdk_cause {
    ZEP_MQTT_SDK_CAUSE_NONE = 0,
    ZEP_MQTT_SDK_CAUSE_TRANSPORT = 1, /**< the network said so; system_error has its number */
    ZEP_MQTT_SDK_CAUSE_CLOSED = 2,    /**< the broker closed the stream without a word */
    ZEP_MQTT_SDK_CAUSE_TIMEOUT = 3,   /**< connect_timeout_ms passed without a CONNACK */
    ZEP_MQTT_SDK_CAUSE_SILENCE = 4,   /**< a PINGREQ was not answered in pingresp_timeout_ms, or a
                                           packet did not become whole within 60 seconds */
    ZEP_MQTT_SDK_CAUSE_PROTOCOL = 5,  /**< the broker broke the protocol; broker_code has the reason
                                           code of the DISCONNECT that a 5.0 broker is sent */
    ZEP_MQTT_SDK_CAUSE_BROKER = 6,    /**< the broker sent DISCONNECT; broker_code has its reason */
    ZEP_MQTT_SDK_CAUSE_NO_MEMORY = 7  /**< an allocation failed that an inbound packet needed */
};

/** A change of the connection, valid during the callback. */
typedef struct zep_mqtt_sdk_link_event {
    uint32_t size;
    uint32_t link;        /**< ZEP_MQTT_SDK_LINK_* */
    uint32_t cause;       /**< ZEP_MQTT_SDK_CAUSE_*, for FAILED and LOST */
    int32_t system_error; /**< errno or its like, 0 when there is none */
    uint8_t broker_code;  /**< REFUSED: the CONNACK's return or reason code (MQTT 3.1.1 §3.2.2.3,
                               5.0 §3.2.2.2); LOST: see the causes */
    uint8_t session_present;  /**< CONNECTED: the broker has resumed the session. 0 after an earlier
                                   connection means that it is gone: what was unacknowledged is
                                   published again, and filters are subscribed again */
    uint8_t protocol_version; /**< 4 or 5 */
    uint8_t maximum_qos;      /**< CONNECTED: as announced by a 5.0 broker, otherwise 2 */
    uint8_t retain_available; /**< CONNECTED: as announced, otherwise 1 */
    uint8_t wildcard_available;     /**< CONNECTED: as announced, otherwise 1 */
    uint8_t shared_available;       /**< CONNECTED: as announced, otherwise 1 on 5.0, 0 on 3.1.1 */
    uint16_t keep_alive_s;          /**< CONNECTED: in force, the broker's if it named one */
    uint16_t receive_maximum;       /**< CONNECTED: as announced, otherwise 65535 */
    uint32_t maximum_packet_size;   /**< CONNECTED: as announced, otherwise 268435460 */
    uint32_t session_expiry_s;      /**< CONNECTED: as announced, otherwise as asked for */
    const char *assigned_client_id; /**< CONNECTED: or null */
    const char *reason;             /**< the broker's reason string, or null */
    const char *broker_address;     /**< the address that was tried */
    uint16_t broker_port;           /**< the port that was tried */
    uint32_t retry_ms;              /**< not CONNECTED: until the next attempt */
} zep_mqtt_sdk_link_event;

/** An inbound message, valid during the callback. */
typedef struct zep_mqtt_sdk_inbound {
    uint32_t size;
    const char *topic;      /**< NUL-terminated */
    uint32_t topic_len;     /**< at least 1 */
    const uint8_t *payload; /**< decrypted where the cipher is on; never null */
    uint32_t payload_len;   /**< may be 0 */
    uint8_t qos;            /**< 0, 1 or 2 */
    uint8_t retain;         /**< RETAIN flag */
    uint8_t dup;            /**< DUP flag */
    uint64_t receipt;       /**< for zep_mqtt_sdk_client_acknowledge(); 0 when there is nothing to
                                 acknowledge by hand */
} zep_mqtt_sdk_inbound;

/** Why a packet was passed over. */
enum zep_mqtt_sdk_passed_over {
    ZEP_MQTT_SDK_PASSED_TOO_LARGE = 1,     /**< above max_packet_in. Acknowledged, except when its
                                                topic alone fills the buffer: then unacknowledged */
    ZEP_MQTT_SDK_PASSED_UNDECIPHERABLE = 2 /**< the payload does not decrypt; acknowledged */
};

/** An inbound message that was not delivered, valid during the callback. */
typedef struct zep_mqtt_sdk_passed_event {
    uint32_t size;
    uint32_t why;         /**< ZEP_MQTT_SDK_PASSED_* */
    const char *topic;    /**< NUL-terminated; as far as it was read */
    uint32_t packet_size; /**< whole packet */
    uint16_t packet_id;   /**< 0 at QoS 0 */
    uint8_t qos;
} zep_mqtt_sdk_passed_event;

/** The fate of one message, valid during the callback. */
typedef struct zep_mqtt_sdk_fate_event {
    uint32_t size;
    zep_mqtt_sdk_token token;
    uint32_t fate;       /**< ZEP_MQTT_SDK_FATE_* */
    uint8_t broker_code; /**< reason code of the acknowledgement: REFUSED 0x80 and above; DELIVERED
                            0, or 0x10, no matching subscribers (5.0) */
} zep_mqtt_sdk_fate_event;

/** The answer to a subscribe or unsubscribe, valid during the callback. */
typedef struct zep_mqtt_sdk_subscription_event {
    uint32_t size;
    zep_mqtt_sdk_token token; /**< 0 when the handle subscribed again by itself */
    const char *filter;       /**< NUL-terminated */
    uint8_t unsubscribed;     /**< 1 for an UNSUBACK */
    uint8_t answered;         /**< 0: cancelled, or the handle was closed before an answer came */
    uint8_t broker_code; /**< granted QoS 0 to 2, or 0x80 and above: refused. UNSUBACK: 0 on 3.1.1,
                              the reason code on 5.0 */
} zep_mqtt_sdk_subscription_event;

/**
 * What an application hears. Copied when the handle is opened; every function may be null. `user`
 * is what was given to zep_mqtt_sdk_client_open().
 */
typedef struct zep_mqtt_sdk_listener {
    uint32_t size;
    void (*link)(zep_mqtt_sdk_client *client, void *user, const zep_mqtt_sdk_link_event *event);
    /** At QoS 1 and 2 the message is acknowledged when this has returned, unless manual. */
    void (*message)(zep_mqtt_sdk_client *client, void *user, const zep_mqtt_sdk_inbound *message);
    void (*fate)(zep_mqtt_sdk_client *client, void *user, const zep_mqtt_sdk_fate_event *event);
    void (*subscription)(zep_mqtt_sdk_client *client, void *user,
                         const zep_mqtt_sdk_subscription_event *event);
    void (*passed_over)(zep_mqtt_sdk_client *client, void *user,
                        const zep_mqtt_sdk_passed_event *event);
    /** After a send was refused with BUSY or CACHE: there is room again. */
    void (*room)(zep_mqtt_sdk_client *client, void *user);
    /** The lines that this handle also gives to agent_log(), at the log's level. The only callback
     *  that may come from any thread, and under the handle's lock: it must not call the handle. */
    void (*log)(zep_mqtt_sdk_client *client, void *user, uint32_t level, const char *text);
} zep_mqtt_sdk_listener;

/** A broker's address: dotted IPv4, or IPv6 without brackets. Names: zep_mqtt_sdk_resolve(). */
typedef struct zep_mqtt_sdk_address {
    char text[46]; /**< NUL-terminated */
    uint16_t port; /**< not 0 */
} zep_mqtt_sdk_address;

/** Bits of an interest. */
enum { ZEP_MQTT_SDK_READABLE = 1, ZEP_MQTT_SDK_WRITABLE = 2 };

/** Results of a transport's functions; what is above 0 is a number of bytes. */
enum {
    ZEP_MQTT_SDK_TRANSPORT_UP = 1,      /**< progress: bytes can be sent */
    ZEP_MQTT_SDK_TRANSPORT_AGAIN = 0,   /**< nothing now; ask again when the socket is ready */
    ZEP_MQTT_SDK_TRANSPORT_FAILED = -1, /**< broken */
    ZEP_MQTT_SDK_TRANSPORT_CLOSED = -2  /**< receive: the peer has closed, everything was read */
};

/**
 * How bytes travel: TCP unless an application puts in its own (TLS, for example). None of the
 * functions may wait. All but `error` are required.
 */
typedef struct zep_mqtt_sdk_transport {
    uint32_t size;
    void *user; /**< given to open */
    /** Begins a connection. @return the connection, or null */
    void *(*open)(void *user, const zep_mqtt_sdk_address *address);
    /** Goes on with a connection that is not up yet. @return UP, AGAIN or FAILED */
    int32_t (*progress)(void *connection);
    /** @return bytes taken, 1 to length; or AGAIN or FAILED */
    int32_t (*send)(void *connection, const uint8_t *data, uint32_t length);
    /** @return bytes received, 1 to capacity; or AGAIN, FAILED or CLOSED */
    int32_t (*receive)(void *connection, uint8_t *buffer, uint32_t capacity);
    /** @return the socket to wait on */
    int32_t (*socket)(void *connection);
    /** What to wait for: `wanted` is what the handle wants to do. Before the connection is up, what
     *  progress needs. @return ZEP_MQTT_SDK_READABLE and _WRITABLE bits */
    uint32_t (*interest)(void *connection, uint32_t wanted);
    /** @return the system's number of the last failure, 0 for none */
    int32_t (*error)(void *connection);
    /** Ends the connection, whatever its state, and releases it. */
    void (*close)(void *connection);
} zep_mqtt_sdk_transport;

/** The choices of a handle. All but `size` may be 0. Copied when the handle is opened. */
typedef struct zep_mqtt_sdk_options {
    uint32_t size;
    uint32_t first_backoff_ms; /**< longest wait before the first new attempt; 0: 1000. Each failed
                                    round of the addresses doubles it; the real wait is a random
                                    part of it */
    uint32_t longest_backoff_ms;  /**< 0: 60000 */
    uint32_t connect_timeout_ms;  /**< from the first packet to the CONNACK; 0: 10000 */
    uint32_t pingresp_timeout_ms; /**< 0: 10000 */
    uint32_t max_packet_in;       /**< 128 to 262144; 0: 4096. Larger packets are passed over, see
                                       zep_mqtt_sdk_passed_event; a 5.0 broker is told */
    uint32_t max_packet_out;      /**< 128 to 262144; 0: 4096 */
    uint32_t out_buffer;          /**< bytes that the socket has not taken yet: at least
                                       max_packet_out, at most 1048576; 0: twice max_packet_out.
                                       Acknowledgements have room beside it */
    uint16_t max_unacknowledged;  /**< QoS 1 and 2 messages without a fate, 1 to 128; 0: 128 */
    uint16_t qos2_window;   /**< QoS 2 messages under way at a time to a 3.1.1 broker, which has no
                                 way to announce what it takes; 0: 20. On 5.0 its Receive
                                 Maximum holds */
    uint8_t resume_session; /**< 1: a reconnection asks for the session it had. 3.1.1: Clean
                                 Session is 0 from the first connection on; 5.0: without a
                                 session_expiry_interval in the configuration, one hour */
    uint8_t no_resubscribe; /**< 1: filters are not subscribed again when a new connection finds
                                 no session */
    uint8_t manual_acknowledge;  /**< 1: messages are acknowledged by
                                      zep_mqtt_sdk_client_acknowledge() only */
    uint8_t accept_offline;      /**< 1: QoS 1 and 2 messages are accepted without a connection */
    uint32_t more_address_count; /**< at most 15 */
    const zep_mqtt_sdk_address *more_addresses; /**< brokers to be tried in turn after the
                                                     configuration's own */
    const zep_mqtt_sdk_transport *transport;    /**< null: TCP */
} zep_mqtt_sdk_options;

/**
 * Makes an event-driven handle. It does not connect: zep_mqtt_sdk_client_connect() begins that, and
 * keeps the handle connected until zep_mqtt_sdk_client_disconnect().
 *
 * Of the configuration, `reconnect_interval_ms` and `share_group` are not read; texts may have any
 * length that a CONNECT of `max_packet_out` bytes can carry; `client_id` may be empty where the
 * protocol allows it (a new session); `keep_alive` may be up to 65535 s; `will_payload_len` may be
 * 0; `broker_host` may be an IPv6 address; `v50_max_pkt_size` is not read (max_packet_in is
 * announced).
 *
 * @param config    required; copied
 * @param options   null for the defaults; copied
 * @param listener  null to hear nothing; copied
 * @param user      handed to the listener
 * @return a handle, to be released with zep_mqtt_sdk_client_destroy(); or null: a value is missing
 *         or out of range, CONNECT does not fit into max_packet_out, or memory ran out. The log
 * says which.
 */
ZEP_MQTT_API zep_mqtt_sdk_client *zep_mqtt_sdk_client_open(const zep_mqtt_sdk_config *config,
                                                           const zep_mqtt_sdk_options *options,
                                                           const zep_mqtt_sdk_listener *listener,
                                                           void *user);

/**
 * Serves a handle: connects, sends, receives, calls the listener, as far as that goes without
 * waiting; when there was nothing to do, waits for something first, at most wait_ms.
 *
 * @retval ZEP_MQTT_SDK_OK         served
 * @retval ZEP_MQTT_SDK_ERR_PARAM  the handle is null or not event-driven
 * @retval ZEP_MQTT_SDK_ERR_BUSY   the handle is being served: from inside a callback of its own, or
 *                                 by another thread
 */
ZEP_MQTT_API int32_t zep_mqtt_sdk_client_loop_for(zep_mqtt_sdk_client *client, uint32_t wait_ms);

/**
 * The same for many handles with one wait. Null entries are skipped; a handle that a callback
 * destroys is skipped from then on.
 *
 * @param clients  array of handles; not touched
 * @param count    at most 65536
 * @retval ZEP_MQTT_SDK_OK             served
 * @retval ZEP_MQTT_SDK_ERR_PARAM      clients is null and count is not 0, count is too large, or an
 *                                     entry is not event-driven; nothing was served
 * @retval ZEP_MQTT_SDK_ERR_NO_MEMORY  no memory for the wait; everything due was served
 * @retval ZEP_MQTT_SDK_ERR_BUSY       one of the handles is being served already, or is given
 *                                     twice; nothing was served
 */
ZEP_MQTT_API int32_t zep_mqtt_sdk_loop_all(zep_mqtt_sdk_client *const *clients, uint32_t count,
                                           uint32_t wait_ms);

/** @return the socket to wait on, -1 for none. It changes with every connection: ask after every
 *          loop call. */
ZEP_MQTT_API int32_t zep_mqtt_sdk_client_get_socket(const zep_mqtt_sdk_client *client);

/** @return what the socket is to be watched for: ZEP_MQTT_SDK_READABLE and _WRITABLE bits. Ask
 * after every loop call and every send. */
ZEP_MQTT_API uint32_t zep_mqtt_sdk_client_get_interest(const zep_mqtt_sdk_client *client);

/** @return milliseconds until the handle is to be served without its socket being ready; 0: now;
 *          UINT32_MAX: never */
ZEP_MQTT_API uint32_t zep_mqtt_sdk_client_get_due_ms(const zep_mqtt_sdk_client *client);

/**
 * Ends the wait of a loop call that serves this handle, or the next one when none waits. From any
 * thread; not from a signal handler.
 *
 * @retval ZEP_MQTT_SDK_OK         done
 * @retval ZEP_MQTT_SDK_ERR_PARAM  the handle is null or not event-driven
 */
ZEP_MQTT_API int32_t zep_mqtt_sdk_client_wake(zep_mqtt_sdk_client *client);

/**
 * Publishes a message. It leaves at once where the socket takes it.
 *
 * @param msg    read during the call only. The payload may be empty (a retained message is cleared
 * by that); `ttl` counts from now and, on 5.0, travels as Message Expiry Interval
 * @param token  receives the name of the message; may be null
 * @retval ZEP_MQTT_SDK_OK                 accepted; the listener will hear its fate
 * @retval ZEP_MQTT_SDK_ERR_PARAM          null argument, handle not event-driven, QoS above 2 or
 * above the broker's, RETAIN where the broker has none, topic not a valid name (MQTT 3.1.1 §4.7),
 * or a payload that the cipher cannot take
 * @retval ZEP_MQTT_SDK_ERR_PACKET         longer than max_packet_out or than the broker takes
 * @retval ZEP_MQTT_SDK_ERR_NOT_CONNECTED  no connection, and QoS 0 or not accept_offline
 * @retval ZEP_MQTT_SDK_ERR_BUSY           the outbound buffer has no room for it
 * @retval ZEP_MQTT_SDK_ERR_CACHE          max_unacknowledged messages are without a fate
 * @retval ZEP_MQTT_SDK_ERR_PACKET_ID      all identifiers are in use
 * @retval ZEP_MQTT_SDK_ERR_NO_MEMORY      no memory for the copy
 */
ZEP_MQTT_API int32_t zep_mqtt_sdk_client_send(zep_mqtt_sdk_client *client,
                                              const zep_mqtt_sdk_msg *msg,
                                              zep_mqtt_sdk_token *token);

/**
 * Publishes messages in order, in as few system calls as they fill buffers, until one is refused.
 *
 * @param tokens    receives the names of the accepted ones; null or room for count
 * @param accepted  receives how many were accepted; may be null
 * @return ZEP_MQTT_SDK_OK when all were, otherwise what zep_mqtt_sdk_client_send() gives for the
 * first that was not
 */
ZEP_MQTT_API int32_t zep_mqtt_sdk_client_send_all(zep_mqtt_sdk_client *client,
                                                  const zep_mqtt_sdk_msg *msgs, uint32_t count,
                                                  zep_mqtt_sdk_token *tokens, uint32_t *accepted);

/**
 * Asks for a subscription. It is made again on every connection that finds no session, unless
 * no_resubscribe; up to 64 filters are kept for that.
 *
 * @param filter  valid filter (MQTT 3.1.1 §4.7), on 5.0 also "$share/group/filter"
 * @param qos     0 to 2
 * @param token   receives the name of the request; may be null
 * @retval ZEP_MQTT_SDK_OK                 accepted; the listener will hear the answer
 * @retval ZEP_MQTT_SDK_ERR_PARAM          null argument, handle not event-driven, malformed filter,
 * QoS above 2, or what the broker has announced not to have
 * @retval ZEP_MQTT_SDK_ERR_PACKET         longer than max_packet_out or than the broker takes
 * @retval ZEP_MQTT_SDK_ERR_NOT_CONNECTED  no connection, and not accept_offline
 * @retval ZEP_MQTT_SDK_ERR_BUSY           the outbound buffer has no room for it
 * @retval ZEP_MQTT_SDK_ERR_CACHE          64 filters are kept or asked for already
 * @retval ZEP_MQTT_SDK_ERR_PACKET_ID      all identifiers are in use
 * @retval ZEP_MQTT_SDK_ERR_NO_MEMORY      no memory for the copy
 */
ZEP_MQTT_API int32_t zep_mqtt_sdk_client_subscribe_to(zep_mqtt_sdk_client *client,
                                                      const char *filter, uint32_t qos,
                                                      zep_mqtt_sdk_token *token);

/** Ends a subscription. Arguments and results as for zep_mqtt_sdk_client_subscribe_to(). */
ZEP_MQTT_API int32_t zep_mqtt_sdk_client_unsubscribe_from(zep_mqtt_sdk_client *client,
                                                          const char *filter,
                                                          zep_mqtt_sdk_token *token);

/**
 * Acknowledges a message of a handle with manual_acknowledge. Acknowledgements leave in the order
 * in which their messages arrived: one is held back until all earlier ones have been given.
 *
 * @retval ZEP_MQTT_SDK_OK         done; or there is nothing to do any more: the acknowledgement has
 *                                 left, or its connection has ended and the broker will send the
 *                                 message again
 * @retval ZEP_MQTT_SDK_ERR_PARAM  the handle is null or not event-driven, or the receipt is unknown
 * or was given already and waits for earlier ones
 */
ZEP_MQTT_API int32_t zep_mqtt_sdk_client_acknowledge(zep_mqtt_sdk_client *client, uint64_t receipt);

/**
 * Gives a message or a request up. What has not been sent yet is not sent; what has been is carried
 * to its end with the broker, silently. The listener hears ZEP_MQTT_SDK_FATE_CANCELLED (for a
 * request: not answered) with the next loop call.
 *
 * @retval ZEP_MQTT_SDK_OK         done
 * @retval ZEP_MQTT_SDK_ERR_PARAM  the handle is null or not event-driven
 * @retval ZEP_MQTT_SDK_ERR_CACHE  the token is unknown, or its fate is settled
 */
ZEP_MQTT_API int32_t zep_mqtt_sdk_client_cancel(zep_mqtt_sdk_client *client,
                                                zep_mqtt_sdk_token token);

/** @return a constant English text for a ZEP_MQTT_SDK_* result, never null */
ZEP_MQTT_API const char *zep_mqtt_sdk_result_text(int32_t result);

/**
 * Finds the addresses of a host. BLOCKS for as long as the system's resolver takes, which can be
 * many seconds: not for the thread that serves handles.
 *
 * @param host       name or address
 * @param port       put into every result; not 0
 * @param addresses  receives the addresses in the resolver's order
 * @param most       room in addresses
 * @return how many were found, 0 to most; or ZEP_MQTT_SDK_ERR_PARAM for a null argument or port 0
 */
ZEP_MQTT_API int32_t zep_mqtt_sdk_resolve(const char *host, uint16_t port,
                                          zep_mqtt_sdk_address *addresses, uint32_t most);

ZEP_MQTT_END_DECLS

#endif
