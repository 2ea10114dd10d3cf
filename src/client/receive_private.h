// The receive path behind the read, and the dispatch behind the receive path.
#pragma once

#include <zep_mqtt/client/client.h>

namespace zep {

// Room in the receive buffer behind the bytes that it holds; at least one byte between passes.
uint32_t receive_room(const mqtt_client &client);

// Takes bytes over as if they had been read from the network, at most receive_room() of them, and
// handles every whole packet that is then held.
void take_received(mqtt_client &client, const uint8_t *data, uint32_t length);

// Hands one whole packet to the code that handles its type.
void dispatch_packet(mqtt_client &client, const uint8_t *packet, uint32_t length);

}  // namespace zep
