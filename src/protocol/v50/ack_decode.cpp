#include <zep_mqtt/core/status.h>
#include <zep_mqtt/protocol/v50/ack.h>

#include "core/limits.h"
#include "log/log_lines.h"
#include "protocol/v50/decode.h"

namespace {

constexpr uint32_t SHORTEST = 4;

int32_t refuse_arguments(uint32_t length) {
    LOG_ERROR("MQTT5.0_PROTOCOL: 5.0 ACK解码:入参非法/报文过短 len=%d", length);
    return MQTT_ERR_INVALID_PARAM;
}

}  // namespace

namespace zep::v50 {

bool read_ack(const packet_view &packet, ack_view *ack) {
    byte_reader body = packet.body;
    ack->msg_id = body.u16();
    if (!body.ok()) {
        return false;
    }
    // Success and no properties may leave the reason code out (MQTT 5.0 §3.4.2.1).
    ack->reason_code = body.u8();
    return true;
}

int32_t decode_ack(uint8_t type, const packet_view &packet, mqtt50_ack *ack) {
    if (packet.given < SHORTEST) {
        return refuse_arguments(packet.given);
    }
    *ack = {};
    if (packet.type() != type) {
        LOG_ERROR("MQTT5.0_PROTOCOL: 5.0 ACK解码:报文类型不匹配 0x%02X", packet.first());
        return MQTT_ERR_MALFORMED;
    }
    if (!packet.body.ok()) {
        LOG_ERROR("MQTT5.0_PROTOCOL: 5.0 ACK解码:剩余长度解析失败");
        return MQTT_ERR_MALFORMED;
    }
    ack_view view;
    if (!read_ack(packet, &view)) {
        return MQTT_ERR_MALFORMED;
    }
    *ack = {view.msg_id, view.reason_code};
    LOG_INFO("MQTT5.0_PROTOCOL: ✅ MQTT50 ACK解码完成:类型=0x%02X,msgid=%d,原因码=0x%02X", type,
             ack->msg_id, ack->reason_code);
    return MQTT_OK;
}

}  // namespace zep::v50

int32_t mqtt50_ack_decode(uint8_t type, const uint8_t *data, uint32_t length, mqtt50_ack *ack) {
    if (data == nullptr || ack == nullptr) {
        return refuse_arguments(length);
    }
    return zep::v50::decode_ack(type, zep::open_packet(data, length, zep::REMAINING_MAX), ack);
}
