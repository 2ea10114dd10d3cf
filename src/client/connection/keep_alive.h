// Whether the broker is still there: PINGREQs, and the system's limit for unacknowledged data.
#pragma once

#include <zep_mqtt/client/client.h>

namespace zep {

// Sends a PINGREQ when half an interval has passed since the last activity. One that cannot be sent
// ends the connection.
void keep_alive(mqtt_client &client);

// Lets the system give up on data that the peer does not acknowledge, early enough for a peer that
// vanished to be noticed within one and a half keep-alive intervals, and while a message on its way
// has repetitions left. To be called again now and then: the time depends on the round trips.
void apply_unacked_timeout(const mqtt_client &client);

}  // namespace zep
