// What the library limits itself to, each limit once. Exported names and array sizes that say the
// same are tied to these in exported_limits.cpp.
#pragma once

#include <cstdint>

namespace zep {

constexpr uint32_t QOS_MAX = 2;
constexpr uint32_t PACKET_ID_MIN = 1;
constexpr uint32_t PACKET_ID_MAX = 128;

// In bytes, of a packet and its parts.
constexpr uint32_t PACKET_MAX = 1028;     // that is laid out, or received whole
constexpr uint32_t REMAINING_MAX = 1024;  // behind a received fixed header
constexpr uint32_t PAYLOAD_MAX = 1024;
constexpr uint32_t TRANSMIT_MAX = 1024;  // handed to the network at once
constexpr uint32_t TOPIC_MAX = 64;       // name or filter, a shared one with its group
constexpr uint32_t TOPIC_LEVELS_MAX = 16;
constexpr uint32_t SHARE_GROUP_MAX = 32;

// In bytes, of the configuration. Those of SDK_ are the public interface's own.
constexpr uint32_t CLIENT_ID_MAX = 23;
constexpr uint32_t CREDENTIAL_MAX = 64;
constexpr uint32_t WILL_TOPIC_MAX = 63;
constexpr uint32_t WILL_PAYLOAD_MAX = 256;
constexpr uint32_t SDK_WILL_PAYLOAD_MAX = 255;
constexpr uint32_t SDK_SHARE_GROUP_MAX = 64;

}  // namespace zep
