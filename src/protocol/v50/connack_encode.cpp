#include <zep_mqtt/core/status.h>
#include <zep_mqtt/protocol/v311/packet.h>
#include <zep_mqtt/protocol/v50/connack.h>

#include "log/log_lines.h"
#include "protocol/v50/encode.h"
#include "protocol/v50/properties.h"

namespace {

constexpr uint32_t SMALLEST_CONNACK_BUFFER = 6;

int32_t refuse(int32_t status) {
    LOG_ERROR("MQTT5.0_PROTOCOL: 50 CONNACK编码:入参非法/缓冲区过小");
    return status;
}

}  // namespace

int32_t mqtt50_connack_encode(uint8_t session_present, uint8_t reason_code, uint32_t session_expiry,
                              uint32_t max_packet_size, uint16_t receive_maximum, uint8_t *buffer,
                              uint32_t *length) {
    if (buffer == nullptr || length == nullptr || *length < SMALLEST_CONNACK_BUFFER) {
        return refuse(MQTT_ERR_INVALID_PARAM);
    }
    zep::packet_writer packet =
        zep::v50::begin_in_cleared(buffer, *length, zep::first_byte(MQTT_PACKET_CONNACK));
    packet.u8(session_present != 0 ? 1 : 0);
    packet.u8(reason_code);
    {
        zep::v50::properties given(packet);
        given.add_u32(MQTT50_PROP_SESSION_EXPIRY, session_expiry);
        given.add_u32(MQTT50_PROP_MAX_PACKET_SIZE, max_packet_size);
        given.add_u16(MQTT50_PROP_RECEIVE_MAXIMUM, receive_maximum);
    }
    if (!zep::v50::finish(packet, buffer, length)) {
        return refuse(MQTT_ERR_BUFFER_FULL);
    }
    LOG_INFO("MQTT5.0_PROTOCOL: ✅ MQTT50 CONNACK编码完成:总长度=%d 原因码=0x%02X", *length,
             reason_code);
    return MQTT_OK;
}
