// Lays one packet out: the body first, then its length goes into the fixed header.
#pragma once

#include <zep_mqtt/protocol/v311/packet.h>

#include "core/byte_writer.h"

namespace zep {

// Byte 0 of a packet: MQTT_PACKET_* and the four flag bits.
constexpr uint8_t first_byte(uint32_t type, uint32_t flags = 0) {
    return static_cast<uint8_t>(type << 4 | flags);
}

// Bytes of a whole packet that has so many after its fixed header.
size_t packet_size(size_t remaining);

// What is written goes into the body; finish() is looked at once, at the end. The room of the
// buffer is used as if the Remaining Length took one byte, and the body moves up when it takes
// more.
class packet_writer : public byte_writer {
 public:
    packet_writer(uint8_t *buffer, size_t capacity, uint8_t first);

    // Bytes after the fixed header so far.
    size_t remaining() const { return size() - SHORT_HEADER; }

    // A part of the body with its length in front, of as many bytes as it needs.
    size_t begin_block();
    void end_block(size_t block);

    // Puts the length into the fixed header. False when anything did not fit, this included.
    bool finish();

 private:
    static constexpr size_t SHORT_HEADER = 2;
};

}  // namespace zep
