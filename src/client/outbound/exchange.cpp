#include "client/outbound/exchange.h"

namespace zep {

int32_t send_encoded(const mqtt_client &client, const failure_lines &lines, int32_t status,
                     const uint8_t *packet, uint32_t length) {
    if (status != MQTT_OK) {
        if (lines.not_encoded != nullptr) {
            lines.not_encoded(status);
        }
        return status;
    }
    const int32_t sent = send_packet(client, packet, length);
    if (sent == 0) {
        return MQTT_OK;
    }
    if (lines.not_sent != nullptr) {
        lines.not_sent(sent);
    }
    return MQTT_ERR_INTERNAL;
}

int32_t send311(mqtt_client &client, const failure_lines &lines, mqtt_packet &packet) {
    uint8_t buffer[PACKET_MAX] = {};
    uint32_t length = sizeof buffer;
    const int32_t status = mqtt_client_encode_packet(&client, &packet, buffer, &length);
    return send_encoded(client, lines, status, buffer, length);
}

int32_t encrypt_payload(mqtt_client &client, const uint8_t *payload, uint32_t length, uint8_t *out,
                        uint32_t *out_len) {
    *out_len = PAYLOAD_MAX;
    const int32_t result = crypto_encrypt(client.crypto, payload, length, out, out_len);
    client.crypto_out_len = *out_len;
    return result;
}

}  // namespace zep
