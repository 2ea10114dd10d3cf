#include <algorithm>

#include <zep_mqtt/client/receive.h>
#include <zep_mqtt/core/status.h>
#include <zep_mqtt/net/adapter.h>

#include "client/connection/client_private.h"
#include "client/outbound/awaited_ack.h"
#include "log/log_lines.h"
#include "net/adapter_private.h"
#include "qos/received_ids.h"

namespace zep {

namespace {

constexpr uint32_t ACK_BUFFER_SIZE = 32;

// What timers may be late, the system's and the loop's, however short the interval.
constexpr uint32_t LATE_MS = 500;

// A message is repeated 2, 6 and 14 seconds after it was sent. A peer that vanished is given up
// between the second and the third, so that the third one finds the next connection.
constexpr uint32_t UNACKED_MAX_MS = 10000;

}  // namespace

void log_null_pointer(const char *operation) {
    LOG_ERROR("MQTT_CLIENT: 无效空指针（调用函数：%s）", operation);
}

int32_t send_packet(const mqtt_client &client, const uint8_t *packet, uint32_t length) {
    return net_adapter_send(client.net_index, packet, length);
}

void reply_with_ack(mqtt_client &client, uint32_t type, uint16_t msg_id) {
    mqtt_packet packet = {};
    packet.type = type;
    packet.body.ack.msg_id = msg_id;
    uint8_t buffer[ACK_BUFFER_SIZE];
    uint32_t length = sizeof buffer;
    if (mqtt_client_encode_packet(&client, &packet, buffer, &length) == MQTT_OK) {
        (void)send_packet(client, buffer, length);
    }
}

void forget_received_messages(mqtt_client &client) {
    received_ids_clear(state_of(client).received_qos2);
}

void reset_receive_buffer(mqtt_client &client) {
    receive_buffer &rx = state_of(client).rx;
    rx.start = 0;
    rx.end = 0;
    rx.skip = 0;
}

void end_connection(mqtt_client &client) {
    set_state(client, MQTT_CLIENT_DISCONNECTED);
    net_adapter_close(client.net_index);
    client.net_index = MQTT_CLIENT_NO_INSTANCE;
    reset_receive_buffer(client);
    release_awaited(client);
}

void lose_link(mqtt_client &client) {
    end_connection(client);
    trigger_broker_resp_cb(&client, 0, MQTT_RESP_DISCONNECT, MQTT_RESP_RESULT_LINK, 0);
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
