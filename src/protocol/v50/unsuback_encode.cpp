#include <zep_mqtt/core/status.h>
#include <zep_mqtt/protocol/v311/packet.h>
#include <zep_mqtt/protocol/v50/unsuback.h>

#include "log/log_lines.h"
#include "protocol/v50/encode.h"
#include "protocol/v50/properties.h"

namespace {

constexpr uint32_t SMALLEST_UNSUBACK_BUFFER = 8;

}  // namespace

int32_t mqtt50_unsuback_encode(const mqtt50_ack *ack, uint8_t *buffer, uint32_t *length) {
    if (ack == nullptr || buffer == nullptr || length == nullptr || ack->msg_id == 0) {
        LOG_ERROR("MQTT5.0_PROTOCOL: MQTT50 UNSUBACK: 入参非法");
        return MQTT_ERR_INVALID_PARAM;
    }
    if (*length < SMALLEST_UNSUBACK_BUFFER) {
        return MQTT_ERR_BUFFER_FULL;
    }
    zep::packet_writer packet(buffer, *length, zep::first_byte(MQTT_PACKET_UNSUBACK));
    packet.u16(ack->msg_id);
    zep::v50::write_no_properties(packet);
    packet.u8(ack->reason_code);
    if (!zep::v50::finish(packet, buffer, length)) {
        return MQTT_ERR_BUFFER_FULL;
    }
    LOG_INFO("MQTT5.0_PROTOCOL: ✅ MQTT50 UNSUBACK编码完成:msgid=%d,原因码=0x%02X", ack->msg_id,
             ack->reason_code);
    return MQTT_OK;
}
