#include <cstring>

#include <zep_mqtt/core/status.h>
#include <zep_mqtt/protocol/v311/wire.h>

#include "protocol/v311/body_encode.h"

namespace zep::v311 {
namespace {

int32_t encode_filter(const char *filter, byte_writer &writer) {
    if (filter == nullptr) {
        return MQTT_ERR_INVALID_PARAM;
    }
    // One byte past the limit is enough to be refused for its length.
    const size_t length = strnlen(filter, MQTT_UTF8_MAX_LEN + 1);
    if (utf8_validate(filter, static_cast<int32_t>(length)) != MQTT_OK) {
        return MQTT_ERR_UTF8_INVALID;
    }
    writer.field(filter, length);
    return MQTT_OK;
}

// Each filter is followed by its requested QoS when there is a list of them.
int32_t encode_filters(const char *const *filters, const uint32_t *qos_list, int32_t count,
                       byte_writer &writer) {
    if (filters == nullptr || count < 1) {
        return MQTT_ERR_INVALID_PARAM;
    }
    for (int32_t i = 0; i < count && writer.ok(); ++i) {
        const int32_t status = encode_filter(filters[i], writer);
        if (status != MQTT_OK) {
            return status;
        }
        if (qos_list != nullptr) {
            writer.u8(static_cast<uint8_t>(qos_list[i] & 3));
        }
    }
    return MQTT_OK;
}

}  // namespace

int32_t encode_subscribe(const mqtt_packet &packet, byte_writer &writer) {
    const mqtt_packet_subscribe &subscribe = packet.body.subscribe;
    if (subscribe.qos_list == nullptr) {
        return MQTT_ERR_INVALID_PARAM;
    }
    writer.u16(subscribe.msg_id);
    return encode_filters(subscribe.filters, subscribe.qos_list, subscribe.filter_count, writer);
}

int32_t encode_unsubscribe(const mqtt_packet &packet, byte_writer &writer) {
    const mqtt_packet_unsubscribe &unsubscribe = packet.body.unsubscribe;
    writer.u16(unsubscribe.msg_id);
    return encode_filters(unsubscribe.filters, nullptr, unsubscribe.filter_count, writer);
}

int32_t encode_suback(const mqtt_packet &packet, byte_writer &writer) {
    const mqtt_packet_suback &suback = packet.body.suback;
    writer.u16(suback.msg_id);
    if (suback.return_codes == nullptr || suback.code_count < 1) {
        return MQTT_ERR_INVALID_PARAM;
    }
    for (int32_t i = 0; i < suback.code_count && writer.ok(); ++i) {
        writer.u8(static_cast<uint8_t>(suback.return_codes[i]));
    }
    return MQTT_OK;
}

}  // namespace zep::v311
