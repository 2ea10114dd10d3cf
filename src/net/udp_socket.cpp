#include <algorithm>

#include <zep_mqtt/net/socket.h>

#include "log/log_lines.h"
#include "net/datagram_arguments.h"
#include "net/send_patience.h"
#include "net/system_socket.h"

namespace {

// One datagram; waits only while the system's buffer is full.
int32_t send_datagram(int32_t sock, const zep::ipv4_endpoint &target, const uint8_t *data,
                      uint32_t length) {
    zep::send_patience patience;
    for (;;) {
        const int32_t sent = zep::socket_send_datagram(sock, target, data, length);
        if (sent != -1 || !zep::socket_would_block(zep::socket_last_error()) ||
            !patience.await_writable(sock)) {
            return sent;
        }
    }
}

}  // namespace

int32_t net_udp_socket_create_win32(void) {
    return zep::socket_open(zep::socket_kind::datagram);
}

bool net_udp_bind_win32(int32_t sock, uint16_t port) {
    return zep::socket_bind(sock, {{0, 0, 0, 0}, port});
}

int32_t net_udp_sendto_win32(int32_t sock, const char *address, uint16_t port, const uint8_t *data,
                             uint32_t length) {
    zep::ipv4_endpoint target{{}, port};
    if (!zep::ipv4_parse(address, target.address)) {
        LOG_ERROR("net_udp_sendto_win32: 无效IP地址（%s）", zep::shown(address));
        zep::socket_set_last_error(zep::SOCKET_INVALID_ARGUMENT);
        return -1;
    }
    if (length > INT32_MAX) {
        length = INT32_MAX;  // the system refuses this as well
    }
    const int32_t sent = send_datagram(sock, target, data, length);
    if (sent == -1) {
        const int32_t error = zep::socket_last_error();
        LOG_ERROR("net_udp_sendto_win32: sendto失败（IP=%s:%u, 错误码=%d）", address, port, error);
        zep::socket_set_last_error(error);
    }
    return sent;
}

int32_t platform_udp_recvfrom_win32(int32_t sock, uint8_t *buffer, uint32_t size, char *out_address,
                                    uint16_t *out_port, uint32_t timeout_ms) {
    const int32_t ready = zep::socket_wait(sock, zep::readiness::readable, timeout_ms);
    if (ready <= 0) {
        return ready;
    }
    return zep::socket_read_datagram(sock, buffer, size, out_address, out_port);
}

int32_t zep::socket_read_datagram(int32_t sock, uint8_t *buffer, uint32_t size, char *out_address,
                                  uint16_t *out_port) {
    ipv4_endpoint source{};
    const int32_t got =
        socket_take_datagram(sock, buffer, std::min<uint32_t>(size, INT32_MAX), &source);
    if (got == -1) {
        return -1;
    }
    if (out_address != nullptr) {
        ipv4_format(source.address, out_address);
    }
    if (out_port != nullptr) {
        *out_port = source.port;
    }
    return got;
}
