// What the client does with the caches beside the exported operations.
#pragma once

#include <zep_mqtt/protocol/v311/session.h>

namespace zep {

// Whether either cache has an entry with this identifier.
bool qos_cache_holds(const mqtt_session *session, uint16_t msg_id);

// Takes the newest entry with this identifier out of the cache that holds it: its publish failed
// after the admission. The identifier goes back unless another entry still holds it. Does nothing
// when there is no such entry.
void qos_cache_withdraw(mqtt_session *session, uint16_t msg_id);

// Gives back every identifier that is in use and held by no cache entry: a connection has ended,
// and with it every exchange whose acknowledgement nobody waits for any more.
void qos_release_orphan_ids(mqtt_session *session);

}  // namespace zep
