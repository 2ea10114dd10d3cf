// A packet identifier that was taken for a packet not sent yet. Unless it is kept, the identifier
// goes back when the lease ends, and with it the cache entry that was admitted under it.
#pragma once

#include <zep_mqtt/client/receive.h>
#include <zep_mqtt/protocol/v311/packet_id.h>

#include "client/outbound/awaited_ack.h"
#include "qos/engine.h"

namespace zep {

class packet_id_lease {
 public:
    explicit packet_id_lease(mqtt_client &client) : client_(client) {}

    ~packet_id_lease() {
        if (admitted_qos_ != 0) {
            qos_withdraw_newest(client_.session, admitted_qos_);
        } else {
            mqtt_client_free_pkt_id(&client_, id_);
        }
    }

    packet_id_lease(const packet_id_lease &) = delete;
    packet_id_lease &operator=(const packet_id_lease &) = delete;

    // Takes an identifier; a failure is logged. In 3.1.1 the client adds a line of its own.
    int32_t take() { return mqtt_packet_id_alloc(&client_.session, &id_); }
    int32_t take311() { return mqtt_client_alloc_pkt_id(&client_, &id_); }

    // The message with this identifier has just entered the cache of its QoS, 1 or 2. Nothing else
    // may enter that cache while the lease lasts.
    void entry_admitted(uint32_t qos) { admitted_qos_ = qos; }

    // The packet is on its way: the exchange holds the identifier, until it ends.
    void keep() {
        id_ = 0;
        admitted_qos_ = 0;
    }

    // The same for an exchange without a cache entry, which a packet of this type ends.
    void keep_until(uint32_t ack_type) {
        await_ack(client_, id_, ack_type);
        keep();
    }

    // 0 when none is held.
    uint16_t id() const { return id_; }

 private:
    mqtt_client &client_;
    uint16_t id_ = 0;
    uint32_t admitted_qos_ = 0;
};

}  // namespace zep
