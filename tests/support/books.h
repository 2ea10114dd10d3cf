// What a client keeps about its open exchanges: caches, their counts, and packet identifiers.
#pragma once

#include <algorithm>
#include <bitset>
#include <iterator>

#include <zep_mqtt/client/client.h>

#include "client/connection/client_state.h"

namespace zep_test {

using identifier_set = std::bitset<MQTT_PACKET_ID_MAX + 1>;

// False: the list is not as long as its count says, longer than it may be, or holds an identifier
// that there is not.
template <typename Entry>
bool collect_identifiers(const Entry *entry, uint32_t count, uint32_t limit, identifier_set &ids) {
    uint32_t length = 0;
    for (; entry != nullptr && length <= limit; entry = entry->next, length++) {
        if (entry->msg.msg_id < MQTT_PACKET_ID_MIN || entry->msg.msg_id > MQTT_PACKET_ID_MAX) {
            return false;
        }
        ids.set(entry->msg.msg_id);
    }
    return entry == nullptr && length == count;
}

// Says what does not agree; null when all does. To be asked between two calls of the client.
inline const char *fault_in_books(const mqtt_client &client) {
    const mqtt_session &session = client.session;
    identifier_set cached, pooled;
    if (!collect_identifiers(session.qos1_cache, session.qos1_count, 100, cached) ||
        !collect_identifiers(session.qos2_cache, session.qos2_count, 50, cached)) {
        return "a cache and its count";
    }
    for (size_t id = 1; id < cached.size(); id++) {
        const bool awaited = zep::state_of(client).awaited_ack[id] != 0;
        if (cached[id] && awaited) {
            return "one identifier, two exchanges";
        }
        if ((session.id_in_use[id] != 0) != (cached[id] || awaited)) {
            return "identifiers in use and open exchanges";
        }
    }
    for (int32_t i = 0; i <= session.id_pool_top; i++) {
        const uint16_t id = session.id_pool[i];
        if (session.id_in_use[id] != 0 || pooled[id]) {
            return "an identifier for reuse that is in use, or twice for reuse";
        }
        pooled.set(id);
    }
    return client.busy != 0 ? "busy without an operation" : nullptr;
}

inline auto count_identifiers_in_use(const mqtt_client &client) {
    const auto &in_use = client.session.id_in_use;
    return std::count(std::begin(in_use), std::end(in_use), 1);
}

inline bool has_open_exchanges(const mqtt_client &client) {
    return count_identifiers_in_use(client) != 0 ||
           client.session.qos1_count + client.session.qos2_count != 0;
}

}  // namespace zep_test
