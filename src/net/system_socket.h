// What the network layers need of the system beyond the exported socket operations. Each backend
// implements it.
#pragma once

#include <cstdint>
#include <span>

#include <zep_mqtt/net/eth.h>

namespace zep {

// The system's error code of the calling thread's last failed operation.
int32_t socket_last_error();
bool socket_would_block(int32_t error);
bool socket_timed_out(int32_t error);

enum class socket_kind { none, stream, datagram };

// none: the handle is closed, or no socket.
socket_kind socket_kind_of(int32_t sock);

// False when the system does not tell.
bool socket_local_port(int32_t sock, uint16_t *out_port);

struct watched_socket {
    int32_t sock;
    bool ready;  // readable, failed or closed
};

// Waits until one of at most ETH_SOCKET_SET_MAX sockets is ready. The count of ready ones, 0 when
// the time has passed, -1 when the wait failed.
int32_t socket_wait_any(std::span<watched_socket> sockets, uint32_t timeout_ms);

// platform_udp_recvfrom_win32() without the wait: -1 with the would-block error when nothing waits.
int32_t socket_read_datagram(int32_t sock, uint8_t *buffer, uint32_t size, char *out_address,
                             uint16_t *out_port);

// True when the peer has closed the connection and everything was read, or the connection is
// broken. Neither waits nor takes a byte.
bool socket_peer_closed(int32_t sock);

// How long sent bytes may stay unacknowledged before the system breaks the connection; 0 for the
// system's default. With long round trips it may take longer, because the system repeats the bytes
// before; how long these are is looked up at the time of the call.
void socket_set_unacked_timeout(int32_t sock, uint32_t ms);

}  // namespace zep
