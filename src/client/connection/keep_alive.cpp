#include "client/connection/keep_alive.h"

#include <algorithm>

#include <zep_mqtt/core/status.h>

#include "client/connection/client_private.h"
#include "log/log_lines.h"
#include "net/adapter_private.h"

namespace zep {

namespace {

constexpr uint32_t PINGREQ_SIZE = 2;

// What timers may be late, the system's and the loop's, however short the interval.
constexpr uint32_t LATE_MS = 500;

// A message is repeated 2, 6 and 14 seconds after it was sent. A peer that vanished is given up
// between the second and the third, so that the third one finds the next connection.
constexpr uint32_t UNACKED_MAX_MS = 10000;

uint32_t keep_alive_interval_ms(const mqtt_client &client) {
    const bool server_decides =
        client.conn_info != nullptr && client.conn_info->server_keep_alive != 0;
    return 1000U *
           (server_decides ? client.conn_info->server_keep_alive : client.config.keep_alive);
}

int32_t send_pingreq(mqtt_client &client) {
    mqtt_packet packet = {};
    packet.type = MQTT_PACKET_PINGREQ;
    uint8_t buffer[PINGREQ_SIZE];
    uint32_t length = sizeof buffer;
    const int32_t status = mqtt_client_encode_packet(&client, &packet, buffer, &length);
    return status == MQTT_OK ? send_packet(client, buffer, length) : status;
}

}  // namespace

void keep_alive(mqtt_client &client) {
    if (!is_connected(client) || client.config.keep_alive == 0) {
        return;
    }
    const uint32_t now = tick_now();
    if (now - client.last_activity_ms < keep_alive_interval_ms(client) / 2) {
        return;
    }
    apply_unacked_timeout(client);
    const int32_t sent = send_pingreq(client);
    if (sent != 0) {
        LOG_ERROR("MQTT_CLIENT: 心跳报文发送失败（状态码：%d），标记断线", sent);
        receive_what_has_arrived(client);
        if (is_connected(client)) {
            end_connection(client);
        }
    } else {
        LOG_DEBUG("MQTT_CLIENT: 发送心跳保活 PINGREQ，心跳间隔：%ds", client.config.keep_alive);
    }
    client.last_activity_ms = now;
}

void apply_unacked_timeout(const mqtt_client &client) {
    uint32_t silence_ms = UNACKED_MAX_MS;
    const uint32_t interval_ms = client.config.keep_alive * 1000U;
    if (interval_ms != 0) {
        // A PINGREQ goes out half an interval after the last activity. Three quarters more without
        // an acknowledgement leave the system's timers a quarter to be late.
        silence_ms = std::min({silence_ms, interval_ms / 4 * 3, interval_ms - LATE_MS});
    }
    net_adapter_set_unacked_timeout(client.net_index, silence_ms);
}

}  // namespace zep
