// What became of every message of one sender, as the interface told it: what publish said, the one
// end that the message came to, and what the recipient was given. Two threads write it.
#pragma once

#include <algorithm>
#include <chrono>
#include <gtest/gtest.h>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace zep_test {

using std::chrono::steady_clock;
using instant = steady_clock::time_point;
inline constexpr instant NEVER = instant::max();

struct message_name {
    int recipient, sender;
    unsigned qos, number;

    std::string topic() const {
        return std::to_string(recipient) + "/" + std::to_string(sender) + "/" +
               std::to_string(qos) + "/" + std::to_string(number);
    }
    static message_name parse(const std::string &topic) {
        message_name name = {};
        EXPECT_EQ(sscanf(topic.c_str(), "%d/%d/%u/%u", &name.recipient, &name.sender, &name.qos,
                         &name.number),
                  4)
            << topic;
        return name;
    }
    std::string payload() const {
        return topic() + std::string(std::hash<std::string>{}(topic()) % 800, 'x');
    }
};

enum class fate {
    open,
    done,       // acknowledged by the broker; at QoS 0: sent
    given_up,   // after the client's repetitions
    abandoned,  // its client was destroyed
};

// Instants are those of the calls that told it. A connection and a subscription are told by their
// beginning.
struct history {
    bool accepted = false;
    fate end = fate::open;
    instant offered, ended;
    instant offered_on, ended_on;  // the sender's connection then
    unsigned deliveries = 0;
    bool again_on_same = false;
    instant delivered, delivered_in;  // for the first time, in this subscription of the recipient

    bool moved() const { return offered_on != ended_on; }
    // Nothing is repeated sooner on a connection that stands.
    bool may_have_been_repeated() const {
        return moved() || ended - offered >= std::chrono::seconds(2);
    }
};

// What holds of QoS 1 and 2 beyond what always does.
enum class promise {
    basic,  // what the broker forgot with a session is lost; QoS 2 is never delivered twice
    anew,   // ... is published again, at QoS 2 too
    saved,  // sessions outlast the broker: all that is done is delivered. mosquitto 2.0.11 saves a
            // message whose PUBREL it has sent as one to be published, so that QoS 2 may come
            // again, but not on the same connection
    kept,   // sessions last, and the broker lives: ... at QoS 2 once
};

using table = std::map<std::string, unsigned>;  // numbers of messages, by title

class ledger {
 public:
    // For so many messages at each QoS. Keeping the accounts takes no memory later.
    void reserve(size_t capacity) { histories_.assign(3, std::vector<history>(capacity)); }
    size_t capacity() const { return histories_[0].size(); }

    // Whether every accepted message has come to its end.
    bool is_settled() const {
        const std::lock_guard guard(lock_);
        return open_ == 0;
    }

    void offer(const message_name &name, instant connection) {
        const std::lock_guard guard(lock_);
        history &message = at(name);
        message.offered = message.ended = steady_clock::now();
        message.offered_on = message.ended_on = connection;
    }

    void accept(const message_name &name) {
        const std::lock_guard guard(lock_);
        at(name).accepted = true;
        at(name).end = name.qos == 0 ? fate::done : fate::open;
        open_ += name.qos == 0 ? 0 : 1;
    }

    void end(const message_name &name, fate how, instant connection) {
        const std::lock_guard guard(lock_);
        history &message = at(name);
        EXPECT_TRUE(message.accepted && message.end == fate::open) << name.topic();
        message.end = how;
        message.ended = steady_clock::now();
        message.ended_on = connection;
        open_--;
    }

    void abandon_what_is_open() {
        const std::lock_guard guard(lock_);
        for (std::vector<history> &column : histories_) {
            for (history &message : column) {
                if (message.accepted && message.end == fate::open) {
                    message.end = fate::abandoned;
                    message.ended = steady_clock::now();
                }
            }
        }
        open_ = 0;
    }

    void deliver(const message_name &name, instant subscription) {
        const std::lock_guard guard(lock_);
        history &message = at(name);
        if (message.deliveries++ == 0) {
            message.delivered = steady_clock::now();
            message.delivered_in = subscription;
        } else if (message.delivered_in == subscription) {
            message.again_on_same = true;
        }
    }

