#include <zep_mqtt/net/eth.h>
#include <zep_mqtt/net/interface.h>
#include <zep_mqtt/net/net_status.h>
#include <zep_mqtt/net/socket.h>
#include <zep_mqtt/platform/socket_service.h>

#include "core/shared.h"
#include "log/log_lines.h"
#include "net/datagram_arguments.h"
#include "net/eth/eth_private.h"
#include "net/interface_private.h"

namespace {

bool eth_is_current() {
    return zep::net_layer_is_inited() && zep::shared(g_current_type).load() == NET_IFACE_ETH;
}

using transmit_fn = int32_t (*)(int32_t sock, const char *address, uint16_t port,
                                const uint8_t *data, uint32_t length);

int32_t transmit_on_stream(int32_t sock, const char *, uint16_t, const uint8_t *data,
                           uint32_t length) {
    return net_tcp_send_win32(sock, data, length);
}

// What sending on a stream and sending a datagram share: checks, lines and results.
int32_t send_checked(transmit_fn transmit, int32_t sock, const char *address, uint16_t port,
                     const uint8_t *data, uint32_t length) {
    constexpr char name[] = "net_interface_send_to";
    if (!zep::net_layer_is_inited() || address == nullptr || data == nullptr ||
        !zep::datagram_length_valid(length)) {
        LOG_ERROR("[%s] 发送失败：无效参数", name);
        return NET_ERR_INVALID_PARAM;
    }
    if (transmit(sock, address, port, data, length) <= 0) {
        LOG_ERROR("[%s] 发送失败", name);
        return NET_ERR_IO;
    }
    LOG_DEBUG("[%s] 发送成功：%u字节 -> %s:%d", name, length, address, port);
    return NET_OK;
}

}  // namespace

int32_t net_interface_create_tcp_socket(void) {
    if (!eth_is_current()) {
        LOG_ERROR("[%s] 创建失败：未初始化或非ETH模式", __func__);
        return -1;
    }
    const int32_t sock = net_tcp_socket_create_win32();
    if (sock == -1) {
        LOG_ERROR("[%s] 创建TCP套接字失败", __func__);
        return -1;
    }
    // Marked before it is offered: the set leaves a TCP socket out.
    eth_set_mqtt_tcp_socket(sock);
    eth_socket_set_add(sock);
    LOG_DEBUG("[%s] 创建TCP套接字成功：%d", __func__, sock);
    return sock;
}

int32_t net_interface_create_udp_socket(void) {
    if (!eth_is_current()) {
        LOG_ERROR("[%s] 创建失败：未初始化或非ETH模式", __func__);
        return -1;
    }
    const int32_t sock = net_udp_socket_create();
    if (sock == -1) {
        LOG_ERROR("[%s] 创建UDP套接字失败", __func__);
        return -1;
    }
    eth_socket_set_add(sock);
    LOG_DEBUG("[%s] 创建UDP套接字成功：%d", __func__, sock);
    return sock;
}

int32_t net_interface_bind(int32_t sock, uint16_t port) {
    if (!eth_is_current() || sock == -1) {
        LOG_ERROR("[%s] 绑定失败：无效参数", __func__);
        return NET_ERR_INVALID_PARAM;
    }
    if (port != 0 && platform_check_port_in_use_win32(port) != 0) {
        LOG_ERROR("[%s] 端口被占用：%u", __func__, port);
        return NET_ERR_PORT_CONFLICT;
    }
    if (!net_udp_bind(sock, port)) {
        LOG_ERROR("[%s] 绑定失败：%d -> %u", __func__, sock, port);
        return NET_ERR_IO;
    }
    LOG_INFO("[%s] 绑定成功：%d -> %u", __func__, sock, port);
    return NET_OK;
}

int32_t net_interface_tcp_connect(int32_t sock, const char *address, uint16_t port) {
    if (!eth_is_current() || sock == -1 || address == nullptr) {
        LOG_ERROR("[%s] 连接失败：无效参数", __func__);
        return NET_ERR_INVALID_PARAM;
    }
    if (!net_tcp_connect_win32(sock, address, port)) {
        LOG_ERROR("[%s] TCP连接失败：%s:%d", __func__, address, port);
        return NET_ERR_IO;
    }
    LOG_INFO("[%s] TCP连接成功：%s:%d", __func__, address, port);
    return NET_OK;
}

int32_t net_interface_tcp_recv(int32_t sock, uint8_t *buffer, uint32_t size, uint32_t *out_length,
                               uint32_t timeout_ms) {
    if (out_length != nullptr) {
        *out_length = 0;
    }
    if (sock == -1 || buffer == nullptr || out_length == nullptr || size == 0) {
        LOG_ERROR("[%s] 参数无效", __func__);
        return NET_ERR_INVALID_PARAM;
    }
    const int32_t got = net_tcp_recv_win32(sock, buffer, size, timeout_ms);
    if (got < 0) {
        return NET_ERR_IO;
    }
    *out_length = static_cast<uint32_t>(got);
    return got == 0 ? NET_ERR_TIMEOUT : NET_OK;
}

int32_t net_interface_send_to(int32_t sock, const char *address, uint16_t port, const uint8_t *data,
                              uint32_t length) {
    return send_checked(transmit_on_stream, sock, address, port, data, length);
}

void net_interface_close(int32_t sock) {
    if (!eth_is_current() || sock == -1) {
        LOG_DEBUG("[%s] 关闭失败：无效参数", __func__);
        return;
    }
    zep::eth_close_socket(sock);
    LOG_INFO("[%s] 套接字已关闭：%d", __func__, sock);
}

namespace zep {

int32_t net_interface_send_datagram(int32_t sock, const char *address, uint16_t port,
                                    const uint8_t *data, uint32_t length) {
    return send_checked(net_udp_sendto_win32, sock, address, port, data, length);
}

}  // namespace zep
