#include <zep_mqtt/core/status.h>

#include "protocol/v311/body_encode.h"

int32_t zep::v311::encode_ack(const mqtt_packet &packet, byte_writer &writer) {
    writer.u16(packet.body.ack.msg_id);
    return MQTT_OK;
}
