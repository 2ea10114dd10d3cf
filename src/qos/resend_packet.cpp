#include "qos/resend_packet.h"

#include <zep_mqtt/platform/text.h>
#include <zep_mqtt/protocol/v311/encoder.h>
#include <zep_mqtt/protocol/v311/wire.h>
#include <zep_mqtt/protocol/v50/ack.h>
#include <zep_mqtt/protocol/v50/publish.h>

namespace zep {
namespace {

constexpr uint64_t ACK_311_SIZE = 4;

int32_t encode_publish_again_50(uint8_t qos, uint32_t expiry, const mqtt_message &msg, uint8_t *buf,
                                uint32_t *len) {
    mqtt50_publish publish = {};
    platform_strcpy_s(publish.topic, sizeof publish.topic, msg.topic);
    publish.qos = qos;
    publish.retain = msg.retain;
    publish.msg_id = msg.msg_id;
    publish.payload_len = msg.payload_len;
    publish.payload = msg.payload;
    publish.is_dup = 1;
    publish.message_expiry = expiry;
    return mqtt50_publish_encode(&publish, buf, len);
}

}  // namespace

uint64_t publish_room(uint32_t version, const mqtt_message &msg) {
    const uint64_t topic_and_payload = uint64_t{platform_strlen(msg.topic)} + msg.payload_len;
    if (version == MQTT_VERSION_50) {
        return topic_and_payload + MQTT50_PUBLISH_HEADROOM;
    }
    const uint64_t remaining = topic_and_payload + sizeof(uint16_t) + sizeof msg.msg_id;
    uint8_t scratch[MQTT_REMAINING_LEN_MAX_BYTES];
    return 1 + mqtt_write_remaining_length(scratch, static_cast<uint32_t>(remaining)) + remaining;
}

int32_t encode_publish_again(uint32_t version, uint8_t qos, uint32_t expiry,
                             const mqtt_message &msg, uint8_t *buf, uint32_t *len) {
    if (version == MQTT_VERSION_50) {
        return encode_publish_again_50(qos, expiry, msg, buf, len);
    }
    mqtt_packet packet = {};
    packet.type = MQTT_PACKET_PUBLISH;
    packet.dup = 1;
    packet.qos = qos;
    packet.retain = msg.retain;
    packet.body.publish = msg;
    return mqtt_packet_encode(version, &packet, buf, len);
}

int32_t encode_pubrel(uint32_t version, uint16_t msg_id, uint8_t *buf, uint32_t *len) {
    mqtt_packet packet = {};
    packet.type = MQTT_PACKET_PUBREL;
    packet.qos = 1;
    packet.body.ack.msg_id = msg_id;
    return mqtt_packet_encode(version, &packet, buf, len);
}

uint64_t pubrel_room(uint32_t version) {
    return version == MQTT_VERSION_50 ? uint64_t{MQTT50_ACK_MIN_BUFFER} : ACK_311_SIZE;
}

int32_t encode_pubrel_again(uint32_t version, uint16_t msg_id, uint8_t *buf, uint32_t *len) {
    if (version == MQTT_VERSION_50) {
        const mqtt50_ack ack = {msg_id, 0};
        return mqtt50_ack_encode(MQTT_PACKET_PUBREL, &ack, buf, len);
    }
    return encode_pubrel(version, msg_id, buf, len);
}

}  // namespace zep
