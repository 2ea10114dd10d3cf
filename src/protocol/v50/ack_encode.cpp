#include <zep_mqtt/core/status.h>
#include <zep_mqtt/protocol/v311/packet.h>
#include <zep_mqtt/protocol/v50/ack.h>

#include "log/log_lines.h"
#include "protocol/v50/encode.h"

namespace {

int32_t refuse_ack_buffer() {
    LOG_ERROR("MQTT5.0_PROTOCOL: MQTT50 ACK: 缓冲区过小（需≥10字节）");
    return MQTT_ERR_BUFFER_FULL;
}

}  // namespace

void zep::v50::write_ack(packet_writer &packet, const ack_view &ack) {
    packet.u16(ack.msg_id);
    packet.u8(ack.reason_code);
}

int32_t mqtt50_ack_encode(uint8_t type, const mqtt50_ack *ack, uint8_t *buffer, uint32_t *length) {
    if (ack == nullptr || buffer == nullptr || length == nullptr || ack->msg_id == 0) {
        LOG_ERROR("MQTT5.0_PROTOCOL: MQTT50 ACK: 入参非法/msgid为空");
        return MQTT_ERR_INVALID_PARAM;
    }
    if (*length < MQTT50_ACK_MIN_BUFFER) {
        return refuse_ack_buffer();
    }
    const uint32_t flags = type == MQTT_PACKET_PUBREL ? 2 : 0;  // MQTT 5.0 §2.1.3
    zep::packet_writer packet =
        zep::v50::begin_in_cleared(buffer, *length, zep::first_byte(type, flags));
    zep::v50::write_ack(packet, {ack->msg_id, ack->reason_code});
    if (!zep::v50::finish(packet, buffer, length)) {
        return refuse_ack_buffer();
    }
    LOG_INFO(
        "MQTT5.0_PROTOCOL: ✅ MQTT50 ACK编码完成:类型=0x%02X,msgid=%d,原因码=0x%02X,编码长度=%d",
        type, ack->msg_id, ack->reason_code, *length);
    return MQTT_OK;
}
