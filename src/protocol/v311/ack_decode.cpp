#include <algorithm>

#include <zep_mqtt/core/status.h>

#include "core/heap_copy.h"
#include "protocol/v311/decode.h"

namespace zep::v311 {

bool read_connack(const packet_view &packet, connack_view *connack) {
    byte_reader body = packet.body;
    connack->flags = body.u8();
    connack->reason_code = body.u8();
    return body.ok();
}

bool read_ack(const packet_view &packet, ack_view *ack) {
    byte_reader body = packet.body;
    ack->msg_id = body.u16();
    return body.ok();
}

bool read_suback(const packet_view &packet, suback_view *suback) {
    byte_reader body = packet.body;
    suback->msg_id = body.u16();
    suback->codes = body.rest();
    return body.ok();
}

int32_t decode_connack(const packet_view &packet, mqtt_packet *record) {
    connack_view connack;
    if (!read_connack(packet, &connack) || connack.reason_code > MQTT_CONNACK_MAX_RETURN_CODE) {
        return MQTT_ERR_INVALID_PARAM;
    }
    record->body.connack = {static_cast<uint8_t>(connack.flags & 1), connack.reason_code};
    return MQTT_OK;
}

int32_t decode_ack(const packet_view &packet, mqtt_packet *record) {
    ack_view ack;
    if (!read_ack(packet, &ack)) {
        return MQTT_ERR_INVALID_PARAM;
    }
    record->body.ack.msg_id = ack.msg_id;
    return MQTT_OK;
}

int32_t decode_suback(const packet_view &packet, mqtt_packet *record) {
    suback_view suback;
    if (!read_suback(packet, &suback)) {
        return MQTT_ERR_INVALID_PARAM;
    }
    heap_ptr<uint32_t[]> codes = heap_zeroed<uint32_t>(MQTT_PACKET_MAX_ENTRIES);
    if (codes == nullptr) {
        return MQTT_ERR_NO_MEMORY;
    }
    const size_t count = std::min<size_t>(suback.codes.size, MQTT_PACKET_MAX_ENTRIES);
    std::copy_n(suback.codes.data, count, codes.get());
    record->body.suback = {suback.msg_id, codes.release(), static_cast<int32_t>(count)};
    return MQTT_OK;
}

}  // namespace zep::v311
