// What packets say, for both versions: texts and bytes of any length, in the memory of whoever made
// them. Written by write_*(), filled by read_*() of either version.
#pragma once

#include "core/byte_view.h"

namespace zep {

struct connect_view {
    std::string_view client_id;
    uint16_t keep_alive = 0;  // seconds
    bool clean_start = false;
    bool has_will = false;
    bool will_retain = false;  // sent as it stands, like the QoS, also without a will
    uint8_t will_qos = 0;
    std::string_view will_topic;
    byte_view will_payload;
    bool has_username = false;
    bool has_password = false;
    std::string_view username;
    byte_view password;
    // 5.0 only; 0: not sent
    uint32_t session_expiry = 0;  // seconds; not sent with a clean start
    uint32_t max_packet_size = 0;
    uint16_t topic_alias_max = 0;
};

struct publish_view {
    std::string_view topic;
    byte_view payload;
    uint8_t qos = 0;
    bool retain = false;
    bool dup = false;
    uint16_t msg_id = 0;          // with QoS 1 and 2
    uint32_t message_expiry = 0;  // 5.0 only, seconds; 0: not sent
};

// PUBACK, PUBREC, PUBREL, PUBCOMP.
struct ack_view {
    uint16_t msg_id = 0;
    uint8_t reason_code = 0;  // 5.0 only
};

// SUBACK, and the UNSUBACK of 5.0.
struct suback_view {
    uint16_t msg_id = 0;
    byte_view codes;
};

struct connack_view {
    uint8_t flags = 0;
    uint8_t reason_code = 0;
};

constexpr uint32_t publish_flags(const publish_view &publish) {
    return (publish.dup ? 8U : 0U) | (publish.qos & 3U) << 1 | (publish.retain ? 1U : 0U);
}

}  // namespace zep
