#include <iterator>

#include <zep_mqtt/core/status.h>
#include <zep_mqtt/protocol/v311/encoder.h>
#include <zep_mqtt/protocol/v311/wire.h>

#include "log/log_lines.h"
#include "protocol/v311/encode.h"

namespace {

using namespace zep::v311;

using body_encoder = int32_t (*)(const mqtt_packet &record, zep::packet_writer &packet);

// By packet type; null for a packet that is its fixed header alone.
constexpr body_encoder BODY_ENCODERS[] = {
    nullptr,             // no type
    encode_connect,      // CONNECT
    encode_connack,      // CONNACK
    encode_publish,      // PUBLISH
    encode_ack,          // PUBACK
    encode_ack,          // PUBREC
    encode_ack,          // PUBREL
    encode_ack,          // PUBCOMP
    encode_subscribe,    // SUBSCRIBE
    encode_suback,       // SUBACK
    encode_unsubscribe,  // UNSUBSCRIBE
    encode_ack,          // UNSUBACK
    nullptr,             // PINGREQ
    nullptr,             // PINGRESP
    nullptr,             // DISCONNECT
};
static_assert(std::size(BODY_ENCODERS) == MQTT_PACKET_DISCONNECT + 1);

int32_t check_packet_id(const mqtt_packet &packet) {
    if (packet.qos == 0) {
        return MQTT_OK;
    }
    if (packet.type < MQTT_PACKET_PUBLISH || packet.type > MQTT_PACKET_UNSUBACK) {
        LOG_ERROR("mqtt_packet_encode_v311: 非法报文类型获取msgid");
        return MQTT_ERR_INVALID_PARAM;
    }
    // Every variant but PUBLISH begins with its identifier.
    const uint16_t id =
        packet.type == MQTT_PACKET_PUBLISH ? packet.body.publish.msg_id : packet.body.ack.msg_id;
    const int32_t status = validate_packet_id(MQTT_VERSION_311, id);
    if (status != MQTT_OK) {
        LOG_ERROR("mqtt_packet_encode_v311: PacketID校验失败, msg_id=%d", id);
    }
    return status;
}

int32_t check_type(const mqtt_packet &packet) {
    if (packet.type < MQTT_PACKET_CONNECT || packet.type > MQTT_PACKET_DISCONNECT) {
        LOG_ERROR("mqtt_packet_encode_v311: 未知的MQTT报文类型 type=%d", packet.type);
        return MQTT_ERR_INVALID_PARAM;
    }
    // The fixed header has two QoS bits; a third would set DUP, a fourth the type.
    return packet.qos <= 3 ? MQTT_OK : MQTT_ERR_INVALID_PARAM;
}

uint8_t fixed_header(const mqtt_packet &packet) {
    if (packet.type == MQTT_PACKET_CONNECT) {
        return zep::first_byte(MQTT_PACKET_CONNECT);
    }
    const uint32_t dup = packet.dup != 0 ? 0x08 : 0;
    const uint32_t retain = packet.retain != 0 ? 0x01 : 0;
    return zep::first_byte(packet.type, packet.qos << 1 | dup | retain);
}

int32_t finish(zep::packet_writer &packet, uint32_t *len) {
    if (!packet.ok()) {
        return MQTT_ERR_INVALID_PARAM;
    }
    const size_t remaining = packet.remaining();
    if (remaining > MQTT_REMAINING_LEN_MAX) {
        LOG_ERROR("剩余长度校验失败: len=%u", static_cast<uint32_t>(remaining));
        return MQTT_ERR_INVALID_PARAM;
    }
    if (!packet.finish()) {
        LOG_ERROR("缓冲区不足，需要长度=%d，实际长度=%d",
                  static_cast<uint32_t>(zep::packet_size(remaining)), *len);
        return MQTT_ERR_INVALID_PARAM;
    }
    *len = static_cast<uint32_t>(packet.size());
    return MQTT_OK;
}

}  // namespace

int32_t mqtt_packet_encode_v311(const mqtt_packet *packet, uint8_t *buf, uint32_t *len) {
    if (packet == nullptr || buf == nullptr || len == nullptr || *len < 1) {
        LOG_ERROR("mqtt_packet_encode_v311: 入参无效/缓冲区为空");
        return MQTT_ERR_INVALID_PARAM;
    }
    int32_t status = check_packet_id(*packet);
    if (status == MQTT_OK) {
        status = check_type(*packet);
    }
    if (status != MQTT_OK) {
        return status;
    }
    zep::packet_writer writer(buf, *len, fixed_header(*packet));
    const body_encoder encode_body = BODY_ENCODERS[packet->type];
    if (encode_body != nullptr) {
        status = encode_body(*packet, writer);
    }
    return status == MQTT_OK ? finish(writer, len) : status;
}

int32_t mqtt_packet_encode(uint32_t version, const mqtt_packet *packet, uint8_t *buf,
                           uint32_t *len) {
    if (packet == nullptr || buf == nullptr || len == nullptr || *len < 1) {
        LOG_ERROR("MQTT_PROTOCOL: 编码入参非法：空指针/缓冲区无效");
        return MQTT_ERR_INVALID_PARAM;
    }
    int32_t status = MQTT_ERR_VERSION_UNSUPPORTED;
    if (version == MQTT_VERSION_311 || version == MQTT_VERSION_50) {
        status = mqtt_packet_encode_v311(packet, buf, len);
    } else {
        LOG_ERROR("MQTT_PROTOCOL: 不支持的MQTT版本：%d，当前仅支持3.1.1/5.0", version);
    }
    if (status != MQTT_OK) {
        LOG_ERROR("MQTT_PROTOCOL: MQTT编码失败：版本=%d 报文类型=%d", version, packet->type);
    }
    return status;
}
