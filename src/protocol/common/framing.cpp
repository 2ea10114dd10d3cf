#include "protocol/common/framing.h"

#include <zep_mqtt/protocol/v311/packet.h>
#include <zep_mqtt/protocol/v311/wire.h>

#include "core/limits.h"
#include "protocol/common/variable_length.h"

namespace zep {

namespace {

// The longest fixed header that is taken; a Remaining Length in four bytes never is.
constexpr uint32_t LONGEST_HEADER = 4;

struct fixed_header {
    length_kind kind;
    uint32_t size;       // its bytes
    uint32_t remaining;  // bytes behind it
};

fixed_header read_fixed_header(const uint8_t *data, uint32_t size) {
    byte_reader reader(data, size);
    reader.skip(1);
    fixed_header header = {};
    header.kind = read_variable_length(reader, MQTT_REMAINING_LEN_MAX, &header.remaining);
    header.size = static_cast<uint32_t>(reader.position());
    return header;
}

packet_view view_of(const uint8_t *data, uint32_t size, const fixed_header &header,
                    uint32_t limit) {
    packet_view packet;
    packet.data = data;
    packet.given = size;
    packet.remaining = header.remaining;
    packet.length = header.size + header.remaining;
    packet.body = byte_reader(data, size);
    packet.body.skip(header.size);
    packet.body = packet.body.sub(header.remaining);
    if (header.kind != length_kind::whole || header.size > LONGEST_HEADER ||
        header.remaining > limit) {
        packet.body.fail();
    }
    return packet;
}

}  // namespace

packet_view open_packet(const uint8_t *data, uint32_t size, uint32_t limit) {
    return view_of(data, size, read_fixed_header(data, size), limit);
}

frame find_frame(const uint8_t *data, uint32_t size, uint32_t limit) {
    const fixed_header header = read_fixed_header(data, size);
    if (header.kind != length_kind::whole) {
        return {
            header.kind == length_kind::refused ? frame_kind::malformed : frame_kind::incomplete,
            {}};
    }
    const uint32_t length = header.size + header.remaining;
    if (header.remaining > limit || length > PACKET_MAX) {
        packet_view oversized;
        oversized.length = length;
        return {frame_kind::oversized, oversized};
    }
    if (length > size) {
        return {frame_kind::incomplete, {}};
    }
    return {frame_kind::whole, view_of(data, length, header, limit)};
}

uint32_t received_remaining_max(uint32_t version) {
    constexpr uint32_t HEADER = 3;  // of a packet that fills the buffer
    return version == MQTT_VERSION_50 ? PACKET_MAX - HEADER : REMAINING_MAX;
}

}  // namespace zep
