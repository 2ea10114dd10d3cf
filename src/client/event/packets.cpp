#include "client/event/packets.h"

#include "protocol/common/variable_length.h"
#include "protocol/v311/encode.h"
#include "protocol/v50/encode.h"

namespace zep {

namespace {

constexpr uint32_t FLAGS_IN_BODY = 7;  // behind "MQTT" with its length, and the version

bool is_v50(uint32_t version) {
    return version == MQTT_VERSION_50;
}

// Lays the same packet out to be measured, without a buffer, and to be written.
template <typename Layout>
uint32_t lay_out(uint8_t first, const Layout &layout, uint8_t *room, size_t capacity) {
    packet_writer packet(room, capacity, first);
    layout(packet);
    return packet.finish() ? static_cast<uint32_t>(packet.size()) : 0;
}

auto layout_of(uint32_t version, const publish_view &publish, uint32_t more) {
    return [=, &publish](packet_writer &packet) {
        is_v50(version) ? v50::write_publish(packet, publish)
                        : v311::write_publish(packet, publish);
        packet.gap(more);
    };
}

auto layout_of(uint32_t version, const request_view &request) {
    return [=, &request](packet_writer &packet) {
        const bool subscribes = request.type == MQTT_PACKET_SUBSCRIBE;
        if (is_v50(version)) {
            v50::begin_filters(packet, request.id);
            subscribes ? v50::write_subscription(packet, request.filter, request.qos)
                       : v50::write_filter(packet, request.filter);
        } else {
            v311::write_msg_id(packet, request.id);
            subscribes ? v311::write_subscription(packet, request.filter, request.qos)
                       : v311::write_filter(packet, request.filter);
        }
    };
}

auto layout_of(uint32_t version, const connect_view &connect) {
    return [=, &connect](packet_writer &packet) {
        is_v50(version) ? v50::write_connect(packet, connect)
                        : v311::write_connect(packet, connect);
    };
}

uint8_t first_of(const publish_view &publish) {
    return first_byte(MQTT_PACKET_PUBLISH, publish_flags(publish));
}

uint8_t first_of(const request_view &request) {
    return first_byte(request.type, 2);
}

}  // namespace

uint32_t publish_length(uint32_t version, const publish_view &publish, uint32_t more) {
    return lay_out(first_of(publish), layout_of(version, publish, more), nullptr, SIZE_MAX);
}

uint32_t request_length(uint32_t version, const request_view &request) {
    return lay_out(first_of(request), layout_of(version, request), nullptr, SIZE_MAX);
}

uint32_t connect_length(uint32_t version, const connect_view &connect) {
    return lay_out(first_byte(MQTT_PACKET_CONNECT), layout_of(version, connect), nullptr, SIZE_MAX);
}

void write_publish(uint32_t version, const publish_view &publish, uint32_t more, uint8_t *room,
                   uint32_t length) {
    (void)lay_out(first_of(publish), layout_of(version, publish, more), room, length);
}

void write_request(uint32_t version, const request_view &request, uint8_t *room, uint32_t length) {
    (void)lay_out(first_of(request), layout_of(version, request), room, length);
}

void write_connect(uint32_t version, const connect_view &connect, uint8_t *room, uint32_t length) {
    (void)lay_out(first_byte(MQTT_PACKET_CONNECT), layout_of(version, connect), room, length);
}

uint32_t connect_flags_at(uint32_t length) {
    // The fixed header is the first byte and the length of what follows it.
    uint32_t header = 2;
    while (variable_length_size(length - header) != header - 1) {
        ++header;
    }
    return header + FLAGS_IN_BODY;
}

}  // namespace zep
