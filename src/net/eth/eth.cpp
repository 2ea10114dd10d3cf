#include <zep_mqtt/net/eth.h>
#include <zep_mqtt/net/interface.h>
#include <zep_mqtt/net/net_status.h>
#include <zep_mqtt/net/socket.h>
#include <zep_mqtt/platform/thread.h>

#include "core/shared.h"
#include "log/log_lines.h"
#include "net/datagram_arguments.h"
#include "net/eth/eth_private.h"
#include "net/system_socket.h"

int32_t g_eth_socket = -1;
void *g_interrupt_thread = nullptr;

namespace {

constexpr uint32_t RECV_TIMEOUT_MS = 1000;

// Binds to a port that the system chooses; the port is shown when the system tells it.
bool bind_dynamic_port(int32_t sock) {
    constexpr char name[] = "eth_bind_dynamic_port";
    if (!net_udp_bind(sock, 0)) {
        LOG_ERROR("%s: 绑定动态端口失败（错误码：%d）", name, zep::socket_last_error());
        return false;
    }
    zep::ipv4_endpoint local{};
    if (zep::socket_local_endpoint(sock, &local)) {
        LOG_INFO("%s: 已绑定动态端口：%d", name, local.port);
    }
    return true;
}

bool start_receive_thread() {
    zep::shared(g_thread_running).store(1);
    g_interrupt_thread = platform_thread_create(eth_interrupt_thread_proc, nullptr);
    return g_interrupt_thread != nullptr;
}

void stop_receive_thread() {
    zep::shared(g_thread_running).store(0);
    if (g_interrupt_thread != nullptr) {
        platform_thread_join(g_interrupt_thread);
        g_interrupt_thread = nullptr;
        LOG_INFO("eth_destroy: ETH 接收线程已销毁");
    }
}

int32_t register_eth() {
    const net_iface iface{NET_IFACE_ETH, eth_send, eth_recv, eth_destroy, 0};
    return net_interface_register(&iface);
}

}  // namespace

int32_t net_eth_win_init(void) {
    if (g_eth_socket != -1) {
        LOG_INFO("%s: ETH 接口已初始化，无需重复操作", __func__);
        return NET_OK;
    }
    LOG_INFO("%s: 开始初始化ETH接口（Windows平台，动态端口模式）", __func__);
    const int32_t sock = net_udp_socket_create();
    if (sock == -1) {
        LOG_ERROR("%s: 创建UDP套接字失败（错误码：%d）", __func__, zep::socket_last_error());
        return NET_ERR_IO;
    }
    if (!bind_dynamic_port(sock)) {
        net_socket_close(sock);
        return NET_ERR_IO;
    }
    zep::shared(g_eth_socket).store(sock);
    eth_socket_set_add(sock);
    if (!start_receive_thread()) {
        LOG_ERROR("%s: 创建接收线程失败（错误码：%d）", __func__, zep::socket_last_error());
        eth_destroy();
        return NET_ERR_INIT;
    }
    const int32_t status = register_eth();
    if (status != NET_OK) {
        LOG_ERROR("%s: ETH 接口注册到抽象层失败（错误：%d）", __func__, status);
        eth_destroy();
        return status;
    }
    LOG_INFO("%s: ETH 接口初始化完成（套接字句柄：%d）", __func__, sock);
    return NET_OK;
}

void eth_destroy(void) {
    LOG_INFO("%s: 开始销毁ETH接口资源", __func__);
    const int32_t sock = zep::shared(g_eth_socket).exchange(-1);
    if (sock != -1) {
        (void)zep::eth_unwatch(sock);
        net_socket_close(sock);
        LOG_INFO("%s: ETH 套接字已关闭", __func__);
    }
    // The thread uses the set's lock until it has ended; only then may the lock go.
    stop_receive_thread();
    zep::eth_socket_set_release();
    LOG_INFO("%s: ETH 接口资源销毁完成", __func__);
}

int32_t eth_send(const char *address, uint16_t port, const uint8_t *data, uint32_t length) {
    const int32_t sock = zep::shared(g_eth_socket).load();
    if (sock == -1) {
        LOG_ERROR("%s: 发送失败：ETH 套接字未初始化", __func__);
        return NET_ERR_IO;
    }
    if (!zep::send_arguments_valid(address, port, data, length)) {
        LOG_ERROR("%s: 发送失败：无效参数（ip：%s，port：%d，len：%d）", __func__,
                  zep::shown(address), port, length);
        return NET_ERR_INVALID_PARAM;
    }
    const int32_t sent = net_udp_sendto_win32(sock, address, port, data, length);
    if (sent <= 0 || static_cast<uint32_t>(sent) != length) {
        LOG_ERROR("%s: 发送失败（实际发送：%d字节，预期：%d字节，错误码：%d）", __func__, sent,
                  length, zep::socket_last_error());
        return NET_ERR_IO;
    }
    LOG_DEBUG("%s: ETH 发送成功：%d字节到%s:%d", __func__, sent, address, port);
    return NET_OK;
}

int32_t eth_recv(uint8_t *buffer, uint32_t size, uint32_t *out_length, char *out_address,
                 uint16_t *out_port) {
    const int32_t sock = zep::shared(g_eth_socket).load();
    if (sock == -1) {
        LOG_ERROR("%s: 接收失败：ETH 套接字未初始化", __func__);
        return NET_ERR_IO;
    }
    if (!zep::recv_arguments_valid(buffer, size, out_length, out_address, out_port)) {
        LOG_ERROR("%s: 接收失败：无效参数", __func__);
        return NET_ERR_INVALID_PARAM;
    }
    zep::clear_recv_outputs(out_length, out_address, out_port);
    const int32_t received =
        platform_udp_recvfrom_win32(sock, buffer, size, out_address, out_port, RECV_TIMEOUT_MS);
    if (received < 0) {
        const int32_t error = zep::socket_last_error();
        if (zep::socket_would_block(error) || zep::socket_timed_out(error)) {
            return NET_ERR_TIMEOUT;
        }
        LOG_ERROR("%s: 接收失败（真实错误码：%d）", __func__, error);
        return NET_ERR_IO;
    }
    if (received == 0) {
        LOG_DEBUG("%s: 接收超时", __func__);
        return NET_ERR_TIMEOUT;
    }
    *out_length = static_cast<uint32_t>(received);
    LOG_DEBUG("%s: ETH 接收成功：%d字节来自%s:%d", __func__, received, out_address, *out_port);
    return NET_OK;
}
