#include <cstring>

#include <zep_mqtt/net/adapter.h>
#include <zep_mqtt/net/eth.h>
#include <zep_mqtt/net/interface.h>
#include <zep_mqtt/net/net_status.h>
#include <zep_mqtt/platform/text.h>

#include "core/shared.h"
#include "core/start_once.h"
#include "log/log_lines.h"
#include "net/adapter_private.h"

net_adapter_instance g_adapter_ctx[NET_ADAPTER_INSTANCE_MAX] = {};
uint8_t g_net_inited = 0;

using namespace zep;

namespace {

constexpr char UDP_PREFIX[] = "udp://";

uint8_t g_start_claimed = 0;

// The two flags tell the other threads whose instance this is; only its owner looks at the rest.
net_adapter_instance *reserve_instance() {
    for (net_adapter_instance &instance : g_adapter_ctx) {
        if (shared(instance.opened).load() == 0 && shared_claim(instance.used)) {
            return &instance;
        }
    }
    return nullptr;
}

// Everything but the reservation.
void clear_instance(net_adapter_instance *instance) {
    std::memset(instance->address, 0, sizeof instance->address);
    instance->port = 0;
    instance->net_type = 0;
    instance->index = 0;
    instance->sock = 0;
    shared(instance->opened).store(0);
}

void release_instance(net_adapter_instance *instance) {
    shared(instance->used).store(0);
}

uint32_t net_type_of(const char *address) {
    if (std::strstr(address, UDP_PREFIX) != nullptr) {
        return NET_TYPE_UDP;
    }
    if (std::strchr(address, '.') != nullptr) {
        return NET_TYPE_TCP;
    }
    if (std::strchr(address, ':') != nullptr) {
        return NET_TYPE_COLON_ADDR;
    }
    return std::strchr(address, '-') != nullptr ? NET_TYPE_DASH_ADDR : NET_TYPE_UNKNOWN;
}

void start_layer() {
    if (net_interface_init() == NET_OK) {
        (void)net_interface_set_current_type(NET_IFACE_ETH);
        shared(g_net_inited).store(1);
        LOG_INFO("[网络适配层] 底层网络抽象层初始化成功，所有实例共享资源");
    }
}

bool start_network() {
    if (!start_once(g_net_inited, g_start_claimed, start_layer)) {
        LOG_ERROR("[网络适配层] open失败：底层网络接口初始化失败");
        return false;
    }
    return true;
}

void close_socket(net_adapter_instance *instance) {
    net_interface_close(instance->sock);
    instance->sock = -1;
}

bool open_tcp(net_adapter_instance *instance) {
    instance->sock = net_interface_create_tcp_socket();
    eth_set_mqtt_tcp_socket(instance->sock);
    if (instance->sock == -1) {
        LOG_ERROR("[网络适配层] open失败：创建TCP套接字失败");
        return false;
    }
    if (net_interface_tcp_connect(instance->sock, instance->address, instance->port) != NET_OK) {
        LOG_ERROR("[网络适配层] open失败：TCP连接%s:%d失败", instance->address, instance->port);
        close_socket(instance);
        return false;
    }
    return true;
}

bool open_udp(net_adapter_instance *instance, const char *address) {
    instance->sock = net_interface_create_udp_socket();
    if (instance->sock == -1) {
        LOG_ERROR("[网络适配层] open失败：创建UDP套接字失败");
        return false;
    }
    if (net_interface_bind(instance->sock, 0) != NET_OK) {
        LOG_ERROR("[网络适配层] open失败：UDP绑定动态端口失败");
        close_socket(instance);
        return false;
    }
    const char *target = std::strstr(address, UDP_PREFIX) + std::strlen(UDP_PREFIX);
    (void)platform_strcpy_s(instance->address, sizeof instance->address, target);
    LOG_INFO("[网络适配层] UDP套接字创建成功 sock=%d，绑定动态端口", instance->sock);
    return true;
}

// An instance of a type without a transport holds nothing but its place in the pool, which it must
// give back: a client would take another with every attempt to reconnect.
void release_socketless(net_adapter_instance *instance) {
    if (shared(instance->opened).load() == 1 && instance->sock == -1) {
        clear_instance(instance);
        release_instance(instance);
    }
}

// Opens a reserved instance; a failure leaves no socket.
bool open_instance(net_adapter_instance *instance, const char *address, uint16_t port) {
    clear_instance(instance);
    instance->sock = -1;
    instance->index = static_cast<uint8_t>(instance - g_adapter_ctx);
    instance->port = port;
    (void)platform_strcpy_s(instance->address, sizeof instance->address, address);
    instance->net_type = net_type_of(address);
    if (instance->net_type == NET_TYPE_UNKNOWN) {
        LOG_ERROR("[网络适配层] open失败：无法识别的网络类型，目标地址=%s", address);
        return false;
    }
    if (!start_network()) {
        return false;
    }
    switch (instance->net_type) {
        case NET_TYPE_TCP:
            return open_tcp(instance);
        case NET_TYPE_UDP:
            return open_udp(instance, address);
        default:
            return true;
    }
}

}  // namespace

