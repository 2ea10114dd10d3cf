// What the engine and the client do with the caches beside the exported operations. No pointer may
// be null here.
#pragma once

#include <zep_mqtt/core/message.h>
#include <zep_mqtt/protocol/v311/session.h>

namespace zep {

// Whether a message has a topic name and a payload that can be sent; the validators log why not.
bool qos_message_is_valid(const mqtt_message &msg, uint32_t version);

// Whether either cache has an entry with this identifier.
bool qos_cache_holds(const mqtt_session *session, uint16_t msg_id);

// Takes the newest entry with this identifier out of the cache that holds it: its publish failed
// after the admission. The identifier goes back unless another entry still holds it. Does nothing
// when there is no such entry.
void qos_cache_withdraw(mqtt_session *session, uint16_t msg_id);

// From now on every cached message is resent in the packets of this protocol version.
void qos_cache_set_version(mqtt_session *session, uint32_t version);

}  // namespace zep
