// What the network layers need of the system's sockets. Each backend implements it; none of these
// functions writes to the log, and each that fails sets socket_last_error().
#pragma once

#include <cstdint>
#include <span>

#include <zep_mqtt/net/eth.h>
#include <zep_mqtt/net/socket.h>

namespace zep {

// The system's error code of the calling thread's last failed operation.
int32_t socket_last_error();
void socket_set_last_error(int32_t error);
bool socket_would_block(int32_t error);
bool socket_timed_out(int32_t error);

// The system's codes for failures that the layers above find out themselves.
extern const int32_t SOCKET_TIMED_OUT;
extern const int32_t SOCKET_INVALID_ARGUMENT;
extern const int32_t SOCKET_TOO_LONG;
extern const int32_t SOCKET_REFUSED;

enum class socket_kind { none, stream, datagram };

// A new socket that child processes do not inherit; a stream sends small packets at once. -1 on
// failure.
int32_t socket_open(socket_kind kind);
void socket_close(int32_t sock);

// none: the handle is closed, or no socket.
socket_kind socket_kind_of(int32_t sock);

struct ipv4_endpoint {
    uint8_t address[4];  // network order
    uint16_t port;       // host order
};

// False when text is null or not dotted IPv4.
bool ipv4_parse(const char *text, uint8_t (&out_address)[4]);
// NET_IPV4_TEXT_SIZE characters.
void ipv4_format(const uint8_t (&address)[4], char *out_text);

bool socket_bind(int32_t sock, const ipv4_endpoint &local);
// False when the system does not tell.
bool socket_local_endpoint(int32_t sock, ipv4_endpoint *out_local);

// Blocks until the attempt has ended, about seven seconds when nobody answers.
bool socket_connect(int32_t sock, const ipv4_endpoint &peer);

enum class readiness { readable, writable };

// 1 when the socket is ready, broken, or at the end of its stream; 0 when the time has passed; -1
// when the wait failed or sock is no open socket.
int32_t socket_wait(int32_t sock, readiness what, uint32_t timeout_ms);

struct watched_socket {
    int32_t sock;
    bool ready;  // readable, failed or closed
};

// Waits until one of at most ETH_SOCKET_SET_MAX sockets is ready. The count of ready ones, 0 when
// the time has passed, -1 when the wait failed.
int32_t socket_wait_any(std::span<watched_socket> sockets, uint32_t timeout_ms);

// None of these waits: the count of bytes, or -1, with the would-block error when the system takes
// or has nothing now. Lengths are at most INT32_MAX. A read of 0 bytes is the end of the stream.
int32_t socket_send(int32_t sock, const uint8_t *data, uint32_t length);
int32_t socket_read(int32_t sock, uint8_t *buffer, uint32_t size);
int32_t socket_send_datagram(int32_t sock, const ipv4_endpoint &target, const uint8_t *data,
                             uint32_t length);
// A datagram longer than size is lost, and a failure.
int32_t socket_take_datagram(int32_t sock, uint8_t *buffer, uint32_t size,
                             ipv4_endpoint *out_source);

// platform_udp_recvfrom_win32() without the wait: -1 with the would-block error when nothing waits.
int32_t socket_read_datagram(int32_t sock, uint8_t *buffer, uint32_t size, char *out_address,
                             uint16_t *out_port);

// Closing a stream will leave its port to others at once, and reset the connection.
void socket_reset_on_close(int32_t sock);

// Ends a stream in both directions.
void socket_shutdown(int32_t sock);

// True when the peer has closed the connection and everything was read, or the connection is
// broken. Neither waits nor takes a byte.
bool socket_peer_closed(int32_t sock);

// How long sent bytes may stay unacknowledged before the system breaks the connection; 0 for the
// system's default. With long round trips it may take longer, because the system repeats the bytes
// before; how long these are is looked up at the time of the call.
void socket_set_unacked_timeout(int32_t sock, uint32_t ms);

}  // namespace zep
