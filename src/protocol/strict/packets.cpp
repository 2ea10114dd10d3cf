#include "protocol/strict/packets.h"

#include <zep_mqtt/protocol/v311/packet.h>

namespace zep::strict {

namespace {

constexpr uint8_t FAILURE = 0x80;  // reason codes from here on are failures
constexpr uint8_t NO_MATCHING_SUBSCRIBERS = 0x10;
constexpr uint8_t NO_SUBSCRIPTION_EXISTED = 0x11;
constexpr uint8_t LAST_RETURN_CODE_311 = 5;

enum property_id : uint8_t {
    SESSION_EXPIRY = 0x11,
    ASSIGNED_CLIENT_ID = 0x12,
    SERVER_KEEP_ALIVE = 0x13,
    REASON_STRING = 0x1F,
    RECEIVE_MAXIMUM = 0x21,
    TOPIC_ALIAS = 0x23,
    MAXIMUM_QOS = 0x24,
    RETAIN_AVAILABLE = 0x25,
    MAXIMUM_PACKET_SIZE = 0x27,
    WILDCARD_AVAILABLE = 0x28,
    SHARED_AVAILABLE = 0x2A,
};

bool is_v50(const packet &in) {
    return in.version == MQTT_VERSION_50;
}

uint8_t whole(const byte_reader &body) {
    return body.ok() && body.left() == 0 ? REASON_NONE : REASON_MALFORMED_PACKET;
}

uint8_t check_flags(const packet &in, uint32_t wanted) {
    return in.flags == wanted ? REASON_NONE : REASON_MALFORMED_PACKET;
}

void apply(const property &announced, connack &out) {
    switch (announced.id) {
        case SESSION_EXPIRY:
            out.session_expiry_given = true;
            out.session_expiry_s = announced.number;
            break;
        case ASSIGNED_CLIENT_ID:
            out.assigned_client_id = announced.text;
            break;
        case SERVER_KEEP_ALIVE:
            out.keep_alive_given = true;
            out.keep_alive_s = static_cast<uint16_t>(announced.number);
            break;
        case REASON_STRING:
            out.reason_string = announced.text;
            break;
        case RECEIVE_MAXIMUM:
            out.receive_maximum = static_cast<uint16_t>(announced.number);
            break;
        case MAXIMUM_QOS:
            out.maximum_qos = static_cast<uint8_t>(announced.number);
            break;
        case RETAIN_AVAILABLE:
            out.retain_available = announced.number != 0;
            break;
        case MAXIMUM_PACKET_SIZE:
            out.maximum_packet_size = announced.number;
            break;
        case WILDCARD_AVAILABLE:
            out.wildcard_available = announced.number != 0;
            break;
        case SHARED_AVAILABLE:
            out.shared_available = announced.number != 0;
            break;
        default:
            break;
    }
}

uint8_t read_announcements(byte_reader &body, connack &out) {
    property_reader properties(body, MQTT_PACKET_CONNACK);
    property announced;
    while (properties.next(announced)) {
        apply(announced, out);
    }
    return properties.fault();
}

bool is_return_code(const packet &in, uint8_t code) {
    return is_v50(in) ? code == 0 || code >= FAILURE : code <= LAST_RETURN_CODE_311;
}

// Reads the property section of an answer for its reason string.
uint8_t read_reason_string(byte_reader &body, uint32_t type, answer &out) {
    property_reader properties(body, type);
    property given;
    while (properties.next(given)) {
        if (given.id == REASON_STRING) {
            out.reason_string = given.text;
        }
    }
    return properties.fault();
}

// What may follow the identifier of an acknowledgement, or stand in a DISCONNECT: a reason code,
// and behind it properties (MQTT 5.0 §3.4.2.1).
uint8_t read_reason(const packet &in, byte_reader &body, answer &out) {
    if (is_v50(in) && body.left() != 0) {
        out.code = body.u8();
        if (body.left() != 0) {
            const uint8_t fault = read_reason_string(body, in.type, out);
            if (fault != REASON_NONE) {
                return fault;
            }
        }
    }
    return whole(body);
}

bool is_ack_code(uint32_t type, uint8_t code) {
    const bool of_publish = type == MQTT_PACKET_PUBACK || type == MQTT_PACKET_PUBREC;
    return code == 0 || code >= FAILURE || (of_publish && code == NO_MATCHING_SUBSCRIBERS);
}

bool is_subscription_code(const packet &in, uint8_t code) {
    if (in.type == MQTT_PACKET_UNSUBACK) {
        return code == 0 || code == NO_SUBSCRIPTION_EXISTED || code >= FAILURE;
    }
    return code <= 2 || (is_v50(in) ? code >= FAILURE : code == FAILURE);
}

uint8_t read_topic_and_id(packet &in, publish &out) {
    out.dup = (in.flags & 8) != 0;
    out.qos = in.flags >> 1 & 3;
    out.retain = (in.flags & 1) != 0;
    if (out.qos == 3) {
        return REASON_MALFORMED_PACKET;
    }
    if (out.dup && out.qos == 0) {
        return REASON_PROTOCOL_ERROR;
    }
    const size_t size = in.body.u16();
    out.topic = {reinterpret_cast<const char *>(in.body.bytes(size)), size};
    if (!in.body.ok()) {
        return REASON_MALFORMED_PACKET;
    }
    if (out.qos != 0) {
        out.id = in.body.u16();
    }
    return in.body.ok() ? REASON_NONE : REASON_MALFORMED_PACKET;
}

uint8_t check_topic_and_id(const publish &read) {
    if (!is_utf8(read.topic)) {
        return REASON_MALFORMED_PACKET;
    }
    if (read.topic.size == 0 || (read.qos != 0 && read.id == 0)) {
        return REASON_PROTOCOL_ERROR;
    }
    return has_wildcard(read.topic) ? REASON_TOPIC_NAME_INVALID : REASON_NONE;
}

}  // namespace

uint8_t read_connack(packet in, connack &out) {
    const uint8_t flags = in.body.u8();
    out.code = in.body.u8();
    out.session_present = flags == 1;
    out.shared_available = is_v50(in);
    if (check_flags(in, 0) != REASON_NONE || flags > 1 || !in.body.ok()) {
        return REASON_MALFORMED_PACKET;
    }
    if (!is_return_code(in, out.code) || (out.session_present && out.code != 0)) {
        return REASON_PROTOCOL_ERROR;
    }
    if (is_v50(in)) {
        const uint8_t fault = read_announcements(in.body, out);
        if (fault != REASON_NONE) {
            return fault;
        }
    }
    return whole(in.body);
}

uint8_t read_publish(packet in, publish &out) {
    uint8_t fault = read_topic_and_id(in, out);
    if (fault == REASON_NONE) {
        fault = check_topic_and_id(out);
    }
    if (fault != REASON_NONE) {
        return fault;
    }
    if (is_v50(in)) {
        property_reader properties(in.body, MQTT_PACKET_PUBLISH);
        property given;
        while (properties.next(given)) {
            if (given.id == TOPIC_ALIAS) {
                return REASON_TOPIC_ALIAS_INVALID;  // none was offered
            }
        }
        if (properties.fault() != REASON_NONE) {
            return properties.fault();
        }
    }
    out.payload_len = static_cast<uint32_t>(in.body.left());
    out.payload = in.body.bytes(out.payload_len);
    return REASON_NONE;
}

bool read_publish_start(packet in, publish &out, uint8_t &fault) {
    fault = REASON_NONE;
    const uint8_t reading = read_topic_and_id(in, out);
    if (!in.body.ok()) {
        return false;  // more bytes may tell
    }
    fault = reading != REASON_NONE ? reading : check_topic_and_id(out);
    return true;
}

uint8_t read_ack(packet in, answer &out) {
    out.id = in.body.u16();
    if (check_flags(in, in.type == MQTT_PACKET_PUBREL ? 2 : 0) != REASON_NONE || !in.body.ok()) {
        return REASON_MALFORMED_PACKET;
    }
    const uint8_t fault = read_reason(in, in.body, out);
    if (fault != REASON_NONE) {
        return fault;
    }
    return out.id != 0 && is_ack_code(in.type, out.code) ? REASON_NONE : REASON_PROTOCOL_ERROR;
}

uint8_t read_suback(packet in, answer &out) {
    out.id = in.body.u16();
    if (check_flags(in, 0) != REASON_NONE || !in.body.ok()) {
        return REASON_MALFORMED_PACKET;
    }
    if (is_v50(in)) {
        const uint8_t fault = read_reason_string(in.body, in.type, out);
        if (fault != REASON_NONE) {
            return fault;
        }
    }
    // Every request had one filter, so one code answers it; a 3.1.1 UNSUBACK has none.
    if (is_v50(in) || in.type == MQTT_PACKET_SUBACK) {
        out.code = in.body.u8();
    }
    if (whole(in.body) != REASON_NONE) {
        return REASON_MALFORMED_PACKET;
    }
    return out.id != 0 && is_subscription_code(in, out.code) ? REASON_NONE : REASON_PROTOCOL_ERROR;
}

uint8_t read_disconnect(packet in, answer &out) {
    if (!is_v50(in)) {
        return REASON_PROTOCOL_ERROR;  // a 3.1.1 broker has none
    }
    if (check_flags(in, 0) != REASON_NONE) {
        return REASON_MALFORMED_PACKET;
    }
    return read_reason(in, in.body, out);
}

uint8_t read_pingresp(packet in) {
    return check_flags(in, 0) != REASON_NONE ? uint8_t{REASON_MALFORMED_PACKET} : whole(in.body);
}

}  // namespace zep::strict
