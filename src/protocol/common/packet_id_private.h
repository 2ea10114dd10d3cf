// Packet identifiers that the application chose itself, and the question who holds one.
#pragma once

#include <zep_mqtt/protocol/v311/session.h>

namespace zep {

inline bool is_packet_id(uint16_t id) {
    return id >= MQTT_PACKET_ID_MIN && id <= MQTT_PACKET_ID_MAX;
}

// False also for an identifier out of range.
bool packet_id_in_use(const mqtt_session *session, uint16_t id);

// Marks an identifier as in use without allocating it, and takes it out of the pool: a message is
// sent again under its earlier identifier. Does nothing for an identifier out of range.
void packet_id_claim(mqtt_session *session, uint16_t id);

}  // namespace zep
