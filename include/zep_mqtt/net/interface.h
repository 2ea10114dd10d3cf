/**
 * @file
 * The network-interface layer: two interface types of which one is current, and the socket
 * operations of the adapter.
 *
 * Threads: init, deinit, register and set-current-type are called by one thread before or after
 * all traffic. The socket operations may be called from any thread, one thread per socket.
 *
 * An exported floor below the public interface, which is zep_mqtt_sdk.h.
 */
#ifndef ZEP_MQTT_NET_INTERFACE_H
#define ZEP_MQTT_NET_INTERFACE_H

#include <stdint.h>

#include "../export.h"

ZEP_MQTT_BEGIN_DECLS

/** Interface types. The socket operations of this layer work under NET_IFACE_ETH only. */
enum net_iface_type {
    NET_IFACE_ETH = 0, /**< IPv4 sockets with the UDP receive thread (eth.h) */
    NET_IFACE_ES = 1,  /**< reserved; transfers nothing (es.h) */
    NET_IFACE_TYPE_COUNT = 2
};

/** Sends one datagram; returns a network status. */
typedef int32_t (*net_iface_send_fn)(const char *address, uint16_t port, const uint8_t *data,
                                     uint32_t length);

/** Receives one datagram; out_address has 16 characters; returns a network status. */
typedef int32_t (*net_iface_recv_fn)(uint8_t *buffer, uint32_t size, uint32_t *out_length,
                                     char *out_address, uint16_t *out_port);

/** Releases the interface's resources. */
typedef void (*net_iface_destroy_fn)(void);

/** One interface. */
typedef struct net_iface {
    uint32_t type;                /**< NET_IFACE_* */
    net_iface_send_fn send;       /**< never null in a registered slot */
    net_iface_recv_fn recv;       /**< never null in a registered slot */
    net_iface_destroy_fn destroy; /**< may be null */
    uint16_t port;                /**< port that the interface claims, 0 for none */
} net_iface;

/** The table of interfaces, indexed by type. A slot is registered when send and recv are set. */
extern ZEP_MQTT_API net_iface g_registered_ifaces[NET_IFACE_TYPE_COUNT];

/** 1 between a successful net_interface_init() and net_interface_deinit(). */
extern ZEP_MQTT_API uint8_t g_is_inited;

/** The current type, NET_IFACE_*. */
extern ZEP_MQTT_API uint32_t g_current_type;

/** The current slot of g_registered_ifaces, or null. */
extern ZEP_MQTT_API net_iface *g_current_iface;

/**
 * Starts the layer: platform, receive queue, ETH interface with its receive thread. Type 0 becomes
 * current. A failure leaves nothing allocated.
 *
 * @retval 0   (NET_OK) started, or already started
 * @retval -3  (NET_ERR_IO) the ETH interface's socket could not be created or bound
 * @retval -6  (NET_ERR_INIT) the platform, the queue or the receive thread could not be started
 */
ZEP_MQTT_API int32_t net_interface_init(void);

/**
 * Stops the layer: destroys the current interface, drops what is queued, empties the table, stops
 * the platform. The queue's lock stays. Nothing happens when the layer is not started. The adapter
 * starts the layer once in a process: nothing opens through it afterwards.
 */
ZEP_MQTT_API void net_interface_deinit(void);

/**
 * Destroys the queue's lock. The layer still counts as started: the receive thread runs on and TCP
 * goes on working, but no datagram enters or leaves the queue any more.
 *
 * Threads: any, also while datagrams arrive.
 */
ZEP_MQTT_API void net_interface_final_destroy(void);

/**
 * Copies an interface into the slot of its type, replacing an earlier one. The layer need not be
 * started.
 *
 * @retval 0   (NET_OK) registered
 * @retval -1  (NET_ERR_INVALID_PARAM) null record or type above 1
 * @retval -8  (NET_ERR_NOT_REGISTERED) send or recv is null
 * @retval -9  (NET_ERR_PORT_CONFLICT) the port is not 0 and a registered slot, also that of the
 *             record's own type, claims it
 */
ZEP_MQTT_API int32_t net_interface_register(const net_iface *iface);

