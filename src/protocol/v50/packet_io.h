// The envelope of every 5.0 packet: the fixed header, and the properties in front of a payload.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/byte_reader.h"
#include "core/byte_writer.h"

namespace zep::v50 {

// Byte 0 of a packet: MQTT_PACKET_* and the four flag bits.
constexpr uint8_t first_byte(uint32_t type, uint32_t flags = 0) {
    return static_cast<uint8_t>(type << 4 | flags);
}

// Bytes of a whole packet that has so many after its fixed header.
size_t packet_size(size_t remaining);

// Writes the fixed header; the caller writes the remaining bytes, of which there are at most
// MQTT_REMAINING_LEN_MAX, behind it.
byte_writer begin_packet(uint8_t *buffer, size_t capacity, uint8_t first, size_t remaining);

// The properties of a packet to be written, collected before it because their length stands in
// front of them. A property whose value is 0 is left out.
class properties {
 public:
    properties() = default;
    properties(const properties &) = delete;
    properties &operator=(const properties &) = delete;

    void add_u16(uint8_t id, uint16_t value);
    void add_u32(uint8_t id, uint32_t value);

    // Bytes that write_to() takes.
    size_t encoded_size() const { return 1 + writer_.size(); }
    void write_to(byte_writer &packet) const;

 private:
    // Two properties of four bytes and one of two are the most that any packet carries.
    uint8_t bytes_[2 * 5 + 3];
    byte_writer writer_{bytes_, sizeof bytes_};
};

// A received packet without its fixed header. The body has failed when the remaining length is
// unreadable or the packet is longer than the input.
struct received_packet {
    byte_reader body;
    uint32_t remaining_len;
    uint32_t total_len;
};

// remaining_max: the greatest Remaining Length that is read.
received_packet open_packet(const uint8_t *data, size_t length, uint32_t remaining_max);

// Takes the properties off a body. When their length is unreadable or runs past the body, the
// result has failed and the body stands where it stood.
byte_reader take_properties(byte_reader &body);

// Moves a body to its reason codes: past the properties, which leaves nothing when they run past
// the body; nowhere when their length is unreadable.
void skip_properties(byte_reader &body);

}  // namespace zep::v50
