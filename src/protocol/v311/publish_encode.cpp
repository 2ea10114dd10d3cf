#include <zep_mqtt/core/status.h>
#include <zep_mqtt/protocol/v311/validate.h>

#include "log/log_lines.h"
#include "protocol/v311/encode.h"

namespace zep::v311 {

void write_publish(packet_writer &packet, const publish_view &publish) {
    packet.text(publish.topic);
    if (publish.qos != 0) {
        packet.u16(publish.msg_id);
    }
    packet.bytes(publish.payload.data, publish.payload.size);
}

int32_t encode_publish(const mqtt_packet &record, packet_writer &packet) {
    const mqtt_message &message = record.body.publish;
    if (mqtt_topic_validate(message.topic, MQTT_TOPIC_MODE_NAME) != MQTT_OK) {
        LOG_ERROR("PUBLISH报文编码失败：主题协议合规校验失败（topic=%s）",
                  message.topic == nullptr ? "(null)" : message.topic);
        return MQTT_ERR_UTF8_INVALID;
    }
    if (message.payload_len > MQTT_PAYLOAD_MAX_LEN ||
        (message.payload_len != 0 && message.payload == nullptr)) {
        return MQTT_ERR_INVALID_PARAM;
    }
    publish_view publish;
    publish.topic = message.topic;
    publish.payload = {message.payload, message.payload_len};
    publish.qos = static_cast<uint8_t>(record.qos);
    publish.msg_id = message.msg_id;
    write_publish(packet, publish);
    return MQTT_OK;
}

void write_msg_id(packet_writer &packet, uint16_t msg_id) {
    packet.u16(msg_id);
}

int32_t encode_ack(const mqtt_packet &record, packet_writer &packet) {
    write_msg_id(packet, record.body.ack.msg_id);
    return MQTT_OK;
}

}  // namespace zep::v311
