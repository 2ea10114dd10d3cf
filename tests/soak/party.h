// A client that publishes numbered messages to one party and gets those of another one.
#pragma once

#include <atomic>
#include <optional>

#include "soak/soak_client.h"
#include "soak/unreliable_wire.h"

namespace zep_test {

class party : private client_listener {
 public:
    // Publishes to the next one of all the ledgers' owners. With wire_seed the way to the broker is
    // an unreliable one.
    party(int index, uint32_t version, uint16_t broker_port, std::optional<unsigned> wire_seed,
          client_maker make_client, std::vector<ledger> &ledgers)
        : index_(index),
          recipient_((index + 1) % static_cast<int>(ledgers.size())),
          settings_{"party" + std::to_string(index), broker_port, version},
          make_client_(std::move(make_client)),
          ledgers_(ledgers),
          mine_(ledgers[static_cast<size_t>(index)]) {
        if (wire_seed) {
            settings_.port = wire_.emplace(broker_port, *wire_seed).port();
        }
        client_ = make_client_(settings_, *this);
    }

    void turn() {
        client_->serve();
        if (!client_->is_connected()) {
            forget_subscription();
        } else if (!subscribing_) {
            subscribing_ = client_->subscribe(std::to_string(index_) + "/#");
        }
        ready = subscription_ != NEVER;
        settled = ready && client_->is_idle() && mine_.is_settled();
    }

    // The next message of every QoS, unless too many are open.
    void publish() {
        for (unsigned qos = 0; qos < 3 && subscription_ != NEVER; qos++) {
            if (next_[qos] == mine_.capacity() || !client_->has_room(qos)) {
                continue;
            }
            const message_name name = {recipient_, index_, qos, next_[qos]++};
            mine_.offer(name, connection_);
            if (client_->publish(name.topic(), name.payload(), qos)) {
                mine_.accept(name);
            }
            settled = false;
        }
    }

    // With another client, which knows nothing of what was open.
    void reopen() {
        client_.reset();
        mine_.abandon_what_is_open();
        forget_subscription();
        client_ = make_client_(settings_, *this);
    }

    void let_wire_be(bool unreliable) {
        if (wire_) {
            wire_->let_be(unreliable);
        }
    }
    unsigned wire_faults() const { return wire_ ? wire_->faults() : 0; }

    // For every thread, as of the last pass: subscriptions so far, whether the last one stands, and
    // whether nothing is open then.
    std::atomic<unsigned> subscriptions{0};
    std::atomic<bool> ready{false}, settled{false};

 private:
    void forget_subscription() {
        subscription_ = NEVER;
        subscribing_ = false;
    }

    void connected() override {
        connection_ = steady_clock::now();
        forget_subscription();
    }
    void subscribed() override {
        subscription_ = steady_clock::now();
        subscriptions++;
    }
    void delivered(const std::string &topic, const std::string &payload, unsigned qos) override {
        const message_name name = message_name::parse(topic);
        EXPECT_TRUE(name.recipient == index_ && name.qos == qos && name.payload() == payload)
            << topic << " at QoS " << qos << ": " << payload;
        ledgers_[static_cast<size_t>(name.sender)].deliver(name, subscription_);
    }
    void ended(const std::string &topic, fate how) override {
        mine_.end(message_name::parse(topic), how, connection_);
    }

    const int index_, recipient_;
    client_settings settings_;
    const client_maker make_client_;
    std::vector<ledger> &ledgers_;
    ledger &mine_;
    unsigned next_[3] = {};
    instant connection_ = NEVER, subscription_ = NEVER;  // since when
    bool subscribing_ = false;
    std::optional<unreliable_wire> wire_;
    std::unique_ptr<soak_client> client_;
};

}  // namespace zep_test
