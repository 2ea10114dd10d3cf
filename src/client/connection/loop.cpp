// One pass of the loop: everything of a client that is driven by time.
#include <zep_mqtt/client/loop.h>
#include <zep_mqtt/client/receive.h>
#include <zep_mqtt/core/status.h>
#include <zep_mqtt/net/adapter.h>

#include "client/connection/busy_guard.h"
#include "client/connection/client_private.h"
#include "client/outbound/retransmit.h"
#include "client/connection/reconnect.h"
#include "log/log_lines.h"

using namespace zep;

namespace {

constexpr uint32_t CONNACK_TIMEOUT_MS = 3000;
constexpr uint32_t CLEAN_TICK_STEP = 10;
constexpr uint32_t CLEAN_TICK_LIMIT = 499;
constexpr uint32_t PINGREQ_SIZE = 2;

void reconnect(mqtt_client &client) {
    client.config.clean_start = 1;
    client.reconnect_count++;
    LOG_INFO("MQTT_CLIENT: 触发自动重连【第%d次】，尝试重新连接Broker：%s:%d",
             client.reconnect_count, client.config.broker_host, client.config.broker_port);
    if (client.net_index != MQTT_CLIENT_NO_INSTANCE) {
        // The switch to 3.1.1 left it open.
        end_connection(client);
    }
    if (mqtt_client_connect(&client) == MQTT_OK) {
        LOG_INFO("MQTT_CLIENT: 重连-发送CONNECT报文成功，等待CONNACK响应");
    }
}

void reconnect_when_due(mqtt_client &client) {
    if (begin_reconnect_attempt(state_of(client).reconnect, client.config.reconnect_interval_ms)) {
        reconnect(client);
        end_reconnect_attempt();
    }
}

// The time-out is for a broker that has not answered: an answer that waits in the socket, because
// the loop comes late, is handled first.
void check_connack_timeout(mqtt_client &client) {
    if (tick_now() - client.connect_tick_ms < CONNACK_TIMEOUT_MS) {
        return;
    }
    receive_what_has_arrived(client);
    if (client.state == MQTT_CLIENT_CONNECTING) {
        LOG_ERROR("MQTT_CLIENT: CONNACK等待超时（%dms），连接失败！", CONNACK_TIMEOUT_MS);
        end_connection(client);
    }
}

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

void keep_alive(mqtt_client &client) {
    if (!is_connected(client) || client.config.keep_alive == 0) {
        return;
    }
    const uint32_t now = tick_now();
    if (now - client.last_activity_ms < keep_alive_interval_ms(client) / 2) {
        return;
    }
    apply_unacked_timeout(client);  // the round trips may have changed
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

void serve_connection(mqtt_client &client) {
    if (client.state == MQTT_CLIENT_DISCONNECTED || client.net_index == MQTT_CLIENT_NO_INSTANCE) {
        return;
    }
    mqtt_client_recv_packet_proc(&client);
    if (is_connected(client)) {
        retransmit(client);
        keep_alive(client);
    }
}

// Counts passes, not time: the caches are walked on every 50th.
void clean_caches_sometimes(mqtt_client &client) {
    client.clean_tick += CLEAN_TICK_STEP;
    if (client.clean_tick <= CLEAN_TICK_LIMIT) {
        return;
    }
    expire_cached_messages(client);
    client.clean_tick = 0;
}

}  // namespace

int32_t mqtt_client_loop(mqtt_client *client) {
    net_adapter_loop();
    if (client == nullptr) {
        log_null_pointer("mqtt_client_loop");
        return MQTT_ERR_INVALID_PARAM;
    }
    const busy_guard guard(*client, MQTT_CLIENT_OP_LOOP);
    if (!guard.taken()) {
        LOG_WARN("MQTT_CLIENT: Client busy, loop skip! op_type:%d", guard.running());
        return MQTT_ERR_BUSY;
    }
    if (client->alive == 0) {
        return MQTT_ERR_INVALID_PARAM;
    }
    if (client->state == MQTT_CLIENT_DISCONNECTED) {
        reconnect_when_due(*client);
    } else {
        leave_reconnect_line(state_of(*client).reconnect);
    }
    if (client->state == MQTT_CLIENT_CONNECTING) {
        check_connack_timeout(*client);
    }
    serve_connection(*client);
    clean_caches_sometimes(*client);
    return MQTT_OK;
}
