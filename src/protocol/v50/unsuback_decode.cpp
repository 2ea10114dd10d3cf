#include <zep_mqtt/core/status.h>
#include <zep_mqtt/protocol/v311/packet.h>
#include <zep_mqtt/protocol/v50/unsuback.h>

#include "core/limits.h"
#include "log/log_lines.h"
#include "protocol/common/packet_writer.h"
#include "protocol/v50/decode.h"

namespace {

constexpr uint32_t SHORTEST_UNSUBACK = 4;

int32_t refuse_unsuback_arguments() {
    LOG_ERROR("MQTT5.0_PROTOCOL: 5.0 UNSUBACK解码:入参非法/报文过短");
    return MQTT_ERR_INVALID_PARAM;
}

}  // namespace

int32_t zep::v50::decode_unsuback(const packet_view &packet, mqtt50_ack *ack) {
    if (packet.given < SHORTEST_UNSUBACK) {
        return refuse_unsuback_arguments();
    }
    *ack = {};
    suback_view view;
    if (packet.first() != first_byte(MQTT_PACKET_UNSUBACK) || !read_suback(packet, &view)) {
        return MQTT_ERR_MALFORMED;
    }
    ack->msg_id = view.msg_id;
    ack->reason_code = view.codes.size == 0 ? uint8_t{0} : view.codes.data[0];
    LOG_INFO("MQTT5.0_PROTOCOL: ✅ MQTT50 UNSUBACK解码完成:msgid=%d,原因码=0x%02X", ack->msg_id,
             ack->reason_code);
    return MQTT_OK;
}

int32_t mqtt50_unsuback_decode(const uint8_t *data, uint32_t length, mqtt50_ack *ack) {
    if (data == nullptr || ack == nullptr) {
        return refuse_unsuback_arguments();
    }
    return zep::v50::decode_unsuback(zep::open_packet(data, length, zep::REMAINING_MAX), ack);
}
