#include "packets.h"

#include <zep_mqtt/protocol/v311/packet.h>

#include "topic_filter.h"

namespace zep_demo {

namespace {

constexpr size_t LARGEST_PACKET = 1027;
constexpr size_t MOST_LENGTH_BYTES = 4;

// Properties of a PUBLISH (MQTT 5.0 §3.3.2.3).
enum : uint8_t {
    PAYLOAD_FORMAT = 0x01,
    MESSAGE_EXPIRY = 0x02,
    CONTENT_TYPE = 0x03,
    RESPONSE_TOPIC = 0x08,
    CORRELATION_DATA = 0x09,
    USER_PROPERTY = 0x26,
};

// A variable-byte integer (MQTT 5.0 §1.5.5).
uint32_t read_length(byte_reader &reader) {
    uint32_t value = 0;
    for (size_t i = 0; i < MOST_LENGTH_BYTES; i++) {
        const uint8_t byte = reader.u8();
        value |= (byte & 0x7Fu) << (7 * i);
        if ((byte & 0x80) == 0) {
            return value;
        }
    }
    reader.fail();
    return 0;
}

void skip_properties(byte_reader &body, uint8_t version) {
    if (version == V50) {
        body.skip(read_length(body));
    }
}

std::string take(byte_reader &reader, size_t size) {
    const uint8_t *data = reader.bytes(size);
    return data == nullptr ? "" : std::string(reinterpret_cast<const char *>(data), size);
}

// Seconds, 0 for none.
uint32_t read_message_expiry(byte_reader &body) {
    byte_reader properties = body.sub(read_length(body));
    uint32_t expiry = 0;
    while (properties.left() != 0) {
        switch (properties.u8()) {
            case PAYLOAD_FORMAT:
                properties.skip(1);
                break;
            case MESSAGE_EXPIRY:
                expiry = properties.u32();
                break;
            case USER_PROPERTY:
                read_text(properties);
                [[fallthrough]];
            case CONTENT_TYPE:
            case RESPONSE_TOPIC:
            case CORRELATION_DATA:
                read_text(properties);
                break;
            default:  // a topic alias, for one: the broker offers none
                properties.fail();
        }
    }
    if (!properties.ok()) {
        body.fail();
    }
    return expiry;
}

void check_message(byte_reader &body, const message &content) {
    if (content.qos > 2 || !is_topic_name(content.topic)) {
        body.fail();
    }
}

void add_u16(bytes &to, size_t value) {
    to.push_back(static_cast<uint8_t>(value >> 8));
    to.push_back(static_cast<uint8_t>(value));
}

void add_expiry(bytes &to, steady::time_point expires) {
    // At least one second, or it would be gone by now (MQTT 5.0 §3.3.2.3.3).
    const auto left = std::chrono::ceil<std::chrono::seconds>(expires - steady::now()).count();
    const auto seconds = static_cast<uint32_t>(left < 1 ? 1 : left);
    to.insert(to.end(), {5, MESSAGE_EXPIRY});
    add_u16(to, seconds >> 16);
    add_u16(to, seconds & 0xFFFF);
}

bytes with_header(uint8_t first, const bytes &body) {
    bytes packet = {first};
    size_t left = body.size();
    do {
        packet.push_back(static_cast<uint8_t>((left & 0x7F) | (left > 0x7F ? 0x80 : 0)));
        left >>= 7;
    } while (left != 0);
    packet.insert(packet.end(), body.begin(), body.end());
    return packet;
}

}  // namespace

std::optional<size_t> packet_size(byte_view received) {
    byte_reader reader(received.data(), received.size());
    reader.skip(1);
    const size_t length = read_length(reader);
    if (!reader.ok()) {
        return received.size() > MOST_LENGTH_BYTES ? std::nullopt : std::optional<size_t>(0);
    }
    const size_t whole = reader.position() + length;
    if (whole > LARGEST_PACKET) {
        return {};
    }
    return received.size() < whole ? 0 : whole;
}

byte_reader body_of(byte_view packet) {
    byte_reader reader(packet.data(), packet.size());
    reader.skip(1);
    return reader.sub(read_length(reader));
}

std::string read_text(byte_reader &body) {
    return take(body, body.u16());
}

// MQTT 3.1.1 §3.1, MQTT 5.0 §3.1.
connect_request read_connect(byte_reader &body) {
    connect_request connect;
    const std::string name = read_text(body);
    connect.version = body.u8();
    const uint8_t flags = body.u8();
    body.skip(2);  // Keep Alive: the broker waits for as long as the connection lasts
    skip_properties(body, connect.version);
    connect.client_id = read_text(body);
    if ((flags & 0x04) != 0) {
        skip_properties(body, connect.version);
        message &will = connect.will.emplace();
        will.topic = read_text(body);
        will.payload = read_text(body);
        will.qos = static_cast<uint8_t>(flags >> 3 & 3);
        will.retain = (flags & 0x20) != 0;
        check_message(body, will);
    }
    for (const int present : {0x80, 0x40}) {  // user name and password, not looked at
        if ((flags & present) != 0) {
            read_text(body);
        }
    }
    const bool known = connect.version == V311 || connect.version == V50;
    if (name != "MQTT" || !known || body.left() != 0 || (flags & 1) != 0) {
        body.fail();
    }
    return connect;
}

message read_publish(byte_reader &body, uint8_t version, uint8_t first, uint16_t *id) {
    message content;
    content.qos = static_cast<uint8_t>(first >> 1 & 3);
    content.retain = (first & 1) != 0;
    content.topic = read_text(body);
    *id = content.qos == 0 ? uint16_t{0} : body.u16();
    const uint32_t expiry = version == V50 ? read_message_expiry(body) : 0;
    if (expiry != 0) {
        content.expires = steady::now() + std::chrono::seconds(expiry);
    }
    content.payload = take(body, body.left());
    check_message(body, content);
    return content;
}

uint16_t read_subscription_header(byte_reader &body, uint8_t version) {
    const uint16_t id = body.u16();
    skip_properties(body, version);
    return id;
}

bytes lay_out_connack(uint8_t version, uint8_t code) {
    bytes body = {0, code};
    if (version == V50) {
        body.push_back(0);
    }
    return with_header(MQTT_PACKET_CONNACK << 4, body);
}

bytes lay_out_publish(uint8_t version, const message &content, uint16_t id) {
    bytes body;
    add_u16(body, content.topic.size());
    body.insert(body.end(), content.topic.begin(), content.topic.end());
    if (content.qos != 0) {
        add_u16(body, id);
    }
    if (version == V50 && content.expires) {
        add_expiry(body, *content.expires);
    } else if (version == V50) {
        body.push_back(0);
    }
    body.insert(body.end(), content.payload.begin(), content.payload.end());
    const int flags = content.qos << 1 | (content.retain ? 1 : 0);
    return with_header(static_cast<uint8_t>(MQTT_PACKET_PUBLISH << 4 | flags), body);
}

bytes lay_out_ack(uint8_t type, uint16_t id) {
    bytes body;
    add_u16(body, id);
    const int flags = type == MQTT_PACKET_PUBREL ? 2 : 0;
    return with_header(static_cast<uint8_t>(type << 4 | flags), body);
}

bytes lay_out_codes(uint8_t version, uint8_t type, uint16_t id, const bytes &codes) {
    bytes body;
    add_u16(body, id);
    if (version == V50) {
        body.push_back(0);
    }
    if (version == V50 || type == MQTT_PACKET_SUBACK) {
        body.insert(body.end(), codes.begin(), codes.end());
    }
    return with_header(static_cast<uint8_t>(type << 4), body);
}

bytes lay_out_pingresp() {
    return with_header(MQTT_PACKET_PINGRESP << 4, {});
}

}  // namespace zep_demo
