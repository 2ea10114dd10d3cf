#include "protocol/v50/packet_io.h"

#include "protocol/common/wire_io.h"

namespace zep::v50 {

size_t packet_size(size_t remaining) {
    size_t size = 2 + remaining;
    for (size_t rest = remaining >> 7; rest != 0; rest >>= 7) {
        ++size;
    }
    return size;
}

byte_writer begin_packet(uint8_t *buffer, size_t capacity, uint8_t first, size_t remaining) {
    byte_writer packet(buffer, capacity);
    packet.u8(first);
    write_remaining_length(packet, static_cast<uint32_t>(remaining));
    return packet;
}

void properties::add_u16(uint8_t id, uint16_t value) {
    if (value != 0) {
        writer_.u8(id);
        writer_.u16(value);
    }
}

void properties::add_u32(uint8_t id, uint32_t value) {
    if (value != 0) {
        writer_.u8(id);
        writer_.u32(value);
    }
}

void properties::write_to(byte_writer &packet) const {
    packet.u8(static_cast<uint8_t>(writer_.size()));
    packet.bytes(bytes_, writer_.size());
}

received_packet open_packet(const uint8_t *data, size_t length, uint32_t remaining_max) {
    byte_reader input(data, length);
    input.skip(1);
    uint32_t remaining_len = 0;
    if (!read_remaining_length(input, &remaining_len, remaining_max)) {
        input.fail();
    }
    const byte_reader body = input.sub(remaining_len);
    return {body, remaining_len, static_cast<uint32_t>(input.position())};
}

byte_reader take_properties(byte_reader &body) {
    byte_reader rest = body;
    uint32_t length = 0;
    if (!read_remaining_length(rest, &length)) {
        rest.fail();
    }
    const byte_reader section = rest.sub(length);
    if (section.ok()) {
        body = rest;
    }
    return section;
}

void skip_properties(byte_reader &body) {
    byte_reader rest = body;
    uint32_t length = 0;
    if (read_remaining_length(rest, &length)) {
        rest.skip(length);
        body = rest;
    }
}

}  // namespace zep::v50
