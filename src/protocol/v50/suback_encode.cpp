#include <zep_mqtt/core/status.h>
#include <zep_mqtt/protocol/v311/packet.h>
#include <zep_mqtt/protocol/v50/suback.h>

#include "log/log_lines.h"
#include "protocol/v50/encode.h"
#include "protocol/v50/properties.h"

namespace {

int32_t refuse_suback_buffer() {
    LOG_ERROR("MQTT5.0_PROTOCOL: MQTT50 SUBACK: 缓冲区过小");
    return MQTT_ERR_BUFFER_FULL;
}

}  // namespace

int32_t mqtt50_suback_encode(const mqtt50_suback *suback, uint8_t *buffer, uint32_t *length) {
    if (suback == nullptr || buffer == nullptr || length == nullptr || suback->msg_id == 0 ||
        suback->count == 0 || suback->count > MQTT50_SUBACK_CODES_MAX) {
        LOG_ERROR("MQTT5.0_PROTOCOL: MQTT50 SUBACK: 入参非法");
        return MQTT_ERR_INVALID_PARAM;
    }
    if (*length <= suback->count + 7U) {
        return refuse_suback_buffer();
    }
    zep::packet_writer packet(buffer, *length, zep::first_byte(MQTT_PACKET_SUBACK));
    packet.u16(suback->msg_id);
    zep::v50::write_no_properties(packet);
    packet.bytes(suback->reason_codes, suback->count);
    if (!zep::v50::finish(packet, buffer, length)) {
        return refuse_suback_buffer();
    }
    LOG_INFO("MQTT5.0_PROTOCOL: ✅ MQTT50 SUBACK编码完成:msgid=%d,订阅数=%d", suback->msg_id,
             suback->count);
    return MQTT_OK;
}
