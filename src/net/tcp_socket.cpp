#include <algorithm>
#include <cstring>

#include <zep_mqtt/net/socket.h>

#include "log/log_lines.h"
#include "net/datagram_arguments.h"
#include "net/send_patience.h"
#include "net/system_socket.h"

namespace {

// Ends a send with its cause as the last error. A stream that has taken a part of a packet, or
// nothing for too long, may never be written to again.
int32_t give_up_send(int32_t sock, uint32_t sent) {
    const int32_t error = zep::socket_last_error();
    if (sent > 0 || error == zep::SOCKET_TIMED_OUT) {
        zep::socket_shutdown(sock);
    }
    LOG_ERROR("net_tcp_send_win32: 发送失败，错误码=%d", error);
    return -1;
}

// Where nobody listens, a socket whose own port happens to be the peer's connects to itself.
bool is_own_peer(int32_t sock, const zep::ipv4_endpoint &peer) {
    zep::ipv4_endpoint own{};
    return zep::socket_local_endpoint(sock, &own) && own.port == peer.port &&
           std::memcmp(own.address, peer.address, sizeof own.address) == 0;
}

bool connect_to_other(int32_t sock, const zep::ipv4_endpoint &peer) {
    if (!zep::socket_connect(sock, peer)) {
        return false;
    }
    if (is_own_peer(sock, peer)) {
        // The port belongs to the one who should listen on it.
        zep::socket_reset_on_close(sock);
        zep::socket_set_last_error(zep::SOCKET_REFUSED);
        return false;
    }
    return true;
}

}  // namespace

int32_t net_tcp_socket_create_win32(void) {
    const int32_t sock = zep::socket_open(zep::socket_kind::stream);
    if (sock == -1) {
        LOG_ERROR("net_tcp_socket_create_win32: 创建失败，错误码=%d", zep::socket_last_error());
    }
    return sock;
}

bool net_tcp_connect_win32(int32_t sock, const char *address, uint16_t port) {
    zep::ipv4_endpoint peer{{}, port};
    if (!zep::ipv4_parse(address, peer.address)) {
        LOG_ERROR("net_tcp_connect_win32: 无效IP(%s)", zep::shown(address));
        return false;
    }
    if (!connect_to_other(sock, peer)) {
        LOG_ERROR("net_tcp_connect_win32: 连接失败 %s:%u, 错误码=%d", address, port,
                  zep::socket_last_error());
        return false;
    }
    return true;
}

int32_t net_tcp_send_win32(int32_t sock, const uint8_t *data, uint32_t length) {
    if (length > INT32_MAX) {
        zep::socket_set_last_error(zep::SOCKET_TOO_LONG);
        return give_up_send(sock, 0);
    }
    zep::send_patience patience;
    uint32_t sent = 0;
    do {
        const int32_t taken = zep::socket_send(sock, data + sent, length - sent);
        if (taken >= 0) {
            sent += static_cast<uint32_t>(taken);
        } else if (!zep::socket_would_block(zep::socket_last_error()) ||
                   !patience.await_writable(sock)) {
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
    const int32_t ready = zep::socket_wait(sock, zep::readiness::readable, timeout_ms);
    if (ready <= 0) {
        return ready;
    }
    const int32_t got = zep::socket_read(sock, buffer, std::min<uint32_t>(size, INT32_MAX));
    if (got == -1) {
        const int32_t error = zep::socket_last_error();
        if (zep::socket_would_block(error)) {
            return 0;
        }
        LOG_ERROR("net_tcp_recv_win32: 读取失败，错误码=%d", error);
    }
    return got;
}
