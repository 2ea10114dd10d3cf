// Outbound DISCONNECT of either version, and the end of the connection.
#include <zep_mqtt/client/operations.h>
#include <zep_mqtt/core/status.h>

#include "client/connection/client_private.h"
#include "log/log_lines.h"

using namespace zep;

namespace {

void send_disconnect311(mqtt_client &client) {
    mqtt_packet packet = {};
    packet.type = MQTT_PACKET_DISCONNECT;
    uint32_t length = sizeof client.tx_buf;
    int32_t status = mqtt_client_encode_packet(&client, &packet, client.tx_buf, &length);
    if (status == MQTT_OK) {
        status = send_packet(client, client.tx_buf, length);
    }
    if (status != 0) {
        LOG_WARN("MQTT_CLIENT: 发送断开报文失败（状态码：%d）", status);
    }
}

}  // namespace

int32_t mqtt_client_disconnect(mqtt_client *client) {
    if (client == nullptr) {
        log_null_pointer("mqtt_client_disconnect");
        return MQTT_ERR_INVALID_PARAM;
    }
    if (!has_link(*client)) {
        LOG_WARN("MQTT_CLIENT: 客户端未连接");
        return MQTT_OK;
    }
    clear_tx_buf(*client);
    if (negotiated_50(*client)) {
        (void)mqtt50_client_disconnect(client);
    } else {
        send_disconnect311(*client);
    }
    end_connection(*client);
    LOG_INFO("MQTT_CLIENT: 断开连接成功");
    return MQTT_OK;
}
