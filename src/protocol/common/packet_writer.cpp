#include "protocol/common/packet_writer.h"

#include <zep_mqtt/protocol/v311/wire.h>

#include "protocol/common/variable_length.h"

namespace zep {

size_t packet_size(size_t remaining) {
    return 1 + variable_length_size(static_cast<uint32_t>(remaining)) + remaining;
}

packet_writer::packet_writer(uint8_t *buffer, size_t capacity, uint8_t first)
    : byte_writer(buffer, capacity) {
    u8(first);
    (void)begin_block();
}

size_t packet_writer::begin_block() {
    u8(0);
    return size();
}

void packet_writer::end_block(size_t block) {
    const size_t length = size() - block;
    if (!ok() || length > MQTT_REMAINING_LEN_MAX) {
        fail();
        return;
    }
    const auto value = static_cast<uint32_t>(length);
    uint8_t *gap = insert(block, variable_length_size(value) - 1);
    if (gap != nullptr) {
        put_variable_length(gap - 1, value);
    }
}

bool packet_writer::finish() {
    end_block(SHORT_HEADER);
    return ok();
}

}  // namespace zep
