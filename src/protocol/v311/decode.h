// Received packets of 3.1.1.
#pragma once

#include <zep_mqtt/protocol/v311/packet.h>

#include "protocol/common/framing.h"
#include "protocol/common/packet_views.h"

namespace zep::v311 {

// Into views, which point into the packet; texts may have any length. False when the packet is cut
// short inside. A PUBLISH has an identifier with every QoS but 0.

bool read_connack(const packet_view &packet, connack_view *connack);
bool read_publish(const packet_view &packet, publish_view *publish);
bool read_ack(const packet_view &packet, ack_view *ack);
bool read_suback(const packet_view &packet, suback_view *suback);

// Into the record, as mqtt_packet_decode_v311() does.
int32_t decode_packet(const packet_view &packet, mqtt_packet *record);

// Gives back what a decoded record owns.
void release_packet(mqtt_packet &record);

// By packet type, called by decode_packet() once the header's fields stand in the record. On a
// failure the record owns nothing.

int32_t decode_connack(const packet_view &packet, mqtt_packet *record);
int32_t decode_publish(const packet_view &packet, mqtt_packet *record);
int32_t decode_ack(const packet_view &packet, mqtt_packet *record);
int32_t decode_subscribe(const packet_view &packet, mqtt_packet *record);
int32_t decode_suback(const packet_view &packet, mqtt_packet *record);
int32_t decode_unsubscribe(const packet_view &packet, mqtt_packet *record);

}  // namespace zep::v311
