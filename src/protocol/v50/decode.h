// Received packets of 5.0.
#pragma once

#include <zep_mqtt/protocol/v50/ack.h>
#include <zep_mqtt/protocol/v50/connack.h>
#include <zep_mqtt/protocol/v50/publish.h>
#include <zep_mqtt/protocol/v50/suback.h>

#include "protocol/common/framing.h"
#include "protocol/common/packet_views.h"

namespace zep::v50 {

// Into views, which point into the packet; texts may have any length. False when the packet is cut
// short inside.

bool read_ack(const packet_view &packet, ack_view *ack);
bool read_suback(const packet_view &packet, suback_view *suback);

// The properties are handed out unread, as take_properties() does; of a length that cannot be, the
// payload begins with them. The flags' QoS is taken as it is, except that 3 counts as 0.
enum class publish_fault { none, topic, msg_id };
publish_fault read_publish(const packet_view &packet, publish_view *publish,
                           byte_reader *properties);

// Into records, with the checks and the log of the exported decoders.

int32_t decode_connack(const packet_view &packet, mqtt50_connack *connack);
int32_t decode_publish(const packet_view &packet, mqtt50_publish *publish);
int32_t decode_ack(uint8_t type, const packet_view &packet, mqtt50_ack *ack);
int32_t decode_suback(const packet_view &packet, mqtt50_suback *suback);
int32_t decode_unsuback(const packet_view &packet, mqtt50_ack *ack);

}  // namespace zep::v50