    // What must hold once nothing happens any more, whatever broke between sender and recipient:
    //
    // - every accepted message has one end, and what was refused is not delivered;
    // - QoS 0 and 2 are delivered once at most; QoS 1, too, unless it may have been repeated;
    // - what was not repeated is delivered in order;
    // - what is done is delivered, if something that was offered later came by the same connection
    //   to the same subscription: then neither had ended meanwhile; where sessions are kept,
    //   always.
    void close_accounts(promise held, table (&sums)[3]) const {
        const proofs latest = collect_proofs();
        for (unsigned qos = 0; qos < 3; qos++) {
            instant last = instant::min();
            for (const history &message : histories_[qos]) {
                if (message.offered == instant{}) {
                    break;
                }
                SCOPED_TRACE("number " + std::to_string(&message - histories_[qos].data()) +
                             " at QoS " + std::to_string(qos));
                const bool owed = must_be_delivered(message, qos, held, latest);
                EXPECT_TRUE(message.end != fate::open || !message.accepted) << "has no end";
                EXPECT_TRUE(message.accepted || message.deliveries == 0) << "was not accepted";
                EXPECT_TRUE(message.deliveries <= 1 || may_come_again(message, qos, held))
                    << "was delivered " << message.deliveries << " times";
                EXPECT_TRUE(message.deliveries > 0 || !owed) << "is lost";
                if (message.deliveries > 0 && !message.may_have_been_repeated()) {
                    EXPECT_GE(message.delivered, last) << "was overtaken";
                    last = message.delivered;
                }
                count(message, owed, sums[qos]);
            }
        }
    }

 private:
    // By connection and subscription, when the last message was offered that came through.
    using proofs = std::map<instant, std::map<instant, instant>>;

    proofs collect_proofs() const {
        proofs latest;
        for (const std::vector<history> &column : histories_) {
            for (const history &message : column) {
                if (message.deliveries > 0 && message.end == fate::done && !message.moved()) {
                    instant &offered = latest[message.offered_on][message.delivered_in];
                    offered = std::max(offered, message.offered);
                }
            }
        }
        return latest;
    }

    // Where sessions are kept, a recipient that came back is sent what it had not acknowledged.
    static bool may_come_again(const history &message, unsigned qos, promise held) {
        switch (held) {
            case promise::basic:
                return qos == 1 && message.may_have_been_repeated();
            case promise::anew:
                return qos > 0 && message.may_have_been_repeated();
            case promise::saved:
                return qos == 1 || (qos == 2 && !message.again_on_same);
            default:
                return qos == 1;
        }
    }

    // On a new connection a message is sent anew; but at QoS 2 not one that the broker had answered
    // with PUBREC. It has forgotten that with the session, and acknowledges what it does not have.
    static bool must_be_delivered(const history &message, unsigned qos, promise held,
                                  const proofs &latest) {
        if (held >= promise::saved && qos > 0) {
            return message.end == fate::done;
        }
        const auto subscriptions = latest.find(message.ended_on);
        if (message.end != fate::done || subscriptions == latest.end() ||
            (qos == 2 && held == promise::basic && message.moved())) {
            return false;
        }
        const instant on_its_way = std::max(message.offered, message.ended_on);
        return std::any_of(subscriptions->second.begin(), subscriptions->second.end(),
                           [&](const auto &proof) {
                               return proof.first <= on_its_way && proof.second > message.ended;
                           });
    }

    static void count(const history &message, bool owed, table &sum) {
        sum["accepted"] += message.accepted;
        sum["refused"] += !message.accepted;
        sum["done"] += message.end == fate::done;
        sum["given up"] += message.end == fate::given_up;
        sum["abandoned"] += message.end == fate::abandoned;
        sum["must be delivered"] += owed;
        sum["delivered"] += message.deliveries > 0;
        sum["delivered again"] += message.deliveries > 1;
        sum["done, not delivered"] += message.end == fate::done && message.deliveries == 0;
    }

    history &at(const message_name &name) { return histories_[name.qos][name.number]; }

    mutable std::mutex lock_;
    std::vector<std::vector<history>> histories_;  // by QoS and number
    size_t open_ = 0;
};

}  // namespace zep_test
