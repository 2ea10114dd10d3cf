// A packet identifier that was taken for a packet not sent yet. Unless it is kept, the identifier
// goes back when the lease ends, and with it the cache entry that was admitted under it.
#pragma once

#include <zep_mqtt/client/receive.h>

#include "qos/cache_private.h"

namespace zep {

class packet_id_lease {
 public:
    explicit packet_id_lease(mqtt_client &client) : client_(client) {}

    ~packet_id_lease() {
        if (cached_) {
            qos_cache_withdraw(&client_.session, id_);
        } else {
            mqtt_client_free_pkt_id(&client_, id_);
        }
    }

    packet_id_lease(const packet_id_lease &) = delete;
    packet_id_lease &operator=(const packet_id_lease &) = delete;

    // Takes over an identifier; 0 for none.
    void hold(uint16_t id) { id_ = id; }

    // From now on a cache entry stands behind the identifier.
    void entry_admitted() { cached_ = true; }

    // The packet is on its way: the exchange holds the identifier.
    void keep() {
        id_ = 0;
        cached_ = false;
    }

    uint16_t id() const { return id_; }

 private:
    mqtt_client &client_;
    uint16_t id_ = 0;
    bool cached_ = false;
};

}  // namespace zep
