// Inbound CONNACK of both versions. What a 5.0 one means for the client is in apply_connack50.cpp.
#include <zep_mqtt/client/receive.h>

#include "client/connection/client_private.h"
#include "client/inbound/inbound.h"
#include "log/log_lines.h"
#include "protocol/v50/decode.h"

namespace zep {

void on_connack(mqtt_client &client, const mqtt_packet &packet) {
    const mqtt_packet_connack &connack = packet.body.connack;
    if (!is_connecting(client)) {
        LOG_WARN("MQTT_CLIENT非连接状态收到CONNACK，忽略");
        return;
    }
    if (connack.return_code != 0) {
        LOG_ERROR("MQTT_CLIENT❌ MQTT3.1.1 CONNACK错误码【%d】，Broker拒绝连接！",
                  connack.return_code);
        end_connection(client);
        trigger_broker_resp_cb(&client, 0, MQTT_RESP_CONNACK, MQTT_RESP_RESULT_LINK, 0);
        return;
    }
    if (connack.session_present == 0) {
        forget_received_messages(client);
    }
    set_state(client, MQTT_CLIENT_CONNECTED);
    client.reconnect_count = 0;
    client.last_activity_ms = tick_now();
    LOG_INFO("MQTT_CLIENT✅ MQTT3.1.1连接成功，CONNACK成功！（会话存在：%d，心跳间隔：%ds）",
             connack.session_present, client.config.keep_alive);
    trigger_broker_resp_cb(&client, 1, MQTT_RESP_CONNACK, 0, 0);
}

void on_connack50(mqtt_client &client, const packet_view &packet) {
    mqtt50_connack connack;
    if (v50::decode_connack(packet, &connack) != MQTT_OK) {
        return;
    }
    (void)mqtt50_client_handle_connack(&client, &connack);
    const bool accepted = connack.reason_code == 0;
    trigger_broker_resp_cb(&client, accepted ? 1 : 0, MQTT_RESP_CONNACK,
                           accepted ? 0 : MQTT_RESP_RESULT_LINK, 0);
}

}  // namespace zep
