#include <zep_mqtt/core/status.h>
#include <zep_mqtt/protocol/v311/packet.h>
#include <zep_mqtt/protocol/v311/wire.h>
#include <zep_mqtt/protocol/v50/unsuback.h>

#include "log/log_lines.h"
#include "protocol/v50/decode.h"
#include "protocol/v50/packet_io.h"

int32_t zep::v50::decode_unsuback(const uint8_t *data, uint32_t length, uint32_t remaining_max,
                                  mqtt50_ack *ack) {
    if (data == nullptr || length < 4 || ack == nullptr) {
        LOG_ERROR("MQTT5.0_PROTOCOL: 5.0 UNSUBACK解码:入参非法/报文过短");
        return MQTT_ERR_INVALID_PARAM;
    }
    *ack = {};
    if (data[0] != zep::v50::first_byte(MQTT_PACKET_UNSUBACK)) {
        return MQTT_ERR_MALFORMED;
    }
    zep::byte_reader body = zep::v50::open_packet(data, length, remaining_max).body;
    const uint16_t msg_id = body.u16();
    if (!body.ok()) {
        return MQTT_ERR_MALFORMED;
    }
    ack->msg_id = msg_id;
    zep::v50::skip_properties(body);
    ack->reason_code = body.u8();
    LOG_INFO("MQTT5.0_PROTOCOL: ✅ MQTT50 UNSUBACK解码完成:msgid=%d,原因码=0x%02X", ack->msg_id,
             ack->reason_code);
    return MQTT_OK;
}

int32_t mqtt50_unsuback_decode(const uint8_t *data, uint32_t length, mqtt50_ack *ack) {
    return zep::v50::decode_unsuback(data, length, MQTT_REMAINING_LEN_MAX_ACCEPTED, ack);
}
