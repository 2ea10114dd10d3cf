#include <zep_mqtt/core/status.h>
#include <zep_mqtt/protocol/v311/packet.h>
#include <zep_mqtt/protocol/v311/wire.h>
#include <zep_mqtt/protocol/v50/suback.h>

#include "log/log_lines.h"
#include "protocol/v50/decode.h"
#include "protocol/v50/packet_io.h"

int32_t zep::v50::decode_suback(const uint8_t *data, int32_t length, uint32_t remaining_max,
                                mqtt50_suback *suback) {
    if (data == nullptr || length < 5 || suback == nullptr) {
        LOG_ERROR("MQTT5.0_PROTOCOL: 5.0 SUBACK解码:入参非法/报文过短");
        return MQTT_ERR_INVALID_PARAM;
    }
    *suback = {};
    if (data[0] != zep::v50::first_byte(MQTT_PACKET_SUBACK)) {
        return MQTT_ERR_MALFORMED;
    }
    zep::byte_reader body =
        zep::v50::open_packet(data, static_cast<size_t>(length), remaining_max).body;
    const uint16_t msg_id = body.u16();
    if (!body.ok()) {
        return MQTT_ERR_MALFORMED;
    }
    suback->msg_id = msg_id;
    zep::v50::skip_properties(body);
    while (body.left() != 0 && suback->count < MQTT50_SUBACK_CODES_MAX) {
        const uint8_t code = body.u8();
        suback->reason_codes[suback->count] = code;
        suback->granted_qos[suback->count] = code & 3;
        ++suback->count;
    }
    LOG_INFO("MQTT5.0_PROTOCOL: ✅ MQTT50 SUBACK解码完成:msgid=%d,订阅数=%d", suback->msg_id,
             suback->count);
    return MQTT_OK;
}

int32_t mqtt50_suback_decode(const uint8_t *data, int32_t length, mqtt50_suback *suback) {
    return zep::v50::decode_suback(data, length, MQTT_REMAINING_LEN_MAX_ACCEPTED, suback);
}
