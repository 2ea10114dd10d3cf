// The bodies of the packets of 3.1.1. A packet_writer that was made with the first byte takes them;
// finish() completes the packet.
#pragma once

#include "protocol/common/packet_views.h"
#include "protocol/common/packet_writer.h"

namespace zep::v311 {

// From views, of any length; nothing is checked.

void write_connect(packet_writer &packet, const connect_view &connect);
void write_publish(packet_writer &packet, const publish_view &publish);
void write_msg_id(packet_writer &packet, uint16_t msg_id);  // an acknowledgement is no more
// A SUBSCRIBE or UNSUBSCRIBE begins with its identifier, then come its filters.
void write_subscription(packet_writer &packet, std::string_view filter, uint32_t qos);
void write_filter(packet_writer &packet, std::string_view filter);

// From records, each with the checks of the exported encoder; that all of it fits is the caller's
// to look at.

int32_t encode_connect(const mqtt_packet &record, packet_writer &packet);
int32_t encode_connack(const mqtt_packet &record, packet_writer &packet);
int32_t encode_publish(const mqtt_packet &record, packet_writer &packet);
int32_t encode_ack(const mqtt_packet &record, packet_writer &packet);
int32_t encode_subscribe(const mqtt_packet &record, packet_writer &packet);
int32_t encode_suback(const mqtt_packet &record, packet_writer &packet);
int32_t encode_unsubscribe(const mqtt_packet &record, packet_writer &packet);

}  // namespace zep::v311
