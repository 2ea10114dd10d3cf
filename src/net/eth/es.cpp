#include <zep_mqtt/net/es.h>
#include <zep_mqtt/net/interface.h>
#include <zep_mqtt/net/net_status.h>

#include "log/log_lines.h"
#include "net/datagram_arguments.h"

uintptr_t g_es_handle = 0;

int32_t net_es_init(void) {
    if (g_es_handle != 0) {
        LOG_INFO("%s: ES接口已初始化（预留），无需重复操作", __func__);
        return NET_OK;
    }
    g_es_handle = 1;
    const net_iface iface{NET_IFACE_ES, es_send, es_recv, es_destroy, 0};
    const int32_t status = net_interface_register(&iface);
    if (status != NET_OK) {
        LOG_ERROR("%s: ES接口注册失败（错误：%d）", __func__, status);
        es_destroy();
        return status;
    }
    LOG_INFO("%s: ES接口注册成功（预留）", __func__);
    return NET_OK;
}

int32_t es_send(const char *address, uint16_t port, const uint8_t *data, uint32_t length) {
    if (!zep::send_arguments_valid(address, port, data, length)) {
        LOG_ERROR("%s: ES发送参数无效（ip：%s，port：%d，len：%d）", __func__, zep::shown(address),
                  port, length);
        return NET_ERR_INVALID_PARAM;
    }
    if (g_es_handle == 0) {
        LOG_ERROR("%s: ES接口未初始化", __func__);
        return NET_ERR_IO;
    }
    LOG_WARN("%s: ES发送接口未实现（预留）：%d字节到%s:%d", __func__, length, address, port);
    return NET_ERR_NOT_IMPLEMENTED;
}

int32_t es_recv(uint8_t *buffer, uint32_t size, uint32_t *out_length, char *out_address,
                uint16_t *out_port) {
    if (!zep::recv_arguments_valid(buffer, size, out_length, out_address, out_port)) {
        LOG_ERROR("%s: ES接收参数无效", __func__);
        return NET_ERR_INVALID_PARAM;
    }
    if (g_es_handle == 0) {
        LOG_ERROR("%s: ES接口未初始化", __func__);
        return NET_ERR_IO;
    }
    zep::clear_recv_outputs(out_length, out_address, out_port);
    LOG_WARN("%s: ES接收接口未实现（预留）", __func__);
    return NET_ERR_NOT_IMPLEMENTED;
}

void es_destroy(void) {
    if (g_es_handle != 0) {
        g_es_handle = 0;
        LOG_INFO("%s: ES接口资源已释放（预留）", __func__);
    }
}
