// Outbound 5.0 DISCONNECT.
#include <zep_mqtt/client/v50.h>
#include <zep_mqtt/core/status.h>
#include <zep_mqtt/protocol/v50/disconnect.h>

#include "client/connection/client_private.h"
#include "log/log_lines.h"

using namespace zep;

int32_t mqtt50_disconnect_packet_encode(mqtt_client *client, uint8_t reason_code, uint8_t *buf,
                                        uint32_t *len) {
    if (buf == nullptr || len == nullptr || client == nullptr || *len == 0 ||
        !negotiated_50(*client)) {
        LOG_ERROR("MQTT_CLIENT50: 5.0 DISCONNECT编码失败，入参无效/未连接5.0服务端");
        return MQTT_ERR_INVALID_PARAM;
    }
    const mqtt50_disconnect disconnect = {reason_code, client->conn_info->session_expiry};
    const int32_t status = mqtt50_disconnect_encode(&disconnect, buf, len);
    if (status != MQTT_OK) {
        LOG_ERROR("MQTT_CLIENT50: 5.0 DISCONNECT编码失败，错误码=%d", status);
        return status;
    }
    LOG_DEBUG("MQTT_CLIENT50: 5.0 DISCONNECT编码成功，长度=%d", *len);
    return MQTT_OK;
}

int32_t mqtt50_client_disconnect(mqtt_client *client) {
    if (client == nullptr || client->conn_info == nullptr) {
        return MQTT_ERR_INVALID_PARAM;
    }
    clear_tx_buf(*client);
    const mqtt50_disconnect disconnect = {0x00, client->conn_info->session_expiry};
    uint32_t length = sizeof client->tx_buf;
    const int32_t status = mqtt50_disconnect_encode(&disconnect, client->tx_buf, &length);
    if (status != MQTT_OK) {
        LOG_ERROR("MQTT_CLIENT50: 5.0断开报文编码失败，错误码=%d", status);
        return status;
    }
    const int32_t sent = send_packet(*client, client->tx_buf, length);
    if (sent != 0) {
        LOG_WARN("MQTT_CLIENT50: 5.0断开报文发送失败，网络状态码=%d", sent);
        return MQTT_ERR_INTERNAL;
    }
    LOG_INFO("MQTT_CLIENT50: ✅ MQTT5.0 断开报文发送成功 [原因码:0x00 正常断开]");
    return MQTT_OK;
}
