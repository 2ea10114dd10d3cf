#include <cstring>

#include <zep_mqtt/core/status.h>
#include <zep_mqtt/protocol/v311/packet.h>
#include <zep_mqtt/protocol/v50/property.h>
#include <zep_mqtt/protocol/v50/publish.h>

#include "core/limits.h"
#include "log/log_lines.h"
#include "protocol/v50/decode.h"
#include "protocol/v50/properties.h"

namespace {

using zep::byte_reader;
using zep::packet_view;

// The shortest packet that is looked at, and the shortest body.
constexpr uint32_t SHORTEST = 6;
constexpr uint32_t SHORTEST_BODY = 2;
constexpr uint8_t NO_QOS = 3;

int32_t refuse_arguments(uint32_t length) {
    LOG_ERROR("MQTT5.0_PROTOCOL: 5.0 PUB解码:入参非法/报文过短 len=%d", length);
    return MQTT_ERR_INVALID_PARAM;
}

int32_t check(const packet_view &packet) {
    if (packet.type() != MQTT_PACKET_PUBLISH) {
        LOG_ERROR("MQTT5.0_PROTOCOL: 5.0 PUB解码:固定头非法 0x%02X", packet.first());
        return MQTT_ERR_MALFORMED;
    }
    if ((packet.flags() >> 1 & 3) == NO_QOS) {
        LOG_WARN("MQTT5.0_PROTOCOL: 5.0 PUB:QoS值非法，强制改为0");
    }
    if (!packet.body.ok()) {
        LOG_ERROR("MQTT5.0_PROTOCOL: 5.0 PUB解码:剩余长度解析失败/越界");
        return MQTT_ERR_MALFORMED;
    }
    return packet.remaining < SHORTEST_BODY ? MQTT_ERR_MALFORMED : MQTT_OK;
}

int32_t check_topic(const packet_view &packet, zep::v50::publish_fault fault) {
    byte_reader body = packet.body;
    const uint16_t size = body.u16();
    if (fault == zep::v50::publish_fault::topic || size > zep::TOPIC_MAX) {
        LOG_ERROR("MQTT5.0_PROTOCOL: 5.0 PUB解码:主题长度非法 %d", size);
        return MQTT_ERR_INVALID_PARAM;
    }
    return MQTT_OK;
}

// Up to the first property that the library does not know.
void read_properties(byte_reader section, mqtt50_publish *publish) {
    while (section.left() != 0) {
        const uint8_t id = section.u8();
        if (id != MQTT50_PROP_MESSAGE_EXPIRY) {
            LOG_WARN("MQTT5.0_PROTOCOL: 5.0 PUB解码:忽略未知属性ID=0x%02X", id);
            return;
        }
        if (section.left() >= sizeof publish->message_expiry) {
            publish->message_expiry = section.u32();
        }
    }
}

void fill(const zep::publish_view &view, mqtt50_publish *publish) {
    if (!view.topic.empty()) {
        std::memcpy(publish->topic, view.topic.data(), view.topic.size());
    }
    publish->qos = view.qos;
    publish->retain = view.retain ? 1 : 0;
    publish->is_dup = view.dup ? 1 : 0;
    publish->msg_id = view.msg_id;
    publish->payload = view.payload.data;
    publish->payload_len = static_cast<uint32_t>(view.payload.size);
}

}  // namespace

namespace zep::v50 {

publish_fault read_publish(const packet_view &packet, publish_view *publish,
                           byte_reader *properties) {
    const uint8_t flags = packet.flags();
    const uint8_t qos = flags >> 1 & 3;
    publish->dup = (flags & 8) != 0;
    publish->qos = qos == NO_QOS ? uint8_t{0} : qos;
    publish->retain = (flags & 1) != 0;
    byte_reader body = packet.body;
    publish->topic = body.field().text();
    if (!body.ok()) {
        return publish_fault::topic;
    }
    if (publish->qos != 0) {
        publish->msg_id = body.u16();
    }
    if (!body.ok()) {
        return publish_fault::msg_id;
    }
    *properties = take_properties(body);
    publish->payload = body.rest();
    return publish_fault::none;
}

int32_t decode_publish(const packet_view &packet, mqtt50_publish *publish) {
    if (packet.given < SHORTEST) {
        return refuse_arguments(packet.given);
    }
    *publish = {};
    int32_t status = check(packet);
    if (status != MQTT_OK) {
        return status;
    }
    publish_view view;
    byte_reader properties(nullptr, 0);
    const publish_fault fault = read_publish(packet, &view, &properties);
    status = check_topic(packet, fault);
    if (status != MQTT_OK) {
        return status;
    }
    if (fault != publish_fault::none) {
        return MQTT_ERR_MALFORMED;
    }
    fill(view, publish);
    read_properties(properties, publish);
    LOG_INFO("MQTT5.0_PROTOCOL: ✅ MQTT50 PUB解码完成:总长度=%d,主题=%s,QoS=%d,载荷长度=%d",
             packet.length, publish->topic, publish->qos, publish->payload_len);
    return MQTT_OK;
}

}  // namespace zep::v50

int32_t mqtt50_publish_decode(const uint8_t *data, uint32_t length, mqtt50_publish *publish) {
    if (data == nullptr || publish == nullptr) {
        return refuse_arguments(length);
    }
    return zep::v50::decode_publish(zep::open_packet(data, length, zep::REMAINING_MAX), publish);
}
