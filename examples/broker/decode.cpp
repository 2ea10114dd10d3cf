#include <core/byte_reader.h>

#include <zep_mqtt/platform/memory.h>
#include <zep_mqtt/protocol/v311/decoder.h>
#include <zep_mqtt/protocol/v311/packet.h>
#include <zep_mqtt/protocol/v311/validate.h>
#include <zep_mqtt/protocol/v311/wire.h>
#include <zep_mqtt/protocol/v50/ack.h>
#include <zep_mqtt/protocol/v50/publish.h>
#include <zep_mqtt/protocol/v50/suback.h>

#include "packets.h"

namespace zep_demo {

namespace {

using zep::byte_reader;

constexpr uint8_t DISCONNECT_WITH_WILL = 0x04;  // MQTT 5.0 §3.14.2.1

uint8_t type_of(byte_view packet) {
    return packet[0] >> 4;
}

// A variable-byte integer that the bytes at hand end behind.
uint32_t read_length(byte_reader &reader) {
    uint32_t value = 0;
    const int32_t size =
        decode_remaining_len(reader.next(), static_cast<int32_t>(reader.left()), &value);
    if (size < 0) {
        reader.fail();
        return 0;
    }
    reader.skip(static_cast<size_t>(size));
    return value;
}

// Everything behind the fixed header of a whole packet.
byte_reader body_of(byte_view packet) {
    byte_reader reader(packet.data(), packet.size());
    reader.skip(1);
    const uint32_t length = read_length(reader);
    return reader.sub(length);
}

std::string read_field(byte_reader &reader) {
    const size_t size = reader.u16();
    const uint8_t *data = reader.bytes(size);
    return data == nullptr ? std::string()
                           : std::string(reinterpret_cast<const char *>(data), size);
}

void skip_properties(byte_reader &reader) {
    reader.skip(read_length(reader));
}

bool is_topic_name(const std::string &topic) {
    return topic.find('\0') == std::string::npos &&
           mqtt_topic_validate(topic.c_str(), MQTT_TOPIC_MODE_NAME) == 0;
}

// Connect flags (MQTT 3.1.1 §3.1.2.3).
struct connect_flags {
    bool reserved, will, will_retain, password, username;
    uint8_t will_qos;
    explicit connect_flags(uint8_t bits)
        : reserved((bits & 0x01) != 0),
          will((bits & 0x04) != 0),
          will_retain((bits & 0x20) != 0),
          password((bits & 0x40) != 0),
          username((bits & 0x80) != 0),
          will_qos(bits >> 3 & 0x03) {}
};

message read_will(byte_reader &reader, uint8_t version, const connect_flags &flags) {
    if (version == MQTT_VERSION_50) {
        skip_properties(reader);
    }
    message will;
    will.topic = read_field(reader);
    will.payload = read_field(reader);
    will.qos = flags.will_qos;
    will.retain = flags.will_retain;
    if (flags.will_qos > 2 || !is_topic_name(will.topic)) {
        reader.fail();
    }
    return will;
}

// Takes a record of the decoder over, with what it owns.
std::optional<request> take_publish(mqtt_packet &packet) {
    mqtt_message &decoded = packet.body.publish;
    publish_request publish;
    publish.content.topic = decoded.topic;
    publish.content.payload.assign(reinterpret_cast<const char *>(decoded.payload),
                                   decoded.payload_len);
    publish.content.qos = static_cast<uint8_t>(decoded.qos);
    publish.content.retain = decoded.retain != 0;
    publish.id = decoded.msg_id;
    message_free(&decoded);
    if (publish.content.qos > 2 || !is_topic_name(publish.content.topic)) {
        return {};
    }
    return publish;
}

std::optional<request> take_subscribe(mqtt_packet &packet) {
    mqtt_packet_subscribe &decoded = packet.body.subscribe;
    subscribe_request subscribe;
    subscribe.id = decoded.msg_id;
    for (int32_t i = 0; i < decoded.filter_count; i++) {
        subscribe.subscriptions.push_back(
            {decoded.filters[i], static_cast<uint8_t>(decoded.qos_list[i])});
    }
    subscribe_filters_free(decoded.filters, decoded.filter_count);
    platform_free(decoded.qos_list);
    if (subscribe.subscriptions.empty()) {
        return {};
    }
    return subscribe;
}

std::optional<request> take_unsubscribe(mqtt_packet &packet) {
    mqtt_packet_unsubscribe &decoded = packet.body.unsubscribe;
    unsubscribe_request unsubscribe;
    unsubscribe.id = decoded.msg_id;
    unsubscribe.filters.assign(decoded.filters, decoded.filters + decoded.filter_count);
    subscribe_filters_free(decoded.filters, decoded.filter_count);
    if (unsubscribe.filters.empty()) {
        return {};
    }
    return unsubscribe;
}

std::optional<request> decode_v311(byte_view bytes_in) {
    mqtt_packet packet;
    if (mqtt_packet_decode_v311(bytes_in.data(), static_cast<uint32_t>(bytes_in.size()), &packet) !=
        0) {
        return {};
    }
    switch (packet.type) {
        case MQTT_PACKET_PUBLISH:
            return take_publish(packet);
        case MQTT_PACKET_SUBSCRIBE:
            return take_subscribe(packet);
        case MQTT_PACKET_UNSUBSCRIBE:
            return take_unsubscribe(packet);
        case MQTT_PACKET_PUBACK:
        case MQTT_PACKET_PUBREC:
        case MQTT_PACKET_PUBREL:
        case MQTT_PACKET_PUBCOMP:
            return acknowledgement{static_cast<uint8_t>(packet.type), packet.body.ack.msg_id,
                                   false};
        case MQTT_PACKET_PINGREQ:
            return ping_request{};
        case MQTT_PACKET_DISCONNECT:
            return disconnect_request{};
        case MQTT_PACKET_SUBACK:
            platform_free(packet.body.suback.return_codes);
            return {};
        default:
            return {};
    }
}

std::optional<request> decode_publish50(byte_view packet) {
    mqtt50_publish decoded;
    if (mqtt50_publish_decode(packet.data(), static_cast<uint32_t>(packet.size()), &decoded) != 0 ||
        !is_topic_name(decoded.topic)) {
        return {};
    }
    publish_request publish;
    publish.content.topic = decoded.topic;
    publish.content.payload.assign(reinterpret_cast<const char *>(decoded.payload),
                                   decoded.payload_len);
    publish.content.qos = decoded.qos;
    publish.content.retain = decoded.retain != 0;
    if (decoded.message_expiry != 0) {
        publish.content.expires = steady::now() + std::chrono::seconds(decoded.message_expiry);
    }
    publish.id = decoded.msg_id;
    return publish;
}

std::optional<request> decode_acknowledgement50(byte_view packet) {
    mqtt50_ack decoded;
    const uint8_t type = type_of(packet);
    if (mqtt50_ack_decode(type, packet.data(), static_cast<uint32_t>(packet.size()), &decoded) !=
        0) {
        return {};
    }
    return acknowledgement{type, decoded.msg_id, decoded.reason_code >= 0x80};
}

// MQTT 5.0 §3.8. Of the subscription options only the QoS is heeded.
std::optional<request> decode_subscribe50(byte_view packet) {
    byte_reader body = body_of(packet);
    subscribe_request subscribe;
    subscribe.id = body.u16();
    skip_properties(body);
    while (body.left() != 0) {
        std::string filter = read_field(body);
        subscribe.subscriptions.push_back({std::move(filter), static_cast<uint8_t>(body.u8() & 3)});
    }
    const size_t count = subscribe.subscriptions.size();
    if (!body.ok() || subscribe.id == 0 || count == 0 || count > MQTT50_SUBACK_CODES_MAX) {
        return {};
    }
    return subscribe;
}

// MQTT 5.0 §3.10, with the one filter that the library's UNSUBACK can answer.
std::optional<request> decode_unsubscribe50(byte_view packet) {
    byte_reader body = body_of(packet);
    unsubscribe_request unsubscribe;
    unsubscribe.id = body.u16();
    skip_properties(body);
    unsubscribe.filters.push_back(read_field(body));
    if (!body.ok() || unsubscribe.id == 0 || body.left() != 0) {
        return {};
    }
    return unsubscribe;
}

std::optional<request> decode_disconnect50(byte_view packet) {
    byte_reader body = body_of(packet);
    const uint8_t reason = body.left() == 0 ? uint8_t{0} : body.u8();
    return disconnect_request{reason == DISCONNECT_WITH_WILL};
}

std::optional<request> decode_v50(byte_view packet) {
    switch (type_of(packet)) {
        case MQTT_PACKET_PUBLISH:
            return decode_publish50(packet);
        case MQTT_PACKET_SUBSCRIBE:
            return decode_subscribe50(packet);
        case MQTT_PACKET_UNSUBSCRIBE:
            return decode_unsubscribe50(packet);
        case MQTT_PACKET_PUBACK:
        case MQTT_PACKET_PUBREC:
        case MQTT_PACKET_PUBREL:
        case MQTT_PACKET_PUBCOMP:
            return decode_acknowledgement50(packet);
        case MQTT_PACKET_PINGREQ:
            return ping_request{};
        case MQTT_PACKET_DISCONNECT:
            return decode_disconnect50(packet);
        default:
            return {};
    }
}

}  // namespace

std::optional<size_t> packet_size(byte_view received) {
    for (size_t end = 1; end < received.size(); end++) {
        if ((received[end] & 0x80) == 0) {
            uint32_t length = 0;
            const int32_t size =
                decode_remaining_len(received.data() + 1, static_cast<int32_t>(end), &length);
            if (size < 0) {
                return {};
            }
            const size_t whole = 1 + static_cast<size_t>(size) + length;
            return received.size() < whole ? 0 : whole;
        }
        if (end == MQTT_REMAINING_LEN_MAX_BYTES) {
            return {};
        }
    }
    return 0;
}

std::optional<connect_request> decode_connect(byte_view packet) {
    if (packet[0] != MQTT_PACKET_CONNECT << 4) {
        return {};
    }
    byte_reader body = body_of(packet);
    connect_request connect;
    const std::string name = read_field(body);
    connect.version = body.u8();
    const connect_flags flags(body.u8());
    body.skip(2);  // Keep Alive: the broker waits for as long as the connection lasts
    if (connect.version == MQTT_VERSION_50) {
        skip_properties(body);
    }
    connect.client_id = read_field(body);
    if (flags.will) {
        connect.will = read_will(body, connect.version, flags);
    }
    for (const bool present : {flags.username, flags.password}) {
        if (present) {
            read_field(body);
        }
    }
    const bool known = name == "MQTT" &&
                       (connect.version == MQTT_VERSION_311 || connect.version == MQTT_VERSION_50);
    if (!known || !body.ok() || body.left() != 0 || flags.reserved) {
        return {};
    }
    return connect;
}

std::optional<request> decode_request(uint8_t version, byte_view packet) {
    return version == MQTT_VERSION_50 ? decode_v50(packet) : decode_v311(packet);
}

}  // namespace zep_demo
