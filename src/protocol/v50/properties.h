// The properties of a 5.0 packet (MQTT 5.0 §2.2.2), written and taken off.
#pragma once

#include "core/byte_reader.h"
#include "protocol/common/packet_writer.h"

namespace zep::v50 {

// Properties being written; their length goes in front of them when this object ends. One whose
// value is 0 is left out.
class properties {
 public:
    explicit properties(packet_writer &packet) : packet_(packet), block_(packet.begin_block()) {}
    ~properties() { packet_.end_block(block_); }
    properties(const properties &) = delete;
    properties &operator=(const properties &) = delete;

    void add_u16(uint8_t id, uint16_t value);
    void add_u32(uint8_t id, uint32_t value);

 private:
    packet_writer &packet_;
    size_t block_;
};

void write_no_properties(packet_writer &packet);

// Received ones are handed out as a reader over them alone; whoever reads that decides how
// strictly. Their length is taken as it is taken of a packet: REMAINING_MAX in three bytes at the
// most.

// Takes the properties off a body. When their length is unreadable or runs past the body, the
// result has failed and the body stands where it stood.
byte_reader take_properties(byte_reader &body);

// Moves a body to its reason codes: past the properties, which leaves nothing when they run past
// the body; nowhere when their length is unreadable.
void skip_properties(byte_reader &body);

}  // namespace zep::v50
