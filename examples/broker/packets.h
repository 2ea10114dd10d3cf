// What clients say to the broker and what it answers, the same records for both protocol versions.
// The bytes are made and read by the library's own codecs; what only a broker reads (CONNECT, and
// the SUBSCRIBE and UNSUBSCRIBE of 5.0) is read here.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <variant>
#include <vector>

namespace zep_demo {

using steady = std::chrono::steady_clock;
using bytes = std::vector<uint8_t>;
using byte_view = std::span<const uint8_t>;

// An application message on its way through the broker.
struct message {
    std::string topic;
    std::string payload;
    uint8_t qos = 0;
    bool retain = false;
    std::optional<steady::time_point> expires;
};

struct connect_request {
    uint8_t version = 0;  // 4 or 5
    std::string client_id;
    std::optional<message> will;
};

struct publish_request {
    message content;
    uint16_t id = 0;
};

// PUBACK, PUBREC, PUBREL or PUBCOMP.
struct acknowledgement {
    uint8_t type = 0;
    uint16_t id = 0;
    bool failed = false;
};

struct subscription {
    std::string filter;
    uint8_t qos = 0;
};

struct subscribe_request {
    uint16_t id = 0;
    std::vector<subscription> subscriptions;
};

struct unsubscribe_request {
    uint16_t id = 0;
    std::vector<std::string> filters;
};

struct ping_request {};

struct disconnect_request {
    bool with_will = false;
};

using request = std::variant<publish_request, acknowledgement, subscribe_request,
                             unsubscribe_request, ping_request, disconnect_request>;

// How many bytes the packet at the start of the received ones has: 0 while that is not known or not
// all of them are there, nothing when no packet that the broker takes begins like this.
std::optional<size_t> packet_size(byte_view received);

// Nothing is returned for a packet that is malformed or asks for what the broker does not do.
std::optional<connect_request> decode_connect(byte_view packet);
std::optional<request> decode_request(uint8_t version, byte_view packet);

bytes encode_connack(uint8_t version, uint8_t code);
bytes encode_publish(uint8_t version, const message &content, uint16_t id);
bytes encode_acknowledgement(uint8_t version, uint8_t type, uint16_t id);
bytes encode_suback(uint8_t version, uint16_t id, const bytes &codes);
bytes encode_unsuback(uint8_t version, uint16_t id);
bytes encode_pingresp();

}  // namespace zep_demo
