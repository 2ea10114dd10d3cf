/**
 * @file
 * The ETH interface: a UDP socket on a port that the system chooses, and the receive thread, which
 * moves every datagram that arrives on a watched socket into the receive queue.
 *
 * Threads: eth_socket_set_init(), net_eth_win_init() and eth_destroy() are called by one thread
 * before or after all traffic, eth_destroy() never by the receive thread. Everything else may be
 * called from any thread.
 *
 * An exported floor below the public interface, which is zep_mqtt_sdk.h.
 */
#ifndef ZEP_MQTT_NET_ETH_H
#define ZEP_MQTT_NET_ETH_H

#include <stdint.h>

#include "../export.h"

ZEP_MQTT_BEGIN_DECLS

enum { ETH_SOCKET_SET_MAX = 64 /**< sockets watched by the receive thread */ };

/** The watched sockets, in insertion order, without duplicates. */
typedef struct eth_socket_set {
    uint32_t count;                    /**< sockets held */
    int32_t socks[ETH_SOCKET_SET_MAX]; /**< the first count are valid */
} eth_socket_set;

/** The interface's own UDP socket, -1 for none. */
extern ZEP_MQTT_API int32_t g_eth_socket;

/** The watched sockets; guarded by g_sock_set_mutex. */
extern ZEP_MQTT_API eth_socket_set g_eth_socks;

/** Highest handle in the set, -1 when it is empty; guarded by g_sock_set_mutex. */
extern ZEP_MQTT_API int32_t g_eth_max_sock;

/** Mutex over the set, from eth_socket_set_init() to eth_destroy(); null otherwise. */
extern ZEP_MQTT_API void *g_sock_set_mutex;

/** The TCP socket that was marked last, -1 for none; never watched. */
extern ZEP_MQTT_API int32_t g_tcp_mqtt_sock;

/** The receive thread runs while this is 1. */
extern ZEP_MQTT_API uint8_t g_thread_running;

/** The receive thread, or null. */
extern ZEP_MQTT_API void *g_interrupt_thread;

/**
 * Starts the interface: socket, receive thread, registration as NET_IFACE_ETH. The set must have
 * been made by eth_socket_set_init() for the thread to watch anything. A failure leaves no socket,
 * no thread and no registration behind.
 *
 * @retval 0   (NET_OK) started, or already started
 * @retval -3  (NET_ERR_IO) the socket could not be created or bound
 * @retval -6  (NET_ERR_INIT) the receive thread could not be started
 */
ZEP_MQTT_API int32_t net_eth_win_init(void);

/**
 * Stops the interface: closes its socket, ends the receive thread, destroys and empties the set.
 * Waits until the thread has ended; the thread looks at its flag at least every 100 ms.
 */
ZEP_MQTT_API void eth_destroy(void);

/**
 * Sends one datagram from the interface's own socket.
 *
 * @param address  dotted IPv4 text, 1 to 15 characters
 * @param port     1 to 65535
 * @param length   in bytes, 1 to 1024
 * @retval 0   (NET_OK) sent
 * @retval -1  (NET_ERR_INVALID_PARAM) an argument is null or out of range
 * @retval -3  (NET_ERR_IO) the interface is not started, the address does not parse, or the send
 *             failed
 */
ZEP_MQTT_API int32_t eth_send(const char *address, uint16_t port, const uint8_t *data,
                              uint32_t length);

/**
 * Receives one datagram on the interface's own socket, waiting at most 1000 ms. The receive thread
 * reads the same socket: a datagram goes to whichever reads first.
 *
 * @param size         in bytes, at least 1; a longer datagram is lost and reported as -3
 * @param out_length   receives the datagram's length
 * @param out_address  receives the source address, 16 characters
 * @param out_port     receives the source port, host order
 * @retval 0   (NET_OK) received
 * @retval -1  (NET_ERR_INVALID_PARAM) a null pointer, or size 0; the outputs are untouched
 * @retval -2  (NET_ERR_TIMEOUT) nothing arrived in time
 * @retval -3  (NET_ERR_IO) the interface is not started, or the read failed
 */
ZEP_MQTT_API int32_t eth_recv(uint8_t *buffer, uint32_t size, uint32_t *out_length,
                              char *out_address, uint16_t *out_port);

/** Creates the set's lock if it does not exist, and empties the set. */
ZEP_MQTT_API void eth_socket_set_init(void);

/**
 * Has a socket watched by the receive thread from its next pass on. -1, the marked TCP socket and
 * every other TCP socket are left out. A set of ETH_SOCKET_SET_MAX records no further socket, and
 * nothing tells.
 */
ZEP_MQTT_API void eth_socket_set_add(int32_t sock);

/**
 * Ends the watching of a socket. When the call returns, the receive thread does not read the socket
 * any more; a socket is removed before it is closed.
 */
ZEP_MQTT_API void eth_socket_set_remove(int32_t sock);

/** Marks the client's TCP socket; -1 clears the mark. */
ZEP_MQTT_API void eth_set_mqtt_tcp_socket(int32_t sock);

/**
 * The receive thread: until g_thread_running is 0 or a wait fails, reads one datagram of at most
 * 1024 bytes per readable socket and pass and offers it to the receive queue. A longer datagram is
 * discarded and reported.
 *
 * @param argument  ignored
 * @return 0
 */
ZEP_MQTT_API uint32_t eth_interrupt_thread_proc(void *argument);

ZEP_MQTT_END_DECLS

#endif
