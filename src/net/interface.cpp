#include <cstring>

#include <zep_mqtt/net/eth.h>
#include <zep_mqtt/net/interface.h>
#include <zep_mqtt/net/net_status.h>
#include <zep_mqtt/net/recv_queue.h>
#include <zep_mqtt/platform/socket_service.h>

#include "core/shared.h"
#include "log/log_lines.h"
#include "net/datagram_arguments.h"
#include "net/eth/eth_private.h"
#include "net/interface_private.h"
#include "net/recv_queue_private.h"

net_iface g_registered_ifaces[NET_IFACE_TYPE_COUNT] = {};
uint8_t g_is_inited = 0;
uint32_t g_current_type = NET_IFACE_ETH;
net_iface *g_current_iface = nullptr;

namespace {

bool is_registered(const net_iface &iface) {
    return iface.send != nullptr && iface.recv != nullptr;
}

bool port_is_claimed(uint16_t port) {
    for (const net_iface &iface : g_registered_ifaces) {
        if (port != 0 && is_registered(iface) && iface.port == port) {
            return true;
        }
    }
    return false;
}

void make_current(uint32_t type) {
    zep::shared(g_current_type).store(type);
    g_current_iface = &g_registered_ifaces[type];
}

void destroy_current_iface() {
    if (g_current_iface != nullptr && g_current_iface->destroy != nullptr) {
        g_current_iface->destroy();
    }
}

int32_t start_eth() {
    eth_socket_set_init();
    const int32_t status = net_eth_win_init();
    if (status != NET_OK) {
        LOG_ERROR("[%s] ETH接口初始化失败", "net_interface_init");
        zep::eth_socket_set_release();
    }
    return status;
}

}  // namespace

int32_t net_interface_init(void) {
    if (zep::net_layer_is_inited()) {
        LOG_WARN("[%s] 网络模块已初始化", __func__);
        return NET_OK;
    }
    if (platform_init() == 0) {
        LOG_ERROR("[%s] 平台初始化失败", __func__);
        return NET_ERR_INIT;
    }
    if (!zep::recv_queue_create()) {
        LOG_ERROR("[%s] 队列初始化失败", __func__);
        (void)platform_deinit();
        return NET_ERR_INIT;
    }
    // The queue is ready: the receive thread may bring datagrams as soon as it runs.
    zep::shared(g_is_inited).store(1);
    const int32_t status = start_eth();
    if (status != NET_OK) {
        zep::shared(g_is_inited).store(0);
        zep::recv_queue_stop();
        (void)zep::recv_queue_destroy_lock();
        (void)platform_deinit();
        return status;
    }
    make_current(NET_IFACE_ETH);
    LOG_INFO("[%s] 网络模块初始化完成", __func__);
    return NET_OK;
}

void net_interface_deinit(void) {
    if (!zep::net_layer_is_inited()) {
        return;
    }
    destroy_current_iface();
    zep::recv_queue_stop();
    zep::shared(g_is_inited).store(0);
    std::memset(g_registered_ifaces, 0, sizeof g_registered_ifaces);
    g_current_iface = nullptr;
    (void)platform_deinit();
    LOG_INFO("[%s] 网络模块反初始化完成", __func__);
}

void net_interface_final_destroy(void) {
    if (zep::recv_queue_destroy_lock()) {
        LOG_INFO("[net_interface] 全局队列锁已最终销毁");
    }
}

int32_t net_interface_register(const net_iface *iface) {
    if (iface == nullptr || iface->type >= NET_IFACE_TYPE_COUNT) {
        LOG_ERROR("[%s] 无效接口参数", __func__);
        return NET_ERR_INVALID_PARAM;
    }
    if (!is_registered(*iface)) {
        LOG_ERROR("[%s] 接口未实现收发函数", __func__);
        return NET_ERR_NOT_REGISTERED;
    }
    if (port_is_claimed(iface->port)) {
        LOG_ERROR("[%s] 端口冲突：%u", __func__, iface->port);
        return NET_ERR_PORT_CONFLICT;
    }
    g_registered_ifaces[iface->type] = *iface;
    LOG_INFO("[%s] 接口注册成功（类型：%d，端口：%u）", __func__, iface->type, iface->port);
    return NET_OK;
}

int32_t net_interface_set_current_type(uint32_t type) {
    if (!zep::net_layer_is_inited() || type >= NET_IFACE_TYPE_COUNT) {
        LOG_ERROR("[%s] 无效接口类型", __func__);
        return NET_ERR_INVALID_PARAM;
    }
    if (!is_registered(g_registered_ifaces[type])) {
        LOG_ERROR("[%s] 接口未注册", __func__);
        return NET_ERR_NOT_REGISTERED;
    }
    if (g_current_iface != nullptr && g_current_iface->type != type) {
        destroy_current_iface();
    }
    make_current(type);
    LOG_INFO("[%s] 切换到接口类型：%d", __func__, type);
    return NET_OK;
}

int32_t net_interface_on_interrupt(uint8_t *buffer, uint32_t size) {
    if (!zep::net_layer_is_inited() || g_current_iface == nullptr || buffer == nullptr ||
        !zep::datagram_length_valid(size)) {
        LOG_ERROR("[%s] 处理失败：无效参数", __func__);
        return NET_ERR_INVALID_PARAM;
    }
    net_queue_entry entry{};
    const int32_t status =
        g_current_iface->recv(buffer, size, &entry.len, entry.src_ip, &entry.src_port);
    if (status != NET_OK) {
        LOG_ERROR("[%s] 数据接收失败", __func__);
        return status;
    }
    // An interface that claims more than there was room for has given nothing.
    entry.len = entry.len <= size ? entry.len : 0;
    std::memcpy(entry.data, buffer, entry.len);
    return net_interface_enqueue(&entry);
}
