#include <zep_mqtt/core/status.h>
#include <zep_mqtt/platform/clock.h>
#include <zep_mqtt/protocol/v50/message.h>
#include <zep_mqtt/protocol/v50/property.h>

#include "core/byte_reader.h"

namespace {

constexpr int32_t PROPERTY_SIZE = 5;  // identifier and four bytes
constexpr int32_t LAST_POSITION = 256 - PROPERTY_SIZE;

}  // namespace

int32_t mqtt50_decode_ttl(const uint8_t *buffer, int32_t *position, uint32_t *interval) {
    if (buffer == nullptr || position == nullptr || interval == nullptr) {
        return MQTT_ERR_PROPERTY_TOO_LONG;
    }
    if (*position < 0) {
        return MQTT_ERR_INVALID_PARAM;
    }
    if (*position > LAST_POSITION) {
        return MQTT_ERR_PROPERTY_TOO_LONG;
    }
    zep::byte_reader property(buffer + *position, PROPERTY_SIZE);
    if (property.u8() != MQTT50_PROP_MESSAGE_EXPIRY) {
        return MQTT_ERR_INVALID_PARAM;
    }
    *interval = property.u32();
    *position += PROPERTY_SIZE;
    return MQTT_OK;
}

int32_t mqtt50_message_ttl_init(mqtt50_message *message, uint32_t interval) {
    if (message == nullptr) {
        return MQTT_ERR_INVALID_PARAM;
    }
    message->ttl = interval;
    message->message_expiry = interval;
    message->ttl_start_ms = platform_get_tick_ms();
    message->expired = 0;
    return MQTT_OK;
}

int32_t mqtt50_message_ttl_check(mqtt50_message *message) {
    if (message == nullptr || message->ttl == 0) {
        return -1;
    }
    const uint32_t interval_ms = message->ttl * 1000;
    if (platform_get_tick_ms() - message->ttl_start_ms < interval_ms) {
        return 0;
    }
    message->expired = 1;
    return 1;
}
