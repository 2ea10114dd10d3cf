#include <zep_mqtt/core/status.h>
#include <zep_mqtt/platform/memory.h>
#include <zep_mqtt/protocol/v311/packet.h>
#include <zep_mqtt/protocol/v50/disconnect.h>
#include <zep_mqtt/protocol/v50/property.h>

#include "log/log_lines.h"
#include "protocol/v50/packet_io.h"

namespace {

constexpr uint32_t SMALLEST_DISCONNECT_BUFFER = 16;

}  // namespace

int32_t mqtt50_disconnect_encode(const mqtt50_disconnect *disconnect, uint8_t *buffer,
                                 uint32_t *length) {
    if (disconnect == nullptr || buffer == nullptr || length == nullptr) {
        LOG_ERROR("MQTT5.0_PROTOCOL: MQTT50 DISCONN: 入参空指针");
        return MQTT_ERR_INVALID_PARAM;
    }
    if (*length < SMALLEST_DISCONNECT_BUFFER) {
        LOG_ERROR("MQTT5.0_PROTOCOL: MQTT50 DISCONN: 缓冲区过小");
        return MQTT_ERR_BUFFER_FULL;
    }
    platform_memset_s(buffer, *length, 0, *length);
    zep::v50::properties collected;
    collected.add_u32(MQTT50_PROP_SESSION_EXPIRY, disconnect->session_expiry);
    zep::byte_writer packet =
        zep::v50::begin_packet(buffer, *length, zep::v50::first_byte(MQTT_PACKET_DISCONNECT),
                               1 + collected.encoded_size());
    packet.u8(disconnect->reason_code);
    collected.write_to(packet);
    *length = static_cast<uint32_t>(packet.size());
    LOG_INFO("MQTT5.0_PROTOCOL: ✅ MQTT50 DISCONN编码完成:总长度=%d,断开原因码=0x%02X,会话过期=%ds",
             *length, disconnect->reason_code, disconnect->session_expiry);
    return MQTT_OK;
}
