// What a client keeps beyond the fields of its record. It stands behind the record in the same heap
// block, so that it costs no allocation and grows without moving a field of mqtt_client.
#pragma once

#include <zep_mqtt/client/client.h>
#include <zep_mqtt/protocol/v311/session.h>

#include "client/connection/reconnect.h"
#include "qos/received_ids.h"

namespace zep {

// Bytes received and not yet handled.
struct receive_buffer {
    uint8_t bytes[MQTT_CLIENT_RX_BUFFER_SIZE];
    uint32_t start;     // of the first byte held
    uint32_t end;       // behind the last byte held
    uint32_t skip;      // bytes of an oversized packet still to be passed over
    uint32_t whole_ms;  // tick at which a packet was last handled, begun, or passed over
};

struct client_state {
    receive_buffer rx;
    // Inbound QoS 2 identifiers between PUBLISH and PUBREL.
    uint8_t received_qos2[RECEIVED_IDS_SIZE];
    // By identifier: the type of the packet that ends an exchange without a cache entry, 0 for
    // none.
    uint8_t awaited_ack[MQTT_PACKET_ID_MAX + 1];
    reconnect_place reconnect;
};

// The heap block of a client.
struct client_block {
    mqtt_client record;
    client_state state;
};

inline client_state &state_of(mqtt_client &client) {
    return *static_cast<client_state *>(client.inner);
}

inline const client_state &state_of(const mqtt_client &client) {
    return *static_cast<const client_state *>(client.inner);
}

}  // namespace zep
