#include <cstring>

#include <zep_mqtt/core/status.h>
#include <zep_mqtt/protocol/v311/packet.h>
#include <zep_mqtt/protocol/v311/wire.h>
#include <zep_mqtt/protocol/v50/property.h>
#include <zep_mqtt/protocol/v50/publish.h>

#include "log/log_lines.h"
#include "protocol/v50/decode.h"
#include "protocol/v50/packet_io.h"

namespace {

using zep::byte_reader;

// The shortest packet that is looked at.
constexpr uint32_t SHORTEST = 6;

int32_t read_flags(uint8_t first, mqtt50_publish *publish) {
    publish->retain = first & 1;
    publish->qos = first >> 1 & 3;
    publish->is_dup = first >> 3 & 1;
    if (first >> 4 != MQTT_PACKET_PUBLISH) {
        LOG_ERROR("MQTT5.0_PROTOCOL: 5.0 PUB解码:固定头非法 0x%02X", first);
        return MQTT_ERR_MALFORMED;
    }
    if (publish->qos == 3) {
        LOG_WARN("MQTT5.0_PROTOCOL: 5.0 PUB:QoS值非法，强制改为0");
        publish->qos = 0;
    }
    return MQTT_OK;
}

int32_t read_topic(byte_reader &body, mqtt50_publish *publish) {
    const uint16_t size = body.u16();
    const uint8_t *topic = size < sizeof mqtt50_publish::topic ? body.bytes(size) : nullptr;
    if (topic == nullptr) {
        LOG_ERROR("MQTT5.0_PROTOCOL: 5.0 PUB解码:主题长度非法 %d", size);
        return MQTT_ERR_INVALID_PARAM;
    }
    std::memcpy(publish->topic, topic, size);
    return MQTT_OK;
}

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

}  // namespace

int32_t zep::v50::decode_publish(const uint8_t *data, uint32_t length, uint32_t remaining_max,
                                 mqtt50_publish *publish) {
    if (data == nullptr || length < SHORTEST || publish == nullptr) {
        LOG_ERROR("MQTT5.0_PROTOCOL: 5.0 PUB解码:入参非法/报文过短 len=%d", length);
        return MQTT_ERR_INVALID_PARAM;
    }
    *publish = {};
    int32_t status = read_flags(data[0], publish);
    if (status != MQTT_OK) {
        return status;
    }
    zep::v50::received_packet packet = zep::v50::open_packet(data, length, remaining_max);
    byte_reader &body = packet.body;
    if (!body.ok()) {
        LOG_ERROR("MQTT5.0_PROTOCOL: 5.0 PUB解码:剩余长度解析失败/越界");
        return MQTT_ERR_MALFORMED;
    }
    if (body.left() < 2) {
        return MQTT_ERR_MALFORMED;
    }
    status = read_topic(body, publish);
    if (status != MQTT_OK) {
        return status;
    }
    if (publish->qos != 0) {
        publish->msg_id = body.u16();
        if (!body.ok()) {
            return MQTT_ERR_MALFORMED;
        }
    }
    read_properties(zep::v50::take_properties(body), publish);
    publish->payload_len = static_cast<uint32_t>(body.left());
    publish->payload = body.left() != 0 ? body.next() : nullptr;
    LOG_INFO("MQTT5.0_PROTOCOL: ✅ MQTT50 PUB解码完成:总长度=%d,主题=%s,QoS=%d,载荷长度=%d",
             packet.total_len, publish->topic, publish->qos, publish->payload_len);
    return MQTT_OK;
}

int32_t mqtt50_publish_decode(const uint8_t *data, uint32_t length, mqtt50_publish *publish) {
    return zep::v50::decode_publish(data, length, MQTT_REMAINING_LEN_MAX_ACCEPTED, publish);
}
