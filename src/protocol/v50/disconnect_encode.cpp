#include <zep_mqtt/core/status.h>
#include <zep_mqtt/protocol/v311/packet.h>
#include <zep_mqtt/protocol/v50/disconnect.h>
#include <zep_mqtt/protocol/v50/property.h>

#include "log/log_lines.h"
#include "protocol/v50/encode.h"
#include "protocol/v50/properties.h"

namespace {

constexpr uint32_t SMALLEST_DISCONNECT_BUFFER = 16;

int32_t refuse_disconnect_buffer() {
    LOG_ERROR("MQTT5.0_PROTOCOL: MQTT50 DISCONN: 缓冲区过小");
    return MQTT_ERR_BUFFER_FULL;
}

}  // namespace

void zep::v50::write_disconnect(packet_writer &packet, uint8_t reason_code,
                                uint32_t session_expiry) {
    packet.u8(reason_code);
    properties given(packet);
    given.add_u32(MQTT50_PROP_SESSION_EXPIRY, session_expiry);
}

int32_t mqtt50_disconnect_encode(const mqtt50_disconnect *disconnect, uint8_t *buffer,
                                 uint32_t *length) {
    if (disconnect == nullptr || buffer == nullptr || length == nullptr) {
        LOG_ERROR("MQTT5.0_PROTOCOL: MQTT50 DISCONN: 入参空指针");
        return MQTT_ERR_INVALID_PARAM;
    }
    if (*length < SMALLEST_DISCONNECT_BUFFER) {
        return refuse_disconnect_buffer();
    }
    zep::packet_writer packet =
        zep::v50::begin_in_cleared(buffer, *length, zep::first_byte(MQTT_PACKET_DISCONNECT));
    zep::v50::write_disconnect(packet, disconnect->reason_code, disconnect->session_expiry);
    if (!zep::v50::finish(packet, buffer, length)) {
        return refuse_disconnect_buffer();
    }
    LOG_INFO("MQTT5.0_PROTOCOL: ✅ MQTT50 DISCONN编码完成:总长度=%d,断开原因码=0x%02X,会话过期=%ds",
             *length, disconnect->reason_code, disconnect->session_expiry);
    return MQTT_OK;
}
