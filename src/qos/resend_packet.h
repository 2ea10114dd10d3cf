// The packets that a retransmission lays out, for both protocol versions.
#pragma once

#include <cstdint>

#include <zep_mqtt/core/message.h>

namespace zep {

// A cached message as a PUBLISH with DUP. room: what the encoder of the version demands of its
// buffer, at least the packet's size. expiry: seconds, only in 5.0.
uint64_t publish_room(uint32_t version, const mqtt_message &msg);
int32_t encode_publish_again(uint32_t version, uint8_t qos, uint32_t expiry,
                             const mqtt_message &msg, uint8_t *buf, uint32_t *len);

// The PUBREL that answers a PUBREC: the short form, the same in both versions.
int32_t encode_pubrel(uint32_t version, uint16_t msg_id, uint8_t *buf, uint32_t *len);

// The PUBREL once more: in 5.0 with its reason code.
uint64_t pubrel_room(uint32_t version);
int32_t encode_pubrel_again(uint32_t version, uint16_t msg_id, uint8_t *buf, uint32_t *len);

}  // namespace zep
