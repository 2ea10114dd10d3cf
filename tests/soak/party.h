// A client that publishes numbered messages to one party and gets those of another one, over a wire
// that sees all of it. After every pass of its loop its accounts must be in order: nothing is lost
// on our side, and nothing comes from nowhere.
#pragma once

#include <atomic>
#include <deque>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include <zep_mqtt_sdk.h>

#include "soak/ledger.h"
#include "soak/wire.h"

namespace zep_test {

class party {
 public:
    // Publishes to the next one of all the ledgers' owners.
    party(int index, uint32_t version, uint16_t broker_port, bool unreliable_wire,
          std::vector<ledger> &ledgers);
    ~party();
    party(const party &) = delete;
    party &operator=(const party &) = delete;

    void turn();
    // The next message of every QoS, unless too many are open.
    void publish();
    // With another client, which knows nothing of what was open.
    void reopen();
    void let_wire_be(bool unreliable) { wire_.let_be(unreliable); }
    unsigned wire_faults() const { return wire_.faults(); }

    // For every thread, as of the last pass: subscriptions so far, whether the last one stands, and
    // whether nothing is open then.
    std::atomic<unsigned> subscriptions{0};
    std::atomic<bool> ready{false}, settled{false};

 private:
    struct open_exchange {
        unsigned qos, number;
        uint32_t qos2_state;
        uint32_t retries;
        uint64_t sent;  // ms tick of the last transmission
    };
    using exchanges = std::map<unsigned, open_exchange>;  // by identifier

    void open_client();
    void close_client();
    bool is_ready() const;
    bool is_settled() const;
    unsigned cached() const;  // messages
    void subscribe();
    void publish_one(unsigned qos);
    exchanges cached_exchanges() const;
    void settle_accounts(const exchanges &before);
    void acknowledged(unsigned id, const open_exchange &open);
    void given_up(unsigned id, const open_exchange &open);

    static void on_message(const zep_mqtt_sdk_msg *message);
    static void on_response(const mqtt_broker_resp *response);
    void deliver(const zep_mqtt_sdk_msg &message);
    void respond(const mqtt_broker_resp &response);
    void wire_connected();
    void wire_passes(const passing_packet &packet);
    void wire_passes_up(const passing_packet &packet);

    const int index_, recipient_;
    const uint32_t version_;
    std::vector<ledger> &ledgers_;
    ledger &mine_;
    const bool unreliable_wire_;
    unsigned next_[3] = {};
    std::set<unsigned> answered_;         // identifiers, in this pass
    std::map<unsigned, size_t> pubacks_;  // heard on this connection, by identifier
    bool subscribed_ = false, subscribing_ = false;

    // What the wire has seen, of this connection:
    mutable std::mutex lock_;
    std::deque<std::string> owed_;  // topics of messages to be delivered next
    std::set<unsigned> incoming_;   // QoS 2, between PUBLISH and PUBREL
    struct qos1_traffic {
        std::vector<std::string> sent;  // topics
        size_t answered;                // the first of them
    };
    std::map<unsigned, qos1_traffic> qos1_;  // by identifier
    bool excused_ = false;                   // from delivering what is owed
    // of all connections, by identifier:
    struct qos2_exchange {
        std::string topic;
        bool released;
    };
    std::map<unsigned, qos2_exchange> sent_qos2_;
    std::map<unsigned, unsigned> transmissions_;  // of the packet that is to be answered

    wire wire_;
    zep_mqtt_sdk_client *client_ = nullptr;
};

}  // namespace zep_test
