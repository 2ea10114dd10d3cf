#include <zep_mqtt/core/status.h>
#include <zep_mqtt/protocol/v311/wire.h>
#include <zep_mqtt/protocol/v50/ack.h>

#include "log/log_lines.h"
#include "protocol/v50/decode.h"
#include "protocol/v50/packet_io.h"

int32_t zep::v50::decode_ack(uint8_t type, const uint8_t *data, uint32_t length,
                             uint32_t remaining_max, mqtt50_ack *ack) {
    if (data == nullptr || length < 4 || ack == nullptr) {
        LOG_ERROR("MQTT5.0_PROTOCOL: 5.0 ACK解码:入参非法/报文过短 len=%d", length);
        return MQTT_ERR_INVALID_PARAM;
    }
    *ack = {};
    if (data[0] >> 4 != type) {
        LOG_ERROR("MQTT5.0_PROTOCOL: 5.0 ACK解码:报文类型不匹配 0x%02X", data[0]);
        return MQTT_ERR_MALFORMED;
    }
    zep::byte_reader body = zep::v50::open_packet(data, length, remaining_max).body;
    if (!body.ok()) {
        LOG_ERROR("MQTT5.0_PROTOCOL: 5.0 ACK解码:剩余长度解析失败");
        return MQTT_ERR_MALFORMED;
    }
    if (body.left() < 2) {
        return MQTT_ERR_MALFORMED;
    }
    ack->msg_id = body.u16();
    // Success and no properties may leave the reason code out (MQTT 5.0 §3.4.2.1).
    ack->reason_code = body.u8();
    LOG_INFO("MQTT5.0_PROTOCOL: ✅ MQTT50 ACK解码完成:类型=0x%02X,msgid=%d,原因码=0x%02X", type,
             ack->msg_id, ack->reason_code);
    return MQTT_OK;
}

int32_t mqtt50_ack_decode(uint8_t type, const uint8_t *data, uint32_t length, mqtt50_ack *ack) {
    return zep::v50::decode_ack(type, data, length, MQTT_REMAINING_LEN_MAX_ACCEPTED, ack);
}
