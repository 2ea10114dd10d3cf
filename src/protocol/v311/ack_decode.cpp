#include <algorithm>

#include <zep_mqtt/core/status.h>

#include "core/heap_copy.h"
#include "protocol/v311/body_decode.h"

namespace zep::v311 {

int32_t decode_connack(byte_reader &body, mqtt_packet *packet) {
    mqtt_packet_connack &connack = packet->body.connack;
    connack.session_present = body.u8() & 1;
    connack.return_code = body.u8();
    return body.ok() && connack.return_code <= MQTT_CONNACK_MAX_RETURN_CODE
               ? MQTT_OK
               : MQTT_ERR_INVALID_PARAM;
}

int32_t decode_ack(byte_reader &body, mqtt_packet *packet) {
    packet->body.ack.msg_id = body.u16();
    return body.ok() ? MQTT_OK : MQTT_ERR_INVALID_PARAM;
}

int32_t decode_suback(byte_reader &body, mqtt_packet *packet) {
    mqtt_packet_suback &suback = packet->body.suback;
    suback.msg_id = body.u16();
    if (!body.ok()) {
        return MQTT_ERR_INVALID_PARAM;
    }
    heap_ptr<uint32_t[]> codes = heap_zeroed<uint32_t>(MQTT_PACKET_MAX_ENTRIES);
    if (codes == nullptr) {
        return MQTT_ERR_NO_MEMORY;
    }
    const size_t count = std::min<size_t>(body.left(), MQTT_PACKET_MAX_ENTRIES);
    for (size_t i = 0; i < count; ++i) {
        codes[i] = body.u8();
    }
    suback.return_codes = codes.release();
    suback.code_count = static_cast<int32_t>(count);
    return MQTT_OK;
}

}  // namespace zep::v311
