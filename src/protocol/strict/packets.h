// Takes a broker's packets apart by the letter of the standard: whatever it calls malformed or a
// protocol error is refused with the reason code that says so. The texts lead into the packet.
#pragma once

#include <cstdint>

#include "core/byte_reader.h"
#include "protocol/strict/property.h"

namespace zep::strict {

// A whole packet without its fixed header.
struct packet {
    uint32_t version;  // 4 or 5
    uint32_t type;     // MQTT_PACKET_*
    uint32_t flags;    // low four bits of byte 0
    byte_reader body;
};

struct connack {
    uint8_t code = 0;
    bool session_present = false;
    uint8_t maximum_qos = 2;
    bool retain_available = true;
    bool wildcard_available = true;
    bool shared_available = true;
    bool keep_alive_given = false;
    bool session_expiry_given = false;
    uint16_t keep_alive_s = 0;
    uint16_t receive_maximum = UINT16_MAX;
    uint32_t maximum_packet_size = 268435460;  // what a Remaining Length can express
    uint32_t session_expiry_s = 0;
    text_view assigned_client_id;
    text_view reason_string;
};

struct publish {
    text_view topic;
    const uint8_t *payload = nullptr;
    uint32_t payload_len = 0;
    uint16_t id = 0;
    uint8_t qos = 0;
    bool retain = false;
    bool dup = false;
};

// PUBACK, PUBREC, PUBREL, PUBCOMP; SUBACK and UNSUBACK for one filter; DISCONNECT without an id.
struct answer {
    uint16_t id = 0;
    uint8_t code = 0;
    text_view reason_string;
};

// Each gives REASON_NONE, or what is wrong; the record is not to be used then.
uint8_t read_connack(packet in, connack &out);
uint8_t read_publish(packet in, publish &out);
uint8_t read_ack(packet in, answer &out);
uint8_t read_suback(packet in, answer &out);
uint8_t read_disconnect(packet in, answer &out);
uint8_t read_pingresp(packet in);

// The beginning of a PUBLISH that is too large to be taken whole: what stands in front of the
// properties. False when not even that is there; a fault shows in `fault`.
bool read_publish_start(packet in, publish &out, uint8_t &fault);

}  // namespace zep::strict
