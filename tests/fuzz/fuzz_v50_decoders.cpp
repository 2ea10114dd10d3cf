// The 5.0 decoders on any bytes. The first byte, as in a connection, says which.
#include <zep_mqtt/protocol/v50/message.h>
#include <zep_mqtt/protocol/v50/unsuback.h>

#include "codec/records.h"
#include "fuzz/fuzz_support.h"

namespace {

template <size_t Size>
bool is_terminated(const char (&text)[Size]) {
    return strnlen(text, Size) < Size;
}

void connack(const uint8_t *data, uint32_t size) {
    mqtt50_connack record;
    if (mqtt50_connack_decode(data, size, &record) != 0) {
        return;
    }
    FUZZ_CHECK(record.total_len <= size && record.remaining_len <= 1024);
    FUZZ_CHECK(record.prop_count <= MQTT50_CONNACK_PROPERTIES_MAX && record.session_present <= 1);
    FUZZ_CHECK(record.reason_code == 0 || record.reason_code >= 0x80);
    FUZZ_CHECK(is_terminated(record.assigned_client_id) && is_terminated(record.reason_string) &&
               is_terminated(record.user_property));
}

void publish(const uint8_t *data, uint32_t size) {
    mqtt50_publish record;
    if (mqtt50_publish_decode(data, size, &record) != 0) {
        return;
    }
    FUZZ_CHECK(is_terminated(record.topic) && record.qos <= 2);
    FUZZ_CHECK((record.payload == nullptr) == (record.payload_len == 0));
    FUZZ_CHECK(record.payload == nullptr ||
               (record.payload >= data && record.payload + record.payload_len <= data + size));
    uint8_t encoded[1400];
    uint32_t length = sizeof encoded;
    if (mqtt50_publish_encode(&record, encoded, &length) != 0 || length > 1027) {
        return;
    }
    mqtt50_publish again;
    FUZZ_CHECK(mqtt50_publish_decode(encoded, length, &again) == 0);
    FUZZ_CHECK(zep_test::text_of(again) == zep_test::text_of(record));
}

void acknowledgement(uint8_t type, const uint8_t *data, uint32_t size) {
    mqtt50_ack record;
    if (mqtt50_ack_decode(type, data, size, &record) != 0 || record.msg_id == 0) {
        return;
    }
    uint8_t encoded[16];
    uint32_t length = sizeof encoded;
    mqtt50_ack again;
    FUZZ_CHECK(mqtt50_ack_encode(type, &record, encoded, &length) == 0 && length == 5);
    FUZZ_CHECK(mqtt50_ack_decode(type, encoded, length, &again) == 0);
    FUZZ_CHECK(zep_test::text_of(again) == zep_test::text_of(record));
}

void suback(const uint8_t *data, uint32_t size) {
    mqtt50_suback record;
    if (mqtt50_suback_decode(data, static_cast<int32_t>(size), &record) != 0) {
        return;
    }
    FUZZ_CHECK(record.count <= MQTT50_SUBACK_CODES_MAX);
    for (uint32_t i = 0; i < record.count; ++i) {
        FUZZ_CHECK(record.granted_qos[i] == (record.reason_codes[i] & 3));
    }
}

void unsuback(const uint8_t *data, uint32_t size) {
    mqtt50_ack record;
    (void)mqtt50_unsuback_decode(data, size, &record);
}

void expiry(const uint8_t *data, uint32_t size) {
    uint8_t buffer[256] = {};
    std::memcpy(buffer, data, size < sizeof buffer ? size : sizeof buffer);
    int32_t position = size == 0 ? 0 : data[0];
    const int32_t before = position;
    uint32_t interval = 0;
    const int32_t status = mqtt50_decode_ttl(buffer, &position, &interval);
    FUZZ_CHECK(position == (status == 0 ? before + 5 : before));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const auto length = static_cast<uint32_t>(size);
    const uint8_t type = size == 0 ? 0 : data[0] >> 4;
    switch (type) {
        case 2:
            connack(data, length);
            break;
        case 3:
            publish(data, length);
            break;
        case 4:
        case 5:
        case 6:
        case 7:
            acknowledgement(type, data, length);
            break;
        case 9:
            suback(data, length);
            break;
        case 11:
            unsuback(data, length);
            break;
        default:
            expiry(data, length);
            break;
    }
    return 0;
}
