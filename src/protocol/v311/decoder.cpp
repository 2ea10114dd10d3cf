#include <cstring>
#include <iterator>

#include <zep_mqtt/core/status.h>
#include <zep_mqtt/protocol/v311/decoder.h>

#include "protocol/common/wire_io.h"
#include "protocol/v311/body_decode.h"

namespace {

using namespace zep::v311;

using body_decoder = int32_t (*)(zep::byte_reader &body, mqtt_packet *packet);

int32_t decode_refused(zep::byte_reader & /*body*/, mqtt_packet * /*packet*/) {
    return MQTT_ERR_INVALID_PARAM;
}

int32_t decode_empty(zep::byte_reader &body, mqtt_packet * /*packet*/) {
    return body.left() == 0 ? MQTT_OK : MQTT_ERR_INVALID_PARAM;
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

void set_header(uint8_t first, mqtt_packet *packet) {
    packet->type = first >> 4;
    if (packet->type != MQTT_PACKET_CONNECT) {
        packet->dup = first >> 3 & 1;
        packet->qos = first >> 1 & 3;
        packet->retain = first & 1;
    }
}

}  // namespace

int32_t mqtt_packet_decode_v311(const uint8_t *buf, uint32_t len, mqtt_packet *out) {
    if (buf == nullptr || out == nullptr || len == 0) {
        return MQTT_ERR_INVALID_PARAM;
    }
    std::memset(out, 0, sizeof *out);
    zep::byte_reader reader(buf, len);
    set_header(reader.u8(), out);
    if (!zep::read_remaining_length(reader, &out->remaining_len)) {
        return MQTT_ERR_INVALID_PARAM;
    }
    zep::byte_reader body = reader.sub(out->remaining_len);
    return body.ok() ? BODY_DECODERS[out->type](body, out) : MQTT_ERR_INVALID_PARAM;
}
