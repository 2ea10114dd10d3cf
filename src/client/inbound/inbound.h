// The handlers of the receive dispatch, one for each packet type and version. Where both versions
// do the same, the handlers share a function; its `label` is the part of the log lines that
// differs.
#pragma once

#include <zep_mqtt/client/client.h>
#include <zep_mqtt/core/status.h>

#include "client/connection/client_state.h"
#include "protocol/common/framing.h"

namespace zep {

constexpr const char *LABEL_311 = "";
constexpr const char *LABEL_50 = "5.0 ";

// A PUBLISH of either version. The pointers lead into memory of the decoder or the receive buffer.
struct inbound_publish {
    const char *topic;
    const uint8_t *payload;  // null when empty
    uint32_t payload_len;
    uint32_t qos;
    uint8_t retain;
    uint16_t msg_id;
};

// 3.1.1, decoded.
void on_connack(mqtt_client &client, const mqtt_packet &packet);
void on_publish(mqtt_client &client, const mqtt_packet &packet);
void on_puback(mqtt_client &client, const mqtt_packet &packet);
void on_qos2_ack(mqtt_client &client, const mqtt_packet &packet);
void on_pubrel(mqtt_client &client, const mqtt_packet &packet);
void on_suback(mqtt_client &client, const mqtt_packet &packet);
void on_unsuback(mqtt_client &client, const mqtt_packet &packet);
void on_pingresp(mqtt_client &client, const mqtt_packet &packet);
void on_disconnect(mqtt_client &client, const mqtt_packet &packet);

// 5.0, as received.
void on_connack50(mqtt_client &client, const packet_view &packet);
void on_publish50(mqtt_client &client, const packet_view &packet);
void on_puback50(mqtt_client &client, const packet_view &packet);
void on_qos2_ack50(mqtt_client &client, const packet_view &packet);
void on_pubrel50(mqtt_client &client, const packet_view &packet);
void on_suback50(mqtt_client &client, const packet_view &packet);
void on_unsuback50(mqtt_client &client, const packet_view &packet);
void on_pingresp50(mqtt_client &client, const packet_view &packet);
void on_disconnect50(mqtt_client &client, const packet_view &packet);

// The broker kept no session: what it sends from now on repeats nothing of an earlier connection.
inline void forget_received_messages(mqtt_client &client) {
    received_ids_clear(state_of(client).received_qos2);
}

// Hands a message to the application.
inline void deliver(const mqtt_client &client, const mqtt_message &message) {
    if (client.msg_cb != nullptr) {
        client.msg_cb(client.user_obj, &message);
    }
}

}  // namespace zep
