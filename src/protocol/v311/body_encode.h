// The variable header and payload of each packet type. Every function lays its part out through the
// writer and gives a status code; that the writer holds all of it is looked at by the caller.
#pragma once

#include <cstdint>

#include <zep_mqtt/protocol/v311/packet.h>

#include "core/byte_writer.h"

namespace zep::v311 {

int32_t encode_connect(const mqtt_packet &packet, byte_writer &writer);
int32_t encode_connack(const mqtt_packet &packet, byte_writer &writer);
int32_t encode_publish(const mqtt_packet &packet, byte_writer &writer);
int32_t encode_ack(const mqtt_packet &packet, byte_writer &writer);
int32_t encode_subscribe(const mqtt_packet &packet, byte_writer &writer);
int32_t encode_suback(const mqtt_packet &packet, byte_writer &writer);
int32_t encode_unsubscribe(const mqtt_packet &packet, byte_writer &writer);

}  // namespace zep::v311
