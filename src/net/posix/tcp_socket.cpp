#include <algorithm>
#include <cerrno>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <zep_mqtt/net/socket.h>

#include "log/log_lines.h"
#include "net/posix/ipv4_address.h"
#include "net/posix/send_patience.h"
#include "net/posix/system_call.h"
#include "net/system_socket.h"
#include "platform/posix/descriptor.h"

namespace {

// Lets the system give up a connection that nobody answers after about seven seconds, not after the
// two minutes that are its custom.
constexpr int SYN_REPETITIONS = 2;

// An interrupted connect goes on in the background; the socket becomes writable when it has ended.
bool await_connected(int32_t sock) {
    pollfd fd{sock, POLLOUT, 0};
    if (zep::retry_interrupted([&] { return poll(&fd, 1, -1); }) == -1) {
        return false;
    }
    int error = 0;
    socklen_t size = sizeof error;
    if (getsockopt(sock, SOL_SOCKET, SO_ERROR, &error, &size) == -1) {
        return false;
    }
    errno = error;
    return error == 0;
}

// Where nobody listens, a socket whose own port happens to be the peer's connects to itself.
bool is_own_peer(int32_t sock, const sockaddr_in &peer) {
    sockaddr_in own{};
    socklen_t size = sizeof own;
    return getsockname(sock, zep::generic(&own), &size) == 0 && own.sin_port == peer.sin_port &&
           own.sin_addr.s_addr == peer.sin_addr.s_addr;
}

bool connect_socket(int32_t sock, const sockaddr_in &peer) {
    const bool connected = connect(sock, zep::generic(&peer), sizeof peer) == 0 ||
                           (errno == EINTR && await_connected(sock));
    if (connected && is_own_peer(sock, peer)) {
        // Closed with a reset, it leaves the port at once to the one who should listen on it.
        const linger reset{1, 0};
        (void)setsockopt(sock, SOL_SOCKET, SO_LINGER, &reset, sizeof reset);
        errno = ECONNREFUSED;
        return false;
    }
    return connected;
}

// Ends a send with the cause in errno. A stream that has taken a part of a packet, or nothing for
// too long, may never be written to again.
int32_t give_up_send(int32_t sock, uint32_t sent) {
    const int error = errno;
    if (sent > 0 || error == ETIMEDOUT) {
        (void)shutdown(sock, SHUT_RDWR);
    }
    LOG_ERROR("net_tcp_send_win32: 发送失败，错误码=%d", error);
    return -1;
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

int32_t net_tcp_socket_create_win32(void) {
    const int32_t sock =
        zep::above_standard(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, IPPROTO_TCP));
    if (sock == -1) {
        LOG_ERROR("net_tcp_socket_create_win32: 创建失败，错误码=%d", errno);
        return -1;
    }
    const int on = 1;
    (void)setsockopt(sock, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    (void)setsockopt(sock, IPPROTO_TCP, TCP_SYNCNT, &SYN_REPETITIONS, sizeof SYN_REPETITIONS);
    return sock;
}

bool net_tcp_connect_win32(int32_t sock, const char *address, uint16_t port) {
    sockaddr_in peer;
    if (!zep::ipv4_address(address, port, &peer)) {
        LOG_ERROR("net_tcp_connect_win32: 无效IP(%s)", address == nullptr ? "(null)" : address);
        return false;
    }
    if (!connect_socket(sock, peer)) {
        LOG_ERROR("net_tcp_connect_win32: 连接失败 %s:%u, 错误码=%d", address, port, errno);
        return false;
    }
    return true;
}

int32_t net_tcp_send_win32(int32_t sock, const uint8_t *data, uint32_t length) {
    if (length > INT32_MAX) {
        errno = EMSGSIZE;
        return give_up_send(sock, 0);
    }
    zep::send_patience patience;
    uint32_t sent = 0;
    do {
        const ssize_t taken = zep::retry_interrupted(
            [&] { return send(sock, data + sent, length - sent, MSG_DONTWAIT | MSG_NOSIGNAL); });
        if (taken >= 0) {
            sent += static_cast<uint32_t>(taken);
        } else if (!zep::is_would_block(errno) || !patience.await_writable(sock)) {
            return give_up_send(sock, sent);
        }
    } while (sent < length);
    return static_cast<int32_t>(sent);
}

int32_t net_tcp_recv_win32(int32_t sock, uint8_t *buffer, uint32_t size, uint32_t timeout_ms) {
    if (buffer == nullptr || size == 0 || sock == -1) {
        LOG_ERROR("net_tcp_recv_win32: 无效参数");
        return -1;
    }
    const int ready = zep::poll_socket(sock, POLLIN, timeout_ms);
    if (ready <= 0) {
        return ready;
    }
    const size_t room = std::min<uint32_t>(size, INT32_MAX);
    const ssize_t got =
        zep::retry_interrupted([&] { return recv(sock, buffer, room, MSG_DONTWAIT); });
    if (got == -1 && zep::is_would_block(errno)) {
        return 0;
    }
    if (got == -1) {
        LOG_ERROR("net_tcp_recv_win32: 读取失败，错误码=%d", errno);
    }
    return static_cast<int32_t>(got);
}

namespace zep {

bool socket_peer_closed(int32_t sock) {
    uint8_t byte;
    const ssize_t waiting =
        retry_interrupted([&] { return recv(sock, &byte, 1, MSG_PEEK | MSG_DONTWAIT); });
    return waiting == 0 || (waiting == -1 && !is_would_block(errno));
}

void socket_set_unacked_timeout(int32_t sock, uint32_t ms) {
    if (ms != 0) {  // the system counts from the first retransmission
        const uint32_t uncounted_ms = time_to_first_repeat_ms(sock);
        ms = ms > uncounted_ms ? ms - uncounted_ms : 1;
    }
    const int value = static_cast<int>(std::min<uint32_t>(ms, INT32_MAX));
    (void)setsockopt(sock, IPPROTO_TCP, TCP_USER_TIMEOUT, &value, sizeof value);
}

}  // namespace zep
