// Inbound PINGRESP and DISCONNECT of both versions.
#include "client/connection/client_private.h"
#include "client/inbound/inbound.h"
#include "log/log_lines.h"

namespace zep {

void on_pingresp(mqtt_client &client, const mqtt_packet &) {
    LOG_DEBUG("MQTT_CLIENT收到心跳响应 PINGRESP，链路正常");
    client.last_activity_ms = tick_now();
}

void on_pingresp50(mqtt_client &client, const packet_view &) {
    LOG_DEBUG("MQTT_CLIENT✅ 收到5.0心跳响应 PINGRESP，链路正常");
    client.last_activity_ms = tick_now();
}

void on_disconnect(mqtt_client &client, const mqtt_packet &) {
    LOG_WARN("MQTT_CLIENT收到Broker主动断开指令 DISCONNECT，标记断线");
    lose_link(client);
}

void on_disconnect50(mqtt_client &client, const packet_view &) {
    LOG_WARN("MQTT_CLIENT⚠️ 收到5.0 Broker主动断开指令 DISCONNECT，标记断线");
    lose_link(client);
}

}  // namespace zep
