#include <cstring>
#include <iterator>

#include <zep_mqtt/core/status.h>
#include <zep_mqtt/platform/memory.h>
#include <zep_mqtt/protocol/v311/decoder.h>

#include "core/limits.h"
#include "protocol/v311/decode.h"

namespace zep::v311 {
namespace {

using body_decoder = int32_t (*)(const packet_view &packet, mqtt_packet *record);

int32_t decode_refused(const packet_view & /*packet*/, mqtt_packet * /*record*/) {
    return MQTT_ERR_INVALID_PARAM;
}

int32_t decode_empty(const packet_view &packet, mqtt_packet * /*record*/) {
    return packet.remaining == 0 ? MQTT_OK : MQTT_ERR_INVALID_PARAM;
}

// By packet type, of which a nibble holds 16.
constexpr body_decoder BODY_DECODERS[] = {
    decode_refused,      // no type
    decode_refused,      // CONNECT
    decode_connack,      // CONNACK
    decode_publish,      // PUBLISH
    decode_ack,          // PUBACK
    decode_ack,          // PUBREC
    decode_ack,          // PUBREL
    decode_ack,          // PUBCOMP
    decode_subscribe,    // SUBSCRIBE
    decode_suback,       // SUBACK
    decode_unsubscribe,  // UNSUBSCRIBE
    decode_ack,          // UNSUBACK
    decode_empty,        // PINGREQ
    decode_empty,        // PINGRESP
    decode_empty,        // DISCONNECT
    decode_refused,      // no type
};
static_assert(std::size(BODY_DECODERS) == 16);

void set_header(const packet_view &packet, mqtt_packet *record) {
    record->type = packet.type();
    if (record->type != MQTT_PACKET_CONNECT) {
        const uint8_t flags = packet.flags();
        record->dup = flags >> 3;
        record->qos = flags >> 1 & 3;
        record->retain = flags & 1;
    }
    record->remaining_len = packet.remaining;
}

}  // namespace

int32_t decode_packet(const packet_view &packet, mqtt_packet *record) {
    std::memset(record, 0, sizeof *record);
    set_header(packet, record);
    return packet.body.ok() ? BODY_DECODERS[record->type](packet, record) : MQTT_ERR_INVALID_PARAM;
}

void release_packet(mqtt_packet &record) {
    auto &body = record.body;
    switch (record.type) {
        case MQTT_PACKET_PUBLISH:
            message_free(&body.publish);
            break;
        case MQTT_PACKET_SUBSCRIBE:
            subscribe_filters_free(body.subscribe.filters, body.subscribe.filter_count);
            platform_free(body.subscribe.qos_list);
            break;
        case MQTT_PACKET_SUBACK:
            platform_free(body.suback.return_codes);
            break;
        case MQTT_PACKET_UNSUBSCRIBE:
            subscribe_filters_free(body.unsubscribe.filters, body.unsubscribe.filter_count);
            break;
        default:
            break;
    }
}

}  // namespace zep::v311

int32_t mqtt_packet_decode_v311(const uint8_t *buf, uint32_t len, mqtt_packet *out) {
    if (buf == nullptr || out == nullptr || len == 0) {
        return MQTT_ERR_INVALID_PARAM;
    }
    return zep::v311::decode_packet(zep::open_packet(buf, len, zep::REMAINING_MAX), out);
}
