#include <zep_mqtt/core/status.h>
#include <zep_mqtt/protocol/v311/encoder.h>

#include "client/connection/client_private.h"
#include "log/log_lines.h"

using namespace zep;

int32_t mqtt_client_encode_packet(mqtt_client *client, mqtt_packet *packet, uint8_t *buf,
                                  uint32_t *len) {
    if (client == nullptr) {
        log_null_pointer("mqtt_client_encode_packet");
        return MQTT_ERR_INVALID_PARAM;
    }
    uint32_t version = client->config.mqtt_version;
    if (packet != nullptr) {
        if (packet->type != MQTT_PACKET_CONNECT) {
            version = version_in_use(*client);
        }
        packet->protocol_version = version == MQTT_VERSION_50 ? MQTT_VERSION_50 : MQTT_VERSION_311;
    }
    return mqtt_packet_encode(version, packet, buf, len);
}
