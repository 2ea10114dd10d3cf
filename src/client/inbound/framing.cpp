#include "client/inbound/framing.h"

#include <zep_mqtt/client/client.h>
#include <zep_mqtt/protocol/v311/wire.h>

#include "core/byte_reader.h"

namespace zep {

frame find_frame(const uint8_t *data, size_t size, uint32_t version) {
    byte_reader reader(data, size);
    reader.skip(1);
    uint32_t remaining = 0;
    for (uint32_t i = 0; i < MQTT_REMAINING_LEN_MAX_BYTES; ++i) {
        const uint32_t byte = reader.u8();
        if (!reader.ok()) {
            return {frame_kind::incomplete, 0};
        }
        remaining |= (byte & 0x7F) << (7 * i);
        if ((byte & 0x80) == 0) {
            const uint32_t length = static_cast<uint32_t>(reader.position()) + remaining;
            const bool fits =
                length <= MQTT_CLIENT_RX_BUFFER_SIZE &&
                (version == MQTT_VERSION_50 || remaining <= MQTT_REMAINING_LEN_MAX_ACCEPTED);
            return {fits ? frame_kind::packet : frame_kind::oversized, length};
        }
    }
    return {frame_kind::malformed, 0};
}

}  // namespace zep
