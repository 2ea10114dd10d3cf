// The bodies of the packets of 5.0. A packet_writer that was made with the first byte takes them;
// finish() completes the packet.
#pragma once

#include "protocol/common/packet_views.h"
#include "protocol/common/packet_writer.h"

namespace zep::v50 {

// From views, of any length; nothing is checked.

void write_connect(packet_writer &packet, const connect_view &connect);
void write_publish(packet_writer &packet, const publish_view &publish);
void write_ack(packet_writer &packet, const ack_view &ack);  // with its reason code, always
// A SUBSCRIBE or UNSUBSCRIBE begins with its identifier, then come its filters.
void begin_filters(packet_writer &packet, uint16_t msg_id);
void write_subscription(packet_writer &packet, std::string_view filter, uint8_t options);
void write_filter(packet_writer &packet, std::string_view filter);
void write_disconnect(packet_writer &packet, uint8_t reason_code, uint32_t session_expiry);

// What the exported encoders share: most clear the whole buffer first; at the end the length
// becomes the packet's. When something did not fit, nothing of the packet stays in the buffer.

packet_writer begin_in_cleared(uint8_t *buffer, uint32_t capacity, uint8_t first);
bool finish(packet_writer &packet, uint8_t *buffer, uint32_t *length);

}  // namespace zep::v50
