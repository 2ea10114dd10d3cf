// Packet identifiers that are taken without an entry in a QoS cache: of a SUBSCRIBE, an
// UNSUBSCRIBE, a 5.0 publish that the caches had no room for, and of a QoS 2 publish that was given
// up. The client remembers what ends each of them, so that a stray acknowledgement cannot release
// another exchange's identifier, and so that all of them are released when their connection ends.
#pragma once

#include <zep_mqtt/client/client.h>

namespace zep {

// The exchange of this identifier (1 to 128, others are ignored) ends with a packet of this type; 0
// for an identifier that stands in a cache.
void await_ack(mqtt_client &client, uint16_t id, uint32_t ack_type);

// Nothing that arrives releases this identifier; the end of the connection does.
void await_end_of_connection(mqtt_client &client, uint16_t id);

// True when the identifier is in use without a cache entry and a packet of this type ends its
// exchange. An identifier that the application took by itself is ended by any type.
bool is_awaited(const mqtt_client &client, uint16_t id, uint32_t ack_type);

// A SUBACK or UNSUBACK came: its exchange, if there is one, gives its identifier back.
void finish_subscription_exchange(mqtt_client &client, uint16_t id, uint32_t ack_type);

// Gives back one identifier, or all that are still held.
void release_awaited(mqtt_client &client, uint16_t id);
void release_awaited(mqtt_client &client);

}  // namespace zep
