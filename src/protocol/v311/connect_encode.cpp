#include <cstring>

#include <zep_mqtt/core/status.h>

#include "log/log_lines.h"
#include "protocol/v311/body_encode.h"

namespace zep::v311 {
namespace {

constexpr uint8_t CLEAN_SESSION = 0x02;

uint8_t connect_flags(const mqtt_packet_connect &connect) {
    uint32_t flags = CLEAN_SESSION;
    flags |= connect.has_username != 0 ? 0x80U : 0U;
    flags |= connect.has_password != 0 ? 0x40U : 0U;
    flags |= connect.will_retain != 0 ? 0x20U : 0U;
    flags |= (connect.will_qos & 3) << 3;
    flags |= connect.will_flag != 0 ? 0x04U : 0U;
    return static_cast<uint8_t>(flags);
}

int32_t encode_client_id(const char (&client_id)[24], byte_writer &writer) {
    const size_t length = strnlen(client_id, sizeof client_id);
    const bool is_valid = length != 0 && length < sizeof client_id;
    if (is_valid) {
        writer.field(client_id, length);
    }
    if (!is_valid || !writer.ok()) {
        LOG_ERROR("mqtt_packet_encode_v311: ClientID无效/过长");
        return MQTT_ERR_INVALID_PARAM;
    }
    return MQTT_OK;
}

int32_t encode_required_text(const char *text, byte_writer &writer) {
    if (text == nullptr || text[0] == '\0') {
        return MQTT_ERR_INVALID_PARAM;
    }
    writer.text(text);
    return MQTT_OK;
}

int32_t encode_will(const mqtt_packet_connect &connect, byte_writer &writer) {
    const int32_t status = encode_required_text(connect.will_topic, writer);
    writer.field(connect.will_payload,
                 connect.will_payload == nullptr ? 0 : connect.will_payload_len);
    return status;
}

}  // namespace

int32_t encode_connect(const mqtt_packet &packet, byte_writer &writer) {
    const mqtt_packet_connect &connect = packet.body.connect;
    writer.text("MQTT");
    writer.u8(MQTT_VERSION_311);
    writer.u8(connect_flags(connect));
    writer.u16(connect.keep_alive);
    if (!writer.ok()) {
        return MQTT_ERR_INVALID_PARAM;
    }
    int32_t status = encode_client_id(connect.client_id, writer);
    if (status == MQTT_OK && connect.will_flag != 0) {
        status = encode_will(connect, writer);
    }
    if (status == MQTT_OK && connect.has_username != 0) {
        status = encode_required_text(connect.username, writer);
    }
    if (status == MQTT_OK && connect.has_password != 0) {
        status = encode_required_text(connect.password, writer);
    }
    return status;
}

int32_t encode_connack(const mqtt_packet &packet, byte_writer &writer) {
    const mqtt_packet_connack &connack = packet.body.connack;
    if (connack.return_code > MQTT_CONNACK_MAX_RETURN_CODE) {
        return MQTT_ERR_INVALID_PARAM;
    }
    writer.u8(connack.session_present != 0 ? 1 : 0);
    writer.u8(connack.return_code);
    return MQTT_OK;
}

}  // namespace zep::v311
