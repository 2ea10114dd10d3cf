#include <zep_mqtt/core/status.h>
#include <zep_mqtt/platform/memory.h>
#include <zep_mqtt/protocol/v311/packet.h>
#include <zep_mqtt/protocol/v50/connack.h>

#include "log/log_lines.h"
#include "protocol/v50/packet_io.h"

namespace {

constexpr uint32_t SMALLEST_CONNACK_BUFFER = 6;

}  // namespace

int32_t mqtt50_connack_encode(uint8_t session_present, uint8_t reason_code, uint32_t session_expiry,
                              uint32_t max_packet_size, uint16_t receive_maximum, uint8_t *buffer,
                              uint32_t *length) {
    if (buffer == nullptr || length == nullptr || *length < SMALLEST_CONNACK_BUFFER) {
        LOG_ERROR("MQTT5.0_PROTOCOL: 50 CONNACK编码:入参非法/缓冲区过小");
        return MQTT_ERR_INVALID_PARAM;
    }
    zep::v50::properties collected;
    collected.add_u32(MQTT50_PROP_SESSION_EXPIRY, session_expiry);
    collected.add_u32(MQTT50_PROP_MAX_PACKET_SIZE, max_packet_size);
    collected.add_u16(MQTT50_PROP_RECEIVE_MAXIMUM, receive_maximum);
    const size_t remaining = 2 + collected.encoded_size();
    if (zep::v50::packet_size(remaining) > *length) {
        LOG_ERROR("MQTT5.0_PROTOCOL: 50 CONNACK编码:入参非法/缓冲区过小");
        return MQTT_ERR_BUFFER_FULL;
    }
    platform_memset_s(buffer, *length, 0, *length);
    zep::byte_writer packet = zep::v50::begin_packet(
        buffer, *length, zep::v50::first_byte(MQTT_PACKET_CONNACK), remaining);
    packet.u8(session_present != 0 ? 1 : 0);
    packet.u8(reason_code);
    collected.write_to(packet);
    *length = static_cast<uint32_t>(packet.size());
    LOG_INFO("MQTT5.0_PROTOCOL: ✅ MQTT50 CONNACK编码完成:总长度=%d 原因码=0x%02X", *length,
             reason_code);
    return MQTT_OK;
}
