// The packets of MQTT as a broker reads and lays them out. In 5.0 most of them have properties; of
// these the broker heeds the Message Expiry Interval.
#pragma once

#include <chrono>
#include <core/byte_reader.h>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace zep_demo {

using steady = std::chrono::steady_clock;
using bytes = std::vector<uint8_t>;
using byte_view = std::span<const uint8_t>;
using zep::byte_reader;

constexpr uint8_t V311 = 4, V50 = 5;

// An application message on its way through the broker.
struct message {
    std::string topic;
    std::string payload;
    uint8_t qos = 0;
    bool retain = false;
    std::optional<steady::time_point> expires;
};

struct connect_request {
    uint8_t version = 0;  // V311 or V50
    std::string client_id;
    std::optional<message> will;
};

// How many bytes the packet at the start of the received ones has: 0 while that is not known or not
// all of them are there, nothing when it is larger than the broker takes.
std::optional<size_t> packet_size(byte_view received);

// A reader of all behind the fixed header of a whole packet. What is not there, or not as it should
// be, makes the reader fail.
byte_reader body_of(byte_view packet);

connect_request read_connect(byte_reader &body);
// first: the first byte of the packet. The identifier is 0 at QoS 0.
message read_publish(byte_reader &body, uint8_t version, uint8_t first, uint16_t *id);
// A packet identifier, and in 5.0 the properties behind it.
uint16_t read_subscription_header(byte_reader &body, uint8_t version);
std::string read_text(byte_reader &body);

bytes lay_out_connack(uint8_t version, uint8_t code);
bytes lay_out_publish(uint8_t version, const message &content, uint16_t id);
// PUBACK, PUBREC, PUBREL or PUBCOMP, the same in both versions.
bytes lay_out_ack(uint8_t type, uint16_t id);
// SUBACK or UNSUBACK.
bytes lay_out_codes(uint8_t version, uint8_t type, uint16_t id, const bytes &codes);
bytes lay_out_pingresp();

}  // namespace zep_demo
