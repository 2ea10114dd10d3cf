// One pass of the loop: everything of a client that is driven by time.
#include <zep_mqtt/client/loop.h>
#include <zep_mqtt/client/receive.h>
#include <zep_mqtt/core/status.h>
#include <zep_mqtt/net/adapter.h>

#include "client/connection/busy_guard.h"
#include "client/connection/client_private.h"
#include "client/connection/keep_alive.h"
#include "client/connection/reconnect.h"
#include "client/outbound/retransmit.h"
#include "log/log_lines.h"

using namespace zep;

namespace {

constexpr uint32_t CONNACK_TIMEOUT_MS = 3000;
constexpr uint32_t CLEAN_TICK_STEP = 10;
constexpr uint32_t CLEAN_TICK_LIMIT = 499;

void reconnect(mqtt_client &client) {
    client.config.clean_start = 1;
    client.reconnect_count++;
    LOG_INFO("MQTT_CLIENT: 触发自动重连【第%d次】，尝试重新连接Broker：%s:%d",
             client.reconnect_count, client.config.broker_host, client.config.broker_port);
    if (has_instance(client)) {
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
    if (is_connecting(client)) {
        LOG_ERROR("MQTT_CLIENT: CONNACK等待超时（%dms），连接失败！", CONNACK_TIMEOUT_MS);
        end_connection(client);
    }
}

void serve_connection(mqtt_client &client) {
    if (!has_link(client)) {
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
    if (is_disconnected(*client)) {
        reconnect_when_due(*client);
    } else {
        leave_reconnect_line(state_of(*client).reconnect);
    }
    if (is_connecting(*client)) {
        check_connack_timeout(*client);
    }
    serve_connection(*client);
    clean_caches_sometimes(*client);
    return MQTT_OK;
}
