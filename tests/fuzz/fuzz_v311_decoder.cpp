// The 3.1.1 decoder on any bytes: what it accepts stays inside the library's limits, and what the
// encoder makes of it decodes to the same record.
#include <zep_mqtt/protocol/v311/decoder.h>
#include <zep_mqtt/protocol/v311/encoder.h>

#include "codec/records.h"
#include "fuzz/fuzz_support.h"
#include "protocol/v311/decode.h"

namespace {

void check_filters(const char *const *filters, int32_t count) {
    FUZZ_CHECK(count >= 0 && count <= MQTT_PACKET_MAX_ENTRIES);
    for (int32_t i = 0; i < count; ++i) {
        FUZZ_CHECK(std::strlen(filters[i]) <= 64);
    }
}

void check_limits(const mqtt_packet &packet, size_t size) {
    FUZZ_CHECK(packet.type >= MQTT_PACKET_CONNACK && packet.type <= MQTT_PACKET_DISCONNECT);
    FUZZ_CHECK(packet.remaining_len <= 1024 && packet.remaining_len < size);
    switch (packet.type) {
        case MQTT_PACKET_CONNACK:
            FUZZ_CHECK(packet.body.connack.session_present <= 1);
            FUZZ_CHECK(packet.body.connack.return_code <= MQTT_CONNACK_MAX_RETURN_CODE);
            break;
        case MQTT_PACKET_PUBLISH:
            FUZZ_CHECK(std::strlen(packet.body.publish.topic) <= 64);
            FUZZ_CHECK(packet.body.publish.payload_len <= 1024);
            FUZZ_CHECK((packet.body.publish.payload == nullptr) ==
                       (packet.body.publish.payload_len == 0));
            break;
        case MQTT_PACKET_SUBSCRIBE:
            check_filters(packet.body.subscribe.filters, packet.body.subscribe.filter_count);
            break;
        case MQTT_PACKET_SUBACK:
            FUZZ_CHECK(packet.body.suback.code_count <= MQTT_PACKET_MAX_ENTRIES);
            break;
        case MQTT_PACKET_UNSUBSCRIBE:
            check_filters(packet.body.unsubscribe.filters, packet.body.unsubscribe.filter_count);
            break;
        default:
            break;
    }
}

// An encoder refuses what the decoder is lenient with; what it writes reads as the same record.
void check_round_trip(mqtt_packet &packet) {
    uint8_t encoded[1100];
    uint32_t length = sizeof encoded;
    if (mqtt_packet_encode_v311(&packet, encoded, &length) != 0) {
        return;
    }
    mqtt_packet again;
    FUZZ_CHECK(mqtt_packet_decode_v311(encoded, length, &again) == 0);
    FUZZ_CHECK(zep_test::text_of(again) == zep_test::text_of(packet));
    zep::v311::release_packet(again);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    mqtt_packet packet;
    if (mqtt_packet_decode_v311(data, static_cast<uint32_t>(size), &packet) == 0) {
        check_limits(packet, size);
        check_round_trip(packet);
        zep::v311::release_packet(packet);
    }
    return 0;
}
