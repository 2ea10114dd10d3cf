#include <zep_mqtt/core/message.h>
#include <zep_mqtt/core/status.h>

#include "core/heap_copy.h"

int32_t message_deep_copy(mqtt_message *dst, const mqtt_message *src) {
    if (dst == nullptr || src == nullptr) {
        return MQTT_ERR_INVALID_PARAM;
    }
    message_free(dst);
    if (src->topic != nullptr) {
        dst->topic = zep::heap_text(src->topic).release();
        if (dst->topic == nullptr) {
            return MQTT_ERR_NO_MEMORY;
        }
    }
    if (src->payload_len != 0 && src->payload != nullptr) {
        dst->payload = zep::heap_bytes(src->payload, src->payload_len).release();
        if (dst->payload == nullptr) {
            message_free(dst);
            return MQTT_ERR_NO_MEMORY;
        }
        dst->payload_len = src->payload_len;
    }
    dst->qos = src->qos;
    dst->retain = src->retain;
    dst->msg_id = src->msg_id;
    dst->priority = src->priority;
    return MQTT_OK;
}

void message_free(mqtt_message *msg) {
    if (msg == nullptr) {
        return;
    }
    platform_free(const_cast<char *>(msg->topic));
    platform_free(const_cast<uint8_t *>(msg->payload));
    *msg = mqtt_message{};
}
