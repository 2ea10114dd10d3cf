#include <zep_mqtt/core/status.h>

#include "core/heap_copy.h"
#include "core/limits.h"
#include "protocol/v311/decode.h"

namespace zep::v311 {

bool read_publish(const packet_view &packet, publish_view *publish) {
    const uint8_t flags = packet.flags();
    publish->dup = (flags & 8) != 0;
    publish->qos = flags >> 1 & 3;
    publish->retain = (flags & 1) != 0;
    byte_reader body = packet.body;
    publish->topic = body.field().text();
    if (publish->qos != 0) {
        publish->msg_id = body.u16();
    }
    publish->payload = body.rest();
    return body.ok();
}

int32_t decode_publish(const packet_view &packet, mqtt_packet *record) {
    publish_view publish;
    if (!read_publish(packet, &publish) || publish.topic.empty() ||
        publish.topic.size() > TOPIC_MAX || publish.payload.size > PAYLOAD_MAX) {
        return MQTT_ERR_INVALID_PARAM;
    }
    const bool has_payload = publish.payload.size != 0;
    heap_ptr<char[]> topic = heap_text(publish.topic);
    heap_ptr<uint8_t[]> payload;
    if (topic != nullptr && has_payload) {
        payload = heap_bytes(publish.payload.data, publish.payload.size);
    }
    if (topic == nullptr || (has_payload && payload == nullptr)) {
        return MQTT_ERR_NO_MEMORY;
    }
    mqtt_message &message = record->body.publish;
    message.topic = topic.release();
    message.payload = payload.release();
    message.payload_len = static_cast<uint32_t>(publish.payload.size);
    message.qos = publish.qos;
    message.retain = publish.retain ? 1 : 0;
    message.msg_id = publish.msg_id;
    return MQTT_OK;
}

}  // namespace zep::v311
