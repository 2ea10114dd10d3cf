// The variable header and payload of each packet type, from a reader over exactly these. The fixed
// header's fields stand in the record already. On a failure the record owns nothing.
#pragma once

#include <cstdint>

#include <zep_mqtt/protocol/v311/packet.h>

#include "core/byte_reader.h"

namespace zep::v311 {

int32_t decode_connack(byte_reader &body, mqtt_packet *packet);
int32_t decode_publish(byte_reader &body, mqtt_packet *packet);
int32_t decode_ack(byte_reader &body, mqtt_packet *packet);
int32_t decode_subscribe(byte_reader &body, mqtt_packet *packet);
int32_t decode_suback(byte_reader &body, mqtt_packet *packet);
int32_t decode_unsubscribe(byte_reader &body, mqtt_packet *packet);

}  // namespace zep::v311
