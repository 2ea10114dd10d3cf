// Outbound acknowledgements of inbound messages: PUBACK, PUBREC, PUBCOMP.
#pragma once

#include <zep_mqtt/client/client.h>

namespace zep {

// Sends an acknowledgement of this type. The identifier is the broker's and may have any value. A
// failure is not acted on: the broker sends its packet again.
void reply_with_ack(mqtt_client &client, uint32_t type, uint16_t msg_id);

}  // namespace zep
