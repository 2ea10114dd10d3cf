// Gives back what the 3.1.1 decoder allocated for a packet.
#pragma once

#include <zep_mqtt/platform/memory.h>
#include <zep_mqtt/protocol/v311/decoder.h>

namespace zep_test {

inline void release(mqtt_packet &packet) {
    auto &body = packet.body;
    switch (packet.type) {
        case MQTT_PACKET_PUBLISH:
            message_free(&body.publish);
            break;
        case MQTT_PACKET_SUBSCRIBE:
            platform_free(body.subscribe.qos_list);
            subscribe_filters_free(body.subscribe.filters, body.subscribe.filter_count);
            break;
        case MQTT_PACKET_SUBACK:
            platform_free(body.suback.return_codes);
            break;
        case MQTT_PACKET_UNSUBSCRIBE:
            subscribe_filters_free(body.unsubscribe.filters, body.unsubscribe.filter_count);
            break;
        default:
            break;
    }
}

}  // namespace zep_test
