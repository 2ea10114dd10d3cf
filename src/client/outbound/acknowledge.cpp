#include "client/outbound/acknowledge.h"

#include <zep_mqtt/core/status.h>

#include "client/connection/client_private.h"

namespace zep {

namespace {

constexpr uint32_t ACK_BUFFER_SIZE = 32;

}  // namespace

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

}  // namespace zep
