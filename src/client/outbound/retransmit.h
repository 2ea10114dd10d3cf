// The client's part in the retransmission of QoS 1 and QoS 2 messages, and in what becomes of those
// that are never acknowledged.
#pragma once

#include <zep_mqtt/client/client.h>

#include "qos/engine.h"

namespace zep {

// A call of the engine for this client, now. Lost messages are handled as follows: one that was
// given up after its last retransmission leaves a log line; the identifier of a QoS 2 message is
// not used again on this connection.
qos_call call_engine(mqtt_client &client);

// Sends what is due. Requires a connection.
void retransmit(mqtt_client &client);

// Removes what was last sent more than five minutes ago.
void expire_cached_messages(mqtt_client &client);

}  // namespace zep