/**
 * Makes a type current. The interface of another type that was current is destroyed first: leaving
 * type 0 ends UDP reception.
 *
 * @retval 0   (NET_OK) current
 * @retval -1  (NET_ERR_INVALID_PARAM) layer not started or type above 1
 * @retval -8  (NET_ERR_NOT_REGISTERED) the slot is empty
 */
ZEP_MQTT_API int32_t net_interface_set_current_type(uint32_t type);

/**
 * Creates a TCP socket and marks it as the client's. The receive thread never reads it.
 *
 * @return the socket, owned by the caller until net_interface_close(); -1 when the layer is not
 *         started, the current type is not 0, or the system refuses
 */
ZEP_MQTT_API int32_t net_interface_create_tcp_socket(void);

/**
 * Creates a UDP socket that the receive thread reads from its next pass on.
 *
 * @return as above
 */
ZEP_MQTT_API int32_t net_interface_create_udp_socket(void);

/**
 * Binds a socket to all local IPv4 addresses.
 *
 * @param port  0 lets the system choose a free one
 * @retval 0   (NET_OK) bound
 * @retval -1  (NET_ERR_INVALID_PARAM) layer not started, current type not 0, or socket -1
 * @retval -3  (NET_ERR_IO) the system refused
 * @retval -9  (NET_ERR_PORT_CONFLICT) a UDP socket of the host uses the port
 */
ZEP_MQTT_API int32_t net_interface_bind(int32_t sock, uint16_t port);

/**
 * Connects a TCP socket; blocks until the system has finished the attempt.
 *
 * @param address  dotted IPv4 text
 * @retval 0   (NET_OK) connected
 * @retval -1  (NET_ERR_INVALID_PARAM) layer not started, current type not 0, socket -1 or null
 *             address
 * @retval -3  (NET_ERR_IO) the address does not parse, or the attempt failed
 */
ZEP_MQTT_API int32_t net_interface_tcp_connect(int32_t sock, const char *address, uint16_t port);

/**
 * Reads what is there, at most size bytes, waiting for the first byte at most timeout_ms.
 *
 * @param out_length  receives the count of bytes, 0 on every failure
 * @retval 0   (NET_OK) at least one byte was read
 * @retval -1  (NET_ERR_INVALID_PARAM) socket -1, a null pointer or size 0
 * @retval -2  (NET_ERR_TIMEOUT) nothing arrived in time, or the peer has closed the connection
 * @retval -3  (NET_ERR_IO) the wait or the read failed
 */
ZEP_MQTT_API int32_t net_interface_tcp_recv(int32_t sock, uint8_t *buffer, uint32_t size,
                                            uint32_t *out_length, uint32_t timeout_ms);

/**
 * Sends a buffer on the socket's connection, whole or not at all (net_tcp_send_win32() in
 * socket.h).
 *
 * @param address  for the log line only
 * @param port     for the log line only
 * @param length   in bytes, 1 to 1024
 * @retval 0   (NET_OK) the system has taken everything
 * @retval -1  (NET_ERR_INVALID_PARAM) layer not started, a null pointer, or length out of range
 * @retval -3  (NET_ERR_IO) the send failed
 */
ZEP_MQTT_API int32_t net_interface_send_to(int32_t sock, const char *address, uint16_t port,
                                           const uint8_t *data, uint32_t length);

/**
 * Ends the watching of a socket, closes it, and clears the client's mark when it is on this
 * socket. Nothing happens when the layer is not started, the current type is not 0, or the socket
 * is -1.
 */
ZEP_MQTT_API void net_interface_close(int32_t sock);

/**
 * Takes one datagram from the current interface and puts it into the receive queue. For interfaces
 * that signal arrivals instead of running a receive thread; the library does not call it.
 *
 * @param buffer  receives the datagram's bytes
 * @param size    in bytes, 1 to 1024
 * @retval -1  (NET_ERR_INVALID_PARAM) layer not started, no current interface, null buffer or size
 *             out of range
 * @return otherwise the failure of the interface's recv, or the result of net_interface_enqueue()
 */
ZEP_MQTT_API int32_t net_interface_on_interrupt(uint8_t *buffer, uint32_t size);

ZEP_MQTT_END_DECLS

#endif
