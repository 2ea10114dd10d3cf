// What an event-driven handle has promised and not brought to its end: messages of QoS 1 and 2 and
// subscription requests, each with the packet that carries it, in the order of their acceptance.
#pragma once

#include <cstdint>

namespace zep {

// Publishes and requests have identifiers of their own, so that neither keeps the other waiting:
// for requests as many as the application may have open, and as many again for filters that a new
// session has to be given.
constexpr uint16_t PUBLISH_ID_FIRST = 1;
constexpr uint16_t PUBLISH_ID_LAST = 128;
constexpr uint16_t REQUEST_ID_FIRST = 129;
constexpr uint16_t REQUEST_ID_LAST = 256;

// How far an exchange has come. QUEUED -> SENT -> ended, or for QoS 2 QUEUED -> SENT -> RELEASED ->
// ended. A new connection takes it back to where it has to be repeated from.
enum class exchange_step : uint8_t {
    QUEUED,   // accepted; PUBLISH, SUBSCRIBE or UNSUBSCRIBE is to be sent
    SENT,     // PUBACK, PUBREC, SUBACK or UNSUBACK is awaited
    RELEASED  // PUBREL is to be sent or was sent, PUBCOMP is awaited
};

// How an exchange ended for the application.
struct exchange_end {
    uint8_t fate = 0;  // ZEP_MQTT_SDK_FATE_* of a message
    uint8_t code = 0;  // the broker's
    bool answered = false;
};

struct exchange {
    exchange *next;  // by acceptance
    exchange *previous;
    exchange *next_report;  // in the queue of fates to be reported
    uint64_t token;         // 0: nobody asks for its fate
    uint64_t expires_ms;    // tick; UINT64_MAX for never
    uint32_t length;        // of the packet
    uint32_t expiry_at;     // where the packet has its Message Expiry Interval; 0 for nowhere
    uint16_t id;
    uint8_t type;  // MQTT_PACKET_PUBLISH, _SUBSCRIBE or _UNSUBSCRIBE
    uint8_t qos;   // of a message, or asked for
    exchange_step step;
    bool on_wire;      // its packet of this step has gone out on this connection
    bool counted;      // ... and counts against what the broker takes at a time
    bool sent_before;  // ... or on an earlier one, so that a repetition carries DUP
    bool settled;      // has its fate, also when the exchange goes on
    bool reporting;    // stands in the queue of fates to be reported
    bool ended;        // the broker has nothing more to say to it
    exchange_end end;  // once settled

    uint8_t *packet() { return reinterpret_cast<uint8_t *>(this + 1); }
};

class in_flight {
 public:
    // An exchange with room for its packet and so many bytes behind it, linked behind all others
    // under a free identifier. `fault` tells why there is none.
    enum class refusal { none, no_id, no_memory };
    exchange *add(uint8_t type, uint32_t packet_length, uint32_t more, refusal &fault);

    // An entry that was never sent and that nobody has heard of.
    void remove(exchange *entry);
    void remove_all();

    exchange *find(uint16_t id) const { return id <= REQUEST_ID_LAST ? by_id_[id] : nullptr; }
    exchange *find_token(uint64_t token) const;

    exchange *first() const { return first_; }
    uint32_t publishes() const { return publishes_; }  // with a fate to come
    uint32_t requests() const { return requests_; }

    // Puts the entry's fate into the queue, unless it has one. The exchange goes on.
    void settle(exchange *entry, const exchange_end &end);
    // The same, and the exchange is over: its identifier is free, and the entry goes when its fate
    // has been reported.
    void finish(exchange *entry, const exchange_end &end);

    // The first exchange, in order, whose packet is to be sent on this connection; null for none.
    exchange *unsent() const { return unsent_; }
    void sent(exchange *entry) {
        entry->on_wire = true;
        unsent_ = next_to_send(entry->next);
    }
    // A new connection, or a step back: everything from the first entry on is looked at again.
    void rewind() { unsent_ = next_to_send(first_); }

    // Takes the oldest fate to be reported, or null. The entry stays until reported() is told.
    exchange *next_report();
    void reported(exchange *entry);
    bool has_reports() const { return first_report_ != nullptr; }

 private:
    static exchange *next_to_send(exchange *from);
    void end(exchange *entry);
    uint16_t free_id(uint8_t type);

    exchange *first_ = nullptr;
    exchange *last_ = nullptr;
    exchange *unsent_ = nullptr;
    exchange *first_report_ = nullptr;
    exchange *last_report_ = nullptr;
    uint32_t publishes_ = 0;
    uint32_t requests_ = 0;
    uint16_t last_publish_id_ = 0;
    uint16_t last_request_id_ = 0;
    exchange *by_id_[REQUEST_ID_LAST + 1] = {};
};

}  // namespace zep
