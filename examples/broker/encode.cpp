#include <stdexcept>

#include <zep_mqtt/protocol/v311/encoder.h>
#include <zep_mqtt/protocol/v311/packet.h>
#include <zep_mqtt/protocol/v50/ack.h>
#include <zep_mqtt/protocol/v50/connack.h>
#include <zep_mqtt/protocol/v50/publish.h>
#include <zep_mqtt/protocol/v50/suback.h>
#include <zep_mqtt/protocol/v50/unsuback.h>

#include "packets.h"

namespace zep_demo {

namespace {

constexpr size_t LARGEST_PACKET = 2048;

// Runs one of the library's encoders. What the broker hands over has been checked before: a refusal
// is a fault of the broker.
template <typename Encoder>
bytes laid_out_by(Encoder encode) {
    bytes buffer(LARGEST_PACKET);
    uint32_t length = LARGEST_PACKET;
    if (encode(buffer.data(), &length) != 0) {
        throw std::logic_error("the broker made a packet that cannot be encoded");
    }
    buffer.resize(length);
    return buffer;
}

bytes lay_out_v311(const mqtt_packet &packet) {
    return laid_out_by([&](uint8_t *buffer, uint32_t *length) {
        return mqtt_packet_encode(MQTT_VERSION_311, &packet, buffer, length);
    });
}

const uint8_t *data_of(const std::string &payload) {
    return reinterpret_cast<const uint8_t *>(payload.data());
}

// The whole seconds that are left, at least one (MQTT 5.0 §3.3.2.3.3); 0 for no expiry.
uint32_t seconds_left(const message &content) {
    if (!content.expires) {
        return 0;
    }
    const auto left = std::chrono::ceil<std::chrono::seconds>(*content.expires - steady::now());
    return left.count() < 1 ? 1 : static_cast<uint32_t>(left.count());
}

bytes encode_publish311(const message &content, uint16_t id) {
    mqtt_packet packet = {};
    packet.type = MQTT_PACKET_PUBLISH;
    packet.qos = content.qos;
    packet.retain = content.retain ? 1 : 0;
    packet.body.publish.topic = content.topic.c_str();
    packet.body.publish.payload = data_of(content.payload);
    packet.body.publish.payload_len = static_cast<uint32_t>(content.payload.size());
    packet.body.publish.msg_id = id;
    return lay_out_v311(packet);
}

bytes encode_publish50(const message &content, uint16_t id) {
    mqtt50_publish publish = {};
    content.topic.copy(publish.topic, sizeof publish.topic - 1);
    publish.qos = content.qos;
    publish.retain = content.retain ? 1 : 0;
    publish.msg_id = id;
    publish.payload_len = static_cast<uint32_t>(content.payload.size());
    publish.payload = data_of(content.payload);
    publish.message_expiry = seconds_left(content);
    return laid_out_by([&](uint8_t *buffer, uint32_t *length) {
        return mqtt50_publish_encode(&publish, buffer, length);
    });
}

bytes encode_acknowledgement311(uint8_t type, uint16_t id) {
    mqtt_packet packet = {};
    packet.type = type;
    packet.qos = type == MQTT_PACKET_PUBREL ? 1 : 0;
    packet.body.ack.msg_id = id;
    return lay_out_v311(packet);
}

bytes encode_suback311(uint16_t id, const bytes &codes) {
    std::vector<uint32_t> return_codes(codes.begin(), codes.end());
    mqtt_packet packet = {};
    packet.type = MQTT_PACKET_SUBACK;
    packet.body.suback.msg_id = id;
    packet.body.suback.return_codes = return_codes.data();
    packet.body.suback.code_count = static_cast<int32_t>(return_codes.size());
    return lay_out_v311(packet);
}

bytes encode_suback50(uint16_t id, const bytes &codes) {
    mqtt50_suback suback = {};
    suback.msg_id = id;
    suback.count = static_cast<uint8_t>(codes.size());
    std::copy(codes.begin(), codes.end(), suback.reason_codes);
    return laid_out_by([&](uint8_t *buffer, uint32_t *length) {
        return mqtt50_suback_encode(&suback, buffer, length);
    });
}

}  // namespace

bytes encode_connack(uint8_t version, uint8_t code) {
    if (version == MQTT_VERSION_50) {
        return laid_out_by([&](uint8_t *buffer, uint32_t *length) {
            return mqtt50_connack_encode(0, code, 0, 0, 0, buffer, length);
        });
    }
    mqtt_packet packet = {};
    packet.type = MQTT_PACKET_CONNACK;
    packet.body.connack.return_code = code;
    return lay_out_v311(packet);
}

bytes encode_publish(uint8_t version, const message &content, uint16_t id) {
    return version == MQTT_VERSION_50 ? encode_publish50(content, id)
                                      : encode_publish311(content, id);
}

bytes encode_acknowledgement(uint8_t version, uint8_t type, uint16_t id) {
    if (version != MQTT_VERSION_50) {
        return encode_acknowledgement311(type, id);
    }
    const mqtt50_ack ack = {id, 0};
    return laid_out_by([&](uint8_t *buffer, uint32_t *length) {
        return mqtt50_ack_encode(type, &ack, buffer, length);
    });
}

bytes encode_suback(uint8_t version, uint16_t id, const bytes &codes) {
    return version == MQTT_VERSION_50 ? encode_suback50(id, codes) : encode_suback311(id, codes);
}

bytes encode_unsuback(uint8_t version, uint16_t id) {
    if (version != MQTT_VERSION_50) {
        return encode_acknowledgement311(MQTT_PACKET_UNSUBACK, id);
    }
    const mqtt50_ack ack = {id, 0};
    return laid_out_by([&](uint8_t *buffer, uint32_t *length) {
        return mqtt50_unsuback_encode(&ack, buffer, length);
    });
}

bytes encode_pingresp() {
    mqtt_packet packet = {};
    packet.type = MQTT_PACKET_PINGRESP;
    return lay_out_v311(packet);
}

}  // namespace zep_demo
