#include <algorithm>
#include <cerrno>
#include <netinet/tcp.h>

#include "net/posix/system_call.h"
#include "net/socket_address.h"
#include "net/system_socket.h"
#include "platform/posix/descriptor.h"

namespace zep {

namespace {

// Lets the system give up a connection that nobody answers after about seven seconds, not after the
// two minutes that are its custom.
constexpr int SYN_REPETITIONS = 2;

// An interrupted connect goes on in the background; the socket becomes writable when it has ended.
bool await_connected(int32_t sock) {
    pollfd fd{sock, POLLOUT, 0};
    if (retry_interrupted([&] { return poll(&fd, 1, -1); }) == -1) {
        return false;
    }
    int error = 0;
    if (!get_option(sock, SOL_SOCKET, SO_ERROR, &error)) {
        return false;
    }
    errno = error;
    return error == 0;
}

// What passes between data that is lost and its first retransmission: a retransmission time-out,
// and about another one before it for the probe of a lost tail. Less than half a second on most
// connections; six seconds on one whose first packet had to wait for the address of its neighbour.
uint32_t time_to_first_repeat_ms(int32_t sock) {
    tcp_info info = {};
    socklen_t size = sizeof info;
    const bool told = getsockopt(sock, IPPROTO_TCP, TCP_INFO, &info, &size) == 0;
    const uint32_t first_us = info.tcpi_rto >> info.tcpi_backoff;  // each repetition doubles it
    return told ? first_us / 1000 * 2 : 0;
}

}  // namespace

int32_t open_stream() {
    const int32_t sock = above_standard(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, IPPROTO_TCP));
    if (sock != -1) {
        (void)set_option(sock, IPPROTO_TCP, TCP_NODELAY, 1);
        (void)set_option(sock, IPPROTO_TCP, TCP_SYNCNT, SYN_REPETITIONS);
    }
    return sock;
}

bool socket_connect(int32_t sock, const ipv4_endpoint &peer) {
    const sockaddr_in address = address_of(peer);
    if (connect(sock, generic(&address), sizeof address) == 0) {
        return true;
    }
    return errno == EINTR && await_connected(sock);
}

int32_t socket_send(int32_t sock, const uint8_t *data, uint32_t length) {
    return static_cast<int32_t>(
        retry_interrupted([&] { return send(sock, data, length, MSG_DONTWAIT | MSG_NOSIGNAL); }));
}

int32_t socket_read(int32_t sock, uint8_t *buffer, uint32_t size) {
    return static_cast<int32_t>(
        retry_interrupted([&] { return recv(sock, buffer, size, MSG_DONTWAIT); }));
}

void socket_shutdown(int32_t sock) {
    (void)shutdown(sock, SHUT_RDWR);
}

bool socket_peer_closed(int32_t sock) {
    uint8_t byte;
    const ssize_t waiting =
        retry_interrupted([&] { return recv(sock, &byte, 1, MSG_PEEK | MSG_DONTWAIT); });
    return waiting == 0 || (waiting == -1 && !socket_would_block(errno));
}

void socket_set_unacked_timeout(int32_t sock, uint32_t ms) {
    if (ms != 0) {  // the system counts from the first retransmission
        const uint32_t uncounted_ms = time_to_first_repeat_ms(sock);
        ms = ms > uncounted_ms ? ms - uncounted_ms : 1;
    }
    (void)set_option(sock, IPPROTO_TCP, TCP_USER_TIMEOUT,
                     static_cast<int>(std::min<uint32_t>(ms, INT32_MAX)));
}

}  // namespace zep
