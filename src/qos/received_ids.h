// The packet identifiers of inbound QoS 2 messages that were delivered and not yet released by
// their PUBREL (MQTT 3.1.1 §4.3.3): one bit for each of the 65,536 identifiers, in memory of the
// caller.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace zep {

constexpr size_t RECEIVED_IDS_SIZE = 65536 / 8;

inline uint8_t received_ids_bit(uint16_t id) {
    return static_cast<uint8_t>(1u << (id % 8));
}

inline bool received_ids_contains(const uint8_t *bitmap, uint16_t id) {
    return (bitmap[id / 8] & received_ids_bit(id)) != 0;
}

inline void received_ids_add(uint8_t *bitmap, uint16_t id) {
    bitmap[id / 8] = static_cast<uint8_t>(bitmap[id / 8] | received_ids_bit(id));
}

inline void received_ids_remove(uint8_t *bitmap, uint16_t id) {
    bitmap[id / 8] = static_cast<uint8_t>(bitmap[id / 8] & ~received_ids_bit(id));
}

inline void received_ids_clear(uint8_t *bitmap) {
    std::memset(bitmap, 0, RECEIVED_IDS_SIZE);
}

}  // namespace zep
