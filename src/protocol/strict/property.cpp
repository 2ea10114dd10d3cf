#include "protocol/strict/property.h"

#include <zep_mqtt/protocol/v311/packet.h>

namespace zep::strict {

namespace {

enum kind : uint8_t {
    BYTE,
    BOOLEAN,
    U16,
    U16_NOT_0,
    U32,
    U32_NOT_0,
    VARIABLE_NOT_0,
    TEXT,
    BINARY,
    PAIR
};

constexpr uint32_t in(uint32_t type) {
    return 1u << type;
}

constexpr uint32_t ACKS = in(MQTT_PACKET_PUBACK) | in(MQTT_PACKET_PUBREC) | in(MQTT_PACKET_PUBREL) |
                          in(MQTT_PACKET_PUBCOMP) | in(MQTT_PACKET_SUBACK) |
                          in(MQTT_PACKET_UNSUBACK);

// What a broker may send, and in which packets.
struct rule {
    uint8_t id;
    uint8_t kind;
    bool repeatable;
    uint32_t packets;
};

constexpr rule RULES[] = {
    {0x01, BOOLEAN, false, in(MQTT_PACKET_PUBLISH)},        // Payload Format Indicator
    {0x02, U32, false, in(MQTT_PACKET_PUBLISH)},            // Message Expiry Interval
    {0x03, TEXT, false, in(MQTT_PACKET_PUBLISH)},           // Content Type
    {0x08, TEXT, false, in(MQTT_PACKET_PUBLISH)},           // Response Topic
    {0x09, BINARY, false, in(MQTT_PACKET_PUBLISH)},         // Correlation Data
    {0x0B, VARIABLE_NOT_0, true, in(MQTT_PACKET_PUBLISH)},  // Subscription Identifier
    {0x11, U32, false, in(MQTT_PACKET_CONNACK)},            // Session Expiry Interval
    {0x12, TEXT, false, in(MQTT_PACKET_CONNACK)},           // Assigned Client Identifier
    {0x13, U16, false, in(MQTT_PACKET_CONNACK)},            // Server Keep Alive
    {0x15, TEXT, false, in(MQTT_PACKET_CONNACK)},           // Authentication Method
    {0x16, BINARY, false, in(MQTT_PACKET_CONNACK)},         // Authentication Data
    {0x1A, TEXT, false, in(MQTT_PACKET_CONNACK)},           // Response Information
    {0x1C, TEXT, false, in(MQTT_PACKET_CONNACK) | in(MQTT_PACKET_DISCONNECT)},  // Server Reference
    {0x1F, TEXT, false,
     ACKS | in(MQTT_PACKET_CONNACK) | in(MQTT_PACKET_DISCONNECT)},  // Reason String
    {0x21, U16_NOT_0, false, in(MQTT_PACKET_CONNACK)},              // Receive Maximum
    {0x22, U16, false, in(MQTT_PACKET_CONNACK)},                    // Topic Alias Maximum
    {0x23, U16_NOT_0, false, in(MQTT_PACKET_PUBLISH)},              // Topic Alias
    {0x24, BOOLEAN, false, in(MQTT_PACKET_CONNACK)},                // Maximum QoS
    {0x25, BOOLEAN, false, in(MQTT_PACKET_CONNACK)},                // Retain Available
    {0x26, PAIR, true,
     ACKS | in(MQTT_PACKET_CONNACK) | in(MQTT_PACKET_PUBLISH) |
         in(MQTT_PACKET_DISCONNECT)},                   // User Property
    {0x27, U32_NOT_0, false, in(MQTT_PACKET_CONNACK)},  // Maximum Packet Size
    {0x28, BOOLEAN, false, in(MQTT_PACKET_CONNACK)},    // Wildcard Subscription Available
    {0x29, BOOLEAN, false, in(MQTT_PACKET_CONNACK)},    // Subscription Identifiers Available
    {0x2A, BOOLEAN, false, in(MQTT_PACKET_CONNACK)},    // Shared Subscription Available
};

const rule *find_rule(uint8_t id) {
    for (const rule &candidate : RULES) {
        if (candidate.id == id) {
            return &candidate;
        }
    }
    return nullptr;
}

text_view read_bytes(byte_reader &reader) {
    const size_t size = reader.u16();
    const uint8_t *bytes = reader.bytes(size);
    return {reinterpret_cast<const char *>(bytes), bytes == nullptr ? 0 : size};
}

}  // namespace

bool read_variable_integer(byte_reader &reader, uint32_t &value) {
    value = 0;
    for (uint32_t place = 0; place < 4; ++place) {
        const uint32_t byte = reader.u8();
        value |= (byte & 0x7F) << (7 * place);
        if ((byte & 0x80) == 0) {
            return reader.ok() && (byte != 0 || place == 0);
        }
    }
    return false;
}

property_reader::property_reader(byte_reader &body, uint32_t packet_type)
    : section_(nullptr, 0), packet_type_(packet_type) {
    uint32_t length = 0;
    if (!read_variable_integer(body, length) || length > body.left()) {
        fault_ = REASON_MALFORMED_PACKET;
        return;
    }
    section_ = body.sub(length);
}

bool property_reader::next(property &out) {
    if (fault_ != REASON_NONE || section_.left() == 0) {
        return false;
    }
    out = {};
    out.id = section_.u8();
    const rule *known = find_rule(out.id);
    if (known == nullptr || (known->packets & in(packet_type_)) == 0) {
        return fail(known == nullptr ? REASON_MALFORMED_PACKET : REASON_PROTOCOL_ERROR);
    }
    if (!known->repeatable && (seen_ >> out.id & 1) != 0) {
        return fail(REASON_PROTOCOL_ERROR);
    }
    seen_ |= uint64_t{1} << out.id;
    return read_value(known->kind, out);
}

bool property_reader::read_value(uint32_t kind, property &out) {
    bool legal = true;
    switch (kind) {
        case BYTE:
        case BOOLEAN:
            out.number = section_.u8();
            legal = kind == BYTE || out.number <= 1;
            break;
        case U16:
        case U16_NOT_0:
            out.number = section_.u16();
            legal = kind == U16 || out.number != 0;
            break;
        case U32:
        case U32_NOT_0:
            out.number = section_.u32();
            legal = kind == U32 || out.number != 0;
            break;
        case VARIABLE_NOT_0:
            if (!read_variable_integer(section_, out.number)) {
                section_.fail();
            }
            legal = out.number != 0;
            break;
        case PAIR:
            if (!is_utf8(read_bytes(section_))) {
                section_.fail();
            }
            [[fallthrough]];
        case TEXT:
            out.text = read_bytes(section_);
            if (!is_utf8(out.text)) {
                section_.fail();
            }
            break;
        default:
            out.text = read_bytes(section_);
            break;
    }
    if (!section_.ok()) {
        return fail(REASON_MALFORMED_PACKET);
    }
    return legal || fail(REASON_PROTOCOL_ERROR);
}

}  // namespace zep::strict
