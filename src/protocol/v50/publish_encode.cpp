#include <cstring>

#include <zep_mqtt/core/status.h>
#include <zep_mqtt/protocol/v311/packet.h>
#include <zep_mqtt/protocol/v311/wire.h>
#include <zep_mqtt/protocol/v50/property.h>
#include <zep_mqtt/protocol/v50/publish.h>

#include "core/limits.h"
#include "log/log_lines.h"
#include "protocol/v50/encode.h"
#include "protocol/v50/properties.h"

namespace {

bool carries_msg_id(uint8_t qos) {
    return qos == 1 || qos == 2;
}

int32_t refuse_publish_buffer() {
    LOG_ERROR("MQTT5.0_PROTOCOL: MQTT50 PUB: 缓冲区过小");
    return MQTT_ERR_BUFFER_FULL;
}

int32_t check(const mqtt50_publish &publish, size_t topic_len, uint32_t capacity) {
    if (topic_len == 0 || topic_len > zep::TOPIC_MAX ||
        (publish.payload_len != 0 && publish.payload == nullptr) ||
        (carries_msg_id(publish.qos) && publish.msg_id == 0)) {
        LOG_ERROR(
            "MQTT5.0_PROTOCOL: MQTT50 PUB: 主题/载荷/报文ID非法，topic_len=%d payload_len=%d "
            "msg_id=%d",
            static_cast<int>(topic_len), publish.payload_len, publish.msg_id);
        return MQTT_ERR_INVALID_PARAM;
    }
    const uint64_t needed = uint64_t{MQTT50_PUBLISH_HEADROOM} + topic_len + publish.payload_len;
    if (capacity < needed) {
        return refuse_publish_buffer();
    }
    if (needed > MQTT_REMAINING_LEN_MAX) {
        LOG_ERROR("MQTT5.0_PROTOCOL: MQTT50 PUB: 报文超过最大长度限制");
        return MQTT_ERR_PACKET_TOO_LARGE;
    }
    return MQTT_OK;
}

zep::publish_view view_of(const mqtt50_publish &publish, size_t topic_len) {
    zep::publish_view view;
    view.topic = {publish.topic, topic_len};
    view.payload = {publish.payload, publish.payload_len};
    view.qos = publish.qos;
    view.retain = publish.retain != 0;
    view.dup = publish.is_dup != 0;
    view.msg_id = publish.msg_id;
    view.message_expiry = publish.message_expiry;
    return view;
}

}  // namespace

void zep::v50::write_publish(packet_writer &packet, const publish_view &publish) {
    packet.text(publish.topic);
    if (carries_msg_id(publish.qos)) {
        packet.u16(publish.msg_id);
    }
    {
        properties given(packet);
        given.add_u32(MQTT50_PROP_MESSAGE_EXPIRY, publish.message_expiry);
    }
    packet.bytes(publish.payload.data, publish.payload.size);
}

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
    const zep::publish_view view = view_of(*publish, topic_len);
    zep::packet_writer packet = zep::v50::begin_in_cleared(
        buffer, *length, zep::first_byte(MQTT_PACKET_PUBLISH, zep::publish_flags(view)));
    zep::v50::write_publish(packet, view);
    if (!zep::v50::finish(packet, buffer, length)) {
        return refuse_publish_buffer();
    }
    LOG_INFO(
        "MQTT5.0_PROTOCOL: ✅ MQTT50 PUB编码完成:总长度=%d,主题=%s,QoS=%d,报文ID=%d,过期时间=%ds",
        *length, publish->topic, publish->qos, publish->msg_id, publish->message_expiry);
    return MQTT_OK;
}
