#include "protocol/v50/encode.h"

#include <cstring>

namespace zep::v50 {

packet_writer begin_in_cleared(uint8_t *buffer, uint32_t capacity, uint8_t first) {
    std::memset(buffer, 0, capacity);
    return {buffer, capacity, first};
}

bool finish(packet_writer &packet, uint8_t *buffer, uint32_t *length) {
    if (!packet.finish()) {
        std::memset(buffer, 0, *length);
        return false;
    }
    *length = static_cast<uint32_t>(packet.size());
    return true;
}

}  // namespace zep::v50
