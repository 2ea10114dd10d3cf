#include <zep_mqtt/core/status.h>
#include <zep_mqtt/protocol/v311/packet.h>
#include <zep_mqtt/protocol/v50/suback.h>

#include "core/limits.h"
#include "log/log_lines.h"
#include "protocol/common/packet_writer.h"
#include "protocol/v50/decode.h"
#include "protocol/v50/properties.h"

namespace {

constexpr uint32_t SHORTEST_SUBACK = 5;

int32_t refuse_suback_arguments() {
    LOG_ERROR("MQTT5.0_PROTOCOL: 5.0 SUBACK解码:入参非法/报文过短");
    return MQTT_ERR_INVALID_PARAM;
}

}  // namespace

namespace zep::v50 {

bool read_suback(const packet_view &packet, suback_view *suback) {
    byte_reader body = packet.body;
    suback->msg_id = body.u16();
    if (!body.ok()) {
        return false;
    }
    skip_properties(body);
    suback->codes = body.rest();
    return true;
}

int32_t decode_suback(const packet_view &packet, mqtt50_suback *suback) {
    if (packet.given < SHORTEST_SUBACK) {
        return refuse_suback_arguments();
    }
    *suback = {};
    suback_view view;
    if (packet.first() != first_byte(MQTT_PACKET_SUBACK) || !read_suback(packet, &view)) {
        return MQTT_ERR_MALFORMED;
    }
    suback->msg_id = view.msg_id;
    while (suback->count < view.codes.size && suback->count < MQTT50_SUBACK_CODES_MAX) {
        const uint8_t code = view.codes.data[suback->count];
        suback->reason_codes[suback->count] = code;
        suback->granted_qos[suback->count] = code & 3;
        ++suback->count;
    }
    LOG_INFO("MQTT5.0_PROTOCOL: ✅ MQTT50 SUBACK解码完成:msgid=%d,订阅数=%d", suback->msg_id,
             suback->count);
    return MQTT_OK;
}

}  // namespace zep::v50

int32_t mqtt50_suback_decode(const uint8_t *data, int32_t length, mqtt50_suback *suback) {
    if (data == nullptr || length < 0 || suback == nullptr) {
        return refuse_suback_arguments();
    }
    const auto size = static_cast<uint32_t>(length);
    return zep::v50::decode_suback(zep::open_packet(data, size, zep::REMAINING_MAX), suback);
}
