// Where the next packet in a stream of received bytes ends.
#pragma once

#include <cstddef>
#include <cstdint>

namespace zep {

enum class frame_kind {
    incomplete,  // the bytes end inside the fixed header
    packet,      // length tells the whole packet's size, of which not all may have come
    oversized,   // likewise, but the client takes no packet of this size
    malformed    // a Remaining Length of more than four bytes: the stream is out of step
};

struct frame {
    frame_kind kind;
    uint32_t length;  // bytes of the whole packet
};

// The frame that begins at data (MQTT 3.1.1 §2.2), read as this version: a 5.0 packet may fill the
// receive buffer, as our CONNECT told the broker; a 3.1.1 packet has at most 1,024 bytes behind its
// fixed header.
frame find_frame(const uint8_t *data, size_t size, uint32_t version);

}  // namespace zep
