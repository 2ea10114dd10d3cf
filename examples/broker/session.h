// What the broker keeps of one connected client: the exchange of its messages. What is to be sent
// collects in an outbox. Every session is a clean one and ends with its connection.
#pragma once

#include <deque>
#include <map>
#include <set>

#include "packets.h"

namespace zep_demo {

class session {
 public:
    explicit session(connect_request opening)
        : version_(opening.version),
          client_id_(std::move(opening.client_id)),
          will_(std::move(opening.will)) {}

    uint8_t version() const { return version_; }
    const std::string &client_id() const { return client_id_; }

    const std::optional<message> &will() const { return will_; }
    void drop_will() { will_.reset(); }

    // Sends a message to the client at the lower of its own QoS and the granted one; at QoS 1 and 2
    // as soon as a packet identifier is free.
    void deliver(message content, uint8_t granted_qos);
    // PUBACK, PUBREC or PUBCOMP for such a message.
    void handle(const acknowledgement &answer);

    // Notes the QoS 2 message that the client has begun to send; false when that one is not new.
    bool begin_receiving(uint16_t id) { return receiving_.insert(id).second; }
    void end_receiving(uint16_t id) { receiving_.erase(id); }

    void send(const bytes &packet) { outbox_.insert(outbox_.end(), packet.begin(), packet.end()); }
    bytes &outbox() { return outbox_; }

 private:
    void send_waiting();
    uint16_t free_id() const;

    uint8_t version_;
    std::string client_id_;
    std::optional<message> will_;
    std::deque<message> waiting_;
    std::map<uint16_t, uint8_t> in_flight_;  // packet identifier, and the type that answers it next
    std::set<uint16_t> receiving_;
    bytes outbox_;
};

}  // namespace zep_demo
