// A broker that does everything right. It keeps its session for ever, also for a client that asks
// for a clean one, so that every exchange can be followed over any number of connections. It knows
// no sockets: bytes come in, bytes go out.
#pragma once

#include <map>
#include <set>
#include <string>
#include <utility>

#include <zep_mqtt/protocol/v311/packet.h>

#include "support/fault_proxy.h"

namespace zep_test {

class model_broker : public far_end {
 public:
    explicit model_broker(const dialect &version) : v_(&version) {}

    bool connection_begins() override {
        unread_.clear();
        connected_ = false;
        return true;
    }

    // A message on 't' with a payload of two characters. Without a client QoS 1 and 2 wait for one.
    void publish(uint32_t qos, const std::string &payload) {
        const char *const packets[] = {v_->publish0, v_->publish1, v_->publish2};
        const auto laid = [&](std::string packet) {
            return lay(packet.replace(packet.find("hi"), 2, payload), next_id_);
        };
        if (connected_) {
            send(laid(packets[qos]));
        }
        if (qos > 0) {
            outbound_[next_id_] = laid(qos == 1 ? v_->publish1_dup : v_->publish2_dup);
        }
        next_id_++;
    }

    bytes answer(const bytes &arrived) override {
        unread_.insert(unread_.end(), arrived.begin(), arrived.end());
        while (unread_.size() >= 2 && unread_.size() >= 2u + unread_[1]) {
            const auto end = unread_.begin() + 2 + unread_[1];
            handle(bytes(unread_.begin(), end));
            unread_.erase(unread_.begin(), end);
        }
        return std::exchange(answers_, {});
    }

    // How often a message with this payload was taken over.
    int received(const std::string &payload) { return received_[payload]; }
    bool has_open_exchanges() const { return !inbound_.empty() || !outbound_.empty(); }

 private:
    void send(const bytes &packet) {
        answers_.insert(answers_.end(), packet.begin(), packet.end());
    }

    static unsigned identifier(const bytes &packet, size_t at) {
        return packet[at] * 256u + packet[at + 1];
    }

    void receive(const bytes &publish) {
        const unsigned qos = publish[0] >> 1 & 3u, id = identifier(publish, 5);
        if (qos < 2 || inbound_.insert(id).second) {
            received_[std::string(publish.end() - 2, publish.end())]++;
        }
        if (qos > 0) {
            send(lay(qos == 1 ? PUBACK : PUBREC, id));
        }
    }

    void handle(const bytes &packet) {
        const char *const greeting = has_session_ ? v_->connack_present : v_->connack;
        // By the type that they answer.
        const char *const answers[16] = {"",       greeting, "",         "", "",           PUBREL,
                                         PUBCOMP,  "",       v_->suback, "", v_->unsuback, "",
                                         PINGRESP, "",       "",         ""};
        const unsigned type = packet[0] >> 4;
        const unsigned id = packet.size() < 4 ? 0 : identifier(packet, 2);
        send(lay(answers[type], id));
        switch (type) {
            case MQTT_PACKET_CONNECT:
                has_session_ = connected_ = true;
                for (const auto &[open_id, again] : outbound_) {
                    send(again);
                }
                break;
            case MQTT_PACKET_PUBLISH:
                return receive(packet);
            case MQTT_PACKET_PUBREL:
                inbound_.erase(id);
                break;
            case MQTT_PACKET_PUBREC:
                outbound_[id] = lay(PUBREL, id);
                break;
            case MQTT_PACKET_PUBACK:
            case MQTT_PACKET_PUBCOMP:
                outbound_.erase(id);
                break;
        }
    }

    const dialect *v_;
    bytes unread_, answers_;
    bool connected_ = false, has_session_ = false;
    unsigned next_id_ = 300;
    std::map<unsigned, bytes> outbound_;  // by identifier, what the next connection repeats
    std::set<unsigned> inbound_;          // QoS 2, between PUBLISH and PUBREL
    std::map<std::string, int> received_;
};

}  // namespace zep_test
