// From a whole packet to the code that handles it.
#pragma once

#include <zep_mqtt/client/client.h>

namespace zep {

// length: of the packet, as its fixed header says it.
void dispatch_packet(mqtt_client &client, const uint8_t *packet, uint32_t length);

}  // namespace zep
