#include <cstring>

#include <zep_mqtt/net/adapter.h>
#include <zep_mqtt/net/interface.h>
#include <zep_mqtt/net/net_status.h>
#include <zep_mqtt/net/recv_queue.h>

#include "log/log_lines.h"
#include "net/adapter_private.h"
#include "net/interface_private.h"
#include "net/system_socket.h"

namespace {

// Transfers of fewer bytes, such as PINGREQ and PINGRESP, leave no trace in the log.
constexpr uint32_t LOGGED_FROM_BYTES = 3;

int32_t tcp_recv(const net_adapter_instance &instance, uint8_t *buffer, uint32_t size,
                 uint32_t *out_length, uint32_t timeout_ms) {
    const int32_t status =
        net_interface_tcp_recv(instance.sock, buffer, size, out_length, timeout_ms);
    if (status != NET_OK) {
        return status == NET_ERR_TIMEOUT ? -2 : -1;
    }
    if (*out_length >= LOGGED_FROM_BYTES) {
        LOG_INFO("[网络适配层] TCP recv成功 index=%d，接收长度=%d字节", instance.index,
                 *out_length);
    }
    return 0;
}

int32_t udp_recv(const net_adapter_instance &instance, uint8_t *buffer, uint32_t size,
                 uint32_t *out_length, uint32_t timeout_ms) {
    net_queue_entry entry;
    const int32_t status = net_interface_dequeue(&entry, timeout_ms);
    if (status != NET_OK) {
        return status == NET_ERR_TIMEOUT ? -2 : -1;
    }
    if (entry.len > size) {
        LOG_ERROR("[网络适配层] UDP recv失败 index=%d：接收缓冲区不足", instance.index);
        return -1;
    }
    std::memcpy(buffer, entry.data, entry.len);
    *out_length = entry.len;
    if (entry.len >= LOGGED_FROM_BYTES) {
        LOG_INFO("[网络适配层] UDP recv成功 index=%d，接收长度=%d字节", instance.index, entry.len);
    }
    return 0;
}

const net_adapter_instance *valid_tcp_instance(uint8_t index) {
    const net_adapter_instance *instance = zep::adapter_valid_instance(index);
    return instance != nullptr && instance->net_type == NET_TYPE_TCP ? instance : nullptr;
}

void log_sent(const net_adapter_instance &instance, const uint8_t *data, uint32_t length) {
    if (zep::log_passes(AGENT_LOG_DEBUG)) {
        agent_log_hexdump("net_adapter_send:", data, static_cast<uint16_t>(length));
    }
    if (instance.net_type == NET_TYPE_TCP) {
        LOG_INFO("[网络适配层] TCP send成功 index=%d，发送长度=%d字节", instance.index, length);
    } else {
        LOG_INFO("[网络适配层] UDP send成功 index=%d，发送长度=%d字节", instance.index, length);
    }
}

}  // namespace

int32_t net_adapter_send(uint8_t index, const uint8_t *data, uint32_t length) {
    if (!net_adapter_check_index_valid(index) || data == nullptr || length == 0) {
        LOG_ERROR("[网络适配层] send失败 index=%d，参数无效", index);
        return -1;
    }
    const net_adapter_instance &instance = g_adapter_ctx[index];
    if (instance.net_type > NET_TYPE_UDP) {
        return -1;
    }
    const auto send = instance.net_type == NET_TYPE_TCP ? net_interface_send_to
                                                        : zep::net_interface_send_datagram;
    if (send(instance.sock, instance.address, instance.port, data, length) != NET_OK) {
        return -1;
    }
    if (length >= LOGGED_FROM_BYTES) {
        log_sent(instance, data, length);
    }
    return 0;
}

int32_t net_adapter_recv(uint8_t index, uint8_t *buffer, uint32_t size, uint32_t *out_length,
                         uint32_t timeout_ms) {
    if (out_length != nullptr) {
        *out_length = 0;
    }
    if (!net_adapter_check_index_valid(index) || buffer == nullptr || out_length == nullptr ||
        size == 0) {
        LOG_ERROR("[网络适配层] recv失败 index=%d，参数无效", index);
        return -1;
    }
    const net_adapter_instance &instance = g_adapter_ctx[index];
    switch (instance.net_type) {
        case NET_TYPE_TCP:
            return tcp_recv(instance, buffer, size, out_length, timeout_ms);
        case NET_TYPE_UDP:
            return udp_recv(instance, buffer, size, out_length, timeout_ms);
        default:
            return -1;
    }
}

namespace zep {

bool net_adapter_peer_closed(uint8_t index) {
    const net_adapter_instance *instance = valid_tcp_instance(index);
    return instance != nullptr && socket_peer_closed(instance->sock);
}

void net_adapter_set_unacked_timeout(uint8_t index, uint32_t ms) {
    const net_adapter_instance *instance = valid_tcp_instance(index);
    if (instance != nullptr) {
        socket_set_unacked_timeout(instance->sock, ms);
    }
}

}  // namespace zep
