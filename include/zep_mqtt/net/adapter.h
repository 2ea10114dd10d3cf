/**
 * @file
 * The network adapter: a pool of 100 connection instances, the only network interface that the
 * client uses.
 *
 * An instance is a TCP connection, or a UDP endpoint fed by the process-wide receive queue. It is
 * named by its index, 0 to 99. The first open starts the network-interface layer, which all
 * instances share and which is never stopped by the adapter.
 *
 * Threads: different instances may be opened, used and closed by different threads at the same
 * time. One instance belongs to one thread at a time. The adapter takes no lock to send or
 * receive; a UDP receive takes that of the queue.
 *
 * An exported floor below the public interface, which is zep_mqtt_sdk.h.
 */
#ifndef ZEP_MQTT_NET_ADAPTER_H
#define ZEP_MQTT_NET_ADAPTER_H

#include <stdbool.h>
#include <stdint.h>

#include "../export.h"

ZEP_MQTT_BEGIN_DECLS

enum {
    NET_ADAPTER_INSTANCE_MAX = 100, /**< instances in the pool */
    NET_ADAPTER_ADDRESS_SIZE = 64   /**< characters of an address with its terminator */
};

/** Network types, decided by the address text; the first rule that fits wins. */
enum net_type {
    NET_TYPE_UDP = 1,        /**< contains "udp://" */
    NET_TYPE_TCP = 0,        /**< contains "." */
    NET_TYPE_COLON_ADDR = 2, /**< contains ":"; no socket, transfers nothing */
    NET_TYPE_DASH_ADDR = 3,  /**< contains "-"; no socket, transfers nothing */
    NET_TYPE_UNKNOWN = 4     /**< none of these; cannot be opened */
};

/**
 * One instance. Free when used and opened are 0; valid for transfer when both are 1 and sock is not
 * -1.
 */
typedef struct net_adapter_instance {
    char address[64];  /**< target address; of a UDP instance the text after "udp://" */
    uint16_t port;     /**< target port, host order */
    uint32_t net_type; /**< NET_TYPE_* */
    uint8_t index;     /**< the instance's own index */
    int32_t sock;      /**< socket, -1 for none */
    uint8_t opened;    /**< 1 from a successful open until close */
    uint8_t used;      /**< 1 from reservation until close or a failed open */
} net_adapter_instance;

/** The pool, all zero at start. */
extern ZEP_MQTT_API net_adapter_instance g_adapter_ctx[NET_ADAPTER_INSTANCE_MAX];

/** 1 once an open has started the network-interface layer; never cleared. */
extern ZEP_MQTT_API uint8_t g_net_inited;

/**
 * Opens an instance: connects a TCP socket, which blocks until the system has finished the attempt,
 * or binds a UDP socket to a port that the system chooses. The first open of the process starts the
 * network-interface layer; opens that come meanwhile wait for it.
 *
 * Instances of NET_TYPE_COLON_ADDR and NET_TYPE_DASH_ADDR hold no socket. Every transfer on them
 * fails, until net_adapter_close() gives their place in the pool back.
 *
 * @param address  at most 63 characters; TCP: dotted IPv4, names are not resolved; UDP: "udp://"
 *                 and a dotted IPv4 address
 * @param port     target port, 1 to 65535; only the low 16 bits are looked at
 * @return the index, 0 to 99; -1 on failure, which leaves no socket and no reserved instance
 */
ZEP_MQTT_API int32_t net_adapter_open(const char *address, uint32_t port);

/**
 * Sends a buffer, whole or not at all: on the connection of a TCP instance, or as one datagram to
 * the address and port of a UDP instance. Waits at most 3 s for the system to take it; a TCP stream
 * that did not take it in that time is dead, and every later send on it fails at once
 * (net_tcp_send_win32() in socket.h).
 *
 * @param length  in bytes, 1 to 1024
 * @retval 0   the system has taken everything
 * @retval -1  index not valid for transfer, null data, length out of range, or the send failed
 */
ZEP_MQTT_API int32_t net_adapter_send(uint8_t index, const uint8_t *data, uint32_t length);

/**
 * Receives what one read gives, waiting at most timeout_ms: some bytes of a TCP stream, which may
 * be less or more than a packet, or one datagram. A UDP instance takes the oldest datagram of the
 * process-wide queue, whichever socket it came in on.
 *
 * @param size        in bytes, at least 1; a longer datagram is lost
 * @param out_length  receives the count of bytes, 0 on every failure
 * @retval 0   bytes arrived
 * @retval -1  index not valid for transfer, a null pointer, size 0 or too small, or the read failed
 * @retval -2  nothing arrived in time, or the TCP peer has closed the connection
 */
ZEP_MQTT_API int32_t net_adapter_recv(uint8_t index, uint8_t *buffer, uint32_t size,
                                      uint32_t *out_length, uint32_t timeout_ms);

/** Closes an instance and frees it. That an instance has no open socket is reported. */
ZEP_MQTT_API void net_adapter_close(uint8_t index);

/** @return true when the instance is valid for transfer; otherwise the reason is logged. */
ZEP_MQTT_API bool net_adapter_check_index_valid(uint8_t index);

/** The adapter's hook of every client loop pass. Does nothing. */
ZEP_MQTT_API void net_adapter_loop(void);

/**
 * The adapter's part of the library-wide shutdown: net_interface_final_destroy(). TCP instances go
 * on working; receiving on a UDP instance fails from then on.
 */
ZEP_MQTT_API void net_adapter_global_deinit(void);

ZEP_MQTT_END_DECLS

#endif
