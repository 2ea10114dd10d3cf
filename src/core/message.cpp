#include <zep_mqtt/core/message.h>
#include <zep_mqtt/core/status.h>
#include <zep_mqtt/platform/memory.h>
#include <zep_mqtt/platform/text.h>

#include <cstring>

namespace {

void *heap_copy(const void *data, uint32_t size) {
    void *copy = platform_malloc(size);
    if (copy != nullptr) {
        std::memcpy(copy, data, size);
    }
    return copy;
}

}  // namespace

int32_t message_deep_copy(mqtt_message *dst, const mqtt_message *src) {
    if (dst == nullptr || src == nullptr) {
        return MQTT_ERR_INVALID_PARAM;
    }
    message_free(dst);
    if (src->topic != nullptr) {
        const uint32_t size = static_cast<uint32_t>(platform_strlen(src->topic)) + 1;
        dst->topic = static_cast<const char *>(heap_copy(src->topic, size));
        if (dst->topic == nullptr) {
            return MQTT_ERR_NO_MEMORY;
        }
    }
    if (src->payload_len != 0 && src->payload != nullptr) {
        dst->payload = static_cast<const uint8_t *>(heap_copy(src->payload, src->payload_len));
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
