#include "session.h"

#include <algorithm>

#include <zep_mqtt/protocol/v311/packet.h>
#include <zep_mqtt/protocol/v311/packet_id.h>

namespace zep_demo {

void session::deliver(message content, uint8_t granted_qos) {
    content.qos = std::min(content.qos, granted_qos);
    if (content.qos == 0) {
        send(encode_publish(version_, content, 0));
        return;
    }
    waiting_.push_back(std::move(content));
    send_waiting();
}

void session::handle(const acknowledgement &answer) {
    const auto found = in_flight_.find(answer.id);
    if (found == in_flight_.end() || found->second != answer.type) {
        return;
    }
    if (answer.type == MQTT_PACKET_PUBREC && !answer.failed) {
        found->second = MQTT_PACKET_PUBCOMP;
        send(encode_acknowledgement(version_, MQTT_PACKET_PUBREL, answer.id));
        return;
    }
    in_flight_.erase(found);
    send_waiting();
}

void session::send_waiting() {
    for (uint16_t id = free_id(); id != 0 && !waiting_.empty(); id = free_id()) {
        const message &next = waiting_.front();
        if (!next.expires || *next.expires > steady::now()) {
            in_flight_[id] = next.qos == 1 ? MQTT_PACKET_PUBACK : MQTT_PACKET_PUBREC;
            send(encode_publish(version_, next, id));
        }
        waiting_.pop_front();
    }
}

// The library's encoders know the identifiers from 1 to 128 only. 0 when all are taken.
uint16_t session::free_id() const {
    uint16_t id = 1;
    for (const auto &taken : in_flight_) {
        if (taken.first != id) {
            break;
        }
        id++;
    }
    return id > MQTT_PACKET_ID_MAX ? uint16_t{0} : id;
}

}  // namespace zep_demo
