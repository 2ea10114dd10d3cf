#include "client/outbound/awaited_ack.h"

#include <iterator>

#include <zep_mqtt/client/receive.h>

#include "client/connection/client_state.h"
#include "protocol/common/packet_id_private.h"
#include "qos/engine.h"

namespace zep {

namespace {

// In place of a packet type.
constexpr uint8_t END_OF_CONNECTION = 0xFF;

bool in_range(const mqtt_client &client, uint16_t id) {
    return id != 0 && id < std::size(state_of(client).awaited_ack);
}

}  // namespace

void await_ack(mqtt_client &client, uint16_t id, uint32_t ack_type) {
    if (in_range(client, id)) {
        state_of(client).awaited_ack[id] = static_cast<uint8_t>(ack_type);
    }
}

void await_end_of_connection(mqtt_client &client, uint16_t id) {
    await_ack(client, id, END_OF_CONNECTION);
}

bool is_awaited(const mqtt_client &client, uint16_t id, uint32_t ack_type) {
    if (!in_range(client, id) || !packet_id_in_use(&client.session, id) ||
        qos_cache_holds(&client.session, id)) {
        return false;
    }
    return state_of(client).awaited_ack[id] == ack_type || state_of(client).awaited_ack[id] == 0;
}

void finish_subscription_exchange(mqtt_client &client, uint16_t id, uint32_t ack_type) {
    const bool held_otherwise = in_range(client, id) && packet_id_in_use(&client.session, id) &&
                                !is_awaited(client, id, ack_type);
    if (!held_otherwise) {
        release_awaited(client, id);
    }
}

void release_awaited(mqtt_client &client, uint16_t id) {
    await_ack(client, id, 0);
    mqtt_client_free_pkt_id(&client, id);
}

void release_awaited(mqtt_client &client) {
    for (uint16_t id = MQTT_PACKET_ID_MIN; id <= MQTT_PACKET_ID_MAX; ++id) {
        const uint8_t ack_type = state_of(client).awaited_ack[id];
        if (ack_type != 0 && is_awaited(client, id, ack_type)) {
            release_awaited(client, id);
        }
        state_of(client).awaited_ack[id] = 0;
    }
}

}  // namespace zep
