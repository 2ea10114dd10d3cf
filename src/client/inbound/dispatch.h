// The receive dispatch behind the receive path.
#pragma once

#include <zep_mqtt/client/client.h>

namespace zep {

// Hands one whole packet to the code that handles its type.
void dispatch_packet(mqtt_client &client, const uint8_t *packet, uint32_t length);

}  // namespace zep
