#include "protocol/common/variable_length.h"

#include <zep_mqtt/protocol/v311/wire.h>

namespace zep {

namespace {

constexpr size_t ACCEPTED_BYTES = 3;

}  // namespace

length_kind read_variable_length(byte_reader &reader, uint32_t limit, uint32_t *value) {
    *value = 0;
    for (uint32_t place = 0; place < MQTT_REMAINING_LEN_MAX_BYTES; ++place) {
        const uint32_t byte = reader.u8();
        if (!reader.ok()) {
            return length_kind::incomplete;
        }
        *value += (byte & 0x7F) << (7 * place);
        if (*value > limit) {
            return length_kind::refused;
        }
        if ((byte & 0x80) == 0) {
            return length_kind::whole;
        }
    }
    return length_kind::refused;
}

bool read_accepted_length(byte_reader &reader, uint32_t limit, uint32_t *value) {
    const size_t before = reader.position();
    const length_kind kind = read_variable_length(reader, limit, value);
    if (kind != length_kind::whole || reader.position() - before > ACCEPTED_BYTES) {
        reader.fail();
        return false;
    }
    return true;
}

void put_variable_length(uint8_t *to, uint32_t value) {
    const size_t size = variable_length_size(value);
    for (size_t at = 0; at < size; ++at) {
        const uint32_t more = at + 1 < size ? 0x80 : 0;
        to[at] = static_cast<uint8_t>((value >> (7 * at) & 0x7F) | more);
    }
}

}  // namespace zep
