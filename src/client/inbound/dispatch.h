// From a whole packet to the code that handles it.
#pragma once

#include <zep_mqtt/client/client.h>

#include "protocol/common/framing.h"

namespace zep {

void dispatch_packet(mqtt_client &client, const packet_view &packet);

}  // namespace zep
