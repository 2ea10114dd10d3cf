#include <cstring>

#include <zep_mqtt/core/status.h>
#include <zep_mqtt/protocol/v311/wire.h>

#include "protocol/v311/encode.h"

namespace zep::v311 {
namespace {

// Each filter is followed by its requested QoS when there is a list of them.
int32_t encode_filter(const char *filter, const uint32_t *qos, packet_writer &packet) {
    if (filter == nullptr) {
        return MQTT_ERR_INVALID_PARAM;
    }
    // One byte past the limit is enough to be refused for its length.
    const size_t length = strnlen(filter, MQTT_UTF8_MAX_LEN + 1);
    if (utf8_validate(filter, static_cast<int32_t>(length)) != MQTT_OK) {
        return MQTT_ERR_UTF8_INVALID;
    }
    const std::string_view text(filter, length);
    if (qos != nullptr) {
        write_subscription(packet, text, *qos);
    } else {
        write_filter(packet, text);
    }
    return MQTT_OK;
}

int32_t encode_filters(const char *const *filters, const uint32_t *qos_list, int32_t count,
                       packet_writer &packet) {
    if (filters == nullptr || count < 1) {
        return MQTT_ERR_INVALID_PARAM;
    }
    for (int32_t i = 0; i < count && packet.ok(); ++i) {
        const uint32_t *qos = qos_list == nullptr ? nullptr : qos_list + i;
        const int32_t status = encode_filter(filters[i], qos, packet);
        if (status != MQTT_OK) {
            return status;
        }
    }
    return MQTT_OK;
}

}  // namespace

void write_filter(packet_writer &packet, std::string_view filter) {
    packet.text(filter);
}

void write_subscription(packet_writer &packet, std::string_view filter, uint32_t qos) {
    write_filter(packet, filter);
    packet.u8(static_cast<uint8_t>(qos & 3));
}

int32_t encode_subscribe(const mqtt_packet &record, packet_writer &packet) {
    const mqtt_packet_subscribe &subscribe = record.body.subscribe;
    if (subscribe.qos_list == nullptr) {
        return MQTT_ERR_INVALID_PARAM;
    }
    write_msg_id(packet, subscribe.msg_id);
    return encode_filters(subscribe.filters, subscribe.qos_list, subscribe.filter_count, packet);
}

int32_t encode_unsubscribe(const mqtt_packet &record, packet_writer &packet) {
    const mqtt_packet_unsubscribe &unsubscribe = record.body.unsubscribe;
    write_msg_id(packet, unsubscribe.msg_id);
    return encode_filters(unsubscribe.filters, nullptr, unsubscribe.filter_count, packet);
}

int32_t encode_suback(const mqtt_packet &record, packet_writer &packet) {
    const mqtt_packet_suback &suback = record.body.suback;
    write_msg_id(packet, suback.msg_id);
    if (suback.return_codes == nullptr || suback.code_count < 1) {
        return MQTT_ERR_INVALID_PARAM;
    }
    for (int32_t i = 0; i < suback.code_count && packet.ok(); ++i) {
        packet.u8(static_cast<uint8_t>(suback.return_codes[i]));
    }
    return MQTT_OK;
}

}  // namespace zep::v311
