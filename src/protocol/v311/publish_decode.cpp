#include <zep_mqtt/core/status.h>
#include <zep_mqtt/protocol/v311/validate.h>
#include <zep_mqtt/protocol/v311/wire.h>

#include "core/heap_copy.h"
#include "protocol/v311/body_decode.h"

int32_t zep::v311::decode_publish(byte_reader &body, mqtt_packet *packet) {
    const size_t topic_len = body.u16();
    const uint8_t *topic = body.bytes(topic_len);
    const uint16_t msg_id = packet->qos != 0 ? body.u16() : uint16_t{0};
    if (!body.ok() || topic_len == 0 || topic_len > MQTT_TOPIC_MAX_LEN) {
        return MQTT_ERR_INVALID_PARAM;
    }
    static_assert(int{MQTT_REMAINING_LEN_MAX_ACCEPTED} <= int{MQTT_PAYLOAD_MAX_LEN});  // it fits
    const size_t payload_len = body.left();
    const uint8_t *payload = body.bytes(payload_len);

    heap_ptr<char[]> topic_copy = heap_text(topic, topic_len);
    heap_ptr<uint8_t[]> payload_copy;
    if (topic_copy != nullptr && payload_len != 0) {
        payload_copy = heap_bytes(payload, payload_len);
    }
    if (topic_copy == nullptr || (payload_len != 0 && payload_copy == nullptr)) {
        return MQTT_ERR_NO_MEMORY;
    }
    mqtt_message &message = packet->body.publish;
    message.topic = topic_copy.release();
    message.payload = payload_copy.release();
    message.payload_len = static_cast<uint32_t>(payload_len);
    message.qos = packet->qos;
    message.retain = packet->retain;
    message.msg_id = msg_id;
    return MQTT_OK;
}