int32_t net_adapter_open(const char *address, uint32_t port) {
    const uint16_t target_port = static_cast<uint16_t>(port);
    if (address == nullptr ||
        strnlen(address, NET_ADAPTER_ADDRESS_SIZE) >= NET_ADAPTER_ADDRESS_SIZE ||
        target_port == 0) {
        LOG_ERROR("[网络适配层] open失败：无效的目标地址或端口");
        return -1;
    }
    net_adapter_instance *instance = reserve_instance();
    if (instance == nullptr) {
        LOG_ERROR("[网络适配层] 申请实例失败：实例池已满，最大支持%d个连接",
                  NET_ADAPTER_INSTANCE_MAX);
        return -1;
    }
    if (!open_instance(instance, address, target_port)) {
        release_instance(instance);
        return -1;
    }
    shared(instance->opened).store(1);
    LOG_INFO("[网络适配层] open成功 index=%d，目标=%s:%d，网络类型=%d，套接字=%d", instance->index,
             address, target_port, instance->net_type, instance->sock);
    return instance->index;
}

void net_adapter_close(uint8_t index) {
    if (index >= NET_ADAPTER_INSTANCE_MAX) {
        return;
    }
    net_adapter_instance *instance = adapter_valid_instance(index);
    if (instance == nullptr) {
        LOG_WARN("[网络适配层] 忽略重复close index=%u", index);
        release_socketless(&g_adapter_ctx[index]);
        return;
    }
    const int32_t sock = instance->sock;
    net_interface_close(sock);
    LOG_INFO("[网络适配层] close成功 index=%d，释放套接字=%d", index, sock);
    clear_instance(instance);
    release_instance(instance);
}

bool net_adapter_check_index_valid(uint8_t index) {
    if (index >= NET_ADAPTER_INSTANCE_MAX) {
        LOG_ERROR("[崩溃定位] 实例越界 index=%u", index);
        return false;
    }
    if (adapter_valid_instance(index) == nullptr) {
        net_adapter_instance &instance = g_adapter_ctx[index];
        LOG_ERROR("[崩溃定位] 实例无效 index=%u | used=%d | opened=%d | sock=%d", index,
                  shared(instance.used).load(), shared(instance.opened).load(), instance.sock);
        return false;
    }
    return true;
}

void net_adapter_loop(void) {}

void net_adapter_global_deinit(void) {
    net_interface_final_destroy();
}

namespace zep {

net_adapter_instance *adapter_valid_instance(uint8_t index) {
    if (index >= NET_ADAPTER_INSTANCE_MAX) {
        return nullptr;
    }
    net_adapter_instance *instance = &g_adapter_ctx[index];
    const bool valid = shared(instance->used).load() == 1 && shared(instance->opened).load() == 1 &&
                       instance->sock != -1;
    return valid ? instance : nullptr;
}

}  // namespace zep
