/**
 * @file
 * The socket backend: IPv4 TCP and UDP operations, each of which logs its own failure.
 *
 * A socket is a signed 32-bit handle, -1 for none. Sockets are closed on exec. No operation raises
 * SIGPIPE, an interrupted system call goes on, and handles of any value may be waited for. Ports
 * are in host order. Addresses are dotted IPv4 text; names are not resolved.
 *
 * The suffix _win32 is part of the names on every platform; the names without it are the same
 * operations.
 *
 * Threads: any. One socket may be sent on by one thread and read by another at the same time.
 * Closing belongs to the socket's owner, when no other thread uses the socket any more.
 *
 * An exported floor below the public interface, which is zep_mqtt_sdk.h.
 */
#ifndef ZEP_MQTT_NET_SOCKET_H
#define ZEP_MQTT_NET_SOCKET_H

#include <stdbool.h>
#include <stdint.h>

#include "../export.h"

ZEP_MQTT_BEGIN_DECLS

/** Characters of a dotted IPv4 address with its terminator. */
enum { NET_IPV4_TEXT_SIZE = 16 };

/** The longest time in milliseconds that a send waits in all for the system to take its bytes. */
enum { NET_SEND_TIMEOUT_MS = 3000 };

/** Creates a TCP socket that sends small packets at once. @return the socket; -1 on failure. */
ZEP_MQTT_API int32_t net_tcp_socket_create_win32(void);

/**
 * Connects a TCP socket. Blocks until the system has finished the attempt, which takes about seven
 * seconds when nobody answers.
 *
 * @param address  dotted IPv4 text
 * @param port     1 to 65535
 * @return true when connected; false when address does not parse, the attempt failed, or the socket
 *         found nobody but itself
 */
ZEP_MQTT_API bool net_tcp_connect_win32(int32_t sock, const char *address, uint16_t port);

/**
 * Sends the whole buffer on a connected TCP socket, with one system call when the system takes it
 * at once.
 *
 * A peer that does not read can make the system take a part only, or nothing. The call then goes on
 * until everything is taken or NET_SEND_TIMEOUT_MS have passed in all. It never leaves half a
 * packet on a stream that is used further: when it gives up, and after any failure that follows a
 * part, the stream is shut down in both directions. Every later send on it fails at once, and the
 * reader sees its end.
 *
 * @param length  in bytes, at most 2,147,483,647
 * @return length; -1 on failure
 */
ZEP_MQTT_API int32_t net_tcp_send_win32(int32_t sock, const uint8_t *data, uint32_t length);

/**
 * Reads what is there, at most size bytes, waiting for the first byte at most timeout_ms.
 *
 * @param size        at least 1
 * @param timeout_ms  0 only looks; values above 2,147,483,647 count as that
 * @return the count of bytes; 0 when nothing arrived in time, and when the peer has closed the
 *         connection; -1 on an invalid argument, a failed wait or a failed read
 */
ZEP_MQTT_API int32_t net_tcp_recv_win32(int32_t sock, uint8_t *buffer, uint32_t size,
                                        uint32_t timeout_ms);

/** Creates a UDP socket. @return the socket; -1 on failure, which is not logged. */
ZEP_MQTT_API int32_t net_udp_socket_create_win32(void);
ZEP_MQTT_API int32_t net_udp_socket_create(void);

/**
 * Binds a socket to all local addresses.
 *
 * @param port  0 lets the system choose a free one
 * @return true when bound; a failure is not logged
 */
ZEP_MQTT_API bool net_udp_bind_win32(int32_t sock, uint16_t port);
ZEP_MQTT_API bool net_udp_bind(int32_t sock, uint16_t port);

/**
 * Sends one datagram. When the system's buffer is full the call waits at most NET_SEND_TIMEOUT_MS.
 *
 * @param length  in bytes; the system refuses more than 65,507
 * @return length; -1 when address does not parse or the send failed
 */
ZEP_MQTT_API int32_t net_udp_sendto_win32(int32_t sock, const char *address, uint16_t port,
                                          const uint8_t *data, uint32_t length);
ZEP_MQTT_API int32_t net_udp_sendto(int32_t sock, const char *address, uint16_t port,
                                    const uint8_t *data, uint32_t length);

/**
 * Reads one datagram, waiting for it at most timeout_ms. A datagram longer than size is a failure
 * (EMSGSIZE) and lost; it is never cut.
 *
 * @param out_address  receives the source address, NET_IPV4_TEXT_SIZE characters; may be null
 * @param out_port     receives the source port; may be null
 * @param timeout_ms   0 only looks; values above 2,147,483,647 count as that
 * @return the datagram's length; 0 when nothing arrived in time; -1 on failure, with the system's
 *         error code set and nothing logged
 */
ZEP_MQTT_API int32_t platform_udp_recvfrom_win32(int32_t sock, uint8_t *buffer, uint32_t size,
                                                 char *out_address, uint16_t *out_port,
                                                 uint32_t timeout_ms);

/** Closes a socket. -1 is ignored. The handle's value may be given to another socket at once. */
ZEP_MQTT_API void net_socket_close_win32(int32_t sock);
ZEP_MQTT_API void net_socket_close(int32_t sock);

ZEP_MQTT_END_DECLS

#endif
