#include <cstring>

#include <zep_mqtt/core/status.h>
#include <zep_mqtt/protocol/v311/session.h>
#include <zep_mqtt/protocol/v311/wire.h>

#include "protocol/common/packet_id_private.h"
#include "protocol/common/variable_length.h"

namespace {

constexpr size_t NO_CHARACTER = SIZE_MAX;

// How many bytes follow the first byte of a character.
size_t continuation_bytes(uint8_t lead) {
    if (lead >= 0x20 && lead <= 0x7E) {
        return 0;
    }
    if ((lead & 0xE0) == 0xC0) {
        return 1;
    }
    return (lead & 0xF0) == 0xE0 ? 2 : NO_CHARACTER;
}

}  // namespace

uint32_t mqtt_write_remaining_length(uint8_t *buf, uint32_t value) {
    if (buf == nullptr || value > MQTT_REMAINING_LEN_MAX) {
        return 0;
    }
    zep::put_variable_length(buf, value);
    return static_cast<uint32_t>(zep::variable_length_size(value));
}

int32_t decode_remaining_len(const uint8_t *buf, int32_t len, uint32_t *out) {
    if (buf == nullptr || out == nullptr || len < 1) {
        return MQTT_ERR_INVALID_PARAM;
    }
    zep::byte_reader reader(buf, static_cast<size_t>(len));
    const bool accepted = zep::read_accepted_length(reader, MQTT_REMAINING_LEN_MAX_ACCEPTED, out);
    return accepted ? static_cast<int32_t>(reader.position()) : MQTT_ERR_INVALID_PARAM;
}

int32_t utf8_validate(const char *text, int32_t len) {
    if (text == nullptr || len < -1 || len > MQTT_UTF8_MAX_LEN) {
        return MQTT_ERR_UTF8_INVALID;
    }
    const size_t size = len < 0 ? std::strlen(text) : static_cast<size_t>(len);
    zep::byte_reader reader(reinterpret_cast<const uint8_t *>(text), size);
    while (reader.left() != 0) {
        const size_t following = continuation_bytes(reader.u8());
        if (following == NO_CHARACTER) {
            return MQTT_ERR_UTF8_INVALID;
        }
        for (size_t i = 0; i < following; ++i) {
            // Past the end the reader gives 0, which continues nothing.
            if ((reader.u8() & 0xC0) != 0x80) {
                return MQTT_ERR_UTF8_INVALID;
            }
        }
    }
    return MQTT_OK;
}

int32_t validate_packet_id(uint32_t /*version*/, uint16_t id) {
    return zep::is_packet_id(id) ? MQTT_OK : MQTT_ERR_INVALID_PARAM;
}
