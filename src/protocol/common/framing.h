// The fixed header of a packet (MQTT 3.1.1 §2.2), read here and nowhere else.
#pragma once

#include "core/byte_reader.h"

namespace zep {

// A received packet. data holds `given` bytes, of which the packet is the first.
struct packet_view {
    const uint8_t *data = nullptr;
    uint32_t given = 0;
    uint32_t remaining = 0;  // bytes after the fixed header
    uint32_t length = 0;     // bytes of the whole packet
    // The bytes after the fixed header. Has failed when the packet cannot be read: its length takes
    // more than three bytes, is above the limit, or promises more than there is.
    byte_reader body{nullptr, 0};

    uint8_t first() const { return data[0]; }
    uint8_t type() const { return data[0] >> 4; }
    uint8_t flags() const { return data[0] & 15; }
};

// The packet at the beginning of some bytes; without any, its body has failed and it has no type.
// limit: the greatest remaining length.
packet_view open_packet(const uint8_t *data, uint32_t size, uint32_t limit);

enum class frame_kind {
    incomplete,  // not all of it has come
    whole,
    oversized,  // `length` bytes, of which not all may have come; the limit takes no such packet
    malformed   // a Remaining Length of more than four bytes: the stream is out of step
};

struct frame {
    frame_kind kind = frame_kind::incomplete;
    packet_view packet;  // when it is whole; of an oversized one the length
};

// The packet that begins a stream of received bytes.
frame find_frame(const uint8_t *data, uint32_t size, uint32_t limit);

// The greatest remaining length of a packet that a client of this version takes. On 5.0 that is all
// that its receive buffer holds, which is what its CONNECT announces.
uint32_t received_remaining_max(uint32_t version);

}  // namespace zep
