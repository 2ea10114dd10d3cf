#include "protocol/v50/properties.h"

#include "core/limits.h"
#include "protocol/common/variable_length.h"

namespace zep::v50 {

void properties::add_u16(uint8_t id, uint16_t value) {
    if (value != 0) {
        packet_.u8(id);
        packet_.u16(value);
    }
}

void properties::add_u32(uint8_t id, uint32_t value) {
    if (value != 0) {
        packet_.u8(id);
        packet_.u32(value);
    }
}

void write_no_properties(packet_writer &packet) {
    const properties none(packet);
}

byte_reader take_properties(byte_reader &body) {
    byte_reader rest = body;
    uint32_t length = 0;
    (void)read_accepted_length(rest, REMAINING_MAX, &length);
    const byte_reader section = rest.sub(length);
    if (section.ok()) {
        body = rest;
    }
    return section;
}

void skip_properties(byte_reader &body) {
    byte_reader rest = body;
    uint32_t length = 0;
    if (read_accepted_length(rest, REMAINING_MAX, &length)) {
        rest.skip(length);
        body = rest;
    }
}

}  // namespace zep::v50
