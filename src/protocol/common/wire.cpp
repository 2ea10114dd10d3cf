#include <algorithm>
#include <cstring>

#include <zep_mqtt/core/status.h>
#include <zep_mqtt/protocol/v311/session.h>
#include <zep_mqtt/protocol/v311/wire.h>

#include "protocol/common/packet_id_private.h"
#include "protocol/common/wire_io.h"

namespace {

constexpr uint32_t ACCEPTED_BYTES = 3;
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

// decode_remaining_len() for valid arguments and a greatest value of the caller's.
int32_t decode_up_to(uint32_t greatest, const uint8_t *buf, size_t len, uint32_t *out) {
    *out = 0;
    zep::byte_reader reader(buf, len);
    for (uint32_t place = 0; place <= ACCEPTED_BYTES; ++place) {
        const uint32_t byte = reader.u8();
        *out += (byte & 0x7F) << (7 * place);
        if (!reader.ok() || *out > greatest) {
            break;
        }
        if ((byte & 0x80) == 0 && place < ACCEPTED_BYTES) {
            return static_cast<int32_t>(reader.position());
        }
    }
    return MQTT_ERR_INVALID_PARAM;
}

}  // namespace

uint32_t mqtt_write_remaining_length(uint8_t *buf, uint32_t value) {
    if (buf == nullptr || value > MQTT_REMAINING_LEN_MAX) {
        return 0;
    }
    zep::byte_writer writer(buf, MQTT_REMAINING_LEN_MAX_BYTES);
    zep::write_remaining_length(writer, value);
    return static_cast<uint32_t>(writer.size());
}

int32_t decode_remaining_len(const uint8_t *buf, int32_t len, uint32_t *out) {
    if (buf == nullptr || out == nullptr || len < 1) {
        return MQTT_ERR_INVALID_PARAM;
    }
    return decode_up_to(MQTT_REMAINING_LEN_MAX_ACCEPTED, buf, static_cast<size_t>(len), out);
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

bool zep::read_remaining_length(byte_reader &reader, uint32_t *value, uint32_t greatest) {
    const size_t available = std::min<size_t>(reader.left(), MQTT_REMAINING_LEN_MAX_BYTES);
    const int32_t size = decode_up_to(greatest, reader.next(), available, value);
    if (size < 0) {
        reader.fail();
        return false;
    }
    reader.skip(static_cast<size_t>(size));
    return true;
}

void zep::write_remaining_length(byte_writer &writer, uint32_t value) {
    do {
        const uint32_t group = value & 0x7F;
        value >>= 7;
        writer.u8(static_cast<uint8_t>(value != 0 ? group | 0x80 : group));
    } while (value != 0);
}
