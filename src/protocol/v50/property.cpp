#include <zep_mqtt/core/status.h>
#include <zep_mqtt/protocol/v50/property.h>

namespace {

constexpr uint16_t LONGEST = 256;

}  // namespace

int32_t mqtt50_encode_property_len(uint16_t length, uint8_t *buffer, int32_t *position,
                                   int32_t buffer_size) {
    if (buffer == nullptr || position == nullptr || buffer_size < 1) {
        return MQTT_ERR_INVALID_PARAM;
    }
    if (length > LONGEST || *position < 0) {
        return MQTT_ERR_INVALID_PARAM;
    }
    if (*position >= buffer_size - 1) {
        return MQTT_ERR_BUFFER_FULL;
    }
    buffer[*position] = static_cast<uint8_t>(length >> 8);
    buffer[*position + 1] = static_cast<uint8_t>(length);
    *position += 2;
    return MQTT_OK;
}
