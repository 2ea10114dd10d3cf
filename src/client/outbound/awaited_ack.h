// Exchanges that hold a packet identifier without an entry in a QoS cache: SUBSCRIBE, UNSUBSCRIBE,
// and a 5.0 publish that the caches had no room for. The client remembers which packet ends each of
// them, so that a stray acknowledgement cannot release another exchange's identifier, and so that
// all of them are released when their connection ends.
#pragma once

#include <zep_mqtt/client/client.h>

namespace zep {

// The exchange of this identifier (1 to 128, others are ignored) ends with a packet of this type.
void await_ack(mqtt_client &client, uint16_t id, uint32_t ack_type);

// True when the identifier is in use without a cache entry and a packet of this type ends its
// exchange. An identifier that the application took by itself is ended by any type.
bool is_awaited(const mqtt_client &client, uint16_t id, uint32_t ack_type);

// A SUBACK or UNSUBACK came: its exchange, if there is one, gives its identifier back.
void finish_subscription_exchange(mqtt_client &client, uint16_t id, uint32_t ack_type);

// Gives back one identifier, or all that are still held.
void release_awaited(mqtt_client &client, uint16_t id);
void release_awaited(mqtt_client &client);

}  // namespace zep
