#include <zep_mqtt/core/status.h>
#include <zep_mqtt/protocol/v311/packet.h>
#include <zep_mqtt/protocol/v50/unsuback.h>

#include "log/log_lines.h"
#include "protocol/v50/packet_io.h"

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
    zep::byte_writer packet =
        zep::v50::begin_packet(buffer, *length, zep::v50::first_byte(MQTT_PACKET_UNSUBACK), 4);
    packet.u16(ack->msg_id);
    packet.u8(0);  // no properties
    packet.u8(ack->reason_code);
    *length = static_cast<uint32_t>(packet.size());
    LOG_INFO("MQTT5.0_PROTOCOL: ✅ MQTT50 UNSUBACK编码完成:msgid=%d,原因码=0x%02X", ack->msg_id,
             ack->reason_code);
    return MQTT_OK;
}
