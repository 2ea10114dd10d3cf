#include <cstring>

#include <zep_mqtt/core/status.h>
#include <zep_mqtt/platform/memory.h>
#include <zep_mqtt/protocol/v311/packet.h>
#include <zep_mqtt/protocol/v311/wire.h>
#include <zep_mqtt/protocol/v50/property.h>
#include <zep_mqtt/protocol/v50/publish.h>

#include "log/log_lines.h"
#include "protocol/v50/packet_io.h"

namespace {

constexpr size_t LONGEST_TOPIC = sizeof mqtt50_publish::topic - 1;

bool carries_msg_id(const mqtt50_publish &publish) {
    return publish.qos == 1 || publish.qos == 2;
}

int32_t check(const mqtt50_publish &publish, size_t topic_len, uint32_t capacity) {
    if (topic_len == 0 || topic_len > LONGEST_TOPIC ||
        (publish.payload_len != 0 && publish.payload == nullptr) ||
        (carries_msg_id(publish) && publish.msg_id == 0)) {
        LOG_ERROR(
            "MQTT5.0_PROTOCOL: MQTT50 PUB: 主题/载荷/报文ID非法，topic_len=%d payload_len=%d "
            "msg_id=%d",
            static_cast<int>(topic_len), publish.payload_len, publish.msg_id);
        return MQTT_ERR_INVALID_PARAM;
    }
    const uint64_t needed = uint64_t{MQTT50_PUBLISH_HEADROOM} + topic_len + publish.payload_len;
    if (capacity < needed) {
        LOG_ERROR("MQTT5.0_PROTOCOL: MQTT50 PUB: 缓冲区过小");
        return MQTT_ERR_BUFFER_FULL;
    }
    if (needed > MQTT_REMAINING_LEN_MAX) {
        LOG_ERROR("MQTT5.0_PROTOCOL: MQTT50 PUB: 报文超过最大长度限制");
        return MQTT_ERR_PACKET_TOO_LARGE;
    }
    return MQTT_OK;
}

uint8_t fixed_header(const mqtt50_publish &publish) {
    const uint32_t flags =
        (publish.is_dup != 0 ? 8U : 0U) | (publish.qos & 3U) << 1 | (publish.retain != 0 ? 1U : 0U);
    return zep::v50::first_byte(MQTT_PACKET_PUBLISH, flags);
}

}  // namespace

int32_t mqtt50_publish_encode(const mqtt50_publish *publish, uint8_t *buffer, uint32_t *length) {
    if (publish == nullptr || buffer == nullptr || length == nullptr) {
        LOG_ERROR("MQTT5.0_PROTOCOL: MQTT50 PUB: 入参空指针");
        return MQTT_ERR_INVALID_PARAM;
    }
    const size_t topic_len = strnlen(publish->topic, sizeof publish->topic);
    const int32_t status = check(*publish, topic_len, *length);
    if (status != MQTT_OK) {
        return status;
    }
    zep::v50::properties collected;
    collected.add_u32(MQTT50_PROP_MESSAGE_EXPIRY, publish->message_expiry);
    const size_t remaining = 2 + topic_len + (carries_msg_id(*publish) ? 2 : 0) +
                             collected.encoded_size() + publish->payload_len;
    platform_memset_s(buffer, *length, 0, *length);
    zep::byte_writer packet =
        zep::v50::begin_packet(buffer, *length, fixed_header(*publish), remaining);
    packet.field(publish->topic, topic_len);
    if (carries_msg_id(*publish)) {
        packet.u16(publish->msg_id);
    }
    collected.write_to(packet);
    packet.bytes(publish->payload, publish->payload_len);
    *length = static_cast<uint32_t>(packet.size());
    LOG_INFO(
        "MQTT5.0_PROTOCOL: ✅ MQTT50 PUB编码完成:总长度=%d,主题=%s,QoS=%d,报文ID=%d,过期时间=%ds",
        *length, publish->topic, publish->qos, publish->msg_id, publish->message_expiry);
    return MQTT_OK;
}
