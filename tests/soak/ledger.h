// What became of every message of one sender. Several threads write it.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

namespace zep_test {

enum fate : uint16_t {
    ACCEPTED = 1,             // publish returned 0
    REFUSED = 2,              // it did not
    TAKEN_BY_BROKER = 4,      // the broker's PUBACK or PUBCOMP was on the wire
    ACKNOWLEDGED = 8,         // the sender has heard it
    GIVEN_UP = 16,            // after three retransmissions
    ABANDONED = 32,           // its client was destroyed
    SENT_TO_SUBSCRIBER = 64,  // the broker's PUBLISH was on the wire
    DELIVERED = 128,          // the subscriber has got it
    EARLY = 256,              // acknowledged by the answer to an earlier message
    SENT = 512,               // its PUBLISH was on the wire
};

struct message_name {
    int recipient, sender;
    unsigned qos, number;

    std::string topic() const {
        return std::to_string(recipient) + "/" + std::to_string(sender) + "/" +
               std::to_string(qos) + "/" + std::to_string(number);
    }
};

class ledger {
 public:
    explicit ledger(size_t capacity)
        : fates_{column(capacity), column(capacity), column(capacity)} {}

    size_t capacity() const { return fates_[0].size(); }
    // Returns what was known before.
    unsigned add(unsigned qos, unsigned number, fate more) {
        return fates_[qos][number].fetch_or(more);
    }
    unsigned of(unsigned qos, unsigned number) const { return fates_[qos][number]; }

 private:
    using column = std::vector<std::atomic<uint16_t>>;
    column fates_[3];
};

}  // namespace zep_test
