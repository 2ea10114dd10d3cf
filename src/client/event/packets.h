// The packets that an event-driven client sends, of either version, as the codecs lay them out.
#pragma once

#include <cstdint>

#include <zep_mqtt/protocol/v311/packet.h>

#include "protocol/common/packet_views.h"

namespace zep {

// SUBSCRIBE or UNSUBSCRIBE of one filter.
struct request_view {
    uint8_t type;  // MQTT_PACKET_SUBSCRIBE or _UNSUBSCRIBE
    std::string_view filter;
    uint8_t qos;
    uint16_t id;
};

// Bytes of the whole packet; 0 when it is longer than any packet can be. `more` bytes are left free
// behind the payload, for what the cipher adds.
uint32_t publish_length(uint32_t version, const publish_view &publish, uint32_t more);
uint32_t request_length(uint32_t version, const request_view &request);
uint32_t connect_length(uint32_t version, const connect_view &connect);

// Into room for so many bytes.
void write_publish(uint32_t version, const publish_view &publish, uint32_t more, uint8_t *room,
                   uint32_t length);
void write_request(uint32_t version, const request_view &request, uint8_t *room, uint32_t length);
void write_connect(uint32_t version, const connect_view &connect, uint8_t *room, uint32_t length);

// Where a CONNECT has its flags (MQTT 3.1.1 §3.1.2.3).
uint32_t connect_flags_at(uint32_t length);

}  // namespace zep
