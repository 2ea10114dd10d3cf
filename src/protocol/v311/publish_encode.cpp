#include <zep_mqtt/core/status.h>
#include <zep_mqtt/protocol/v311/validate.h>

#include "log/log_lines.h"
#include "protocol/v311/body_encode.h"

int32_t zep::v311::encode_publish(const mqtt_packet &packet, byte_writer &writer) {
    const mqtt_message &message = packet.body.publish;
    if (mqtt_topic_validate(message.topic, MQTT_TOPIC_MODE_NAME) != MQTT_OK) {
        LOG_ERROR("PUBLISH报文编码失败：主题协议合规校验失败（topic=%s）",
                  message.topic == nullptr ? "(null)" : message.topic);
        return MQTT_ERR_UTF8_INVALID;
    }
    if (message.payload_len > MQTT_PAYLOAD_MAX_LEN ||
        (message.payload_len != 0 && message.payload == nullptr)) {
        return MQTT_ERR_INVALID_PARAM;
    }
    writer.text(message.topic);
    if (packet.qos != 0) {
        writer.u16(message.msg_id);
    }
    writer.bytes(message.payload, message.payload_len);
    return MQTT_OK;
}
